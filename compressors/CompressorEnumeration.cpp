// The bodies of TavMovieMakerGetCompressors and TavMovieMakerGetAudioCompressors:
// the two-call protocol over the system's video and audio compressor categories.
#include "compressors/CompressorEnumeration.h"

#include <cwchar>
#include <new>

#include "compressors/CompressorEntry.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

// A category's entries, read from its device monikers.
struct EnumeratedTable {
  CompressorEntry* pEntries = nullptr;
  int nFilled = 0;   // entries written (fixed entry included)
  int nMaxName = 0;  // longest friendly name read, in characters
};

// Enumerates `category` into a new zeroed table of (monikers + 1) entries.
// Returns E_FAIL when the device enumerator cannot be made (E_NOINTERFACE or
// no object); other COM failures, an empty category included (no class
// enumerator), raise _com_error. The first `firstIndex` entries are left for
// the caller; monikers without a readable "FriendlyName" are skipped.
HRESULT EnumerateCategory(REFCLSID category, int firstIndex, EnumeratedTable& table) {
  ThrowingComPtr<ICreateDevEnum> devEnum;
  HRESULT hr = devEnum.CreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER);
  if (FAILED(hr) && hr != E_NOINTERFACE) _com_issue_error(hr);
  if (!devEnum) return E_FAIL;

  ThrowingComPtr<IEnumMoniker> monikers;
  devEnum->CreateClassEnumerator(category, &monikers, 0);

  // Counting pass; the count starts at 1.
  int allocated = 1;
  ThrowingComPtr<IMoniker> moniker;
  while (monikers->Next(1, &moniker, nullptr) == S_OK) ++allocated;
  monikers->Reset();

  table.pEntries = new CompressorEntry[allocated]();
  // Audio (no fixed entry) keeps its last entry spare.
  const int limit = firstIndex == 0 ? allocated - 1 : allocated;
  int i = firstIndex;
  while (i < limit && monikers->Next(1, &moniker, nullptr) == S_OK) {
    ThrowingComPtr<IPropertyBag> bag;
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(&bag)))) continue;
    VARIANT name;
    VariantInit(&name);
    if (SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)) && name.vt == VT_BSTR && name.bstrVal) {
      int length = static_cast<int>(wcslen(name.bstrVal));
      if (length > table.nMaxName) table.nMaxName = length;
      wcsncpy_s(table.pEntries[i].szName, 260, name.bstrVal, _TRUNCATE);
      table.pEntries[i].pMoniker = moniker;
      ++i;
    }
    VariantClear(&name);
  }
  table.nFilled = i;
  return S_OK;
}

// Second call: copies `count` names into the host's buffers of maxLength
// characters each. A name that does not fit, or an index past the table,
// leaves that buffer empty; nothing is written past a buffer.
void CopyNames(const CompressorEntry* table, int tableCount, wchar_t** names, int count, int maxLength) {
  for (int i = 0; i < count; ++i) {
    wchar_t* buffer = names[i];
    if (buffer == nullptr || maxLength <= 0) continue;
    const wchar_t* name = (table != nullptr && i < tableCount) ? table[i].szName : L"";
    if (wcslen(name) < static_cast<size_t>(maxLength)) wcscpy_s(buffer, static_cast<size_t>(maxLength), name);
    else buffer[0] = L'\0';
  }
}

// Replaces the loaded writer's table. The old one is freed unless a writer
// record other than the one about to receive the new table still points at
// it: records share tables with the writer and never free them, so freeing
// one they hold would leave a later LoadParam with a dangling table.
void ReplaceTable(const CompressorTableRecords& records, int writerId, CompressorEntry*& table, int& count,
                  CompressorEntry* newTable, int newCount) {
  const bool stillListed = table != nullptr && records.HeldByAnotherRecord(writerId, table);
  if (!stillListed) FreeCompressorTable(table);
  table = newTable;
  count = newCount;
}

CAviWriter& LoadedWriter() {
  if (g_pAviWriter == nullptr) _com_issue_error(E_POINTER);
  return *g_pAviWriter;
}

}  // namespace

