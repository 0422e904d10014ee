#include "tests/platform/TestBlockPin.h"

#include "framework/Source.h"

#include <algorithm>
#include <cstring>

namespace platformtest {

CTestBlockPin::CTestBlockPin(CSource* filter, HRESULT* phr, const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks)
    : CSourceStream(L"Test block pin", phr, filter, L"Out"), m_type(type), m_blocks(std::move(blocks)) {}

HRESULT CTestBlockPin::GetMediaType(CMediaType* pmt) {
  *pmt = m_type;
  return S_OK;
}

HRESULT CTestBlockPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) {
  size_t largest = 1;
  for (const TestBlock& block : m_blocks) largest = std::max(largest, block.bytes.size());
  pProperties->cBuffers = std::max<long>(pProperties->cBuffers, 2);
  pProperties->cbBuffer = std::max<long>(pProperties->cbBuffer, static_cast<long>(largest));
  ALLOCATOR_PROPERTIES actual = {};
  const HRESULT hr = pAlloc->SetProperties(pProperties, &actual);
  if (FAILED(hr)) return hr;
  return actual.cbBuffer < static_cast<long>(largest) ? E_FAIL : S_OK;
}

HRESULT CTestBlockPin::FillBuffer(IMediaSample* pSample) {
  if (pSample == nullptr) return S_FALSE;
  const LONG index = m_next;
  if (index >= static_cast<LONG>(m_blocks.size())) return S_FALSE;
  const TestBlock& block = m_blocks[index];
  BYTE* data = nullptr;
  pSample->GetPointer(&data);
  memcpy(data, block.bytes.data(), block.bytes.size());
  pSample->SetActualDataLength(block.validBytes >= 0 ? block.validBytes : static_cast<long>(block.bytes.size()));
  if (block.hasTime) {
    REFERENCE_TIME start = block.start;
    REFERENCE_TIME stop = block.stop;
    pSample->SetTime(&start, &stop);
  } else {
    pSample->SetTime(nullptr, nullptr);
  }
  pSample->SetSyncPoint(TRUE);
  InterlockedIncrement(&m_next);
  return S_OK;
}

}  // namespace platformtest
