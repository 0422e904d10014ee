// CAviWriter's graph methods: build the recording chain, stop it, empty it.
#include "writer/CAviWriter.h"

#include "compressors/AudioCompressorConfig.h"
#include "framework/MediaType.h"
#include "framework/Source.h"
#include "log/Trace.h"
#include "writer/ComErrorText.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

// How long a stop waits for the source pins to finish delivering their last
// samples (as long as a hand-over waits for a pin).
const DWORD kDeliveryWaitMs = 10000;

CSource* SourceOf(IBaseFilter* filter) { return static_cast<CSource*>(filter); }

// The first pin of a source filter, which is its one output pin. A failing
// EnumPins or Next raises its HRESULT.
ThrowingComPtr<IPin> FirstPin(IBaseFilter* filter) {
  ThrowingComPtr<IEnumPins> pins;
  HRESULT hr = filter->EnumPins(&pins);
  if (FAILED(hr)) _com_issue_error(hr);
  ThrowingComPtr<IPin> pin;
  hr = pins->Next(1, &pin, nullptr);
  if (FAILED(hr)) _com_issue_error(hr);
  return pin;
}

// Releases the main mutex when the stop leaves early by a _com_error.
class MainMutexHold {
 public:
  explicit MainMutexHold(HANDLE mutex) : m_hMutex(mutex) {}
  ~MainMutexHold() {
    if (m_bHeld) ReleaseMutex(m_hMutex);
  }
  void Release() {
    m_bHeld = false;
    ReleaseMutex(m_hMutex);
  }
  MainMutexHold(const MainMutexHold&) = delete;
  MainMutexHold& operator=(const MainMutexHold&) = delete;

 private:
  HANDLE m_hMutex;
  bool m_bHeld = true;
};

}  // namespace

// The first unconnected pin of the given direction (null category and type).
static HRESULT FindFreePin(ThrowingComPtr<ICaptureGraphBuilder2>& builder, IBaseFilter* filter, PIN_DIRECTION direction,
                           ThrowingComPtr<IPin>& pin) {
  pin = nullptr;
  return builder->FindPin(filter, direction, nullptr, nullptr, TRUE, 0, &pin);
}

// Stops a filter and every filter its pins are connected to. The graph's Stop
// reaches only the filters it runs itself. A filter can be running in a graph
// the writer no longer holds: a writer ID whose record has no graph, loaded
// during a recording, leaves that recording's graph running unseen, and its
// filters then come into the writer's new graph with their old connections.
static void StopFilterAndPeers(IBaseFilter* filter) {
  filter->Stop();
  ThrowingComPtr<IEnumPins> pins;
  if (FAILED(filter->EnumPins(&pins)) || !pins) return;
  ThrowingComPtr<IPin> pin;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    ThrowingComPtr<IPin> peer;
    PIN_INFO peerInfo = {};
    if (SUCCEEDED(pin->ConnectedTo(&peer)) && peer && SUCCEEDED(peer->QueryPinInfo(&peerInfo)) && peerInfo.pFilter) {
      peerInfo.pFilter->Stop();
      peerInfo.pFilter->Release();
    }
    pin = nullptr;
  }
}

// Removes a filter from the graph. One that is still running, or connected to
// one (the graph's Stop did not reach them), refuses with VFW_E_NOT_STOPPED:
// they are stopped and the filter is removed once more. False, with an ERROR
// line, when it stays in the graph: emptying then ends there instead of
// finding the same filter for ever.
static bool RemoveStoppedFilter(ThrowingComPtr<IGraphBuilder>& graph, IBaseFilter* filter) {
  HRESULT hr = graph->RemoveFilter(filter);
  if (hr == VFW_E_NOT_STOPPED) {
    StopFilterAndPeers(filter);
    hr = graph->RemoveFilter(filter);
  }
  if (SUCCEEDED(hr)) return true;
  TAV_LOG(kFile, "CAviWriter::EmptyGraph", LOG_SEV_ERROR, static_cast<int>(hr),
          L"EmptyGraph() a filter cannot be removed: 0x%08X", static_cast<unsigned>(hr));
  return false;
}

