#include "api/SourceFilters.h"

#include <new>

#include "filters/AudioSource.h"
#include "filters/PinAudioStream.h"
#include "filters/PushPinReadRAW.h"
#include "filters/PushSourceReadRAW.h"
#include "framework/Source.h"
#include "writer/CAviWriter.h"

namespace {

// Takes the first reference of a new filter (count 0) through its
// non-delegating QueryInterface; a failing query frees the object.
HRESULT AttachBaseFilter(CUnknown* object, ThrowingComPtr<IBaseFilter>& filter) {
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

HRESULT MakeRawFrameFilter(ThrowingComPtr<IBaseFilter>& filter) {
  HRESULT hr = S_OK;
  CUnknown* object = CPushSourceReadRAW::CreateInstance(nullptr, &hr);
  if (!object) return E_OUTOFMEMORY;
  return AttachBaseFilter(object, filter);
}

HRESULT MakeAudioSourceFilter(ThrowingComPtr<IBaseFilter>& filter) {
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

namespace {

CPushPinReadRAW* VideoPin(CAviWriter* writer) {
  if (writer->m_pRawFilter == nullptr) return nullptr;
  return static_cast<CPushSourceReadRAW*>(static_cast<IBaseFilter*>(writer->m_pRawFilter))->m_pPin;
}

CPinAudioStream* AudioPin(CAviWriter* writer) {
  if (writer->m_pAudioSource == nullptr) return nullptr;
  return static_cast<CAudioSource*>(static_cast<IBaseFilter*>(writer->m_pAudioSource))->m_pPin;
}

}  // namespace

HRESULT StoredStreamError(CAviWriter* writer) {
  HRESULT hr = RawFrameSource()->PeekStreamError();
  if (hr >= 0 && writer->m_pAudioSource != nullptr)
    hr = static_cast<CSource*>(static_cast<IBaseFilter*>(writer->m_pAudioSource))->PeekStreamError();
  return hr;
}

bool VideoStreamEnding(CAviWriter* writer) {
  CPushPinReadRAW* pin = VideoPin(writer);
  return pin != nullptr && pin->m_bStop;
}

bool AudioStreamEnding(CAviWriter* writer) {
  CPinAudioStream* pin = AudioPin(writer);
  return pin != nullptr && pin->m_bStop;
}

bool VideoFramePending(CAviWriter* writer) {
  CPushPinReadRAW* pin = VideoPin(writer);
  return pin != nullptr && pin->m_pFrameData != nullptr;
}

bool AudioBlockPending(CAviWriter* writer) {
  CPinAudioStream* pin = AudioPin(writer);
  return pin != nullptr && pin->m_pSampleData != nullptr;
}
