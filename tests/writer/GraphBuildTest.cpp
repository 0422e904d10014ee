// CAviWriter::MakeCaptureGraph with the real filters: the library's source
// filters, Wine's video codecs and the platform pack's AVI Mux, File Writer
// and audio compressors. The graph is read back, not run.
#include <gtest/gtest.h>

#include "TavMovieMaker.h"
#include "compressors/CompressorChoices.h"
#include "framework/MediaType.h"
#include "tests/writer/support/FakeCompressor.h"
#include "tests/writer/support/FakeConfigFilter.h"
#include "tests/writer/support/GraphRig.h"
#include "tests/writer/support/RegisteredConverter.h"
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
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"RAW Data Filter/Out -> Video Compressor/Input",
                         L"Video Compressor/Output -> AVI Mux/Input 01"}));
  CMediaType type;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 01", &type));
  ASSERT_EQ(type.formattype, FORMAT_VideoInfo);
  const auto* info = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
  EXPECT_EQ(info->bmiHeader.biCompression, static_cast<DWORD>(BI_RLE8));
  EXPECT_EQ(info->bmiHeader.biWidth, 64);
  EXPECT_EQ(info->bmiHeader.biHeight, 48);
}

TEST_F(GraphBuildTest, AudioTakesTheMuxsFirstInput) {
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"Audio Source Filter", L"File Writer", L"RAW Data Filter"}));
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"Audio Source Filter/Capture -> AVI Mux/Input 01",
                         L"RAW Data Filter/Out -> AVI Mux/Input 02"}));
  CMediaType first;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 01", &first));
  EXPECT_EQ(first.majortype, MEDIATYPE_Audio);
  CMediaType second;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 02", &second));
  EXPECT_EQ(second.majortype, MEDIATYPE_Video);
}

class PickedFormatTest : public GraphBuildTest {
 protected:
  void TearDown() override {
    delete[] reinterpret_cast<BYTE*>(g_pSelectedAudioFormat);
    g_pSelectedAudioFormat = nullptr;
  }
  void Pick(const WAVEFORMATEX& format) {
    auto* picked = reinterpret_cast<WAVEFORMATEX*>(new BYTE[sizeof(WAVEFORMATEX)]);
    *picked = format;
    g_pSelectedAudioFormat = picked;
  }
};

TEST_F(PickedFormatTest, AudioThroughThePcmCompressorTakesThePickedFormat) {
  Pick(WAVEFORMATEX{WAVE_FORMAT_PCM, 1, 22050, 44100, 2, 16, 0});
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  ASSERT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  ASSERT_TRUE(rig.Writer().m_pAudioCompressor);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(rig.FilterNames(),
            (Names{L"AVI Mux", L"Audio Compressor", L"Audio Source Filter", L"File Writer", L"RAW Data Filter"}));
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"Audio Compressor/Output -> AVI Mux/Input 01",
                         L"Audio Source Filter/Capture -> Audio Compressor/Input",
                         L"RAW Data Filter/Out -> AVI Mux/Input 02"}));
  CMediaType type;
  ASSERT_TRUE(rig.ConnectionType(L"AVI Mux", L"Input 01", &type));
  ASSERT_EQ(type.formattype, FORMAT_WaveFormatEx);
  const auto* format = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
  EXPECT_EQ(format->nChannels, 1);
  EXPECT_EQ(format->nSamplesPerSec, 22050u);
  EXPECT_EQ(format->wBitsPerSample, 16);
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"),
            (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter"),
                   LogCapture::Trace(L"AudioCompressorConfig", L"AudioCompressorConfig -> Enter"),
                   LogCapture::Trace(L"AudioCompressorConfig", L"AudioCompressorConfig -> found a suitable format"),
                   T(L"CAviWriter::MakeCaptureGraph -> Leave")}));
}

