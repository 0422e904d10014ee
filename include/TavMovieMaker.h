/* TavMovieMaker.dll: records AVI movies from raw video frames and PCM audio
 * blocks that the host pushes in one at a time.
 *
 * Include this header from C or C++ and link TavMovieMaker.lib, or load the
 * DLL with LoadLibraryW and find the functions with GetProcAddress.
 */
#ifndef TAVMOVIEMAKER_H
#define TAVMOVIEMAKER_H

#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef TAVMOVIEMAKER_EXPORTS
#define TAVMM_API __declspec(dllexport)
#else
#define TAVMM_API __declspec(dllimport)
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
TAVMM_API HRESULT TavLogAttachCallback(int engineId, unsigned int layoutKind, unsigned int minSeverity,
                                       TavLogLineFn fn, void* context, int* sinkIndex);
/* Appends each line as UTF-8 with CRLF, flushed per line. A file that cannot be
 * opened returns its Win32 error as an HRESULT. */
TAVMM_API HRESULT TavLogAttachFile(int engineId, unsigned int layoutKind, unsigned int minSeverity,
                                   const wchar_t* path, int* sinkIndex);
/* Writes each line with OutputDebugStringW. */
TAVMM_API HRESULT TavLogAttachDebugger(int engineId, unsigned int layoutKind, unsigned int minSeverity,
                                       int* sinkIndex);
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

#ifdef __cplusplus
}
#endif

#endif /* TAVMOVIEMAKER_H */
