// A critical section and its scoped lock. Both are used by every filter, pin
// and worker thread of the framework; any thread may take them, and a thread
// that holds the lock may take it again.
#pragma once

#include <windows.h>

class CCritSec {
 public:
  CCritSec() { InitializeCriticalSection(&m_cs); }
  ~CCritSec() { DeleteCriticalSection(&m_cs); }
  CCritSec(const CCritSec&) = delete;
  CCritSec& operator=(const CCritSec&) = delete;

  void Lock() { EnterCriticalSection(&m_cs); }
  void Unlock() { LeaveCriticalSection(&m_cs); }

 private:
  CRITICAL_SECTION m_cs;
};

// Holds a CCritSec from construction to the end of the scope.
class CAutoLock {
 public:
  explicit CAutoLock(CCritSec* pLock) : m_pLock(pLock) { m_pLock->Lock(); }
  ~CAutoLock() { m_pLock->Unlock(); }
  CAutoLock(const CAutoLock&) = delete;
  CAutoLock& operator=(const CAutoLock&) = delete;

 private:
  CCritSec* m_pLock;
};
