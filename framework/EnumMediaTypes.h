// CEnumMediaTypes: IEnumMediaTypes over a pin's offered types
// (CBasePin::GetMediaType). When the pin's type list changes after the
// enumerator was made, every call but Reset returns VFW_E_ENUM_OUT_OF_SYNC
// until Reset. Next hands out types made with CreateMediaType.
//
// Holds a counted reference to its pin (that is, to the pin's filter).
#pragma once

#include <windows.h>
#include <strmif.h>
#include <vfwmsgs.h>

#include "framework/NonThrowingComPtr.h"
#include "framework/Unknown.h"

class CBasePin;

class CEnumMediaTypes : public CUnknown, public IEnumMediaTypes {
 public:
  // pCopy: the enumerator to clone (position and version), or null.
  CEnumMediaTypes(CBasePin* pPin, const CEnumMediaTypes* pCopy);
  ~CEnumMediaTypes() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT STDMETHODCALLTYPE Next(ULONG cTypes, AM_MEDIA_TYPE** ppTypes, ULONG* pcFetched) override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG cTypes) override;
  HRESULT STDMETHODCALLTYPE Reset() override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** ppEnum) override;

 private:
  bool OutOfSync() const;

  NonThrowingComPtr<CBasePin> m_pPin;
  int m_Position;
  LONG m_Version;
};
