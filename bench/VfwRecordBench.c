/* VfwRecordBench: writes the same raw frames as dll_record_bench.exe into an
 * AVI through Video for Windows (AVIFile, Wine's avifil32), the way a
 * program without DirectShow would, for bench/compare.sh.
 *
 *   vfw_record_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi>
 *
 * Frame n is read from the raw file at n * frame size (wrapping around) and
 * written with AVIStreamWrite as a key frame. The time runs from the first
 * frame to the closed file. Prints one line:
 *   frames=<n> seconds=<s> fps=<f>
 */
#include <windows.h>
#include <vfw.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

static double Seconds(void) {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart / (double)f.QuadPart;
}

static int Fail(const char* what, HRESULT hr) {
  fprintf(stderr, "%s failed: 0x%08lX\n", what, (unsigned long)hr);
  return 1;
}

int wmain(int argc, wchar_t** argv) {
  if (argc < 7) {
    fprintf(stderr, "usage: vfw_record_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi>\n");
    return 2;
  }
  const int width = _wtoi(argv[2]), height = _wtoi(argv[3]);
  const int grey = wcscmp(argv[4], L"grey") == 0;
  const long frames = wcstol(argv[5], NULL, 10);
  const unsigned stride = ((unsigned)width * (grey ? 1 : 3) + 3) & ~3u;
  const unsigned frameSize = stride * (unsigned)height;
  if (width <= 0 || height <= 0 || frames <= 0) return Fail("arguments", E_INVALIDARG);

  HANDLE raw =
      CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, NULL);
  LARGE_INTEGER rawSize;
  if (raw == INVALID_HANDLE_VALUE || !GetFileSizeEx(raw, &rawSize) || rawSize.QuadPart < frameSize)
    return Fail("opening the raw frames", HRESULT_FROM_WIN32(GetLastError()));
  const long framesInFile = (long)(rawSize.QuadPart / frameSize);

  /* BITMAPINFOHEADER, with a grey palette for 8 bits. */
  struct {
    BITMAPINFOHEADER h;
    RGBQUAD palette[256];
  } format;
  memset(&format, 0, sizeof format);
  format.h.biSize = sizeof format.h;
  format.h.biWidth = width;
  format.h.biHeight = height;
  format.h.biPlanes = 1;
  format.h.biBitCount = grey ? 8 : 24;
  format.h.biCompression = BI_RGB;
  format.h.biSizeImage = frameSize;
  format.h.biClrUsed = grey ? 256 : 0;
  for (int i = 0; i < 256; ++i) {
    format.palette[i].rgbBlue = format.palette[i].rgbGreen = format.palette[i].rgbRed = (BYTE)i;
  }
  const LONG formatSize = (LONG)(sizeof format.h + (grey ? sizeof format.palette : 0));

  unsigned char* frame = malloc(frameSize);
  if (!frame) return Fail("malloc", E_OUTOFMEMORY);

  AVIFileInit();
  DeleteFileW(argv[6]);
  PAVIFILE file = NULL;
  HRESULT hr = AVIFileOpenW(&file, argv[6], OF_CREATE | OF_WRITE, NULL);
  if (FAILED(hr)) return Fail("AVIFileOpenW", hr);
  AVISTREAMINFOW info;
  memset(&info, 0, sizeof info);
  info.fccType = streamtypeVIDEO;
  info.dwScale = 1;
  info.dwRate = 25;
  info.dwSuggestedBufferSize = frameSize;
  SetRect(&info.rcFrame, 0, 0, width, height);
  PAVISTREAM stream = NULL;
  hr = AVIFileCreateStreamW(file, &stream, &info);
  if (FAILED(hr)) return Fail("AVIFileCreateStreamW", hr);
  hr = AVIStreamSetFormat(stream, 0, &format, formatSize);
  if (FAILED(hr)) return Fail("AVIStreamSetFormat", hr);

  const double start = Seconds();
  for (long n = 0; n < frames; ++n) {
    LARGE_INTEGER at;
    DWORD got = 0;
    at.QuadPart = (LONGLONG)(n % framesInFile) * frameSize;
    if (!SetFilePointerEx(raw, at, NULL, FILE_BEGIN) || !ReadFile(raw, frame, frameSize, &got, NULL) ||
        got != frameSize)
      return Fail("reading the raw frames", HRESULT_FROM_WIN32(GetLastError()));
    hr = AVIStreamWrite(stream, n, 1, frame, (LONG)frameSize, AVIIF_KEYFRAME, NULL, NULL);
    if (FAILED(hr)) return Fail("AVIStreamWrite", hr);
  }
  AVIStreamRelease(stream);
  AVIFileRelease(file);
  const double seconds = Seconds() - start;
  AVIFileExit();
  printf("frames=%ld seconds=%.4f fps=%.1f\n", frames, seconds, frames / seconds);
  free(frame);
  CloseHandle(raw);
  return 0;
}
