#include "wine/mjpeg/MjpegOutputPin.h"

#include "wine/mjpeg/MjpegClsid.h"
#include "wine/mjpeg/MjpegCompressorFilter.h"
#include "wine/mjpeg/MjpegFormats.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Copies a string into a caller's buffer of `bytes` bytes (truncated,
// terminated) and reports the bytes the whole string needs.
void CopyInfoText(const wchar_t* text, LPWSTR buffer, int* bytes) {
  const int needed = static_cast<int>((wcslen(text) + 1) * sizeof(wchar_t));
  if (buffer != nullptr && bytes != nullptr && *bytes >= static_cast<int>(sizeof(wchar_t))) {
    const size_t room = static_cast<size_t>(*bytes) / sizeof(wchar_t);
    wcsncpy(buffer, text, room - 1);
    buffer[room - 1] = L'\0';
  }
  if (bytes != nullptr) *bytes = needed;
}

}  // namespace

CMjpegOutputPin::CMjpegOutputPin(CMjpegCompressorFilter* filter, CCritSec* lock, HRESULT* hr)
    : CCompressorOutputPin(L"MJPEG compressor output", filter, lock, hr), m_mjpegFilter(filter) {}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IAMVideoCompression) return GetInterface(static_cast<IAMVideoCompression*>(this), ppv);
  return CCompressorOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMjpegOutputPin::CheckMediaType(const CMediaType* type) {
  CAutoLock lock(m_pLock);  // QueryAccept calls in without the filter lock
  if (!m_mjpegFilter->HasInput()) return VFW_E_NOT_CONNECTED;
  return tavmjpeg::CheckOutputType(m_mjpegFilter->Input(), *type);
}

HRESULT CMjpegOutputPin::GetMediaType(int position, CMediaType* type) {
  if (position < 0) return E_INVALIDARG;
  CAutoLock lock(m_pLock);  // enumerators call in without the filter lock
  if (position > 0 || !m_mjpegFilter->HasInput()) return VFW_S_NO_MORE_ITEMS;
  tavmjpeg::MakeOutputType(m_mjpegFilter->Input(), type);
  return type->Format() != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMjpegOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  if (!m_mjpegFilter->HasInput()) return VFW_E_NOT_CONNECTED;
  const tavmjpeg::InputFrame& frame = m_mjpegFilter->Input().frame;
  const long size = tavmjpeg::OutputBufferSize(frame.width, frame.height);
  return SetBuffers(allocator, properties, 2, size, size);
}

// --- IAMVideoCompression ---

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::put_KeyFrameRate(long keyFrameRate) {
  // Every frame is a key frame: only that (or the default) can be set.
  return keyFrameRate == 1 || keyFrameRate < 0 ? S_OK : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::get_KeyFrameRate(long* keyFrameRate) {
  if (keyFrameRate == nullptr) return E_POINTER;
  *keyFrameRate = 1;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::put_PFramesPerKeyFrame(long frames) {
  return frames == 0 ? S_OK : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::get_PFramesPerKeyFrame(long* frames) {
  if (frames == nullptr) return E_POINTER;
  *frames = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::put_Quality(double quality) {
  // A negative quality asks for the default.
  if (quality < 0.0) {
    m_mjpegFilter->SetQuality(kMjpegDefaultQuality);
    return S_OK;
  }
  if (quality > 1.0 || std::isnan(quality)) return E_INVALIDARG;
  m_mjpegFilter->SetQuality(std::clamp(static_cast<int>(std::lround(quality * 100.0)), 1, 100));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::get_Quality(double* quality) {
  if (quality == nullptr) return E_POINTER;
  *quality = m_mjpegFilter->Quality() / 100.0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::put_WindowSize(DWORDLONG /*windowSize*/) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::get_WindowSize(DWORDLONG* /*windowSize*/) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::GetInfo(LPWSTR version, int* versionBytes, LPWSTR description,
                                                   int* descriptionBytes, long* defaultKeyFrameRate,
                                                   long* defaultPFramesPerKey, double* defaultQuality,
                                                   long* capabilities) {
  CopyInfoText(L"1.0", version, versionBytes);
  CopyInfoText(L"Tav MJPEG: baseline JPEG key frames, quality 1-100", description, descriptionBytes);
  if (defaultKeyFrameRate != nullptr) *defaultKeyFrameRate = 1;
  if (defaultPFramesPerKey != nullptr) *defaultPFramesPerKey = 0;
  if (defaultQuality != nullptr) *defaultQuality = kMjpegDefaultQuality / 100.0;
  if (capabilities != nullptr) *capabilities = CompressionCaps_CanQuality;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::OverrideKeyFrame(long /*frameNumber*/) {
  return S_OK;  // every frame is a key frame already
}

HRESULT STDMETHODCALLTYPE CMjpegOutputPin::OverrideFrameSize(long /*frameNumber*/, long /*size*/) { return E_NOTIMPL; }
