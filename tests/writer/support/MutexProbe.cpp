#include "tests/writer/support/MutexProbe.h"

namespace tavtest {

namespace {
DWORD WINAPI TryTake(void* mutex) {
  DWORD result = WaitForSingleObject(static_cast<HANDLE>(mutex), 0);
  if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
    ReleaseMutex(static_cast<HANDLE>(mutex));
    return 1;
  }
  return 0;
}
}  // namespace

bool MutexIsFree(HANDLE mutex) {
  HANDLE thread = CreateThread(nullptr, 0, TryTake, mutex, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  return code == 1;
}

MutexHolder::MutexHolder(HANDLE mutex)
    : m_hMutex(mutex),
      m_hHeld(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_hGo(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_hThread(CreateThread(nullptr, 0, Run, this, 0, nullptr)) {
  WaitForSingleObject(m_hHeld, INFINITE);
}

MutexHolder::~MutexHolder() {
  SetEvent(m_hGo);
  WaitForSingleObject(m_hThread, INFINITE);
  CloseHandle(m_hThread);
  CloseHandle(m_hGo);
  CloseHandle(m_hHeld);
}

void MutexHolder::ReleaseAfter(DWORD delayMs) {
  m_delayMs = delayMs;
  SetEvent(m_hGo);
}

DWORD WINAPI MutexHolder::Run(void* param) {
  auto* self = static_cast<MutexHolder*>(param);
  WaitForSingleObject(self->m_hMutex, INFINITE);
  SetEvent(self->m_hHeld);
  WaitForSingleObject(self->m_hGo, INFINITE);
  Sleep(self->m_delayMs);
  InterlockedExchange(&self->m_released, 1);
  ReleaseMutex(self->m_hMutex);
  return 0;
}

}  // namespace tavtest
