// CAviMuxOutputPin: the AVI Mux's "AVI Out" pin. It offers exactly one type,
// MEDIATYPE_Stream / MEDIASUBTYPE_Avi, and delivers no samples: the filter
// writes the file through the connected pin's IStream, queried when the
// filter pauses.
//
// No exception leaves the pin (common/ComBarrier.h): the connection calls,
// which run the framework's negotiation, return a throw as their HRESULT.
//
// Threads: the graph's, under the filter lock.
#pragma once

#include "framework/BasePin.h"

class CAviMuxOutputPin : public CBasePin {
 public:
  CAviMuxOutputPin(CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr);

  // Stream (or GUID_NULL) major type with Avi (or GUID_NULL) subtype.
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;

  // CBasePin's, behind the exception barrier.
  HRESULT STDMETHODCALLTYPE Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* pmt) override;
};
