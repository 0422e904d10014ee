// TavMovieMakerInit, TavMovieMakerInit2 and TavMovieMakerInitEx: set up a new
// writer, or set an existing one up again. Control thread only.
#include <cmath>
#include <cwchar>

#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "api/RunningRecording.h"
#include "api/SourceFilters.h"
#include "api/WriterEvents.h"
#include "api/WriterRegistry.h"
#include "compressors/CompressorChoices.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";
const char kInitEx[] = "TavMovieMakerInitEx";

bool InitArgumentsValid(int width, int height, double fps) {
  if (width == 0) {
    TAV_LOG(kFile, kInitEx, LOG_SEV_ERROR, 0, L"Create Movie error, bad width");
    return false;
  }
  if (height == 0) {
    TAV_LOG(kFile, kInitEx, LOG_SEV_ERROR, 0, L"Create Movie error, bad height");
    return false;
  }
  if (fps == 0.0 || std::isnan(fps)) {
    TAV_LOG(kFile, kInitEx, LOG_SEV_ERROR, 0, L"Create Movie error, bad fps");
    return false;
  }
  return true;
}

// A record for a new writer ID, sharing the writer's graph and builder.
AviWriterParam NewRecord(int id, int width, int height, double fps) {
  AviWriterParam record;
  record.nID = id;
  record.pGraph = g_pAviWriter->m_pGraph;
  record.pBuilder = g_pAviWriter->m_pBuilder;
  record.nWidth = width;
  record.nHeight = height;
  record.dFps = fps;
  return record;
}

// Every writer was released: a new writer object and a registry of one.
void SetUpFirstWriter(int width, int height, double fps, int* pID) {
  g_pAviWriter = new CAviWriter();
  g_pAviWriter->EmptyGraph();
  *pID = static_cast<int>(++g_nAviIDCounter);
  AviWriterParam record = NewRecord(*pID, width, height, fps);
  g_plistAviID = new std::list<AviWriterParam>();
  g_plistAviID->push_back(record);
  int count = 0, maxLength = 0;
  TavMovieMakerGetCompressors(*pID, nullptr, &count, &maxLength);
}

// The record exists: refresh it and load it (all but the file name).
void SetUpKnownWriter(AviWriterParam& record, int width, int height, double fps, int* pID) {
  if (record.nID == 0) {  // the default record becomes writer 1
    record.nID = 1;
    *pID = 1;
    ++g_nAviIDCounter;
  }
  CAviWriter* writer = g_pAviWriter;
  writer->EmptyGraph();
  record.pGraph = writer->m_pGraph;
  record.pBuilder = writer->m_pBuilder;
  record.nWidth = width;
  record.nHeight = height;
  record.dFps = fps;
  writer->m_nWidth = static_cast<UINT>(record.nWidth);
  writer->m_nHeight = static_cast<UINT>(record.nHeight);
  writer->m_dFrameRate = record.dFps;
  writer->m_pGraph = record.pGraph;
  writer->m_pBuilder = record.pBuilder;
  writer->m_pVideoCompressors = record.pVideoCompressors;
  writer->m_nVideoCompressors = record.nVideoCompressors;
  writer->m_pAudioCompressors = record.pAudioCompressors;
  writer->m_nAudioCompressors = record.nAudioCompressors;
}

// No record has the ID: a new one, appended with width and height crossed
// (kept as the registry has always stored them). False when the graph cannot
// be emptied; the counter keeps its increment then.
bool SetUpNewWriter(int width, int height, double fps, int* pID) {
  *pID = static_cast<int>(++g_nAviIDCounter);
  if (g_pAviWriter->EmptyGraph() < 0) return false;
  g_plistAviID->push_back(NewRecord(*pID, height, width, fps));
  return true;
}

// Creates the raw frame source filter, the AVI Mux and the File Writer.
HRESULT MakeFixedFilters(CAviWriter* writer) {
  CoInitialize(nullptr);
  HRESULT hr = MakeRawFrameFilter(writer->m_pRawFilter);
  if (FAILED(hr)) return hr;
  writer->m_pAviMux = nullptr;
  hr = writer->m_pAviMux.CreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER);
  if (FAILED(hr)) return hr;
  writer->m_pFileWriter = nullptr;
  return writer->m_pFileWriter.CreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER);
}

