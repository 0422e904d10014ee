/* TavDemoHost: records a short demo movie through TavMovieMaker.dll, the way a
 * camera host does, knowing nothing but the public header.
 *
 *   TavDemoHost.exe [movie.avi] [--seconds N] [--no-audio] [--log log.txt]
 *
 * The DLL is loaded with LoadLibraryW and its functions found with
 * GetProcAddress. The movie is 320x240, 25 frames per second, 24-bit RGB with
 * a moving colour bar, and (unless --no-audio) a 440 Hz stereo 16-bit tone, one
 * audio block per frame. Exit code 0 when every call returned S_OK, 1 for a
 * bad option or a failed call, 2 when the DLL cannot be loaded.
 */
#include <TavMovieMaker.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

enum { kWidth = 320, kHeight = 240, kFps = 25, kSampleRate = 48000 };

typedef struct {
  TavMovieMakerInitExFn InitEx;
  TavMovieMakerReleaseFn Release;
  TavMovieMakerSetAudioStreamFn SetAudioStream;
  TavMovieMakerStartMovieRecordFn StartMovieRecord;
  TavMovieMakerStopMovieRecordFn StopMovieRecord;
  TavMovieMakerAddMovieFrame2Fn AddMovieFrame2;
  TavMovieMakerAddAudioSample2Fn AddAudioSample2;
  HRESULT (*LogCreateEngine)(int, unsigned int);
  HRESULT (*LogAttachFile)(int, unsigned int, unsigned int, const wchar_t*, int*);
  HRESULT (*LogListen)(int, unsigned long long);
  unsigned long long (*LogModuleKey)(void);
} MovieMaker;

static FARPROC Find(HMODULE dll, const char* name) {
  FARPROC fn = GetProcAddress(dll, name);
  if (!fn) fprintf(stderr, "TavMovieMaker.dll has no export %s\n", name);
  return fn;
}

/* GetProcAddress returns a generic function pointer; each is cast to its own
 * type (through void (*)(void), which matches every function type). */
#define FIND(dll, field, name) (((field) = (__typeof__(field))(void (*)(void))Find((dll), (name))) != NULL)

static int LoadMovieMaker(HMODULE dll, MovieMaker* mm) {
  return FIND(dll, mm->InitEx, "TavMovieMakerInitEx") && FIND(dll, mm->Release, "TavMovieMakerRelease") &&
         FIND(dll, mm->SetAudioStream, "TavMovieMakerSetAudioStream") &&
         FIND(dll, mm->StartMovieRecord, "TavMovieMakerStartMovieRecord") &&
         FIND(dll, mm->StopMovieRecord, "TavMovieMakerStopMovieRecord") &&
         FIND(dll, mm->AddMovieFrame2, "TavMovieMakerAddMovieFrame2") &&
         FIND(dll, mm->AddAudioSample2, "TavMovieMakerAddAudioSample2") &&
         FIND(dll, mm->LogCreateEngine, "TavLogCreateEngine") && FIND(dll, mm->LogAttachFile, "TavLogAttachFile") &&
         FIND(dll, mm->LogListen, "TavLogListen") && FIND(dll, mm->LogModuleKey, "TavLogModuleKey");
}

/* Rows are stored top-down (the writer is set up with a negative height), each
 * padded to 4 bytes; 320 * 3 already is. */
static void PaintFrame(unsigned char* frame, int index) {
  const int stride = kWidth * 3;
  const int barX = (index * 8) % kWidth;
  for (int y = 0; y < kHeight; ++y) {
    unsigned char* row = frame + (size_t)y * stride;
    for (int x = 0; x < kWidth; ++x) {
      unsigned char* px = row + x * 3;
      int inBar = x >= barX && x < barX + 32;
      px[0] = (unsigned char)(inBar ? 255 : x * 255 / kWidth);  /* blue */
      px[1] = (unsigned char)(inBar ? 255 : y * 255 / kHeight); /* green */
      px[2] = (unsigned char)(inBar ? 255 : (index * 5) & 255); /* red */
    }
  }
}

