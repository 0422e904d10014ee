#include "common/PackLog.h"

#include <cstdarg>
#include <cstdio>

#include "framework/UniqueHandle.h"

namespace tavpack {
namespace {

// A module reference from GetModuleHandleExW (without the unchanged-count flag).
struct ModuleReferenceTraits {
  using Handle = HMODULE;
  static Handle Invalid() noexcept { return nullptr; }
  static bool Close(Handle module) noexcept { return FreeLibrary(module) != FALSE; }
};

constexpr unsigned int kSeverityWarning = 3;
constexpr unsigned int kSeverityError = 4;
constexpr int kLibraryEngine = 0;
constexpr int kMessageSize = 512;

using LogWriteFn = HRESULT (*)(int engineId, unsigned int severity, int code, const char* function,
                               const wchar_t* message);

// Hands one finished line to the DLL's TavLogWrite.
void Write(unsigned int severity, int code, const char* function, const wchar_t* message) {
  // Looked up for every line, with a reference held while the line is
  // written: the DLL may come and go while the pack stays loaded.
  UniqueHandleOf<ModuleReferenceTraits> library;
  if (!GetModuleHandleExW(0, L"TavMovieMaker.dll", library.Put())) return;
  auto write = reinterpret_cast<LogWriteFn>(reinterpret_cast<void*>(GetProcAddress(library.Get(), "TavLogWrite")));
  if (write != nullptr) write(kLibraryEngine, severity, code, function, message);
}

// The system's message for hr without its line break, or "Unknown error".
void SystemText(HRESULT hr, wchar_t* text, int size) {
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, static_cast<DWORD>(hr),
                     MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, static_cast<DWORD>(size), nullptr);
  int end = static_cast<int>(length);
  while (end > 0 && (text[end - 1] == L'\n' || text[end - 1] == L'\r' || text[end - 1] == L' ')) --end;
  if (end == 0) {
    _snwprintf(text, size - 1, L"Unknown error");
    text[size - 1] = L'\0';
    return;
  }
  text[end] = L'\0';
}

}  // namespace

void LogWarning(const char* function, const wchar_t* format, ...) {
  wchar_t message[kMessageSize];
  va_list args;
  va_start(args, format);
  _vsnwprintf(message, kMessageSize - 1, format, args);
  va_end(args);
  message[kMessageSize - 1] = L'\0';
  Write(kSeverityWarning, 0, function, message);
}

void LogFailure(const char* function, HRESULT hr, const wchar_t* step, ...) {
  wchar_t stepText[kMessageSize];
  va_list args;
  va_start(args, step);
  _vsnwprintf(stepText, kMessageSize - 1, step, args);
  va_end(args);
  stepText[kMessageSize - 1] = L'\0';
  wchar_t systemText[kMessageSize];
  SystemText(hr, systemText, kMessageSize);
  wchar_t message[kMessageSize];
  _snwprintf(message, kMessageSize - 1, L"%s failed: 0x%08X %s", stepText, static_cast<unsigned>(hr), systemText);
  message[kMessageSize - 1] = L'\0';
  Write(kSeverityError, static_cast<int>(hr), function, message);
}

}  // namespace tavpack
