// An IMemAllocator that only answers SetProperties, granting what it is
// told to: for calling a pin's DecideBufferSize directly. Stack object.
#pragma once

#include <windows.h>
#include <strmif.h>

namespace tavtest {

class FakeAllocator : public IMemAllocator {
 public:
  HRESULT setResult = S_OK;
  long grantedSize = -1;  // -1: what was asked
  ALLOCATOR_PROPERTIES asked = {};
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override {
    asked = *pRequest;
    if (FAILED(setResult)) return setResult;
    *pActual = *pRequest;
    if (grantedSize >= 0) pActual->cbBuffer = grantedSize;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Commit() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Decommit() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample*) override { return S_OK; }
};

}  // namespace tavtest
