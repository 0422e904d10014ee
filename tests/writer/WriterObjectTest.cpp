// The writer object's construction, destruction and forwarding rules,
// against stand-in filters that report what they were given.
#include <gtest/gtest.h>

#include "tests/writer/support/FakeFilters.h"
#include "tests/writer/support/LogCapture.h"
#include "writer/CAviWriter.h"

using tavtest::FakeAudioFilter;
using tavtest::FakeVideoFilter;
using tavtest::LogCapture;
using Lines = std::vector<std::wstring>;

namespace {

class WriterObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    m_pWriter = new CAviWriter();
    m_log.Clear();
  }
  void TearDown() override {
    ForgetDistinctHandles();
    delete m_pWriter;
    if (m_pVideo) m_pVideo->Release();
    if (m_pAudio) m_pAudio->Release();
  }

  // Fake filters put into the writer; the test keeps its own reference.
  FakeVideoFilter* AttachVideo() {
    m_pVideo = FakeVideoFilter::Create();
    m_pWriter->m_pRawFilter = static_cast<IBaseFilter*>(m_pVideo);
    return m_pVideo;
  }
  FakeAudioFilter* AttachAudio() {
    m_pAudio = FakeAudioFilter::Create();
    m_pWriter->m_pAudioSource = static_cast<IBaseFilter*>(m_pAudio);
    return m_pAudio;
  }
  void SetDistinctHandles() {
    m_pWriter->m_hEventFrameReady.Reset(reinterpret_cast<HANDLE>(0x101));
    m_pWriter->m_hEventBufferReady.Reset(reinterpret_cast<HANDLE>(0x102));
    m_pWriter->m_hEventBufferDone.Reset(reinterpret_cast<HANDLE>(0x103));
    m_pWriter->m_hEventSampleReady.Reset(reinterpret_cast<HANDLE>(0x201));
    m_pWriter->m_hEventAudioBufferReady.Reset(reinterpret_cast<HANDLE>(0x202));
    m_pWriter->m_hEventAudioBufferDone.Reset(reinterpret_cast<HANDLE>(0x203));
  }

  // The distinct values are no handles: the writer must not close them.
  void ForgetDistinctHandles() {
    for (UniqueHandle* handle :
         {&m_pWriter->m_hEventFrameReady, &m_pWriter->m_hEventBufferReady, &m_pWriter->m_hEventBufferDone,
          &m_pWriter->m_hEventSampleReady, &m_pWriter->m_hEventAudioBufferReady, &m_pWriter->m_hEventAudioBufferDone})
      handle->Release();
  }

  static std::wstring T(const wchar_t* function, const wchar_t* message) {
    return LogCapture::Trace(function, message);
  }

  LogCapture m_log;
  CAviWriter* m_pWriter = nullptr;
  FakeVideoFilter* m_pVideo = nullptr;
  FakeAudioFilter* m_pAudio = nullptr;
};

