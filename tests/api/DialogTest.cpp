// The compressor dialogs: refusals, the cases with nothing to show, and the
// audio format dialog driven from a second thread as a user would (it needs a
// display: the test run happens inside Xvfb).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/AudioFormatDialog.h"
#include "tests/common/CompressorNames.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);

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
  EXPECT_EQ(dll.TakeLines(),
            (std::vector<std::wstring>{
                Trace(L"TavMovieMakerShowCompressorDlg -> Enter"), Error(L"ShowCompressorDlg() bad ID"),
                Trace(L"TavMovieMakerShowAudioCompressorDlg -> Enter"), Error(L"ShowAudioCompressorDlg() bad ID")}));
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
  EXPECT_TRUE(InOrder(
      lines,
      {Trace(L"TavMovieMakerShowCompressorDlg -> Enter"), Trace(L"TavMovieMakerShowCompressorDlg -> Leave"),
       Trace(L"TavMovieMakerShowAudioCompressorDlg -> Enter"), Trace(L"TavMovieMakerShowAudioCompressorDlg -> Leave")}))
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
  for (const std::wstring& name : CompressorNames(dll.GetCompressors, id))
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
  EXPECT_TRUE(InOrder(
      lines, {Trace(L"TavMovieMakerShowCompressorDlg -> Enter"), Trace(L"TavMovieMakerShowCompressorDlg -> Leave")}))
      << Dump(lines);
}

class AudioFormatDialog : public Dialogs {
 protected:
  static constexpr const wchar_t* kCompressor = L"IMA ADPCM";
  void SetUp() override {
    Dialogs::SetUp();
    ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
    // By name: other tests may add entries of their own to the category.
    std::vector<std::wstring> names = CompressorNames(dll.GetAudioCompressors, id);
    ASSERT_NE(std::find(names.begin(), names.end(), kCompressor), names.end()) << "IMA ADPCM not listed";
    ASSERT_EQ(dll.SetAudioCompressor(id, kCompressor), S_OK);
  }
  // The host's call that shows the dialog.
  std::function<HRESULT()> Show() {
    return [this] { return dll.ShowAudioCompressorDlg(id, nullptr); };
  }
};

TEST_F(AudioFormatDialog, ListsTheOfferedFormatsAndDescribesTheSelectedOne) {
  HRESULT hr = E_UNEXPECTED;
  AudioFormatDialogView view = DriveAudioFormatDialog(Show(), 0, IDOK, &hr);
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
  AudioFormatDialogView view = DriveAudioFormatDialog(Show(), 0, IDCANCEL, &hr);
  EXPECT_TRUE(view.found);
  EXPECT_EQ(hr, S_OK);
}

}  // namespace
}  // namespace tavtest
