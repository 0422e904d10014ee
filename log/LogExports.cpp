// The registration side of the log, exported from TavMovieMaker.dll with C
// linkage. Any thread may call these; a sink callback must not.
#define TAVMOVIEMAKER_EXPORTS
#include "TavMovieMaker.h"

#include <cstring>
#include <new>

#include "log/CallbackSink.h"
#include "log/DebuggerSink.h"
#include "log/FileSink.h"
#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogRegistry.h"
#include "log/LogTexts.h"

namespace {
// A host's function name is cut here, so that a line always fits its buffer.
constexpr int kHostFunctionSize = 1024;
}  // namespace

extern "C" {

HRESULT TavLogCreateEngine(int engineId, unsigned int minSeverity) {
  return tavlog::CreateEngine(engineId, minSeverity);
}

HRESULT TavLogDeleteEngine(int engineId) { return tavlog::DeleteEngine(engineId); }

HRESULT TavLogAttachCallback(int engineId, unsigned int layoutKind, unsigned int minSeverity, TavLogLineFn fn,
                             void* context, int* sinkIndex) {
  if (fn == nullptr || !tavlog::EngineExists(engineId)) return E_INVALIDARG;
  auto* sink = new (std::nothrow) tavlog::CallbackSink(layoutKind, minSeverity, fn, context);
  if (sink == nullptr) return E_OUTOFMEMORY;
  return tavlog::AttachSink(engineId, sink, sinkIndex);
}

HRESULT TavLogAttachFile(int engineId, unsigned int layoutKind, unsigned int minSeverity, const wchar_t* path,
                         int* sinkIndex) {
  if (path == nullptr || !tavlog::EngineExists(engineId)) return E_INVALIDARG;
  tavlog::FileSink* sink = nullptr;
  const HRESULT hr = tavlog::FileSink::Open(path, layoutKind, minSeverity, &sink);
  if (FAILED(hr)) return hr;
  return tavlog::AttachSink(engineId, sink, sinkIndex);
}

HRESULT TavLogAttachDebugger(int engineId, unsigned int layoutKind, unsigned int minSeverity, int* sinkIndex) {
  if (!tavlog::EngineExists(engineId)) return E_INVALIDARG;
  auto* sink = new (std::nothrow) tavlog::DebuggerSink(layoutKind, minSeverity);
  if (sink == nullptr) return E_OUTOFMEMORY;
  return tavlog::AttachSink(engineId, sink, sinkIndex);
}

HRESULT TavLogSetSink(int engineId, int sinkIndex, unsigned int layoutKind, unsigned int minSeverity) {
  return tavlog::SetSink(engineId, sinkIndex, layoutKind, minSeverity);
}

HRESULT TavLogDetachSink(int engineId, int sinkIndex) { return tavlog::DetachSink(engineId, sinkIndex); }

HRESULT TavLogListen(int engineId, unsigned long long moduleKey) { return tavlog::Listen(engineId, moduleKey); }

unsigned long long TavLogModuleKey(void) { return tavlog::ModuleKey(); }

HRESULT TavLogWrite(int engineId, unsigned int severity, int code, const char* function, const wchar_t* message) {
  const uint64_t moduleKey = tavlog::ModuleKey();
  if (!tavlog::IsEnabled(engineId, severity, moduleKey)) return S_FALSE;

  char functionCopy[kHostFunctionSize];
  if (function != nullptr) {
    strncpy(functionCopy, function, kHostFunctionSize - 1);
    functionCopy[kHostFunctionSize - 1] = '\0';
  }

  LogRecord record;
  ResetLogRecord(&record);
  record.timeText = tavlog::MakeTimeText(&record);
  record.message = message != nullptr ? tavlog::CopyLogMessage(message) : nullptr;
  record.processId = GetCurrentProcessId();
  record.threadId = GetCurrentThreadId();
  record.moduleName1 = tavlog::ModuleName1();
  record.moduleKey = moduleKey;
  record.moduleName2 = tavlog::ModuleName2();
  record.file = L".\\Host";
  record.function = function != nullptr ? functionCopy : nullptr;
  record.line = 0;
  record.severity = severity;
  record.code = code;
  tavlog::Write(engineId, &record);
  tavlog::FreeRecordTexts(&record.timeText, &record.message);
  return S_OK;
}

}  // extern "C"
