// CPackInputPin: the input pin base of the platform pack's filters (AVI Mux,
// File Writer, audio compressors). On top of CBasePin it answers
// IMemInputPin: it keeps the allocator the upstream pin notifies (or makes a
// CLSID_MemoryAllocator when asked for one), checks the streaming state for
// every sample, end of stream and flush, and lets Stop wait for a Receive
// that is in progress.
//
// Derived pins implement CheckMediaType and OnReceive, and may override
// OnEndOfStream, OnBeginFlush/OnEndFlush, GetAllocator,
// GetAllocatorRequirements and ReceiveCanBlock.
//
// Threads:
// - Connection, Active and Inactive run on the graph's threads under the
//   filter lock (the pin lock given to the constructor).
// - Receive, ReceiveMultiple and EndOfStream run on the upstream streaming
//   thread; they hold the pin's receive lock (ReceiveLock) while OnReceive /
//   OnEndOfStream run. OnReceive must NOT take the filter lock: Stop holds
//   the filter lock while Inactive waits for the receive lock.
// - BeginFlush/EndFlush come from any graph thread.
//
// States, as Receive sees them (CheckStreaming):
//   not connected                   -> VFW_E_NOT_CONNECTED
//   stopped (also: Stop has begun)  -> VFW_E_WRONG_STATE
//   flushing                        -> S_FALSE (sample dropped)
//   after EndOfStream               -> VFW_E_SAMPLE_REJECTED_EOS
//   after SetRuntimeError(hr)       -> hr, until the next Active
//
// No exception leaves the pin (common/ComBarrier.h): one thrown while a
// sample or end of stream is handled is returned as its HRESULT
// (E_OUTOFMEMORY, E_FAIL), which the upstream source keeps as its stream
// error, and becomes the pin's runtime error, as what the filter holds may be
// half updated. Connection, flush and QueryAccept return it and go on.
#pragma once

#include <windows.h>
#include <strmif.h>

#include "framework/NonThrowingComPtr.h"
#include "framework/BasePin.h"
#include "framework/CritSec.h"

class CPackInputPin : public CBasePin, public IMemInputPin {
 public:
  CPackInputPin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                const wchar_t* pPinName);
  ~CPackInputPin() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IMemInputPin
  // The notified allocator, or a new CLSID_MemoryAllocator (kept) when none.
  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** ppAllocator) override;
  HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
  // E_NOTIMPL: no requirements.
  HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
  // CheckStreaming, the sample's own media type if it carries one (must pass
  // CheckMediaType; it becomes the connection type), then OnReceive, all
  // under the receive lock.
  HRESULT STDMETHODCALLTYPE Receive(IMediaSample* pSample) override;
  HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) override;
  // S_FALSE by default (Receive does not block).
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

  // IPin
  HRESULT STDMETHODCALLTYPE EndOfStream() override;  // CheckStreaming, then OnEndOfStream
  HRESULT STDMETHODCALLTYPE BeginFlush() override;
  HRESULT STDMETHODCALLTYPE EndFlush() override;
  // CBasePin's, behind the exception barrier (they call the derived pin).
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* pmt) override;

  // CBasePin
  HRESULT CheckConnect(IPin* pPin) override;  // the peer must be an output pin
  HRESULT BreakConnect() override;            // releases the allocator
  HRESULT Active() override;                  // streaming allowed, errors cleared
  // Refuses new samples, waits for a Receive in progress, decommits the allocator.
  HRESULT Inactive() override;

  // S_OK when a sample may be received now, else the refusal listed above.
  HRESULT CheckStreaming();
  // Makes every later Receive/EndOfStream fail with hr until the next Active.
  void SetRuntimeError(HRESULT hr) { m_hrRuntimeError = hr; }
  HRESULT RuntimeError() const { return m_hrRuntimeError; }

  bool IsFlushing() const { return m_bFlushing; }
  bool IsAtEndOfStream() const { return m_bAtEndOfStream; }
  bool IsReadOnly() const { return m_bReadOnly != FALSE; }
  IMemAllocator* Allocator() const { return m_pAllocator.Get(); }  // no reference added
  CCritSec* ReceiveLock() { return &m_csReceive; }

 protected:
  // One sample that passed CheckStreaming; runs under the receive lock.
  virtual HRESULT OnReceive(IMediaSample* pSample) = 0;
  // End of stream that passed CheckStreaming; runs under the receive lock.
  virtual HRESULT OnEndOfStream() { return S_OK; }
  virtual HRESULT OnBeginFlush() { return S_OK; }
  virtual HRESULT OnEndFlush() { return S_OK; }

  NonThrowingComPtr<IMemAllocator> m_pAllocator;  // null when none
  BOOL m_bReadOnly = FALSE;

 private:
  // Receive after CheckStreaming: the sample's own media type, then OnReceive.
  HRESULT ReceiveChecked(IMediaSample* pSample);

  CCritSec m_csReceive;
  volatile bool m_bActive = false;
  volatile bool m_bFlushing = false;
  volatile bool m_bAtEndOfStream = false;
  volatile HRESULT m_hrRuntimeError = S_OK;
};
