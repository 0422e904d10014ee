#include "tests/common/GraphEvents.h"

namespace tavtest {

HRESULT NextGraphEvent(IMediaEvent* events, long* code, LONG_PTR* param1, LONG_PTR* param2, DWORD timeoutMs) {
  const DWORD start = GetTickCount();
  DWORD wait = timeoutMs;
  for (;;) {
    if (events->GetEvent(code, param1, param2, static_cast<long>(wait)) == S_OK) {
      events->FreeEventParams(*code, *param1, *param2);
      return S_OK;
    }
    const DWORD spent = GetTickCount() - start;
    if (spent >= timeoutMs) return E_ABORT;
    wait = timeoutMs - spent;
    Sleep(1);  // the early E_ABORT: ask again
  }
}

}  // namespace tavtest
