#include "tests/platform-acm/TestPcmSource.h"

#include "wine/acm/WaveMediaType.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>

namespace acmtest {

TestPcmPin::TestPcmPin(TestPcmSource* filter, CCritSec* lock, HRESULT* hr)
    : CBaseOutputPin(L"test source pin", filter, lock, hr, L"Out"), m_source(filter) {}

HRESULT TestPcmPin::CheckMediaType(const CMediaType* type) {
  return tavacm::WaveFormatOf(*type) == m_source->Format() ? S_OK : S_FALSE;
}

HRESULT TestPcmPin::GetMediaType(int position, CMediaType* type) {
  if (position != 0) return VFW_S_NO_MORE_ITEMS;
  tavacm::MakeWaveMediaType(m_source->Format(), type);
  return S_OK;
}

HRESULT TestPcmPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  properties->cBuffers = std::max(properties->cBuffers, 2L);
  properties->cbBuffer = std::max(properties->cbBuffer, 1L << 20);
  properties->cbAlign = std::max(properties->cbAlign, 1L);
  ALLOCATOR_PROPERTIES actual = {};
  return allocator->SetProperties(properties, &actual);
}

TestPcmSource::TestPcmSource(const std::vector<BYTE>& format)
    : CBaseFilter(L"test PCM source", nullptr, &m_lock, CLSID_TestPcmSource), m_format(format) {
  HRESULT hr = S_OK;
  m_pin.reset(new TestPcmPin(this, &m_lock, &hr));
}

HRESULT TestPcmSource::Send(const BYTE* data, size_t size, REFERENCE_TIME start, REFERENCE_TIME stop) {
  IMediaSample* sample = nullptr;
  HRESULT hr = m_pin->GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
  if (FAILED(hr)) return hr;
  BYTE* buffer = nullptr;
  sample->GetPointer(&buffer);
  if (size > static_cast<size_t>(sample->GetSize())) {
    sample->Release();
    return E_INVALIDARG;
  }
  std::memcpy(buffer, data, size);
  sample->SetActualDataLength(static_cast<long>(size));
  sample->SetTime(&start, &stop);
  sample->SetSyncPoint(TRUE);
  hr = m_pin->Deliver(sample);
  sample->Release();
  return hr;
}

HRESULT TestPcmSource::SendEndOfStream() { return m_pin->DeliverEndOfStream(); }

}  // namespace acmtest
