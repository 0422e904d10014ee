#include "tests/common/AudioFormatDialog.h"

#include <chrono>
#include <thread>

namespace tavtest {
namespace {

const wchar_t kTitle[] = L"Select Audio Compress Format";
const int kList = 1001;

std::wstring TextOf(HWND dialog, int control) {
  wchar_t text[256] = {};
  GetDlgItemTextW(dialog, control, text, 256);
  return text;
}

// The dialog once it is shown: a dialog becomes visible only after its
// WM_INITDIALOG (which fills the list) has returned. Null after the deadline.
HWND WaitForShownDialog(std::chrono::seconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  for (;;) {
    HWND dialog = FindWindowW(nullptr, kTitle);
    if (dialog && IsWindowVisible(dialog)) return dialog;
    if (std::chrono::steady_clock::now() > end) return nullptr;
    Sleep(20);
  }
}

// The list's line count once two reads in a row agree on a non-zero count,
// or the last count read at the deadline.
int WaitForFilledList(HWND list, std::chrono::seconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  int last = -1;
  for (;;) {
    int count = static_cast<int>(SendMessageW(list, LB_GETCOUNT, 0, 0));
    if (count > 0 && count == last) return count;
    if (std::chrono::steady_clock::now() > end) return count;
    last = count;
    Sleep(20);
  }
}

}  // namespace

AudioFormatDialogView DriveAudioFormatDialog(const std::function<HRESULT()>& show, int pick, int closeWith,
                                             HRESULT* shown) {
  AudioFormatDialogView view;
  std::thread user([&] {
    HWND dialog = WaitForShownDialog(std::chrono::seconds(30));
    if (!dialog) return;
    view.found = true;
    HWND list = GetDlgItem(dialog, kList);
    const int count = WaitForFilledList(list, std::chrono::seconds(10));
    for (int i = 0; i < count; ++i) {
      wchar_t text[256] = {};
      SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
      view.lines.emplace_back(text);
    }
    const bool clicked = pick >= 0 && pick < count;
    if (clicked) {
      view.picked = view.lines[static_cast<size_t>(pick)];
      SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(pick), 0);
      SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(kList, LBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
      view.tag = TextOf(dialog, 1002);
      view.align = TextOf(dialog, 1003);
      view.rate = TextOf(dialog, 1004);
      view.granularity = TextOf(dialog, 1005);
    }
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(clicked ? closeWith : IDCANCEL, BN_CLICKED), 0);
  });
  *shown = show();
  user.join();
  return view;
}

}  // namespace tavtest
