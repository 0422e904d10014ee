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

#include "RecordBench.h"

typedef struct {
  TavMovieMakerInitExFn InitEx;
  TavMovieMakerReleaseFn Release;
  TavMovieMakerStartMovieRecordFn StartMovieRecord;
  TavMovieMakerStopMovieRecordFn StopMovieRecord;
  TavMovieMakerAddMovieFrame2Fn AddMovieFrame2;
} MovieMaker;

#define FIND(dll, field, name) (((field) = (__typeof__(field))(void (*)(void))GetProcAddress((dll), (name))) != NULL)

/* Peak committed bytes (Wine keeps them in PeakPagefileUsage). */
static double PeakCommitMegabytes(void) {
  PROCESS_MEMORY_COUNTERS pmc;
  memset(&pmc, 0, sizeof pmc);
  pmc.cb = sizeof pmc;
  GetProcessMemoryInfo(GetCurrentProcess(), &pmc, sizeof pmc);
  return pmc.PeakPagefileUsage / 1048576.0;
}

int wmain(int argc, wchar_t** argv) {
  RecordBenchArgs args;
  const int bad = ParseRecordBenchArgs(
      argc, argv, "usage: dll_record_bench.exe <frames.raw|-> <width> <height> <grey|rgb24> <frames> <movie.avi>\n",
      &args);
  if (bad != 0) return bad;
  const int width = args.width, height = args.height;
  const long frames = args.frames;
  const unsigned frameSize = args.frameSize;

  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  MovieMaker mm;
  if (!dll || !FIND(dll, mm.InitEx, "TavMovieMakerInitEx") || !FIND(dll, mm.Release, "TavMovieMakerRelease") ||
      !FIND(dll, mm.StartMovieRecord, "TavMovieMakerStartMovieRecord") ||
      !FIND(dll, mm.StopMovieRecord, "TavMovieMakerStopMovieRecord") ||
      !FIND(dll, mm.AddMovieFrame2, "TavMovieMakerAddMovieFrame2"))
    return Fail("loading TavMovieMaker.dll", HRESULT_FROM_WIN32(GetLastError()));

  HANDLE raw = INVALID_HANDLE_VALUE;
  long framesInFile = 0;
  if (wcscmp(args.rawPath, L"-") != 0) {
    raw = OpenRawFrames(&args, &framesInFile);
    if (raw == INVALID_HANDLE_VALUE) return Fail("opening the raw frames", HRESULT_FROM_WIN32(GetLastError()));
  }
  unsigned char* frame = malloc(frameSize);
  if (!frame) return Fail("malloc", E_OUTOFMEMORY);
  memset(frame, 0x5A, frameSize);

  unsigned pixelFormat = args.grey ? TAVMM_PIXEL_GREY8 : TAVMM_PIXEL_RGB24;
  int id = 0;
  HRESULT hr = mm.InitEx(width, height, 25.0, &pixelFormat, &id);
  if (hr != S_OK) return Fail("TavMovieMakerInitEx", hr);
  hr = mm.StartMovieRecord(id, args.moviePath);
  if (hr != S_OK) return Fail("TavMovieMakerStartMovieRecord", hr);

  const double start = Seconds();
  for (long n = 0; n < frames && hr == S_OK; ++n) {
    if (raw != INVALID_HANDLE_VALUE) {
      if (!ReadRawFrame(raw, framesInFile, n, frameSize, frame))
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
