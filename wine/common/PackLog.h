// The pack's lines in the host's diagnostic log.
//
// The pack links the same log library as TavMovieMaker.dll, but as its own
// static copy: engines a host registers through the DLL's TavLog* exports live
// in the DLL's copy, and the pack's copy has none (nor any export to register
// one). So a pack line goes through the DLL itself: when the process has
// loaded TavMovieMaker.dll, the line is handed to its exported TavLogWrite
// for engine 0, the engine the library writes to, and reaches the same sinks
// as the library's own lines (engine 0 and the engines listening to the
// library's module key). The DLL sees the call come from the pack and names
// the pack as the line's module: "PlatformPack,TavPlatformPack", file
// ".\TavPlatformPack", line 0, the function named here. Without the DLL in the
// process the line is dropped.
//
// Any thread; the sinks run on the calling thread.
#pragma once

#include <windows.h>

namespace tavpack {

// printf-style with the Microsoft runtime's meaning ("%s" wide, "%hs" narrow).
void LogWarning(const char* function, const wchar_t* format, ...);

// A failed step at ERROR, the HRESULT as the line's code:
// "<step> failed: 0x%08X <system text>" (the system's message for hr, or
// "Unknown error" when it has none). `step` is printf-style like LogWarning.
void LogFailure(const char* function, HRESULT hr, const wchar_t* step, ...);

}  // namespace tavpack
