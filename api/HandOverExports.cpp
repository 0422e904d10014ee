// The five hand-over exports. They run on the host's acquisition thread(s):
// each takes the main mutex "AviWrt_MainMutex", waits (10 s at most) until
// the source pin's streaming thread wants data, hands the data to the filter,
// wakes the pin and waits (10 s at most) until the pin has copied it.
#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "api/SourceFilters.h"
#include "api/WriterRegistry.h"
#include "framework/CritSec.h"
#include "framework/Source.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";
const DWORD kHandOverWaitMs = 10000;
// How long a hand-over waits for the pin: 10 s. Only a build of the DLL for
// the time-out tests sets TAV_TEST_PIN_WAIT_MS, to reach the time-outs quickly.
#ifdef TAV_TEST_PIN_WAIT_MS
const DWORD kPinWaitMs = TAV_TEST_PIN_WAIT_MS;
#else
const DWORD kPinWaitMs = kHandOverWaitMs;
#endif
const HRESULT kTimeOut = TAVMM_E_TIMEOUT;
const ULONGLONG kNoNumber = ~0ULL;

// What differs between the video and the audio hand-over.
struct HandOverKind {
  const char* function;
  const wchar_t* enterText;
  const wchar_t* leaveText;
  UniqueHandle CAviWriter::*bufferReady;
  const wchar_t* readyEnterText;
  const wchar_t* readyTimeOutText;
  const wchar_t* readyLeaveText;
  HRESULT (CAviWriter::*add)(BYTE*, int, ULONGLONG);
  HRESULT (CAviWriter::*add2)(BYTE*, int, ULONGLONG, ULONGLONG);
  const wchar_t* addText;
  UniqueHandle CAviWriter::*dataReady;
  const wchar_t* setEnterText;
  const wchar_t* setLeaveText;
  UniqueHandle CAviWriter::*bufferDone;
  const wchar_t* doneEnterText;
  const wchar_t* doneTimeOutText;
  const wchar_t* doneLeaveText;
  bool (*streamEnding)(CAviWriter*);  // Stop has told the pin to end its stream
  bool (*dataPending)(CAviWriter*);   // the pin has not copied the data handed over
};

const HandOverKind kVideo = {
    "TavMovieMakerAddMovieFrame2",
    L"TavMovieMakerAddMovieFrame2 -> Enter",
    L"TavMovieMakerAddMovieFrame2 -> Leave",
    &CAviWriter::m_hEventBufferReady,
    L"WaitForSingleObject->Enter m_hEventBufferReady",
    L"WaitForSingleObject, m_hEventBufferReady WAIT_TIMEOUT ",
    L"WaitForSingleObject->Leave m_hEventBufferReady",
    &CAviWriter::AddMovieFrame,
    &CAviWriter::AddMovieFrame2,
    L"pAviWriter->AddMovieFrame",
    &CAviWriter::m_hEventFrameReady,
    L"SetEvent->Enter m_hEventFrameReady",
    L"SetEvent->Leave m_hEventFrameReady",
    &CAviWriter::m_hEventBufferDone,
    L"WaitForSingleObject->Enter m_hEventBufferDone",
    L"WaitForSingleObject, m_hEventBufferDone WAIT_TIMEOUT ",
    L"WaitForSingleObject->Leave m_hEventBufferDone",
    VideoStreamEnding,
    VideoFramePending,
};

// The audio texts keep the video wording where they always had it, and the
// Enter trace names "m_hAudioEventBufferReady".
const HandOverKind kAudio = {
    "TavMovieMakerAddAudioSample2",
    L"TavMovieMakerAddAudioSample2 -> Enter",
    L"TavMovieMakerAddAudioSample2 -> Leave",
    &CAviWriter::m_hEventAudioBufferReady,
    L"WaitForSingleObject->Enter m_hAudioEventBufferReady",
    L"WaitForSingleObject, m_hEventAudioBufferReady WAIT_TIMEOUT ",
    L"WaitForSingleObject->Leave m_hEventAudioBufferReady",
    &CAviWriter::AddAudioSample,
    &CAviWriter::AddAudioSample2,
    L"pAviWriter->AddMovieSample",
    &CAviWriter::m_hEventSampleReady,
    L"SetEvent->Enter m_hEventSampleReady",
    L"SetEvent->Leave m_hEventSampleReady",
    &CAviWriter::m_hEventAudioBufferDone,
    L"WaitForSingleObject->Enter m_hEventAudioBufferDone",
    L"WaitForSingleObject, m_hEventAudioBufferDone WAIT_TIMEOUT ",
    L"WaitForSingleObject->Leave m_hEventAudioBufferDone",
    AudioStreamEnding,
    AudioBlockPending,
};

// The first video frame and the first audio block may come from two threads
// at once: whichever comes first builds and runs the graph under this lock,
// the other waits for it and then finds nothing left to start.
CCritSec g_graphStartLock;

