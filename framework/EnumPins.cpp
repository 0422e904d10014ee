#include "framework/EnumPins.h"

#include <new>

#include "framework/BaseFilter.h"
#include "framework/BasePin.h"

CEnumPins::CEnumPins(CBaseFilter* pFilter, const CEnumPins* pCopy)
    : CUnknown(nullptr, nullptr),
      m_pFilter(pFilter),
      m_Position(pCopy != nullptr ? pCopy->m_Position : 0),
      m_Version(pCopy != nullptr ? pCopy->m_Version : pFilter->GetPinVersion()) {}

CEnumPins::~CEnumPins() = default;

HRESULT STDMETHODCALLTYPE CEnumPins::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IEnumPins) return GetInterface(static_cast<IEnumPins*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

bool CEnumPins::OutOfSync() const { return m_Version != m_pFilter->GetPinVersion(); }

HRESULT STDMETHODCALLTYPE CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) {
  if (ppPins == nullptr) return E_POINTER;
  if (pcFetched == nullptr && cPins > 1) return E_INVALIDARG;
  if (pcFetched != nullptr) *pcFetched = 0;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  ULONG cFetched = 0;
  while (cFetched < cPins) {
    CBasePin* pPin = m_pFilter->GetPin(m_Position);
    if (pPin == nullptr) break;
    ++m_Position;
    ppPins[cFetched] = pPin;
    pPin->AddRef();
    ++cFetched;
  }
  if (pcFetched != nullptr) *pcFetched = cFetched;
  return cFetched == cPins ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CEnumPins::Skip(ULONG cPins) {
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  int cLeft = m_pFilter->GetPinCount() - m_Position;
  if (cLeft < 0) cLeft = 0;
  if (cPins > static_cast<ULONG>(cLeft)) {
    m_Position += cLeft;
    return S_FALSE;
  }
  m_Position += static_cast<int>(cPins);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CEnumPins::Reset() {
  m_Version = m_pFilter->GetPinVersion();
  m_Position = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CEnumPins::Clone(IEnumPins** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  *ppEnum = nullptr;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  auto* pEnum = new (std::nothrow) CEnumPins(m_pFilter.Get(), this);
  if (pEnum == nullptr) return E_OUTOFMEMORY;
  return GetInterface(static_cast<IEnumPins*>(pEnum), reinterpret_cast<void**>(ppEnum));
}
