/* DllRecordBench: records raw frames through TavMovieMaker.dll the way a
 * camera host does, knowing nothing but the public header, and prints how
 * fast and how much memory.
 *
 *   dll_record_bench.exe <frames.raw|-> <width> <height> <grey|rgb24> <frames> <movie.avi> [warm-bytes]
 *
 * Frame n is read from the raw file at n * frame size (the file wraps
 * around), so that every contender of bench/compare.sh writes the same
 * bytes; "-" paints the frames in memory instead. Rows are taken as they
 * are, 4-byte padded. The time runs from the first frame handed in to the
 * return of TavMovieMakerStopMovieRecord (the file is complete then).
 * Prints one line:
 *   frames=<n> seconds=<s> fps=<f> peak_commit_mb=<m> read_us=<r> handover_us=<h> memcpy_us=<c>
 * where, per frame on average, r is the time the host takes to get the frame
 * (reading it, or painting it), h the time it spends in
 * TavMovieMakerAddMovieFrame2 (the hand-over, with the source pin's copy),
 * and c the time one memcpy of a frame takes in this process afterwards
 * (median of 21): h - c is what the hand-over costs beyond the copy.
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

static int CompareDoubles(const void* a, const void* b) {
  const double x = *(const double*)a, y = *(const double*)b;
  return x < y ? -1 : x > y;
}

static volatile unsigned copySink;

/* The median time of one memcpy of the frame into a buffer touched before. */
static double MedianCopySeconds(const unsigned char* frame, unsigned frameSize) {
  enum { kCopies = 21 };
  double times[kCopies];
  unsigned char* copy = malloc(frameSize);
  if (!copy) return 0.0;
  memset(copy, 0, frameSize);
  for (int i = 0; i < kCopies; ++i) {
    const double t = Seconds();
    memcpy(copy, frame, frameSize);
    times[i] = Seconds() - t;
    copySink += copy[(size_t)i % frameSize];  // keeps the copy from being left out
  }
  free(copy);
  qsort(times, kCopies, sizeof times[0], CompareDoubles);
  return times[kCopies / 2];
}

int wmain(int argc, wchar_t** argv) {
  RecordBenchArgs args;
  const int bad = ParseRecordBenchArgs(
      argc, argv,
      "usage: dll_record_bench.exe <frames.raw|-> <width> <height> <grey|rgb24> <frames> <movie.avi> [warm-bytes]\n",
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

  if (!WarmTarget(&args)) return Fail("warming the target", HRESULT_FROM_WIN32(GetLastError()));
  const double start = Seconds();
  double readSeconds = 0.0, handOverSeconds = 0.0;
  for (long n = 0; n < frames && hr == S_OK; ++n) {
    const double readStart = Seconds();
    if (raw != INVALID_HANDLE_VALUE) {
      if (!ReadRawFrame(raw, framesInFile, n, frameSize, frame))
        return Fail("reading the raw frames", HRESULT_FROM_WIN32(GetLastError()));
    } else {
      frame[(size_t)n % frameSize] ^= 0xFF;
    }
    const double handOverStart = Seconds();
    hr = mm.AddMovieFrame2(id, frame, frameSize, n * 400000LL, n);
    handOverSeconds += Seconds() - handOverStart;
    readSeconds += handOverStart - readStart;
  }
  if (hr != S_OK) return Fail("TavMovieMakerAddMovieFrame2", hr);
  hr = mm.StopMovieRecord(id);
  const double seconds = Seconds() - start;
  if (hr != S_OK) return Fail("TavMovieMakerStopMovieRecord", hr);
  const double peakCommit = PeakCommitMegabytes();  // before the copy below adds its buffer
  printf("frames=%ld seconds=%.4f fps=%.1f peak_commit_mb=%.1f read_us=%.1f handover_us=%.1f memcpy_us=%.1f\n", frames,
         seconds, frames / seconds, peakCommit, readSeconds * 1e6 / frames, handOverSeconds * 1e6 / frames,
         MedianCopySeconds(frame, frameSize) * 1e6);
  mm.Release(id);
  free(frame);
  if (raw != INVALID_HANDLE_VALUE) CloseHandle(raw);
  return 0;
}
