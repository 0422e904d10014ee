#include "mux/AviMuxOutputPin.h"

#include <uuids.h>

#include "common/ComBarrier.h"

CAviMuxOutputPin::CAviMuxOutputPin(CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr)
    : CBasePin(L"AVI Mux output pin", pFilter, pLock, phr, L"AVI Out", PINDIR_OUTPUT) {}

HRESULT CAviMuxOutputPin::CheckMediaType(const CMediaType* pmt) {
  if (pmt == nullptr) return E_POINTER;
  if (pmt->majortype != MEDIATYPE_Stream && pmt->majortype != GUID_NULL) return S_FALSE;
  if (pmt->subtype != MEDIASUBTYPE_Avi && pmt->subtype != GUID_NULL) return S_FALSE;
  return S_OK;
}

HRESULT CAviMuxOutputPin::GetMediaType(int iPosition, CMediaType* pmt) {
  if (pmt == nullptr) return E_POINTER;
  if (iPosition < 0) return E_INVALIDARG;
  if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
  pmt->InitMediaType();
  pmt->SetType(&MEDIATYPE_Stream);
  pmt->SetSubtype(&MEDIASUBTYPE_Avi);
  pmt->SetSampleSize(1);
  pmt->SetTemporalCompression(FALSE);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMuxOutputPin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::Connect(pReceivePin, pmt); });
}

HRESULT STDMETHODCALLTYPE CAviMuxOutputPin::Disconnect() {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::Disconnect(); });
}

HRESULT STDMETHODCALLTYPE CAviMuxOutputPin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
  return tavpack::CallWithoutThrowing([&] { return CBasePin::QueryAccept(pmt); });
}
