// The bodies of TavMovieMakerSetCompressor and TavMovieMakerSetAudioCompressor:
// choose a compressor of the loaded writer's table by friendly name and bind it.
#include "compressors/CompressorSelection.h"

#include <cwchar>

#include "compressors/CompressorChoices.h"
#include "compressors/CompressorEnumeration.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

wchar_t g_szDefaultCompressor[260] = {};
WAVEFORMATEX* g_pSelectedAudioFormat = nullptr;

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

// Index of the first entry named exactly `name`, or -1.
int FindEntry(const CompressorEntry* table, int count, const wchar_t* name) {
  if (table == nullptr) return -1;
  for (int i = 0; i < count; ++i) {
    if (wcscmp(table[i].szName, name) == 0) return i;
  }
  return -1;
}

// The entry's moniker as IMoniker (null without one); a failing
// QueryInterface other than E_NOINTERFACE raises _com_error.
ThrowingComPtr<IMoniker> EntryMoniker(const CompressorEntry& entry) {
  if (entry.pMoniker == nullptr) return ThrowingComPtr<IMoniker>();
  return ThrowingComPtr<IMoniker>(static_cast<IUnknown*>(entry.pMoniker.GetInterfacePtr()));
}

// Releases `filter` and binds the moniker into it (null when binding fails).
void BindFilter(IMoniker* moniker, ThrowingComPtr<IBaseFilter>& filter) {
  filter = nullptr;
  IBaseFilter* bound = nullptr;
  if (SUCCEEDED(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&bound))))
    filter.Attach(bound);
}

}  // namespace

HRESULT SetVideoCompressor(CompressorTableRecords& records, int writerId, const wchar_t* name, bool* pHasDialog) {
  const char* fn = "TavMovieMakerSetCompressor";
  TAV_LOG(kFile, fn, LOG_SEV_TRACE, 0, L"TavMovieMakerSetCompressor -> Enter");
  if (writerId == 0) {
    TAV_LOG(kFile, fn, LOG_SEV_TRACE, 0, L"id == 0 -> set default compressor");
    if (name == nullptr) {
      TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"SetCompressor() bad strCodec");
      return E_FAIL;
    }
    wcsncpy_s(g_szDefaultCompressor, 260, name, _TRUNCATE);
    if (pHasDialog) *pHasDialog = true;
  }
  if (g_pAviWriter == nullptr) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"SetCompressor() pAviWriter not iniotialized");
    return E_FAIL;
  }
  if (name == nullptr) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"SetCompressor() bad strCodec");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(writerId);
  if (g_pAviWriter->m_bStarted) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"pAviWriter->m_bStarted is true");
    return E_FAIL;
  }
  if (g_pAviWriter->m_pVideoCompressors == nullptr) {
    int count = 0;
    int maxLength = 0;
    GetVideoCompressors(records, writerId, nullptr, &count, &maxLength);
    g_pAviWriter->LoadParam(writerId);
  }

  CAviWriter& writer = *g_pAviWriter;
  const int i = FindEntry(writer.m_pVideoCompressors, writer.m_nVideoCompressors, name);
  if (i < 0) {
    // Unknown name: record without compression; the old filter stays.
    writer.m_bCompressed = 0;
    TAV_LOG(kFile, fn, LOG_SEV_TRACE, 0, L"TavMovieMakerSetCompressor -> Leave");
    return S_OK;
  }

  ThrowingComPtr<IMoniker> moniker = EntryMoniker(writer.m_pVideoCompressors[i]);
  bool hasDialog = false;
  if (moniker) {
    BindFilter(moniker, writer.m_pVideoCompressor);
    ThrowingComPtr<ISpecifyPropertyPages> pages(writer.m_pVideoCompressor);
    ThrowingComPtr<IAMVfwCompressDialogs, &IID_IAMVfwCompressDialogs> dialogs(writer.m_pVideoCompressor);
    hasDialog = pages || dialogs;
  } else {
    writer.m_pVideoCompressor = nullptr;
  }
  if (pHasDialog) *pHasDialog = hasDialog;
  writer.m_iVideoCompressor = i;
  writer.m_bCompressed = wcscmp(writer.m_pVideoCompressors[i].szName, L"Uncompressed") == 0 ? 0 : 1;
  return S_OK;
}

HRESULT SetAudioCompressor(CompressorTableRecords& records, int writerId, const wchar_t* name) {
  const char* fn = "TavMovieMakerSetAudioCompressor";
  TAV_LOG(kFile, fn, LOG_SEV_TRACE, 0, L"TavMovieMakerSetAudioCompressor -> Enter");
  if (g_pAviWriter == nullptr) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"SetAudioCompressor() pAviWriter not iniotialized");
    return E_FAIL;
  }
  if (name == nullptr) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"SetAudioCompressor() bad strCodec");
    return E_FAIL;
  }
  g_pAviWriter->LoadParam(writerId);
  if (g_pAviWriter->m_bStarted) {
    TAV_LOG(kFile, fn, LOG_SEV_ERROR, 0, L"pAviWriter->m_bStarted is true");
    return E_FAIL;
  }
  if (g_pAviWriter->m_pAudioCompressors == nullptr) {
    int count = 0;
    int maxLength = 0;
    GetAudioCompressors(records, writerId, nullptr, &count, &maxLength);
    g_pAviWriter->LoadParam(writerId);
  }

  CAviWriter& writer = *g_pAviWriter;
  writer.m_bAudioCompressed = 0;
  const int i = FindEntry(writer.m_pAudioCompressors, writer.m_nAudioCompressors, name);
  if (i >= 0) {
    ThrowingComPtr<IMoniker> moniker = EntryMoniker(writer.m_pAudioCompressors[i]);
    if (moniker) BindFilter(moniker, writer.m_pAudioCompressor);
    else writer.m_pAudioCompressor = nullptr;
    writer.m_iAudioCompressor = i;
    writer.m_bAudioCompressed = 1;
  }
  // The audio function shares the video function's Leave text.
  TAV_LOG(kFile, fn, LOG_SEV_TRACE, 0, L"TavMovieMakerSetCompressor -> Leave");
  return S_OK;
}
