// CSource: a filter whose pins are CSourceStream output pins, each with its
// own worker thread. It owns the state lock that its pins share, and it keeps
// the stream error code: the HRESULT of a failed downstream delivery, which
// the host-side frame calls take to report a broken graph.
//
// Threads: pins register and unregister from their constructors and
// destructors (whoever creates or deletes the filter); the graph calls the
// IBaseFilter methods; the worker threads set the stream error code and a
// host thread takes it.
#pragma once

#include "framework/BaseFilter.h"

class CSourceStream;

class CSource : public CBaseFilter {
 public:
  CSource(const wchar_t* pName, IUnknown* pUnk, REFCLSID clsid, HRESULT* phr = nullptr);
  ~CSource() override;

  // Called by CSourceStream's constructor and destructor.
  HRESULT AddPin(CSourceStream* pStream);     // S_OK or E_OUTOFMEMORY
  HRESULT RemovePin(CSourceStream* pStream);  // S_OK, or S_FALSE if unknown

  int GetPinCount() override;
  CBasePin* GetPin(int n) override;  // under the state lock

  // IBaseFilter::FindPin: the pin whose name (id) is Id.
  HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR Id, IPin** ppPin) override;

  CCritSec* pStateLock() { return &m_cStateLock; }

  // Waits, up to `ms` in all, until no pin's buffer loop runs. False at the
  // time-out.
  bool WaitForStreamsIdle(DWORD ms);

  // The stream error code: Set stores a value (0 at start and stop of a
  // recording), Take returns it and resets it to 0 in one step.
  void SetStreamError(HRESULT hr) { InterlockedExchange(&m_hrStreamError, hr); }
  HRESULT TakeStreamError() { return InterlockedExchange(&m_hrStreamError, 0); }
  HRESULT PeekStreamError() const { return m_hrStreamError; }

 protected:
  volatile LONG m_hrStreamError;
  int m_iPins;
  CSourceStream** m_paStreams;  // the pins; each owned by the derived filter
  CCritSec m_cStateLock;
};
