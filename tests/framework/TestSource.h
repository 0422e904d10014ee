// A CSource with CSourceStream pins for framework tests. Each pin offers one
// stream type, sizes one 16-byte buffer, and its FillBuffer writes a running
// number into the sample; knobs make it end the stream, fail, or fail its
// thread creation. Counters are read by the test thread after the worker
// is quiet (or through the interlocked members while it runs).
#pragma once

#include "framework/Source.h"
#include "framework/SourceStream.h"

namespace tavtest {

class CTestStream : public CSourceStream {
 public:
  CTestStream(HRESULT* phr, CSource* pFilter, const wchar_t* pName = L"Out");
  ~CTestStream() override;

  HRESULT GetMediaType(CMediaType* pmt) override;
  using CSourceStream::GetMediaType;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) override;
  HRESULT FillBuffer(IMediaSample* pSample) override;
  HRESULT OnThreadCreate() override { return threadCreateResult; }

  // Knobs.
  HRESULT threadCreateResult = S_OK;
  LONG endAfter = -1;  // FillBuffer call number that returns S_FALSE (-1: never)
  LONG failAt = -1;    // FillBuffer call number that returns failResult
  HRESULT failResult = E_UNEXPECTED;

  // Counters.
  volatile LONG fillCalls = 0;  // with a sample
  volatile LONG nullCalls = 0;  // FillBuffer(NULL)

  static LONG Destroyed();

 private:
  static volatile LONG s_cDestroyed;
};

class CTestSource : public CSource {
 public:
  CTestSource();  // one pin, "Out"
  ~CTestSource() override;

  CTestStream* Stream() const { return m_pStream; }
  // Adds a second pin, owned by the filter too.
  CTestStream* AddSecondPin();

  static LONG Destroyed();

 private:
  CTestStream* m_pStream;
  CTestStream* m_pSecond = nullptr;
  static volatile LONG s_cDestroyed;
};

}  // namespace tavtest
