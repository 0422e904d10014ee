/* TavMovieMaker.dll: records AVI movies from raw video frames and PCM audio
 * blocks that the host pushes in one at a time.
 *
 * Include this header from C or C++ and link the import library
 * (lib/TavMovieMaker.lib for MSVC, lib/libTavMovieMaker.dll.a for MinGW), or
 * load the DLL with LoadLibraryW and find the functions with GetProcAddress.
 * C++17 hosts may use TavMovieMaker.hpp, which wraps these functions.
 *
 * Needs C99 or C++11 or later (64-bit arguments are `long long`); C89 and
 * C++98 are not supported.
 */
#ifndef TAVMOVIEMAKER_H
#define TAVMOVIEMAKER_H

/* The version of the DLL this header describes (also in the DLL's version
 * resource). */
#define TAVMM_VERSION_MAJOR 1
#define TAVMM_VERSION_MINOR 0
#define TAVMM_VERSION_PATCH 0
#define TAVMM_VERSION_STRING "1.0.0"

#include <windows.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The DLL's .def file names every export, so nothing needs dllexport, and a
 * host links either way (define TAVMM_API as __declspec(dllimport) to call
 * through the import table directly). */
#ifndef TAVMM_API
#define TAVMM_API
#endif

/* ---- Diagnostic log: registration side ------------------------------------
 * The library writes every trace line through its log, but registers no engine
 * itself: nothing is written until a host creates an engine and attaches sinks.
 * Registration and writing are safe from any thread. A sink callback must not
 * call the registration functions.
 *
 * Severities: 0 DEBUG, 1 TRACE, 2 NOTICE, 3 WARNING, 4 ERROR, 5 and 6 MANDATORY.
 * Layout kinds: 0 off, 1 "SV: CD; MSG" ... 5 the full line with line ID,
 * nesting level, time and module names.
 */
typedef int (*TavLogLineFn)(void* context, const wchar_t* line, int length, unsigned int severity);

/* Makes the engine (0 and -1 name the same one). S_OK when made, S_FALSE when it
 * existed (its minimum severity is then updated). */
TAVMM_API HRESULT TavLogCreateEngine(int engineId, unsigned int minSeverity);
/* Removes the engine, its sinks (files closed) and its ID from every module list;
 * S_FALSE when there was none. */
TAVMM_API HRESULT TavLogDeleteEngine(int engineId);
/* Each Attach appends one sink slot and returns its index (sinkIndex may be NULL).
 * E_INVALIDARG for an unknown engine or a NULL callback or path. */
TAVMM_API HRESULT TavLogAttachCallback(int engineId, unsigned int layoutKind, unsigned int minSeverity, TavLogLineFn fn,
                                       void* context, int* sinkIndex);
/* Appends each line as UTF-8 with CRLF, flushed per line. A file that cannot be
 * opened returns its Win32 error as an HRESULT. */
TAVMM_API HRESULT TavLogAttachFile(int engineId, unsigned int layoutKind, unsigned int minSeverity, const wchar_t* path,
                                   int* sinkIndex);
/* Writes each line with OutputDebugStringW. */
TAVMM_API HRESULT TavLogAttachDebugger(int engineId, unsigned int layoutKind, unsigned int minSeverity, int* sinkIndex);
/* Changes a sink's layout and minimum; E_INVALIDARG for an unknown engine or slot. */
TAVMM_API HRESULT TavLogSetSink(int engineId, int sinkIndex, unsigned int layoutKind, unsigned int minSeverity);
/* Empties the slot; other indexes keep their meaning. */
TAVMM_API HRESULT TavLogDetachSink(int engineId, int sinkIndex);
/* The engine then receives every line of that module (see TavLogModuleKey). */
TAVMM_API HRESULT TavLogListen(int engineId, unsigned long long moduleKey);
/* This library's module key. */
TAVMM_API unsigned long long TavLogModuleKey(void);
/* Writes a host's own marker line into the same log (file ".\Host", line 0; the
 * message is taken literally). S_FALSE when nothing listens, else S_OK. */
TAVMM_API HRESULT TavLogWrite(int engineId, unsigned int severity, int code, const char* function,
                              const wchar_t* message);

