#include "tests/writer/support/FakeCompressor.h"

#include <dvdmedia.h>
#include <uuids.h>

namespace tavtest {

namespace {
// {6B3F2E51-8C1D-4E0A-9A57-0F2C5D7B1E93}
const CLSID kFakeCompressorClsid = {0x6b3f2e51, 0x8c1d, 0x4e0a, {0x9a, 0x57, 0x0f, 0x2c, 0x5d, 0x7b, 0x1e, 0x93}};
}  // namespace

FakeCompressorInput::FakeCompressorInput(FakeCompressor* filter, CCritSec* lock, HRESULT* phr, const GUID& subtype)
    : CBasePin(L"Fake compressor input", filter, lock, phr, L"In", PINDIR_INPUT), m_subtype(subtype) {}

HRESULT STDMETHODCALLTYPE FakeCompressorInput::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT FakeCompressorInput::CheckMediaType(const CMediaType* pmt) {
  if (pmt->majortype != MEDIATYPE_Video || pmt->subtype != m_subtype || pmt->formattype != FORMAT_VideoInfo ||
      pmt->cbFormat < sizeof(VIDEOINFOHEADER) || pmt->pbFormat == nullptr)
    return VFW_E_TYPE_NOT_ACCEPTED;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCompressorInput::GetAllocator(IMemAllocator** allocator) {
  if (allocator) *allocator = nullptr;
  return VFW_E_NO_ALLOCATOR;
}

HRESULT STDMETHODCALLTYPE FakeCompressorInput::NotifyAllocator(IMemAllocator*, BOOL) { return S_OK; }

HRESULT STDMETHODCALLTYPE FakeCompressorInput::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE FakeCompressorInput::Receive(IMediaSample*) { return S_OK; }

HRESULT STDMETHODCALLTYPE FakeCompressorInput::ReceiveMultiple(IMediaSample**, long count, long* processed) {
  if (processed) *processed = count;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeCompressorInput::ReceiveCanBlock() { return S_FALSE; }

FakeCompressorOutput::FakeCompressorOutput(FakeCompressor* filter, CCritSec* lock, HRESULT* phr,
                                           const FakeOutputFormat& format)
    : CBaseOutputPin(L"Fake compressor output", filter, lock, phr, L"Out"), m_pOwner(filter), m_format(format) {}

HRESULT FakeCompressorOutput::CheckMediaType(const CMediaType* pmt) {
  CMediaType offered;
  if (GetMediaType(0, &offered) != S_OK) return VFW_E_NOT_CONNECTED;
  return MediaTypesEqual(*pmt, offered) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT FakeCompressorOutput::GetMediaType(int position, CMediaType* pmt) {
  if (position < 0) return E_INVALIDARG;
  if (position > 0 || !m_pOwner->Input()->IsConnected()) return VFW_S_NO_MORE_ITEMS;
  if (!pmt->Set(m_pOwner->Input()->CurrentMediaType())) return E_OUTOFMEMORY;
  if (m_format.subtype != GUID_NULL) {
    pmt->subtype = m_format.subtype;
    auto* info = reinterpret_cast<VIDEOINFOHEADER*>(pmt->pbFormat);
    info->bmiHeader.biBitCount = m_format.bitCount;
    info->bmiHeader.biCompression = BI_RGB;
    info->bmiHeader.biSizeImage = GetDibSize(info->bmiHeader);
    pmt->lSampleSize = static_cast<ULONG>(info->bmiHeader.biSizeImage);
  }
  return S_OK;
}

HRESULT FakeCompressorOutput::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  const auto* info = reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.pbFormat);
  properties->cBuffers = 1;
  properties->cbBuffer = info ? static_cast<long>(info->bmiHeader.biSizeImage) : 1;
  if (properties->cbAlign == 0) properties->cbAlign = 1;
  ALLOCATOR_PROPERTIES actual;
  return allocator->SetProperties(properties, &actual);
}

IBaseFilter* FakeCompressor::CreateInstance(const GUID& subtype, const FakeOutputFormat& output) {
  auto* filter = new FakeCompressor(subtype, output);
  IBaseFilter* base = nullptr;
  filter->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&base));
  return base;
}

FakeCompressor::FakeCompressor(const GUID& subtype, const FakeOutputFormat& output)
    : CBaseFilter(L"Fake compressor", nullptr, &m_lock, kFakeCompressorClsid) {
  HRESULT hr = S_OK;
  m_pInput = new FakeCompressorInput(this, &m_lock, &hr, subtype);
  m_pOutput = new FakeCompressorOutput(this, &m_lock, &hr, output);
}

FakeCompressor::~FakeCompressor() {
  delete m_pOutput;
  delete m_pInput;
}

CBasePin* FakeCompressor::GetPin(int n) {
  if (n == 0) return m_pInput;
  if (n == 1) return m_pOutput;
  return nullptr;
}

}  // namespace tavtest
