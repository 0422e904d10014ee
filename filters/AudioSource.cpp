#include "filters/AudioSource.h"

#include <cwchar>
#include <new>

#include "filters/PinAudioStream.h"
#include "log/Trace.h"

#define AUDIO_FILE L".\\AudioStream"

CUnknown* WINAPI CAudioSource::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) {
  CAudioSource* pNewFilter = new (std::nothrow) CAudioSource(pUnk, phr);
  if (pNewFilter == nullptr && phr != nullptr) *phr = E_OUTOFMEMORY;
  return pNewFilter;
}

CAudioSource::CAudioSource(LPUNKNOWN pUnk, HRESULT* phr)
    : CSource(L"Audio Capture", pUnk, CLSID_AudioSource), m_pPin(nullptr), m_uFirstFrameTime(0), m_uLastFrameNumber(0) {
  m_pPin = new (std::nothrow) CPinAudioStream(phr, this);
  if (m_pPin == nullptr && phr != nullptr) *phr = E_OUTOFMEMORY;
}

CAudioSource::~CAudioSource() {
  TAV_LOG(AUDIO_FILE, "CAudioSource::~CAudioSource", LOG_SEV_TRACE, 0, L"CAudioSource::~CAudioSource -> Enter");
  delete m_pPin;
  m_pPin = nullptr;
  TAV_LOG(AUDIO_FILE, "CAudioSource::~CAudioSource", LOG_SEV_TRACE, 0, L"CAudioSource::~CAudioSource -> Leave");
}

