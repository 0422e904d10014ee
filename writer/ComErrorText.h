// Text and trace line for a COM error.
#pragma once

#include <windows.h>
#include <string>

// The system's message for hr (FormatMessageW, trailing line break removed);
// "IDispatch error #%d" for dispatch error codes; "Unknown error 0x%0lX" when
// the system has no text.
std::wstring ComErrorText(HRESULT hr);

// Logs "<step> error: <text of hr>" at ERROR under `function` with file
// ".\TavMovieMaker" and the given code.
void LogComError(const char* function, const wchar_t* step, HRESULT hr, int code);
