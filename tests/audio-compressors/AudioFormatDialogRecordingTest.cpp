// The "Select Audio Compress Format" dialog of each listed audio compressor,
// driven from a second thread as a user would: every line it lists can be
// picked, and the next recording holds the picked format and the tone.
#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <algorithm>
#include <cmath>
#include <cwchar>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/audio-compressors/ToneRecording.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const wchar_t kTitle[] = L"Select Audio Compress Format";

struct PickedLine {
  int count = -1;  // lines listed; -1 when the dialog or its list never came
  std::wstring text;
  int blockAlign = 0;
  int bytesPerSecond = 0;
};

// Waits up to 20 s for the dialog's list to be filled, selects line `index`
// (as a click does: selection, then the notification), reads the details and
// presses OK.
PickedLine PickLine(MovieMakerDll& dll, int id, int index, HRESULT* result) {
  PickedLine picked;
  std::thread user([&] {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    HWND dialog = nullptr, list = nullptr;
    int count = 0;
    while (std::chrono::steady_clock::now() < deadline) {
      dialog = FindWindowW(nullptr, kTitle);
      list = dialog ? GetDlgItem(dialog, 1001) : nullptr;
      count = list ? static_cast<int>(SendMessageW(list, LB_GETCOUNT, 0, 0)) : 0;
      if (count > 0) break;
      Sleep(20);
    }
    if (count <= 0) {
      if (dialog) PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
      return;
    }
    picked.count = count;
    if (index < count) {
      wchar_t text[256] = {};
      SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text));
      picked.text = text;
      SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(index), 0);
      SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(1001, LBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
      wchar_t value[64] = {};
      GetDlgItemTextW(dialog, 1003, value, 64);
      picked.blockAlign = _wtoi(value);
      GetDlgItemTextW(dialog, 1004, value, 64);
      picked.bytesPerSecond = _wtoi(value);
    }
    PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(index < count ? IDOK : IDCANCEL, BN_CLICKED), 0);
  });
  *result = dll.ShowAudioCompressorDlg(id, nullptr);
  user.join();
  return picked;
}

struct DialogCase {
  const wchar_t* name;
  const char* codec;  // as ffprobe names it
  int lines;          // what the dialog lists
};

void PrintTo(const DialogCase& c, std::ostream* out) {
  *out << std::string(c.name, c.name + wcslen(c.name));
}

std::string PrintName(const ::testing::TestParamInfo<DialogCase>& info) {
  std::string name;
  for (const wchar_t* c = info.param.name; *c; ++c)
    if (iswalnum(*c)) name += static_cast<char>(*c);
  return name;
}

class AudioFormatDialogRecording : public ::testing::TestWithParam<DialogCase> {};

// Lines alternate between the 16-bit and the 24-bit source, so both inputs
// meet every kind of line; each recording lasts 0.4 s.
TEST_P(AudioFormatDialogRecording, EveryListedLineCanBePickedAndRecords) {
  const DialogCase& c = GetParam();
  MovieMakerDll dll;
  ASSERT_TRUE(dll.ok());
  dll.CatchLog(4);  // ERROR lines, shown when a call fails
  const std::wstring dir = MakeTempDir();
  for (int line = 0; line < c.lines; ++line) {
    SCOPED_TRACE("line " + std::to_string(line));
    const unsigned bits = line % 2 == 0 ? 16 : 24;
    int id = 0;
    ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
    ASSERT_EQ(dll.SetAudioStream(id, bits), S_OK);
    CompressorNames(dll.GetAudioCompressors, id);
    ASSERT_EQ(dll.SetAudioCompressor(id, c.name), S_OK);
    HRESULT shown = E_UNEXPECTED;
    const PickedLine picked = PickLine(dll, id, line, &shown);
    EXPECT_EQ(shown, S_OK);
    ASSERT_EQ(picked.count, c.lines) << "the dialog's list";
    int kbps = 0, hz = 0;
    wchar_t channels[32] = {};
    ASSERT_EQ(swscanf(picked.text.c_str(), L"%d kbps  %d Hz %31ls", &kbps, &hz, channels), 3)
        << std::string(picked.text.begin(), picked.text.end());
    EXPECT_EQ(kbps, (picked.bytesPerSecond + 1023) / 1024 * 8);

    const std::wstring movie = dir + L"line" + std::to_wstring(line) + L".avi";
    const int blocks = 10;
    ASSERT_EQ(RecordTone(dll, id, movie, bits, blocks), S_OK) << Dump(dll.Lines());
    dll.Release(id);
    auto audio = ProbeStream(movie, "a:0");
    EXPECT_EQ(audio["codec_name"], c.codec) << audio["error"];
    EXPECT_EQ(audio["sample_rate"], std::to_string(hz));
    EXPECT_EQ(audio["channels"], std::wstring(channels) == L"Mono" ? "1" : "2");
    const std::vector<short> decoded = DecodedMono(movie);
    const double blockSeconds = static_cast<double>(picked.blockAlign) / picked.bytesPerSecond;
    EXPECT_NEAR(static_cast<double>(decoded.size()) / hz, blocks * kFramesPerBlock / 48000.0, blockSeconds);
    EXPECT_NEAR(MainFrequency(decoded, hz), kToneHz, 0.02 * kToneHz);
  }
}

const DialogCase kCases[] = {
    {L"IMA ADPCM", "adpcm_ima_wav", 8},
    {L"A-Law", "pcm_alaw", 8},
    {L"U-Law", "pcm_mulaw", 8},
    {L"GSM 6.10", "gsm_ms", 6},
};
INSTANTIATE_TEST_SUITE_P(Codecs, AudioFormatDialogRecording, ::testing::ValuesIn(kCases), PrintName);

}  // namespace
}  // namespace tavtest
