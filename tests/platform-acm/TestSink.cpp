#include "tests/platform-acm/TestSink.h"

#include "wine/acm/WaveMediaType.h"

#include <vfwmsgs.h>

namespace acmtest {

TestSinkPin::TestSinkPin(TestSink* filter, CCritSec* lock, HRESULT* hr)
    : CBasePin(L"test sink pin", filter, lock, hr, L"In", PINDIR_INPUT), m_sink(filter) {}

HRESULT STDMETHODCALLTYPE TestSinkPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT TestSinkPin::CheckMediaType(const CMediaType* type) {
  const std::vector<BYTE> format = tavacm::WaveFormatOf(*type);
  if (format.empty()) return S_FALSE;
  if (!m_sink->AcceptOnlyFormat().empty() && format != m_sink->AcceptOnlyFormat()) return S_FALSE;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::EndOfStream() {
  CAutoLock lock(&m_sink->m_receiveLock);
  ++m_sink->endOfStreams;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::BeginFlush() {
  ++m_sink->beginFlushes;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::EndFlush() {
  ++m_sink->endFlushes;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  CBasePin::NewSegment(start, stop, rate);
  ++m_sink->newSegments;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::GetAllocator(IMemAllocator** allocator) {
  *allocator = nullptr;
  return VFW_E_NO_ALLOCATOR;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::NotifyAllocator(IMemAllocator*, BOOL) { return S_OK; }

HRESULT STDMETHODCALLTYPE TestSinkPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE TestSinkPin::Receive(IMediaSample* sample) {
  if (IsStopped()) return VFW_E_WRONG_STATE;
  CAutoLock lock(&m_sink->m_receiveLock);
  BYTE* data = nullptr;
  sample->GetPointer(&data);
  const long length = sample->GetActualDataLength();
  m_sink->bytes.insert(m_sink->bytes.end(), data, data + length);
  ReceivedSample received = {static_cast<size_t>(length), false, 0, 0};
  received.hasTime = SUCCEEDED(sample->GetTime(&received.start, &received.stop));
  m_sink->samples.push_back(received);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::ReceiveMultiple(IMediaSample** samples, long count, long* processed) {
  *processed = 0;
  for (long i = 0; i < count; ++i) {
    const HRESULT hr = Receive(samples[i]);
    if (hr != S_OK) return hr;
    ++*processed;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::ReceiveCanBlock() { return S_FALSE; }

TestSink::TestSink() : CBaseFilter(L"test sink", nullptr, &m_lock, CLSID_TestSink) {
  HRESULT hr = S_OK;
  m_pin.reset(new TestSinkPin(this, &m_lock, &hr));
}

}  // namespace acmtest
