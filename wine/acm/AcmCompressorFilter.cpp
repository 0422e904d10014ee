#include "wine/acm/AcmCompressorFilter.h"

#include "wine/server/PackClasses.h"
#include "wine/acm/AcmCompressorClsid.h"
#include "framework/NonThrowingComPtr.h"
#include "wine/acm/AcmOutputPin.h"
#include "wine/acm/WaveMediaType.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>

TAV_PACK_CLASS(g_acmCompressorClass, CLSID_TavAcmCompressor, CreateAcmCompressor, L"ACM audio compressor");

namespace {

const WAVEFORMATEX& Header(const tavacm::WaveFormatBytes& format) {
  return *reinterpret_cast<const WAVEFORMATEX*>(format.data());
}

}  // namespace

HRESULT CreateAcmCompressor(IUnknown* outer, REFIID riid, void** object) {
  return CreateCompressorFilter<CAcmCompressorFilter>(outer, riid, object);
}

CAcmCompressorFilter::CAcmCompressorFilter(IUnknown* outer)
    : CCompressorFilter(L"ACM audio compressor", outer, CLSID_TavAcmCompressor, L"ACM compressor input") {
  HRESULT hr = S_OK;
  SetOutputPin(new CAcmOutputPin(this, FilterLock(), &hr));
}

HRESULT STDMETHODCALLTYPE CAcmCompressorFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IPersistPropertyBag) return GetInterface(static_cast<IPersistPropertyBag*>(this), ppv);
  return CCompressorFilter::NonDelegatingQueryInterface(riid, ppv);
}

// --- IPersist / IPersistPropertyBag ---

HRESULT STDMETHODCALLTYPE CAcmCompressorFilter::GetClassID(CLSID* clsid) { return CBaseFilter::GetClassID(clsid); }

HRESULT STDMETHODCALLTYPE CAcmCompressorFilter::InitNew() { return S_OK; }

