// The writer registry: the globals and CAviWriter::LoadParam.
#include "api/WriterRegistry.h"

#include <cwchar>

#include "log/Trace.h"
#include "writer/CAviWriter.h"

CAviWriter* g_pAviWriter = nullptr;
std::list<AviWriterParam>* g_plistAviID = nullptr;
unsigned int g_nAviIDCounter = 0;

AviWriterParam* FindWriterRecord(int id) {
  if (!g_plistAviID) return nullptr;
  for (AviWriterParam& record : *g_plistAviID)
    if (record.nID == id) return &record;
  return nullptr;
}

// Works on g_pAviWriter whatever `this` is. An unknown ID abandons the whole
// registry (records not freed) for a fresh one holding a single zeroed record
// under the next counter value; the writer object is left as it was.
void CAviWriter::LoadParam(int id) {
  TAV_LOG(L".\\TavMovieMaker", "CAviWriter::LoadParam", LOG_SEV_TRACE, 0, L"CAviWriter::LoadParam -> Enter");
  if (!g_plistAviID) {
    TAV_LOG(L".\\TavMovieMaker", "CAviWriter::LoadParam", LOG_SEV_DEBUG, 0, L"Error load param, g_plistAviID = 0");
  } else if (AviWriterParam* record = FindWriterRecord(id)) {
    if (CAviWriter* writer = g_pAviWriter) {
      wcsncpy_s(writer->m_szFileName, 260, record->szFileName, _TRUNCATE);
      writer->m_nWidth = static_cast<UINT>(record->nWidth);
      writer->m_nHeight = static_cast<UINT>(record->nHeight);
      writer->m_dFrameRate = record->dFps;
      if (writer->m_pGraph != record->pGraph) writer->m_pGraph = record->pGraph;
      if (writer->m_pBuilder != record->pBuilder) writer->m_pBuilder = record->pBuilder;
      writer->m_pVideoCompressors = record->pVideoCompressors;
      writer->m_nVideoCompressors = record->nVideoCompressors;
      writer->m_pAudioCompressors = record->pAudioCompressors;
      writer->m_nAudioCompressors = record->nAudioCompressors;
    }
  } else {
    AviWriterParam fresh;
    fresh.nID = static_cast<int>(++g_nAviIDCounter);
    g_plistAviID = new std::list<AviWriterParam>();
    g_plistAviID->push_back(fresh);
  }
  TAV_LOG(L".\\TavMovieMaker", "CAviWriter::LoadParam", LOG_SEV_TRACE, 0, L"CAviWriter::LoadParam -> Leave");
}
