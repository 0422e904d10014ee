#pragma once
// The output pin of CTestBlockSource: offers one media type and, once the
// graph runs, delivers the scripted blocks one sample each, then ends the
// stream. Its worker thread calls FillBuffer; the test's thread sets it up
// before connecting.

#include "framework/SourceStream.h"

#include "tests/platform/TestBlock.h"

#include <vector>

namespace platformtest {

class CTestBlockPin : public CSourceStream {
 public:
  CTestBlockPin(CSource* filter, HRESULT* phr, const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks);

  HRESULT GetMediaType(CMediaType* pmt) override;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) override;
  HRESULT FillBuffer(IMediaSample* pSample) override;

  // Number of blocks handed to FillBuffer so far (any thread).
  LONG Delivered() const { return m_next; }

 private:
  CMediaType m_type;
  std::vector<TestBlock> m_blocks;
  volatile LONG m_next = 0;
};

}  // namespace platformtest
