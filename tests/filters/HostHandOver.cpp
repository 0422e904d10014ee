#include "tests/filters/HostHandOver.h"

namespace tavtest {

HostHandOver::HostHandOver()
    : m_hDataReady(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_hBufferReady(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_hBufferDone(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

HostHandOver::~HostHandOver() {
  CloseHandle(m_hDataReady);
  CloseHandle(m_hBufferReady);
  CloseHandle(m_hBufferDone);
}

bool HostHandOver::WaitBufferReady(DWORD timeoutMs) {
  return WaitForSingleObject(m_hBufferReady, timeoutMs) == WAIT_OBJECT_0;
}

bool HostHandOver::WaitBufferDone(DWORD timeoutMs) {
  return WaitForSingleObject(m_hBufferDone, timeoutMs) == WAIT_OBJECT_0;
}

HRESULT HostHandOver::PushFrame(IMovie2* pMovie, BYTE* pData, int size, unsigned __int64 time,
                                unsigned __int64 frameNumber, DWORD timeoutMs) {
  if (!WaitBufferReady(timeoutMs)) return kHandOverTimeout;
  if (frameNumber == ~0ull) {
    pMovie->AddFrame(pData, size, time);
  } else {
    pMovie->AddFrame2(pData, size, time, frameNumber);
  }
  SetEvent(m_hDataReady);
  return WaitBufferDone(timeoutMs) ? S_OK : kHandOverTimeout;
}

HRESULT HostHandOver::PushAudio(IAudio* pAudio, BYTE* pData, int size, unsigned __int64 time, unsigned __int64 number,
                                DWORD timeoutMs) {
  if (!WaitBufferReady(timeoutMs)) return kHandOverTimeout;
  if (number == ~0ull) {
    pAudio->AddFrame(pData, size, time);
  } else {
    pAudio->AddFrame2(pData, size, time, number);
  }
  SetEvent(m_hDataReady);
  return WaitBufferDone(timeoutMs) ? S_OK : kHandOverTimeout;
}

}  // namespace tavtest