// "Link": a direct connection first, and only when that fails one through
// converting filters the graph may insert.
static HRESULT Link(ThrowingComPtr<IGraphBuilder>& graph, IPin* out, IPin* in) {
  HRESULT hr = graph->ConnectDirect(out, in, nullptr);
  if (FAILED(hr)) hr = graph->Connect(out, in);
  return hr;
}

HRESULT CAviWriter::MakeCaptureGraph() {
  TAV_LOG(kFile, "CAviWriter::MakeCaptureGraph", LOG_SEV_TRACE, 0, L"CAviWriter::MakeCaptureGraph -> Enter");

  HRESULT hr = m_pGraph->AddFilter(m_pRawFilter, L"RAW Data Filter");
  if (FAILED(hr)) return hr;
  ThrowingComPtr<IPin> videoOut = FirstPin(m_pRawFilter);

  if (m_pVideoCompressor) {
    hr = m_pGraph->AddFilter(m_pVideoCompressor, L"Video Compressor");
    if (FAILED(hr)) return hr;
    ThrowingComPtr<IPin> compressorIn;
    hr = FindFreePin(m_pBuilder, m_pVideoCompressor, PINDIR_INPUT, compressorIn);
    if (FAILED(hr)) return hr;
    hr = Link(m_pGraph, videoOut, compressorIn);
    if (FAILED(hr)) return hr;
    hr = FindFreePin(m_pBuilder, m_pVideoCompressor, PINDIR_OUTPUT, videoOut);
    if (FAILED(hr)) return hr;
  }

  hr = m_pGraph->AddFilter(m_pAviMux, L"AVI Mux");
  if (FAILED(hr)) return hr;

  // Audio first, so that it takes the multiplexer's first input.
  if (m_pAudioSource) {
    hr = m_pGraph->AddFilter(m_pAudioSource, L"Audio Source Filter");
    if (FAILED(hr)) return hr;
    ThrowingComPtr<IPin> audioOut = FirstPin(m_pAudioSource);
    if (m_pAudioCompressor) {
      hr = m_pGraph->AddFilter(m_pAudioCompressor, L"Audio Compressor");
      if (FAILED(hr)) return hr;
      ThrowingComPtr<IPin> compressorIn;
      hr = FindFreePin(m_pBuilder, m_pAudioCompressor, PINDIR_INPUT, compressorIn);
      if (FAILED(hr)) return hr;
      hr = Link(m_pGraph, audioOut, compressorIn);
      if (FAILED(hr)) return hr;
      hr = FindFreePin(m_pBuilder, m_pAudioCompressor, PINDIR_OUTPUT, audioOut);
      if (FAILED(hr)) return hr;
    }
    ThrowingComPtr<IPin> muxIn;
    hr = FindFreePin(m_pBuilder, m_pAviMux, PINDIR_INPUT, muxIn);
    if (FAILED(hr)) return hr;
    hr = Link(m_pGraph, audioOut, muxIn);
    if (FAILED(hr)) return hr;
    if (m_pAudioCompressor) AudioCompressorConfig(m_pAudioCompressor);
  }

  ThrowingComPtr<IPin> muxVideoIn;
  hr = FindFreePin(m_pBuilder, m_pAviMux, PINDIR_INPUT, muxVideoIn);
  if (FAILED(hr)) return hr;
  hr = Link(m_pGraph, videoOut, muxVideoIn);
  if (FAILED(hr)) return hr;

  // The connection type is read and dropped; nothing depends on it.
  AM_MEDIA_TYPE connected = {};
  if (SUCCEEDED(muxVideoIn->ConnectionMediaType(&connected))) FreeMediaType(connected);

  ThrowingComPtr<IPin> muxOut;
  hr = FindFreePin(m_pBuilder, m_pAviMux, PINDIR_OUTPUT, muxOut);
  if (FAILED(hr)) return hr;
  hr = m_pGraph->AddFilter(m_pFileWriter, L"File Writer");
  if (FAILED(hr)) return hr;
  ThrowingComPtr<IPin> writerIn;
  hr = FindFreePin(m_pBuilder, m_pFileWriter, PINDIR_INPUT, writerIn);
  if (FAILED(hr)) return hr;
  // The outcome is ignored on purpose: the build goes on either way.
  Link(m_pGraph, muxOut, writerIn);

  ThrowingComPtr<IFileSinkFilter> sink(m_pFileWriter);
  hr = sink->SetFileName(m_szFileName, nullptr);
  if (FAILED(hr)) return hr;

  TAV_LOG(kFile, "CAviWriter::MakeCaptureGraph", LOG_SEV_TRACE, 0, L"CAviWriter::MakeCaptureGraph -> Leave");
  return S_OK;
}

