#pragma once
// The project's audio source filter (CAudioSource) as a movie writer drives
// it: 48 kHz stereo PCM, 16-bit or 24-bit extensible, blocks of
// 1/buffersPerSecond of a second fed through the audio hand-over events.
// One test thread.

#include "filters/MovieInterfaces.h"
#include "tests/filters/HostHandOver.h"

#include <strmif.h>

namespace platformtest {

class PcmAudioInput {
 public:
  PcmAudioInput(int bitsPerSample, UINT buffersPerSecond);
  ~PcmAudioInput();
  PcmAudioInput(const PcmAudioInput&) = delete;
  PcmAudioInput& operator=(const PcmAudioInput&) = delete;

  IBaseFilter* Filter() const { return m_filter; }
  IPin* OutputPin() const { return m_pin; }  // no reference added
  HRESULT InitResult() const { return m_init; }
  // The pin's current media type (for direct ReceiveConnection calls).
  HRESULT MediaType(AM_MEDIA_TYPE** type) const;

  HRESULT Push(const void* data, int size, unsigned __int64 time, unsigned __int64 number);
  void End();

 private:
  IBaseFilter* m_filter = nullptr;
  IAudio* m_audio = nullptr;
  IPin* m_pin = nullptr;
  HRESULT m_init = E_FAIL;
  tavtest::HostHandOver m_host;
};

}  // namespace platformtest
