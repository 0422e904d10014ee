#include "mux/AviMux.h"

#include <mmreg.h>
#include <uuids.h>
#include <evcode.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "common/ComBarrier.h"
#include "framework/NonThrowingComPtr.h"
#include "common/PackLog.h"
#include "mux/MuxStreamFormat.h"
#include "server/PackClasses.h"

namespace {

constexpr REFERENCE_TIME kDefaultFrameDuration = 400000;  // until a sample tells
// How often, at most, the file on disk is brought up to date while samples
// arrive (see AviLayoutWriter::Checkpoint): what a killed process leaves.
constexpr ULONGLONG kCheckpointIntervalMs = 1000;

}  // namespace

TAV_PACK_CLASS(g_aviMuxClass, CLSID_AviDest, CAviMux::Create, L"AVI Mux");

HRESULT CAviMux::Create(IUnknown* pOuter, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (pOuter != nullptr && riid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  HRESULT hr = S_OK;
  auto* pMux = new (std::nothrow) CAviMux(pOuter, &hr);
  if (pMux == nullptr) return E_OUTOFMEMORY;
  if (FAILED(hr)) {
    delete pMux;
    return hr;
  }
  pMux->NonDelegatingAddRef();
  hr = pMux->NonDelegatingQueryInterface(riid, ppv);
  pMux->NonDelegatingRelease();
  return hr;
}

CAviMux::CAviMux(IUnknown* pOuter, HRESULT* phr)
    : CBaseFilter(L"AVI Mux", pOuter, &m_csFilter, CLSID_AviDest), m_timeFormat(TIME_FORMAT_MEDIA_TIME) {
  tavpack::PackObjectCreated();
  m_pOutput.reset(new (std::nothrow) CAviMuxOutputPin(this, &m_csFilter, phr));
  m_inputs.emplace_back(new (std::nothrow) CAviMuxInputPin(this, &m_csFilter, phr, L"Input 01"));
  if (!m_pOutput || !m_inputs.back()) *phr = E_OUTOFMEMORY;
}

CAviMux::~CAviMux() {
  FinishWriting();
  m_inputs.clear();
  m_pOutput.reset();
  tavpack::PackObjectDestroyed();
}

HRESULT STDMETHODCALLTYPE CAviMux::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IConfigAviMux) return GetInterface(static_cast<IConfigAviMux*>(this), ppv);
  if (riid == IID_IConfigInterleaving) return GetInterface(static_cast<IConfigInterleaving*>(this), ppv);
  if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

int CAviMux::GetPinCount() {
  CAutoLock lock(&m_csFilter);
  return 1 + static_cast<int>(m_inputs.size());
}

CBasePin* CAviMux::GetPin(int n) {
  CAutoLock lock(&m_csFilter);
  if (n == 0) return m_pOutput.get();
  if (n < 1 || n > static_cast<int>(m_inputs.size())) return nullptr;
  return m_inputs[n - 1].get();
}

void CAviMux::OnInputConnected(CAviMuxInputPin* pPin) {
  pPin->m_nConnectionOrder = ++m_nConnections;
  for (const auto& input : m_inputs) {
    if (!input->IsConnected() && input.get() != pPin) return;  // a free pin is left
  }
  wchar_t name[16];
  swprintf_s(name, L"Input %02d", static_cast<int>(m_inputs.size()) + 1);
  HRESULT hr = S_OK;
  auto* pNew = new (std::nothrow) CAviMuxInputPin(this, &m_csFilter, &hr, name);
  if (pNew == nullptr) return;
  m_inputs.emplace_back(pNew);
  IncrementPinVersion();
}

std::vector<CAviMuxInputPin*> CAviMux::ConnectedInputsInOrder() {
  std::vector<CAviMuxInputPin*> pins;
  for (const auto& input : m_inputs) {
    if (input->IsConnected()) pins.push_back(input.get());
  }
  std::sort(pins.begin(), pins.end(), [](const CAviMuxInputPin* a, const CAviMuxInputPin* b) {
    return a->m_nConnectionOrder < b->m_nConnectionOrder;
  });
  return pins;
}

