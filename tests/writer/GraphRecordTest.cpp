// Recordings through graphs that CAviWriter builds, runs and stops, read back
// with ffprobe and ffmpeg: frames and samples byte for byte, gaps preserved.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "TavMovieMaker.h"
#include "compressors/CompressorChoices.h"
#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"
#include "tests/writer/support/GraphRig.h"

using tavtest::GraphRig;
using tavtest::Packet;
using tavtest::RigSettings;

namespace {

const ULONGLONG kFrame25 = 400000;  // 100-ns units per frame at 25 frames per second

std::string Frame(size_t size, int seed) {
  std::string frame(size, '\0');
  for (size_t i = 0; i < size; ++i) frame[i] = static_cast<char>((i * 7 + static_cast<size_t>(seed) * 31) & 0xFF);
  return frame;
}

// One 1/25 s block of 48 kHz 16-bit stereo PCM whose left and right samples
// are equal.
std::string StereoBlock(int seed) {
  std::string block(192000 / 25, '\0');
  for (size_t i = 0; i + 3 < block.size(); i += 4) {
    const int value = static_cast<int>((i / 4) * 13 + static_cast<size_t>(seed) * 1000) & 0xFFFF;
    block[i] = block[i + 2] = static_cast<char>(value & 0xFF);
    block[i + 1] = block[i + 3] = static_cast<char>(value >> 8);
  }
  return block;
}

// A StereoBlock mixed to mono the way Wine's ACM PCM converter mixes: the
// two channels added, saturating at the 16-bit limits.
std::string MixedToMono(const std::string& stereo) {
  std::string mono;
  for (size_t i = 0; i + 3 < stereo.size(); i += 4) {
    const int left = static_cast<int16_t>(static_cast<uint8_t>(stereo[i]) | (static_cast<uint8_t>(stereo[i + 1]) << 8));
    const int right =
        static_cast<int16_t>(static_cast<uint8_t>(stereo[i + 2]) | (static_cast<uint8_t>(stereo[i + 3]) << 8));
    const int sum = std::max(-32768, std::min(32767, left + right));
    mono += static_cast<char>(sum & 0xFF);
    mono += static_cast<char>((sum >> 8) & 0xFF);
  }
  return mono;
}

std::vector<long long> NonEmptyPts(const std::vector<Packet>& packets) {
  std::vector<long long> pts;
  for (const Packet& p : packets)
    if (p.size > 0) pts.push_back(p.pts);
  return pts;
}

class GraphRecordTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    m_dir = tavtest::MakeTempDir();
  }
  void TearDown() override {
    delete[] reinterpret_cast<BYTE*>(g_pSelectedAudioFormat);
    g_pSelectedAudioFormat = nullptr;
  }
  std::wstring m_dir;
};

TEST_F(GraphRecordTest, UncompressedVideoIsStoredByteForByteWithItsGap) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  const std::wstring movie = m_dir + L"uncompressed.avi";
  ASSERT_EQ(rig.Start(movie), S_OK);
  const size_t size = 64 * 48 * 3;
  const ULONGLONG numbers[] = {0, 1, 2, 5, 6};  // frames 3 and 4 were dropped
  std::string stored;
  for (ULONGLONG n : numbers) {
    std::string frame = Frame(size, static_cast<int>(n));
    ASSERT_EQ(rig.PushFrame(frame.data(), static_cast<int>(size), n * kFrame25, n), S_OK);
    stored += frame;
  }
  EXPECT_EQ(rig.Stop(), S_OK);

  auto video = tavtest::ProbeStream(movie, "v:0");
  EXPECT_EQ(video["codec_name"], "rawvideo") << video["error"];
  EXPECT_EQ(video["width"], "64");
  EXPECT_EQ(video["height"], "48");
  EXPECT_EQ(NonEmptyPts(tavtest::ProbePackets(movie, "v:0")), (std::vector<long long>{0, 1, 2, 5, 6}));
  EXPECT_TRUE(tavtest::StreamBytes(movie, "v:0") == stored) << "stored frames differ";
}

