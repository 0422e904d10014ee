// Recording control: TavMovieMakerStartMovieRecord, TavMovieMakerStopMovieRecord
// and TavMovieMakerSetAudioStream. Control thread only; none takes a lock, so
// none may run while a hand-over is in progress on another thread.
#include <cwchar>

#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "api/RunningRecording.h"
#include "api/SourceFilters.h"
#include "api/WriterEvents.h"
#include "api/WriterRegistry.h"
#include "framework/Source.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";
const char kStart[] = "TavMovieMakerStartMovieRecord";
const char kStop[] = "TavMovieMakerStopMovieRecord";
const char kSetAudio[] = "TavMovieMakerSetAudioStream";

CAviWriter* WriterOrRaise() {
  if (!g_pAviWriter) _com_issue_error(E_POINTER);
  return g_pAviWriter;
}

// Only marks the writer: the next frame or audio block builds and runs the
// graph. The file name goes into the record before the ID is looked at, so
// ID 0 writes it into the default record (while that exists).
HRESULT StartMovieRecord(int id, const wchar_t* fileName) {
  TAV_LOG(kFile, kStart, LOG_SEV_TRACE, 0, L"TavMovieMakerStartMovieRecord -> Enter");
  RawFrameSource()->SetStreamError(S_OK);
  ClearStreamErrors(g_pAviWriter);  // and the audio filter's
  if (!fileName) {
    TAV_LOG(kFile, kStart, LOG_SEV_ERROR, 0, L"StartMovieRecord() bad file name");
    return E_FAIL;
  }
  if (AviWriterParam* record = FindWriterRecord(id)) wcsncpy_s(record->szFileName, 260, fileName, _TRUNCATE);
  if (id == 0) {
    TAV_LOG(kFile, kStart, LOG_SEV_ERROR, 0, L"StartMovieRecord() bad ID");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(id);
  CAviWriter* writer = WriterOrRaise();
  // The next frame would stop the graph under pins that wait for data: a
  // recording still running is ended here, its file completed.
  if (GraphMayHoldWaitingPins(writer)) EndRunningRecording(writer, kStart);
  ResetHandOverEvents(writer);
  writer->m_bStartPending = true;
  writer->InitParam2(writer->m_nWidth, static_cast<int>(writer->m_nHeight), writer->m_dFrameRate,
                     static_cast<UINT>(writer->m_bCompressed), static_cast<UINT>(id));
  writer->m_bStarted = true;
  TAV_LOG(kFile, kStart, LOG_SEV_TRACE, 0, L"TavMovieMakerStartMovieRecord -> Leave");
  return S_OK;
}

// Lets the pins pass the last frame on, ends the streams, stops the graph
// (completing the file) and empties it. The result is StopRecord's, whatever emptying the graph gives.
HRESULT StopMovieRecord(int id) {
  TAV_LOG(kFile, kStop, LOG_SEV_TRACE, 0, L"TavMovieMakerStopMovieRecord -> Enter");
  if (id == 0) {
    TAV_LOG(kFile, kStop, LOG_SEV_ERROR, 0, L"StopMovieRecord() bad ID");
    return E_FAIL;
  }
  WriterOrRaise()->LoadParam(id);
  CAviWriter* writer = WriterOrRaise();
  writer->ReleaseFilterData();
  HRESULT hr = writer->StopRecord();
  writer->m_bStarted = false;
  RawFrameSource()->SetStreamError(S_OK);
  ClearStreamErrors(g_pAviWriter);  // and the audio filter's
  writer->EmptyGraph();
  TAV_LOG(kFile, kStop, LOG_SEV_TRACE, 0, L"TavMovieMakerStopMovieRecord -> Leave");
  return hr;
}

// Every line of this export is logged at ERROR, as it always has been.
HRESULT SetAudioStream(int id, unsigned int audioParameter) {
  TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, 0, L"SetAudioStream() -> Enter");
  if (WriterOrRaise()->m_pAudioSource != nullptr) {
    // One audio source serves every writer ID until the writer object goes.
    TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, 0, L"SetAudioStream() AudioSource already exists");
    return S_OK;
  }
  if (id == 0) {
    TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, 0, L"SetAudioStream() bad ID");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(id);
  CAviWriter* writer = WriterOrRaise();
  HRESULT hr = MakeAudioSourceFilter(writer->m_pAudioSource);
  if (hr == E_OUTOFMEMORY && writer->m_pAudioSource == nullptr) {
    TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, static_cast<int>(hr), L"SetAudioStream() -> new CAudioSource 0x%8X",
            static_cast<unsigned>(hr));
    return hr;
  }
  if (FAILED(hr)) {
    TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, 0, L"SetAudioStream() -> pSrc->NonDelegatingQueryInterface 0x%8X",
            static_cast<unsigned>(hr));
    return hr;
  }
  writer->InitAudio(audioParameter, static_cast<UINT>(id), static_cast<UINT>(static_cast<int>(writer->m_dFrameRate)));
  int count = 0, maxLength = 0;
  hr = TavMovieMakerGetAudioCompressors(id, nullptr, &count, &maxLength);
  TAV_LOG(kFile, kSetAudio, LOG_SEV_ERROR, 0, L"SetAudioStream() -> Leave");
  return hr;
}

}  // namespace

extern "C" HRESULT TavMovieMakerStartMovieRecord(int id, const wchar_t* fileName) {
  return GuardExport(kStart, [&] { return StartMovieRecord(id, fileName); });
}

extern "C" HRESULT TavMovieMakerStopMovieRecord(int id) {
  return GuardExport(kStop, [&] { return StopMovieRecord(id); });
}

extern "C" HRESULT TavMovieMakerSetAudioStream(int id, unsigned int audioParameter) {
  return GuardExport(kSetAudio, [&] { return SetAudioStream(id, audioParameter); });
}
