#include "framework/Unknown.h"

HRESULT GetInterface(IUnknown* pUnk, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = pUnk;
  pUnk->AddRef();
  return S_OK;
}

CUnknown::CUnknown(const wchar_t* pName, IUnknown* pUnk)
    : CBaseObject(pName),
      m_cRef(0),
      // Without an outer object our inner unknown answers for us: its three
      // slots are laid out as IUnknown's.
      m_pUnknown(pUnk != nullptr ? pUnk : reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this))) {}

HRESULT STDMETHODCALLTYPE CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IUnknown) {
    return GetInterface(reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this)), ppv);
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CUnknown::NonDelegatingAddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

ULONG STDMETHODCALLTYPE CUnknown::NonDelegatingRelease() {
  LONG cRef = InterlockedDecrement(&m_cRef);
  if (cRef == 0) {
    // Guard against a reference taken and dropped again by the destructor.
    m_cRef = 1;
    delete this;
    return 0;
  }
  return static_cast<ULONG>(cRef);
}