/* One frame's worth of a 440 Hz tone, stereo 16-bit little-endian. */
static void PaintAudio(short* block, int frames, int index) {
  const double pi = 3.14159265358979323846;
  for (int i = 0; i < frames; ++i) {
    double t = (double)(index * frames + i) / kSampleRate;
    short v = (short)(8000.0 * sin(2.0 * pi * 440.0 * t));
    block[2 * i] = v;
    block[2 * i + 1] = v;
  }
}

static int Check(const char* what, HRESULT hr) {
  if (hr != S_OK) fprintf(stderr, "%s failed: 0x%08lX\n", what, (unsigned long)hr);
  return hr == S_OK;
}

static int Usage(FILE* stream, int exitCode) {
  fputs(
      "usage: TavDemoHost [movie.avi] [--seconds N] [--no-audio] [--log log.txt]\n"
      "Records N seconds (default 4) of a 320x240, 25 fps test movie with a 440 Hz\n"
      "tone into movie.avi (default demo.avi). tavrec records from any input.\n",
      stream);
  return exitCode;
}

int wmain(int argc, wchar_t** argv) {
  const wchar_t* movie = L"demo.avi";
  const wchar_t* logPath = NULL;
  int seconds = 4, audio = 1;
  for (int i = 1; i < argc; ++i) {
    if (wcscmp(argv[i], L"--seconds") == 0 && i + 1 < argc) seconds = _wtoi(argv[++i]);
    else if (wcscmp(argv[i], L"--no-audio") == 0) audio = 0;
    else if (wcscmp(argv[i], L"--log") == 0 && i + 1 < argc) logPath = argv[++i];
    else if (wcscmp(argv[i], L"--help") == 0 || wcscmp(argv[i], L"-h") == 0) return Usage(stdout, 0);
    else if (argv[i][0] == L'-') return Usage(stderr, 1); /* never a file name */
    else movie = argv[i];
  }

  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  if (!dll) {
    fprintf(stderr, "cannot load TavMovieMaker.dll: error %lu\n", GetLastError());
    return 2;
  }
  MovieMaker mm;
  if (!LoadMovieMaker(dll, &mm)) return 2;

  if (logPath) { /* every line of the library, layout 3, from TRACE up */
    mm.LogCreateEngine(1, 1);
    mm.LogAttachFile(1, 3, 1, logPath, NULL);
    mm.LogListen(1, mm.LogModuleKey());
  }

  const int audioFrames = kSampleRate / kFps;
  const unsigned frameSize = kWidth * kHeight * 3, audioSize = (unsigned)audioFrames * 4;
  unsigned char* frame = malloc(frameSize);
  short* block = malloc(audioSize);
  unsigned pixelFormat = TAVMM_PIXEL_RGB24;
  int id = 0, ok = frame && block;

  ok = ok && Check("TavMovieMakerInitEx", mm.InitEx(kWidth, -kHeight, kFps, &pixelFormat, &id));
  if (ok && audio) ok = Check("TavMovieMakerSetAudioStream", mm.SetAudioStream(id, 16));
  ok = ok && Check("TavMovieMakerStartMovieRecord", mm.StartMovieRecord(id, movie));
  const long long frameTime = 10000000 / kFps;
  for (int n = 0; ok && n < seconds * kFps; ++n) {
    PaintFrame(frame, n);
    ok = Check("TavMovieMakerAddMovieFrame2", mm.AddMovieFrame2(id, frame, frameSize, n * frameTime, n));
    if (ok && audio) {
      PaintAudio(block, audioFrames, n);
      ok = Check("TavMovieMakerAddAudioSample2", mm.AddAudioSample2(id, block, audioSize, n * frameTime, n));
    }
  }
  if (id != 0) {
    if (!Check("TavMovieMakerStopMovieRecord", mm.StopMovieRecord(id))) ok = 0;
    mm.Release(id);
  }
  free(frame);
  free(block);
  if (ok)
    wprintf(L"recorded %s: %d frames of %dx%d at %d fps%s\n", movie, seconds * kFps, kWidth, kHeight, kFps,
            audio ? L", 16-bit stereo audio" : L"");
  return ok ? 0 : 1;
}
