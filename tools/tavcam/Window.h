// The main window: the preview, the camera settings, the compressor choices,
// the file and the record buttons, and the status bar. Everything here runs
// on the UI thread, which is also the DLL's control thread.
#pragma once

#include <windows.h>

// Registers the window classes and opens the main window; `movie` is the
// initial file name (nullptr: tavcam.avi in the current folder).
HWND CreateMainWindow(HINSTANCE instance, const wchar_t* movie, int show);
