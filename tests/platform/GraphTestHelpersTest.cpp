// WaitForEvent against Wine's real filter graph: its GetEvent returns
// E_ABORT at once when the queue has just been emptied, whatever the time-out,
// so the helper must keep waiting until its own deadline.
#include "tests/platform/GraphTestHelpers.h"

#include <gtest/gtest.h>

#include <thread>

using namespace platformtest;

namespace {

class GraphEvents : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid()),
              S_OK);
    ASSERT_EQ(graph->QueryInterface(IID_IMediaEventSink, sink.OutVoid()), S_OK);
    ASSERT_EQ(graph->QueryInterface(IID_IMediaEvent, events.OutVoid()), S_OK);
  }

  ComScope com;
  Ref<IGraphBuilder> graph;
  Ref<IMediaEventSink> sink;
  Ref<IMediaEvent> events;
};

}  // namespace

TEST_F(GraphEvents, WaitForEventWaitsPastAnEmptiedQueueForALaterEvent) {
  ASSERT_EQ(sink->Notify(EC_USER, 1, 0), S_OK);
  IMediaEventSink* raw = sink.Get();
  std::thread later([raw] {
    Sleep(300);
    raw->Notify(EC_USER + 1, 2, 0);
  });
  LONG_PTR param = 0;
  std::vector<long> others;
  const bool got = WaitForEvent(events.Get(), EC_USER + 1, 5000, &param, &others);
  later.join();
  EXPECT_TRUE(got);
  EXPECT_EQ(param, 2);
  EXPECT_EQ(others, std::vector<long>{EC_USER});
}

TEST_F(GraphEvents, WaitForEventGivesUpOnlyAtItsDeadline) {
  ASSERT_EQ(sink->Notify(EC_USER, 1, 0), S_OK);
  const DWORD start = GetTickCount();
  std::vector<long> others;
  EXPECT_FALSE(WaitForEvent(events.Get(), EC_USER + 1, 400, nullptr, &others));
  EXPECT_GE(GetTickCount() - start, 380u);
  EXPECT_EQ(others, std::vector<long>{EC_USER});
}

TEST_F(GraphEvents, WaitForEventWithNoTimeLeftReturnsAtOnce) {
  const DWORD start = GetTickCount();
  EXPECT_FALSE(WaitForEvent(events.Get(), EC_USER, 0));
  EXPECT_LT(GetTickCount() - start, 200u);
}