HRESULT STDMETHODCALLTYPE CAcmCompressorFilter::Load(IPropertyBag* bag, IErrorLog* log) {
  if (bag == nullptr) return E_POINTER;
  VARIANT value;
  VariantInit(&value);
  V_VT(&value) = VT_I4;
  HRESULT hr = bag->Read(kAcmIdValueName, &value, log);
  if (FAILED(hr)) return hr;
  VariantChangeType(&value, &value, 0, VT_I4);
  if (V_VT(&value) != VT_I4 || V_I4(&value) <= 0 || V_I4(&value) > 0xFFFF) {
    VariantClear(&value);
    return E_INVALIDARG;
  }
  CAutoLock lock(FilterLock());
  if (InputPin()->IsConnected() || OutputPin()->IsConnected()) {
    VariantClear(&value);
    return VFW_E_ALREADY_CONNECTED;
  }
  m_formatTag = static_cast<WORD>(V_I4(&value));
  m_chosen.clear();
  m_tagFormats.clear();
  VariantClear(&value);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAcmCompressorFilter::Save(IPropertyBag* /*bag*/, BOOL /*clearDirty*/, BOOL /*saveAll*/) {
  return E_NOTIMPL;
}

// --- Formats ---

HRESULT CAcmCompressorFilter::CheckInputType(const CMediaType& type) {
  const tavacm::WaveFormatBytes input = tavacm::WaveFormatOf(type);
  if (input.empty()) return VFW_E_TYPE_NOT_ACCEPTED;
  // Any integer PCM from which a chain reaches one of the codec's formats.
  if (!tavacm::IsIntegerPcm(Header(input), input.size(), true)) return VFW_E_TYPE_NOT_ACCEPTED;
  const tavacm::WaveFormatBytes plain = tavacm::PlainPcm(input);
  if (!tavacm::CanEncode(m_formatTag, Header(plain))) return VFW_E_TYPE_NOT_ACCEPTED;
  return S_OK;
}

HRESULT CAcmCompressorFilter::OnInputConnected(const CMediaType& type) {
  m_input = tavacm::PlainPcm(tavacm::WaveFormatOf(type));
  m_capabilities = tavacm::OutputFormats(m_formatTag, Header(m_input));
  if (!m_chosen.empty() && tavacm::ConversionChain(Header(m_input), Header(m_chosen)).empty()) m_chosen.clear();
  return S_OK;
}

bool CAcmCompressorFilter::InputTypeChanges(const CMediaType& next, const CMediaType& connected) const {
  return tavacm::WaveFormatOf(next) != tavacm::WaveFormatOf(connected);
}

const std::vector<tavacm::WaveFormatBytes>& CAcmCompressorFilter::Capabilities() {
  if (HasInput()) return m_capabilities;
  if (m_tagFormats.empty()) m_tagFormats = tavacm::TagFormats(m_formatTag);
  return m_tagFormats;
}

void CAcmCompressorFilter::OnInputDisconnected() {
  m_input.clear();
  m_capabilities.clear();
}

HRESULT CAcmCompressorFilter::CanProduce(const tavacm::WaveFormatBytes& output) {
  if (output.empty() || Header(output).wFormatTag != m_formatTag) return VFW_E_INVALIDMEDIATYPE;
  if (m_input.empty()) {
    // No input yet: any format the codec lists; the input connection
    // checks it once the input is known.
    const auto& formats = Capabilities();
    return std::find(formats.begin(), formats.end(), output) != formats.end() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
  }
  return tavacm::ConversionChain(Header(m_input), Header(output)).empty() ? VFW_E_TYPE_NOT_ACCEPTED : S_OK;
}

HRESULT CAcmCompressorFilter::CheckOutputFormat(const tavacm::WaveFormatBytes& output) {
  const HRESULT hr = CanProduce(output);
  if (hr != S_OK) return hr;
  // Once a format is chosen, the output carries only that one.
  if (!m_chosen.empty() && output != m_chosen) return VFW_E_TYPE_NOT_ACCEPTED;
  return S_OK;
}

tavacm::WaveFormatBytes CAcmCompressorFilter::OutputFormat() {
  if (!m_chosen.empty()) return m_chosen;
  const auto& capabilities = Capabilities();
  if (!capabilities.empty()) return capabilities.front();
  return tavacm::WaveFormatBytes();
}

// --- Streaming ---

HRESULT CAcmCompressorFilter::StartStreaming() {
  const tavacm::WaveFormatBytes output = tavacm::WaveFormatOf(OutputPin()->CurrentMediaType());
  const HRESULT hr =
      output.empty() ? VFW_E_TYPE_NOT_ACCEPTED : m_chain.Open(tavacm::ConversionChain(Header(m_input), Header(output)));
  if (FAILED(hr)) return hr;
  m_haveTime = false;
  m_nextStart = 0;
  m_discontinuity = true;
  return hr;
}

REFERENCE_TIME CAcmCompressorFilter::InputDuration(size_t bytes) const {
  const WAVEFORMATEX& input = Header(m_input);
  const unsigned long long bytesPerSecond = static_cast<unsigned long long>(input.nSamplesPerSec) * input.nBlockAlign;
  if (bytesPerSecond == 0) return 0;
  return static_cast<REFERENCE_TIME>(bytes * 10000000ULL / bytesPerSecond);
}

HRESULT CAcmCompressorFilter::Receive(IMediaSample* sample) {
  if (!m_chain.IsOpen()) return VFW_E_NOT_CONNECTED;  // the output was not connected when the graph paused

  BYTE* data = nullptr;
  HRESULT hr = sample->GetPointer(&data);
  if (FAILED(hr)) return hr;
  const long length = sample->GetActualDataLength();
  const size_t size = length > 0 ? static_cast<size_t>(length) : 0;
  const REFERENCE_TIME heldBefore = m_chain.HeldDuration();
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  if (SUCCEEDED(sample->GetTime(&start, &stop))) {
    // The input still held in the chain came just before this sample.
    m_nextStart = start - heldBefore;
    m_haveTime = true;
  }
  if (sample->IsDiscontinuity() == S_OK) m_discontinuity = true;

  std::vector<BYTE> output;
  hr = m_chain.Convert(data, size, output);
  if (FAILED(hr)) return hr;
  // The output lasts as long as the input that went into it: this sample
  // and what was held before, less what is held now.
  return DeliverConverted(output, InputDuration(size) + heldBefore - m_chain.HeldDuration());
}

HRESULT CAcmCompressorFilter::DeliverConverted(const std::vector<BYTE>& output, REFERENCE_TIME duration) {
  const REFERENCE_TIME batchStart = m_nextStart;
  const REFERENCE_TIME batchDuration = std::max<REFERENCE_TIME>(duration, 0);
  m_nextStart += batchDuration;
  if (output.empty()) return S_OK;

  const tavacm::WaveFormatBytes format = tavacm::WaveFormatOf(OutputPin()->CurrentMediaType());
  const size_t align = format.empty() ? 1 : std::max<size_t>(Header(format).nBlockAlign, 1);
  size_t offset = 0;
  while (offset < output.size()) {
    NonThrowingComPtr<IMediaSample> outSample;
    HRESULT hr = OutputPin()->GetDeliveryBuffer(outSample.Put(), nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;
    BYTE* buffer = nullptr;
    outSample->GetPointer(&buffer);
    size_t size = std::min<size_t>(static_cast<size_t>(outSample->GetSize()), output.size() - offset);
    if (size > align && offset + size < output.size()) size -= size % align;
    std::memcpy(buffer, output.data() + offset, size);
    outSample->SetActualDataLength(static_cast<long>(size));
    if (m_haveTime) {
      REFERENCE_TIME start =
          batchStart + static_cast<REFERENCE_TIME>(static_cast<double>(batchDuration) * offset / output.size());
      REFERENCE_TIME stop = batchStart + static_cast<REFERENCE_TIME>(static_cast<double>(batchDuration) *
                                                                     (offset + size) / output.size());
      outSample->SetTime(&start, &stop);
    }
    outSample->SetSyncPoint(TRUE);
    outSample->SetDiscontinuity(m_discontinuity ? TRUE : FALSE);
    m_discontinuity = false;
    hr = OutputPin()->Deliver(outSample.Get());
    outSample.Reset();
    if (hr != S_OK) return hr;
    offset += size;
  }
  return S_OK;
}

void CAcmCompressorFilter::OnEndOfStream() {
  std::vector<BYTE> output;
  const REFERENCE_TIME held = m_chain.HeldDuration();
  if (SUCCEEDED(m_chain.Flush(output))) DeliverConverted(output, held);
}

void CAcmCompressorFilter::OnFlushed() {
  m_chain.Discard();
  m_haveTime = false;
  m_discontinuity = true;
}