HRESULT CAviWriter::StopRecord() {
  TAV_LOG(kFile, "CAviWriter::StopRecord", LOG_SEV_TRACE, 0, L"CAviWriter::StopRecord -> Enter");
  TAV_LOG(kFile, "CAviWriter::StopRecord", LOG_SEV_TRACE, 0, L"WaitForSingleObject->Enter m_hMainMutex StopRecord()");
  WaitForSingleObject(m_hMainMutex.Get(), INFINITE);
  TAV_LOG(kFile, "CAviWriter::StopRecord", LOG_SEV_TRACE, 0, L"WaitForSingleObject->Leave m_hMainMutex StopRecord()");
  MainMutexHold hold(m_hMainMutex.Get());

  if (m_pGraph) {
    ThrowingComPtr<IMediaControl> control(m_pGraph);
    if (control) {
      WaitForLastDeliveries(control);
      HRESULT hr = control->Stop();
      if (FAILED(hr)) {
        hold.Release();
        return hr;
      }
    }
  }

  hold.Release();
  TAV_LOG(kFile, "CAviWriter::StopRecord", LOG_SEV_TRACE, 0, L"CAviWriter::StopRecord -> Leave");
  return S_OK;
}

// A hand-over returns once the pin has copied the frame, before the pin has
// delivered it downstream; stopping the graph in between would lose that last
// sample. ReleaseFilterData has told the pins to end their streams after the
// sample in hand, so wait, boundedly, until their buffer loops have ended.
void CAviWriter::WaitForLastDeliveries(IMediaControl* control) {
  OAFilterState state = State_Stopped;
  if (control->GetState(0, &state) != S_OK || state != State_Running) return;
  const ULONGLONG deadline = GetTickCount64() + kDeliveryWaitMs;
  if (m_pRawFilter) SourceOf(m_pRawFilter)->WaitForStreamsIdle(kDeliveryWaitMs);
  ULONGLONG now = GetTickCount64();
  if (m_pAudioSource)
    SourceOf(m_pAudioSource)->WaitForStreamsIdle(now < deadline ? static_cast<DWORD>(deadline - now) : 0);
}

HRESULT CAviWriter::EmptyGraph() {
  TAV_LOG(kFile, "CAviWriter::EmptyGraph", LOG_SEV_TRACE, 0, L"CAviWriter::EmptyGraph -> Enter");
  try {
    CoInitialize(nullptr);
    if (!m_pBuilder) m_pBuilder.CreateInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER);
    if (!m_pGraph) {
      m_pGraph.CreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER);
      m_pBuilder->SetFiltergraph(m_pGraph);
    }

    ThrowingComPtr<IMediaControl> control(m_pGraph);
    control->Stop();

    // Removing a filter invalidates the enumeration: start a new one each time.
    ThrowingComPtr<IEnumFilters> filters;
    m_pGraph->EnumFilters(&filters);
    ThrowingComPtr<IBaseFilter> filter;
    while (filters->Next(1, &filter, nullptr) == S_OK) {
      if (!RemoveStoppedFilter(m_pGraph, filter)) break;
      filter = nullptr;
      filters = nullptr;
      m_pGraph->EnumFilters(&filters);
    }
  } catch (const _com_error& error) {
    LogComError("CAviWriter::EmptyGraph", L"EmptyGraph()", error.Error(), 0);
    return -1;
  }
  TAV_LOG(kFile, "CAviWriter::EmptyGraph", LOG_SEV_TRACE, 0, L"CAviWriter::EmptyGraph -> Leave");
  return 0;
}
