#include "log/LogBatch.h"

#include <new>

namespace tavlog {

LogBatch::~LogBatch() { ReleaseAll(); }

bool LogBatch::Add(LogSink* sink, unsigned int layoutKind, int nestingLevel, uint64_t lineId) {
  if (!m_entries.Append(Entry{sink, layoutKind, nestingLevel, lineId})) return false;
  sink->AddRef();
  return true;
}

void LogBatch::Deliver(const LogLine& line) {
  for (int i = 0; i < m_entries.Count(); ++i) {
    const Entry entry = m_entries.At(i);
    wchar_t* buffer = new (std::nothrow) wchar_t[kLineSize];
    if (buffer != nullptr) {
      const int length = PrintLayout(entry.layoutKind, line, entry.nestingLevel, entry.lineId, buffer);
      entry.sink->Write(buffer, length, line.record);
      delete[] buffer;
    }
  }
  ReleaseAll();
}

void LogBatch::ReleaseAll() {
  while (m_entries.Count() > 0) {
    m_entries.At(m_entries.LastIndex()).sink->Release();
    m_entries.RemoveAt(m_entries.LastIndex());
  }
}

}  // namespace tavlog
