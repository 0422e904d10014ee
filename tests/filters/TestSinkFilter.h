// A small renderer-like test filter with one input pin ("In") built on the
// framework: it accepts the types it is told to, records every sample it
// receives (bytes, times, flags, lengths), can hold samples (so the source's
// one buffer stays in use) and can fail Receive on purpose.
//
// Threads: the graph calls the filter and pin methods; Receive and
// EndOfStream come on the source pin's streaming thread; the test reads the
// records through the accessors, which lock.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <vector>

#include "framework/BaseFilter.h"
#include "framework/BasePin.h"

namespace tavtest {

struct ReceivedSample {
  std::vector<BYTE> bytes;  // the first actualLength bytes
  long actualLength = 0;
  long size = 0;
  HRESULT timeResult = E_FAIL;  // GetTime's result
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool discontinuity = false;
  bool syncPoint = false;
};

class CTestSinkFilter;

class CTestSinkPin : public CBasePin, public IMemInputPin {
 public:
  CTestSinkPin(CTestSinkFilter* pFilter, CCritSec* pLock, HRESULT* phr);
  ~CTestSinkPin() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT BreakConnect() override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override;

  // IMemInputPin
  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** ppAllocator) override;
  HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
  HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
  HRESULT STDMETHODCALLTYPE Receive(IMediaSample* pSample) override;
  HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) override;
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

 private:
  CTestSinkFilter* m_pSink;  // weak: the filter owns the pin
};

class CTestSinkFilter : public CBaseFilter {
 public:
  // Count 0 like every framework object: take the first reference.
  CTestSinkFilter();
  ~CTestSinkFilter() override;

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override;
  CTestSinkPin* InputPin() const { return m_pPin; }

  // Options, set before connecting / running.
  GUID acceptMajorType = GUID_NULL;  // GUID_NULL: any type
  bool offerAllocator = false;       // GetAllocator hands out one of ours
  long requiredAlign = 0;            // > 0: GetAllocatorRequirements asks for it
  bool holdSamples = false;          // keep every received sample referenced
  HRESULT receiveResult = S_OK;      // what Receive returns ...
  int failAfter = 0;                 // ... once this many samples were taken
  bool recordBytes = true;           // false: keep only lengths, times and flags
  bool recordSamples = true;         // false: only count them (no memory per sample)

  // Records.
  std::vector<ReceivedSample> Samples();
  int SampleCount();
  int EndOfStreamCount();
  bool WaitForSamples(int count, DWORD timeoutMs);
  bool WaitForEndOfStream(DWORD timeoutMs);
  ALLOCATOR_PROPERTIES NotifiedProperties();  // as GetProperties read them
  IMemAllocator* NotifiedAllocator() const { return m_pNotified; }
  IMemAllocator* OwnAllocator() const { return m_pOwnAllocator; }
  void ReleaseHeldSamples();

  static LONG Destroyed();  // sink filters destroyed so far in the process

 private:
  friend class CTestSinkPin;
  HRESULT OnReceive(IMediaSample* pSample);
  void OnEndOfStream();
  void OnNotifyAllocator(IMemAllocator* pAllocator);
  HRESULT GiveAllocator(IMemAllocator** ppAllocator);
  HRESULT GiveRequirements(ALLOCATOR_PROPERTIES* pProps);
  void DropAllocators();

  CCritSec m_Lock;       // filter lock
  CCritSec m_DataLock;   // records
  CTestSinkPin* m_pPin;  // owned
  std::vector<ReceivedSample> m_samples;
  std::vector<IMediaSample*> m_held;
  int m_cReceived = 0;
  int m_cEndOfStream = 0;
  HANDLE m_hReceived;                        // auto-reset: a sample or end-of-stream came
  IMemAllocator* m_pNotified = nullptr;      // counted
  IMemAllocator* m_pOwnAllocator = nullptr;  // counted
  ALLOCATOR_PROPERTIES m_notifiedProps = {};

  static volatile LONG s_cDestroyed;
};

}  // namespace tavtest
