#include "framework/EnumMediaTypes.h"

#include <new>

#include "framework/BasePin.h"
#include "framework/MediaType.h"

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pCopy)
    : CUnknown(nullptr, nullptr),
      m_pPin(pPin),
      m_Position(pCopy != nullptr ? pCopy->m_Position : 0),
      m_Version(pCopy != nullptr ? pCopy->m_Version : pPin->GetMediaTypeVersion()) {}

CEnumMediaTypes::~CEnumMediaTypes() = default;

HRESULT STDMETHODCALLTYPE CEnumMediaTypes::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IEnumMediaTypes) return GetInterface(static_cast<IEnumMediaTypes*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

bool CEnumMediaTypes::OutOfSync() const { return m_Version != m_pPin->GetMediaTypeVersion(); }

HRESULT STDMETHODCALLTYPE CEnumMediaTypes::Next(ULONG cTypes, AM_MEDIA_TYPE** ppTypes, ULONG* pcFetched) {
  if (ppTypes == nullptr) return E_POINTER;
  if (pcFetched == nullptr && cTypes > 1) return E_INVALIDARG;
  if (pcFetched != nullptr) *pcFetched = 0;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  ULONG cFetched = 0;
  while (cFetched < cTypes) {
    CMediaType mt;
    if (m_pPin->GetMediaType(m_Position, &mt) != S_OK) break;
    AM_MEDIA_TYPE* pmt = CreateMediaType(&mt);
    if (pmt == nullptr) break;
    ++m_Position;
    ppTypes[cFetched++] = pmt;
  }
  if (pcFetched != nullptr) *pcFetched = cFetched;
  return cFetched == cTypes ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CEnumMediaTypes::Skip(ULONG cTypes) {
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  while (cTypes > 0) {
    CMediaType mt;
    if (m_pPin->GetMediaType(m_Position, &mt) != S_OK) return S_FALSE;
    ++m_Position;
    --cTypes;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CEnumMediaTypes::Reset() {
  m_Version = m_pPin->GetMediaTypeVersion();
  m_Position = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  *ppEnum = nullptr;
  if (OutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
  auto* pEnum = new (std::nothrow) CEnumMediaTypes(m_pPin.Get(), this);
  if (pEnum == nullptr) return E_OUTOFMEMORY;
  return GetInterface(static_cast<IEnumMediaTypes*>(pEnum), reinterpret_cast<void**>(ppEnum));
}
