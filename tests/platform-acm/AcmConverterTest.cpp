// Conversions through Wine's ACM codecs with the converter the filter uses.
#include "wine/acm/AcmConverter.h"

#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using tavacm::CAcmConverter;

namespace {

WAVEFORMATEX Pcm16(DWORD rate, WORD channels) {
  const WORD align = static_cast<WORD>(2 * channels);
  return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
}

std::vector<BYTE> Tone(const WAVEFORMATEX& format, size_t frames) {
  std::vector<BYTE> bytes(frames * format.nBlockAlign);
  auto* samples = reinterpret_cast<short*>(bytes.data());
  for (size_t i = 0; i < frames; ++i) {
    const short value = static_cast<short>(8000 * std::sin(i * 2 * 3.14159265 * 440 / format.nSamplesPerSec));
    for (WORD c = 0; c < format.nChannels; ++c) samples[i * format.nChannels + c] = value;
  }
  return bytes;
}

const WAVEFORMATEX& Header(const tavacm::WaveFormatBytes& bytes) {
  return *reinterpret_cast<const WAVEFORMATEX*>(bytes.data());
}

}  // namespace

TEST(AcmConverter, PcmRateAndChannelChangeKeepsTheDuration) {
  const WAVEFORMATEX input = Pcm16(44100, 2);
  const WAVEFORMATEX output = Pcm16(22050, 1);
  CAcmConverter converter;
  ASSERT_EQ(converter.Open(input, output), S_OK);
  const std::vector<BYTE> tone = Tone(input, 44100);  // one second
  std::vector<BYTE> converted;
  size_t consumed = 0;
  size_t total = 0;
  for (size_t offset = 0; offset < tone.size(); offset += 4410 * 4) {
    ASSERT_EQ(converter.Convert(tone.data() + offset, 4410 * 4, converted, &consumed), S_OK);
    total += consumed;
  }
  ASSERT_EQ(converter.Flush(converted, &consumed), S_OK);
  total += consumed;
  EXPECT_EQ(total, tone.size());
  EXPECT_NEAR(static_cast<double>(converted.size()), 22050.0 * 2, 8.0);
}

TEST(AcmConverter, ImaAdpcmProducesWholeBlocksAndKeepsTheRest) {
  const WAVEFORMATEX input = Pcm16(22050, 1);
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_IMA_ADPCM, input);
  ASSERT_FALSE(formats.empty());
  const WAVEFORMATEX& output = Header(formats[0]);
  const WORD samplesPerBlock = *reinterpret_cast<const WORD*>(formats[0].data() + sizeof(WAVEFORMATEX));
  ASSERT_EQ(output.nBlockAlign, 512);
  ASSERT_EQ(samplesPerBlock, 1017);

  CAcmConverter converter;
  ASSERT_EQ(converter.Open(input, output), S_OK);
  const std::vector<BYTE> tone = Tone(input, samplesPerBlock * 3 + 100);
  std::vector<BYTE> converted;
  size_t consumed = 0;
  ASSERT_EQ(converter.Convert(tone.data(), tone.size(), converted, &consumed), S_OK);
  EXPECT_EQ(converted.size(), 3u * 512);
  EXPECT_EQ(consumed, samplesPerBlock * 3u * 2);
  EXPECT_EQ(converter.PendingBytes(), 200u);
}

TEST(AcmConverter, ALawHalvesTheBytes) {
  const WAVEFORMATEX input = Pcm16(8000, 1);
  const WAVEFORMATEX output = {WAVE_FORMAT_ALAW, 1, 8000, 8000, 1, 8, 0};
  CAcmConverter converter;
  ASSERT_EQ(converter.Open(input, output), S_OK);
  const std::vector<BYTE> tone = Tone(input, 8000);
  std::vector<BYTE> converted;
  size_t consumed = 0;
  ASSERT_EQ(converter.Convert(tone.data(), tone.size(), converted, &consumed), S_OK);
  EXPECT_EQ(converted.size(), 8000u);
  EXPECT_EQ(consumed, tone.size());
}

TEST(AcmConverter, RefusesWhatTheCodecCannotEncode) {
  const WAVEFORMATEX input = Pcm16(48000, 2);
  const WAVEFORMATEX output = {WAVE_FORMAT_ALAW, 2, 48000, 96000, 2, 8, 0};
  CAcmConverter converter;
  EXPECT_EQ(converter.Open(input, output), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_FALSE(converter.IsOpen());
}

TEST(AcmConverter, FlushCompletesTheLastBlockWithSilence) {
  const WAVEFORMATEX input = Pcm16(22050, 1);
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_IMA_ADPCM, input);
  ASSERT_FALSE(formats.empty());
  CAcmConverter converter;
  ASSERT_EQ(converter.Open(input, Header(formats[0])), S_OK);
  const std::vector<BYTE> tone = Tone(input, 1017 + 500);
  std::vector<BYTE> converted;
  size_t consumed = 0;
  ASSERT_EQ(converter.Convert(tone.data(), tone.size(), converted, &consumed), S_OK);
  EXPECT_EQ(converted.size(), 512u);
  ASSERT_EQ(converter.Flush(converted, &consumed), S_OK);
  EXPECT_EQ(converted.size(), 1024u);
  EXPECT_EQ(consumed, 1000u);  // the 500 real samples, not the padding
  EXPECT_EQ(converter.PendingBytes(), 0u);
}
