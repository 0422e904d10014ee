#include "tools/tavcam/Window.h"

#include <TavMovieMaker.h>
#include <commctrl.h>
#include <commdlg.h>

#include <cwchar>
#include <string>
#include <vector>

#include "tools/tavcam/Camera.h"
#include "tools/tavcam/ControlIds.h"
#include "tools/tavcam/Preview.h"
#include "tools/tavcam/Recorder.h"

namespace {

const wchar_t kPreviewClass[] = L"TavCamPreview";
const wchar_t kNoAudioCompressor[] = L"(none)";
const UINT_PTR kStatusTimer = 1;

// Everything the main window owns; reached through GWLP_USERDATA.
struct App {
  HWND window = nullptr;
  HFONT font = nullptr;
  Recorder recorder;
  Camera camera;
  Preview preview;
  CameraSettings settings;
  bool videoHasDialog = false;
  // The UI thread is a COM apartment thread, so DirectShow may pump its
  // messages inside a DLL call (stopping a graph does): a timer tick, a click
  // or a close can then arrive in the middle of one. While `busy`, ticks and
  // clicks are dropped and a close waits until the call is over.
  int busy = 0;
  bool closePending = false;

  HWND Item(int id) const { return GetDlgItem(window, id); }
};

// Marks the UI thread busy for its lifetime (see App::busy).
class BusyScope {
 public:
  explicit BusyScope(App* app) : app_(app) { ++app_->busy; }
  ~BusyScope() {
    if (--app_->busy == 0 && app_->closePending) PostMessageW(app_->window, WM_CLOSE, 0, 0);
  }

 private:
  App* app_;
};

// ---- Controls ----------------------------------------------------------------

HWND AddControl(App* app, const wchar_t* cls, const wchar_t* text, DWORD style, int x, int y, int w, int h, int id) {
  HWND control = CreateWindowExW(0, cls, text, WS_CHILD | WS_VISIBLE | style, x, y, w, h, app->window,
                                 reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), nullptr, nullptr);
  SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(app->font), FALSE);
  return control;
}

void AddLabel(App* app, const wchar_t* text, int x, int y, int w) {
  AddControl(app, L"STATIC", text, SS_LEFT, x, y + 3, w, 18, -1);
}

void AddItems(HWND combo, const std::vector<std::wstring>& items) {
  SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const std::wstring& item : items) SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(item.c_str()));
}

std::wstring TextOf(HWND control) {
  wchar_t text[MAX_PATH] = {};
  GetWindowTextW(control, text, MAX_PATH);
  return text;
}

// The chosen line of a combo box (the edit text of an editable one may lag
// behind while CBN_SELCHANGE is handled, so the list is asked).
std::wstring Selected(HWND combo) {
  const LRESULT index = SendMessageW(combo, CB_GETCURSEL, 0, 0);
  if (index == CB_ERR) return TextOf(combo);
  std::wstring text(static_cast<size_t>(SendMessageW(combo, CB_GETLBTEXTLEN, index, 0)) + 1, L'\0');
  SendMessageW(combo, CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(&text[0]));
  text.resize(wcslen(text.c_str()));
  return text;
}

void Select(HWND combo, const std::wstring& text) {
  const LRESULT index =
      SendMessageW(combo, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(text.c_str()));
  SendMessageW(combo, CB_SETCURSEL, index == CB_ERR ? 0 : index, 0);
}

