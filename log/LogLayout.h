// Turns a record into the text of one line, in one of the five layouts:
//   1 "%s: %d; %s"                       severity, code, message
//   2 "SV=%s; CD=%d; MSG=%s"
//   3 "F=%s,%hs,%d; SV=%s; CD=%d; MSG=%s"  file, function, line, ...
//   4 "{%I64X}; ML=%d; PT=%d:%d; TM=%hs; F=..."  line ID, message length, process:thread, time
//   5 as 4 with "NL=%d" (nesting level) and "MN=%hs,%hs" (module names)
// Any other kind prints nothing. Any thread may call these.
#pragma once

#include <cstdint>

#include "log/LogRecord.h"

namespace tavlog {

constexpr int kLineSize = 4096;  // characters of a laid-out line, with its 0
constexpr int kFileSize = 260;   // characters kept of a source file path

// "DEBUG", "TRACE", "NOTICE", "WARNING", "ERROR", "MANDATORY" (5 and 6),
// "bad severity" for anything else.
const wchar_t* SeverityText(uint32_t severity);

// Copies path into out (kFileSize characters, cut there) and returns the text
// after its next-to-last backslash, or all of it with fewer than two.
const wchar_t* ShortenFile(const wchar_t* path, wchar_t* out);

// A record ready for the sinks: defaults filled in, file shortened, severity
// text looked up. Made once per Write and shared by every engine and sink.
struct LogLine {
  LogRecord record;  // null texts replaced by "undefined"
  const wchar_t* shortFile;
  const wchar_t* severityText;
  wchar_t fileBuffer[kFileSize];

  explicit LogLine(const LogRecord& source);
  LogLine(const LogLine&) = delete;
  LogLine& operator=(const LogLine&) = delete;
};

// Prints the layout into buffer (kLineSize characters) with swprintf_s and
// returns the number of characters printed (0 for an unknown kind or failure).
int PrintLayout(unsigned int kind, const LogLine& line, int nestingLevel, uint64_t lineId, wchar_t* buffer);

}  // namespace tavlog
