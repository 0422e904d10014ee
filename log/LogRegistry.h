// The process-wide registry: engine ID -> LogEngine and module hash -> list of
// listening engine IDs, both made on first use and destroyed at process exit.
// An engine ID of 0 is looked up as -1.
//
// Threads: every function may be called from any thread. One slim
// reader/writer lock guards both tables, the engines and their per-thread
// tables: IsEnabled reads under the shared lock, everything else takes it
// exclusively. Write holds it only while it looks the engines up and collects
// the sinks to write to; the sinks are then written after the lock is released
// (LogBatch). So a sink callback that itself logs, or that waits for another
// thread which logs, cannot deadlock on the log. The price: a line collected
// just before a sink is detached may still reach that sink after
// DetachSink/DeleteEngine has returned.
#pragma once

#include <windows.h>

#include <cstdint>

#include "log/LogRecord.h"
#include "log/LogSink.h"

namespace tavlog {

// True when the engine exists, has a sink slot and severity >= its minimum,
// or when an engine listed for the module does. Makes no allocation once the
// tables exist.
bool IsEnabled(int32_t engineId, uint32_t severity, uint64_t moduleKey);

// Hands the record to every engine listed for its module that has an active
// sink, then to the engine engineId. Returns -1 when that engine is missing or
// has no active sink, else 0.
int Write(int32_t engineId, const LogRecord* record);

// ---- Registration (HRESULTs as the exports return them) ----
HRESULT CreateEngine(int32_t engineId, uint32_t minSeverity);
HRESULT DeleteEngine(int32_t engineId);
bool EngineExists(int32_t engineId);
// Takes over the caller's reference on sink in every case.
HRESULT AttachSink(int32_t engineId, LogSink* sink, int* sinkIndex);
HRESULT SetSink(int32_t engineId, int sinkIndex, uint32_t layoutKind, uint32_t minSeverity);
HRESULT DetachSink(int32_t engineId, int sinkIndex);
// S_FALSE when the engine is already listed for that module.
HRESULT Listen(int32_t engineId, uint64_t moduleKey);

// For tests: the number of IDs listed for a module (0 when it has no list).
int ListenerCount(uint64_t moduleKey);
// For tests: how many threads an engine has seen (-1 when it does not exist).
int ThreadCount(int32_t engineId);

}  // namespace tavlog