// The state changes run behind the exception barrier (common/ComBarrier.h):
// a throw becomes the call's HRESULT.
HRESULT STDMETHODCALLTYPE CAviMux::Pause() {
  CAutoLock lock(&m_csFilter);
  return tavpack::CallWithoutThrowing([&] { return PauseLocked(); });
}

HRESULT CAviMux::PauseLocked() {
  if (m_State != State_Stopped) return CBaseFilter::Pause();
  // A start that cannot write (no IStream downstream, header write failed)
  // fails Run, not Pause: Wine's graph cannot stop filters that paused
  // when another filter's Pause fails, while it stops a failed Run normally.
  m_hrStart = StartWriting();
  HRESULT hr = CBaseFilter::Pause();
  if (FAILED(hr)) {
    CBaseFilter::Stop();
    FinishWriting();
    m_hrStart = S_OK;
    return hr;
  }
  if (FAILED(m_hrStart)) {
    for (const auto& input : m_inputs) input->SetRuntimeError(m_hrStart);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::Run(REFERENCE_TIME tStart) {
  CAutoLock lock(&m_csFilter);
  return tavpack::CallWithoutThrowing([&] { return RunLocked(tStart); });
}

HRESULT CAviMux::RunLocked(REFERENCE_TIME tStart) {
  HRESULT hr = CBaseFilter::Run(tStart);
  if (FAILED(hr)) return hr;
  if (FAILED(m_hrStart)) {
    CAutoLock writeLock(&m_csWrite);
    ReportError(m_hrStart, "CAviMux::Run", L"Starting the movie");  // once per recording
    return m_hrStart;
  }
  return hr;
}

HRESULT STDMETHODCALLTYPE CAviMux::Stop() {
  CAutoLock lock(&m_csFilter);
  return tavpack::CallWithoutThrowing([&] {
    // The inputs go inactive first: each waits for its Receive in progress.
    HRESULT hr = CBaseFilter::Stop();
    HRESULT hrFinish = FinishWriting();
    m_hrStart = S_OK;
    return FAILED(hrFinish) ? hrFinish : hr;
  });
}

HRESULT CAviMux::StartWriting() {
  CAutoLock lock(&m_csWrite);
  // Describing the streams allocates (formats, names, the layout writer's
  // buffer): running out of memory there fails the start like any other
  // failure, and no input keeps a stream number.
  return tavpack::CallWithoutThrowing([&] { return StartWritingLocked(); }, [&](HRESULT) { ForgetStreams(); });
}

void CAviMux::ForgetStreams() {
  for (CAviMuxInputPin* pin : m_streams) pin->m_nStream = -1;
  m_streams.clear();
}

HRESULT CAviMux::StartWritingLocked() {
  m_bErrorReported = false;
  m_bEndOfStreamSent = false;
  m_rtPosition = 0;
  IPin* pPeer = m_pOutput->GetConnected();
  if (pPeer == nullptr) return S_OK;  // nothing to write to: samples are refused

  NonThrowingComPtr<IStream> stream;
  HRESULT hr = pPeer->QueryInterface(IID_IStream, stream.PutVoid());
  if (FAILED(hr)) return hr;
  std::unique_ptr<StreamSink> sink(new (std::nothrow) StreamSink(std::move(stream)));
  if (!sink) return E_OUTOFMEMORY;

  AviLayoutOptions options = m_layoutOptions;
  options.legacyIndex = m_bCompatibilityIndex != FALSE;
  std::unique_ptr<AviLayoutWriter> layout(new (std::nothrow) AviLayoutWriter(*sink, options));
  if (!layout) return E_OUTOFMEMORY;

  m_streams = ConnectedInputsInOrder();
  for (CAviMuxInputPin* pin : m_streams) {
    const CMediaType& mt = pin->CurrentMediaType();
    AviStreamFormat format;
    format.isVideo = pin->IsVideo();
    if (format.isVideo) {
      format.format = VideoStreamFormat(mt);
      REFERENCE_TIME avg = reinterpret_cast<const VIDEOINFOHEADER*>(mt.pbFormat)->AvgTimePerFrame;
      pin->m_bDurationKnown = avg > 0;
      pin->m_rtFrameDuration = avg > 0 ? avg : kDefaultFrameDuration;
      format.frameDuration = pin->m_rtFrameDuration;
      format.temporalCompression = mt.bTemporalCompression != FALSE;
      pin->m_bTemporalCompression = format.temporalCompression;
    } else {
      format.format = AudioStreamFormat(mt);
    }
    const std::wstring& name = pin->StreamName();
    if (!name.empty()) {
      int bytes = WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, nullptr, 0, nullptr, nullptr);
      if (bytes > 1) {
        format.name.resize(bytes - 1);
        WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, &format.name[0], bytes, nullptr, nullptr);
      }
    }
    pin->m_nStream = layout->AddStream(format);
    pin->m_nNextSlot = 0;
  }
  hr = layout->Begin();
  if (FAILED(hr)) {
    ForgetStreams();
    return hr;
  }
  // Samples the layout writer only gathers into its buffer are written on
  // the streaming thread, unless TAV_PACK_QUEUE_EVERY_SAMPLE=1 (so that
  // bench/compare.sh can time both ways in one run).
  wchar_t queueEvery[4] = {};
  const bool queueEverySample =
      GetEnvironmentVariableW(L"TAV_PACK_QUEUE_EVERY_SAMPLE", queueEvery, 4) == 1 && queueEvery[0] == L'1';
  const long writeHereBelow = queueEverySample ? 0 : static_cast<long>(options.bufferSize / 2);
  std::unique_ptr<MuxWriteQueue> queue(new (std::nothrow) MuxWriteQueue(*this, writeHereBelow));
  hr = queue ? queue->Start() : E_OUTOFMEMORY;
  if (FAILED(hr)) {
    ForgetStreams();
    return hr;
  }
  m_pSink = std::move(sink);
  m_pLayout = std::move(layout);
  m_pQueue = std::move(queue);
  m_bUnsaved = false;
  m_nLastCheckpoint = GetTickCount64();
  return S_OK;
}

