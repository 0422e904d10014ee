// CBaseOutputPin: an output pin that delivers media samples through the
// connected input pin's IMemInputPin, from buffers of an allocator agreed at
// connection time (DecideAllocator). The derived pin sizes the buffers
// (DecideBufferSize).
//
// Threads: connection and Active/Inactive run on the graph's threads under
// the filter lock; GetDeliveryBuffer, Deliver and DeliverEndOfStream are for
// the pin's streaming thread.
#pragma once

#include "framework/BasePin.h"

class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                 const wchar_t* pPinName);
  ~CBaseOutputPin() override;

  // Connection hooks: the peer must have IMemInputPin; completing the
  // connection agrees the allocator; breaking it releases both.
  HRESULT CheckConnect(IPin* pPin) override;
  HRESULT CompleteConnect(IPin* pReceivePin) override;
  HRESULT BreakConnect() override;

  // 1. Requirements from the input pin (an alignment of 0 becomes 1);
  // 2. the input pin's allocator, sized by DecideBufferSize, then
  //    NotifyAllocator(allocator, FALSE);
  // 3. if any of that fails, a new CLSID_MemoryAllocator the same way.
  virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
  // Sets count and size on pAlloc (SetProperties) and checks what it got.
  virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) = 0;

  // An empty sample from the allocator; E_NOINTERFACE without an allocator.
  virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                    DWORD dwFlags);
  // The connected pin's IMemInputPin::Receive; VFW_E_NOT_CONNECTED unconnected.
  virtual HRESULT Deliver(IMediaSample* pSample);
  // The connected pin's EndOfStream; VFW_E_NOT_CONNECTED unconnected.
  virtual HRESULT DeliverEndOfStream();

  // Commit / decommit the allocator; VFW_E_NO_ALLOCATOR without one.
  HRESULT Active() override;
  HRESULT Inactive() override;

  // An output pin takes no end-of-stream or flush from upstream.
  HRESULT STDMETHODCALLTYPE EndOfStream() override;  // E_UNEXPECTED
  HRESULT STDMETHODCALLTYPE BeginFlush() override;   // E_UNEXPECTED
  HRESULT STDMETHODCALLTYPE EndFlush() override;     // E_UNEXPECTED

  IMemAllocator* Allocator() const { return m_pAllocator.Get(); }  // no reference added

 protected:
  NonThrowingComPtr<IMemAllocator> m_pAllocator;  // null when unconnected
  NonThrowingComPtr<IMemInputPin> m_pInputPin;    // the peer's IMemInputPin
};
