#include "tests/platform/RawVideoInput.h"

#include "filters/PushSourceReadRAW.h"

#include <vector>

namespace platformtest {

RawVideoInput::RawVideoInput(UINT pixelFormat, UINT width, int height, double fps) {
  HRESULT hr = E_FAIL;
  CUnknown* object = CPushSourceReadRAW::CreateInstance(nullptr, &hr);
  if (object == nullptr) return;
  m_source = static_cast<CPushSourceReadRAW*>(object);
  object->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&m_filter));
  m_filter->QueryInterface(IID_IMovie2, reinterpret_cast<void**>(&m_movie));
  m_movie->SetEventHandles(m_host.hReady(), m_host.hBufferReady(), m_host.hBufferDone());
  UINT code = pixelFormat;
  m_init = m_movie->SetFrameData(&code);
  if (m_init == S_OK) m_init = m_movie->InitParam2(width, height, fps, 0, 1);
  IEnumPins* pins = nullptr;
  if (SUCCEEDED(m_filter->EnumPins(&pins))) {
    pins->Next(1, &m_pin, nullptr);
    pins->Release();
  }
}

RawVideoInput::~RawVideoInput() {
  if (m_pin != nullptr) m_pin->Release();
  if (m_movie != nullptr) m_movie->Release();
  if (m_filter != nullptr) m_filter->Release();
}

IPin* RawVideoInput::OutputPin() const { return m_pin; }

HRESULT RawVideoInput::Push(const void* data, int size, unsigned __int64 time, unsigned __int64 frameNumber) {
  return m_host.PushFrame(m_movie, static_cast<BYTE*>(const_cast<void*>(data)), size, time, frameNumber);
}

HRESULT RawVideoInput::StreamError() const { return m_source != nullptr ? m_source->PeekStreamError() : E_FAIL; }

void RawVideoInput::End() { m_movie->ReleaseFilterData(); }

}  // namespace platformtest
