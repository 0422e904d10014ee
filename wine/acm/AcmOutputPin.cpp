#include "wine/acm/AcmOutputPin.h"

#include "wine/acm/AcmCompressorFilter.h"
#include "wine/acm/WaveMediaType.h"

#include <vfwmsgs.h>

#include <algorithm>

CAcmOutputPin::CAcmOutputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr)
    : CCompressorOutputPin(L"ACM compressor output", filter, lock, hr), m_acmFilter(filter) {}

HRESULT STDMETHODCALLTYPE CAcmOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IAMStreamConfig) return GetInterface(static_cast<IAMStreamConfig*>(this), ppv);
  return CCompressorOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CAcmOutputPin::CheckMediaType(const CMediaType* type) {
  CAutoLock lock(m_pLock);  // QueryAccept calls in without the filter lock
  return m_acmFilter->CheckOutputFormat(tavacm::WaveFormatOf(*type));
}

HRESULT CAcmOutputPin::GetMediaType(int position, CMediaType* type) {
  if (position < 0) return E_INVALIDARG;
  CAutoLock lock(m_pLock);  // enumerators call in without the filter lock
  if (m_acmFilter->HasChosenFormat()) {
    if (position > 0) return VFW_S_NO_MORE_ITEMS;
    tavacm::MakeWaveMediaType(m_acmFilter->OutputFormat(), type);
    return S_OK;
  }
  const auto& capabilities = m_acmFilter->Capabilities();
  if (static_cast<size_t>(position) >= capabilities.size()) return VFW_S_NO_MORE_ITEMS;
  tavacm::MakeWaveMediaType(capabilities[position], type);
  return S_OK;
}

HRESULT CAcmOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
  const tavacm::WaveFormatBytes format = tavacm::WaveFormatOf(m_mt);
  if (format.empty()) return VFW_E_TYPE_NOT_ACCEPTED;
  const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
  const long align = std::max<long>(header.nBlockAlign, 1);
  // Half a second of output per buffer, in whole blocks.
  long size = static_cast<long>(header.nAvgBytesPerSec / 2);
  size = std::max(align, (size + align - 1) / align * align);
  return SetBuffers(allocator, properties, 4, size, align);
}

HRESULT STDMETHODCALLTYPE CAcmOutputPin::SetFormat(AM_MEDIA_TYPE* type) {
  CAutoLock lock(m_pLock);
  if (type == nullptr) {
    if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
    m_acmFilter->ChooseOutputFormat(tavacm::WaveFormatBytes());
    return S_OK;
  }
  const tavacm::WaveFormatBytes format = tavacm::WaveFormatOf(*type);
  if (format.empty()) return VFW_E_INVALIDMEDIATYPE;
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  const HRESULT hr = m_acmFilter->CanProduce(format);
  if (hr != S_OK) return hr;
  if (!IsConnected()) {
    m_acmFilter->ChooseOutputFormat(format);
    return S_OK;
  }
  if (tavacm::WaveFormatOf(m_mt) == format) {
    m_acmFilter->ChooseOutputFormat(format);
    return S_OK;
  }
  // Connected: the peer must take the new format, then the graph
  // reconnects the pins with it.
  CMediaType newType;
  tavacm::MakeWaveMediaType(format, &newType);
  if (m_Connected->QueryAccept(&newType) != S_OK) return VFW_E_INVALIDMEDIATYPE;
  const tavacm::WaveFormatBytes previous =
      m_acmFilter->HasChosenFormat() ? m_acmFilter->OutputFormat() : tavacm::WaveFormatBytes();
  m_acmFilter->ChooseOutputFormat(format);
  const HRESULT reconnect = m_pFilter->ReconnectPin(static_cast<IPin*>(this), &newType);
  if (FAILED(reconnect)) m_acmFilter->ChooseOutputFormat(previous);
  return reconnect;
}

HRESULT STDMETHODCALLTYPE CAcmOutputPin::GetFormat(AM_MEDIA_TYPE** type) {
  if (type == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  *type = nullptr;
  const tavacm::WaveFormatBytes format = IsConnected() ? tavacm::WaveFormatOf(m_mt) : m_acmFilter->OutputFormat();
  if (format.empty()) return VFW_E_NOT_CONNECTED;
  CMediaType mediaType;
  tavacm::MakeWaveMediaType(format, &mediaType);
  *type = CreateMediaType(&mediaType);
  return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE CAcmOutputPin::GetNumberOfCapabilities(int* count, int* size) {
  if (count == nullptr || size == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  *count = static_cast<int>(m_acmFilter->Capabilities().size());
  *size = sizeof(AUDIO_STREAM_CONFIG_CAPS);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAcmOutputPin::GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) {
  if (type == nullptr || caps == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  *type = nullptr;
  const auto& capabilities = m_acmFilter->Capabilities();
  if (index < 0 || static_cast<size_t>(index) >= capabilities.size()) return S_FALSE;
  CMediaType mediaType;
  tavacm::MakeWaveMediaType(capabilities[index], &mediaType);
  *type = CreateMediaType(&mediaType);
  if (*type == nullptr) return E_OUTOFMEMORY;
  tavacm::MakeStreamCaps(*reinterpret_cast<const WAVEFORMATEX*>(capabilities[index].data()),
                         reinterpret_cast<AUDIO_STREAM_CONFIG_CAPS*>(caps));
  return S_OK;
}
