// AudioCompressorConfig: the picked audio format applied to the last pin of
// an audio compressor that offers IAMStreamConfig.
#include <gtest/gtest.h>

#include "compressors/AudioCompressorConfig.h"
#include "TavMovieMaker.h"
#include "compressors/CompressorChoices.h"
#include "tests/writer/support/FakeConfigFilter.h"
#include "tests/writer/support/LogCapture.h"

using tavtest::FakeConfigFilter;
using tavtest::FakeConfigPin;
using tavtest::LogCapture;
using tavtest::PcmCapability;
using Lines = std::vector<std::wstring>;

namespace {

std::wstring T(const wchar_t* message) { return LogCapture::Trace(L"AudioCompressorConfig", message); }

class AudioCompressorConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_pFilter = FakeConfigFilter::Create();
    m_pInput = FakeConfigPin::Create(PINDIR_INPUT);
    m_pInput->answersConfig = false;
    m_pOutput = FakeConfigPin::Create(PINDIR_OUTPUT);
    m_pFilter->AddPin(m_pInput);
    m_pFilter->AddPin(m_pOutput);
    m_log.Clear();
  }
  void TearDown() override {
    delete[] reinterpret_cast<BYTE*>(g_pSelectedAudioFormat);
    g_pSelectedAudioFormat = nullptr;
    m_pFilter->Release();
  }
  void Select(WORD channels, DWORD samplesPerSecond, DWORD averageBytesPerSecond) {
    auto* format = reinterpret_cast<WAVEFORMATEX*>(new BYTE[sizeof(WAVEFORMATEX)]);
    *format = PcmCapability(channels, samplesPerSecond, averageBytesPerSecond).format;
    format->wFormatTag = 0x11;  // marks the header as the picked one
    format->nBlockAlign = 1024;
    g_pSelectedAudioFormat = format;
  }

  LogCapture m_log;
  FakeConfigFilter* m_pFilter = nullptr;
  FakeConfigPin* m_pInput = nullptr;
  FakeConfigPin* m_pOutput = nullptr;
};

TEST_F(AudioCompressorConfigTest, WithoutAPickedFormatTheCompressorKeepsItsDefault) {
  m_pOutput->capabilities = {PcmCapability(2, 44100, 16000)};
  AudioCompressorConfig(m_pFilter);
  EXPECT_TRUE(m_pOutput->formatsSet.empty());
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"AudioCompressorConfig -> Enter")}));
}

TEST_F(AudioCompressorConfigTest, RatesAreComparedInWholeKilobytesTimesEight) {
  // Picked 16 000 bytes/s: 15.6 kB taken up to 16, times 8 = 128. 16 385
  // bytes/s is 17 kB (136) and does not match; 16 001 is 16 kB (128) and does.
  Select(2, 44100, 16000);
  m_pOutput->capabilities = {PcmCapability(2, 44100, 16385), PcmCapability(2, 44100, 16001)};
  AudioCompressorConfig(m_pFilter);
  ASSERT_EQ(m_pOutput->formatsSet.size(), 1u);
  EXPECT_EQ(m_pOutput->formatsSet[0].nAvgBytesPerSec, 16001u);
  EXPECT_EQ(m_pOutput->formatsSet[0].wFormatTag, WAVE_FORMAT_PCM);
  EXPECT_EQ(m_log.Lines(),
            (Lines{T(L"AudioCompressorConfig -> Enter"), T(L"AudioCompressorConfig -> found a suitable format")}));
}

TEST_F(AudioCompressorConfigTest, ChannelsAndSampleRateMustMatchToo) {
  Select(2, 44100, 16000);
  m_pOutput->capabilities = {PcmCapability(1, 44100, 16000), PcmCapability(2, 22050, 16000),
                             PcmCapability(2, 44100, 15400)};
  AudioCompressorConfig(m_pFilter);
  ASSERT_EQ(m_pOutput->formatsSet.size(), 1u);
  EXPECT_EQ(m_pOutput->formatsSet[0].nAvgBytesPerSec, 15400u);
  EXPECT_EQ(m_pOutput->formatsSet[0].nChannels, 2);
  EXPECT_EQ(m_pOutput->formatsSet[0].nSamplesPerSec, 44100u);
}

