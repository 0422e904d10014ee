#include "api/AudioFormatDialog.h"

#include <dshow.h>

#include <cwchar>

#include "api/DialogIds.h"
#include "compressors/CompressorChoices.h"
#include "writer/CAviWriter.h"

extern HMODULE g_hTavMovieMakerModule;

namespace {

const int kCapsSize = 52;  // sizeof(AUDIO_STREAM_CONFIG_CAPS)

void FreeMediaType(AM_MEDIA_TYPE* type) {
  if (!type) return;
  if (type->cbFormat) CoTaskMemFree(type->pbFormat);
  if (type->pUnk) type->pUnk->Release();
  CoTaskMemFree(type);
}

// The stream configuration of the compressor's last pin (its output) and its
// capability count. False when a pin's capability structure is not the audio
// one.
bool LastPinStreamConfig(IBaseFilter* compressor, ThrowingComPtr<IAMStreamConfig>& config, int& count) {
  count = 0;
  ThrowingComPtr<IEnumPins> pins;
  if (FAILED(compressor->EnumPins(&pins)) || !pins) return true;
  ThrowingComPtr<IPin> pin;
  bool ok = true;
  while (ok && pins->Next(1, &pin, nullptr) == S_OK) {
    config = nullptr;
    pin->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
    if (config != nullptr) {
      int size = 0;
      config->GetNumberOfCapabilities(&count, &size);
      if (size != kCapsSize) ok = false;
    }
  }
  return ok;
}

// The capability at `index` when it is a WAVEFORMATEX one (free it), else null.
AM_MEDIA_TYPE* WaveCaps(IAMStreamConfig* config, int index) {
  AM_MEDIA_TYPE* type = nullptr;
  BYTE caps[kCapsSize];
  if (!config || FAILED(config->GetStreamCaps(index, &type, caps)) || !type) return nullptr;
  if (type->formattype != FORMAT_WaveFormatEx || type->cbFormat < sizeof(WAVEFORMATEX)) {
    FreeMediaType(type);
    return nullptr;
  }
  return type;
}

void FillFormatList(HWND list, IAMStreamConfig* config, int count) {
  SendMessageW(list, LB_RESETCONTENT, 0, 0);
  for (int i = 0; i < count; ++i) {
    AM_MEDIA_TYPE* type = WaveCaps(config, i);
    if (!type) continue;
    const WAVEFORMATEX* wave = reinterpret_cast<const WAVEFORMATEX*>(type->pbFormat);
    wchar_t channels[32];
    if (wave->nChannels == 1) wcscpy_s(channels, L"Mono");
    else if (wave->nChannels == 2) wcscpy_s(channels, L"Stereo");
    else swprintf_s(channels, 32, L"%d channels", wave->nChannels);
    int kB = static_cast<int>((wave->nAvgBytesPerSec + 1023) / 1024);
    wchar_t line[128];
    swprintf_s(line, 128, L"%d kbps  %d Hz %s    %d kB/s\n", kB * 8, static_cast<int>(wave->nSamplesPerSec), channels,
               kB);
    SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line));
    FreeMediaType(type);
  }
}

// OK: the selected line's format becomes the picked one (none: cleared). The
// list position is taken as the capability index.
void StorePickedFormat(HWND list, IAMStreamConfig* config) {
  LRESULT selection = SendMessageW(list, LB_GETCURSEL, 0, 0);
  delete[] reinterpret_cast<BYTE*>(g_pSelectedAudioFormat);
  g_pSelectedAudioFormat = nullptr;
  if (selection == LB_ERR) return;
  AM_MEDIA_TYPE* type = nullptr;
  BYTE caps[kCapsSize];
  if (!config || FAILED(config->GetStreamCaps(static_cast<int>(selection), &type, caps)) || !type) return;
  if (type->pbFormat && type->cbFormat >= 18) {
    BYTE* picked = new BYTE[18];
    CopyMemory(picked, type->pbFormat, 18);
    g_pSelectedAudioFormat = reinterpret_cast<WAVEFORMATEX*>(picked);
  }
  FreeMediaType(type);
}

void ShowFormatDetails(HWND dialog, HWND list, IAMStreamConfig* config) {
  LRESULT selection = SendMessageW(list, LB_GETCURSEL, 0, 0);
  AM_MEDIA_TYPE* type = nullptr;
  BYTE caps[kCapsSize];
  if (config && SUCCEEDED(config->GetStreamCaps(static_cast<int>(selection), &type, caps)) && type) {
    if (type->formattype == FORMAT_WaveFormatEx && type->cbFormat >= sizeof(WAVEFORMATEX)) {
      const WAVEFORMATEX* wave = reinterpret_cast<const WAVEFORMATEX*>(type->pbFormat);
      wchar_t text[64];
      swprintf_s(text, 64, L"0x%04X", wave->wFormatTag);
      SetDlgItemTextW(dialog, IDC_FORMAT_TAG, text);
      swprintf_s(text, 64, L"%d bytes", wave->nBlockAlign);
      SetDlgItemTextW(dialog, IDC_BLOCK_ALIGN, text);
      swprintf_s(text, 64, L"%d bytes/sec", static_cast<int>(wave->nAvgBytesPerSec));
      SetDlgItemTextW(dialog, IDC_DATA_RATE, text);
      long tenths = MulDiv(static_cast<int>(wave->nAvgBytesPerSec), 10, wave->nBlockAlign);
      swprintf_s(text, 64, L"%ld.%c blocks/sec", tenths / 10, static_cast<wchar_t>(L'0' + tenths % 10));
      SetDlgItemTextW(dialog, IDC_GRANULARITY, text);
    }
    FreeMediaType(type);
  }
  SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(selection), 0);
}

INT_PTR CALLBACK AudioFormatProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  HWND list = GetDlgItem(dialog, IDC_FORMAT_LIST);
  IBaseFilter* compressor = g_pAviWriter ? static_cast<IBaseFilter*>(g_pAviWriter->m_pAudioCompressor) : nullptr;
  if (!compressor) {  // checked by the export; never left without a way out
    if (message == WM_INITDIALOG) EndDialog(dialog, 0);
    return message == WM_INITDIALOG;
  }
  ThrowingComPtr<IAMStreamConfig> config;
  int count = 0;
  if (!LastPinStreamConfig(compressor, config, count)) {
    // No usable capabilities: every message adds this line. Cancel still
    // closes the dialog.
    if (message == WM_COMMAND && LOWORD(wParam) == IDCANCEL) {
      EndDialog(dialog, 0);
      return TRUE;
    }
    SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L"No Capabilitity Formats"));
    return TRUE;
  }
  switch (message) {
    case WM_INITDIALOG:
      FillFormatList(list, config, count);
      return TRUE;
    case WM_COMMAND:
      if (LOWORD(wParam) == IDOK) {
        StorePickedFormat(list, config);
        EndDialog(dialog, 1);
      } else if (LOWORD(wParam) == IDCANCEL) {
        EndDialog(dialog, 0);
      } else if (LOWORD(wParam) == IDC_FORMAT_LIST && HIWORD(wParam) == LBN_SELCHANGE) {
        ShowFormatDetails(dialog, list, config);
      }
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR ShowAudioFormatDialog(HWND parent) {
  return DialogBoxParamW(g_hTavMovieMakerModule, MAKEINTRESOURCEW(IDD_AUDIO_FORMAT), parent, AudioFormatProc, 0);
}