/* ---- Movie recording ------------------------------------------------------
 * A writer ID (an int) names one writer: its frame size, frame rate, output
 * file, compressors and recording graph. Every function below that takes an ID
 * works on the writer loaded last, so:
 *
 *  - Call the set-up, compressor and record-control functions (Init*, Release,
 *    Get/Set*Compressor(s), SetAudioStream, Start/StopMovieRecord) from one
 *    control thread, never overlapping a call that names another writer.
 *  - Call the hand-over functions (AddMovieFrame*, AddAudioSample*,
 *    AddBreakFrame) from your acquisition thread(s). They are serialised by one
 *    kernel mutex named "AviWrt_MainMutex", which every writer in every process
 *    that loads this DLL shares.
 *
 * Call order for one movie:
 *   InitEx (or Init/Init2) -> [GetCompressors, SetCompressor]
 *   -> [SetAudioStream, GetAudioCompressors, SetAudioCompressor]
 *   -> StartMovieRecord -> AddMovieFrame2 / AddAudioSample2 ... -> StopMovieRecord
 *   -> (StartMovieRecord again for the next movie, or) Release.
 *
 * Results: S_OK (0); E_FAIL (0x80004005) for a bad argument or a refused
 * state, always with an ERROR line in the log; TAVMM_E_TIMEOUT (-1234,
 * 0xFFFFFB2E) when a hand-over waited 10 s in vain; any other negative value is
 * the failing platform call's HRESULT, passed on unchanged. No C++ exception
 * ever leaves these functions.
 */

/* A hand-over waited 10 s for the streaming thread and no stream error was
 * stored. The calling thread still owns the "AviWrt_MainMutex" mutex then:
 * further hand-overs from the same thread go on, any other thread blocks. */
#define TAVMM_E_TIMEOUT ((HRESULT)-1234)

/* The shortest name buffer, in characters, that holds the fixed names the
 * compressor lists add: "PCM (Uncompressed)" and its terminator. */
#define TAVMM_MIN_NAME_LENGTH 19

/* Pixel-format codes, passed by pointer as InitEx's pFrameData. */
#define TAVMM_PIXEL_RGB24 0u /* 3 bytes per pixel, B G R */
#define TAVMM_PIXEL_RGB32 1u /* 4 bytes per pixel, B G R x */
#define TAVMM_PIXEL_GREY8 2u /* 1 byte per pixel, grey palette */
#define TAVMM_PIXEL_YUY2 3u  /* 2 bytes per pixel, Y0 U Y1 V */

/* Sets up a writer. *pID is in and out: pass 0 (or an ID this DLL never gave
 * you) for a new writer, or an existing ID to set that writer up again; on
 * S_OK it holds the ID for every later call. width and height must not be 0
 * (a negative height records rows top-down: the first row of your buffer is the
 * top of the picture; a positive height takes the first row as the bottom).
 * fps must be neither 0 nor NaN. pFrameData is NULL (24-bit RGB) or points to a
 * pixel-format code (TAVMM_PIXEL_*). Frame rows are padded to 4 bytes.
 * Re-creates the writer's hand-over events and the main mutex: never call it
 * while a hand-over may run. E_FAIL after "Create Movie error, bad width",
 * "... bad height" or "... bad fps". */
TAVMM_API HRESULT TavMovieMakerInitEx(int width, int height, double fps, void* pFrameData, int* pID);
/* InitEx with pFrameData NULL (24-bit RGB). */
TAVMM_API HRESULT TavMovieMakerInit2(int width, int height, double fps, int* pID);
/* Init2 with a whole frame rate; also initialises COM on the calling thread. */
TAVMM_API HRESULT TavMovieMakerInit(int width, int height, int fps, int* pID);
/* Ends a writer: closes the hand-over events and the mutex and forgets the ID.
 * Call StopMovieRecord first: a recording still running is stopped only when
 * the last ID goes (with the writer object). After that, the next Init starts
 * afresh. */
TAVMM_API void TavMovieMakerRelease(int id);

/* Marks the writer to record into fileName (up to 259 characters; an existing
 * file is overwritten). The graph is built and run by the next frame or audio
 * block handed in, so the movie's first frame may take a moment longer. The
 * compressor choice is frozen until StopMovieRecord. E_FAIL for ID 0. */
