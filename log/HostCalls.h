// What a host asks of the log through the DLL's TavLog* exports (api/), where
// it goes beyond one registry call: making and attaching a sink, and writing
// a host's own line. Any thread may call these; a sink callback must not.
#pragma once

#include <windows.h>

#include "log/CallbackSink.h"

namespace tavlog {

// E_INVALIDARG for a null function, a null path or an engine that does not
// exist; E_OUTOFMEMORY when the sink cannot be made; else AttachSink's result.
HRESULT AttachCallbackSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, LogLineFn fn, void* context,
                           int* sinkIndex);
HRESULT AttachFileSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, const wchar_t* path,
                       int* sinkIndex);
HRESULT AttachDebuggerSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, int* sinkIndex);

// Who wrote a line that came in through TavLogWrite. Both kinds go under the
// library's module key, so the engines listening to the library get them.
struct LineSource {
  const char* moduleName1;  // the line's two module names
  const char* moduleName2;
  const wchar_t* file;  // the line's file field
};
// A host: the library's module names, file ".\Host".
LineSource HostSource();
// The platform pack (TavPlatformPack.dll): its own module names "PlatformPack"
// and "TavPlatformPack", file ".\TavPlatformPack".
LineSource PackSource();

// A line from `source`, line 0: S_FALSE when no sink would take it, else S_OK.
// The function name is cut to fit.
HRESULT WriteHostLine(int engineId, unsigned int severity, int code, const char* function, const wchar_t* message,
                      const LineSource& source);

}  // namespace tavlog
