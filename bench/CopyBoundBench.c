/* CopyBoundBench: how fast this machine can move a recording's bytes the way
 * the DLL must, with nothing else in the way (no graph, no hand-over), next
 * to what dd does. Three ways, on the same raw frames, interleaved:
 *   dd       ReadFile and WriteFile of 1 MB blocks: two copies per byte (the
 *            bound of bench/compare.sh, here under Wine)
 *   serial   per frame: ReadFile into the host's frame, copy it into a
 *            sample buffer (the DLL's copy), WriteFile the sample: three
 *            copies, one thread
 *   threaded the same three copies, the write on a thread of its own fed
 *            through a pool of 3 sample buffers (the AVI Mux's writer
 *            thread): what the DLL with a perfect hand-over could reach
 * Each way writes frames * frame size bytes to the output file, which is
 * deleted after each run.
 *
 *   copy_bound_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <out file> [rounds]
 * (the arguments of dll_record_bench.exe, bench/RecordBench.h)
 * Prints one line per way:  <way> fps=<median> (<min>-<max>) of <rounds> rounds
 */
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "RecordBench.h"

#define POOL 3
#define MAX_ROUNDS 15

typedef struct {
  HANDLE raw;
  HANDLE out;
  unsigned frameSize;
  long frames;
  long framesInFile;
  unsigned char* frame;
  unsigned char* block; /* dd's 1 MB */
  unsigned char* pool[POOL];
  /* threaded: filled[i] is set while pool[i] waits for the writer */
  CRITICAL_SECTION cs;
  CONDITION_VARIABLE changed;
  long produced, written;
  int failed;
  DWORD error; /* the writer thread's, when it failed */
} Bench;

static int WriteAll(HANDLE file, const unsigned char* data, size_t size) {
  DWORD done = 0;
  return WriteFile(file, data, (DWORD)size, &done, NULL) && done == size;
}

#define BLOCK (1 << 20)

static int RunDd(Bench* b) {
  const size_t block = BLOCK;
  unsigned long long left = (unsigned long long)b->frames * b->frameSize;
  LARGE_INTEGER zero = {0};
  SetFilePointerEx(b->raw, zero, NULL, FILE_BEGIN);
  while (left > 0) {
    DWORD want = (DWORD)(left < block ? left : block), got = 0;
    if (!ReadFile(b->raw, b->block, want, &got, NULL)) return 0;
    if (got == 0) { /* the raw file wraps around */
      SetFilePointerEx(b->raw, zero, NULL, FILE_BEGIN);
      continue;
    }
    if (!WriteAll(b->out, b->block, got)) return 0;
    left -= got;
  }
  return 1;
}

static int RunSerial(Bench* b) {
  for (long n = 0; n < b->frames; ++n) {
    if (!ReadRawFrame(b->raw, b->framesInFile, n, b->frameSize, b->frame)) return 0;
    memcpy(b->pool[0], b->frame, b->frameSize);
    if (!WriteAll(b->out, b->pool[0], b->frameSize)) return 0;
  }
  return 1;
}

static DWORD WINAPI Writer(void* arg) {
  Bench* b = arg;
  for (long n = 0; n < b->frames; ++n) {
    EnterCriticalSection(&b->cs);
    while (b->produced <= n) SleepConditionVariableCS(&b->changed, &b->cs, INFINITE);
    LeaveCriticalSection(&b->cs);
    int ok = WriteAll(b->out, b->pool[n % POOL], b->frameSize);
    EnterCriticalSection(&b->cs);
    if (!ok && !b->failed) {
      b->failed = 1;
      b->error = GetLastError();
    }
    b->written = n + 1;
    LeaveCriticalSection(&b->cs);
    WakeAllConditionVariable(&b->changed);
  }
  return 0;
}

