// The AVI Mux writes on its own thread: Receive queues the sample and
// returns while the disk is still busy, the input allocator grants the
// source several buffers, and Stop writes everything queued. Wine's filter
// graph, test sources and a test IStream sink whose writes can be held.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>
#include <vector>

#include "Formats.h"
#include "MuxGraph.h"
#include "Probe.h"
#include "mux/MuxAllocator.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

constexpr REFERENCE_TIME kFrame = 400000;

std::vector<std::uint8_t> Pattern(std::size_t size, int seed) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + seed * 31);
    return bytes;
}

class AviMuxQueueTest : public ::testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        file_ = tavtest::MakeTempDir() + L"queued.avi";
    }
    void TearDown() override { CoUninitialize(); }
    std::wstring file_;
};

TEST(MuxAllocatorTest, GrantsAtLeastThreeBuffersAndOtherwiseWhatFitsInTheBudget) {
    EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 4096 * 3000), 3);       // 12 MB frames: the minimum
    EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 1920 * 1080 * 3), 4);   // the most
    EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 640 * 480), 4);
    EXPECT_EQ(MuxAllocator::GrantedBuffers(20, 640 * 480), 20);       // never fewer than asked
    EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 0), 4);
}

TEST_F(AviMuxQueueTest, TheInputAllocatorGrantsTheSourceSeveralBuffers) {
    MuxGraph g;
    ASSERT_NO_FATAL_FAILURE(g.Build());
    const std::size_t size = DibSize(320, 240, 24);
    TestPushSource* v = nullptr;
    ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(320, 240, 24, BI_RGB, kFrame), static_cast<long>(size), L"v", &v));
    ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
    ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);  // the test source asks for 2 buffers
    IPin* input = g.MuxPin(L"Input 01");
    ASSERT_NE(input, nullptr);
    IMemInputPin* memInput = nullptr;
    ASSERT_EQ(input->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&memInput)), S_OK);
    IMemAllocator* allocator = nullptr;
    ASSERT_EQ(memInput->GetAllocator(&allocator), S_OK);
    ALLOCATOR_PROPERTIES props = {};
    EXPECT_EQ(allocator->GetProperties(&props), S_OK);
    EXPECT_EQ(props.cBuffers, 4);
    EXPECT_EQ(props.cbBuffer, static_cast<long>(size));
    allocator->Release();
    memInput->Release();
    input->Release();
}

TEST_F(AviMuxQueueTest, ReceiveReturnsWhileTheDiskIsBusyAndStopWritesTheQueue) {
    MuxGraph g;
    ASSERT_NO_FATAL_FAILURE(g.Build());
    const std::size_t size = DibSize(640, 480, 32);  // large: written straight from the sample
    TestPushSource* v = nullptr;
    ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(640, 480, 32, BI_RGB, kFrame), static_cast<long>(size), L"v", &v));
    ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
    ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
    ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
    ASSERT_EQ(g.control->Run(), S_OK);

    // From now on the sink's writes wait for the gate.
    HANDLE gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g.sink->m_hWriteGate = gate;
    HANDLE pushed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::vector<HRESULT> results(2, E_FAIL);
    std::thread pusher([&] {
        for (int i = 0; i < 2; ++i) {
            std::vector<std::uint8_t> frame = Pattern(size, i);
            REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
            results[i] = v->Push(frame.data(), static_cast<long>(size), &start, &stop);
        }
        SetEvent(pushed);
    });
    // The first frame's write has begun and is held; both pushes still return.
    EXPECT_EQ(WaitForSingleObject(g.sink->m_hWriteStarted, 10000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(pushed, 10000), WAIT_OBJECT_0);
    SetEvent(gate);
    pusher.join();
    EXPECT_EQ(results[0], S_OK);
    EXPECT_EQ(results[1], S_OK);
    EXPECT_EQ(g.control->Stop(), S_OK);
    g.sink->m_hWriteGate = nullptr;
    CloseHandle(gate);
    CloseHandle(pushed);

    std::vector<std::uint8_t> expected = Pattern(size, 0), second = Pattern(size, 1);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(StreamBytes(file_, "v:0"), expected);
    EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", file_), "2\n");
}

}  // namespace