HRESULT GetVideoCompressors(CompressorTableRecords& records, int writerId, wchar_t** names, int* count,
                            int* maxLength) {
  TAV_LOG(kFile, "TavMovieMakerGetCompressors", LOG_SEV_TRACE, 0, L"TavMovieMakerGetCompressors -> Enter");
  if (count == nullptr || maxLength == nullptr) _com_issue_error(E_POINTER);
  CAviWriter& writer = LoadedWriter();

  if (*count == 0) {
    EnumeratedTable table;
    HRESULT hr = EnumerateCategory(CLSID_VideoCompressorCategory, 1, table);
    if (hr != S_OK) return hr;
    wcsncpy_s(table.pEntries[0].szName, 260, L"Uncompressed", _TRUNCATE);
    table.pEntries[0].pMoniker = nullptr;

    ReplaceTable(records, writerId, writer.m_pVideoCompressors, writer.m_nVideoCompressors, table.pEntries,
                 table.nFilled);
    *maxLength = table.nMaxName + 2;
    *count = table.nFilled;
    records.StoreVideoTable(writerId, table.pEntries, table.nFilled);
  } else {
    if (names == nullptr) {
      TAV_LOG(kFile, "TavMovieMakerGetCompressors", LOG_SEV_ERROR, 0, L"GetCompressors() bad strName");
      return E_FAIL;
    }
    CopyNames(writer.m_pVideoCompressors, writer.m_nVideoCompressors, names, *count, *maxLength);
  }
  TAV_LOG(kFile, "TavMovieMakerGetCompressors", LOG_SEV_TRACE, 0, L"TavMovieMakerGetCompressors -> Leave");
  return S_OK;
}

HRESULT GetAudioCompressors(CompressorTableRecords& records, int writerId, wchar_t** names, int* count,
                            int* maxLength) {
  TAV_LOG(kFile, "TavMovieMakerGetAudioCompressors", LOG_SEV_TRACE, 0, L"TavMovieMakerGetAudioCompressors -> Enter");
  CAviWriter& writer = LoadedWriter();
  if (!writer.m_pAudioSource) {
    TAV_LOG(kFile, "TavMovieMakerGetAudioCompressors", LOG_SEV_TRACE, 0,
            L"TavMovieMakerGetAudioCompressors -> Source filter is NULL");
    return S_FALSE;
  }
  if (count == nullptr || maxLength == nullptr) _com_issue_error(E_POINTER);

  if (*count == 0) {
    EnumeratedTable table;
    HRESULT hr = EnumerateCategory(CLSID_AudioCompressorCategory, 0, table);
    if (hr != S_OK) return hr;
    for (int i = 0; i < table.nFilled; ++i) {
      if (wcsncmp(table.pEntries[i].szName, L"PCM", 4) == 0)
        wcsncpy_s(table.pEntries[i].szName, 260, L"PCM (Uncompressed)", _TRUNCATE);
    }
    // The spare last entry of the allocation is counted too (hosts size their
    // buffers by it); it stays zeroed, an empty name.
    const int reported = table.nFilled + 1;

    ReplaceTable(records, writerId, writer.m_pAudioCompressors, writer.m_nAudioCompressors, table.pEntries, reported);
    *maxLength = table.nMaxName + 2;
    *count = reported;
    records.StoreAudioTable(writerId, table.pEntries, reported);
  } else {
    if (names == nullptr) {
      TAV_LOG(kFile, "TavMovieMakerGetAudioCompressors", LOG_SEV_ERROR, 0, L"GetAudioCompressors() bad strName");
      return E_FAIL;
    }
    CopyNames(writer.m_pAudioCompressors, writer.m_nAudioCompressors, names, *count, *maxLength);
  }
  TAV_LOG(kFile, "TavMovieMakerGetAudioCompressors", LOG_SEV_TRACE, 0, L"TavMovieMakerGetAudioCompressors -> Leave");
  return S_OK;
}
