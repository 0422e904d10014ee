#include "Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdarg>
#include <vector>

namespace tavrec {

void SetUpConsole() {
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

void Print(std::FILE* stream, const std::wstring& text) {
  if (text.empty()) return;
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::vector<char> utf8(bytes > 0 ? bytes : 0);
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(), bytes, nullptr, nullptr);
  std::fwrite(utf8.data(), 1, utf8.size(), stream);
  std::fflush(stream);
}

bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

std::wstring Format(const wchar_t* format, ...) {
  std::vector<wchar_t> text(256);
  for (;;) {
    va_list args;
    va_start(args, format);
    const int n = _vsnwprintf(text.data(), text.size(), format, args);
    va_end(args);
    if (n >= 0 && static_cast<size_t>(n) < text.size()) return std::wstring(text.data(), n);
    text.resize(text.size() * 2);
  }
}

}  // namespace tavrec
