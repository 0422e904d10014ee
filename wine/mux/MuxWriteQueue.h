// MuxWriteQueue: lets the AVI Mux write on a thread of its own. The upstream
// streaming threads Push samples (the queue holds a reference to each) and
// return at once; one writer thread hands them to the Writer in arrival
// order and releases them. The queue is short: Push waits while it holds
// kMaxHeld samples, counting the one being written. That is enough for the
// source to copy the next frame while the last one is written, keeps memory
// flat, and keeps a write failure close to the sample that met it.
//
// A small sample (fewer than writeHereBelow bytes) that arrives while
// nothing is queued or being written is written by Push itself, on the
// streaming thread, with the queue's lock held so that nothing overtakes it.
// Handing a sample to the writer thread costs two thread wake-ups, and under
// Wine on two cores that is more than writing a sample the Writer only
// gathers into its buffer (the source's next frame waits less, not more).
//
// After a write fails, the queue keeps the first failure: Push returns it
// (so the failure reaches upstream at most kMaxHeld + 1 samples late; a
// sample written by Push returns its own failure) and
// queued samples are released unwritten.
//
// While no sample arrives the writer thread still wakes every
// kTickIntervalMs and calls Writer::Tick, so that the writer can put its
// buffered bytes out (see CAviMux's checkpoints).
//
// Threads: Push from the streaming threads, Start/Drain/Stop from the
// filter's (graph's) thread. Never call Drain or Stop from inside the Writer.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <deque>

#include "framework/NonThrowingComPtr.h"
#include "framework/UniqueHandle.h"

class CAviMuxInputPin;

class MuxWriteQueue {
 public:
  static constexpr unsigned kMaxHeld = 2;
  static constexpr DWORD kTickIntervalMs = 250;

  class Writer {
   public:
    virtual ~Writer() = default;
    // One sample, on the writer thread (or, when small, on the pushing
    // thread); a failure stops further writing.
    virtual HRESULT WriteQueued(CAviMuxInputPin* pPin, IMediaSample* pSample) = 0;
    // After each sample written (on the thread that wrote it) and, on the
    // writer thread, when idle.
    virtual void Tick() = 0;
  };

  MuxWriteQueue(Writer& writer, long writeHereBelow);
  ~MuxWriteQueue();  // Stop
  MuxWriteQueue(const MuxWriteQueue&) = delete;
  MuxWriteQueue& operator=(const MuxWriteQueue&) = delete;

  // Starts the writer thread; fails with the system error.
  HRESULT Start();
  // Queues the sample, or writes a small one itself when the queue is idle;
  // waits while the queue is full. Returns the first write failure instead,
  // or VFW_E_WRONG_STATE once Stop has begun.
  HRESULT Push(CAviMuxInputPin* pPin, IMediaSample* pSample);
  // Waits until every sample pushed so far has been written (or dropped
  // after a failure). Returns the first write failure, else S_OK.
  HRESULT Drain();
  // Drains and ends the writer thread. Idempotent.
  void Stop();

 private:
  struct Item {
    CAviMuxInputPin* pin;
    NonThrowingComPtr<IMediaSample> sample;
  };
  static DWORD WINAPI ThreadMain(void* self);
  HRESULT WriteOne(CAviMuxInputPin* pPin, IMediaSample* pSample);
  void Run();
  // Runs work, turning an exception into its HRESULT.
  template <typename Work>
  static HRESULT Guarded(Work work);

  Writer& m_writer;
  const long m_nWriteHereBelow;  // bytes
  CRITICAL_SECTION m_cs;
  CONDITION_VARIABLE m_changed;  // anything below changed
  std::deque<Item> m_items;
  unsigned m_nHeld = 0;              // queued + the one being written
  unsigned long long m_nPushed = 0;  // samples pushed so far
  unsigned long long m_nDone = 0;    // of them, written or dropped
  bool m_bStopping = false;
  HRESULT m_hrFailure = S_OK;
  UniqueHandle m_hThread;
};
