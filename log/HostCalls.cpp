// A host's calls into the log that go beyond one registry call.
#include "log/HostCalls.h"

#include <cstring>
#include <new>

#include "log/CallbackSink.h"
#include "log/DebuggerSink.h"
#include "log/FileSink.h"
#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogRegistry.h"
#include "log/LogTexts.h"

namespace tavlog {
namespace {
// A host's function name is cut here, so that a line always fits its buffer.
constexpr int kHostFunctionSize = 1024;
}  // namespace

HRESULT AttachCallbackSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, LogLineFn fn, void* context,
                           int* sinkIndex) {
  if (fn == nullptr || !EngineExists(engineId)) return E_INVALIDARG;
  auto* sink = new (std::nothrow) CallbackSink(layoutKind, minSeverity, fn, context);
  if (sink == nullptr) return E_OUTOFMEMORY;
  return AttachSink(engineId, sink, sinkIndex);
}

HRESULT AttachFileSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, const wchar_t* path,
                       int* sinkIndex) {
  if (path == nullptr || !EngineExists(engineId)) return E_INVALIDARG;
  FileSink* sink = nullptr;
  const HRESULT hr = FileSink::Open(path, layoutKind, minSeverity, &sink);
  if (FAILED(hr)) return hr;
  return AttachSink(engineId, sink, sinkIndex);
}

HRESULT AttachDebuggerSink(int engineId, unsigned int layoutKind, unsigned int minSeverity, int* sinkIndex) {
  if (!EngineExists(engineId)) return E_INVALIDARG;
  auto* sink = new (std::nothrow) DebuggerSink(layoutKind, minSeverity);
  if (sink == nullptr) return E_OUTOFMEMORY;
  return AttachSink(engineId, sink, sinkIndex);
}

LineSource HostSource() { return LineSource{ModuleName1(), ModuleName2(), L".\\Host"}; }

LineSource PackSource() { return LineSource{"PlatformPack", "TavPlatformPack", L".\\TavPlatformPack"}; }

HRESULT WriteHostLine(int engineId, unsigned int severity, int code, const char* function, const wchar_t* message,
                      const LineSource& source) {
  const uint64_t moduleKey = ModuleKey();
  if (!IsEnabled(engineId, severity, moduleKey)) return S_FALSE;

  char functionCopy[kHostFunctionSize];
  if (function != nullptr) {
    strncpy(functionCopy, function, kHostFunctionSize - 1);
    functionCopy[kHostFunctionSize - 1] = '\0';
  }

  LogRecord record;
  ResetLogRecord(&record);
  record.timeText = MakeTimeText(&record);
  record.message = message != nullptr ? CopyLogMessage(message) : nullptr;
  record.processId = GetCurrentProcessId();
  record.threadId = GetCurrentThreadId();
  record.moduleName1 = source.moduleName1;
  record.moduleKey = moduleKey;
  record.moduleName2 = source.moduleName2;
  record.file = source.file;
  record.function = function != nullptr ? functionCopy : nullptr;
  record.line = 0;
  record.severity = severity;
  record.code = code;
  Write(engineId, &record);
  FreeRecordTexts(&record.timeText, &record.message);
  return S_OK;
}

}  // namespace tavlog
