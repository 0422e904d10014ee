/* What dll_record_bench.exe and vfw_record_bench.exe share: their arguments
 *   <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi>
 * (rows 4-byte padded), the raw frames file read frame by frame (wrapping
 * around), the clock and the failure line. */
#pragma once

#include <windows.h>

#include <stdio.h>
#include <wchar.h>

typedef struct {
  const wchar_t* rawPath;
  int width, height, grey;
  long frames;
  unsigned frameSize;
  const wchar_t* moviePath;
} RecordBenchArgs;

static inline double Seconds(void) {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart / (double)f.QuadPart;
}

static inline int Fail(const char* what, HRESULT hr) {
  fprintf(stderr, "%s failed: 0x%08lX\n", what, (unsigned long)hr);
  return 1;
}

/* Fills *args from the command line. Returns 0, or the exit code after
 * printing usage (2) or the failure (1). */
static inline int ParseRecordBenchArgs(int argc, wchar_t** argv, const char* usage, RecordBenchArgs* args) {
  if (argc < 7) {
    fprintf(stderr, "%s", usage);
    return 2;
  }
  args->rawPath = argv[1];
  args->width = _wtoi(argv[2]);
  args->height = _wtoi(argv[3]);
  args->grey = wcscmp(argv[4], L"grey") == 0;
  args->frames = wcstol(argv[5], NULL, 10);
  args->frameSize = (((unsigned)args->width * (args->grey ? 1 : 3) + 3) & ~3u) * (unsigned)args->height;
  args->moviePath = argv[6];
  if (args->width <= 0 || args->height <= 0 || args->frames <= 0) return Fail("arguments", E_INVALIDARG);
  return 0;
}

/* Opens the raw frames file, which must hold at least one frame; sets
 * *framesInFile. INVALID_HANDLE_VALUE when it cannot. */
static inline HANDLE OpenRawFrames(const RecordBenchArgs* args, long* framesInFile) {
  LARGE_INTEGER size;
  HANDLE raw =
      CreateFileW(args->rawPath, GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, NULL);
  if (raw == INVALID_HANDLE_VALUE || !GetFileSizeEx(raw, &size) || size.QuadPart < args->frameSize)
    return INVALID_HANDLE_VALUE;
  *framesInFile = (long)(size.QuadPart / args->frameSize);
  return raw;
}

/* Reads frame n (modulo the frames in the file) into frame. FALSE on failure. */
static inline BOOL ReadRawFrame(HANDLE raw, long framesInFile, long n, unsigned frameSize, unsigned char* frame) {
  LARGE_INTEGER at;
  DWORD got = 0;
  at.QuadPart = (LONGLONG)(n % framesInFile) * frameSize;
  return SetFilePointerEx(raw, at, NULL, FILE_BEGIN) && ReadFile(raw, frame, frameSize, &got, NULL) && got == frameSize;
}
