// A test renderer with one input pin "In" that takes any audio type with a
// wave format and keeps every byte and time stamp it receives.
#pragma once

#include "framework/BaseFilter.h"
#include "framework/BasePin.h"

#include <memory>
#include <vector>

namespace acmtest {

// {8D3F61C2-2B4A-4E07-A1B5-6F0C9D4E3A21}
inline constexpr CLSID CLSID_TestSink = {0x8d3f61c2, 0x2b4a, 0x4e07, {0xa1, 0xb5, 0x6f, 0x0c, 0x9d, 0x4e, 0x3a, 0x21}};

struct ReceivedSample {
  size_t size;
  bool hasTime;
  REFERENCE_TIME start;
  REFERENCE_TIME stop;
};

class TestSink;

class TestSinkPin : public CBasePin, public IMemInputPin {
 public:
  TestSinkPin(TestSink* filter, CCritSec* lock, HRESULT* hr);
  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override;
  HRESULT STDMETHODCALLTYPE BeginFlush() override;
  HRESULT STDMETHODCALLTYPE EndFlush() override;
  HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) override;
  HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
  HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
  HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, long count, long* processed) override;
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

 private:
  TestSink* m_sink;
};

class TestSink : public CBaseFilter {
 public:
  TestSink();
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? m_pin.get() : nullptr; }
  IPin* InputPin() { return m_pin.get(); }

  // Refuses every type whose wave format is not this one (empty: any).
  void AcceptOnly(const std::vector<BYTE>& format) { m_acceptOnly = format; }
  const std::vector<BYTE>& AcceptOnlyFormat() const { return m_acceptOnly; }

  // What arrived (read after the graph stopped).
  std::vector<BYTE> bytes;
  std::vector<ReceivedSample> samples;
  int endOfStreams = 0;
  int beginFlushes = 0;
  int endFlushes = 0;
  int newSegments = 0;

 private:
  friend class TestSinkPin;
  CCritSec m_lock;
  CCritSec m_receiveLock;
  std::vector<BYTE> m_acceptOnly;
  std::unique_ptr<TestSinkPin> m_pin;
};

}  // namespace acmtest
