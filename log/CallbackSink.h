// A sink that hands each line to a host function:
//   fn(context, line, lengthInCharacters, severity)
// The function is called on the thread that logs, with no log lock held; it
// may be called from several threads at once.
#pragma once

#include "log/LogSink.h"

namespace tavlog {

using LogLineFn = int (*)(void* context, const wchar_t* line, int length, unsigned int severity);

class CallbackSink : public LogSink {
 public:
  CallbackSink(unsigned int layoutKind, unsigned int minSeverity, LogLineFn fn, void* context)
      : LogSink(layoutKind, minSeverity), m_pfnLine(fn), m_pContext(context) {}

  int Write(const wchar_t* line, int length, const LogRecord& record) override;

 private:
  LogLineFn m_pfnLine;
  void* m_pContext;
};

}  // namespace tavlog
