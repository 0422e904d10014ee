#include "log/CallbackSink.h"

namespace tavlog {

int CallbackSink::Write(const wchar_t* line, int length, const LogRecord& record) {
  return m_pfnLine(m_pContext, line, length, record.severity);
}

}  // namespace tavlog
