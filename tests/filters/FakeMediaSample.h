// A plain IMediaSample over a byte vector, for calling a pin's FillBuffer
// directly. It records what the pin sets (times, flags, actual length) and
// counts GetPointer calls, so a test can tell whether the sample was touched.
// Stack or member object: its reference count is not used for lifetime.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <vector>

namespace tavtest {

class FakeMediaSample : public IMediaSample {
 public:
  explicit FakeMediaSample(long size, BYTE fill = 0xCD) : buffer(static_cast<size_t>(size), fill) {}

  std::vector<BYTE> buffer;
  long actualLength = -1;
  bool timeSet = false;
  REFERENCE_TIME start = -1, stop = -1;
  int discontinuity = -1;  // -1: never set
  int syncPoint = -1;
  int getPointerCalls = 0;
  int setterCalls = 0;
  HRESULT getPointerResult = S_OK;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IUnknown || riid == IID_IMediaSample) {
      *ppv = static_cast<IMediaSample*>(this);
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE GetPointer(BYTE** ppBuffer) override {
    ++getPointerCalls;
    if (FAILED(getPointerResult)) return getPointerResult;
    *ppBuffer = buffer.data();
    return S_OK;
  }
  long STDMETHODCALLTYPE GetSize() override { return static_cast<long>(buffer.size()); }
  HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* s, REFERENCE_TIME* e) override {
    if (!timeSet) return VFW_E_SAMPLE_TIME_NOT_SET;
    *s = start;
    *e = stop;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* s, REFERENCE_TIME* e) override {
    ++setterCalls;
    timeSet = s != nullptr;
    if (s != nullptr) start = *s;
    if (e != nullptr) stop = *e;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE IsSyncPoint() override { return syncPoint == 1 ? S_OK : S_FALSE; }
  HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL b) override {
    ++setterCalls;
    syncPoint = b ? 1 : 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE IsPreroll() override { return S_FALSE; }
  HRESULT STDMETHODCALLTYPE SetPreroll(BOOL) override { return S_OK; }
  long STDMETHODCALLTYPE GetActualDataLength() override { return actualLength; }
  HRESULT STDMETHODCALLTYPE SetActualDataLength(long n) override {
    ++setterCalls;
    if (n > GetSize()) return VFW_E_BUFFER_OVERFLOW;
    actualLength = n;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** ppmt) override {
    *ppmt = nullptr;
    return S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return discontinuity == 1 ? S_OK : S_FALSE; }
  HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL b) override {
    ++setterCalls;
    discontinuity = b ? 1 : 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override { return VFW_E_MEDIA_TIME_NOT_SET; }
  HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }
};

}  // namespace tavtest
