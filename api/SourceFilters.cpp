#include "api/SourceFilters.h"

#include <new>

#include "filters/AudioSource.h"
#include "filters/PushSourceReadRAW.h"
#include "framework/Source.h"
#include "writer/CAviWriter.h"

namespace {

// Takes the first reference of a new filter (count 0) through its
// non-delegating QueryInterface; a failing query frees the object.
HRESULT AttachBaseFilter(CUnknown* object, IBaseFilterPtr& filter) {
  IBaseFilter* base = nullptr;
  HRESULT hr = object->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&base));
  if (FAILED(hr)) {
    delete object;
    return hr;
  }
  filter.Attach(base);
  return S_OK;
}

}  // namespace

HRESULT MakeRawFrameFilter(IBaseFilterPtr& filter) {
  HRESULT hr = S_OK;
  CUnknown* object = CPushSourceReadRAW::CreateInstance(nullptr, &hr);
  if (!object) return E_OUTOFMEMORY;
  return AttachBaseFilter(object, filter);
}

HRESULT MakeAudioSourceFilter(IBaseFilterPtr& filter) {
  HRESULT hr = S_OK;
  CAudioSource* source = new (std::nothrow) CAudioSource(nullptr, &hr);
  if (!source) return E_OUTOFMEMORY;
  if (FAILED(hr)) {
    delete source;
    return E_OUTOFMEMORY;
  }
  filter = nullptr;
  return AttachBaseFilter(source, filter);
}

CSource* RawFrameSource() {
  if (!g_pAviWriter || g_pAviWriter->m_pRawFilter == nullptr) _com_issue_error(E_POINTER);
  return static_cast<CSource*>(static_cast<IBaseFilter*>(g_pAviWriter->m_pRawFilter));
}

void ClearStreamErrors(CAviWriter* writer) {
  if (writer->m_pRawFilter != nullptr)
    static_cast<CSource*>(static_cast<IBaseFilter*>(writer->m_pRawFilter))->SetStreamError(S_OK);
  if (writer->m_pAudioSource != nullptr)
    static_cast<CSource*>(static_cast<IBaseFilter*>(writer->m_pAudioSource))->SetStreamError(S_OK);
}
