// The AVI Mux writes large samples on its own thread: Receive queues the
// sample and returns while the disk is still busy, the input allocator grants
// the source several buffers, and Stop writes everything queued. A small
// sample Receive writes itself. Wine's filter
// graph, test sources and a test IStream sink whose writes can be held.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <string>
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

// Frames 0 .. count-1 of Pattern, one after the other.
std::vector<std::uint8_t> Patterns(std::size_t size, int count) {
  std::vector<std::uint8_t> all;
  for (int i = 0; i < count; ++i) {
    std::vector<std::uint8_t> frame = Pattern(size, i);
    all.insert(all.end(), frame.begin(), frame.end());
  }
  return all;
}

// Holds every write of the recording's sink at a gate, then pushes frames
// 0 .. count-1 of Pattern on a thread of its own. pushed() is set once every
// push has returned.
class GatedPusher {
 public:
  GatedPusher(MuxGraph& g, TestPushSource* source, std::size_t size, int count)
      : sink_(*g.sink), results_(count, E_FAIL) {
    sink_.m_hWriteGate = gate_;
    thread_ = std::thread([this, source, size, count] {
      for (int i = 0; i < count; ++i) {
        std::vector<std::uint8_t> frame = Pattern(size, i);
        REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
        results_[i] = source->Push(frame.data(), static_cast<long>(size), &start, &stop);
      }
      SetEvent(pushed_);
    });
  }
  ~GatedPusher() {
    OpenGateAndJoin();
    sink_.m_hWriteGate = nullptr;
    CloseHandle(gate_);
    CloseHandle(pushed_);
  }
  GatedPusher(const GatedPusher&) = delete;
  GatedPusher& operator=(const GatedPusher&) = delete;

  HANDLE pushed() const { return pushed_; }
  void OpenGateAndJoin() {
    SetEvent(gate_);
    if (thread_.joinable()) thread_.join();
  }
  // Each push's result; read after OpenGateAndJoin.
  const std::vector<HRESULT>& results() const { return results_; }

 private:
  TestStreamSink& sink_;
  HANDLE gate_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE pushed_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::vector<HRESULT> results_;
  std::thread thread_;
};

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
  EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 4096 * 3000), 3);      // 12 MB frames: the minimum
  EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 1920 * 1080 * 3), 4);  // the most
  EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 640 * 480), 4);
  EXPECT_EQ(MuxAllocator::GrantedBuffers(20, 640 * 480), 20);  // never fewer than asked
  EXPECT_EQ(MuxAllocator::GrantedBuffers(1, 0), 4);
}

// A committed MuxAllocator asked for one buffer of size bytes (it grants four).
IMemAllocator* CommittedAllocator(long size, long align = 1, long prefix = 0) {
  IMemAllocator* allocator = nullptr;
  EXPECT_EQ(MuxAllocator::Create(&allocator), S_OK);
  if (allocator == nullptr) return nullptr;
  ALLOCATOR_PROPERTIES request = {1, size, align, prefix}, actual = {};
  EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
  EXPECT_EQ(actual.cBuffers, 4);
  EXPECT_EQ(allocator->Commit(), S_OK);
  return allocator;
}

