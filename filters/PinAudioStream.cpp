#include "filters/PinAudioStream.h"

#include <cstring>

#include <mmreg.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include "filters/AudioSource.h"
#include "filters/CapturePinProperties.h"
#include "log/Trace.h"

#define AUDIO_FILE L".\\AudioStream"

static_assert(sizeof(WAVEFORMATEX) == 18, "WAVEFORMATEX is 18 bytes");
static_assert(sizeof(WAVEFORMATEXTENSIBLE) == 40, "WAVEFORMATEXTENSIBLE is 40 bytes");
static_assert(sizeof(AUDIO_STREAM_CONFIG_CAPS) == 52, "AUDIO_STREAM_CONFIG_CAPS is 52 bytes");

namespace {

// The two offered types: 16-bit PCM and 24-bit extensible PCM, both
// 48,000 Hz stereo. The sample size is one channel's sample in bytes.
bool MakeOfferedType(int iPosition, CMediaType* pmt) {
  pmt->InitMediaType();
  pmt->SetType(&MEDIATYPE_Audio);
  pmt->SetSubtype(&MEDIASUBTYPE_PCM);
  pmt->SetFormatType(&FORMAT_WaveFormatEx);
  pmt->SetTemporalCompression(FALSE);
  if (iPosition == 0) {
    auto* pwfx = reinterpret_cast<WAVEFORMATEX*>(pmt->AllocFormatBuffer(sizeof(WAVEFORMATEX)));
    if (pwfx == nullptr) return false;
    pwfx->wFormatTag = WAVE_FORMAT_PCM;
    pwfx->nChannels = 2;
    pwfx->nSamplesPerSec = 48000;
    pwfx->wBitsPerSample = 16;
    pwfx->nBlockAlign = 4;
    pwfx->nAvgBytesPerSec = 192000;
    pwfx->cbSize = 0;
    pmt->SetSampleSize(2);
  } else {
    auto* pwfe = reinterpret_cast<WAVEFORMATEXTENSIBLE*>(pmt->AllocFormatBuffer(sizeof(WAVEFORMATEXTENSIBLE)));
    if (pwfe == nullptr) return false;
    pwfe->Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    pwfe->Format.nChannels = 2;
    pwfe->Format.nSamplesPerSec = 48000;
    pwfe->Format.wBitsPerSample = 24;
    pwfe->Format.nBlockAlign = 6;
    pwfe->Format.nAvgBytesPerSec = 288000;
    pwfe->Format.cbSize = 22;
    pwfe->Samples.wValidBitsPerSample = 24;
    pwfe->dwChannelMask = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
    pwfe->SubFormat = MEDIASUBTYPE_PCM;  // KSDATAFORMAT_SUBTYPE_PCM: the same GUID
    pmt->SetSampleSize(3);
  }
  return true;
}

}  // namespace

CPinAudioStream::CPinAudioStream(HRESULT* phr, CAudioSource* pFilter)
    : CSourceStream(L"Capture", phr, pFilter, L"Capture"),
      m_pSampleData(nullptr),
      m_uSampleSize(0),
      m_uTimeOffset(0),
      m_bStop(FALSE),
      m_iSampleNumber(0),
      m_cFramesTotal(0),
      m_cDrop(0),
      m_uWriterId(0),
      m_iBuffersPerSecond(0),
      m_bFormatSet(0) {}

CPinAudioStream::~CPinAudioStream() {
  TAV_LOG(AUDIO_FILE, "CPinAudioStream::~CPinAudioStream", LOG_SEV_TRACE, 0,
          L"CPinAudioStream::~CPinAudioStream -> Enter");
  m_hEventAudioBufferDone.Close();
  m_hEventAudioBufferReady.Close();
  m_hEventSampleReady.Close();
  m_mtStored.InitMediaType();
  TAV_LOG(AUDIO_FILE, "CPinAudioStream::~CPinAudioStream", LOG_SEV_TRACE, 0,
          L"CPinAudioStream::~CPinAudioStream -> Leave");
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IKsPropertySet) return GetInterface(static_cast<IKsPropertySet*>(this), ppv);
  if (riid == IID_IAMStreamConfig) return GetInterface(static_cast<IAMStreamConfig*>(this), ppv);
  return CSourceStream::NonDelegatingQueryInterface(riid, ppv);
}

