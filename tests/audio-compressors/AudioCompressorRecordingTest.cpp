// Every audio compressor the DLL lists records the 48 kHz stereo source at
// 16 and 24 bits, chosen by name with nothing picked: the movie holds the
// codec's best format, and what ffmpeg decodes is the 440 Hz tone for as
// long as it was handed in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <ostream>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/audio-compressors/ToneRecording.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

struct CodecCase {
  const wchar_t* name;
  unsigned bits;
  // The best format the codec reaches from 48 kHz stereo, as ffprobe names it.
  const char* codec;
  const char* sampleRate;
  const char* channels;
  int samplesPerBlock;  // of that format
};

void PrintTo(const CodecCase& c, std::ostream* out) { *out << std::string(c.name, c.name + wcslen(c.name)); }

std::string PrintName(const ::testing::TestParamInfo<CodecCase>& info) {
  std::string name;
  for (const wchar_t* c = info.param.name; *c; ++c)
    if (iswalnum(*c)) name += static_cast<char>(*c);
  return name + "_" + std::to_string(info.param.bits) + "bit";
}

class AudioCompressorRecording : public ::testing::TestWithParam<CodecCase> {};

TEST_P(AudioCompressorRecording, RecordsTheToneInTheCodecsBestFormat) {
  const CodecCase& c = GetParam();
  MovieMakerDll dll;
  ASSERT_TRUE(dll.ok());
  dll.CatchLog(4);  // ERROR lines, shown when a call fails
  int id = 0;
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
  ASSERT_EQ(dll.SetAudioStream(id, c.bits), S_OK);
  std::vector<std::wstring> names = CompressorNames(dll.GetAudioCompressors, id);
  ASSERT_NE(std::find(names.begin(), names.end(), std::wstring(c.name)), names.end()) << "not listed";
  ASSERT_EQ(dll.SetAudioCompressor(id, c.name), S_OK);

  const int blocks = 25;  // one second
  const std::wstring movie = MakeTempDir() + L"tone.avi";
  ASSERT_EQ(RecordTone(dll, id, movie, c.bits, blocks), S_OK) << Dump(dll.Lines());
  dll.Release(id);

  auto audio = ProbeStream(movie, "a:0");
  EXPECT_EQ(audio["codec_name"], c.codec) << audio["error"];
  EXPECT_EQ(audio["sample_rate"], c.sampleRate);
  EXPECT_EQ(audio["channels"], c.channels);
  auto video = ProbeStream(movie, "v:0");
  EXPECT_EQ(video["nb_frames"], std::to_string(blocks));

  const double rate = std::stod(c.sampleRate);
  const std::vector<short> decoded = DecodedMono(movie);
  const double seconds = static_cast<double>(decoded.size()) / rate;
  EXPECT_NEAR(seconds, blocks * kFramesPerBlock / 48000.0, c.samplesPerBlock / rate) << decoded.size();
  EXPECT_NEAR(MainFrequency(decoded, rate), kToneHz, 0.02 * kToneHz);
}

const CodecCase kCases[] = {
    {L"IMA ADPCM", 16, "adpcm_ima_wav", "44100", "2", 2041},
    {L"IMA ADPCM", 24, "adpcm_ima_wav", "44100", "2", 2041},
    {L"A-Law", 16, "pcm_alaw", "44100", "2", 1},
    {L"A-Law", 24, "pcm_alaw", "44100", "2", 1},
    {L"U-Law", 16, "pcm_mulaw", "44100", "2", 1},
    {L"U-Law", 24, "pcm_mulaw", "44100", "2", 1},
    {L"GSM 6.10", 16, "gsm_ms", "48000", "1", 320},
    {L"GSM 6.10", 24, "gsm_ms", "48000", "1", 320},
};
INSTANTIATE_TEST_SUITE_P(Codecs, AudioCompressorRecording, ::testing::ValuesIn(kCases), PrintName);

}  // namespace
}  // namespace tavtest