void CreateControls(App* app, const wchar_t* movie) {
  // Preview on the left, settings on the right, the file below the preview.
  HWND preview = AddControl(app, kPreviewClass, L"", 0, 8, 8, 640, 400, CTL_PREVIEW);
  SetWindowLongPtrW(preview, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&app->preview));
  app->preview.SetWindow(preview);

  const int x = 660, field = 760, width = 180;
  AddLabel(app, L"Size", x, 8, 95);
  AddItems(AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWN | WS_VSCROLL | WS_TABSTOP, field, 8, width, 200, CTL_SIZE),
           {L"320x240", L"640x480", L"1280x720", L"1920x1080"});
  AddLabel(app, L"Rate (fps)", x, 40, 95);
  AddItems(AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWN | WS_VSCROLL | WS_TABSTOP, field, 40, width, 200, CTL_RATE),
           {L"10", L"15", L"25", L"30", L"50", L"60"});
  AddLabel(app, L"Pixel format", x, 72, 95);
  AddItems(AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_TABSTOP, field, 72, width, 200, CTL_PIXEL_FORMAT),
           {L"RGB 24-bit", L"RGB 32-bit", L"Grey 8-bit", L"YUY2"});  // TAVMM_PIXEL_* order
  AddLabel(app, L"Audio", x, 104, 95);
  AddItems(AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_TABSTOP, field, 104, width, 200, CTL_AUDIO),
           {L"No audio", L"Tone, 16-bit", L"Tone, 24-bit"});
  AddControl(app, L"BUTTON", L"Drop a frame now and then", BS_AUTOCHECKBOX | WS_TABSTOP, x, 136, 280, 20,
             CTL_DROP_FRAMES);

  AddLabel(app, L"Video compressor", x, 168, 280);
  AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, x, 190, 190, 300, CTL_VIDEO_COMPRESSOR);
  AddControl(app, L"BUTTON", L"Configure\x2026", BS_PUSHBUTTON | WS_TABSTOP, x + 196, 189, 84, 26, CTL_VIDEO_CONFIGURE);
  AddLabel(app, L"Audio compressor", x, 224, 280);
  AddControl(app, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, x, 246, 190, 300, CTL_AUDIO_COMPRESSOR);
  AddControl(app, L"BUTTON", L"Configure\x2026", BS_PUSHBUTTON | WS_TABSTOP, x + 196, 245, 84, 26, CTL_AUDIO_CONFIGURE);

  AddControl(app, L"BUTTON", L"Record", BS_PUSHBUTTON | WS_TABSTOP, x, 300, 88, 32, CTL_RECORD);
  AddControl(app, L"BUTTON", L"Stop", BS_PUSHBUTTON | WS_TABSTOP, x + 96, 300, 88, 32, CTL_STOP);
  AddControl(app, L"BUTTON", L"Pause", BS_PUSHBUTTON | WS_TABSTOP, x + 192, 300, 88, 32, CTL_PAUSE);

  AddLabel(app, L"File", 8, 418, 40);
  AddControl(app, L"EDIT", movie, ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP, 48, 418, 510, 24, CTL_FILE);
  AddControl(app, L"BUTTON", L"Browse\x2026", BS_PUSHBUTTON | WS_TABSTOP, 564, 417, 84, 26, CTL_BROWSE);

  HWND status = AddControl(app, STATUSCLASSNAMEW, L"", SBARS_SIZEGRIP, 0, 0, 0, 0, CTL_STATUS);
  const int edges[kStatusParts] = {90, 190, 270, 380, 490, -1};
  SendMessageW(status, SB_SETPARTS, kStatusParts, reinterpret_cast<LPARAM>(edges));

  SetWindowTextW(app->Item(CTL_SIZE), L"640x480");
  SetWindowTextW(app->Item(CTL_RATE), L"25");
  SendMessageW(app->Item(CTL_PIXEL_FORMAT), CB_SETCURSEL, TAVMM_PIXEL_RGB24, 0);
  SendMessageW(app->Item(CTL_AUDIO), CB_SETCURSEL, 1, 0);
}

// Settings and file controls are frozen while recording: the DLL refuses
// compressor changes and dialogs then, and a new size needs a new writer.
void UpdateControls(App* app) {
  const RecorderStats stats = app->recorder.Stats();
  const bool idle = !stats.recording;
  for (int id :
       {CTL_SIZE, CTL_RATE, CTL_PIXEL_FORMAT, CTL_AUDIO, CTL_VIDEO_COMPRESSOR, CTL_FILE, CTL_BROWSE, CTL_RECORD})
    EnableWindow(app->Item(id), idle);
  EnableWindow(app->Item(CTL_AUDIO_COMPRESSOR), idle && app->settings.audioBits != 0);
  EnableWindow(app->Item(CTL_VIDEO_CONFIGURE), idle && app->videoHasDialog);
  EnableWindow(app->Item(CTL_AUDIO_CONFIGURE),
               idle && Selected(app->Item(CTL_AUDIO_COMPRESSOR)) != kNoAudioCompressor && app->settings.audioBits != 0);
  EnableWindow(app->Item(CTL_STOP), !idle);
  EnableWindow(app->Item(CTL_PAUSE), !idle);
  SetWindowTextW(app->Item(CTL_PAUSE), stats.paused ? L"Resume" : L"Pause");
}

