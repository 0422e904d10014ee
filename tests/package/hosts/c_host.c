/* A C99 host of the installed package: records 10 frames into the file named
 * by its argument after listing the video compressors with the two-call
 * protocol, or with --version prints the header's and the DLL's version. */
#include <TavMovieMaker.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int Fail(const char* function, HRESULT hr) {
  printf("%s failed: 0x%08lX\n", function, (unsigned long)hr);
  return 1;
}

/* "major.minor.patch" from the loaded DLL's version resource. */
static int PrintVersions(void) {
  wchar_t path[MAX_PATH];
  DWORD size;
  void* block;
  VS_FIXEDFILEINFO* fixed = NULL;
  UINT length = 0;
  GetModuleFileNameW(GetModuleHandleW(L"TavMovieMaker.dll"), path, MAX_PATH);
  size = GetFileVersionInfoSizeW(path, NULL);
  block = malloc(size);
  if (size == 0 || block == NULL || !GetFileVersionInfoW(path, 0, size, block) ||
      !VerQueryValueW(block, L"\\", (void**)&fixed, &length))
    return Fail("GetFileVersionInfoW", HRESULT_FROM_WIN32(GetLastError()));
  printf("header %s dll %u.%u.%u\n", TAVMM_VERSION_STRING, (unsigned)HIWORD(fixed->dwFileVersionMS),
         (unsigned)LOWORD(fixed->dwFileVersionMS), (unsigned)HIWORD(fixed->dwFileVersionLS));
  free(block);
  return 0;
}

static int PrintVideoCompressors(int id) {
  int count = 0, maxLength = 0, length, i;
  wchar_t** names;
  HRESULT hr = TavMovieMakerGetCompressors(id, NULL, &count, &maxLength);
  if (FAILED(hr)) return Fail("TavMovieMakerGetCompressors", hr);
  length = maxLength > TAVMM_MIN_NAME_LENGTH ? maxLength : TAVMM_MIN_NAME_LENGTH;
  names = (wchar_t**)calloc((size_t)count, sizeof *names);
  for (i = 0; i < count; ++i) names[i] = (wchar_t*)calloc((size_t)length, sizeof(wchar_t));
  hr = TavMovieMakerGetCompressors(id, names, &count, &length);
  if (FAILED(hr)) return Fail("TavMovieMakerGetCompressors", hr);
  for (i = 0; i < count; ++i) printf("video compressor: %ls\n", names[i]);
  for (i = 0; i < count; ++i) free(names[i]);
  free(names);
  return 0;
}

int wmain(int argc, wchar_t** argv) {
  enum { kWidth = 32, kHeight = 16 };
  static unsigned char frame[kWidth * kHeight * 3];
  unsigned pixelFormat = TAVMM_PIXEL_RGB24;
  int id = 0;
  long long n;
  HRESULT hr;
  if (argc == 2 && wcscmp(argv[1], L"--version") == 0) return PrintVersions();
  if (argc != 2) {
    printf("usage: c_host <movie.avi> | --version\n");
    return 2;
  }
  hr = TavMovieMakerInitEx(kWidth, kHeight, 25.0, &pixelFormat, &id);
  if (FAILED(hr)) return Fail("TavMovieMakerInitEx", hr);
  if (PrintVideoCompressors(id) != 0) return 1;
  hr = TavMovieMakerStartMovieRecord(id, argv[1]);
  if (FAILED(hr)) return Fail("TavMovieMakerStartMovieRecord", hr);
  for (n = 0; n < 10; ++n) {
    memset(frame, (int)(n * 20), sizeof frame);
    hr = TavMovieMakerAddMovieFrame2(id, frame, sizeof frame, n * 400000, n);
    if (FAILED(hr)) return Fail("TavMovieMakerAddMovieFrame2", hr);
  }
  hr = TavMovieMakerStopMovieRecord(id);
  if (FAILED(hr)) return Fail("TavMovieMakerStopMovieRecord", hr);
  TavMovieMakerRelease(id);
  printf("recorded 10 frames\n");
  return 0;
}