TEST(MuxAllocatorTest, AWaitingGetBufferGetsTheNextSampleBackAndFailsOnceDecommitted) {
  IMemAllocator* allocator = CommittedAllocator(4096);
  ASSERT_NE(allocator, nullptr);
  std::vector<IMediaSample*> out(4, nullptr);
  for (IMediaSample*& sample : out) ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  IMediaSample* none = nullptr;
  EXPECT_EQ(allocator->GetBuffer(&none, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
  EXPECT_EQ(none, nullptr);

  HRESULT waited = E_FAIL;
  IMediaSample* got = nullptr;
  std::thread waiter([&] { waited = allocator->GetBuffer(&got, nullptr, nullptr, 0); });
  BYTE* released = nullptr;
  out[2]->GetPointer(&released);
  out[2]->Release();
  waiter.join();
  ASSERT_EQ(waited, S_OK);
  BYTE* reused = nullptr;
  got->GetPointer(&reused);
  EXPECT_EQ(reused, released);
  out[2] = got;

  ALLOCATOR_PROPERTIES request = {1, 4096, 1, 0}, actual = {};
  EXPECT_EQ(allocator->SetProperties(&request, &actual), VFW_E_ALREADY_COMMITTED);
  std::thread blocked([&] { waited = allocator->GetBuffer(&got, nullptr, nullptr, 0); });
  EXPECT_EQ(allocator->Decommit(), S_OK);
  blocked.join();
  EXPECT_EQ(waited, VFW_E_NOT_COMMITTED);
  EXPECT_EQ(allocator->SetProperties(&request, &actual), VFW_E_BUFFERS_OUTSTANDING);
  for (IMediaSample* sample : out) sample->Release();
  EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
  EXPECT_EQ(allocator->Release(), 0u);
}

TEST(MuxAllocatorTest, SamplesCarryTheirPropertiesAndComeBackCleared) {
  IMemAllocator* allocator = CommittedAllocator(1000, 512, 16);
  ASSERT_NE(allocator, nullptr);
  IMediaSample* sample = nullptr;
  ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  BYTE* data = nullptr;
  ASSERT_EQ(sample->GetPointer(&data), S_OK);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data - 16) % 512, 0u);
  EXPECT_EQ(sample->GetSize(), 1000);
  EXPECT_EQ(sample->GetActualDataLength(), 1000);
  EXPECT_EQ(sample->SetActualDataLength(1001), VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(sample->SetActualDataLength(10), S_OK);
  REFERENCE_TIME start = 5, stop = 9;
  EXPECT_EQ(sample->SetTime(&start, &stop), S_OK);
  LONGLONG mediaStart = 3, mediaStop = 4;
  EXPECT_EQ(sample->SetMediaTime(&mediaStart, &mediaStop), S_OK);
  EXPECT_EQ(sample->SetSyncPoint(TRUE), S_OK);
  EXPECT_EQ(sample->SetDiscontinuity(TRUE), S_OK);
  REFERENCE_TIME gotStart = 0, gotStop = 0;
  EXPECT_EQ(sample->GetTime(&gotStart, &gotStop), S_OK);
  EXPECT_EQ(gotStart, 5);
  EXPECT_EQ(gotStop, 9);
  EXPECT_EQ(sample->SetTime(&start, nullptr), S_OK);
  EXPECT_EQ(sample->GetTime(&gotStart, &gotStop), VFW_S_NO_STOP_TIME);
  EXPECT_EQ(gotStop, 6);
  LONGLONG gotMediaStart = 0, gotMediaStop = 0;
  EXPECT_EQ(sample->GetMediaTime(&gotMediaStart, &gotMediaStop), S_OK);
  EXPECT_EQ(gotMediaStart, 3);
  EXPECT_EQ(gotMediaStop, 4);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
  EXPECT_EQ(sample->IsDiscontinuity(), S_OK);
  EXPECT_EQ(sample->IsPreroll(), S_FALSE);
  AM_MEDIA_TYPE* type = reinterpret_cast<AM_MEDIA_TYPE*>(1);
  EXPECT_EQ(sample->GetMediaType(&type), S_FALSE);
  EXPECT_EQ(type, nullptr);
  sample->Release();

  // One sample out at a time: the same one comes back, cleared.
  ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  BYTE* again = nullptr;
  ASSERT_EQ(sample->GetPointer(&again), S_OK);
  EXPECT_EQ(again, data);
  EXPECT_EQ(sample->GetActualDataLength(), 1000);
  EXPECT_EQ(sample->GetTime(&gotStart, &gotStop), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample->GetMediaTime(&gotMediaStart, &gotMediaStop), VFW_E_MEDIA_TIME_NOT_SET);
  EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
  EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
  sample->Release();
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
  EXPECT_EQ(allocator->Release(), 0u);
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

// Records count frames of width x height RGB32 while the sink's writes are
// held. Once the first held write has begun, the pushes have all returned
// (pushesReturn) or are still waiting; then every frame reaches the file.
void RecordWhileTheDiskIsHeld(const std::wstring& file, int width, int height, int count, bool pushesReturn) {
  MuxGraph g;
  const std::size_t size = DibSize(width, height, 32);
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.StartVideoRecording(VideoType(width, height, 32, BI_RGB, kFrame), static_cast<long>(size), file, &v));
  GatedPusher pusher(g, v, size, count);
  EXPECT_EQ(WaitForSingleObject(g.sink->m_hWriteStarted, 10000), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(pusher.pushed(), pushesReturn ? 10000 : 500),
            pushesReturn ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
  pusher.OpenGateAndJoin();
  EXPECT_EQ(pusher.results(), std::vector<HRESULT>(count, S_OK));
  EXPECT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(StreamBytes(file, "v:0"), Patterns(size, count));
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", file), std::to_string(count) + "\n");
}

// 1.2 MB frames are written straight from the sample, on the writer thread:
// the first write is held and both pushes still return.
TEST_F(AviMuxQueueTest, ReceiveReturnsWhileTheDiskIsBusyAndStopWritesTheQueue) {
  RecordWhileTheDiskIsHeld(file_, 640, 480, 2, true);
}

// 300 KB frames are gathered into the 1 MB write buffer by Receive itself:
// the fourth fills it, and its push waits for the held write.
TEST_F(AviMuxQueueTest, SmallSamplesAreWrittenByReceiveItself) { RecordWhileTheDiskIsHeld(file_, 320, 240, 4, false); }

}  // namespace