// ---- Status bar ----------------------------------------------------------------

void SetStatus(App* app, int part, const std::wstring& text) {
  SendMessageW(app->Item(CTL_STATUS), SB_SETTEXTW, part, reinterpret_cast<LPARAM>(text.c_str()));
}

void ShowStatus(App* app, const std::wstring& problem = std::wstring()) {
  const RecorderStats stats = app->recorder.Stats();
  wchar_t text[64];
  SetStatus(app, kStatusState, stats.recording ? (stats.paused ? L"Paused" : L"Recording") : L"Ready");
  swprintf(text, 64, L"Frames: %lld", stats.framesHandedIn);
  SetStatus(app, kStatusFrames, text);
  swprintf(text, 64, L"Drops: %lld", stats.framesDropped);
  SetStatus(app, kStatusDrops, text);
  WIN32_FILE_ATTRIBUTE_DATA file;
  if (GetFileAttributesExW(TextOf(app->Item(CTL_FILE)).c_str(), GetFileExInfoStandard, &file))
    swprintf(text, 64, L"File: %.1f MB",
             (static_cast<double>(file.nFileSizeHigh) * 4294967296.0 + file.nFileSizeLow) / 1e6);
  else swprintf(text, 64, L"File: none");
  SetStatus(app, kStatusFile, text);
  const int tenths = static_cast<int>(stats.elapsedSeconds * 10);
  swprintf(text, 64, L"Elapsed: %d:%02d.%d", tenths / 600, tenths / 10 % 60, tenths % 10);
  SetStatus(app, kStatusElapsed, text);
  const std::wstring& error = problem.empty() ? stats.lastError : problem;
  SetStatus(app, kStatusError, L"Last error: " + (error.empty() ? std::wstring(L"none") : error));
}

// ---- Actions -------------------------------------------------------------------

// Reads the settings controls; false (and a message) when a field is invalid.
bool ReadSettings(App* app, CameraSettings* settings, std::wstring* problem) {
  int width = 0, height = 0;
  if (swscanf(Selected(app->Item(CTL_SIZE)).c_str(), L"%d x %d", &width, &height) != 2 || width < 16 || height < 16 ||
      width > 4096 || height > 4096) {
    *problem = L"the size is WIDTHxHEIGHT, each 16 to 4096";
    return false;
  }
  const double fps = _wtof(Selected(app->Item(CTL_RATE)).c_str());
  if (!(fps >= 1.0 && fps <= 120.0)) {
    *problem = L"the rate is 1 to 120 frames per second";
    return false;
  }
  settings->width = width;
  settings->height = height;
  settings->fps = fps;
  settings->pixelFormat = static_cast<unsigned>(SendMessageW(app->Item(CTL_PIXEL_FORMAT), CB_GETCURSEL, 0, 0));
  if (settings->pixelFormat == TAVMM_PIXEL_YUY2) settings->width &= ~1;  // YUY2 pixels come in pairs
  static const int kAudioBits[] = {0, 16, 24};
  settings->audioBits = kAudioBits[SendMessageW(app->Item(CTL_AUDIO), CB_GETCURSEL, 0, 0) % 3];
  return true;
}

void ChooseVideoCompressor(App* app) {
  app->recorder.ChooseVideoCompressor(Selected(app->Item(CTL_VIDEO_COMPRESSOR)), &app->videoHasDialog);
  UpdateControls(app);
}

void ChooseAudioCompressor(App* app) {
  const std::wstring name = Selected(app->Item(CTL_AUDIO_COMPRESSOR));
  if (name != kNoAudioCompressor) app->recorder.ChooseAudioCompressor(name);
  UpdateControls(app);
}

