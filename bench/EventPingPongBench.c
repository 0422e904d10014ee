/* EventPingPongBench: the floor under a frame hand-over on this platform.
 * Two threads pass the turn back and forth through two auto-reset events
 * (SetEvent + WaitForSingleObject each way), as the host and the source pin
 * do for each frame, and the program prints the round trips per second.
 *
 *   event_pingpong_bench.exe [round trips]   (default 20000)
 * Prints one line:  round_trips=<n> seconds=<s> per_second=<r> us_each=<u>
 */
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>

static HANDLE g_ping, g_pong;
static long g_rounds;

static DWORD WINAPI Answer(void* unused) {
  (void)unused;
  for (long i = 0; i < g_rounds; ++i) {
    WaitForSingleObject(g_ping, INFINITE);
    SetEvent(g_pong);
  }
  return 0;
}

int main(int argc, char** argv) {
  g_rounds = argc > 1 ? atol(argv[1]) : 20000;
  if (g_rounds <= 0) g_rounds = 20000;
  g_ping = CreateEventW(NULL, FALSE, FALSE, NULL);
  g_pong = CreateEventW(NULL, FALSE, FALSE, NULL);
  HANDLE thread = CreateThread(NULL, 0, Answer, NULL, 0, NULL);
  if (!g_ping || !g_pong || !thread) {
    fprintf(stderr, "CreateEventW/CreateThread failed: %lu\n", GetLastError());
    return 1;
  }
  LARGE_INTEGER f, t0, t1;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t0);
  for (long i = 0; i < g_rounds; ++i) {
    SetEvent(g_ping);
    WaitForSingleObject(g_pong, INFINITE);
  }
  QueryPerformanceCounter(&t1);
  WaitForSingleObject(thread, INFINITE);
  const double seconds = (double)(t1.QuadPart - t0.QuadPart) / (double)f.QuadPart;
  printf("round_trips=%ld seconds=%.4f per_second=%.0f us_each=%.1f\n", g_rounds, seconds, g_rounds / seconds,
         seconds * 1e6 / g_rounds);
  return 0;
}