TEST_F(WriterObjectTest, ConstructorStartsEmptyAndTracesEnterLeave) {
  m_log.Clear();
  CAviWriter writer;
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::CAviWriter", L"CAviWriter::CAviWriter -> Enter"),
                                  T(L"CAviWriter::CAviWriter", L"CAviWriter::CAviWriter -> Leave")}));
  EXPECT_FALSE(writer.m_pBuilder);
  EXPECT_FALSE(writer.m_pGraph);
  EXPECT_FALSE(writer.m_pRawFilter);
  EXPECT_FALSE(writer.m_pAviMux);
  EXPECT_FALSE(writer.m_pFileWriter);
  EXPECT_FALSE(writer.m_pVideoCompressor);
  EXPECT_FALSE(writer.m_pAudioSource);
  EXPECT_FALSE(writer.m_pAudioCompressor);
  for (wchar_t c : writer.m_szFileName) EXPECT_EQ(c, L'\0');
  EXPECT_EQ(writer.m_nWidth, 0u);
  EXPECT_EQ(writer.m_nHeight, 0u);
  EXPECT_EQ(writer.m_dFrameRate, 0.0);
  EXPECT_EQ(writer.m_bCompressed, 0);
  EXPECT_FALSE(writer.m_bStartPending);
  EXPECT_FALSE(writer.m_bStarted);
  EXPECT_FALSE(writer.m_hEventFrameReady);
  EXPECT_FALSE(writer.m_hEventBufferReady);
  EXPECT_FALSE(writer.m_hEventBufferDone);
  EXPECT_FALSE(writer.m_hEventSampleReady);
  EXPECT_FALSE(writer.m_hEventAudioBufferReady);
  EXPECT_FALSE(writer.m_hEventAudioBufferDone);
  EXPECT_FALSE(writer.m_hMainMutex);
  EXPECT_EQ(writer.m_pVideoCompressors, nullptr);
  EXPECT_EQ(writer.m_nVideoCompressors, 0);
  EXPECT_EQ(writer.m_pAudioCompressors, nullptr);
  EXPECT_EQ(writer.m_nAudioCompressors, 0);
  EXPECT_EQ(writer.m_iVideoCompressor, 0);
}

TEST_F(WriterObjectTest, DestroyingWithoutTablesReleasesOnlyTheSetInterfacesInReverseOrder) {
  std::vector<const void*> released;
  FakeVideoFilter* raw = FakeVideoFilter::Create();
  FakeAudioFilter* audio = FakeAudioFilter::Create();
  FakeVideoFilter* compressor = FakeVideoFilter::Create();
  raw->releaseTrace = &released;
  audio->releaseTrace = &released;
  compressor->releaseTrace = &released;
  {
    CAviWriter writer;
    writer.m_pRawFilter = static_cast<IBaseFilter*>(raw);
    writer.m_pVideoCompressor = static_cast<IBaseFilter*>(compressor);
    writer.m_pAudioSource = static_cast<IBaseFilter*>(audio);
    EXPECT_EQ(raw->RefCount(), 2);
    m_log.Clear();
  }
  // Members go in reverse declared order: audio source, video compressor, raw filter.
  ASSERT_EQ(released.size(), 3u);
  EXPECT_EQ(released[0], static_cast<const void*>(static_cast<tavtest::FakeFilterBase*>(audio)));
  EXPECT_EQ(released[1], static_cast<const void*>(static_cast<tavtest::FakeFilterBase*>(compressor)));
  EXPECT_EQ(released[2], static_cast<const void*>(static_cast<tavtest::FakeFilterBase*>(raw)));
  EXPECT_EQ(raw->RefCount(), 1);
  EXPECT_EQ(audio->RefCount(), 1);
  EXPECT_EQ(compressor->RefCount(), 1);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::~CAviWriter", L"CAviWriter::~CAviWriter -> Enter"),
                                  T(L"CAviWriter::~CAviWriter", L"CAviWriter::~CAviWriter -> Leave")}));
  raw->releaseTrace = audio->releaseTrace = compressor->releaseTrace = nullptr;
  raw->Release();
  audio->Release();
  compressor->Release();
}

TEST_F(WriterObjectTest, InitAudioBeforeAnyAudioFilterKeepsTheSelectorAndSucceeds) {
  AttachVideo();
  EXPECT_TRUE(m_pWriter->InitAudio(16, 7, 25));
  EXPECT_EQ(m_pWriter->m_nAudioFormat, 16u);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitAudio", L"CAviWriter::InitParam2 -> Enter"),
                                  T(L"CAviWriter::InitAudio", L"CAviWriter::InitParam2 -> Leave")}));
  EXPECT_EQ(m_pVideo->setEventHandlesCalls + m_pVideo->initParam2Calls, 0);
}

