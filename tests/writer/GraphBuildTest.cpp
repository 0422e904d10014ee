// CAviWriter::MakeCaptureGraph with the real filters: the library's source
// filters, Wine's video codecs and the platform pack's AVI Mux, File Writer
// and audio compressors. The graph is read back, not run.
#include <gtest/gtest.h>

#include "compressors/CompressorExports.h"
#include "framework/MediaType.h"
#include "tests/writer/support/GraphRig.h"
#include "tests/writer/support/LogCapture.h"

using tavtest::Connections;
using tavtest::GraphRig;
using tavtest::LogCapture;
using tavtest::RigSettings;
using Names = std::vector<std::wstring>;

namespace {

std::wstring T(const wchar_t* message) { return LogCapture::Trace(L"CAviWriter::MakeCaptureGraph", message); }

class GraphBuildTest : public ::testing::Test {
 protected:
  void SetUp() override { CoInitialize(nullptr); }
  HRESULT Build(GraphRig& rig, const wchar_t* fileName = L"C:\\graph-build-test.avi") {
    wcsncpy_s(rig.Writer().m_szFileName, 260, fileName, _TRUNCATE);
    m_log.Clear();
    return rig.Writer().MakeCaptureGraph();
  }
  LogCapture m_log;
};

TEST_F(GraphBuildTest, UncompressedVideoGoesStraightToTheMux) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"File Writer", L"RAW Data Filter"}));
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"RAW Data Filter/Out -> AVI Mux/Input 01"}));
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"),
            (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter"), T(L"CAviWriter::MakeCaptureGraph -> Leave")}));
}

TEST_F(GraphBuildTest, GreyVideoGoesThroughTheMsRleCodec) {
  GraphRig rig;
  RigSettings settings;
  settings.pixelFormat = 2;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  bool hasDialog = false;
  ASSERT_EQ(TavMovieMakerSetCompressor(1, L"Wine MS-RLE video codec", &hasDialog), S_OK);
  ASSERT_TRUE(rig.Writer().m_pVideoCompressor);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"File Writer", L"RAW Data Filter", L"Video Compressor"}));
  for (auto& c : rig.ConnectionList()) printf("%ls\n", c.c_str());
  CMediaType type;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 01", &type));
  ASSERT_EQ(type.formattype, FORMAT_VideoInfo);
  const auto* info = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
  EXPECT_EQ(info->bmiHeader.biCompression, static_cast<DWORD>(BI_RLE8));
  EXPECT_EQ(info->bmiHeader.biWidth, 64);
}

TEST_F(GraphBuildTest, AudioTakesTheMuxsFirstInput) {
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"Audio Source Filter", L"File Writer", L"RAW Data Filter"}));
  for (auto& c : rig.ConnectionList()) printf("%ls\n", c.c_str());
  CMediaType first;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 01", &first));
  EXPECT_EQ(first.majortype, MEDIATYPE_Audio);
  CMediaType second;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 02", &second));
  EXPECT_EQ(second.majortype, MEDIATYPE_Video);
}

TEST_F(GraphBuildTest, AudioThroughThePcmCompressorTakesThePickedFormat) {
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  ASSERT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  ASSERT_TRUE(rig.Writer().m_pAudioCompressor);
  EXPECT_EQ(Build(rig), S_OK);
  for (auto& c : rig.ConnectionList()) printf("%ls\n", c.c_str());
  IAMStreamConfigPtr config;
  IEnumPinsPtr pins;
  rig.Writer().m_pAudioCompressor->EnumPins(&pins);
  IPinPtr pin;
  while (pins->Next(1, &pin, nullptr) == S_OK) { IAMStreamConfigPtr c(pin); if (c) config = c; }
  int count = 0, size = 0;
  config->GetNumberOfCapabilities(&count, &size);
  for (int i = 0; i < count; ++i) {
    AM_MEDIA_TYPE* t = nullptr; AUDIO_STREAM_CONFIG_CAPS caps;
    if (config->GetStreamCaps(i, &t, (BYTE*)&caps) == S_OK) {
      auto* wf = (WAVEFORMATEX*)t->pbFormat;
      printf("%d: tag %u ch %u rate %lu avg %lu align %u bits %u\n", i, wf->wFormatTag, wf->nChannels, wf->nSamplesPerSec, wf->nAvgBytesPerSec, wf->nBlockAlign, wf->wBitsPerSample);
      DeleteMediaType(t);
    }
  }
}

}  // namespace