// Parses an empty display name; should that ever yield a moniker, the video
// compressor filter (when there is one) is bound from it again.
void RebindVideoCompressor(CAviWriter* writer, IBindCtx* bindCtx, IMoniker** moniker) {
  ULONG eaten = 0;
  if (FAILED(MkParseDisplayName(bindCtx, L"", &eaten, moniker)) || !*moniker) return;
  if (writer->m_pVideoCompressor == nullptr) return;
  writer->m_pVideoCompressor = nullptr;
  (*moniker)->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&writer->m_pVideoCompressor));
}

HRESULT InitEx(int width, int height, double fps, void* pFrameData, int* pID) {
  TAV_LOG(kFile, kInitEx, LOG_SEV_TRACE, 0, L"TavMovieMakerInitEx -> Enter");
  if (!InitArgumentsValid(width, height, fps)) return E_FAIL;
  if (!pID) {
    TAV_LOG(kFile, kInitEx, LOG_SEV_ERROR, 0, L"Create Movie error, bad pID");
    return E_FAIL;
  }
  // Setting the writer up empties its graph: a recording still running in
  // it is ended first, or emptying would wait for its pins for ever.
  if (g_plistAviID && GraphMayHoldWaitingPins(g_pAviWriter)) EndRunningRecording(g_pAviWriter, kInitEx);
  if (!g_plistAviID) {
    SetUpFirstWriter(width, height, fps, pID);
  } else if (!g_pAviWriter) {
    _com_issue_error(E_POINTER);  // the library could not make its writer at load
  } else if (AviWriterParam* record = FindWriterRecord(*pID)) {
    SetUpKnownWriter(*record, width, height, fps, pID);
  } else if (!SetUpNewWriter(width, height, fps, pID)) {
    return E_FAIL;
  }
  const int id = *pID;
  CAviWriter* writer = g_pAviWriter;
  if (!RecreateHandOverEvents(writer, id)) return E_FAIL;
  if (!RecreateMainMutex(writer)) return E_FAIL;

  HRESULT hr = MakeFixedFilters(writer);
  if (FAILED(hr)) return hr;
  ThrowingComPtr<IBindCtx> bindCtx;
  ThrowingComPtr<IMoniker> moniker;
  if (SUCCEEDED(CreateBindCtx(0, &bindCtx))) RebindVideoCompressor(writer, bindCtx, &moniker);
  if (pFrameData) writer->SetFrameData(static_cast<UINT*>(pFrameData));
  writer->InitParam2(static_cast<UINT>(width), height, fps, static_cast<UINT>(writer->m_bCompressed),
                     static_cast<UINT>(id));
  if (g_szDefaultCompressor[0] != L'\0') {
    bool hasDialog = false;
    TavMovieMakerSetCompressor(id, g_szDefaultCompressor, &hasDialog);
  }
  TAV_LOG(kFile, kInitEx, LOG_SEV_TRACE, 0, L"TavMovieMakerInit2 -> Leave");
  return S_OK;  // the moniker and the bind context are released here
}

}  // namespace

extern "C" HRESULT TavMovieMakerInitEx(int width, int height, double fps, void* pFrameData, int* pID) {
  return GuardExport(kInitEx, [&] { return InitEx(width, height, fps, pFrameData, pID); });
}

extern "C" HRESULT TavMovieMakerInit2(int width, int height, double fps, int* pID) {
  TAV_LOG(kFile, "TavMovieMakerInit2", LOG_SEV_TRACE, 0, L"TavMovieMakerInit2 -> Enter");
  HRESULT hr = TavMovieMakerInitEx(width, height, fps, nullptr, pID);
  return hr < 0 ? hr : S_OK;
}

extern "C" HRESULT TavMovieMakerInit(int width, int height, int fps, int* pID) {
  CoInitialize(nullptr);
  TAV_LOG(kFile, "TavMovieMakerInit", LOG_SEV_TRACE, 0, L"TavMovieMakerInit -> Enter");
  return TavMovieMakerInit2(width, height, static_cast<double>(fps), pID);
}
