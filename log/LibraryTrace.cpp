// The library's own trace call (log/Trace.h) on top of the log: the call
// convention of enabled test, record, Write and release.
#include <windows.h>

#include <cstdarg>

#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogRegistry.h"
#include "log/LogTexts.h"
#include "log/Trace.h"

namespace tavlog {

bool LibraryIsEnabled(unsigned int severity) { return IsEnabled(EngineId(), severity, ModuleKey()); }

void LibraryWrite(const wchar_t* file, const char* function, int line, unsigned int severity, int code,
                  const wchar_t* format, ...) {
  LogRecord record;
  ResetLogRecord(&record);
  record.timeText = MakeTimeText(&record);
  va_list args;
  va_start(args, format);
  record.message = FormatLogMessageV(format, args);
  va_end(args);
  record.processId = GetCurrentProcessId();
  record.threadId = GetCurrentThreadId();
  record.moduleName1 = ModuleName1();
  record.moduleKey = ModuleKey();
  record.moduleName2 = ModuleName2();
  record.file = file;
  record.function = function;
  record.line = line;
  record.severity = severity;
  record.code = code;
  Write(EngineId(), &record);
  FreeRecordTexts(&record.timeText, &record.message);
}

}  // namespace tavlog