static int RunThreaded(Bench* b) {
  b->produced = b->written = 0;
  b->failed = 0;
  HANDLE thread = CreateThread(NULL, 0, Writer, b, 0, NULL);
  if (!thread) return 0;
  int ok = 1;
  for (long n = 0; n < b->frames && ok; ++n) {
    ok = ReadRawFrame(b->raw, b->framesInFile, n, b->frameSize, b->frame);
    EnterCriticalSection(&b->cs);
    while (n - b->written >= POOL) SleepConditionVariableCS(&b->changed, &b->cs, INFINITE);
    LeaveCriticalSection(&b->cs);
    memcpy(b->pool[n % POOL], b->frame, b->frameSize);
    EnterCriticalSection(&b->cs);
    b->produced = n + 1;
    LeaveCriticalSection(&b->cs);
    WakeAllConditionVariable(&b->changed);
  }
  if (!ok) { /* let the writer finish what it can */
    EnterCriticalSection(&b->cs);
    b->produced = b->frames;
    LeaveCriticalSection(&b->cs);
    WakeAllConditionVariable(&b->changed);
  }
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  if (ok && b->failed) SetLastError(b->error);
  return ok && !b->failed;
}

static int Compare(const void* a, const void* b) {
  double x = *(const double*)a, y = *(const double*)b;
  return x < y ? -1 : x > y;
}

int wmain(int argc, wchar_t** argv) {
  static const char usage[] =
      "usage: copy_bound_bench.exe <frames.raw> <width> <height> <grey|rgb24> <frames> <out file> [rounds]\n";
  RecordBenchArgs args;
  int code = ParseRecordBenchArgs(argc, argv, usage, &args);
  if (code != 0) return code;
  int rounds = argc > 7 ? _wtoi(argv[7]) : 5;
  if (rounds < 1 || rounds > MAX_ROUNDS) rounds = 5;
  Bench b;
  memset(&b, 0, sizeof b);
  b.frameSize = args.frameSize;
  b.frames = args.frames;
  b.raw = OpenRawFrames(&args, &b.framesInFile);
  if (b.raw == INVALID_HANDLE_VALUE) return Fail("opening the raw frames", HRESULT_FROM_WIN32(GetLastError()));
  b.frame = VirtualAlloc(NULL, b.frameSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  b.block = VirtualAlloc(NULL, BLOCK, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  for (int i = 0; i < POOL; ++i) b.pool[i] = VirtualAlloc(NULL, b.frameSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  if (!b.frame || !b.block || !b.pool[POOL - 1]) return Fail("VirtualAlloc", E_OUTOFMEMORY);
  InitializeCriticalSection(&b.cs);
  InitializeConditionVariable(&b.changed);

  static const char* const names[] = {"dd", "serial", "threaded"};
  int (*const ways[])(Bench*) = {RunDd, RunSerial, RunThreaded};
  double fps[3][MAX_ROUNDS];
  for (int r = 0; r < rounds; ++r) {
    for (int i = 0; i < 3; ++i) {
      int way = (i + r) % 3;
      b.out = CreateFileW(args.moviePath, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
      if (b.out == INVALID_HANDLE_VALUE) return Fail("creating the output file", HRESULT_FROM_WIN32(GetLastError()));
      double t0 = Seconds();
      int ok = ways[way](&b);
      double t1 = Seconds();
      DWORD error = ok ? 0 : GetLastError();
      CloseHandle(b.out);
      DeleteFileW(args.moviePath);
      if (!ok) return Fail(names[way], HRESULT_FROM_WIN32(error));
      fps[way][r] = b.frames / (t1 - t0);
    }
  }
  for (int way = 0; way < 3; ++way) {
    qsort(fps[way], (size_t)rounds, sizeof fps[way][0], Compare);
    printf("%-8s fps=%.0f (%.0f-%.0f) of %d rounds\n", names[way], fps[way][rounds / 2], fps[way][0],
           fps[way][rounds - 1], rounds);
  }
  return 0;
}
