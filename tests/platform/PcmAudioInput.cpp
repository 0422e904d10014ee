#include "tests/platform/PcmAudioInput.h"

#include "filters/AudioSource.h"

namespace platformtest {

PcmAudioInput::PcmAudioInput(int bitsPerSample, UINT buffersPerSecond) {
  HRESULT hr = E_FAIL;
  CUnknown* object = CAudioSource::CreateInstance(nullptr, &hr);
  if (object == nullptr) return;
  object->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&m_filter));
  m_filter->QueryInterface(IID_IAudio, reinterpret_cast<void**>(&m_audio));
  m_audio->SetEventHandles(m_host.hReady(), m_host.hBufferReady(), m_host.hBufferDone());
  m_init = m_audio->InitParam2(bitsPerSample, 1, buffersPerSecond);
  IEnumPins* pins = nullptr;
  if (SUCCEEDED(m_filter->EnumPins(&pins))) {
    pins->Next(1, &m_pin, nullptr);
    pins->Release();
  }
}

PcmAudioInput::~PcmAudioInput() {
  if (m_pin != nullptr) m_pin->Release();
  if (m_audio != nullptr) m_audio->Release();
  if (m_filter != nullptr) m_filter->Release();
}

HRESULT PcmAudioInput::MediaType(AM_MEDIA_TYPE** type) const {
  IAMStreamConfig* config = nullptr;
  HRESULT hr = m_pin->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
  if (FAILED(hr)) return hr;
  hr = config->GetFormat(type);
  config->Release();
  return hr;
}

HRESULT PcmAudioInput::Push(const void* data, int size, unsigned __int64 time, unsigned __int64 number) {
  return m_host.PushAudio(m_audio, static_cast<BYTE*>(const_cast<void*>(data)), size, time, number);
}

void PcmAudioInput::End() { m_audio->ReleaseFilterData(); }

}  // namespace platformtest
