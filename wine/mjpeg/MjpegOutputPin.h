// CMjpegOutputPin: the compressor's output pin "Output" (id "Out"). Once the
// input is connected it offers the one MJPG type for the input's size and
// frame time. IAMVideoCompression sets and reads the quality (0.0-1.0 maps
// to 1-100; every frame is a key frame, so key-frame rate and P frames are
// fixed) and GetInfo describes the compressor.
//
// Threads: connections and IAMVideoCompression come from the graph's or the
// host's thread; connections take the filter lock, the quality is atomic.
// Delivery runs on the upstream streaming thread through CBaseOutputPin.
#pragma once

#include "wine/common/CompressorFilter.h"

#include <strmif.h>

class CMjpegCompressorFilter;

class CMjpegOutputPin : public CCompressorOutputPin, public IAMVideoCompression {
 public:
  CMjpegOutputPin(CMjpegCompressorFilter* filter, CCritSec* lock, HRESULT* hr);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // CBasePin / CBaseOutputPin: the type follows the input.
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

  // IAMVideoCompression
  HRESULT STDMETHODCALLTYPE put_KeyFrameRate(long keyFrameRate) override;
  HRESULT STDMETHODCALLTYPE get_KeyFrameRate(long* keyFrameRate) override;
  HRESULT STDMETHODCALLTYPE put_PFramesPerKeyFrame(long frames) override;
  HRESULT STDMETHODCALLTYPE get_PFramesPerKeyFrame(long* frames) override;
  HRESULT STDMETHODCALLTYPE put_Quality(double quality) override;
  HRESULT STDMETHODCALLTYPE get_Quality(double* quality) override;
  HRESULT STDMETHODCALLTYPE put_WindowSize(DWORDLONG windowSize) override;
  HRESULT STDMETHODCALLTYPE get_WindowSize(DWORDLONG* windowSize) override;
  HRESULT STDMETHODCALLTYPE GetInfo(LPWSTR version, int* versionBytes, LPWSTR description, int* descriptionBytes,
                                    long* defaultKeyFrameRate, long* defaultPFramesPerKey, double* defaultQuality,
                                    long* capabilities) override;
  HRESULT STDMETHODCALLTYPE OverrideKeyFrame(long frameNumber) override;
  HRESULT STDMETHODCALLTYPE OverrideFrameSize(long frameNumber, long size) override;

 private:
  CMjpegCompressorFilter* m_mjpegFilter;  // weak: the filter owns the pin
};