TEST_F(WriterObjectTest, InitAudioHandsEventsAndSettingsToTheAudioFilter) {
  SetDistinctHandles();
  FakeAudioFilter* audio = AttachAudio();
  EXPECT_TRUE(m_pWriter->InitAudio(24, 9, 30));
  EXPECT_EQ(m_pWriter->m_nAudioFormat, 24u);
  EXPECT_EQ(audio->setEventHandlesCalls, 1);
  EXPECT_EQ(audio->eventHandles[0], reinterpret_cast<HANDLE>(0x201));
  EXPECT_EQ(audio->eventHandles[1], reinterpret_cast<HANDLE>(0x202));
  EXPECT_EQ(audio->eventHandles[2], reinterpret_cast<HANDLE>(0x203));
  EXPECT_EQ(audio->initParam2Calls, 1);
  EXPECT_EQ(audio->lastBits, 24);
  EXPECT_EQ(audio->lastId, 9u);
  EXPECT_EQ(audio->lastBuffersPerSecond, 30u);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitAudio", L"CAviWriter::InitParam2 -> Enter"),
                                  T(L"CAviWriter::InitAudio", L"CAviWriter::InitParam2 -> Leave")}));
}

TEST_F(WriterObjectTest, InitAudioFailsWhenTheAudioFilterReportsOneButKeepsTheSelector) {
  FakeAudioFilter* audio = AttachAudio();
  audio->initParam2Result = S_FALSE;
  EXPECT_FALSE(m_pWriter->InitAudio(16, 1, 25));
  EXPECT_EQ(m_pWriter->m_nAudioFormat, 16u);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitAudio", L"CAviWriter::InitParam2 -> Enter")}));
}

TEST_F(WriterObjectTest, InitAudioFailsWhenSetEventHandlesReportsAnything) {
  FakeAudioFilter* audio = AttachAudio();
  audio->setEventHandlesResult = E_FAIL;
  EXPECT_FALSE(m_pWriter->InitAudio(16, 1, 25));
  EXPECT_EQ(audio->initParam2Calls, 0);
}

TEST_F(WriterObjectTest, InitAudioFailsWhenTheAudioFilterHasNoInterface) {
  FakeAudioFilter* audio = AttachAudio();
  audio->qiResult = E_NOINTERFACE;
  EXPECT_FALSE(m_pWriter->InitAudio(16, 1, 25));
  EXPECT_EQ(m_pWriter->m_nAudioFormat, 16u);
}

TEST_F(WriterObjectTest, InitParam2HandsEventsGeometryRateAndIdToBothFilters) {
  SetDistinctHandles();
  FakeVideoFilter* video = AttachVideo();
  FakeAudioFilter* audio = AttachAudio();
  m_pWriter->m_nAudioFormat = 24;
  EXPECT_TRUE(m_pWriter->InitParam2(640, -480, 29.97, 1, 5));
  EXPECT_EQ(video->eventHandles[0], reinterpret_cast<HANDLE>(0x101));
  EXPECT_EQ(video->eventHandles[1], reinterpret_cast<HANDLE>(0x102));
  EXPECT_EQ(video->eventHandles[2], reinterpret_cast<HANDLE>(0x103));
  EXPECT_EQ(video->lastWidth, 640u);
  EXPECT_EQ(video->lastHeight, -480);
  EXPECT_EQ(video->lastFps, 29.97);
  EXPECT_EQ(video->lastReserved, 1u);
  EXPECT_EQ(video->lastId, 5u);
  EXPECT_EQ(audio->eventHandles[0], reinterpret_cast<HANDLE>(0x201));
  EXPECT_EQ(audio->lastBits, 24);
  EXPECT_EQ(audio->lastId, 5u);
  EXPECT_EQ(audio->lastBuffersPerSecond, 29u);  // truncated toward zero
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Enter"),
                                  T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Leave")}));
}

TEST_F(WriterObjectTest, InitParam2FailsWhenTheAudioFilterReportsOneAfterTheVideoFilterWasInitialised) {
  FakeVideoFilter* video = AttachVideo();
  FakeAudioFilter* audio = AttachAudio();
  m_pWriter->m_nAudioFormat = 16;
  audio->initParam2Result = S_FALSE;
  EXPECT_FALSE(m_pWriter->InitParam2(320, 240, 25.0, 0, 1));
  EXPECT_EQ(video->initParam2Calls, 1);
  EXPECT_EQ(audio->initParam2Calls, 1);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Enter")}));
}

