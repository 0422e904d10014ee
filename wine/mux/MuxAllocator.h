// MuxAllocator: the allocator the AVI Mux's input pins hand upstream. It
// keeps its own pool of MuxSamples and waits for a free one on a critical
// section and a condition variable, so getting and returning a buffer costs
// no kernel object (under Wine, each semaphore wait or release of the
// platform's memory allocator is a wineserver round trip, two per frame).
//
// SetProperties grants more buffers than asked, so that a source that asks
// for one buffer can fill the next frame while the mux's writer thread still
// holds the previous ones (see MuxWriteQueue). The grant is at least
// kMinBuffers and otherwise as many as fit in kBufferBudget bytes, at most
// kMaxBuffers (one being filled, one waiting in Receive, two in the mux's
// queue), and never fewer than asked; the buffer size, alignment and prefix
// are left as asked.
//
// Contract, as the platform's memory allocator: SetProperties only while
// decommitted with no sample out (VFW_E_ALREADY_COMMITTED,
// VFW_E_BUFFERS_OUTSTANDING); Commit checks the properties (VFW_E_BADALIGN,
// VFW_E_SIZENOTSET, VFW_E_BUFFER_NOTSET) and allocates; GetBuffer waits for
// a free sample (VFW_E_TIMEOUT with AM_GBF_NOWAIT) and fails with
// VFW_E_NOT_COMMITTED once decommitted, waking every waiter; the memory goes
// when decommitted and the last sample has come back. A sample that is out
// holds a reference to the allocator.
//
// Threads: any; every method takes the allocator's lock for a moment and
// GetBuffer waits without it.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <memory>
#include <vector>

#include "mux/MuxSample.h"

class MuxAllocator final : public IMemAllocator {
 public:
  static constexpr long kMinBuffers = 3;
  static constexpr long kMaxBuffers = 4;
  static constexpr long long kBufferBudget = 32ll * 1024 * 1024;

  // A new allocator with one reference.
  static HRESULT Create(IMemAllocator** ppAllocator);

  // How many buffers are granted when count buffers of size bytes are asked for.
  static long GrantedBuffers(long count, long size);

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IMemAllocator
  HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
  HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
  HRESULT STDMETHODCALLTYPE Commit() override;
  HRESULT STDMETHODCALLTYPE Decommit() override;
  HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                                      DWORD dwFlags) override;
  // Samples come back by their own Release; nothing to do here.
  HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample* pBuffer) override;

  // From a MuxSample whose count fell to zero: it is free again.
  void Recycle(MuxSample* pSample);

 private:
  MuxAllocator();
  ~MuxAllocator();
  HRESULT Allocate();  // lock held
  void FreeMemory();   // lock held, no sample out

  LONG m_cRef = 1;
  CRITICAL_SECTION m_cs;
  CONDITION_VARIABLE m_changed;  // a sample came back or the allocator decommitted
  ALLOCATOR_PROPERTIES m_props = {};
  bool m_bCommitted = false;
  BYTE* m_pMemory = nullptr;  // VirtualAlloc'd, every sample's buffer
  std::vector<std::unique_ptr<MuxSample>> m_samples;
  std::vector<MuxSample*> m_free;
  long m_nOut = 0;  // samples handed out and not back yet
};
