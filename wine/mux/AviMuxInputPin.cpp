#include "mux/AviMuxInputPin.h"

#include <mmreg.h>
#include <oleauto.h>
#include <uuids.h>

#include <cwchar>

#include "mux/AviMux.h"
#include "mux/MuxAllocator.h"

CAviMuxInputPin::CAviMuxInputPin(CAviMux* pFilter, CCritSec* pLock, HRESULT* phr, const wchar_t* pName)
    : CPackInputPin(L"AVI Mux input pin", pFilter, pLock, phr, pName), m_pMux(pFilter) {}

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IPropertyBag) return GetInterface(static_cast<IPropertyBag*>(this), ppv);
  return CPackInputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::Read(LPCOLESTR pszPropName, VARIANT* pVar, IErrorLog*) {
  if (pszPropName == nullptr || pVar == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (wcscmp(pszPropName, L"name") != 0 || m_name.empty()) return E_INVALIDARG;
  if (V_VT(pVar) != VT_EMPTY && V_VT(pVar) != VT_BSTR) return E_FAIL;
  V_VT(pVar) = VT_BSTR;
  V_BSTR(pVar) = SysAllocString(m_name.c_str());
  return V_BSTR(pVar) != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::Write(LPCOLESTR pszPropName, VARIANT* pVar) {
  if (pszPropName == nullptr || pVar == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (!IsStopped()) return VFW_E_WRONG_STATE;
  if (wcscmp(pszPropName, L"name") != 0) return E_INVALIDARG;
  if (V_VT(pVar) != VT_BSTR) return E_INVALIDARG;
  m_name = V_BSTR(pVar) != nullptr ? V_BSTR(pVar) : L"";
  return S_OK;
}

HRESULT CAviMuxInputPin::CheckMediaType(const CMediaType* pmt) {
  if (pmt == nullptr) return E_POINTER;
  if (pmt->majortype == MEDIATYPE_Video && pmt->formattype == FORMAT_VideoInfo) {
    if (pmt->pbFormat != nullptr && pmt->cbFormat < sizeof(VIDEOINFOHEADER)) return VFW_E_INVALIDMEDIATYPE;
    return S_OK;
  }
  if (pmt->majortype == MEDIATYPE_Audio && pmt->formattype == FORMAT_WaveFormatEx) {
    if (pmt->pbFormat != nullptr && pmt->cbFormat < sizeof(PCMWAVEFORMAT)) return VFW_E_INVALIDMEDIATYPE;
    return S_OK;
  }
  return S_FALSE;
}

HRESULT CAviMuxInputPin::CompleteConnect(IPin* pReceivePin) {
  // A connection needs a format block to write the stream header from.
  if (m_mt.pbFormat == nullptr) return VFW_E_INVALIDMEDIATYPE;
  HRESULT hr = CPackInputPin::CompleteConnect(pReceivePin);
  if (FAILED(hr)) return hr;
  m_pMux->OnInputConnected(this);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::ReceiveCanBlock() { return S_OK; }

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  if (ppAllocator == nullptr) return E_POINTER;
  *ppAllocator = nullptr;
  CAutoLock lock(m_pLock);
  if (!m_pAllocator) {
    HRESULT hr = MuxAllocator::Create(m_pAllocator.Put());
    if (FAILED(hr)) return hr;
  }
  return m_pAllocator.CopyTo(ppAllocator);
}

bool CAviMuxInputPin::IsVideo() const { return m_mt.majortype == MEDIATYPE_Video; }

HRESULT CAviMuxInputPin::OnReceive(IMediaSample* pSample) { return m_pMux->WriteSample(this, pSample); }

HRESULT CAviMuxInputPin::OnEndOfStream() { return m_pMux->InputEndOfStream(); }
