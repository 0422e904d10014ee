// tavrec's text output: UTF-8 bytes on standard output and standard error
// (so a pipe or a file gets the same text as a terminal), no CR added.
#pragma once

#include <cstdio>
#include <string>

namespace tavrec {

// Sets both streams to binary and the console (if any) to UTF-8. Call first.
void SetUpConsole();

// Writes text as UTF-8 and flushes.
void Print(std::FILE* stream, const std::wstring& text);

// Whether the stream is a terminal (a console, or a Unix terminal under Wine).
bool IsTerminal(std::FILE* stream);

// printf into a std::wstring ("%s" is a wide string, "%hs" a narrow one).
std::wstring Format(const wchar_t* format, ...);

}  // namespace tavrec
