// Whether another thread can take a mutex right now (a mutex is re-entrant
// for its owner, so the owner cannot tell by waiting on it itself).
#pragma once

#include <windows.h>

namespace tavtest {

bool MutexIsFree(HANDLE mutex);

// Holds `mutex` on a thread of its own until Release(); the constructor
// returns once the mutex is held.
class MutexHolder {
 public:
  explicit MutexHolder(HANDLE mutex);
  ~MutexHolder();
  MutexHolder(const MutexHolder&) = delete;
  MutexHolder& operator=(const MutexHolder&) = delete;
  // Lets the mutex go after `delayMs` and returns at once.
  void ReleaseAfter(DWORD delayMs);
  // True once the holder thread has released the mutex.
  bool Released() const { return InterlockedCompareExchange(&m_released, 0, 0) != 0; }

 private:
  static DWORD WINAPI Run(void* self);
  HANDLE m_hMutex;
  HANDLE m_hHeld;
  HANDLE m_hGo;
  HANDLE m_hThread;
  DWORD m_delayMs = 0;
  mutable LONG m_released = 0;
};

}  // namespace tavtest