// A new writer for the current settings: the camera stops, the DLL is set up
// afresh (InitEx, SetAudioStream), the compressor lists are filled again, the
// previous choices kept where they still exist, and the camera starts again.
void ApplySettings(App* app) {
  CameraSettings settings;
  std::wstring problem;
  if (!ReadSettings(app, &settings, &problem)) {
    ShowStatus(app, problem);
    return;
  }
  app->settings = settings;
  HWND video = app->Item(CTL_VIDEO_COMPRESSOR), audio = app->Item(CTL_AUDIO_COMPRESSOR);
  const std::wstring videoChoice = Selected(video), audioChoice = Selected(audio);
  app->camera.Stop();
  if (app->recorder.Setup(settings)) {
    AddItems(video, app->recorder.VideoCompressors());
    std::vector<std::wstring> audioNames = app->recorder.AudioCompressors();
    audioNames.insert(audioNames.begin(), kNoAudioCompressor);
    AddItems(audio, audioNames);
    Select(video, videoChoice);
    Select(audio, audioChoice);
    app->videoHasDialog = false;
    ChooseVideoCompressor(app);
    ChooseAudioCompressor(app);
  }
  app->camera.SetDropFrames(SendMessageW(app->Item(CTL_DROP_FRAMES), BM_GETCHECK, 0, 0) == BST_CHECKED);
  app->camera.Start(settings, &app->recorder, &app->preview);
  UpdateControls(app);
  ShowStatus(app);
}

void Browse(App* app) {
  wchar_t file[MAX_PATH] = {};
  wcsncpy(file, TextOf(app->Item(CTL_FILE)).c_str(), MAX_PATH - 1);
  OPENFILENAMEW dialog = {};
  dialog.lStructSize = sizeof(dialog);
  dialog.hwndOwner = app->window;
  dialog.lpstrFilter = L"AVI movies (*.avi)\0*.avi\0All files\0*.*\0";
  dialog.lpstrFile = file;
  dialog.nMaxFile = MAX_PATH;
  dialog.lpstrDefExt = L"avi";
  dialog.Flags = OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST | OFN_NOCHANGEDIR;
  if (GetSaveFileNameW(&dialog)) SetWindowTextW(app->Item(CTL_FILE), file);
}

void Record(App* app) {
  // The File Writer overwrites an existing file in place, keeping its length:
  // a shorter movie would leave the old one's tail behind. (Browse… has
  // asked before replacing a file.)
  const std::wstring file = TextOf(app->Item(CTL_FILE));
  DeleteFileW(file.c_str());
  app->recorder.Start(file);
  UpdateControls(app);
  ShowStatus(app);
}

void StopRecording(App* app) {
  app->recorder.Stop();
  UpdateControls(app);
  ShowStatus(app);
}

void TogglePause(App* app) {
  if (app->recorder.Stats().paused) app->recorder.Resume();
  else app->recorder.Pause();
  UpdateControls(app);
}

void OnCommand(App* app, int id, int code) {
  if (app->busy) return;
  BusyScope busy(app);
  switch (id) {
    case CTL_SIZE:
    case CTL_RATE:
      // A preset picked from the list, or a custom value typed and left.
      if (code == CBN_SELCHANGE || code == CBN_KILLFOCUS) {
        CameraSettings typed;
        std::wstring problem;
        if (!ReadSettings(app, &typed, &problem) || typed.width != app->settings.width ||
            typed.height != app->settings.height || typed.fps != app->settings.fps)
          ApplySettings(app);
      }
      break;
    case CTL_PIXEL_FORMAT:
    case CTL_AUDIO:
      if (code == CBN_SELCHANGE) ApplySettings(app);
      break;
    case CTL_VIDEO_COMPRESSOR:
      if (code == CBN_SELCHANGE) ChooseVideoCompressor(app);
      break;
    case CTL_AUDIO_COMPRESSOR:
      // Only a new writer forgets an audio compressor: "(none)" sets up again.
      if (code == CBN_SELCHANGE) {
        if (Selected(app->Item(CTL_AUDIO_COMPRESSOR)) == kNoAudioCompressor) ApplySettings(app);
        else ChooseAudioCompressor(app);
      }
      break;
    case CTL_DROP_FRAMES:
      app->camera.SetDropFrames(SendMessageW(app->Item(CTL_DROP_FRAMES), BM_GETCHECK, 0, 0) == BST_CHECKED);
      break;
    case CTL_VIDEO_CONFIGURE:
      app->recorder.ShowVideoCompressorDialog(app->window);
      break;
    case CTL_AUDIO_CONFIGURE:
      app->recorder.ShowAudioCompressorDialog(app->window);
      break;
    case CTL_BROWSE:
      Browse(app);
      break;
    case CTL_RECORD:
      Record(app);
      break;
    case CTL_STOP:
      StopRecording(app);
      break;
    case CTL_PAUSE:
      TogglePause(app);
      break;
    default:
      break;
  }
}

