#include "framework/AMThread.h"

CAMThread::CAMThread(HRESULT* phr)
    : m_hThread(nullptr),
      m_EventSend(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_EventComplete(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_dwParam(0),
      m_dwReturnVal(0) {
  if ((!m_EventSend || !m_EventComplete) && phr != nullptr) {
    *phr = E_OUTOFMEMORY;
  }
}

CAMThread::~CAMThread() {
  if (m_hThread != nullptr) CloseHandle(m_hThread);
}

DWORD WINAPI CAMThread::InitialThreadProc(LPVOID pv) { return static_cast<CAMThread*>(pv)->ThreadProc(); }

BOOL CAMThread::ThreadIsRunning() const {
  return m_hThread != nullptr && WaitForSingleObject(m_hThread, 0) == WAIT_TIMEOUT;
}

BOOL CAMThread::Create() {
  CAutoLock lock(&m_AccessLock);
  if (m_hThread != nullptr) {
    if (WaitForSingleObject(m_hThread, 0) == WAIT_TIMEOUT) return FALSE;
    CloseHandle(m_hThread);
    m_hThread = nullptr;
  }
  DWORD threadId = 0;
  m_hThread = CreateThread(nullptr, 0, InitialThreadProc, this, 0, &threadId);
  return m_hThread != nullptr;
}

DWORD CAMThread::CallWorker(DWORD dwParam) {
  CAutoLock lock(&m_AccessLock);
  if (m_hThread == nullptr) return static_cast<DWORD>(E_FAIL);
  if (WaitForSingleObject(m_hThread, 0) != WAIT_TIMEOUT) {
    CloseHandle(m_hThread);
    m_hThread = nullptr;
    return static_cast<DWORD>(E_FAIL);
  }
  m_dwParam = dwParam;
  SetEvent(m_EventSend.Get());
  // Wait for the reply. The thread handle is watched too, so a worker that
  // ends without answering cannot leave the caller waiting for ever.
  HANDLE handles[2] = {m_EventComplete.Get(), m_hThread};
  DWORD w = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
  if (w != WAIT_OBJECT_0) {
    ResetEvent(m_EventSend.Get());
    return static_cast<DWORD>(E_FAIL);
  }
  return m_dwReturnVal;
}

void CAMThread::Close() {
  HANDLE hThread = static_cast<HANDLE>(InterlockedExchangePointer(&m_hThread, nullptr));
  if (hThread != nullptr) {
    WaitForSingleObject(hThread, INFINITE);
    CloseHandle(hThread);
  }
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