TAVMM_API HRESULT TavMovieMakerStartMovieRecord(int id, const wchar_t* fileName);
/* Ends the streams, lets the streaming threads pass the last frame on (at most
 * 2 s each), stops the graph (which completes the AVI file) and empties it.
 * Waits without time-out for a running hand-over to finish. Returns the
 * graph's Stop result (for instance the file's write error). E_FAIL for ID 0. */
TAVMM_API HRESULT TavMovieMakerStopMovieRecord(int id);
/* Adds a stereo 48 kHz PCM audio stream (the movie's stream 0, video becomes
 * stream 1). bitsPerSample 16 selects 16-bit samples, any other value 24-bit.
 * Hand in one audio block per video frame (48000 / fps sample frames). Call it
 * after InitEx and before StartMovieRecord. One audio stream serves every
 * writer of the process until the last writer is released: a second call
 * returns S_OK and changes nothing. E_OUTOFMEMORY when the audio filter cannot
 * be made. Every line it logs is at ERROR severity. */
TAVMM_API HRESULT TavMovieMakerSetAudioStream(int id, unsigned int bitsPerSample);

/* Hands one frame to the recording and returns once the streaming thread has
 * copied it: your buffer may be reused as soon as the call returns. size is
 * not checked against the frame geometry: the buffer must hold a whole frame
 * (rows padded to 4 bytes). frameTime is the capture time in 100 ns units;
 * a frame later than its slot (more than half a frame) leaves the skipped
 * slots empty. frameNumber, when not -1, detects drops by number instead (a
 * number smaller than the last counts as a huge gap). Waits at most 10 s for
 * the streaming thread to be ready and 10 s for the copy; on a time-out the
 * result is the stream's stored error or TAVMM_E_TIMEOUT. A stream that broke
 * down (a write error) returns its error on the next call. The first frame
 * after StartMovieRecord returns the graph's error when it cannot run (the
 * file cannot be created). E_FAIL for ID 0, a NULL pData or size 0. */
TAVMM_API HRESULT TavMovieMakerAddMovieFrame2(int id, void* pData, unsigned int size, long long frameTime,
                                              long long frameNumber);
/* AddMovieFrame2 with frameNumber -1: drops are found by capture time. */
TAVMM_API HRESULT TavMovieMakerAddMovieFrame(int id, void* pData, unsigned int size, long long frameTime);
/* Hands one block of interleaved PCM audio (the format chosen by
 * SetAudioStream) to the recording, with the same waits, buffer rule and
 * results as AddMovieFrame2. Needs SetAudioStream and a recording. */
TAVMM_API HRESULT TavMovieMakerAddAudioSample2(int id, void* pData, unsigned int size, long long sampleTime,
                                               long long sampleNumber);
/* AddAudioSample2 with sampleNumber -1. */
TAVMM_API HRESULT TavMovieMakerAddAudioSample(int id, void* pData, unsigned int size, long long sampleTime);
/* Marks a planned break: the next frame that comes after a gap does not count
 * the skipped slots as dropped frames (the time line still leaves them empty).
 * Takes no lock and does not wait. */
TAVMM_API HRESULT TavMovieMakerAddBreakFrame(int id);

/* Lists video compressors in two calls: first with *count 0 (names unused):
 * *count receives the number of names and *maxLength the longest compressor
 * name's length plus 2; then with names pointing to *count buffers and
 * *maxLength set to their length in characters. The first name is always
 * "Uncompressed".
 * Sizing rule: *maxLength counts only the compressors' own names, not the
 * fixed "Uncompressed" (video) or "PCM (Uncompressed)" (audio), and a name
 * that does not fit its buffer comes back empty. So make every buffer
 * max(*maxLength, TAVMM_MIN_NAME_LENGTH) characters and pass that length in
 * the second call. */
TAVMM_API HRESULT TavMovieMakerGetCompressors(int id, wchar_t** names, int* count, int* maxLength);
/* The same for audio compressors, after SetAudioStream (S_FALSE before it),
 * with the same sizing rule. The count includes one spare, empty name last. */
TAVMM_API HRESULT TavMovieMakerGetAudioCompressors(int id, wchar_t** names, int* count, int* maxLength);
/* Chooses the video compressor by a name from GetCompressors; an unknown name
 * records uncompressed. *pHasDialog tells whether it has a settings dialog.
 * ID 0 sets the default compressor for writers set up later (name must not be
 * NULL then). E_FAIL while recording. */
