// The pack's input pin base (wine/common), through the test sink's pin: the
// streaming states a Receive sees, allocators, flushing and end of stream.
#include <gtest/gtest.h>
#include <windows.h>
#include <uuids.h>

#include "TestPushSource.h"
#include "TestStreamSink.h"
#include "tests/common/UnixTools.h"

namespace {

CMediaType StreamType() {
  CMediaType mt;
  mt.SetType(&MEDIATYPE_Stream);
  mt.SetSubtype(&MEDIASUBTYPE_Avi);
  mt.SetSampleSize(1);
  return mt;
}

class PackInputPinTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    sink_ = TestStreamSink::Create(tavtest::MakeTempDir() + L"sink.bin");
    source_ = TestPushSource::Create(StreamType(), 64);
    sink_->InputPin()->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&mem_));
  }
  void TearDown() override {
    source_->Stop();
    sink_->Stop();
    if (sample_) sample_->Release();
    if (allocator_) allocator_->Release();
    mem_->Release();
    source_->OutputPin()->Disconnect();
    sink_->InputPin()->Disconnect();
    source_->Release();
    sink_->Release();
    CoUninitialize();
  }
  // Both stop the test when they fail: call them through ASSERT_NO_FATAL_FAILURE.
  void Connect() {
    CMediaType mt = StreamType();
    ASSERT_EQ(source_->OutputPin()->Connect(sink_->InputPin(), &mt), S_OK);
    ASSERT_EQ(mem_->GetAllocator(&allocator_), S_OK);
  }
  // sample_: one buffer of the sink's allocator.
  void GetSample() {
    ASSERT_EQ(allocator_->Commit(), S_OK);
    ASSERT_EQ(allocator_->GetBuffer(&sample_, nullptr, nullptr, 0), S_OK);
  }

  TestStreamSink* sink_ = nullptr;
  TestPushSource* source_ = nullptr;
  IMemInputPin* mem_ = nullptr;
  IMemAllocator* allocator_ = nullptr;
  IMediaSample* sample_ = nullptr;
};

TEST_F(PackInputPinTest, UnconnectedPinRefusesSamples) {
  ASSERT_EQ(mem_->GetAllocator(&allocator_), S_OK);
  ALLOCATOR_PROPERTIES want = {1, 16, 1, 0}, got;
  ASSERT_EQ(allocator_->SetProperties(&want, &got), S_OK);
  ASSERT_NO_FATAL_FAILURE(GetSample());
  EXPECT_EQ(mem_->Receive(sample_), VFW_E_NOT_CONNECTED);
}

TEST_F(PackInputPinTest, GetAllocatorKeepsOneAllocatorAndNotifyReplacesIt) {
  ASSERT_EQ(mem_->GetAllocator(&allocator_), S_OK);
  IMemAllocator* again = nullptr;
  ASSERT_EQ(mem_->GetAllocator(&again), S_OK);
  EXPECT_EQ(again, allocator_);
  again->Release();
  IMemAllocator* other = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                             reinterpret_cast<void**>(&other)),
            S_OK);
  EXPECT_EQ(mem_->NotifyAllocator(other, TRUE), S_OK);
  ASSERT_EQ(mem_->GetAllocator(&again), S_OK);
  EXPECT_EQ(again, other);
  again->Release();
  other->Release();
  ALLOCATOR_PROPERTIES props;
  EXPECT_EQ(mem_->GetAllocatorRequirements(&props), E_NOTIMPL);
  EXPECT_EQ(mem_->ReceiveCanBlock(), S_FALSE);
}

TEST_F(PackInputPinTest, ReceiveFollowsTheStreamingState) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_NO_FATAL_FAILURE(GetSample());
  EXPECT_EQ(mem_->Receive(sample_), VFW_E_WRONG_STATE);  // stopped
  ASSERT_EQ(sink_->Pause(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), S_OK);
  EXPECT_EQ(sink_->InputPin()->BeginFlush(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), S_FALSE);
  EXPECT_EQ(sink_->InputPin()->EndFlush(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), S_OK);
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), VFW_E_SAMPLE_REJECTED_EOS);
  EXPECT_EQ(sink_->m_nEndOfStreams, 1);
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), VFW_E_SAMPLE_REJECTED_EOS);
  // A flush ends the end of stream.
  sink_->InputPin()->BeginFlush();
  sink_->InputPin()->EndFlush();
  EXPECT_EQ(mem_->Receive(sample_), S_OK);
  ASSERT_EQ(sink_->Stop(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), VFW_E_WRONG_STATE);
}

TEST_F(PackInputPinTest, RuntimeErrorHoldsUntilTheNextStart) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(sink_->Pause(), S_OK);
  ASSERT_NO_FATAL_FAILURE(GetSample());
  static_cast<CPackInputPin*>(static_cast<CBasePin*>(sink_->GetPin(0)))->SetRuntimeError(E_ACCESSDENIED);
  EXPECT_EQ(mem_->Receive(sample_), E_ACCESSDENIED);
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), E_ACCESSDENIED);
  ASSERT_EQ(sink_->Stop(), S_OK);
  ASSERT_EQ(sink_->Pause(), S_OK);
  EXPECT_EQ(mem_->Receive(sample_), S_OK);
}

TEST_F(PackInputPinTest, ReceiveMultipleStopsAtTheFirstRefusal) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(sink_->Pause(), S_OK);
  ASSERT_NO_FATAL_FAILURE(GetSample());
  IMediaSample* samples[3] = {sample_, sample_, sample_};
  long done = -1;
  EXPECT_EQ(mem_->ReceiveMultiple(samples, 3, &done), S_OK);
  EXPECT_EQ(done, 3);
  sink_->InputPin()->BeginFlush();
  EXPECT_EQ(mem_->ReceiveMultiple(samples, 3, &done), S_FALSE);
  EXPECT_EQ(done, 0);
}

}  // namespace
