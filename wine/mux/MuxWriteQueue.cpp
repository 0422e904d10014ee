#include "mux/MuxWriteQueue.h"

#include <vfwmsgs.h>

#include <new>
#include <utility>

MuxWriteQueue::MuxWriteQueue(Writer& writer, long writeHereBelow)
    : m_writer(writer), m_nWriteHereBelow(writeHereBelow) {
  InitializeCriticalSection(&m_cs);
  InitializeConditionVariable(&m_changed);
}

MuxWriteQueue::~MuxWriteQueue() {
  Stop();
  DeleteCriticalSection(&m_cs);
}

HRESULT MuxWriteQueue::Start() {
  if (m_hThread) return S_OK;
  m_bStopping = false;
  m_hrFailure = S_OK;
  m_hThread.Reset(CreateThread(nullptr, 0, ThreadMain, this, 0, nullptr));
  return m_hThread ? S_OK : HRESULT_FROM_WIN32(GetLastError());
}

HRESULT MuxWriteQueue::Push(CAviMuxInputPin* pPin, IMediaSample* pSample) {
  EnterCriticalSection(&m_cs);
  while (SUCCEEDED(m_hrFailure) && !m_bStopping && m_hThread && m_nHeld >= kMaxHeld)
    SleepConditionVariableCS(&m_changed, &m_cs, INFINITE);
  HRESULT hr = FAILED(m_hrFailure) ? m_hrFailure : (m_bStopping || !m_hThread) ? VFW_E_WRONG_STATE : S_OK;
  if (hr == S_OK && m_nHeld == 0 && pSample->GetActualDataLength() < m_nWriteHereBelow) {
    // Nothing is queued or being written, so nobody waits for a change here.
    hr = WriteOne(pPin, pSample);
    if (FAILED(hr)) m_hrFailure = hr;
    ++m_nPushed;
    ++m_nDone;
    LeaveCriticalSection(&m_cs);
    return hr;
  }
  if (hr == S_OK) {
    try {
      m_items.push_back({pPin, NonThrowingComPtr<IMediaSample>::Share(pSample)});
      ++m_nPushed;
      ++m_nHeld;
    } catch (const std::bad_alloc&) {
      hr = E_OUTOFMEMORY;
    }
  }
  LeaveCriticalSection(&m_cs);
  WakeAllConditionVariable(&m_changed);
  return hr;
}

HRESULT MuxWriteQueue::Drain() {
  EnterCriticalSection(&m_cs);
  // Only what was pushed before: another input may keep the queue busy.
  const unsigned long long pushed = m_nPushed;
  while (m_nDone < pushed && m_hThread) SleepConditionVariableCS(&m_changed, &m_cs, INFINITE);
  HRESULT hr = m_hrFailure;
  LeaveCriticalSection(&m_cs);
  return hr;
}

void MuxWriteQueue::Stop() {
  if (!m_hThread) return;
  EnterCriticalSection(&m_cs);
  m_bStopping = true;
  LeaveCriticalSection(&m_cs);
  WakeAllConditionVariable(&m_changed);
  // The thread writes what is queued, then ends.
  WaitForSingleObject(m_hThread.Get(), INFINITE);
  EnterCriticalSection(&m_cs);
  m_hThread.Close();
  LeaveCriticalSection(&m_cs);
  WakeAllConditionVariable(&m_changed);
}

template <typename Work>
HRESULT MuxWriteQueue::Guarded(Work work) {
  // No exception may leave the writer thread: it would end the process.
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

HRESULT MuxWriteQueue::WriteOne(CAviMuxInputPin* pPin, IMediaSample* pSample) {
  return Guarded([this, pPin, pSample] {
    HRESULT hrWrite = m_writer.WriteQueued(pPin, pSample);
    if (SUCCEEDED(hrWrite)) m_writer.Tick();
    return hrWrite;
  });
}

DWORD WINAPI MuxWriteQueue::ThreadMain(void* self) {
  static_cast<MuxWriteQueue*>(self)->Run();
  return 0;
}

void MuxWriteQueue::Run() {
  EnterCriticalSection(&m_cs);
  for (;;) {
    if (m_items.empty()) {
      if (m_bStopping) break;
      BOOL woken = SleepConditionVariableCS(&m_changed, &m_cs, kTickIntervalMs);
      if (!woken && m_items.empty()) {
        LeaveCriticalSection(&m_cs);
        Guarded([this] {
          m_writer.Tick();
          return S_OK;
        });
        EnterCriticalSection(&m_cs);
      }
      continue;
    }
    Item item = std::move(m_items.front());
    m_items.pop_front();
    bool write = SUCCEEDED(m_hrFailure);
    LeaveCriticalSection(&m_cs);

    HRESULT hr = write ? WriteOne(item.pin, item.sample.Get()) : S_OK;
    item.sample.Reset();

    EnterCriticalSection(&m_cs);
    if (FAILED(hr) && SUCCEEDED(m_hrFailure)) m_hrFailure = hr;
    --m_nHeld;
    ++m_nDone;
    WakeAllConditionVariable(&m_changed);
  }
  LeaveCriticalSection(&m_cs);
}
