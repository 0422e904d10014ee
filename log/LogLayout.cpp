#include "log/LogLayout.h"

#include <wchar.h>

namespace tavlog {

namespace {
const wchar_t* const kSeverityTexts[] = {L"DEBUG", L"TRACE",     L"NOTICE",   L"WARNING",
                                         L"ERROR", L"MANDATORY", L"MANDATORY"};
const char kUndefined[] = "undefined";
const wchar_t kUndefinedWide[] = L"undefined";
}  // namespace

const wchar_t* SeverityText(uint32_t severity) {
  if (severity < sizeof(kSeverityTexts) / sizeof(kSeverityTexts[0])) return kSeverityTexts[severity];
  return L"bad severity";
}

const wchar_t* ShortenFile(const wchar_t* path, wchar_t* out) {
  int length = 0;
  for (; length < kFileSize - 1 && path[length] != L'\0'; ++length) out[length] = path[length];
  out[length] = L'\0';
  int last = -1;
  int nextToLast = -1;
  for (int i = 0; i < length; ++i) {
    if (out[i] == L'\\') {
      nextToLast = last;
      last = i;
    }
  }
  return nextToLast >= 0 ? out + nextToLast + 1 : out;
}

LogLine::LogLine(const LogRecord& source) : record(source) {
  if (record.timeText == nullptr) record.timeText = const_cast<char*>(kUndefined);
  if (record.moduleName1 == nullptr) record.moduleName1 = kUndefined;
  if (record.moduleName2 == nullptr) record.moduleName2 = kUndefined;
  if (record.function == nullptr) record.function = kUndefined;
  if (record.file == nullptr) record.file = kUndefinedWide;
  if (record.message == nullptr) record.message = const_cast<wchar_t*>(kUndefinedWide);
  shortFile = ShortenFile(record.file, fileBuffer);
  severityText = SeverityText(record.severity);
}

int PrintLayout(unsigned int kind, const LogLine& line, int nestingLevel, uint64_t lineId, wchar_t* buffer) {
  const LogRecord& r = line.record;
  const int messageLength = static_cast<int>(wcslen(r.message));
  int printed = 0;
  buffer[0] = L'\0';
  switch (kind) {
    case 1:
      printed = swprintf_s(buffer, kLineSize, L"%s: %d; %s", line.severityText, r.code, r.message);
      break;
    case 2:
      printed = swprintf_s(buffer, kLineSize, L"SV=%s; CD=%d; MSG=%s", line.severityText, r.code, r.message);
      break;
    case 3:
      printed = swprintf_s(buffer, kLineSize, L"F=%s,%hs,%d; SV=%s; CD=%d; MSG=%s", line.shortFile, r.function, r.line,
                           line.severityText, r.code, r.message);
      break;
    case 4:
      printed = swprintf_s(buffer, kLineSize, L"{%I64X}; ML=%d; PT=%d:%d; TM=%hs; F=%s,%hs,%d; SV=%s; CD=%d; MSG=%s",
                           lineId, messageLength, r.processId, r.threadId, r.timeText, line.shortFile, r.function,
                           r.line, line.severityText, r.code, r.message);
      break;
    case 5:
      printed = swprintf_s(buffer, kLineSize,
                           L"{%I64X}; ML=%d; PT=%d:%d; NL=%d; TM=%hs; MN=%hs,%hs; F=%s,%hs,%d; SV=%s; CD=%d; MSG=%s",
                           lineId, messageLength, r.processId, r.threadId, nestingLevel, r.timeText, r.moduleName1,
                           r.moduleName2, line.shortFile, r.function, r.line, line.severityText, r.code, r.message);
      break;
    default:
      break;
  }
  buffer[kLineSize - 1] = L'\0';
  return printed > 0 ? printed : 0;
}

}  // namespace tavlog
