// No exception leaves the pack: a throw while a sample is handled comes back
// from Receive as an HRESULT and refuses later samples; a throw while the mux
// starts a recording is that start's failure; the layout writer turns a
// throw into a lasting failure. And a gap is bounded.
#include <gtest/gtest.h>
#include <windows.h>
#include <uuids.h>

#include <limits>
#include <new>
#include <stdexcept>

#include "FileSink.h"
#include "Formats.h"
#include "MuxGraph.h"
#include "Probe.h"
#include "TestPushSource.h"
#include "common/PackInputPin.h"
#include "framework/BaseFilter.h"
#include "mux/AviLayoutWriter.h"
#include "mux/AviMux.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

// What the pin's OnReceive does: accept, or throw one of two kinds.
enum class Throw { Nothing, BadAlloc, Other };

class ThrowingPin : public CPackInputPin {
 public:
  ThrowingPin(CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr)
      : CPackInputPin(L"throwing pin", pFilter, pLock, phr, L"in") {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  Throw m_throw = Throw::Nothing;

 protected:
  HRESULT OnReceive(IMediaSample*) override {
    if (m_throw == Throw::BadAlloc) throw std::bad_alloc();
    if (m_throw == Throw::Other) throw std::runtime_error("test");
    return S_OK;
  }
};

class ThrowingSink : public CBaseFilter {
 public:
  ThrowingSink(HRESULT* phr) : CBaseFilter(L"throwing sink", nullptr, &m_lock, GUID_NULL), m_pin(this, &m_lock, phr) {}
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }
  CCritSec m_lock;
  ThrowingPin m_pin;
};

class PackBarrierTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    HRESULT hr = S_OK;
    sink_ = new ThrowingSink(&hr);
    sink_->NonDelegatingAddRef();
    CMediaType mt;
    mt.SetType(&MEDIATYPE_Stream);
    mt.SetSubtype(&MEDIASUBTYPE_Avi);
    source_ = TestPushSource::Create(mt, 64);
    ASSERT_EQ(source_->OutputPin()->Connect(&sink_->m_pin, &mt), S_OK);
    ASSERT_EQ(sink_->Pause(), S_OK);
    ASSERT_EQ(source_->Pause(), S_OK);
  }
  void TearDown() override {
    source_->Stop();
    sink_->Stop();
    source_->OutputPin()->Disconnect();
    sink_->m_pin.Disconnect();
    source_->Release();
    sink_->NonDelegatingRelease();
    CoUninitialize();
  }
  HRESULT PushOne() {
    const char data[16] = {};
    return source_->Push(data, sizeof data, nullptr, nullptr, true);
  }

  ThrowingSink* sink_ = nullptr;
  TestPushSource* source_ = nullptr;
};

TEST_F(PackBarrierTest, OutOfMemoryComesBackFromReceiveAndRefusesLaterSamples) {
  EXPECT_EQ(PushOne(), S_OK);
  sink_->m_pin.m_throw = Throw::BadAlloc;
  EXPECT_EQ(PushOne(), E_OUTOFMEMORY);
  sink_->m_pin.m_throw = Throw::Nothing;
  EXPECT_EQ(PushOne(), E_OUTOFMEMORY) << "what the filter holds may be half updated";
  EXPECT_EQ(sink_->m_pin.EndOfStream(), E_OUTOFMEMORY);
  // A new start clears it.
  ASSERT_EQ(source_->Stop(), S_OK);
  ASSERT_EQ(sink_->Stop(), S_OK);
  ASSERT_EQ(sink_->Pause(), S_OK);
  ASSERT_EQ(source_->Pause(), S_OK);
  EXPECT_EQ(PushOne(), S_OK);
}

TEST_F(PackBarrierTest, AnyOtherExceptionIsEFail) {
  sink_->m_pin.m_throw = Throw::Other;
  EXPECT_EQ(PushOne(), E_FAIL);
}