TEST_F(AudioCompressorConfigTest, NoSuitableFormatOverwritesCapabilityZeroWithThePickedHeader) {
  Select(2, 44100, 16000);
  m_pOutput->capabilities = {PcmCapability(1, 8000, 4000), PcmCapability(2, 44100, 16385)};
  AudioCompressorConfig(m_pFilter);
  ASSERT_EQ(m_pOutput->formatsSet.size(), 1u);
  const WAVEFORMATEX& set = m_pOutput->formatsSet[0];
  EXPECT_EQ(memcmp(&set, g_pSelectedAudioFormat, sizeof(WAVEFORMATEX)), 0);
  EXPECT_EQ(set.wFormatTag, 0x11);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"AudioCompressorConfig -> Enter"),
                                  T(L"AudioCompressorConfig -> suitable format can not be found")}));
}

TEST_F(AudioCompressorConfigTest, CapabilitiesThatAreNotWaveFormatsOrFailAreSkipped) {
  Select(1, 8000, 1000);
  tavtest::FakeCapability other = PcmCapability(1, 8000, 1000);
  other.waveFormat = false;
  tavtest::FakeCapability failing = PcmCapability(1, 8000, 1000);
  failing.capsResult = E_FAIL;
  m_pOutput->capabilities = {other, failing, PcmCapability(1, 8000, 1020)};
  AudioCompressorConfig(m_pFilter);
  ASSERT_EQ(m_pOutput->formatsSet.size(), 1u);
  EXPECT_EQ(m_pOutput->formatsSet[0].nAvgBytesPerSec, 1020u);
}

TEST_F(AudioCompressorConfigTest, AWrongCapabilitySizeStopsEverything) {
  Select(2, 44100, 16000);
  m_pOutput->capabilities = {PcmCapability(2, 44100, 16000)};
  m_pOutput->capsSize = 88;  // a video capability structure
  AudioCompressorConfig(m_pFilter);
  EXPECT_TRUE(m_pOutput->formatsSet.empty());
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"AudioCompressorConfig -> Enter"),
                                  T(L"AudioCompressorConfig -> AUDIO_STREAM_CONFIG_CAPS not equal scc")}));
}

TEST_F(AudioCompressorConfigTest, EnumPinsFailureIsLoggedWithItsCode) {
  Select(2, 44100, 16000);
  m_pFilter->enumPinsResult = E_OUTOFMEMORY;
  AudioCompressorConfig(m_pFilter);
  EXPECT_EQ(m_log.Lines(),
            (Lines{T(L"AudioCompressorConfig -> Enter"), T(L"AudioCompressorConfig -> EnumPins faled err=8007000E")}));
}

TEST_F(AudioCompressorConfigTest, ALastPinWithoutStreamConfigLeavesTheLastOneThatHasIt) {
  Select(2, 44100, 16000);
  m_pOutput->capabilities = {PcmCapability(2, 44100, 16000)};
  FakeConfigPin* extra = FakeConfigPin::Create(PINDIR_OUTPUT);
  extra->answersConfig = false;
  m_pFilter->AddPin(extra);
  AudioCompressorConfig(m_pFilter);
  EXPECT_EQ(m_pOutput->formatsSet.size(), 1u);
}

TEST_F(AudioCompressorConfigTest, TheLastPinWithStreamConfigIsTheOneConfigured) {
  Select(2, 44100, 16000);
  m_pInput->answersConfig = true;
  m_pInput->capabilities = {PcmCapability(2, 44100, 16000)};
  m_pOutput->capabilities = {PcmCapability(2, 44100, 16000)};
  AudioCompressorConfig(m_pFilter);
  EXPECT_TRUE(m_pInput->formatsSet.empty());
  EXPECT_EQ(m_pOutput->formatsSet.size(), 1u);
}

TEST_F(AudioCompressorConfigTest, NoPinWithStreamConfigDoesNothing) {
  Select(2, 44100, 16000);
  m_pOutput->answersConfig = false;
  AudioCompressorConfig(m_pFilter);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"AudioCompressorConfig -> Enter")}));
}

}  // namespace
