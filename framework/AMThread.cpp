#include "framework/AMThread.h"

CAMThread::CAMThread(HRESULT* phr)
    : m_EventSend(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_EventComplete(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_dwParam(0),
      m_dwReturnVal(0) {
  if ((!m_EventSend || !m_EventComplete) && phr != nullptr) {
    *phr = E_OUTOFMEMORY;
  }
}

DWORD WINAPI CAMThread::InitialThreadProc(LPVOID pv) { return static_cast<CAMThread*>(pv)->ThreadProc(); }

BOOL CAMThread::ThreadIsRunning() const { return m_hThread && WaitForSingleObject(m_hThread.Get(), 0) == WAIT_TIMEOUT; }

BOOL CAMThread::Create() {
  CAutoLock lock(&m_AccessLock);
  if (m_hThread) {
    if (WaitForSingleObject(m_hThread.Get(), 0) == WAIT_TIMEOUT) return FALSE;
    m_hThread.Close();
  }
  DWORD threadId = 0;
  m_hThread.Reset(CreateThread(nullptr, 0, InitialThreadProc, this, 0, &threadId));
  return m_hThread.IsValid();
}

DWORD CAMThread::CallWorker(DWORD dwParam) {
  CAutoLock lock(&m_AccessLock);
  if (!m_hThread) return static_cast<DWORD>(E_FAIL);
  if (WaitForSingleObject(m_hThread.Get(), 0) != WAIT_TIMEOUT) {
    m_hThread.Close();
    return static_cast<DWORD>(E_FAIL);
  }
  m_dwParam = dwParam;
  SetEvent(m_EventSend.Get());
  // Wait for the reply. The thread handle is watched too, so a worker that
  // ends without answering cannot leave the caller waiting for ever.
  HANDLE handles[2] = {m_EventComplete.Get(), m_hThread.Get()};
  DWORD w = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
  if (w != WAIT_OBJECT_0) {
    ResetEvent(m_EventSend.Get());
    return static_cast<DWORD>(E_FAIL);
  }
  return m_dwReturnVal;
}

void CAMThread::Close() {
  UniqueHandle thread(m_hThread.ReleaseAtomically());
  if (thread) WaitForSingleObject(thread.Get(), INFINITE);
}

DWORD CAMThread::GetRequest() {
  WaitForSingleObject(m_EventSend.Get(), INFINITE);
  return m_dwParam;
}

BOOL CAMThread::CheckRequest(DWORD* pParam) {
  if (WaitForSingleObject(m_EventSend.Get(), 0) != WAIT_OBJECT_0) return FALSE;
  if (pParam != nullptr) *pParam = m_dwParam;
  return TRUE;
}

void CAMThread::Reply(DWORD dw) {
  m_dwReturnVal = dw;
  ResetEvent(m_EventSend.Get());
  SetEvent(m_EventComplete.Get());
}
