// A log engine: a minimum severity, an array of sink slots (indexes never
// shift; a detached slot stays null) and a per-thread table that remembers
// when each thread's first line passed through it.
//
// Threads: every method is called with the registry lock held (LogRegistry);
// the engine itself takes no lock.
#pragma once

#include <cstdint>

#include "log/LogBatch.h"
#include "log/LogLayout.h"
#include "log/LogSink.h"
#include "log/THashtable.h"
#include "log/UVector.h"

namespace tavlog {

class LogEngine {
 public:
  explicit LogEngine(unsigned int minSeverity) : m_nMinSeverity(minSeverity) {}
  ~LogEngine();  // releases every sink
  LogEngine(const LogEngine&) = delete;
  LogEngine& operator=(const LogEngine&) = delete;

  unsigned int MinSeverity() const { return m_nMinSeverity; }
  void SetMinSeverity(unsigned int minSeverity) { m_nMinSeverity = minSeverity; }

  // At least one slot, null or not (the enabled test).
  bool HasSinkSlot() const { return m_pSinks.LastIndex() >= 0; }
  // At least one non-null sink with a non-zero layout kind (the write test).
  bool HasActiveSink() const;
  int SlotCount() const { return m_pSinks.Count(); }
  // The sink in a slot; null for an empty or unknown slot.
  LogSink* SinkAt(int index) const;

  // Takes over the caller's reference; returns the new slot's index, or -1
  // when out of memory (the reference is then released).
  int AddSink(LogSink* sink);
  // Empties a slot, releasing its sink; false when there was none.
  bool DetachSink(int index);

  // Works out the record's nesting level and line ID for its thread (adding
  // the thread on its first line) and queues the line for every sink whose
  // layout kind is non-zero and whose minimum is at or below the severity.
  // Returns 0.
  int Dispatch(const LogLine& line, LogBatch* batch);

  // The per-thread table, for inspection.
  const THashtable<UVector>& Threads() const { return m_threads; }

 private:
  unsigned int m_nMinSeverity;
  BasicUVector<LogSink*> m_pSinks;
  THashtable<UVector> m_threads;
};

}  // namespace tavlog
