// tavcam: a camera viewer that records what it shows with TavMovieMaker.dll.
//
//   tavcam.exe [movie.avi]
//
// The source is split by job, each file an example to copy from:
//   Window.cpp    the main window and its controls (the UI thread)
//   Camera.cpp    the synthetic camera (the acquisition thread)
//   Recorder.cpp  every call into TavMovieMaker.dll, and which thread makes it
//   Preview.cpp   painting frames of the four pixel formats with StretchDIBits
#include <windows.h>

#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>

#include "tools/tavcam/Window.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int show) {
  // The compressor dialogs are COM property frames: the UI thread is an
  // apartment thread.
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_BAR_CLASSES | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&controls);

  int argc = 0;
  wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
  HWND window = CreateMainWindow(instance, argc > 1 ? argv[1] : nullptr, show);
  if (!window) return 1;

  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (IsDialogMessageW(window, &message)) continue;  // Tab moves between controls
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  LocalFree(argv);
  CoUninitialize();
  return static_cast<int>(message.wParam);
}