int CPinAudioStream::EffectiveBuffersPerSecond() const {
  // 0 (or a value that is negative as a signed number) would divide by zero
  // or give nonsense: such a value counts as 1 buffer per second.
  return m_iBuffersPerSecond >= 1 ? m_iBuffersPerSecond : 1;
}

HRESULT CPinAudioStream::GetMediaType(int iPosition, CMediaType* pmt) {
  if (iPosition < 0) return E_INVALIDARG;
  if (iPosition > 1) return VFW_S_NO_MORE_ITEMS;
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (pmt == nullptr) return E_POINTER;
  if (m_bFormatSet) return pmt->Set(m_mtStored) ? S_OK : E_OUTOFMEMORY;
  return MakeOfferedType(iPosition, pmt) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CPinAudioStream::CheckMediaType(const CMediaType* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (pmt == nullptr) return E_POINTER;
  if (m_bFormatSet) return MediaTypesEqual(*pmt, m_mtStored) ? S_OK : E_FAIL;
  for (int position = 0;; ++position) {
    CMediaType offered;
    if (GetMediaType(position, &offered) != S_OK) return E_FAIL;
    if (pmt->majortype == offered.majortype && (pmt->subtype == GUID_NULL || pmt->subtype == offered.subtype)) {
      return S_OK;
    }
  }
}

HRESULT CPinAudioStream::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) {
  if (pAlloc == nullptr || pProperties == nullptr) return E_POINTER;
  CAutoLock lock(m_pSourceFilter->pStateLock());
  // A connection type without a wave format cannot be sized.
  if (m_mt.pbFormat == nullptr || m_mt.cbFormat < sizeof(WAVEFORMATEX)) return E_FAIL;
  const auto* pwfx = reinterpret_cast<const WAVEFORMATEX*>(m_mt.pbFormat);
  pProperties->cBuffers = 1;
  pProperties->cbBuffer = static_cast<long>(pwfx->nAvgBytesPerSec / static_cast<unsigned>(EffectiveBuffersPerSecond()));
  ALLOCATOR_PROPERTIES Actual = {};
  HRESULT hr = pAlloc->SetProperties(pProperties, &Actual);
  return FAILED(hr) ? hr : S_OK;
}

HRESULT CPinAudioStream::Active() {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (m_pSourceFilter->IsActive()) return S_FALSE;
  if (!IsConnected()) return S_OK;
  HRESULT hr = CBaseOutputPin::Active();
  if (FAILED(hr)) return hr;
  if (!Create()) return E_FAIL;
  m_iSampleNumber = 0;
  hr = Init();
  if (FAILED(hr)) return hr;
  return Pause();
}

