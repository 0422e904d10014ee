#include "filters/CapturePinProperties.h"

#include <uuids.h>
#include <vfwmsgs.h>

namespace capturepin {

HRESULT Get(REFGUID guidPropSet, DWORD dwPropID, LPVOID pPropData, DWORD cbPropData, DWORD* pcbReturned) {
  if (guidPropSet != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
  if (dwPropID != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
  if (pPropData == nullptr && pcbReturned == nullptr) return E_POINTER;
  if (pcbReturned != nullptr) *pcbReturned = sizeof(GUID);
  if (pPropData == nullptr) return S_OK;
  if (cbPropData < sizeof(GUID)) return E_UNEXPECTED;
  *static_cast<GUID*>(pPropData) = PIN_CATEGORY_CAPTURE;
  return S_OK;
}

HRESULT QuerySupported(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport) {
  if (guidPropSet != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
  if (dwPropID != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
  if (pTypeSupport != nullptr) *pTypeSupport = KSPROPERTY_SUPPORT_GET;
  return S_OK;
}

}  // namespace capturepin
