// CAcmOutputPin: the compressor's output pin "Output" (id "Out"). It offers
// the codec's formats for the connected input (before that, all formats of
// the codec's tag) and lets the host choose one through IAMStreamConfig
// (GetNumberOfCapabilities, GetStreamCaps with AUDIO_STREAM_CONFIG_CAPS,
// GetFormat, SetFormat). A format chosen while connected reconnects the
// output through the graph.
//
// Threads: connection and IAMStreamConfig calls come from the graph's or the
// host's thread and take the filter lock; delivery runs on the upstream
// streaming thread through CBaseOutputPin.
#pragma once

#include "wine/common/CompressorFilter.h"

#include <strmif.h>

class CAcmCompressorFilter;

class CAcmOutputPin : public CCompressorOutputPin, public IAMStreamConfig {
 public:
  CAcmOutputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // CBasePin / CBaseOutputPin: the formats follow the input.
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

  // IAMStreamConfig
  HRESULT STDMETHODCALLTYPE SetFormat(AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE GetFormat(AM_MEDIA_TYPE** type) override;
  HRESULT STDMETHODCALLTYPE GetNumberOfCapabilities(int* count, int* size) override;
  HRESULT STDMETHODCALLTYPE GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) override;

 private:
  CAcmCompressorFilter* m_acmFilter;  // weak: the filter owns the pin
};