// After a time-out: the stream's stored error when negative, else -1234.
HRESULT TimeOutResult(CAviWriter* writer) {
  HRESULT hr = StoredStreamError(writer);
  return hr < 0 ? hr : kTimeOut;
}

// A hand-over that lost the race with StopMovieRecord: the pin ends its
// stream without taking the data, so the call must not report it taken. The
// stored stream error when there is one, else E_FAIL; the mutex is released.
HRESULT StreamEndedResult(const HandOverKind& kind, CAviWriter* writer) {
  ReleaseMutex(writer->m_hMainMutex.Get());
  HRESULT hr = StoredStreamError(writer);
  if (hr < 0) return hr;
  TAV_LOG(kFile, kind.function, LOG_SEV_ERROR, 0, L"AddMovieFrame() recording stopped");
  return E_FAIL;
}

// A Run that failed half-way (the file could not be opened) leaves some
// filters running while the graph counts itself stopped, so neither its Stop
// nor the removal of its filters would ever succeed. Ends the source pins'
// streams and stops every filter itself.
void StopFiltersAfterFailedRun(const char* function, CAviWriter* writer) {
  TAV_LOG(kFile, function, LOG_SEV_WARNING, 0, L"Run failed: stopping every filter");
  writer->ReleaseFilterData();
  ThrowingComPtr<IEnumFilters> filters;
  if (writer->m_pGraph == nullptr || FAILED(writer->m_pGraph->EnumFilters(&filters)) || filters == nullptr) return;
  ThrowingComPtr<IBaseFilter> filter;
  while (filters->Next(1, &filter, nullptr) == S_OK) filter->Stop();
}

// A filter that fails while the graph runs (the File Writer that cannot
// create its file) reports it as EC_ERRORABORT; Wine's graph may finish a Run
// on a thread of its own and return S_OK or S_FALSE all the same. Returns the
// first failure reported since the queue was last emptied, taking every
// queued event (the library reads the graph's events nowhere else).
HRESULT TakeReportedFailure(IGraphBuilder* graph) {
  ThrowingComPtr<IMediaEvent, &IID_IMediaEvent> events;
  if (graph == nullptr || FAILED(graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events))))
    return S_OK;
  HRESULT reported = S_OK;
  long code = 0;
  LONG_PTR param1 = 0, param2 = 0;
  while (events->GetEvent(&code, &param1, &param2, 0) == S_OK) {
    if (code == EC_ERRORABORT && FAILED(static_cast<HRESULT>(param1)) && SUCCEEDED(reported))
      reported = static_cast<HRESULT>(param1);
    events->FreeEventParams(code, param1, param2);
  }
  return reported;
}

// Run, and the failure of a filter that Run did not return: the run is let
// complete (bounded like a hand-over) before the reported events are read.
HRESULT RunGraph(CAviWriter* writer, IMediaControl* control) {
  TakeReportedFailure(writer->m_pGraph);  // an earlier recording's events
  HRESULT hr = control->Run();
  if (FAILED(hr)) return hr;
  OAFilterState state = State_Stopped;
  control->GetState(kHandOverWaitMs, &state);
  HRESULT reported = TakeReportedFailure(writer->m_pGraph);
  return FAILED(reported) ? reported : hr;
}

// The first frame or sample after StartMovieRecord stops the graph, builds
// it and runs it. On failure m_bStartPending stays set, so the next call
// tries again.
HRESULT StartPendingGraph(const char* function, CAviWriter* writer) {
  ThrowingComPtr<IMediaControl> control(writer->m_pGraph);
  if (control == nullptr) return S_OK;
  HRESULT hr = control->Stop();
  if (SUCCEEDED(hr)) hr = writer->MakeCaptureGraph();
  if (SUCCEEDED(hr)) {
    hr = RunGraph(writer, control);
    if (FAILED(hr)) {
      StopFiltersAfterFailedRun(function, writer);
      // The file cannot be written: a stream error like any later one, so
      // every hand-over until Stop returns it at once.
      RawFrameSource()->SetStreamError(hr);
    }
  }
  if (FAILED(hr)) {
    ReleaseMutex(writer->m_hMainMutex.Get());  // not owned yet; the failure is of no concern
    return hr;
  }
  writer->m_bStartPending = false;
  return S_OK;
}

// Waits up to 10 s on one of the writer's events, with its three traces.
bool WaitLogged(const HandOverKind& kind, HANDLE event, const wchar_t* enter, const wchar_t* timeOut,
                const wchar_t* leave) {
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, enter);
  if (WaitForSingleObject(event, kPinWaitMs) == WAIT_TIMEOUT) {
    TAV_LOG(kFile, kind.function, LOG_SEV_ERROR, 0, timeOut);
    return false;
  }
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, leave);
  return true;
}

