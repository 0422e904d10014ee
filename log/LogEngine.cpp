#include "log/LogEngine.h"

#include <time.h>

#include <new>

namespace tavlog {

LogEngine::~LogEngine() {
  for (int i = 0; i < m_pSinks.Count(); ++i)
    if (LogSink* sink = m_pSinks.At(i)) sink->Release();
}

bool LogEngine::HasActiveSink() const {
  for (int i = 0; i < m_pSinks.Count(); ++i) {
    const LogSink* sink = m_pSinks.At(i);
    if (sink != nullptr && sink->LayoutKind() != 0) return true;
  }
  return false;
}

LogSink* LogEngine::SinkAt(int index) const {
  if (index < 0 || index > m_pSinks.LastIndex()) return nullptr;
  return m_pSinks.At(index);
}

int LogEngine::AddSink(LogSink* sink) {
  if (!m_pSinks.Append(sink)) {
    sink->Release();
    return -1;
  }
  return m_pSinks.LastIndex();
}

bool LogEngine::DetachSink(int index) {
  LogSink* sink = SinkAt(index);
  if (sink == nullptr) return false;
  m_pSinks.Set(index, nullptr);
  sink->Release();
  return true;
}

int LogEngine::Dispatch(const LogLine& line, LogBatch* batch) {
  const int32_t threadKey = static_cast<int32_t>(line.record.threadId);

  // Nesting level: only one value is ever appended per thread, so a thread's
  // first line reports 0 and every later line -1.
  UVector* thread = m_threads.Get(threadKey);
  const int nestingLevel = (thread != nullptr && thread->LastIndex() >= 0) ? thread->LastIndex() - 1 : 0;

  // Line ID: the thread ID in the top bits, the low 18 bits of the time of the
  // thread's first line below.
  if (thread == nullptr) {
    thread = new (std::nothrow) UVector(16, 0.5);
    if (thread != nullptr) {
      thread->Append(static_cast<int32_t>(_time64(nullptr) & 0xFFFFFFFF));  // the 32-bit clock
      if (!m_threads.Put(threadKey, thread)) {
        delete thread;
        thread = nullptr;
      }
    }
  }
  uint64_t lineId = 0xFFFFFFFFFFFFFFFFull;
  if (thread != nullptr) {
    const uint32_t first = thread->LastIndex() >= 0 ? static_cast<uint32_t>(thread->At(0)) : 0xFFFFFFFFu;
    lineId = (static_cast<uint64_t>(line.record.threadId) << 44) + (first & 0x3FFFFu);
  }

  for (int i = 0; i < m_pSinks.Count(); ++i) {
    LogSink* sink = m_pSinks.At(i);
    if (sink == nullptr || sink->LayoutKind() == 0) continue;
    if (line.record.severity < sink->MinSeverity()) continue;
    batch->Add(sink, sink->LayoutKind(), nestingLevel, lineId);
  }
  return 0;
}

}  // namespace tavlog
