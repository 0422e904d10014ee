// The writer registry as the DLL's api/ defines it, reduced to what the
// writer and compressor code reach: the globals, FindWriterRecord and
// LoadParam copying a found record into g_pAviWriter. Tests set the globals
// up themselves; an unknown ID leaves everything as it was here.
#include <cwchar>

#include "api/WriterRegistry.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

CAviWriter* g_pAviWriter = nullptr;
std::list<AviWriterParam>* g_plistAviID = nullptr;
unsigned int g_nAviIDCounter = 0;

AviWriterParam* FindWriterRecord(int id) {
  if (!g_plistAviID) return nullptr;
  for (AviWriterParam& record : *g_plistAviID) {
    if (record.nID == id) return &record;
  }
  return nullptr;
}

void CAviWriter::LoadParam(int id) {
  TAV_LOG(L".\\TavMovieMaker", "CAviWriter::LoadParam", LOG_SEV_TRACE, 0, L"CAviWriter::LoadParam -> Enter");
  AviWriterParam* record = FindWriterRecord(id);
  if (record && g_pAviWriter) {
    CAviWriter* writer = g_pAviWriter;
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
  TAV_LOG(L".\\TavMovieMaker", "CAviWriter::LoadParam", LOG_SEV_TRACE, 0, L"CAviWriter::LoadParam -> Leave");
}
