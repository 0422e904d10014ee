#pragma once
// Reading a filter graph's event queue under Wine. Wine's
// IMediaEvent::GetEvent returns E_ABORT at once, whatever the time-out, when
// its queue has just been emptied; a test that waits must keep asking until
// its own deadline.

#include <windows.h>
#include <strmif.h>
#include <control.h>

namespace tavtest {

// The next event, waiting up to timeoutMs in all (0: only what is queued).
// S_OK with the event's code and parameters (freed here), or E_ABORT.
HRESULT NextGraphEvent(IMediaEvent* events, long* code, LONG_PTR* param1, LONG_PTR* param2, DWORD timeoutMs);

}  // namespace tavtest