HRESULT STDMETHODCALLTYPE CAudioSource::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IAudio) return GetInterface(static_cast<IAudio*>(this), ppv);
  return CSource::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CAudioSource::InitParam2(int bitsPerSample, UINT id, UINT buffersPerSecond) {
  static const char kFn[] = "CAudioSource::InitParam2";
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::InitParam2 -> Enter");
  if (m_pPin == nullptr) {
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin == NULL");
    return S_FALSE;
  }
  CPinAudioStream* pPin = m_pPin;
  pPin->m_uWriterId = id;
  // Stored as given; sizes and durations use at least 1 (EffectiveBuffersPerSecond).
  pPin->m_iBuffersPerSecond = static_cast<int>(buffersPerSecond);

  // 16 bits selects position 0, anything else the 24-bit type. Results are
  // not examined; the type handed out is freed here.
  AM_MEDIA_TYPE* pmt = nullptr;
  BYTE caps[sizeof(AUDIO_STREAM_CONFIG_CAPS)] = {};
  IAMStreamConfig* pConfig = pPin;
  pConfig->GetStreamCaps(bitsPerSample != 16 ? 1 : 0, &pmt, caps);
  pConfig->SetFormat(pmt);
  DeleteMediaType(pmt);

  pPin->m_bStop = FALSE;
  pPin->m_iSampleNumber = 0;
  pPin->m_cFramesTotal = 0;
  pPin->m_cDrop = 0;

  WCHAR szName[260];
  if (!pPin->m_hEventSampleReady) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Sample Ready %d", id);
    pPin->m_hEventSampleReady.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventSampleReady) {
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventSampleReady == NULL");
      return S_FALSE;
    }
  }
  if (!pPin->m_hEventAudioBufferReady) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Audio Buffer Ready %d", id);
    pPin->m_hEventAudioBufferReady.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventAudioBufferReady) {
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventAudioBufferReady == NULL");
      return S_FALSE;
    }
  }
  if (!pPin->m_hEventAudioBufferDone) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Audio Buffer Done %d", id);
    pPin->m_hEventAudioBufferDone.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventAudioBufferDone) {
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventAudioBufferDone == NULL");
      return S_FALSE;
    }
  }
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::InitParam2 -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAudioSource::SetEventHandles(HANDLE hSampleReady, HANDLE hAudioBufferReady,
                                                        HANDLE hAudioBufferDone) {
  HANDLE hProcess = GetCurrentProcess();
  UniqueHandle* targets[3] = {&m_pPin->m_hEventSampleReady, &m_pPin->m_hEventAudioBufferReady,
                              &m_pPin->m_hEventAudioBufferDone};
  HANDLE sources[3] = {hSampleReady, hAudioBufferReady, hAudioBufferDone};
  for (int i = 0; i < 3; ++i) {
    DuplicateHandle(hProcess, sources[i], hProcess, targets[i]->Put(), 0, FALSE, DUPLICATE_SAME_ACCESS);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAudioSource::AddFrame(BYTE* pData, int size, unsigned __int64 time) {
  static const char kFn[] = "CAudioSource::AddFrame";
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::AddFrame -> Enter");
  if (pData == nullptr && size == 0 && time == 0) {
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::AddFrame, BreakFrame -> Leave");
    return S_OK;
  }
  // Every block before the first sample has gone out restarts the first
  // block time: the test is on the pin's sample number, on purpose.
  if (m_pPin->m_iSampleNumber == 0) {
    m_uFirstFrameTime = time;
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"First frame");
  }
  return StoreBlock(kFn, pData, size, time);
}

HRESULT STDMETHODCALLTYPE CAudioSource::AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                                  unsigned __int64 frameNumber) {
  // The trace texts are AddFrame's, under this function's name, on purpose.
  static const char kFn[] = "CAudioSource::AddFrame2";
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::AddFrame -> Enter");
  if (pData == nullptr && size == 0 && time == 0) {
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::AddFrame, BreakFrame -> Leave");
    return S_OK;
  }
  CPinAudioStream* pPin = m_pPin;
  if (pPin->m_cFramesTotal != 0) {
    // frame_time: the slots counted so far in 100-ns units (the sample
    // duration times the count); curr_frame_time: this block's offset.
    unsigned __int64 duration = 10000000ull / static_cast<unsigned>(pPin->EffectiveBuffersPerSecond());
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"m_cFramesTotal=%i, frame_time=%i, curr_frame_time=%i, frame_num=%i",
            static_cast<int>(pPin->m_cFramesTotal),
            static_cast<UINT>(duration * static_cast<unsigned __int64>(pPin->m_cFramesTotal)),
            static_cast<UINT>(time - m_uFirstFrameTime), static_cast<UINT>(frameNumber));
    unsigned __int64 diff = frameNumber - m_uLastFrameNumber;
    if (diff >= 2) {
      pPin->m_cDrop = static_cast<LONGLONG>(diff - 1);
      pPin->m_cFramesTotal += pPin->m_cDrop;
      TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"Frame dropped: m_pPin->m_cDrop=%i", static_cast<int>(pPin->m_cDrop));
    }
  } else {
    m_uFirstFrameTime = time;
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"First frame");
  }
  m_uLastFrameNumber = frameNumber;
  pPin->m_cFramesTotal += 1;
  return StoreBlock(kFn, pData, size, time);
}

HRESULT CAudioSource::StoreBlock(const char* kFn, BYTE* pData, int size, unsigned __int64 time) {
  if (pData == nullptr) {
    TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_ERROR, 0, L"pData == NULL");
    return S_FALSE;
  }
  m_pPin->m_pSampleData = pData;
  m_pPin->m_uSampleSize = static_cast<UINT>(size);
  m_pPin->m_uTimeOffset = time - m_uFirstFrameTime;
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::AddFrame -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAudioSource::ReleaseFilterData() {
  static const char kFn[] = "CAudioSource::ReleaseFilterData";
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::ReleaseFilterData -> Enter");
  m_pPin->m_bStop = TRUE;
  SetEvent(m_pPin->m_hEventSampleReady.Get());
  TAV_LOG(AUDIO_FILE, kFn, LOG_SEV_TRACE, 0, L"CAudioSource::ReleaseFilterData -> Leave");
  return S_OK;
}
