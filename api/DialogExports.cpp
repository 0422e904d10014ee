// TavMovieMakerShowCompressorDlg and TavMovieMakerShowAudioCompressorDlg: the
// compressors' settings, shown modally on the calling (host UI) thread.
#include <ocidl.h>
#include <olectl.h>

#include "TavMovieMaker.h"
#include "api/AudioFormatDialog.h"
#include "api/ExportGuard.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";
const char kShowVideo[] = "TavMovieMakerShowCompressorDlg";
const char kShowAudio[] = "TavMovieMakerShowAudioCompressorDlg";

CAviWriter* WriterOrRaise() {
  if (!g_pAviWriter) _com_issue_error(E_POINTER);
  return g_pAviWriter;
}

// The video compressor's property pages, or else its VfW configuration
// dialog; nothing without a compressor.
HRESULT ShowCompressorDlg(int id, HWND parent) {
  TAV_LOG(kFile, kShowVideo, LOG_SEV_TRACE, 0, L"TavMovieMakerShowCompressorDlg -> Enter");
  if (id == 0) {
    TAV_LOG(kFile, kShowVideo, LOG_SEV_ERROR, 0, L"ShowCompressorDlg() bad ID");
    return E_FAIL;
  }
  WriterOrRaise()->LoadParam(id);
  CAviWriter* writer = WriterOrRaise();
  if (writer->m_bStarted) {
    TAV_LOG(kFile, kShowVideo, LOG_SEV_ERROR, 0, L"pAviWriter->m_bStarted is true");
    return E_FAIL;
  }
  if (writer->m_pVideoCompressor != nullptr) {
    ThrowingComPtr<ISpecifyPropertyPages> pages(writer->m_pVideoCompressor);
    if (pages != nullptr) {
      CAUUID list = {0, nullptr};
      if (SUCCEEDED(pages->GetPages(&list))) {
        IUnknown* object = writer->m_pVideoCompressor;
        OleCreatePropertyFrame(parent, 30, 30, L"Video compressor properties", 1, &object, list.cElems, list.pElems, 0,
                               0, nullptr);
        CoTaskMemFree(list.pElems);
      }
    } else {
      ThrowingComPtr<IAMVfwCompressDialogs, &IID_IAMVfwCompressDialogs> dialogs(writer->m_pVideoCompressor);
      if (dialogs != nullptr) dialogs->ShowDialog(VfwCompressDialog_Config, parent);
    }
  }
  TAV_LOG(kFile, kShowVideo, LOG_SEV_TRACE, 0, L"TavMovieMakerShowCompressorDlg -> Leave");
  return S_OK;
}

// The audio format dialog, when an audio compressor was chosen; the user's
// choice is not reported, only stored.
HRESULT ShowAudioCompressorDlg(int id, HWND parent) {
  TAV_LOG(kFile, kShowAudio, LOG_SEV_TRACE, 0, L"TavMovieMakerShowAudioCompressorDlg -> Enter");
  if (id == 0) {
    TAV_LOG(kFile, kShowAudio, LOG_SEV_ERROR, 0, L"ShowAudioCompressorDlg() bad ID");
    return E_FAIL;
  }
  WriterOrRaise()->LoadParam(id);
  CAviWriter* writer = WriterOrRaise();
  if (writer->m_bStarted) {
    TAV_LOG(kFile, kShowAudio, LOG_SEV_ERROR, 0, L"pAviWriter->m_bStarted is true");
    return E_FAIL;
  }
  if (writer->m_bAudioCompressed) {
    // The dialog reads the compressor on every message: a missing one is
    // refused here, before any window exists.
    if (writer->m_pAudioCompressor == nullptr) _com_issue_error(E_POINTER);
    ShowAudioFormatDialog(parent);
  }
  TAV_LOG(kFile, kShowAudio, LOG_SEV_TRACE, 0, L"TavMovieMakerShowAudioCompressorDlg -> Leave");
  return S_OK;
}

}  // namespace

extern "C" HRESULT TavMovieMakerShowCompressorDlg(int id, HWND parent) {
  return GuardExport(kShowVideo, [&] { return ShowCompressorDlg(id, parent); });
}

extern "C" HRESULT TavMovieMakerShowAudioCompressorDlg(int id, HWND parent) {
  return GuardExport(kShowAudio, [&] { return ShowAudioCompressorDlg(id, parent); });
}