TEST_F(PickedFormatTest, AFormatTheCompressorDoesNotOfferIsReportedAndTheBuildGoesOn) {
  Pick(WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 8000, 5000, 4, 16, 0});
  GraphRig rig;
  RigSettings settings;
  settings.audio = true;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  ASSERT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  EXPECT_EQ(Build(rig), S_OK);
  EXPECT_EQ(
      m_log.LinesOf(L".\\TavMovieMaker"),
      (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter"),
             LogCapture::Trace(L"AudioCompressorConfig", L"AudioCompressorConfig -> Enter"),
             LogCapture::Trace(L"AudioCompressorConfig", L"AudioCompressorConfig -> suitable format can not be found"),
             T(L"CAviWriter::MakeCaptureGraph -> Leave")}));
  EXPECT_EQ(rig.ConnectionList().size(), 4u);
}

}  // namespace

namespace {

class GraphBuildFailureTest : public GraphBuildTest {};

TEST_F(GraphBuildFailureTest, ACompressorThatCannotBeLinkedFailsWithConnectsResult) {
  // Wine's MS-RLE codec takes 8-bit frames only, and no converter from 24-bit
  // RGB is registered: neither the direct nor the converting link works.
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  ASSERT_EQ(TavMovieMakerSetCompressor(1, L"Wine MS-RLE video codec", nullptr), S_OK);
  EXPECT_EQ(Build(rig), VFW_E_CANNOT_CONNECT);
  EXPECT_EQ(rig.FilterNames(), (Names{L"RAW Data Filter", L"Video Compressor"}));
  EXPECT_TRUE(rig.ConnectionList().empty());
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"), (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter")}));
}

TEST_F(GraphBuildFailureTest, ARefusedFileNameReturnsSetFileNamesResultWithTheFiltersLeftInTheGraph) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  EXPECT_EQ(Build(rig, L""), E_INVALIDARG);  // the File Writer takes no empty name
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"File Writer", L"RAW Data Filter"}));
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"RAW Data Filter/Out -> AVI Mux/Input 01"}));
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"), (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter")}));
}

TEST_F(GraphBuildFailureTest, AFileWriterThatCannotBeConnectedDoesNotStopTheBuild) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  tavtest::FakeSinkFilter* sink = tavtest::FakeSinkFilter::Create();
  sink->AddPin(tavtest::FakeConfigPin::Create(PINDIR_INPUT));
  rig.Writer().m_pFileWriter = static_cast<IBaseFilter*>(sink);
  sink->Release();
  EXPECT_EQ(Build(rig, L"C:\\unconnected.avi"), S_OK);
  EXPECT_EQ(sink->setFileNameCalls, 1);
  EXPECT_EQ(sink->fileName, L"C:\\unconnected.avi");
  EXPECT_EQ(rig.FilterNames(), (Names{L"AVI Mux", L"File Writer", L"RAW Data Filter"}));
  EXPECT_EQ(rig.ConnectionList(), (Connections{L"RAW Data Filter/Out -> AVI Mux/Input 01"}));
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"),
            (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter"), T(L"CAviWriter::MakeCaptureGraph -> Leave")}));
}

TEST_F(GraphBuildFailureTest, AFileWriterWithoutFileSinkRaisesEPointer) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  tavtest::FakeConfigFilter* notASink = tavtest::FakeConfigFilter::Create();
  notASink->AddPin(tavtest::FakeConfigPin::Create(PINDIR_INPUT));
  rig.Writer().m_pFileWriter = static_cast<IBaseFilter*>(notASink);
  notASink->Release();
  try {
    Build(rig);
    FAIL() << "no _com_error";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_POINTER);
  }
}

TEST_F(GraphBuildFailureTest, AMissingRawFilterFailsInAddFilter) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  rig.Writer().m_pRawFilter = nullptr;
  EXPECT_EQ(Build(rig), E_POINTER);
  EXPECT_TRUE(rig.FilterNames().empty());
}

