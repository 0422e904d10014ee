// The sink writes one Write call has collected. Engines add to it while the
// registry lock is held (each entry holds a reference on its sink); Deliver
// then lays out and writes every line after the lock is released, so a sink
// (a host callback) never runs under the lock. Used by one thread only.
#pragma once

#include <cstdint>

#include "log/LogLayout.h"
#include "log/LogSink.h"
#include "log/UVector.h"

namespace tavlog {

class LogBatch {
 public:
  LogBatch() = default;
  ~LogBatch();  // releases the sinks of entries not delivered
  LogBatch(const LogBatch&) = delete;
  LogBatch& operator=(const LogBatch&) = delete;

  // Queues one line for sink (adding a reference); false when out of memory.
  bool Add(LogSink* sink, unsigned int layoutKind, int nestingLevel, uint64_t lineId);
  int Count() const { return m_entries.Count(); }

  // In queue order: a 4096-character buffer, the layout, the sink's Write,
  // the buffer freed, the sink released. A buffer that cannot be made skips
  // that sink.
  void Deliver(const LogLine& line);

 private:
  struct Entry {
    LogSink* sink;
    unsigned int layoutKind;
    int nestingLevel;
    uint64_t lineId;
  };
  void ReleaseAll();

  BasicUVector<Entry> m_entries{8, 1.0};
};

}  // namespace tavlog
