/* VfwRecordBench: writes the same raw frames as dll_record_bench.exe into an
 * AVI through Video for Windows (AVIFile, Wine's avifil32), the way a
 * program without DirectShow would, for bench/compare.sh.
 *
 *   vfw_record_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi> [warm-bytes]
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

#include "RecordBench.h"

int wmain(int argc, wchar_t** argv) {
  RecordBenchArgs args;
  const int bad = ParseRecordBenchArgs(
      argc, argv,
      "usage: vfw_record_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi> [warm-bytes]\n",
      &args);
  if (bad != 0) return bad;
  const int width = args.width, height = args.height, grey = args.grey;
  const long frames = args.frames;
  const unsigned frameSize = args.frameSize;

  long framesInFile = 0;
  HANDLE raw = OpenRawFrames(&args, &framesInFile);
  if (raw == INVALID_HANDLE_VALUE) return Fail("opening the raw frames", HRESULT_FROM_WIN32(GetLastError()));

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
  DeleteFileW(args.moviePath);
  PAVIFILE file = NULL;
  HRESULT hr = AVIFileOpenW(&file, args.moviePath, OF_CREATE | OF_WRITE, NULL);
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

  if (!WarmTarget(&args)) return Fail("warming the target", HRESULT_FROM_WIN32(GetLastError()));
  const double start = Seconds();
  for (long n = 0; n < frames; ++n) {
    if (!ReadRawFrame(raw, framesInFile, n, frameSize, frame))
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
