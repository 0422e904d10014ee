// What Wine's ACM codecs really encode, as the compressor filter sees it.
#include "wine/acm/AcmFormats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using tavacm::WaveFormatBytes;

namespace {

WAVEFORMATEX Pcm16(DWORD rate, WORD channels) {
  const WORD align = static_cast<WORD>(2 * channels);
  return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
}

const WAVEFORMATEX& Header(const WaveFormatBytes& bytes) {
  return *reinterpret_cast<const WAVEFORMATEX*>(bytes.data());
}

std::vector<std::wstring> Names(const std::vector<tavacm::AcmFormatTag>& tags) {
  std::vector<std::wstring> names;
  for (const auto& tag : tags) names.push_back(tag.name);
  return names;
}

}  // namespace

TEST(AcmFormats, EncodableTagsAreWhatWinesCodecsEncode) {
  // Wine 8's drivers: the PCM converter, IMA ADPCM, G.711 A-Law and u-Law
  // and GSM 6.10 encode; its Microsoft ADPCM and MPEG drivers only decode.
  const std::vector<tavacm::AcmFormatTag> tags = tavacm::EncodableFormatTags();
  const std::vector<std::wstring> expected = {L"PCM", L"IMA ADPCM", L"A-Law", L"U-Law", L"GSM 6.10"};
  EXPECT_EQ(Names(tags), expected);
  std::vector<WORD> numbers;
  for (const auto& tag : tags) numbers.push_back(tag.tag);
  EXPECT_EQ(numbers, (std::vector<WORD>{WAVE_FORMAT_PCM, WAVE_FORMAT_IMA_ADPCM, WAVE_FORMAT_ALAW, WAVE_FORMAT_MULAW,
                                        WAVE_FORMAT_GSM610}));
}

TEST(AcmFormats, TagNamesComeFromAcm) {
  EXPECT_EQ(tavacm::FormatTagName(WAVE_FORMAT_IMA_ADPCM), L"IMA ADPCM");
  EXPECT_EQ(tavacm::FormatTagName(WAVE_FORMAT_ADPCM), L"Microsoft ADPCM");
  EXPECT_EQ(tavacm::FormatTagName(0x1234), L"");
}

TEST(AcmFormats, ImaAdpcmOffersEveryFormatTheInputsRateAndChannelsFirst) {
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_IMA_ADPCM, Pcm16(44100, 2));
  ASSERT_EQ(formats.size(), 8u);
  const WAVEFORMATEX& format = Header(formats[0]);
  EXPECT_EQ(format.wFormatTag, WAVE_FORMAT_IMA_ADPCM);
  EXPECT_EQ(format.nChannels, 2);
  EXPECT_EQ(format.nSamplesPerSec, 44100u);
  EXPECT_EQ(format.nBlockAlign, 2048);
  EXPECT_EQ(format.nAvgBytesPerSec, 44251u);
  EXPECT_EQ(format.wBitsPerSample, 4);
  EXPECT_EQ(format.cbSize, 2);
  EXPECT_EQ(formats[0].size(), sizeof(WAVEFORMATEX) + 2);
  // Then 44.1 kHz mono, then the lower rates.
  EXPECT_EQ(Header(formats[1]).nSamplesPerSec, 44100u);
  EXPECT_EQ(Header(formats[1]).nChannels, 1);
  EXPECT_EQ(Header(formats[7]).nSamplesPerSec, 8000u);
  EXPECT_EQ(Header(formats[7]).nChannels, 1);
}

TEST(AcmFormats, CodecsAreReachedFrom48kHzThroughThePcmConverter) {
  // Wine's codecs take only 16-bit PCM at their own rates (48 kHz is not
  // one of IMA ADPCM's), and its converter changes the rate of 24-bit PCM
  // only to 24-bit: the chain steps through 16-bit PCM.
  const WAVEFORMATEX pcm16 = Pcm16(48000, 2);
  const WAVEFORMATEX pcm24 = {WAVE_FORMAT_PCM, 2, 48000, 48000 * 6, 6, 24, 0};
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_IMA_ADPCM, pcm16);
  ASSERT_EQ(formats.size(), 8u);
  const WAVEFORMATEX& best = Header(formats[0]);
  EXPECT_EQ(best.nSamplesPerSec, 44100u);
  EXPECT_EQ(best.nChannels, 2);
  EXPECT_FALSE(tavacm::CanConvert(pcm16, best));

  const auto chain16 = tavacm::ConversionChain(pcm16, best);
  ASSERT_EQ(chain16.size(), 3u);
  EXPECT_EQ(chain16[1], tavacm::Pcm16Format(44100, 2));
  const auto chain24 = tavacm::ConversionChain(pcm24, best);
  ASSERT_EQ(chain24.size(), 4u);
  EXPECT_EQ(chain24[1], tavacm::Pcm16Format(48000, 2));
  EXPECT_EQ(chain24[2], tavacm::Pcm16Format(44100, 2));
  EXPECT_EQ(chain24[3], formats[0]);

  const WAVEFORMATEX alaw = {WAVE_FORMAT_ALAW, 1, 8000, 8000, 1, 8, 0};
  EXPECT_EQ(tavacm::ConversionChain(pcm16, alaw).size(), 3u);
  EXPECT_EQ(tavacm::ConversionChain(Pcm16(8000, 1), alaw).size(), 2u);
}