TEST_F(WriterObjectTest, InitParam2TreatsANegativeResultAsInitialised) {
  FakeVideoFilter* video = AttachVideo();
  video->initParam2Result = E_UNEXPECTED;
  EXPECT_TRUE(m_pWriter->InitParam2(320, 240, 25.0, 0, 1));
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Enter"),
                                  T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Leave")}));
}

TEST_F(WriterObjectTest, InitParam2FailsWhenTheVideoFilterReportsOne) {
  FakeVideoFilter* video = AttachVideo();
  FakeAudioFilter* audio = AttachAudio();
  video->initParam2Result = S_FALSE;
  EXPECT_FALSE(m_pWriter->InitParam2(320, 240, 25.0, 0, 1));
  EXPECT_EQ(audio->initParam2Calls + audio->setEventHandlesCalls, 0);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Enter")}));
}

TEST_F(WriterObjectTest, InitParam2FailsWithoutARawFilter) {
  EXPECT_FALSE(m_pWriter->InitParam2(320, 240, 25.0, 0, 1));
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::InitParam2", L"CAviWriter::InitParam2 -> Enter")}));
}

TEST_F(WriterObjectTest, InitParam2FailsWhenTheAudioEventsAreRefused) {
  AttachVideo();
  FakeAudioFilter* audio = AttachAudio();
  audio->setEventHandlesResult = S_FALSE;
  m_pWriter->m_nAudioFormat = 16;
  EXPECT_FALSE(m_pWriter->InitParam2(320, 240, 25.0, 0, 1));
  EXPECT_EQ(audio->initParam2Calls, 0);
}

TEST_F(WriterObjectTest, AQueryInterfaceFailureOtherThanNoInterfaceLeavesAsComError) {
  FakeVideoFilter* video = AttachVideo();
  video->qiResult = E_UNEXPECTED;
  try {
    m_pWriter->InitParam2(320, 240, 25.0, 0, 1);
    FAIL() << "no _com_error";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_UNEXPECTED);
  }
  EXPECT_THROW(m_pWriter->AddMovieFrame(nullptr, 0, 0), _com_error);
}

TEST_F(WriterObjectTest, NoInterfaceCountsAsAMissingFilter) {
  FakeVideoFilter* video = AttachVideo();
  video->qiResult = E_NOINTERFACE;
  EXPECT_EQ(m_pWriter->AddMovieFrame2(nullptr, 0, 0, 0), E_FAIL);
  EXPECT_FALSE(m_pWriter->SetFrameData(nullptr));
}

TEST_F(WriterObjectTest, SetFrameDataPassesTheCodeAndFailsOnlyOnOne) {
  FakeVideoFilter* video = AttachVideo();
  UINT code = 2;
  EXPECT_TRUE(m_pWriter->SetFrameData(&code));
  EXPECT_EQ(video->lastFormat, &code);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::SetFrameData", L"CAviWriter::SetFrameData -> Enter"),
                                  T(L"CAviWriter::SetFrameData", L"CAviWriter::SetFrameData -> Leave")}));
  m_log.Clear();
  video->setFrameDataResult = S_FALSE;
  EXPECT_FALSE(m_pWriter->SetFrameData(&code));
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::SetFrameData", L"CAviWriter::SetFrameData -> Enter")}));
  video->setFrameDataResult = E_FAIL;
  EXPECT_TRUE(m_pWriter->SetFrameData(&code));
}

TEST_F(WriterObjectTest, SetFrameDataFailsWithoutARawFilter) {
  UINT code = 0;
  EXPECT_FALSE(m_pWriter->SetFrameData(&code));
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::SetFrameData", L"CAviWriter::SetFrameData -> Enter")}));
}