HRESULT CPinAudioStream::FillBuffer(IMediaSample* pSample) {
  static const char kFn[] = "CPinAudioStream::FillBuffer";
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CPinAudioStream::FillBuffer -> Enter");
  if (pSample == nullptr) {
    // Delivery failed downstream: free a host thread waiting in the hand-over.
    SetEvent(m_hEventAudioBufferReady.Get());
    SetEvent(m_hEventAudioBufferDone.Get());
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_WARNING, 0, L"pSample==NULL");
    return S_OK;
  }

  AM_MEDIA_TYPE* pmtChanged = nullptr;
  if (pSample->GetMediaType(&pmtChanged) == S_OK) DeleteMediaType(pmtChanged);

  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventAudioBufferReady");
  SetEvent(m_hEventAudioBufferReady.Get());
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventAudioBufferReady");

  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"WaitForSingleObject->Enter m_hEventSampleReady");
  WaitForSingleObject(m_hEventSampleReady.Get(), INFINITE);
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"WaitForSingleObject->Leave m_hEventSampleReady");

  if (m_bStop) {
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventAudioBufferDone with m_bStop");
    SetEvent(m_hEventAudioBufferDone.Get());
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventAudioBufferDone with m_bStop");
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CPinAudioStream::FillBuffer -> Return 2");
    return S_FALSE;
  }

  CAutoLock lock(m_pSourceFilter->pStateLock());
  LONGLONG rtDuration = 0;
  BYTE* pDst = nullptr;
  if (SUCCEEDED(pSample->GetPointer(&pDst))) {
    // The copy is bounded by the sample buffer: a larger block is cut.
    long cbBuffer = pSample->GetSize();
    UINT cbCopy = m_uSampleSize;
    if (cbBuffer < 0) cbBuffer = 0;
    if (cbCopy > static_cast<UINT>(cbBuffer)) cbCopy = static_cast<UINT>(cbBuffer);
    pSample->SetActualDataLength(static_cast<long>(cbCopy));
    if (m_pSampleData != nullptr) {
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CopyMemory->Enter");
      std::memcpy(pDst, m_pSampleData, cbCopy);
      rtDuration = 10000000LL / EffectiveBuffersPerSecond();
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CopyMemory->Leave");
    }
  }
  // The host's block is only ours until "buffer done".
  m_pSampleData = nullptr;

  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventAudioBufferDone");
  SetEvent(m_hEventAudioBufferDone.Get());
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventAudioBufferDone");

  BOOL bDiscontinuity = FALSE;
  BOOL bSyncPoint = TRUE;
  if (m_cDrop != 0) {
    m_iSampleNumber =
        static_cast<LONGLONG>(static_cast<unsigned __int64>(m_iSampleNumber) + static_cast<unsigned __int64>(m_cDrop));
    m_cDrop = 0;
    bDiscontinuity = TRUE;
    bSyncPoint = FALSE;
  }
  pSample->SetDiscontinuity(bDiscontinuity);
  REFERENCE_TIME rtStart = static_cast<REFERENCE_TIME>(static_cast<unsigned __int64>(m_iSampleNumber) *
                                                       static_cast<unsigned __int64>(rtDuration));
  REFERENCE_TIME rtStop =
      static_cast<REFERENCE_TIME>(static_cast<unsigned __int64>(rtStart) + static_cast<unsigned __int64>(rtDuration));
  pSample->SetTime(&rtStart, &rtStop);
  pSample->SetSyncPoint(bSyncPoint);
  m_iSampleNumber = static_cast<LONGLONG>(static_cast<unsigned __int64>(m_iSampleNumber) + 1u);

  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CPinAudioStream::FillBuffer -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::SetFormat(AM_MEDIA_TYPE* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  HRESULT hr = CheckFormatChange(pmt);
  if (hr != S_OK) return hr;
  if (!m_mtStored.Set(*pmt)) return E_OUTOFMEMORY;
  m_bFormatSet = 1;
  return ReconnectWithFormat(m_mtStored);
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::GetFormat(AM_MEDIA_TYPE** ppmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  return CopyCurrentFormat(ppmt);
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::GetNumberOfCapabilities(int* piCount, int* piSize) {
  if (piCount == nullptr || piSize == nullptr) return E_POINTER;
  *piCount = 2;
  *piSize = sizeof(AUDIO_STREAM_CONFIG_CAPS);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::GetStreamCaps(int iIndex, AM_MEDIA_TYPE** ppmt, BYTE* pSCC) {
  if (iIndex > 1) return S_FALSE;
  if (ppmt == nullptr || pSCC == nullptr) return E_POINTER;
  CMediaType mt;
  GetMediaType(iIndex, &mt);
  *ppmt = CreateMediaType(&mt);
  if (*ppmt == nullptr) return E_OUTOFMEMORY;

  AUDIO_STREAM_CONFIG_CAPS caps;
  std::memset(&caps, 0, sizeof(caps));
  caps.guid = FORMAT_WaveFormatEx;
  caps.MinimumChannels = 1;
  caps.MaximumChannels = 2;
  caps.ChannelsGranularity = 1;
  caps.MinimumBitsPerSample = 16;
  caps.MaximumBitsPerSample = 24;
  caps.BitsPerSampleGranularity = 8;
  caps.MinimumSampleFrequency = 48000;
  caps.MaximumSampleFrequency = 48000;
  caps.SampleFrequencyGranularity = 0;
  std::memcpy(pSCC, &caps, sizeof(caps));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::Set(REFGUID, DWORD, LPVOID, DWORD, LPVOID, DWORD) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CPinAudioStream::Get(REFGUID guidPropSet, DWORD dwPropID, LPVOID, DWORD, LPVOID pPropData,
                                               DWORD cbPropData, DWORD* pcbReturned) {
  return capturepin::Get(guidPropSet, dwPropID, pPropData, cbPropData, pcbReturned);
}

HRESULT STDMETHODCALLTYPE CPinAudioStream::QuerySupported(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport) {
  return capturepin::QuerySupported(guidPropSet, dwPropID, pTypeSupport);
}
