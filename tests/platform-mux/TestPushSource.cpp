#include "TestPushSource.h"

#include <uuids.h>

#include <cstring>
#include <new>
#include <vector>

#include "Formats.h"
#include "framework/MediaType.h"

TestPushPin::TestPushPin(TestPushSource* pFilter, CCritSec* pLock, HRESULT* phr, const CMediaType& mt, long bufferSize)
    : CBaseOutputPin(L"test push pin", pFilter, pLock, phr, L"Out"), m_type(mt), m_bufferSize(bufferSize) {}

HRESULT TestPushPin::CheckMediaType(const CMediaType* pmt) { return *pmt == m_type ? S_OK : S_FALSE; }

HRESULT TestPushPin::GetMediaType(int iPosition, CMediaType* pmt) {
  if (iPosition != 0) return VFW_S_NO_MORE_ITEMS;
  *pmt = m_type;
  return S_OK;
}

HRESULT TestPushPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) {
  pProperties->cBuffers = 2;
  pProperties->cbBuffer = m_bufferSize;
  ALLOCATOR_PROPERTIES actual;
  HRESULT hr = pAlloc->SetProperties(pProperties, &actual);
  if (FAILED(hr)) return hr;
  return actual.cbBuffer >= m_bufferSize ? S_OK : E_FAIL;
}

TestPushSource::TestPushSource(const AM_MEDIA_TYPE& mt, long bufferSize, HRESULT* phr)
    : CBaseFilter(L"test push source", nullptr, &m_lock, GUID_NULL),
      m_pin(this, &m_lock, phr, CMediaType(mt), bufferSize) {}

TestPushSource* TestPushSource::Create(const AM_MEDIA_TYPE& mt, long bufferSize) {
  HRESULT hr = S_OK;
  auto* p = new TestPushSource(mt, bufferSize, &hr);
  p->NonDelegatingAddRef();
  return p;
}

CBasePin* TestPushSource::GetPin(int n) { return n == 0 ? &m_pin : nullptr; }

HRESULT TestPushSource::Push(const void* data, long size, const REFERENCE_TIME* start, const REFERENCE_TIME* stop,
                             bool syncPoint, const LONGLONG* mediaStart) {
  IMediaSample* sample = nullptr;
  HRESULT hr = m_pin.GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
  if (FAILED(hr)) return hr;
  BYTE* p = nullptr;
  sample->GetPointer(&p);
  if (size > sample->GetSize()) size = sample->GetSize();
  std::memcpy(p, data, size);
  sample->SetActualDataLength(size);
  REFERENCE_TIME s = start ? *start : 0, e = stop ? *stop : 0;
  sample->SetTime(start ? &s : nullptr, stop ? &e : nullptr);
  sample->SetSyncPoint(syncPoint);
  if (mediaStart) {
    LONGLONG ms = *mediaStart, me = ms + 1;
    sample->SetMediaTime(&ms, &me);
  }
  hr = m_pin.Deliver(sample);
  sample->Release();
  return hr;
}

CMediaType VideoType(int width, int height, int bits, DWORD compression, REFERENCE_TIME frame, bool temporal) {
  CMediaType mt;
  mt.SetType(&MEDIATYPE_Video);
  mt.SetFormatType(&FORMAT_VideoInfo);
  std::vector<std::uint8_t> bmi = muxtest::BitmapFormat(width, height, bits, compression);
  auto* vih = reinterpret_cast<VIDEOINFOHEADER*>(
      mt.AllocFormatBuffer(static_cast<ULONG>(sizeof(VIDEOINFOHEADER) - sizeof(BITMAPINFOHEADER) + bmi.size())));
  vih->AvgTimePerFrame = frame;
  std::memcpy(&vih->bmiHeader, bmi.data(), bmi.size());
  mt.SetSubtype(&MEDIASUBTYPE_RGB24);
  if (bits == 32) mt.SetSubtype(&MEDIASUBTYPE_RGB32);
  if (bits == 8) mt.SetSubtype(&MEDIASUBTYPE_RGB8);
  if (compression != BI_RGB) {
    GUID sub = MEDIASUBTYPE_YUY2;
    sub.Data1 = compression;
    mt.SetSubtype(&sub);
  }
  mt.SetTemporalCompression(temporal);
  if (temporal) mt.SetVariableSize();
  else mt.SetSampleSize(muxtest::DibSize(width, height, bits));
  return mt;
}

CMediaType AudioType(const std::vector<std::uint8_t>& wave) {
  CMediaType mt;
  mt.SetType(&MEDIATYPE_Audio);
  mt.SetSubtype(&MEDIASUBTYPE_PCM);
  mt.SetFormatType(&FORMAT_WaveFormatEx);
  mt.SetFormat(wave.data(), static_cast<ULONG>(wave.size()));
  const auto* wfx = reinterpret_cast<const WAVEFORMATEX*>(wave.data());
  mt.SetSampleSize(wfx->nBlockAlign);
  return mt;
}
