// The "Select Audio Compress Format" dialog driven from a second thread as a
// user would: wait for it, read its list, click a line, read the details the
// dialog shows for it, press a button. It needs a display (the test run
// happens inside Xvfb).
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace tavtest {

// What the user saw.
struct AudioFormatDialogView {
  bool found = false;               // the dialog was shown
  std::vector<std::wstring> lines;  // its list, once filled
  // The clicked line and the details shown for it (format tag, block align,
  // bytes per second, blocks per second); empty when no line was clicked.
  std::wstring picked, tag, align, rate, granularity;
};

// Calls `show` (which shows the dialog and returns once it is closed) on this
// thread, its result in `*shown`. The user waits up to 30 s for the dialog
// and 10 s for its list, clicks line `pick` if the list has it (selection,
// then the notification) and closes the dialog with `closeWith` (IDOK or
// IDCANCEL), or with IDCANCEL when there was no line to click.
AudioFormatDialogView DriveAudioFormatDialog(const std::function<HRESULT()>& show, int pick, int closeWith,
                                             HRESULT* shown);

}  // namespace tavtest