// ---- Window procedures -----------------------------------------------------------

LRESULT CALLBACK PreviewProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_PAINT) {
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(window, &paint);
    RECT area;
    GetClientRect(window, &area);
    reinterpret_cast<Preview*>(GetWindowLongPtrW(window, GWLP_USERDATA))->Paint(dc, area);
    EndPaint(window, &paint);
    return 0;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CALLBACK MainProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  App* app = reinterpret_cast<App*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case WM_CREATE: {
      app = static_cast<App*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
      app->window = window;
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(app));
      return 0;
    }
    case WM_COMMAND:
      if (app) OnCommand(app, LOWORD(wParam), HIWORD(wParam));
      return 0;
    case WM_TIMER:
      if (app->busy) return 0;
      // A hand-over failed (the status bar shows which and why): the UI
      // thread ends the recording, which leaves whatever was written readable.
      if (app->recorder.Broken() && app->recorder.Stats().recording) {
        BusyScope busy(app);
        StopRecording(app);
      }
      ShowStatus(app);
      return 0;
    case WM_CLOSE: {
      if (app->busy) {
        app->closePending = true;
        return 0;
      }
      app->closePending = false;
      BusyScope busy(app);
      // Closing while recording stops first: the file is completed before the
      // camera thread ends and the writer is released.
      KillTimer(window, kStatusTimer);
      app->recorder.Stop();
      app->camera.Stop();
      app->recorder.Shutdown();
      DestroyWindow(window);
      return 0;
    }
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, wParam, lParam);
  }
}

}  // namespace

HWND CreateMainWindow(HINSTANCE instance, const wchar_t* movie, int show) {
  WNDCLASSEXW cls = {};
  cls.cbSize = sizeof(cls);
  cls.lpfnWndProc = PreviewProc;
  cls.hInstance = instance;
  cls.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  cls.lpszClassName = kPreviewClass;
  RegisterClassExW(&cls);
  cls.lpfnWndProc = MainProc;
  cls.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  cls.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
  cls.lpszClassName = TAVCAM_WINDOW_CLASS;
  RegisterClassExW(&cls);

  static App app;  // lives as long as the process
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof(metrics);
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0);
  app.font = CreateFontIndirectW(&metrics.lfMessageFont);

  // A fixed-size window whose client area holds the layout of CreateControls.
  const DWORD style = WS_OVERLAPPEDWINDOW & ~(WS_THICKFRAME | WS_MAXIMIZEBOX);
  RECT frame = {0, 0, 950, 476};
  AdjustWindowRect(&frame, style, FALSE);
  HWND window = CreateWindowExW(0, TAVCAM_WINDOW_CLASS, L"tavcam \x2014 TavMovieMaker camera viewer", style,
                                CW_USEDEFAULT, CW_USEDEFAULT, frame.right - frame.left, frame.bottom - frame.top,
                                nullptr, nullptr, instance, &app);
  if (!window) return nullptr;

  wchar_t defaultMovie[MAX_PATH];
  GetCurrentDirectoryW(MAX_PATH - 12, defaultMovie);
  wcscat(defaultMovie, L"\\tavcam.avi");
  CreateControls(&app, movie ? movie : defaultMovie);
  ApplySettings(&app);
  SetTimer(window, kStatusTimer, 200, nullptr);
  ShowWindow(window, show);
  UpdateWindow(window);
  return window;
}
