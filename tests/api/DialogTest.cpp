// The compressor dialogs: refusals, the cases with nothing to show, and the
// audio format dialog driven from a second thread as a user would (it needs a
// display: the test run happens inside Xvfb).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);
const wchar_t kTitle[] = L"Select Audio Compress Format";

std::vector<std::wstring> Names(TavMovieMakerGetCompressorsFn get, int id) {
  int count = 0, maxLength = 0;
  if (get(id, nullptr, &count, &maxLength) != S_OK || count <= 0 || maxLength <= 0) return {};
  std::vector<std::wstring> buffers(static_cast<size_t>(count), std::wstring(static_cast<size_t>(maxLength), L'\0'));
  std::vector<wchar_t*> names;
  for (std::wstring& b : buffers) names.push_back(&b[0]);
  if (get(id, names.data(), &count, &maxLength) != S_OK) return {};
  std::vector<std::wstring> result;
  for (wchar_t* n : names)
    if (n[0]) result.emplace_back(n);
  return result;
}

std::wstring TextOf(HWND dialog, int control) {
  wchar_t text[256] = {};
  GetDlgItemTextW(dialog, control, text, 256);
  return text;
}

class Dialogs : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
    ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
    dll.TakeLines();
  }
  MovieMakerDll dll;
  int id = 0;
};

TEST_F(Dialogs, IdZeroIsRefused) {
  EXPECT_EQ(dll.ShowCompressorDlg(0, nullptr), kFail);
  EXPECT_EQ(dll.ShowAudioCompressorDlg(0, nullptr), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerShowCompressorDlg -> Enter"),
                                                          Error(L"ShowCompressorDlg() bad ID"),
                                                          Trace(L"TavMovieMakerShowAudioCompressorDlg -> Enter"),
                                                          Error(L"ShowAudioCompressorDlg() bad ID")}));
}

TEST_F(Dialogs, NothingToShowWithoutCompressors) {
  bool hasDialog = true;
  ASSERT_EQ(dll.SetCompressor(id, L"Uncompressed", &hasDialog), S_OK);
  EXPECT_FALSE(hasDialog);
  dll.TakeLines();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.ShowCompressorDlg(id, nullptr), S_OK);
  EXPECT_EQ(dll.ShowAudioCompressorDlg(id, nullptr), S_OK);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 3.0);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"TavMovieMakerShowCompressorDlg -> Enter"),
                              Trace(L"TavMovieMakerShowCompressorDlg -> Leave"),
                              Trace(L"TavMovieMakerShowAudioCompressorDlg -> Enter"),
                              Trace(L"TavMovieMakerShowAudioCompressorDlg -> Leave")}))
      << Dump(lines);
}

TEST_F(Dialogs, RefusedWhileRecording) {
  std::wstring movie = MakeTempDir() + L"busy.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  dll.TakeLines();
  EXPECT_EQ(dll.ShowCompressorDlg(id, nullptr), kFail);
  EXPECT_EQ(dll.ShowAudioCompressorDlg(id, nullptr), kFail);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Error(L"pAviWriter->m_bStarted is true")), 2) << Dump(lines);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
}

// A real video compressor: whatever it shows (property pages or its own
// settings dialog) is closed as a user would, and the call returns S_OK.
BOOL CALLBACK CloseOwnWindows(HWND window, LPARAM) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  if (process == GetCurrentProcessId() && IsWindowVisible(window)) PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

TEST_F(Dialogs, VideoCompressorSettingsAreShownAndClosed) {
  std::wstring rle;
  for (const std::wstring& name : Names(dll.GetCompressors, id))
    if (name.find(L"RLE") != std::wstring::npos) rle = name;
  ASSERT_FALSE(rle.empty()) << "no RLE compressor listed";
  bool hasDialog = false;
  ASSERT_EQ(dll.SetCompressor(id, rle.c_str(), &hasDialog), S_OK);
  dll.TakeLines();
  std::atomic<bool> done{false};
  HRESULT hr = E_UNEXPECTED;
  std::thread host([&] {
    hr = dll.ShowCompressorDlg(id, nullptr);
    done = true;
  });
  for (int i = 0; i < 200 && !done; ++i) {
    Sleep(100);
    if (i % 10 == 9) EnumWindows(CloseOwnWindows, 0);
  }
  host.join();
  EXPECT_EQ(hr, S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"TavMovieMakerShowCompressorDlg -> Enter"),
                              Trace(L"TavMovieMakerShowCompressorDlg -> Leave")}))
      << Dump(lines);
}

