#include "log/LogSink.h"

ULONG LogSink::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_nRefs)); }

ULONG LogSink::Release() {
  const LONG refs = InterlockedDecrement(&m_nRefs);
  if (refs == 0) delete this;
  return static_cast<ULONG>(refs);
}
