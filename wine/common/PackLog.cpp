#include "common/PackLog.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>

namespace tavpack {
namespace {

constexpr unsigned int kSeverityWarning = 3;
constexpr int kLibraryEngine = 0;

using LogWriteFn = HRESULT (*)(int engineId, unsigned int severity, int code, const char* function,
                               const wchar_t* message);

}  // namespace

void LogWarning(const char* function, const wchar_t* format, ...) {
    // Looked up for every line, with a reference held while the line is
    // written: the DLL may come and go while the pack stays loaded.
    HMODULE library = nullptr;
    if (!GetModuleHandleExW(0, L"TavMovieMaker.dll", &library)) return;
    auto write = reinterpret_cast<LogWriteFn>(reinterpret_cast<void*>(GetProcAddress(library, "TavLogWrite")));
    if (write != nullptr) {
        wchar_t message[512];
        va_list args;
        va_start(args, format);
        _vsnwprintf(message, 511, format, args);
        va_end(args);
        message[511] = L'\0';
        write(kLibraryEngine, kSeverityWarning, 0, function, message);
    }
    FreeLibrary(library);
}

}  // namespace tavpack