TEST_F(WriterObjectTest, AddMovieFrameWithoutRawFilterFailsAfterTheEnterLineOnly) {
  BYTE frame[4] = {};
  EXPECT_EQ(m_pWriter->AddMovieFrame(frame, 4, 0), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::AddMovieFrame", L"CAviWriter::AddMovieFrame -> Enter")}));
}

TEST_F(WriterObjectTest, FrameAndSampleForwardersWithoutTheirFilterReturnEFail) {
  EXPECT_EQ(m_pWriter->AddMovieFrame2(nullptr, 0, 0, 0), E_FAIL);
  EXPECT_EQ(m_pWriter->AddAudioSample(nullptr, 0, 0), E_FAIL);
  EXPECT_EQ(m_pWriter->AddAudioSample2(nullptr, 0, 0, 0), E_FAIL);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::AddMovieFrame2", L"CAviWriter::AddMovieFrame2 -> Enter"),
                                  T(L"CAviWriter::AddAudioSample", L"CAviWriter::AddAudioSample -> Enter"),
                                  T(L"CAviWriter::AddAudioSample2", L"CAviWriter::AddAudioSample2 -> Enter")}));
}

TEST_F(WriterObjectTest, FrameForwardersPassArgumentsAndResultsUnchanged) {
  FakeVideoFilter* video = AttachVideo();
  BYTE frame[8] = {};
  video->addFrameResult = static_cast<HRESULT>(0x80040227);
  EXPECT_EQ(m_pWriter->AddMovieFrame(frame, 8, 400000), static_cast<HRESULT>(0x80040227));
  EXPECT_EQ(video->addFrameCalls, 1);
  EXPECT_EQ(video->lastData, frame);
  EXPECT_EQ(video->lastSize, 8);
  EXPECT_EQ(video->lastTime, 400000u);
  video->addFrameResult = S_FALSE;
  EXPECT_EQ(m_pWriter->AddMovieFrame2(frame, 6, 800000, 0x100000002ull), S_FALSE);
  EXPECT_EQ(video->addFrame2Calls, 1);
  EXPECT_EQ(video->lastSize, 6);
  EXPECT_EQ(video->lastTime, 800000u);
  EXPECT_EQ(video->lastFrameNumber, 0x100000002ull);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::AddMovieFrame", L"CAviWriter::AddMovieFrame -> Enter"),
                                  T(L"CAviWriter::AddMovieFrame", L"CAviWriter::AddMovieFrame -> Leave"),
                                  T(L"CAviWriter::AddMovieFrame2", L"CAviWriter::AddMovieFrame2 -> Enter"),
                                  T(L"CAviWriter::AddMovieFrame2", L"CAviWriter::AddMovieFrame2 -> Leave")}));
}

TEST_F(WriterObjectTest, SampleForwardersPassArgumentsAndResultsUnchanged) {
  FakeAudioFilter* audio = AttachAudio();
  BYTE block[16] = {};
  audio->addFrameResult = E_OUTOFMEMORY;
  EXPECT_EQ(m_pWriter->AddAudioSample(block, 16, 5), E_OUTOFMEMORY);
  EXPECT_EQ(audio->addFrameCalls, 1);
  EXPECT_EQ(audio->lastData, block);
  EXPECT_EQ(audio->lastTime, 5u);
  audio->addFrameResult = S_OK;
  EXPECT_EQ(m_pWriter->AddAudioSample2(block, 12, 7, 3), S_OK);
  EXPECT_EQ(audio->addFrame2Calls, 1);
  EXPECT_EQ(audio->lastSize, 12);
  EXPECT_EQ(audio->lastFrameNumber, 3u);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::AddAudioSample", L"CAviWriter::AddAudioSample -> Enter"),
                                  T(L"CAviWriter::AddAudioSample", L"CAviWriter::AddAudioSample -> Leave"),
                                  T(L"CAviWriter::AddAudioSample2", L"CAviWriter::AddAudioSample2 -> Enter"),
                                  T(L"CAviWriter::AddAudioSample2", L"CAviWriter::AddAudioSample2 -> Leave")}));
}

}  // namespace
