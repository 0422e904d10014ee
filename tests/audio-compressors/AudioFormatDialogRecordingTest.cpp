// The "Select Audio Compress Format" dialog of each listed audio compressor,
// driven as a user would: every line it lists can be
// picked, and the next recording holds the picked format and the tone.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <ostream>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/audio-compressors/ToneRecording.h"
#include "tests/common/AudioFormatDialog.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

struct DialogCase {
  const wchar_t* name;
  const char* codec;  // as ffprobe names it
  int lines;          // what the dialog lists
};

void PrintTo(const DialogCase& c, std::ostream* out) { *out << std::string(c.name, c.name + wcslen(c.name)); }

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
    const AudioFormatDialogView view =
        DriveAudioFormatDialog([&] { return dll.ShowAudioCompressorDlg(id, nullptr); }, line, IDOK, &shown);
    EXPECT_EQ(shown, S_OK);
    ASSERT_EQ(view.lines.size(), static_cast<size_t>(c.lines)) << "the dialog's list";
    const int blockAlign = _wtoi(view.align.c_str()), bytesPerSecond = _wtoi(view.rate.c_str());
    int kbps = 0, hz = 0;
    wchar_t channels[32] = {};
    ASSERT_EQ(swscanf(view.picked.c_str(), L"%d kbps  %d Hz %31ls", &kbps, &hz, channels), 3)
        << std::string(view.picked.begin(), view.picked.end());
    EXPECT_EQ(kbps, (bytesPerSecond + 1023) / 1024 * 8);

    const std::wstring movie = dir + L"line" + std::to_wstring(line) + L".avi";
    const int blocks = 10;
    ASSERT_EQ(RecordTone(dll, id, movie, bits, blocks), S_OK) << Dump(dll.Lines());
    dll.Release(id);
    auto audio = ProbeStream(movie, "a:0");
    EXPECT_EQ(audio["codec_name"], c.codec) << audio["error"];
    EXPECT_EQ(audio["sample_rate"], std::to_string(hz));
    EXPECT_EQ(audio["channels"], std::wstring(channels) == L"Mono" ? "1" : "2");
    const std::vector<short> decoded = DecodedMono(movie);
    const double blockSeconds = static_cast<double>(blockAlign) / bytesPerSecond;
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
