// The compressor exports: thin calls into compressors/, which gets the writer
// records' tables from the registry here. Control thread only.
#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "api/WriterRegistry.h"
#include "compressors/CompressorEnumeration.h"
#include "compressors/CompressorSelection.h"
#include "compressors/CompressorTableRecords.h"

namespace {

// The registry's records as compressors/ sees them, looked up at each question.
class RegistryTableRecords : public CompressorTableRecords {
 public:
  bool HeldByAnotherRecord(int writerId, const CompressorEntry* table) const override {
    if (g_plistAviID == nullptr) return false;
    const AviWriterParam* receiving = FindWriterRecord(writerId);
    for (const AviWriterParam& record : *g_plistAviID) {
      if (&record == receiving) continue;
      if (record.pVideoCompressors == table || record.pAudioCompressors == table) return true;
    }
    return false;
  }

  void StoreVideoTable(int writerId, CompressorEntry* table, int count) override {
    if (AviWriterParam* record = FindWriterRecord(writerId)) {
      record->pVideoCompressors = table;
      record->nVideoCompressors = count;
    }
  }

  void StoreAudioTable(int writerId, CompressorEntry* table, int count) override {
    if (AviWriterParam* record = FindWriterRecord(writerId)) {
      record->pAudioCompressors = table;
      record->nAudioCompressors = count;
    }
  }
};

}  // namespace

extern "C" HRESULT TavMovieMakerGetCompressors(int writerId, wchar_t** names, int* count, int* maxLength) {
  RegistryTableRecords records;
  return GuardExport(
      "TavMovieMakerGetCompressors", [&] { return GetVideoCompressors(records, writerId, names, count, maxLength); },
      ExportErrorLine::kComErrorText);
}

extern "C" HRESULT TavMovieMakerGetAudioCompressors(int writerId, wchar_t** names, int* count, int* maxLength) {
  RegistryTableRecords records;
  return GuardExport(
      "TavMovieMakerGetAudioCompressors",
      [&] { return GetAudioCompressors(records, writerId, names, count, maxLength); }, ExportErrorLine::kComErrorText);
}

extern "C" HRESULT TavMovieMakerSetCompressor(int writerId, const wchar_t* name, bool* pHasDialog) {
  RegistryTableRecords records;
  return GuardExport(
      "TavMovieMakerSetCompressor", [&] { return SetVideoCompressor(records, writerId, name, pHasDialog); },
      ExportErrorLine::kComErrorText);
}

extern "C" HRESULT TavMovieMakerSetAudioCompressor(int writerId, const wchar_t* name) {
  RegistryTableRecords records;
  return GuardExport(
      "TavMovieMakerSetAudioCompressor", [&] { return SetAudioCompressor(records, writerId, name); },
      ExportErrorLine::kComErrorText);
}
