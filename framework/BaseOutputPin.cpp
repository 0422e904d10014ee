#include "framework/BaseOutputPin.h"

#include <uuids.h>

CBaseOutputPin::CBaseOutputPin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                               const wchar_t* pPinName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pPinName, PINDIR_OUTPUT),
      m_pAllocator(nullptr),
      m_pInputPin(nullptr) {}

CBaseOutputPin::~CBaseOutputPin() { BreakConnect(); }

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
  HRESULT hr = CBasePin::CheckConnect(pPin);
  if (FAILED(hr)) return hr;
  IMemInputPin* pInputPin = nullptr;
  hr = pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&pInputPin));
  if (FAILED(hr)) return hr;
  if (m_pInputPin != nullptr) m_pInputPin->Release();
  m_pInputPin = pInputPin;
  return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
  if (m_pInputPin == nullptr) return VFW_E_NO_TRANSPORT;
  return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::BreakConnect() {
  if (m_pAllocator != nullptr) {
    m_pAllocator->Decommit();
    m_pAllocator->Release();
    m_pAllocator = nullptr;
  }
  if (m_pInputPin != nullptr) {
    m_pInputPin->Release();
    m_pInputPin = nullptr;
  }
  return S_OK;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
  *ppAlloc = nullptr;
  ALLOCATOR_PROPERTIES prop = {};
  pPin->GetAllocatorRequirements(&prop);
  if (prop.cbAlign == 0) prop.cbAlign = 1;

  // The input pin's allocator first.
  HRESULT hr = pPin->GetAllocator(ppAlloc);
  if (SUCCEEDED(hr) && *ppAlloc != nullptr) {
    hr = DecideBufferSize(*ppAlloc, &prop);
    if (SUCCEEDED(hr)) {
      hr = pPin->NotifyAllocator(*ppAlloc, FALSE);
      if (SUCCEEDED(hr)) return S_OK;
    }
  }
  if (*ppAlloc != nullptr) {
    (*ppAlloc)->Release();
    *ppAlloc = nullptr;
  }

  // Then one of our own.
  hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                        reinterpret_cast<void**>(ppAlloc));
  if (FAILED(hr)) {
    *ppAlloc = nullptr;
    return hr;
  }
  hr = DecideBufferSize(*ppAlloc, &prop);
  if (SUCCEEDED(hr)) {
    hr = pPin->NotifyAllocator(*ppAlloc, FALSE);
    if (SUCCEEDED(hr)) return S_OK;
  }
  (*ppAlloc)->Release();
  *ppAlloc = nullptr;
  return hr;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                          DWORD dwFlags) {
  if (m_pAllocator == nullptr) return E_NOINTERFACE;
  return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
  if (m_pInputPin == nullptr) return VFW_E_NOT_CONNECTED;
  return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
  return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::Active() {
  if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
  return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
  if (m_pAllocator == nullptr) return VFW_E_NO_ALLOCATOR;
  return m_pAllocator->Decommit();
}

HRESULT STDMETHODCALLTYPE CBaseOutputPin::EndOfStream() { return E_UNEXPECTED; }

HRESULT STDMETHODCALLTYPE CBaseOutputPin::BeginFlush() { return E_UNEXPECTED; }

HRESULT STDMETHODCALLTYPE CBaseOutputPin::EndFlush() { return E_UNEXPECTED; }
