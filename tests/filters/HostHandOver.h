// The host side of the hand-over, as the movie writer does it: three
// unnamed auto-reset events given to a source filter with SetEventHandles,
// and per frame: wait (bounded) for "buffer ready", hand the frame to the
// filter, set "frame ready", wait (bounded) for "buffer done".
// Used from one test thread at a time.
#pragma once

#include <windows.h>

#include "filters/MovieInterfaces.h"

namespace tavtest {

// The value the frame exports return when a hand-over wait times out.
constexpr HRESULT kHandOverTimeout = static_cast<HRESULT>(0xFFFFFB2E);

class HostHandOver {
 public:
  HostHandOver();
  ~HostHandOver();
  HostHandOver(const HostHandOver&) = delete;
  HostHandOver& operator=(const HostHandOver&) = delete;

  // Events, as the pins name them for video: frame ready (host sets),
  // buffer ready and buffer done (pin sets). For audio: sample ready,
  // audio buffer ready, audio buffer done.
  HANDLE hReady() const { return m_hDataReady; }
  HANDLE hBufferReady() const { return m_hBufferReady; }
  HANDLE hBufferDone() const { return m_hBufferDone; }

  // A frame through IMovie2::AddFrame2 (or AddFrame when frameNumber is
  // all ones). S_OK, or kHandOverTimeout when a wait ran out.
  HRESULT PushFrame(IMovie2* pMovie, BYTE* pData, int size, unsigned __int64 time, unsigned __int64 frameNumber,
                    DWORD timeoutMs = 10000);
  // An audio block through IAudio::AddFrame2 (or AddFrame for all ones).
  HRESULT PushAudio(IAudio* pAudio, BYTE* pData, int size, unsigned __int64 time, unsigned __int64 number,
                    DWORD timeoutMs = 10000);

  // Waits for "buffer ready" only (the pin asks for data).
  bool WaitBufferReady(DWORD timeoutMs);
  bool WaitBufferDone(DWORD timeoutMs);
  void SetDataReady() { SetEvent(m_hDataReady); }

 private:
  HANDLE m_hDataReady;
  HANDLE m_hBufferReady;
  HANDLE m_hBufferDone;
};

}  // namespace tavtest
