// CAviWriter::EmptyGraph: creates the graph objects when missing, stops the
// graph and removes every filter, and turns a COM error into -1.
#include <gtest/gtest.h>

#include "tests/writer/support/FailingClassFactory.h"
#include "tests/writer/support/FakeFilters.h"
#include "tests/writer/support/LogCapture.h"
#include "writer/CAviWriter.h"

using tavtest::FakeVideoFilter;
using tavtest::LogCapture;
using Lines = std::vector<std::wstring>;

namespace {

std::wstring T(const wchar_t* message) { return LogCapture::Trace(L"CAviWriter::EmptyGraph", message); }

int CountFilters(IGraphBuilder* graph) {
  ThrowingComPtr<IEnumFilters> filters;
  if (FAILED(graph->EnumFilters(&filters))) return -1;
  int count = 0;
  ThrowingComPtr<IBaseFilter> filter;
  while (filters->Next(1, &filter, nullptr) == S_OK) ++count;
  return count;
}

class EmptyGraphTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    m_pWriter = new CAviWriter();
    m_log.Clear();
  }
  void TearDown() override { delete m_pWriter; }
  LogCapture m_log;
  CAviWriter* m_pWriter = nullptr;
};

TEST_F(EmptyGraphTest, CreatesBuilderAndGraphBoundTogether) {
  EXPECT_EQ(m_pWriter->EmptyGraph(), 0);
  ASSERT_TRUE(m_pWriter->m_pBuilder);
  ASSERT_TRUE(m_pWriter->m_pGraph);
  IGraphBuilder* bound = nullptr;
  ASSERT_EQ(m_pWriter->m_pBuilder->GetFiltergraph(&bound), S_OK);
  EXPECT_EQ(bound, static_cast<IGraphBuilder*>(m_pWriter->m_pGraph));
  bound->Release();
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::EmptyGraph -> Enter"), T(L"CAviWriter::EmptyGraph -> Leave")}));
}

TEST_F(EmptyGraphTest, AGraphHoldingNothingStaysEmpty) {
  ASSERT_EQ(m_pWriter->EmptyGraph(), 0);
  IGraphBuilder* graph = m_pWriter->m_pGraph;
  m_log.Clear();
  EXPECT_EQ(m_pWriter->EmptyGraph(), 0);
  EXPECT_EQ(static_cast<IGraphBuilder*>(m_pWriter->m_pGraph), graph);  // kept, not made again
  EXPECT_EQ(CountFilters(m_pWriter->m_pGraph), 0);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::EmptyGraph -> Enter"), T(L"CAviWriter::EmptyGraph -> Leave")}));
}

TEST_F(EmptyGraphTest, RemovesEveryFilterButTheWriterKeepsThem) {
  ASSERT_EQ(m_pWriter->EmptyGraph(), 0);
  FakeVideoFilter* filters[3] = {FakeVideoFilter::Create(), FakeVideoFilter::Create(), FakeVideoFilter::Create()};
  m_pWriter->m_pRawFilter = static_cast<IBaseFilter*>(filters[0]);
  ASSERT_EQ(m_pWriter->m_pGraph->AddFilter(static_cast<IBaseFilter*>(filters[0]), L"RAW Data Filter"), S_OK);
  ASSERT_EQ(m_pWriter->m_pGraph->AddFilter(static_cast<IBaseFilter*>(filters[1]), L"AVI Mux"), S_OK);
  ASSERT_EQ(m_pWriter->m_pGraph->AddFilter(static_cast<IBaseFilter*>(filters[2]), L"File Writer"), S_OK);
  ASSERT_EQ(CountFilters(m_pWriter->m_pGraph), 3);
  EXPECT_EQ(m_pWriter->EmptyGraph(), 0);
  EXPECT_EQ(CountFilters(m_pWriter->m_pGraph), 0);
  EXPECT_EQ(filters[0]->RefCount(), 2);  // the test's and the writer's
  EXPECT_EQ(filters[1]->RefCount(), 1);
  EXPECT_EQ(filters[2]->RefCount(), 1);
  for (FakeVideoFilter* filter : filters) filter->Release();
}

TEST_F(EmptyGraphTest, FailsWithMinusOneWhenNeitherBuilderNorGraphCanBeMade) {
  tavtest::FailingClasses failing(REGDB_E_CLASSNOTREG);
  ASSERT_EQ(failing.Add(CLSID_CaptureGraphBuilder2), S_OK);
  ASSERT_EQ(failing.Add(CLSID_FilterGraph), S_OK);
  EXPECT_EQ(m_pWriter->EmptyGraph(), -1);
  EXPECT_FALSE(m_pWriter->m_pBuilder);
  EXPECT_FALSE(m_pWriter->m_pGraph);
  // SetFiltergraph on the missing builder raises E_POINTER (0x80004003), for
  // which Wine's system message table has no text.
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::EmptyGraph -> Enter"),
                                  LogCapture::Line(L"CAviWriter::EmptyGraph", L"ERROR", 0,
                                                   L"EmptyGraph() error: Unknown error 0x80004003")}));
}

TEST_F(EmptyGraphTest, FailsWithMinusOneWhenOnlyTheGraphCannotBeMade) {
  tavtest::FailingClasses failing(REGDB_E_CLASSNOTREG);
  ASSERT_EQ(failing.Add(CLSID_FilterGraph), S_OK);
  EXPECT_EQ(m_pWriter->EmptyGraph(), -1);
  EXPECT_TRUE(m_pWriter->m_pBuilder);
  EXPECT_FALSE(m_pWriter->m_pGraph);
  EXPECT_EQ(m_log.Lines(), (Lines{T(L"CAviWriter::EmptyGraph -> Enter"),
                                  LogCapture::Line(L"CAviWriter::EmptyGraph", L"ERROR", 0,
                                                   L"EmptyGraph() error: Unknown error 0x80004003")}));
}

}  // namespace