TEST(AcmFormats, AFormatNoPcmReachesIsNotOffered) {
  // Wine's Microsoft ADPCM driver only decodes.
  EXPECT_TRUE(tavacm::OutputFormats(WAVE_FORMAT_ADPCM, Pcm16(44100, 2)).empty());
  EXPECT_TRUE(tavacm::TagFormats(WAVE_FORMAT_ADPCM).empty());
  EXPECT_FALSE(tavacm::CanEncode(WAVE_FORMAT_ADPCM, Pcm16(22050, 1)));
}

TEST(AcmFormats, PcmConvertsToManyFormatsSuggestedFirstWithoutDuplicates) {
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_PCM, Pcm16(48000, 2));
  ASSERT_GT(formats.size(), 10u);
  const WAVEFORMATEX& first = Header(formats[0]);
  EXPECT_EQ(first.nSamplesPerSec, 48000u);
  EXPECT_EQ(first.nChannels, 2);
  EXPECT_EQ(first.wBitsPerSample, 16);
  for (size_t i = 0; i < formats.size(); ++i) {
    EXPECT_EQ(Header(formats[i]).wFormatTag, WAVE_FORMAT_PCM);
    for (size_t j = i + 1; j < formats.size(); ++j) EXPECT_NE(formats[i], formats[j]) << i << " " << j;
  }
  const bool has22050Mono = std::any_of(formats.begin(), formats.end(), [](const WaveFormatBytes& f) {
    const WAVEFORMATEX& h = Header(f);
    return h.nSamplesPerSec == 22050 && h.nChannels == 1 && h.wBitsPerSample == 16;
  });
  EXPECT_TRUE(has22050Mono);
}

TEST(AcmFormats, GsmIsMonoAndPrefersTheInputsRate) {
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_GSM610, Pcm16(48000, 2));
  ASSERT_EQ(formats.size(), 6u);
  for (const WaveFormatBytes& format : formats) {
    EXPECT_EQ(Header(format).nChannels, 1);
    EXPECT_EQ(Header(format).nBlockAlign, 65);
  }
  // 48 kHz first; 96 kHz keeps as much but only upsamples, so it comes
  // next, before the lower rates.
  EXPECT_EQ(Header(formats[0]).nSamplesPerSec, 48000u);
  EXPECT_EQ(Header(formats[0]).nAvgBytesPerSec, 9750u);
  EXPECT_EQ(Header(formats[1]).nSamplesPerSec, 96000u);
  EXPECT_EQ(Header(formats[2]).nSamplesPerSec, 44100u);
  EXPECT_EQ(Header(formats[5]).nSamplesPerSec, 8000u);
  // Before any input: the highest rate first.
  const auto all = tavacm::TagFormats(WAVE_FORMAT_GSM610);
  ASSERT_EQ(all.size(), 6u);
  EXPECT_EQ(Header(all[0]).nSamplesPerSec, 96000u);
  EXPECT_EQ(Header(all[5]).nSamplesPerSec, 8000u);
}

TEST(AcmFormats, RecognisesIntegerPcm) {
  const WAVEFORMATEX pcm16 = Pcm16(44100, 2);
  EXPECT_TRUE(tavacm::IsIntegerPcm(pcm16, sizeof(pcm16), false));
  WAVEFORMATEX pcm24 = {WAVE_FORMAT_PCM, 2, 44100, 44100 * 6, 6, 24, 0};
  EXPECT_FALSE(tavacm::IsIntegerPcm(pcm24, sizeof(pcm24), false));
  EXPECT_TRUE(tavacm::IsIntegerPcm(pcm24, sizeof(pcm24), true));
  WAVEFORMATEX alaw = {WAVE_FORMAT_ALAW, 1, 8000, 8000, 1, 8, 0};
  EXPECT_FALSE(tavacm::IsIntegerPcm(alaw, sizeof(alaw), true));
}

TEST(AcmFormats, PcmConverterTakes24BitInput) {
  const WAVEFORMATEX pcm24 = {WAVE_FORMAT_PCM, 2, 44100, 44100 * 6, 6, 24, 0};
  const auto formats = tavacm::OutputFormats(WAVE_FORMAT_PCM, pcm24);
  ASSERT_FALSE(formats.empty());
  // Wine's converter cannot keep 24 bits at the same rate: the first offer
  // keeps rate and channels with the most bits it can.
  EXPECT_EQ(Header(formats[0]).nSamplesPerSec, 44100u);
  EXPECT_EQ(Header(formats[0]).nChannels, 2);
  EXPECT_EQ(Header(formats[0]).wBitsPerSample, 16);
  EXPECT_TRUE(tavacm::CanEncode(WAVE_FORMAT_PCM, pcm24));
}
