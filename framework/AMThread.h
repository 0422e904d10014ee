// CAMThread: one worker thread driven by commands. A caller sends a command
// with CallWorker and blocks until the worker has answered it with Reply;
// the worker picks commands up with GetRequest (blocking) or CheckRequest
// (polling).
//
// Threads: Create, CallWorker and Close are for the controlling threads and
// are serialised by m_AccessLock; GetRequest, CheckRequest and Reply are for
// the worker thread only.
#pragma once

#include <windows.h>

#include "framework/CritSec.h"
#include "framework/UniqueHandle.h"

class CAMThread {
 public:
  // Makes the events (send: manual-reset, completion: auto-reset, both
  // clear); no thread yet. *phr, if given, becomes E_OUTOFMEMORY when an
  // event cannot be made (and is left alone otherwise).
  explicit CAMThread(HRESULT* phr = nullptr);

  // The worker's body; its result is the thread's exit code.
  virtual DWORD ThreadProc() = 0;
  virtual ~CAMThread() = default;  // the handles close themselves; the thread is not waited for

  CAMThread(const CAMThread&) = delete;
  CAMThread& operator=(const CAMThread&) = delete;

  // Starts the thread on ThreadProc. Fails when a thread still runs; a
  // thread that has ended is closed first.
  BOOL Create();
  // Sends dwParam and waits for the reply. E_FAIL when there is no thread or
  // it has ended (its handle is then closed and cleared).
  DWORD CallWorker(DWORD dwParam);
  // Waits for the thread to end and closes its handle.
  void Close();
  // True while a thread handle is held (the thread may have ended).
  BOOL ThreadExists() const { return m_hThread.IsValid(); }
  // True when the held thread has not ended yet.
  BOOL ThreadIsRunning() const;

  // Worker side: wait for a command (the send event stays set until Reply).
  DWORD GetRequest();
  // Worker side: a command is pending; *pParam (if given) receives it.
  BOOL CheckRequest(DWORD* pParam);
  // Worker side: answer the pending command.
  void Reply(DWORD dw);

  HANDLE GetRequestHandle() const { return m_EventSend.Get(); }
  DWORD GetRequestParam() const { return m_dwParam; }

  CCritSec m_AccessLock;  // serialises the controlling threads
  CCritSec m_WorkerLock;  // for the worker's own use

 protected:
  // Close takes it out with one atomic exchange, so two callers never both
  // wait on it and close it.
  UniqueHandle m_hThread;
  UniqueHandle m_EventSend;
  UniqueHandle m_EventComplete;
  DWORD m_dwParam;
  DWORD m_dwReturnVal;

 private:
  static DWORD WINAPI InitialThreadProc(LPVOID pv);
};
