// A destination for log lines: turns nothing into text itself, it receives the
// line a LogEngine laid out for it. Each sink has a layout kind (0 = off, 1..5
// the line layouts) and a minimum severity.
//
// Write is the fifth virtual slot; the slots before it manage the sink's
// lifetime and settings. Sinks are reference counted: the engine holds one
// reference per slot, and a line being delivered holds one more, so a sink
// detached by another thread stays alive until its last line is written.
//
// Threads: Write may be called from several threads at once (each concrete
// sink guards its own output). LayoutKind, MinSeverity and SetLayout are called
// under the registry lock.
#pragma once

#include <windows.h>

#include "log/LogRecord.h"

class LogSink {
 public:
  LogSink(unsigned int layoutKind, unsigned int minSeverity) : m_nLayoutKind(layoutKind), m_nMinSeverity(minSeverity) {}
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

  // Slots 1 and 2: reference counting; the last Release deletes the sink.
  virtual ULONG AddRef();
  virtual ULONG Release();
  // Slots 3 and 4: the settings.
  virtual unsigned int LayoutKind() const { return m_nLayoutKind; }
  virtual unsigned int MinSeverity() const { return m_nMinSeverity; }
  // Slot 5: writes one laid-out line of length characters (line[length] is 0).
  // Returns 0 when the line was taken, another value when not.
  virtual int Write(const wchar_t* line, int length, const LogRecord& record) = 0;

  void SetLayout(unsigned int layoutKind, unsigned int minSeverity) {
    m_nLayoutKind = layoutKind;
    m_nMinSeverity = minSeverity;
  }

 protected:
  virtual ~LogSink() = default;

 private:
  LONG m_nRefs = 1;
  unsigned int m_nLayoutKind;
  unsigned int m_nMinSeverity;
};
