// The trace call every part of the library makes.
//
//   TAV_LOG(L".\\ReadRAW", "CPushPinReadRAW::FillBuffer", LOG_SEV_TRACE, 0,
//           L"CPushPinReadRAW::FillBuffer -> Enter");
//
// The file literal and the qualified function name are passed explicitly:
// GCC's __FUNCTION__ is unqualified, and some lines deliberately carry another
// method's text under their own function name. The format is printf-style with
// the Microsoft runtime's meaning ("%s" is wide, "%hs" narrow).
//
// The enabled test comes first: when no engine listens nothing is formatted,
// no time text is made and nothing is allocated. Any thread may call it.
#pragma once

#include <cstdint>

enum LogSeverity : unsigned int {
  LOG_SEV_DEBUG = 0,
  LOG_SEV_TRACE = 1,
  LOG_SEV_NOTICE = 2,
  LOG_SEV_WARNING = 3,
  LOG_SEV_ERROR = 4,
  LOG_SEV_MANDATORY = 5,
};

namespace tavlog {

// True when an engine listens to this library's lines at this severity.
bool LibraryIsEnabled(unsigned int severity);

// Fills a record for this library (module names, key, process and thread,
// time text, formatted message), writes it and frees its texts.
void LibraryWrite(const wchar_t* file, const char* function, int line, unsigned int severity, int code,
                  const wchar_t* format, ...);

}  // namespace tavlog

#define TAV_LOG(file, function, severity, code, ...)                                         \
  do {                                                                                       \
    if (::tavlog::LibraryIsEnabled(severity))                                                \
      ::tavlog::LibraryWrite((file), (function), __LINE__, (severity), (code), __VA_ARGS__); \
  } while (0)