TAVMM_API HRESULT TavMovieMakerSetCompressor(int id, const wchar_t* name, bool* pHasDialog);
/* Chooses the audio compressor by a name from GetAudioCompressors. E_FAIL
 * while recording. */
TAVMM_API HRESULT TavMovieMakerSetAudioCompressor(int id, const wchar_t* name);

/* Shows the chosen video compressor's property pages (or its own settings
 * dialog), modal on the calling UI thread, owned by parent (may be NULL).
 * S_OK also when there is nothing to show ("Uncompressed"). E_FAIL for ID 0
 * and while recording. */
TAVMM_API HRESULT TavMovieMakerShowCompressorDlg(int id, HWND parent);
/* After SetAudioCompressor: the modal dialog "Select Audio Compress Format"
 * lists the compressor's output formats; the one picked with OK is used by
 * every recording built afterwards, in every writer (OK with no selection goes
 * back to the compressor's default; Cancel changes nothing). S_OK whatever the
 * user did, and without a dialog when no audio compressor was chosen. E_FAIL
 * for ID 0 and while recording. */
TAVMM_API HRESULT TavMovieMakerShowAudioCompressorDlg(int id, HWND parent);

/* Function pointer types for hosts that use LoadLibraryW and GetProcAddress. */
typedef HRESULT (*TavLogCreateEngineFn)(int, unsigned int);
typedef HRESULT (*TavLogDeleteEngineFn)(int);
typedef HRESULT (*TavLogAttachCallbackFn)(int, unsigned int, unsigned int, TavLogLineFn, void*, int*);
typedef HRESULT (*TavLogAttachFileFn)(int, unsigned int, unsigned int, const wchar_t*, int*);
typedef HRESULT (*TavLogAttachDebuggerFn)(int, unsigned int, unsigned int, int*);
typedef HRESULT (*TavLogSetSinkFn)(int, int, unsigned int, unsigned int);
typedef HRESULT (*TavLogDetachSinkFn)(int, int);
typedef HRESULT (*TavLogListenFn)(int, unsigned long long);
typedef unsigned long long (*TavLogModuleKeyFn)(void);
typedef HRESULT (*TavLogWriteFn)(int, unsigned int, int, const char*, const wchar_t*);
typedef HRESULT (*TavMovieMakerInitExFn)(int, int, double, void*, int*);
typedef HRESULT (*TavMovieMakerInit2Fn)(int, int, double, int*);
typedef HRESULT (*TavMovieMakerInitFn)(int, int, int, int*);
typedef void (*TavMovieMakerReleaseFn)(int);
typedef HRESULT (*TavMovieMakerStartMovieRecordFn)(int, const wchar_t*);
typedef HRESULT (*TavMovieMakerStopMovieRecordFn)(int);
typedef HRESULT (*TavMovieMakerSetAudioStreamFn)(int, unsigned int);
typedef HRESULT (*TavMovieMakerAddMovieFrame2Fn)(int, void*, unsigned int, long long, long long);
typedef HRESULT (*TavMovieMakerAddMovieFrameFn)(int, void*, unsigned int, long long);
typedef HRESULT (*TavMovieMakerAddAudioSample2Fn)(int, void*, unsigned int, long long, long long);
typedef HRESULT (*TavMovieMakerAddAudioSampleFn)(int, void*, unsigned int, long long);
typedef HRESULT (*TavMovieMakerAddBreakFrameFn)(int);
typedef HRESULT (*TavMovieMakerGetCompressorsFn)(int, wchar_t**, int*, int*);
typedef HRESULT (*TavMovieMakerGetAudioCompressorsFn)(int, wchar_t**, int*, int*);
typedef HRESULT (*TavMovieMakerSetCompressorFn)(int, const wchar_t*, bool*);
typedef HRESULT (*TavMovieMakerSetAudioCompressorFn)(int, const wchar_t*);
typedef HRESULT (*TavMovieMakerShowCompressorDlgFn)(int, HWND);
typedef HRESULT (*TavMovieMakerShowAudioCompressorDlgFn)(int, HWND);

#ifdef __cplusplus
}
#endif

#endif /* TAVMOVIEMAKER_H */
