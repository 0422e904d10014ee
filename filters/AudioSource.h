// CAudioSource: the audio source filter. A movie writer with an audio stream
// creates it (new, or CreateInstance), drives it through IAudio, and its one
// pin (CPinAudioStream) turns each PCM block into one media sample.
//
// Threads: as the raw frame filter: the IAudio methods run on the host's
// thread without a lock, ordered against the pin's streaming thread by the
// three audio hand-over events.
#pragma once

#include "filters/MovieInterfaces.h"
#include "framework/Source.h"

class CPinAudioStream;

class CAudioSource : public CSource, public IAudio {
 public:
  // A new filter with a reference count of 0, or null when out of memory.
  static CUnknown* WINAPI CreateInstance(LPUNKNOWN pUnk, HRESULT* phr);

  CAudioSource(LPUNKNOWN pUnk, HRESULT* phr);
  ~CAudioSource() override;

  DECLARE_IUNKNOWN
  // IID_IAudio gives the IAudio face; the rest goes to CSource.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IAudio
  HRESULT STDMETHODCALLTYPE InitParam2(int bitsPerSample, UINT id, UINT buffersPerSecond) override;
  HRESULT STDMETHODCALLTYPE AddFrame(BYTE* pData, int size, unsigned __int64 time) override;
  HRESULT STDMETHODCALLTYPE AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                      unsigned __int64 frameNumber) override;
  HRESULT STDMETHODCALLTYPE ReleaseFilterData() override;
  HRESULT STDMETHODCALLTYPE SetEventHandles(HANDLE hSampleReady, HANDLE hAudioBufferReady,
                                            HANDLE hAudioBufferDone) override;

  CPinAudioStream* m_pPin;              // the one output pin, owned
  unsigned __int64 m_uFirstFrameTime;   // time of the first block
  unsigned __int64 m_uLastFrameNumber;  // number of the previous AddFrame2

 private:
  // The break test, first-block time, null check and store shared by both.
  HRESULT StoreBlock(const char* pFunction, BYTE* pData, int size, unsigned __int64 time);
};