// What a user sees in the audio format dialog, driven from a second thread:
// the first offered format is selected, its details checked against its line,
// and the dialog closed with `closeWith` (OK or Cancel).
struct DialogView {
  bool found = false;
  std::vector<std::wstring> lines;
  std::wstring tag, align, rate, granularity;
};

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

DialogView DriveAudioFormatDialog(MovieMakerDll& dll, int id, int closeWith, HRESULT* result) {
  DialogView view;
  std::thread user([&] {
    HWND dialog = WaitForShownDialog(std::chrono::seconds(30));
    if (!dialog) return;
    view.found = true;
    HWND list = GetDlgItem(dialog, 1001);
    int count = WaitForFilledList(list, std::chrono::seconds(10));
    for (int i = 0; i < count; ++i) {
      wchar_t text[256] = {};
      SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
      view.lines.emplace_back(text);
    }
    if (count > 0) {
      SendMessageW(list, LB_SETCURSEL, 0, 0);
      SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(1001, LBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
      view.tag = TextOf(dialog, 1002);
      view.align = TextOf(dialog, 1003);
      view.rate = TextOf(dialog, 1004);
      view.granularity = TextOf(dialog, 1005);
    }
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(closeWith, BN_CLICKED), 0);
  });
  *result = dll.ShowAudioCompressorDlg(id, nullptr);
  user.join();
  return view;
}

class AudioFormatDialog : public Dialogs {
 protected:
  static constexpr const wchar_t* kCompressor = L"IMA ADPCM";
  void SetUp() override {
    Dialogs::SetUp();
    ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
    // By name: other tests may add entries of their own to the category.
    std::vector<std::wstring> names = Names(dll.GetAudioCompressors, id);
    ASSERT_NE(std::find(names.begin(), names.end(), kCompressor), names.end()) << "IMA ADPCM not listed";
    ASSERT_EQ(dll.SetAudioCompressor(id, kCompressor), S_OK);
  }
};

TEST_F(AudioFormatDialog, ListsTheOfferedFormatsAndDescribesTheSelectedOne) {
  HRESULT hr = E_UNEXPECTED;
  DialogView view = DriveAudioFormatDialog(dll, id, IDOK, &hr);
  EXPECT_EQ(hr, S_OK);
  ASSERT_TRUE(view.found) << "the dialog did not appear";
  ASSERT_FALSE(view.lines.empty());
  // "<kbps> kbps  <Hz> Hz <channels>    <kB> kB/s\n", kB being the average
  // bytes per second in kilobytes rounded up.
  const int bytesPerSecond = std::stoi(view.rate), blockAlign = std::stoi(view.align);
  EXPECT_EQ(view.rate, std::to_wstring(bytesPerSecond) + L" bytes/sec");
  EXPECT_EQ(view.align, std::to_wstring(blockAlign) + L" bytes");
  const int kB = (bytesPerSecond + 1023) / 1024;
  int kbps = 0, hz = 0;
  wchar_t channels[32] = {};
  const std::wstring& line = view.lines.front();
  ASSERT_EQ(swscanf(line.c_str(), L"%d kbps  %d Hz %31ls", &kbps, &hz, channels), 3);
  EXPECT_EQ(line, std::to_wstring(kB * 8) + L" kbps  " + std::to_wstring(hz) + L" Hz " + channels + L"    " +
                      std::to_wstring(kB) + L" kB/s\n");
  EXPECT_TRUE(std::wstring(channels) == L"Mono" || std::wstring(channels) == L"Stereo");
  const long tenths = MulDiv(bytesPerSecond, 10, blockAlign);
  EXPECT_EQ(view.granularity, std::to_wstring(tenths / 10) + L"." + std::to_wstring(tenths % 10) + L" blocks/sec");
  EXPECT_EQ(view.tag, L"0x0011");  // IMA ADPCM's format tag
  std::vector<std::wstring> log = dll.TakeLines();
  EXPECT_TRUE(InOrder(log, {Trace(L"TavMovieMakerShowAudioCompressorDlg -> Enter"),
                            Trace(L"TavMovieMakerShowAudioCompressorDlg -> Leave")}))
      << Dump(log);
}

TEST_F(AudioFormatDialog, CancelClosesItWithS_OK) {
  HRESULT hr = E_UNEXPECTED;
  DialogView view = DriveAudioFormatDialog(dll, id, IDCANCEL, &hr);
  EXPECT_TRUE(view.found);
  EXPECT_EQ(hr, S_OK);
}

}  // namespace
}  // namespace tavtest
