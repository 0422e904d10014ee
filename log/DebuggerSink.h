// A sink that sends each line to the debugger with OutputDebugStringW, one
// call per line. Any thread may write.
#pragma once

#include "log/LogSink.h"

namespace tavlog {

class DebuggerSink : public LogSink {
 public:
  using LogSink::LogSink;

  int Write(const wchar_t* line, int length, const LogRecord& record) override;
};

}  // namespace tavlog