HRESULT HandOver(const HandOverKind& kind, int id, void* pData, unsigned size, ULONGLONG time, ULONGLONG number) {
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, kind.enterText);
  HRESULT stored = StoredStreamError(g_pAviWriter);
  if (stored < 0) return stored;
  if (id == 0) {
    TAV_LOG(kFile, kind.function, LOG_SEV_ERROR, 0, L"AddMovieFrame() bad ID");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(id);
  CAviWriter* writer = g_pAviWriter;
  if (!pData) {
    TAV_LOG(kFile, kind.function, LOG_SEV_ERROR, 0, L"AddMovieFrame() bad pData");
    return E_FAIL;
  }
  if (size == 0) {
    TAV_LOG(kFile, kind.function, LOG_SEV_ERROR, 0, L"AddMovieFrame() bad size");
    return E_FAIL;
  }
  {
    CAutoLock startLock(&g_graphStartLock);
    if (writer->m_bStartPending) {
      HRESULT hr = StartPendingGraph(kind.function, writer);
      if (FAILED(hr)) return hr;
    }
  }

  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame");
  WaitForSingleObject(writer->m_hMainMutex.Get(), INFINITE);
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Leave m_hMainMutex : TavMovieMakerAddMovieFrame");
  // The stream ended (StopMovieRecord came first): nothing would take the data.
  if (kind.streamEnding(writer)) return StreamEndedResult(kind, writer);
  // A time-out returns still owning the mutex, on purpose: this thread may
  // go on, any other blocks above.
  if (!WaitLogged(kind, (writer->*kind.bufferReady).Get(), kind.readyEnterText, kind.readyTimeOutText,
                  kind.readyLeaveText))
    return TimeOutResult(writer);

  BYTE* data = static_cast<BYTE*>(pData);
  if (number == kNoNumber) (writer->*kind.add)(data, static_cast<int>(size), time);
  else (writer->*kind.add2)(data, static_cast<int>(size), time, number);
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, kind.addText);

  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, kind.setEnterText);
  SetEvent((writer->*kind.dataReady).Get());
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, kind.setLeaveText);

  if (!WaitLogged(kind, (writer->*kind.bufferDone).Get(), kind.doneEnterText, kind.doneTimeOutText, kind.doneLeaveText))
    return TimeOutResult(writer);
  // "Buffer done" also comes from a pin that ended its stream (Stop came in
  // between) or lost its downstream (a stream error) without copying.
  if (kind.dataPending(writer)) return StreamEndedResult(kind, writer);
  ReleaseMutex(writer->m_hMainMutex.Get());
  TAV_LOG(kFile, kind.function, LOG_SEV_TRACE, 0, kind.leaveText);
  return S_OK;
}

// A break frame only marks the filters: no mutex, no event.
HRESULT BreakFrame(int id) {
  const char* function = "TavMovieMakerAddBreakFrame";
  TAV_LOG(kFile, function, LOG_SEV_TRACE, 0, L"TavMovieMakerAddBreakFrame -> Enter");
  HRESULT hr = StoredStreamError(g_pAviWriter);
  if (hr < 0) return hr;
  if (id == 0) {
    TAV_LOG(kFile, function, LOG_SEV_ERROR, 0, L"AddMovieFrame() bad ID");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(id);
  CAviWriter* writer = g_pAviWriter;
  hr = writer->AddMovieFrame2(nullptr, 0, 0, 0);
  if (writer->m_pAudioSource != nullptr) hr = writer->AddAudioSample2(nullptr, 0, 0, 0);
  // The format text stands as it always has ("%0x" and a literal "08X").
  TAV_LOG(kFile, function, LOG_SEV_TRACE, 0, L"TavMovieMakerAddBreakFrame -> Leave, hrSrc=%0x08X",
          static_cast<unsigned>(hr));
  return hr;
}

}  // namespace

extern "C" HRESULT TavMovieMakerAddMovieFrame2(int id, void* pData, unsigned int size, long long frameTime,
                                               long long frameNumber) {
  return GuardExport(kVideo.function, [&] {
    return HandOver(kVideo, id, pData, size, static_cast<ULONGLONG>(frameTime), static_cast<ULONGLONG>(frameNumber));
  });
}

extern "C" HRESULT TavMovieMakerAddMovieFrame(int id, void* pData, unsigned int size, long long frameTime) {
  return TavMovieMakerAddMovieFrame2(id, pData, size, frameTime, -1);
}

extern "C" HRESULT TavMovieMakerAddAudioSample2(int id, void* pData, unsigned int size, long long sampleTime,
                                                long long sampleNumber) {
  return GuardExport(kAudio.function, [&] {
    return HandOver(kAudio, id, pData, size, static_cast<ULONGLONG>(sampleTime), static_cast<ULONGLONG>(sampleNumber));
  });
}

extern "C" HRESULT TavMovieMakerAddAudioSample(int id, void* pData, unsigned int size, long long sampleTime) {
  return TavMovieMakerAddAudioSample2(id, pData, size, sampleTime, -1);
}

extern "C" HRESULT TavMovieMakerAddBreakFrame(int id) {
  return GuardExport("TavMovieMakerAddBreakFrame", [&] { return BreakFrame(id); });
}
