#include "common/PackInputPin.h"

#include <uuids.h>

#include "common/ComBarrier.h"

CPackInputPin::CPackInputPin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                             const wchar_t* pPinName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pPinName, PINDIR_INPUT) {}

CPackInputPin::~CPackInputPin() = default;

HRESULT STDMETHODCALLTYPE CPackInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CPackInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  if (ppAllocator == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (!m_pAllocator) {
    HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                  m_pAllocator.PutVoid());
    if (FAILED(hr)) {
      m_pAllocator.Reset();
      *ppAllocator = nullptr;
      return hr;
    }
  }
  return m_pAllocator.CopyTo(ppAllocator);
}

HRESULT STDMETHODCALLTYPE CPackInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) {
  if (pAllocator == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  m_pAllocator = NonThrowingComPtr<IMemAllocator>::Share(pAllocator);
  m_bReadOnly = bReadOnly;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPackInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) {
  if (pProps == nullptr) return E_POINTER;
  return E_NOTIMPL;
}

HRESULT CPackInputPin::CheckStreaming() {
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  if (!m_bActive) return VFW_E_WRONG_STATE;
  if (m_bFlushing) return S_FALSE;
  if (m_bAtEndOfStream) return VFW_E_SAMPLE_REJECTED_EOS;
  if (FAILED(m_hrRuntimeError)) return m_hrRuntimeError;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPackInputPin::Receive(IMediaSample* pSample) {
  if (pSample == nullptr) return E_POINTER;
  CAutoLock lock(&m_csReceive);
  HRESULT hr = CheckStreaming();
  if (hr != S_OK) return hr;
  return tavpack::CallWithoutThrowing([&] { return ReceiveChecked(pSample); },
                                      [this](HRESULT thrown) { SetRuntimeError(thrown); });
}

HRESULT CPackInputPin::ReceiveChecked(IMediaSample* pSample) {
  HRESULT hr;
  AM_MEDIA_TYPE* pType = nullptr;
  if (pSample->GetMediaType(&pType) == S_OK && pType != nullptr) {
    CMediaType type;
    bool copied = type.Set(*pType);
    DeleteMediaType(pType);
    if (!copied) return E_OUTOFMEMORY;
    if (CheckMediaType(&type) != S_OK) return VFW_E_INVALIDMEDIATYPE;
    hr = SetMediaType(&type);
    if (FAILED(hr)) return hr;
  }
  return OnReceive(pSample);
}

HRESULT STDMETHODCALLTYPE CPackInputPin::ReceiveMultiple(IMediaSample** pSamples, long nSamples,
                                                         long* nSamplesProcessed) {
  if (pSamples == nullptr || nSamplesProcessed == nullptr) return E_POINTER;
  HRESULT hr = S_OK;
  *nSamplesProcessed = 0;
  while (*nSamplesProcessed < nSamples) {
    hr = Receive(pSamples[*nSamplesProcessed]);
    if (hr != S_OK) break;
    ++*nSamplesProcessed;
  }
  return hr;
}

HRESULT STDMETHODCALLTYPE CPackInputPin::ReceiveCanBlock() { return S_FALSE; }

HRESULT STDMETHODCALLTYPE CPackInputPin::EndOfStream() {
  CAutoLock lock(&m_csReceive);
  HRESULT hr = CheckStreaming();
  if (hr != S_OK) return hr;
  m_bAtEndOfStream = true;
  return tavpack::CallWithoutThrowing([&] { return OnEndOfStream(); },
                                      [this](HRESULT thrown) { SetRuntimeError(thrown); });
}

HRESULT STDMETHODCALLTYPE CPackInputPin::BeginFlush() {
  m_bFlushing = true;
  return tavpack::CallWithoutThrowing([&] { return OnBeginFlush(); });
}

HRESULT STDMETHODCALLTYPE CPackInputPin::EndFlush() {
  HRESULT hr;
  {
    CAutoLock lock(&m_csReceive);
    hr = tavpack::CallWithoutThrowing([&] { return OnEndFlush(); });
    m_bAtEndOfStream = false;
  }
  m_bFlushing = false;
  return hr;
}

HRESULT STDMETHODCALLTYPE CPackInputPin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::ReceiveConnection(pConnector, pmt); });
}

HRESULT STDMETHODCALLTYPE CPackInputPin::Disconnect() {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::Disconnect(); });
}

HRESULT STDMETHODCALLTYPE CPackInputPin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::QueryAccept(pmt); });
}

HRESULT CPackInputPin::CheckConnect(IPin* pPin) { return CBasePin::CheckConnect(pPin); }

HRESULT CPackInputPin::BreakConnect() {
  if (m_pAllocator) {
    m_pAllocator->Decommit();
    m_pAllocator.Reset();
  }
  m_bReadOnly = FALSE;
  return CBasePin::BreakConnect();
}

HRESULT CPackInputPin::Active() {
  CAutoLock lock(&m_csReceive);
  m_bFlushing = false;
  m_bAtEndOfStream = false;
  m_hrRuntimeError = S_OK;
  m_bActive = true;
  return S_OK;
}

HRESULT CPackInputPin::Inactive() {
  {
    // Taking the receive lock waits for a Receive in progress.
    CAutoLock lock(&m_csReceive);
    m_bActive = false;
  }
  m_bFlushing = false;
  if (m_pAllocator) m_pAllocator->Decommit();
  return S_OK;
}