HRESULT CAviMux::FinishWriting() {
  // Everything queued is written first (the writer thread takes the write lock).
  if (m_pQueue) m_pQueue->Stop();
  CAutoLock lock(&m_csWrite);
  m_pQueue.reset();
  if (!m_pLayout) return S_OK;
  HRESULT hr = m_pLayout->Finish();
  HRESULT hrCommit = m_pSink->Commit();
  if (FAILED(hr)) {
    ReportError(hr, "CAviMux::FinishWriting", L"Writing the headers and the index");
  } else if (FAILED(hrCommit)) {
    hr = hrCommit;
    ReportError(hr, "CAviMux::FinishWriting", L"Committing the file");
  }
  m_pLayout.reset();
  m_pSink.reset();
  ForgetStreams();
  return hr;
}

void CAviMux::ReportError(HRESULT hr, const char* function, const wchar_t* step) {
  if (m_bErrorReported) return;
  m_bErrorReported = true;
  tavpack::LogFailure(function, hr, L"%s", step);
  for (const auto& input : m_inputs) input->SetRuntimeError(hr);
  NotifyEvent(EC_ERRORABORT, hr, 0);
}

HRESULT CAviMux::WriteSample(CAviMuxInputPin* pPin, IMediaSample* pSample) {
  // The queue and the stream numbers change only while no sample flows.
  if (!m_pQueue) return VFW_E_NOT_CONNECTED;
  if (pPin->m_nStream < 0) return VFW_E_WRONG_STATE;
  return m_pQueue->Push(pPin, pSample);
}

