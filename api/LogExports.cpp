// The registration side of the log, exported from TavMovieMaker.dll with C
// linkage: thin calls into log/. Any thread may call these; a sink callback
// must not.
#define TAVMOVIEMAKER_EXPORTS
#include "TavMovieMaker.h"

#include "log/HostCalls.h"
#include "log/LogModule.h"
#include "log/LogRegistry.h"

namespace {

// The platform pack writes its lines through TavLogWrite too
// (wine/common/PackLog): a line whose caller lies in TavPlatformPack.dll gets
// the pack's own module names, so a host sees where it came from.
tavlog::LineSource SourceOf(void* returnAddress) {
  HMODULE caller = nullptr;
  const HMODULE pack = GetModuleHandleW(L"TavPlatformPack.dll");
  if (pack != nullptr &&
      GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         static_cast<LPCWSTR>(returnAddress), &caller) &&
      caller == pack)
    return tavlog::PackSource();
  return tavlog::HostSource();
}

}  // namespace

extern "C" {

HRESULT TavLogCreateEngine(int engineId, unsigned int minSeverity) {
  return tavlog::CreateEngine(engineId, minSeverity);
}

HRESULT TavLogDeleteEngine(int engineId) { return tavlog::DeleteEngine(engineId); }

HRESULT TavLogAttachCallback(int engineId, unsigned int layoutKind, unsigned int minSeverity, TavLogLineFn fn,
                             void* context, int* sinkIndex) {
  return tavlog::AttachCallbackSink(engineId, layoutKind, minSeverity, fn, context, sinkIndex);
}

HRESULT TavLogAttachFile(int engineId, unsigned int layoutKind, unsigned int minSeverity, const wchar_t* path,
                         int* sinkIndex) {
  return tavlog::AttachFileSink(engineId, layoutKind, minSeverity, path, sinkIndex);
}

HRESULT TavLogAttachDebugger(int engineId, unsigned int layoutKind, unsigned int minSeverity, int* sinkIndex) {
  return tavlog::AttachDebuggerSink(engineId, layoutKind, minSeverity, sinkIndex);
}

HRESULT TavLogSetSink(int engineId, int sinkIndex, unsigned int layoutKind, unsigned int minSeverity) {
  return tavlog::SetSink(engineId, sinkIndex, layoutKind, minSeverity);
}

HRESULT TavLogDetachSink(int engineId, int sinkIndex) { return tavlog::DetachSink(engineId, sinkIndex); }

HRESULT TavLogListen(int engineId, unsigned long long moduleKey) { return tavlog::Listen(engineId, moduleKey); }

unsigned long long TavLogModuleKey(void) { return tavlog::ModuleKey(); }

HRESULT TavLogWrite(int engineId, unsigned int severity, int code, const char* function, const wchar_t* message) {
  return tavlog::WriteHostLine(engineId, severity, code, function, message, SourceOf(__builtin_return_address(0)));
}

}  // extern "C"
