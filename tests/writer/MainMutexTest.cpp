// The two writer methods that run under the main mutex: ReleaseFilterData
// and StopRecord. Each path must leave the mutex free for other threads.
#include <gtest/gtest.h>

#include "tests/writer/support/FakeFilters.h"
#include "tests/writer/support/FakeGraph.h"
#include "tests/writer/support/LogCapture.h"
#include "tests/writer/support/MutexProbe.h"
#include "writer/CAviWriter.h"

using tavtest::FakeAudioFilter;
using tavtest::FakeGraph;
using tavtest::FakeVideoFilter;
using tavtest::LogCapture;
using tavtest::MutexIsFree;
using Lines = std::vector<std::wstring>;

namespace {

std::wstring T(const wchar_t* function, const wchar_t* message) { return LogCapture::Trace(function, message); }

class MainMutexTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    m_pWriter = new CAviWriter();
    m_pWriter->m_hMainMutex.Reset(CreateMutexW(nullptr, FALSE, L"AviWrt_MainMutex"));
    ASSERT_TRUE(m_pWriter->m_hMainMutex);
    m_log.Clear();
  }
  void TearDown() override {
    delete m_pWriter;
    if (m_pGraph) m_pGraph->Release();
  }
  FakeGraph* AttachFakeGraph() {
    m_pGraph = FakeGraph::Create();
    m_pWriter->m_pGraph = static_cast<IGraphBuilder*>(m_pGraph);
    return m_pGraph;
  }
  Lines StopLines(bool withLeave) const {
    Lines lines{T(L"CAviWriter::StopRecord", L"CAviWriter::StopRecord -> Enter"),
                T(L"CAviWriter::StopRecord", L"WaitForSingleObject->Enter m_hMainMutex StopRecord()"),
                T(L"CAviWriter::StopRecord", L"WaitForSingleObject->Leave m_hMainMutex StopRecord()")};
    if (withLeave) lines.push_back(T(L"CAviWriter::StopRecord", L"CAviWriter::StopRecord -> Leave"));
    return lines;
  }

  LogCapture m_log;
  CAviWriter* m_pWriter = nullptr;
  FakeGraph* m_pGraph = nullptr;
};

TEST_F(MainMutexTest, ReleaseFilterDataEndsBothFiltersAndReleasesTheMutex) {
  FakeVideoFilter* video = FakeVideoFilter::Create();
  FakeAudioFilter* audio = FakeAudioFilter::Create();
  m_pWriter->m_pRawFilter = static_cast<IBaseFilter*>(video);
  m_pWriter->m_pAudioSource = static_cast<IBaseFilter*>(audio);
  m_pWriter->ReleaseFilterData();
  EXPECT_EQ(video->releaseFilterDataCalls, 1);
  EXPECT_EQ(audio->releaseFilterDataCalls, 1);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(),
            (Lines{T(L"CAviWriter::ReleaseFilterData", L"CAviWriter::ReleaseFilterData -> Enter"),
                   T(L"CAviWriter::ReleaseFilterData", L"WaitForSingleObject->Enter m_hMainMutex ReleaseFilterData()"),
                   T(L"CAviWriter::ReleaseFilterData", L"WaitForSingleObject->Leave m_hMainMutex ReleaseFilterData()"),
                   T(L"CAviWriter::ReleaseFilterData", L"CAviWriter::ReleaseFilterData -> Leave")}));
  video->Release();
  audio->Release();
}

TEST_F(MainMutexTest, ReleaseFilterDataSkipsMissingFilters) {
  m_pWriter->ReleaseFilterData();
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines().size(), 4u);
}

TEST_F(MainMutexTest, ReleaseFilterDataWaitsForTheHandOverToLetGo) {
  FakeVideoFilter* video = FakeVideoFilter::Create();
  m_pWriter->m_pRawFilter = static_cast<IBaseFilter*>(video);
  tavtest::MutexHolder holder(m_pWriter->m_hMainMutex.Get());
  holder.ReleaseAfter(300);
  m_pWriter->ReleaseFilterData();
  EXPECT_TRUE(holder.Released());
  EXPECT_EQ(video->releaseFilterDataCalls, 1);
  video->Release();
}

TEST_F(MainMutexTest, StopRecordWithoutGraphSucceeds) {
  EXPECT_EQ(m_pWriter->StopRecord(), S_OK);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(true));
}

TEST_F(MainMutexTest, StopRecordStopsTheGraph) {
  FakeGraph* graph = AttachFakeGraph();
  EXPECT_EQ(m_pWriter->StopRecord(), S_OK);
  EXPECT_EQ(graph->stopCalls, 1);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(true));
}

TEST_F(MainMutexTest, StopRecordReturnsAFailingStopAndReleasesTheMutex) {
  FakeGraph* graph = AttachFakeGraph();
  graph->stopResult = VFW_E_WRONG_STATE;
  EXPECT_EQ(m_pWriter->StopRecord(), VFW_E_WRONG_STATE);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(false));
}

TEST_F(MainMutexTest, StopRecordWithoutMediaControlSucceeds) {
  FakeGraph* graph = AttachFakeGraph();
  graph->mediaControlQiResult = E_NOINTERFACE;
  EXPECT_EQ(m_pWriter->StopRecord(), S_OK);
  EXPECT_EQ(graph->stopCalls, 0);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(true));
}

TEST_F(MainMutexTest, StopRecordReleasesTheMutexWhenAComErrorLeavesIt) {
  FakeGraph* graph = AttachFakeGraph();
  graph->mediaControlQiResult = E_UNEXPECTED;
  try {
    m_pWriter->StopRecord();
    FAIL() << "no _com_error";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_UNEXPECTED);
  }
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(false));
}

TEST_F(MainMutexTest, StopRecordWaitsForTheHandOverToLetGo) {
  FakeGraph* graph = AttachFakeGraph();
  tavtest::MutexHolder holder(m_pWriter->m_hMainMutex.Get());
  holder.ReleaseAfter(300);
  EXPECT_EQ(m_pWriter->StopRecord(), S_OK);
  EXPECT_TRUE(holder.Released());
  EXPECT_EQ(graph->stopCalls, 1);
}

TEST_F(MainMutexTest, StopRecordStopsARealFilterGraph) {
  ASSERT_EQ(m_pWriter->EmptyGraph(), 0);
  m_log.Clear();
  EXPECT_EQ(m_pWriter->StopRecord(), S_OK);
  EXPECT_TRUE(MutexIsFree(m_pWriter->m_hMainMutex.Get()));
  EXPECT_EQ(m_log.Lines(), StopLines(true));
}

}  // namespace