HRESULT CAviMux::WriteQueued(CAviMuxInputPin* pPin, IMediaSample* pSample) {
  CAutoLock lock(&m_csWrite);
  if (!m_pLayout) return VFW_E_NOT_CONNECTED;
  BYTE* pData = nullptr;
  HRESULT hr = pSample->GetPointer(&pData);
  if (FAILED(hr)) return hr;
  long length = pSample->GetActualDataLength();
  if (length < 0) return E_INVALIDARG;

  REFERENCE_TIME start = 0, stop = 0;
  HRESULT hrTime = pSample->GetTime(&start, &stop);
  bool timed = SUCCEEDED(hrTime);
  bool hasStop = hrTime == S_OK;
  if (pPin->IsVideo()) {
    if (!pPin->m_bDurationKnown && hasStop && stop > start) {
      pPin->m_rtFrameDuration = stop - start;
      pPin->m_bDurationKnown = true;
      m_pLayout->SetFrameDuration(pPin->m_nStream, pPin->m_rtFrameDuration);
    }
    REFERENCE_TIME duration = pPin->m_rtFrameDuration;
    // The frame's slot: its media time (a frame number) when it carries
    // one, else its start time in whole frames.
    LONGLONG slot = pPin->m_nNextSlot;
    LONGLONG mediaStart = 0, mediaStop = 0;
    if (pSample->GetMediaTime(&mediaStart, &mediaStop) == S_OK) slot = mediaStart > 0 ? mediaStart : 0;
    else if (timed) slot = start > 0 ? (start + duration / 2) / duration : 0;
    if (slot > pPin->m_nNextSlot) {
      hr = m_pLayout->WriteEmptySlots(
          pPin->m_nStream, static_cast<std::uint32_t>(std::min<LONGLONG>(slot - pPin->m_nNextSlot, 0x7FFFFFFF)));
      if (FAILED(hr)) {
        ReportError(hr, "CAviMux::WriteQueued", L"Writing empty frame slots");
        return hr;
      }
      pPin->m_nNextSlot = slot;
    }
    bool key = pPin->m_bTemporalCompression ? pSample->IsSyncPoint() == S_OK : true;
    hr = m_pLayout->WriteSample(pPin->m_nStream, pData, static_cast<std::uint32_t>(length), key);
    ++pPin->m_nNextSlot;
    if (SUCCEEDED(hr)) m_rtPosition = std::max(m_rtPosition, pPin->m_nNextSlot * duration);
  } else {
    hr = m_pLayout->WriteSample(pPin->m_nStream, pData, static_cast<std::uint32_t>(length), true);
    if (SUCCEEDED(hr) && hasStop) m_rtPosition = std::max(m_rtPosition, stop);
  }
  if (FAILED(hr)) {
    ReportError(hr, "CAviMux::WriteQueued", L"Writing a sample");
    return hr;
  }
  m_bUnsaved = true;
  return S_OK;
}

void CAviMux::Tick() {
  CAutoLock lock(&m_csWrite);
  if (!m_pLayout || !m_bUnsaved) return;
  ULONGLONG now = GetTickCount64();
  if (now - m_nLastCheckpoint < kCheckpointIntervalMs) return;
  m_nLastCheckpoint = now;
  m_bUnsaved = false;
  HRESULT hr = m_pLayout->Checkpoint();
  if (FAILED(hr)) ReportError(hr, "CAviMux::Tick", L"Saving the headers");
}

HRESULT CAviMux::InputEndOfStream() {
  // The stream ends downstream only after every queued sample is written.
  if (m_pQueue) m_pQueue->Drain();
  NonThrowingComPtr<IPin> peer;
  {
    CAutoLock lock(&m_csWrite);
    if (m_bEndOfStreamSent) return S_OK;
    for (CAviMuxInputPin* pin : m_streams) {
      if (!pin->IsAtEndOfStream()) return S_OK;
    }
    m_bEndOfStreamSent = true;
    peer = NonThrowingComPtr<IPin>::Share(m_pOutput->GetConnected());
  }
  // Every input has ended: the stream downstream ends too.
  return peer ? peer->EndOfStream() : S_OK;
}

// IConfigAviMux

