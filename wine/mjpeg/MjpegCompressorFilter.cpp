#include "wine/mjpeg/MjpegCompressorFilter.h"

#include "framework/NonThrowingComPtr.h"
#include "wine/mjpeg/MjpegClsid.h"
#include "wine/mjpeg/MjpegOutputPin.h"
#include "wine/server/PackClasses.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <thread>

TAV_PACK_CLASS(g_mjpegCompressorClass, CLSID_TavMjpegCompressor, CreateMjpegCompressor, L"Tav MJPEG");

namespace {

// Band threads per encoder: the machine's cores, at most four.
int EncoderThreads() {
  const unsigned cores = std::thread::hardware_concurrency();
  return static_cast<int>(std::clamp(cores, 1u, 4u));
}

}  // namespace

HRESULT CreateMjpegCompressor(IUnknown* outer, REFIID riid, void** object) {
  return CreateCompressorFilter<CMjpegCompressorFilter>(outer, riid, object);
}

CMjpegCompressorFilter::CMjpegCompressorFilter(IUnknown* outer)
    : CCompressorFilter(L"Tav MJPEG", outer, CLSID_TavMjpegCompressor, L"MJPEG compressor input") {
  m_quality = kMjpegDefaultQuality;
  HRESULT hr = S_OK;
  SetOutputPin(new CMjpegOutputPin(this, FilterLock(), &hr));
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_ISpecifyPropertyPages) return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
  return CCompressorFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::GetPages(CAUUID* pages) {
  if (pages == nullptr) return E_POINTER;
  pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
  if (pages->pElems == nullptr) {
    pages->cElems = 0;
    return E_OUTOFMEMORY;
  }
  pages->cElems = 1;
  pages->pElems[0] = CLSID_TavMjpegPropertyPage;
  return S_OK;
}

HRESULT CMjpegCompressorFilter::CheckInputType(const CMediaType& type) {
  return tavmjpeg::ParseInputType(type, nullptr);
}

HRESULT CMjpegCompressorFilter::OnInputConnected(const CMediaType& type) {
  tavmjpeg::InputFormat format;
  const HRESULT hr = tavmjpeg::ParseInputType(type, &format);
  if (SUCCEEDED(hr)) {
    m_input = format;
    m_hasInput = true;
  }
  return hr;
}

// --- Streaming ---

HRESULT CMjpegCompressorFilter::StartStreaming() {
  if (!m_encoder) m_encoder.reset(new tavmjpeg::JpegFrameEncoder(EncoderThreads()));
  tavmjpeg::InputFrame frame = m_input.frame;
  frame.greyLevels = m_input.greyLevels.data();
  return m_encoder->Configure(frame) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CMjpegCompressorFilter::Receive(IMediaSample* sample) {
  BYTE* data = nullptr;
  HRESULT hr = sample->GetPointer(&data);
  if (FAILED(hr)) return hr;
  const long length = sample->GetActualDataLength();
  if (data == nullptr || length < 0 || static_cast<size_t>(length) < m_input.frameBytes)
    return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);  // a sample shorter than the frame
  if (!m_encoder || !OutputPin()->IsConnected())
    return VFW_E_NOT_CONNECTED;  // the output was not connected when the graph paused

  NonThrowingComPtr<IMediaSample> out;
  hr = OutputPin()->GetDeliveryBuffer(out.Put(), nullptr, nullptr, 0);
  if (FAILED(hr)) return hr;
  BYTE* buffer = nullptr;
  hr = out->GetPointer(&buffer);
  size_t bytes = 0;
  if (SUCCEEDED(hr)) {
    // A frame that does not fit is encoded again, coarser each time.
    for (int quality = Quality(); bytes == 0 && quality >= 1; quality = quality > 10 ? quality - 10 : quality - 1)
      bytes = m_encoder->Encode(data, quality, buffer, static_cast<size_t>(out->GetSize()));
    if (bytes == 0) hr = VFW_E_BUFFER_OVERFLOW;
  }
  if (SUCCEEDED(hr)) {
    out->SetActualDataLength(static_cast<long>(bytes));
    REFERENCE_TIME start = 0, stop = 0;
    const HRESULT timed = sample->GetTime(&start, &stop);
    if (timed == S_OK || timed == VFW_S_NO_STOP_TIME) out->SetTime(&start, timed == S_OK ? &stop : nullptr);
    out->SetSyncPoint(TRUE);
    out->SetDiscontinuity(sample->IsDiscontinuity() == S_OK ? TRUE : FALSE);
    out->SetPreroll(sample->IsPreroll() == S_OK ? TRUE : FALSE);
    hr = OutputPin()->Deliver(out.Get());
  }
  return hr;
}
