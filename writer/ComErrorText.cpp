#include "writer/ComErrorText.h"

#include <cwchar>

#include "log/Trace.h"

std::wstring ComErrorText(HRESULT hr) {
  wchar_t* text = nullptr;
  DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  if (length != 0 && text != nullptr) {
    std::wstring message(text, length);
    LocalFree(text);
    // The system's texts end in a line break.
    if (message.size() > 1 && message.back() == L'\n') {
      message.pop_back();
      if (!message.empty() && message.back() == L'\r') message.pop_back();
    }
    return message;
  }
  if (text != nullptr) LocalFree(text);

  // Dispatch error codes (FACILITY_ITF 0x201 and up) are shown by their code.
  const HRESULT firstDispatch = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x200);
  const HRESULT lastDispatch = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF + 1, 0) - 1;
  wchar_t buffer[32];
  if (hr > firstDispatch && hr <= lastDispatch) {
    swprintf_s(buffer, 32, L"IDispatch error #%d", static_cast<int>(hr - firstDispatch));
  } else {
    swprintf_s(buffer, 32, L"Unknown error 0x%0lX", static_cast<unsigned long>(hr));
  }
  return buffer;
}

void LogComError(const char* function, const wchar_t* step, HRESULT hr, int code) {
  TAV_LOG(L".\\TavMovieMaker", function, LOG_SEV_ERROR, code, L"%s error: %s", step, ComErrorText(hr).c_str());
}
