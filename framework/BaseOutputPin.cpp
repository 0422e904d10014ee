#include "framework/BaseOutputPin.h"

#include <uuids.h>

#include <utility>

CBaseOutputPin::CBaseOutputPin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                               const wchar_t* pPinName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pPinName, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() { BreakConnect(); }

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
  HRESULT hr = CBasePin::CheckConnect(pPin);
  if (FAILED(hr)) return hr;
  NonThrowingComPtr<IMemInputPin> pInputPin;
  hr = pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(pInputPin.Put()));
  if (FAILED(hr)) return hr;
  m_pInputPin = std::move(pInputPin);
  return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
  if (!m_pInputPin) return VFW_E_NO_TRANSPORT;
  return DecideAllocator(m_pInputPin.Get(), m_pAllocator.Put());
}

HRESULT CBaseOutputPin::BreakConnect() {
  if (m_pAllocator) {
    m_pAllocator->Decommit();
    m_pAllocator.Reset();
  }
  m_pInputPin.Reset();
  return S_OK;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
  *ppAlloc = nullptr;
  ALLOCATOR_PROPERTIES prop = {};
  pPin->GetAllocatorRequirements(&prop);
  if (prop.cbAlign == 0) prop.cbAlign = 1;

  // The input pin's allocator first.
  NonThrowingComPtr<IMemAllocator> pAlloc;
  HRESULT hr = pPin->GetAllocator(pAlloc.Put());
  if (SUCCEEDED(hr) && pAlloc) {
    hr = DecideBufferSize(pAlloc.Get(), &prop);
    if (SUCCEEDED(hr)) {
      hr = pPin->NotifyAllocator(pAlloc.Get(), FALSE);
      if (SUCCEEDED(hr)) {
        *ppAlloc = pAlloc.Detach();
        return S_OK;
      }
    }
  }

  // Then one of our own.
  hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                        reinterpret_cast<void**>(pAlloc.Put()));
  if (FAILED(hr)) return hr;
  hr = DecideBufferSize(pAlloc.Get(), &prop);
  if (SUCCEEDED(hr)) {
    hr = pPin->NotifyAllocator(pAlloc.Get(), FALSE);
    if (SUCCEEDED(hr)) {
      *ppAlloc = pAlloc.Detach();
      return S_OK;
    }
  }
  return hr;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                          DWORD dwFlags) {
  if (!m_pAllocator) return E_NOINTERFACE;
  return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
  if (!m_pInputPin) return VFW_E_NOT_CONNECTED;
  return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  if (!m_Connected) return VFW_E_NOT_CONNECTED;
  return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::Active() {
  if (!m_pAllocator) return VFW_E_NO_ALLOCATOR;
  return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
  if (!m_pAllocator) return VFW_E_NO_ALLOCATOR;
  return m_pAllocator->Decommit();
}

HRESULT STDMETHODCALLTYPE CBaseOutputPin::EndOfStream() { return E_UNEXPECTED; }

HRESULT STDMETHODCALLTYPE CBaseOutputPin::BeginFlush() { return E_UNEXPECTED; }

HRESULT STDMETHODCALLTYPE CBaseOutputPin::EndFlush() { return E_UNEXPECTED; }