TEST(AviMuxBarrier, AThrowWhileTheRecordingStartsIsTheStartsFailureAndTheNextStartWorks) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  {
    const std::wstring file = tavtest::MakeTempDir() + L"start.avi";
    MuxGraph g;
    ASSERT_NO_FATAL_FAILURE(g.Build());
    TestPushSource* v = nullptr;
    ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, 400000), 192, L"v", &v));
    ASSERT_NO_FATAL_FAILURE(g.AddSink(file));
    ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
    ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
    // A write buffer no vector can reserve: the layout writer's
    // constructor throws while the mux starts.
    AviLayoutOptions impossible;
    impossible.bufferSize = std::numeric_limits<std::size_t>::max();
    g.muxObject->SetLayoutOptions(impossible);
    EXPECT_EQ(g.mux->Pause(), S_OK);  // the start's failure is Run's
    EXPECT_EQ(g.mux->Run(0), E_OUTOFMEMORY);
    EXPECT_EQ(g.mux->Stop(), S_OK);

    // The graph runs; the mux reports why it cannot write and refuses samples.
    g.control->Run();
    EXPECT_EQ(g.FirstErrorAbort(2000), E_OUTOFMEMORY);
    std::vector<std::uint8_t> frame(192, 7);
    REFERENCE_TIME start = 0, stop = 400000;
    EXPECT_EQ(v->Push(frame.data(), 192, &start, &stop), E_OUTOFMEMORY);
    EXPECT_EQ(g.control->Stop(), S_OK);

    // Nothing is left half started: the next recording is whole.
    g.muxObject->SetLayoutOptions(AviLayoutOptions());
    ASSERT_EQ(g.control->Run(), S_OK);
    EXPECT_EQ(v->Push(frame.data(), 192, &start, &stop), S_OK);
    EXPECT_EQ(g.control->Stop(), S_OK);
    EXPECT_EQ(StreamBytes(file, "v:0"), frame);
  }
  CoUninitialize();
}

// A sink that runs out of memory on its n-th write.
class ThrowingFileSink : public FileSink {
 public:
  using FileSink::FileSink;
  int m_throwAt = -1;
  HRESULT WriteAt(std::uint64_t offset, const void* data, std::size_t size) override {
    if (m_throwAt >= 0 && m_writes++ == m_throwAt) throw std::bad_alloc();
    return FileSink::WriteAt(offset, data, size);
  }

 private:
  int m_writes = 0;
};

AviStreamFormat Video() {
  AviStreamFormat f;
  f.format = BitmapFormat(8, 8, 24, BI_RGB);
  f.frameDuration = 400000;
  return f;
}

TEST(AviLayoutWriterLimits, AThrowIsALastingOutOfMemoryFailure) {
  ThrowingFileSink sink(tavtest::MakeTempDir() + L"throw.avi");
  AviLayoutOptions options;
  options.bufferSize = 4096;
  AviLayoutWriter writer(sink, options);
  writer.AddStream(Video());
  sink.m_throwAt = 1;  // the header goes out, the first full buffer throws
  ASSERT_EQ(writer.Begin(), S_OK);
  std::vector<std::uint8_t> frame(8 * 8 * 3, 1);
  HRESULT hr = S_OK;
  for (int i = 0; i < 100 && hr == S_OK; ++i) hr = writer.WriteSample(0, frame.data(), frame.size(), true);
  EXPECT_EQ(hr, E_OUTOFMEMORY);
  EXPECT_EQ(writer.WriteSample(0, frame.data(), frame.size(), true), E_OUTOFMEMORY);
  EXPECT_EQ(writer.Finish(), E_OUTOFMEMORY);
}

TEST(AviLayoutWriterLimits, AGapBeyondTheLimitIsRecordedAsTheLimit) {
  FileSink sink(tavtest::MakeTempDir() + L"gap.avi");
  AviLayoutWriter writer(sink, AviLayoutOptions());
  writer.AddStream(Video());
  ASSERT_EQ(writer.Begin(), S_OK);
  ASSERT_EQ(writer.WriteEmptySlots(0, AviLayoutWriter::kMaxGapSlots), S_OK);
  EXPECT_EQ(writer.StreamLength(0), AviLayoutWriter::kMaxGapSlots);
  ASSERT_EQ(writer.WriteEmptySlots(0, 0xFFFFFFFFu), S_OK);
  EXPECT_EQ(writer.StreamLength(0), 2ull * AviLayoutWriter::kMaxGapSlots);
  EXPECT_EQ(writer.Finish(), S_OK);
}

}  // namespace