TEST_F(GraphBuildFailureTest, ASourceWhosePinsCannotBeListedRaisesTheError) {
  GraphRig rig;
  ASSERT_EQ(rig.Setup(RigSettings()), S_OK);
  tavtest::FakeVideoFilter* source = tavtest::FakeVideoFilter::Create();  // EnumPins: E_NOTIMPL
  rig.Writer().m_pRawFilter = static_cast<IBaseFilter*>(source);
  source->Release();
  try {
    Build(rig);
    FAIL() << "no _com_error";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_NOTIMPL);
  }
  EXPECT_EQ(rig.FilterNames(), (Names{L"RAW Data Filter"}));
}

TEST_F(GraphBuildFailureTest, AMissingGraphRaisesEPointer) {
  CAviWriter writer;
  try {
    writer.MakeCaptureGraph();
    FAIL() << "no _com_error";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_POINTER);
  }
}

}  // namespace

namespace {

// Intelligent connect creates the filters it inserts on a thread of its own:
// the converter's class object must be registered in the multithreaded
// apartment to be found there.
class ConverterGraphTest : public ::testing::Test {
 protected:
  void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  LogCapture m_log;
};

TEST_F(ConverterGraphTest, ACompressorIsStillLinkedWhenConnectInsertsAConverter) {
  tavtest::RegisteredConverter converter;
  ASSERT_EQ(converter.Result(), S_OK);
  GraphRig rig;
  RigSettings settings;
  settings.pixelFormat = 1;  // 32-bit RGB; the compressor takes 24-bit only
  ASSERT_EQ(rig.Setup(settings), S_OK);
  IBaseFilter* compressor = tavtest::FakeCompressor::CreateInstance(MEDIASUBTYPE_RGB24);
  rig.Writer().m_pVideoCompressor = compressor;
  compressor->Release();
  wcsncpy_s(rig.Writer().m_szFileName, 260, L"C:\\converter.avi", _TRUNCATE);
  m_log.Clear();
  EXPECT_EQ(rig.Writer().MakeCaptureGraph(), S_OK);
  EXPECT_EQ(rig.FilterNames(),
            (Names{L"AVI Mux", L"File Writer", L"RAW Data Filter", L"TavTest RGB Converter", L"Video Compressor"}));
  EXPECT_EQ(
      rig.ConnectionList(),
      (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"RAW Data Filter/Out -> TavTest RGB Converter/In",
                   L"TavTest RGB Converter/Out -> Video Compressor/In", L"Video Compressor/Out -> AVI Mux/Input 01"}));
  EXPECT_EQ(m_log.LinesOf(L".\\TavMovieMaker"),
            (Names{T(L"CAviWriter::MakeCaptureGraph -> Enter"), T(L"CAviWriter::MakeCaptureGraph -> Leave")}));
}

TEST_F(ConverterGraphTest, ACompressorTakingTheRawFormatIsLinkedDirectly) {
  tavtest::RegisteredConverter converter;
  ASSERT_EQ(converter.Result(), S_OK);
  GraphRig rig;
  RigSettings settings;
  settings.pixelFormat = 0;
  ASSERT_EQ(rig.Setup(settings), S_OK);
  IBaseFilter* compressor = tavtest::FakeCompressor::CreateInstance(MEDIASUBTYPE_RGB24);
  rig.Writer().m_pVideoCompressor = compressor;
  compressor->Release();
  wcsncpy_s(rig.Writer().m_szFileName, 260, L"C:\\direct.avi", _TRUNCATE);
  EXPECT_EQ(rig.Writer().MakeCaptureGraph(), S_OK);
  EXPECT_EQ(rig.ConnectionList(),
            (Connections{L"AVI Mux/AVI Out -> File Writer/in", L"RAW Data Filter/Out -> Video Compressor/In",
                         L"Video Compressor/Out -> AVI Mux/Input 01"}));
}

}  // namespace
