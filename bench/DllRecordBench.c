/* DllRecordBench: records raw frames through TavMovieMaker.dll the way a
 * camera host does, knowing nothing but the public header, and prints how
 * fast and how much memory.
 *
 *   dll_record_bench.exe <frames.raw|-> <width> <height> <grey|rgb24> <frames> <movie.avi>
 *
 * Frame n is read from the raw file at n * frame size (the file wraps
 * around), so that every contender of bench/compare.sh writes the same
 * bytes; "-" paints the frames in memory instead. Rows are taken as they
 * are, 4-byte padded. The time runs from the first frame handed in to the
 * return of TavMovieMakerStopMovieRecord (the file is complete then).
 * Prints one line:
 *   frames=<n> seconds=<s> fps=<f> peak_commit_mb=<m>
 * Exit code 0 when every call returned S_OK.
 */
#include <TavMovieMaker.h>

#include <windows.h>
#include <psapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

typedef struct {
  TavMovieMakerInitExFn InitEx;
  TavMovieMakerReleaseFn Release;
  TavMovieMakerStartMovieRecordFn StartMovieRecord;
  TavMovieMakerStopMovieRecordFn StopMovieRecord;
  TavMovieMakerAddMovieFrame2Fn AddMovieFrame2;
} MovieMaker;

#define FIND(dll, field, name) (((field) = (__typeof__(field))(void (*)(void))GetProcAddress((dll), (name))) != NULL)

static double Seconds(void) {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart / (double)f.QuadPart;
}

/* Peak committed bytes (Wine keeps them in PeakPagefileUsage). */
static double PeakCommitMegabytes(void) {
  PROCESS_MEMORY_COUNTERS pmc;
  memset(&pmc, 0, sizeof pmc);
  pmc.cb = sizeof pmc;
  GetProcessMemoryInfo(GetCurrentProcess(), &pmc, sizeof pmc);
  return pmc.PeakPagefileUsage / 1048576.0;
}

static int Fail(const char* what, HRESULT hr) {
  fprintf(stderr, "%s failed: 0x%08lX\n", what, (unsigned long)hr);
  return 1;
}

int wmain(int argc, wchar_t** argv) {
  if (argc < 7) {
    fprintf(stderr, "usage: dll_record_bench.exe <frames.raw|-> <width> <height> <grey|rgb24> <frames> <movie.avi>\n");
    return 2;
  }
  const int width = _wtoi(argv[2]), height = _wtoi(argv[3]);
  const int grey = wcscmp(argv[4], L"grey") == 0;
  const long frames = wcstol(argv[5], NULL, 10);
  const unsigned stride = ((unsigned)width * (grey ? 1 : 3) + 3) & ~3u;
  const unsigned frameSize = stride * (unsigned)height;
  if (width <= 0 || height <= 0 || frames <= 0) return Fail("arguments", E_INVALIDARG);

  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  MovieMaker mm;
  if (!dll || !FIND(dll, mm.InitEx, "TavMovieMakerInitEx") || !FIND(dll, mm.Release, "TavMovieMakerRelease") ||
      !FIND(dll, mm.StartMovieRecord, "TavMovieMakerStartMovieRecord") ||
      !FIND(dll, mm.StopMovieRecord, "TavMovieMakerStopMovieRecord") ||
      !FIND(dll, mm.AddMovieFrame2, "TavMovieMakerAddMovieFrame2"))
    return Fail("loading TavMovieMaker.dll", HRESULT_FROM_WIN32(GetLastError()));

  HANDLE raw = INVALID_HANDLE_VALUE;
  LARGE_INTEGER rawSize = {0};
  if (wcscmp(argv[1], L"-") != 0) {
    raw = CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, NULL);
    if (raw == INVALID_HANDLE_VALUE || !GetFileSizeEx(raw, &rawSize) || rawSize.QuadPart < frameSize)
      return Fail("opening the raw frames", HRESULT_FROM_WIN32(GetLastError()));
  }
  unsigned char* frame = malloc(frameSize);
  if (!frame) return Fail("malloc", E_OUTOFMEMORY);
  memset(frame, 0x5A, frameSize);
  const long framesInFile = raw != INVALID_HANDLE_VALUE ? (long)(rawSize.QuadPart / frameSize) : 0;

  unsigned pixelFormat = grey ? TAVMM_PIXEL_GREY8 : TAVMM_PIXEL_RGB24;
  int id = 0;
  HRESULT hr = mm.InitEx(width, height, 25.0, &pixelFormat, &id);
  if (hr != S_OK) return Fail("TavMovieMakerInitEx", hr);
  hr = mm.StartMovieRecord(id, argv[6]);
  if (hr != S_OK) return Fail("TavMovieMakerStartMovieRecord", hr);

  const double start = Seconds();
  for (long n = 0; n < frames && hr == S_OK; ++n) {
    if (raw != INVALID_HANDLE_VALUE) {
      LARGE_INTEGER at;
      DWORD got = 0;
      at.QuadPart = (LONGLONG)(n % framesInFile) * frameSize;
      if (!SetFilePointerEx(raw, at, NULL, FILE_BEGIN) || !ReadFile(raw, frame, frameSize, &got, NULL) ||
          got != frameSize)
        return Fail("reading the raw frames", HRESULT_FROM_WIN32(GetLastError()));
    } else {
      frame[(size_t)n % frameSize] ^= 0xFF;
    }
    hr = mm.AddMovieFrame2(id, frame, frameSize, n * 400000LL, n);
  }
  if (hr != S_OK) return Fail("TavMovieMakerAddMovieFrame2", hr);
  hr = mm.StopMovieRecord(id);
  const double seconds = Seconds() - start;
  if (hr != S_OK) return Fail("TavMovieMakerStopMovieRecord", hr);
  printf("frames=%ld seconds=%.4f fps=%.1f peak_commit_mb=%.1f\n", frames, seconds, frames / seconds,
         PeakCommitMegabytes());
  mm.Release(id);
  free(frame);
  if (raw != INVALID_HANDLE_VALUE) CloseHandle(raw);
  return 0;
}
