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
 *   copy_bound_bench.exe <frames.raw> <frame bytes> <frames> <out file> [rounds]
 * Prints one line per way:  <way> fps=<median> (<min>-<max>) of <rounds> rounds
 */
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#define POOL 3
#define MAX_ROUNDS 15

typedef struct {
  HANDLE raw;
  HANDLE out;
  size_t frameSize;
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
} Bench;

static double Seconds(void) {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart / (double)f.QuadPart;
}

static int ReadFrame(Bench* b, long n, unsigned char* into) {
  LARGE_INTEGER at;
  DWORD got = 0;
  at.QuadPart = (LONGLONG)(n % b->framesInFile) * (LONGLONG)b->frameSize;
  return SetFilePointerEx(b->raw, at, NULL, FILE_BEGIN) && ReadFile(b->raw, into, (DWORD)b->frameSize, &got, NULL) &&
         got == b->frameSize;
}

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
    if (!ReadFrame(b, n, b->frame)) return 0;
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
    if (!ok) b->failed = 1;
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
    ok = ReadFrame(b, n, b->frame);
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
  return ok && !b->failed;
}

static int Compare(const void* a, const void* b) {
  double x = *(const double*)a, y = *(const double*)b;
  return x < y ? -1 : x > y;
}

int wmain(int argc, wchar_t** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: copy_bound_bench.exe <frames.raw> <frame bytes> <frames> <out file> [rounds]\n");
    return 2;
  }
  Bench b;
  memset(&b, 0, sizeof b);
  b.frameSize = (size_t)_wtoi64(argv[2]);
  b.frames = wcstol(argv[3], NULL, 10);
  int rounds = argc > 5 ? _wtoi(argv[5]) : 5;
  if (rounds < 1 || rounds > MAX_ROUNDS) rounds = 5;
  b.raw = CreateFileW(argv[1], GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, NULL);
  LARGE_INTEGER rawSize = {0};
  if (b.raw == INVALID_HANDLE_VALUE || !GetFileSizeEx(b.raw, &rawSize) || b.frameSize == 0 || b.frames <= 0 ||
      (unsigned long long)rawSize.QuadPart < b.frameSize) {
    fprintf(stderr, "cannot read %ld frames of %I64u bytes from the raw file: %lu\n", b.frames,
            (unsigned long long)b.frameSize, GetLastError());
    return 1;
  }
  b.framesInFile = (long)(rawSize.QuadPart / (LONGLONG)b.frameSize);
  b.frame = VirtualAlloc(NULL, b.frameSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  b.block = VirtualAlloc(NULL, BLOCK, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  for (int i = 0; i < POOL; ++i) b.pool[i] = VirtualAlloc(NULL, b.frameSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  if (!b.frame || !b.block || !b.pool[POOL - 1]) return 1;
  InitializeCriticalSection(&b.cs);
  InitializeConditionVariable(&b.changed);

  static const char* const names[] = {"dd", "serial", "threaded"};
  int (*const ways[])(Bench*) = {RunDd, RunSerial, RunThreaded};
  double fps[3][MAX_ROUNDS];
  for (int r = 0; r < rounds; ++r) {
    for (int i = 0; i < 3; ++i) {
      int way = (i + r) % 3;
      b.out = CreateFileW(argv[4], GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
      if (b.out == INVALID_HANDLE_VALUE) return 1;
      double t0 = Seconds();
      int ok = ways[way](&b);
      double t1 = Seconds();
      CloseHandle(b.out);
      DeleteFileW(argv[4]);
      if (!ok) {
        fprintf(stderr, "%s failed: %lu\n", names[way], GetLastError());
        return 1;
      }
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
