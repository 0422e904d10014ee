// CEnumPins: IEnumPins over a filter's current pins. When the filter's pin
// set changes after the enumerator was made, every call but Reset returns
// VFW_E_ENUM_OUT_OF_SYNC until Reset.
//
// Holds a counted reference to its filter. Any thread may use it, one at a
// time (as COM enumerators go).
#pragma once

#include <windows.h>
#include <strmif.h>
#include <vfwmsgs.h>

#include "framework/NonThrowingComPtr.h"
#include "framework/Unknown.h"

class CBaseFilter;

class CEnumPins : public CUnknown, public IEnumPins {
 public:
  // pCopy: the enumerator to clone (position and version), or null.
  CEnumPins(CBaseFilter* pFilter, const CEnumPins* pCopy);
  ~CEnumPins() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT STDMETHODCALLTYPE Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG cPins) override;
  HRESULT STDMETHODCALLTYPE Reset() override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumPins** ppEnum) override;

 private:
  bool OutOfSync() const;

  NonThrowingComPtr<CBaseFilter> m_pFilter;
  int m_Position;
  LONG m_Version;
};