HRESULT STDMETHODCALLTYPE CAviMux::SetMasterStream(LONG iStream) {
  CAutoLock lock(&m_csFilter);
  return tavpack::CallWithoutThrowing([&] {
    LONG connected = static_cast<LONG>(ConnectedInputsInOrder().size());
    if (iStream < -1 || iStream >= connected) return E_INVALIDARG;
    m_nMasterStream = iStream;
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CAviMux::GetMasterStream(LONG* pStream) {
  if (pStream == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  *pStream = m_nMasterStream;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::SetOutputCompatibilityIndex(BOOL fOldIndex) {
  CAutoLock lock(&m_csFilter);
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  m_bCompatibilityIndex = fOldIndex ? TRUE : FALSE;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::GetOutputCompatibilityIndex(BOOL* pfOldIndex) {
  if (pfOldIndex == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  *pfOldIndex = m_bCompatibilityIndex;
  return S_OK;
}

// IConfigInterleaving

HRESULT STDMETHODCALLTYPE CAviMux::put_Mode(InterleavingMode mode) {
  if (mode < INTERLEAVE_NONE || mode > INTERLEAVE_NONE_BUFFERED) return E_INVALIDARG;
  CAutoLock lock(&m_csFilter);
  if (!IsStopped() && mode != m_mode) return VFW_E_NOT_STOPPED;
  m_mode = mode;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::get_Mode(InterleavingMode* pMode) {
  if (pMode == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  *pMode = m_mode;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::put_Interleaving(const REFERENCE_TIME* prtInterleave,
                                                    const REFERENCE_TIME* prtPreroll) {
  CAutoLock lock(&m_csFilter);
  if (prtInterleave != nullptr) m_rtInterleave = *prtInterleave;
  if (prtPreroll != nullptr) m_rtPreroll = *prtPreroll;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::get_Interleaving(REFERENCE_TIME* prtInterleave, REFERENCE_TIME* prtPreroll) {
  if (prtInterleave == nullptr || prtPreroll == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  *prtInterleave = m_rtInterleave;
  *prtPreroll = m_rtPreroll;
  return S_OK;
}

// IMediaSeeking: progress reporting only.

HRESULT STDMETHODCALLTYPE CAviMux::GetCapabilities(DWORD* pCapabilities) {
  if (pCapabilities == nullptr) return E_POINTER;
  *pCapabilities = AM_SEEKING_CanGetCurrentPos | AM_SEEKING_CanGetDuration;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::CheckCapabilities(DWORD* pCapabilities) {
  if (pCapabilities == nullptr) return E_POINTER;
  DWORD ours = AM_SEEKING_CanGetCurrentPos | AM_SEEKING_CanGetDuration;
  DWORD asked = *pCapabilities;
  *pCapabilities &= ours;
  if (*pCapabilities == asked) return S_OK;
  return *pCapabilities ? S_FALSE : E_FAIL;
}

HRESULT STDMETHODCALLTYPE CAviMux::IsFormatSupported(const GUID* pFormat) {
  if (pFormat == nullptr) return E_POINTER;
  return *pFormat == TIME_FORMAT_MEDIA_TIME || *pFormat == TIME_FORMAT_BYTE ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CAviMux::QueryPreferredFormat(GUID* pFormat) {
  if (pFormat == nullptr) return E_POINTER;
  *pFormat = TIME_FORMAT_MEDIA_TIME;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::GetTimeFormat(GUID* pFormat) {
  if (pFormat == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  *pFormat = m_timeFormat;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::IsUsingTimeFormat(const GUID* pFormat) {
  if (pFormat == nullptr) return E_POINTER;
  CAutoLock lock(&m_csFilter);
  if (*pFormat == m_timeFormat) return S_OK;
  // As on Windows: BYTE counts as in use while the format is MEDIA_TIME.
  if (m_timeFormat == TIME_FORMAT_MEDIA_TIME && *pFormat == TIME_FORMAT_BYTE) return S_OK;
  return S_FALSE;
}

HRESULT STDMETHODCALLTYPE CAviMux::SetTimeFormat(const GUID* pFormat) {
  if (pFormat == nullptr) return E_POINTER;
  if (*pFormat != TIME_FORMAT_MEDIA_TIME && *pFormat != TIME_FORMAT_BYTE) return E_INVALIDARG;
  CAutoLock lock(&m_csFilter);
  m_timeFormat = *pFormat;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::GetDuration(LONGLONG* pDuration) {
  if (pDuration == nullptr) return E_POINTER;
  CAutoLock lock(&m_csWrite);
  *pDuration = m_rtPosition;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::GetStopPosition(LONGLONG*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::GetCurrentPosition(LONGLONG* pCurrent) {
  if (pCurrent == nullptr) return E_POINTER;
  CAutoLock lock(&m_csWrite);
  *pCurrent = m_rtPosition;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMux::ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) {
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE CAviMux::SetPositions(LONGLONG*, DWORD, LONGLONG*, DWORD) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::GetPositions(LONGLONG*, LONGLONG*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::GetAvailable(LONGLONG*, LONGLONG*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::SetRate(double) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::GetRate(double*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CAviMux::GetPreroll(LONGLONG*) { return E_NOTIMPL; }
