/* What dll_record_bench.exe and vfw_record_bench.exe share: their arguments
 *   <frames.raw> <width> <height> <grey|rgb24> <frames> <movie.avi> [warm-bytes]
 * (rows 4-byte padded), the raw frames file read frame by frame (wrapping
 * around), the warming of the target, the clock and the failure line. */
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
  long long warmBytes;  // written beside the movie and deleted just before the first frame
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
  args->warmBytes = argc > 7 ? _wtoi64(argv[7]) : 0;
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

/* Writes args->warmBytes of zeros into a file beside the movie and deletes
 * it, right before the first frame. On a virtual machine that hands freed
 * memory back to its host (Linux free page reporting, about 2 s after it is
 * freed), writing into such memory costs many times more than into memory
 * just used; bench/compare.sh warms the target this way for every
 * contender, here after the program's own start-up, as close to its first
 * write as for ffmpeg and dd. FALSE on failure. */
static inline BOOL WarmTarget(const RecordBenchArgs* args) {
  static unsigned char zeros[1 << 20];
  wchar_t path[MAX_PATH];
  if (args->warmBytes <= 0) return TRUE;
  if (swprintf(path, MAX_PATH, L"%s.warm", args->moviePath) < 0) return FALSE;
  HANDLE warm = CreateFileW(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, NULL);
  if (warm == INVALID_HANDLE_VALUE) return FALSE;
  BOOL ok = TRUE;
  for (long long left = args->warmBytes; ok && left > 0; left -= sizeof zeros) {
    DWORD put = 0, want = left < (long long)sizeof zeros ? (DWORD)left : (DWORD)sizeof zeros;
    ok = WriteFile(warm, zeros, want, &put, NULL) && put == want;
  }
  return CloseHandle(warm) && ok;
}
