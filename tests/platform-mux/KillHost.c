/* KillHost: a host that records through TavMovieMaker.dll (public header
 * only) until it is killed, for the test of what a killed recording leaves.
 *
 *   mux_kill_host.exe <movie.avi> <frames>
 *
 * Records 160x120 grey frames at 25 fps; frame n is filled with the byte
 * n % 251. After each frame the call returned S_OK for, it prints
 * "acknowledged <n+1>" on its own line (flushed). After <frames> frames it
 * prints "holding" and waits forever with the recording open; with <frames>
 * 0 it records without end. Any failing call prints "failed <export>
 * 0x<HRESULT>" and exits with 1.
 */
#include <TavMovieMaker.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

enum { kWidth = 160, kHeight = 120, kFps = 25 };

static int Failed(const char* what, HRESULT hr) {
  printf("failed %s 0x%08lX\n", what, (unsigned long)hr);
  fflush(stdout);
  return 1;
}

int wmain(int argc, wchar_t** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: mux_kill_host.exe <movie.avi> <frames>\n");
    return 2;
  }
  const long frames = wcstol(argv[2], NULL, 10);
  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  if (!dll) return Failed("LoadLibraryW", HRESULT_FROM_WIN32(GetLastError()));
  TavMovieMakerInitExFn initEx = (TavMovieMakerInitExFn)(void (*)(void))GetProcAddress(dll, "TavMovieMakerInitEx");
  TavMovieMakerStartMovieRecordFn start =
      (TavMovieMakerStartMovieRecordFn)(void (*)(void))GetProcAddress(dll, "TavMovieMakerStartMovieRecord");
  TavMovieMakerAddMovieFrame2Fn addFrame =
      (TavMovieMakerAddMovieFrame2Fn)(void (*)(void))GetProcAddress(dll, "TavMovieMakerAddMovieFrame2");
  if (!initEx || !start || !addFrame) return Failed("GetProcAddress", E_NOINTERFACE);

  unsigned pixelFormat = TAVMM_PIXEL_GREY8;
  int id = 0;
  HRESULT hr = initEx(kWidth, kHeight, kFps, &pixelFormat, &id);
  if (hr != S_OK) return Failed("TavMovieMakerInitEx", hr);
  hr = start(id, argv[1]);
  if (hr != S_OK) return Failed("TavMovieMakerStartMovieRecord", hr);

  static unsigned char frame[kWidth * kHeight];
  const long long frameTime = 10000000 / kFps;
  for (long n = 0; frames == 0 || n < frames; ++n) {
    memset(frame, (int)(n % 251), sizeof frame);
    hr = addFrame(id, frame, sizeof frame, n * frameTime, n);
    if (hr != S_OK) return Failed("TavMovieMakerAddMovieFrame2", hr);
    printf("acknowledged %ld\n", n + 1);
    fflush(stdout);
  }
  printf("holding\n");
  fflush(stdout);
  Sleep(INFINITE);
  return 0;
}
