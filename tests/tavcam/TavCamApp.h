// tavcam.exe driven from a test as a user drives it: started as its own
// process, its controls found by ID in its main window, buttons clicked and
// the status bar read. Waits poll a condition until a deadline.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace tavtest {

// Polls `done` every 50 ms until it holds or `timeoutMs` have passed.
bool WaitUntil(const std::function<bool()>& done, DWORD timeoutMs);

// What the status bar shows.
struct TavCamStatus {
  std::wstring state;  // "Ready", "Recording" or "Paused"
  long long frames = -1;
  long long drops = -1;
  double elapsedSeconds = -1;
  std::wstring lastError;  // the text after "Last error: "
};

class TavCamApp {
 public:
  ~TavCamApp();  // ends the process if it still runs

  // Starts tavcam.exe (beside the test program) with `movie` as its file and
  // waits until its window is up and ready.
  bool Launch(const std::wstring& movie);
  HWND window() const { return window_; }
  HWND Control(int id) const { return GetDlgItem(window_, id); }

  // Clicks a button or check box and returns once tavcam has handled the
  // click, so what the test reads next comes after it.
  bool Click(int id) const;
  // Clicks without waiting: for a button that opens a modal dialog.
  void ClickWithoutWaiting(int id) const;
  // Picks line `index` of a combo box as a user does; returns once tavcam
  // has handled the choice.
  bool Choose(int id, int index) const;
  std::vector<std::wstring> ComboItems(int id) const;
  std::wstring StatusPart(int part) const;
  TavCamStatus Status() const;

  // Posts WM_CLOSE and waits for the process to end; its exit code or -1.
  int Close(DWORD timeoutMs);
  // Waits for a visible top-level window of tavcam's with this title.
  HWND WaitForWindow(const std::wstring& title, DWORD timeoutMs) const;

 private:
  PROCESS_INFORMATION process_ = {};
  HWND window_ = nullptr;
};

// Saves the screen area of `window` as a PNG on the Unix side (ImageMagick's
// import; the display is the one the test runs on). True when it was written.
bool SaveScreenshot(HWND window, const std::string& unixPath);

}  // namespace tavtest