TEST_F(GraphRecordTest, MsRleCompressedGreyDecodesToTheSamePaletteIndices) {
  GraphRig rig;
  RigSettings settings;
  settings.width = 32;
  settings.height = 16;
  settings.pixelFormat = 2;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  bool hasDialog = false;
  ASSERT_EQ(TavMovieMakerSetCompressor(1, L"Wine MS-RLE video codec", &hasDialog), S_OK);
  const std::wstring movie = m_dir + L"rle.avi";
  ASSERT_EQ(rig.Start(movie), S_OK);
  std::vector<std::string> frames;
  const ULONGLONG numbers[] = {0, 1, 4};
  for (ULONGLONG n : numbers) {
    // Grey bands four rows high, far apart in level, so that runs are exact.
    std::string frame(32 * 16, '\0');
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<char>(((i / 32) / 4) * 60 + n * 5);
    frames.push_back(frame);
    ASSERT_EQ(rig.PushFrame(frames.back().data(), 32 * 16, n * kFrame25, n), S_OK);
  }
  EXPECT_EQ(rig.Stop(), S_OK);

  auto video = tavtest::ProbeStream(movie, "v:0");
  EXPECT_EQ(video["codec_name"], "msrle") << video["error"];
  EXPECT_EQ(NonEmptyPts(tavtest::ProbePackets(movie, "v:0")), (std::vector<long long>{0, 1, 4}));
  const std::wstring decoded = m_dir + L"rle.pal8";
  tavtest::UnixResult r = tavtest::RunUnixCommand(
      "ffmpeg -v error -y -i " + tavtest::ShellQuote(tavtest::UnixPathOf(movie)) +
      " -map 0:v:0 -vsync passthrough -f rawvideo -pix_fmt pal8 " + tavtest::ShellQuote(tavtest::UnixPathOf(decoded)));
  ASSERT_EQ(r.exitCode, 0) << r.output;
  const std::string bytes = tavtest::ReadBinaryFile(decoded);
  // Each decoded picture is its indices, top row first, then its palette.
  const size_t picture = 32 * 16 + 1024;
  ASSERT_EQ(bytes.size(), frames.size() * picture);
  for (size_t f = 0; f < frames.size(); ++f) {
    std::string topDown;
    for (int y = 15; y >= 0; --y) topDown += frames[f].substr(static_cast<size_t>(y) * 32, 32);
    EXPECT_TRUE(bytes.substr(f * picture, 32 * 16) == topDown) << "frame " << f;
  }
}

TEST_F(GraphRecordTest, AudioIsTheFirstStreamAndBothAreStoredByteForByte) {
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  const std::wstring movie = m_dir + L"audio.avi";
  ASSERT_EQ(rig.Start(movie), S_OK);
  const size_t size = 64 * 48 * 3;
  std::string frames;
  std::string samples;
  for (ULONGLONG n = 0; n < 4; ++n) {
    std::string frame = Frame(size, static_cast<int>(n));
    std::string block = StereoBlock(static_cast<int>(n));
    ASSERT_EQ(rig.PushFrame(frame.data(), static_cast<int>(size), n * kFrame25, n), S_OK);
    ASSERT_EQ(rig.PushAudio(block.data(), static_cast<int>(block.size()), n * kFrame25, n), S_OK);
    frames += frame;
    samples += block;
  }
  EXPECT_EQ(rig.Stop(), S_OK);

  auto first = tavtest::ProbeStream(movie, "0");
  EXPECT_EQ(first["codec_type"], "audio") << first["error"];
  EXPECT_EQ(first["codec_name"], "pcm_s16le");
  EXPECT_EQ(first["sample_rate"], "48000");
  EXPECT_EQ(first["channels"], "2");
  auto second = tavtest::ProbeStream(movie, "1");
  EXPECT_EQ(second["codec_type"], "video");
  const std::string storedSamples = tavtest::StreamBytes(movie, "a:0");
  EXPECT_EQ(storedSamples.size(), samples.size());
  EXPECT_TRUE(storedSamples == samples) << "stored samples differ";
  EXPECT_TRUE(tavtest::StreamBytes(movie, "v:0") == frames) << "stored frames differ";
}

TEST_F(GraphRecordTest, PcmCompressorWritesThePickedFormat) {
  // Picked in the format dialog: 48 kHz mono 16-bit (96 000 bytes/s).
  auto* picked = reinterpret_cast<WAVEFORMATEX*>(new BYTE[sizeof(WAVEFORMATEX)]);
  *picked = WAVEFORMATEX{WAVE_FORMAT_PCM, 1, 48000, 96000, 2, 16, 0};
  g_pSelectedAudioFormat = picked;

  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  ASSERT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  const std::wstring movie = m_dir + L"pcm.avi";
  ASSERT_EQ(rig.Start(movie), S_OK);
  const size_t size = 64 * 48 * 3;
  std::string frames;
  std::string mono;
  for (ULONGLONG n = 0; n < 3; ++n) {
    std::string frame = Frame(size, static_cast<int>(n));
    std::string block = StereoBlock(static_cast<int>(n));
    ASSERT_EQ(rig.PushFrame(frame.data(), static_cast<int>(size), n * kFrame25, n), S_OK);
    ASSERT_EQ(rig.PushAudio(block.data(), static_cast<int>(block.size()), n * kFrame25, n), S_OK);
    frames += frame;
    mono += MixedToMono(block);
  }
  EXPECT_EQ(rig.Stop(), S_OK);

  auto audio = tavtest::ProbeStream(movie, "0");
  EXPECT_EQ(audio["codec_type"], "audio") << audio["error"];
  EXPECT_EQ(audio["channels"], "1");
  EXPECT_EQ(audio["sample_rate"], "48000");
  const std::string storedMono = tavtest::StreamBytes(movie, "a:0");
  EXPECT_EQ(storedMono.size(), mono.size());
  EXPECT_TRUE(storedMono == mono) << "stored samples differ";
  EXPECT_TRUE(tavtest::StreamBytes(movie, "v:0") == frames) << "stored frames differ";
}

}  // namespace
