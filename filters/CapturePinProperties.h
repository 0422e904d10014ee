// The IKsPropertySet answers shared by both source pins: they report the
// capture pin category (AMPROPSETID_Pin / AMPROPERTY_PIN_CATEGORY) and
// nothing else. Plain functions; any thread.
#pragma once

#include <windows.h>
#include <strmif.h>

namespace capturepin {

HRESULT Get(REFGUID guidPropSet, DWORD dwPropID, LPVOID pPropData, DWORD cbPropData, DWORD* pcbReturned);
HRESULT QuerySupported(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport);

}  // namespace capturepin
