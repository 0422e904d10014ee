// The texts a call site makes for one record and releases after writing it.
// Any thread may call these; they touch only their arguments.
#pragma once

#include <cstdarg>

#include "log/LogRecord.h"

namespace tavlog {

// Constant texts used when a buffer cannot be made or the clock fails. They are
// never released.
extern const char kTimeTextError[];    // "error_data error_time"
extern const wchar_t kMessageError[];  // L"Can't prepare error message"

// "dd.mm.yyyy hh:mm:ss.ms" (milliseconds not zero-padded) in a new 32-byte
// buffer; stores day, month and year in the record.
char* MakeTimeText(LogRecord* record);

// printf-style formatting ("%s" wide, "%hs" narrow) into a new buffer of 512
// wide characters; longer output is cut to 511.
wchar_t* FormatLogMessage(const wchar_t* format, ...);
wchar_t* FormatLogMessageV(const wchar_t* format, va_list args);

// A new 512-character copy of text, cut to 511, for messages taken literally.
wchar_t* CopyLogMessage(const wchar_t* text);

// Releases both texts (constants excepted) and clears the pointers.
void FreeRecordTexts(char** timeText, wchar_t** message);

}  // namespace tavlog
