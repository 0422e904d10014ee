#include "log/DebuggerSink.h"

#include <windows.h>

namespace tavlog {

int DebuggerSink::Write(const wchar_t* line, int, const LogRecord&) {
  OutputDebugStringW(line);
  return 0;
}

}  // namespace tavlog
