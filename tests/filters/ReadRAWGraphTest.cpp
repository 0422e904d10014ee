// The raw frame source filter in Wine's real filter graph, connected to our
// test sink and fed exactly as the movie writer feeds it: three events, then
// per frame the hand-over wait / IMovie2::AddFrame2 / "frame ready" / wait.
// Asserts what the pin delivers: bytes per pixel format, time stamps in frame
// slots, flags after drops and breaks, the negotiated allocator, the
// connection type, and what happens on a downstream failure and on stop.
#include <gtest/gtest.h>

#include <windows.h>
#include <uuids.h>

#include <cstring>
#include <vector>

#include "filters/PushPinReadRAW.h"
#include "filters/PushSourceReadRAW.h"
#include "log/Trace.h"
#include "tests/filters/HostHandOver.h"
#include "tests/filters/TestGraph.h"
#include "tests/filters/TestSinkFilter.h"
#include "tests/filters/TraceRecorder.h"

using tavtest::CTestSinkFilter;
using tavtest::ReceivedSample;
using tavtest::TraceRecorder;

namespace {

const LONGLONG kD = 400000;  // 25 frames per second

class ReadRAWGraphTest : public ::testing::Test {
 protected:
  void SetUp() override {
    baseline_ = CBaseObject::ObjectsActive();
    TraceRecorder::Clear();
    HRESULT hr = E_FAIL;
    filter_ = static_cast<CPushSourceReadRAW*>(CPushSourceReadRAW::CreateInstance(nullptr, &hr));
    ASSERT_NE(nullptr, filter_);
    ASSERT_EQ(S_OK, filter_->NonDelegatingQueryInterface(IID_IMovie2, reinterpret_cast<void**>(&movie_)));
    pin_ = filter_->m_pPin;
    sink_ = new CTestSinkFilter();
    sink_->NonDelegatingAddRef();
  }
  void TearDown() override {
    sink_->ReleaseHeldSamples();
    graph_.Release();
    const LONG sinksBefore = CTestSinkFilter::Destroyed();
    movie_->Release();
    sink_->NonDelegatingRelease();
    EXPECT_EQ(sinksBefore + 1, CTestSinkFilter::Destroyed());
    EXPECT_EQ(1, TraceRecorder::Count(L"CPushSourceReadRAW::~CPushSourceReadRAW -> Leave"));
    EXPECT_EQ(1, TraceRecorder::Count(L"CPushPinReadRAW::~CPushPinReadRAW -> Leave"));
    EXPECT_EQ(baseline_, CBaseObject::ObjectsActive()) << "filters, pins or enumerators leaked";
  }
  // The writer's order: events, pixel format, parameters; then the graph.
  void Prepare(UINT code, UINT width, int height, double fps = 25.0) {
    ASSERT_EQ(S_OK, movie_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone()));
    ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
    ASSERT_EQ(S_OK, movie_->InitParam2(width, height, fps, 0, 1));
    ASSERT_EQ(S_OK, graph_.created());
    ASSERT_EQ(S_OK, graph_.Add(filter_, L"RAW Data Filter"));
    ASSERT_EQ(S_OK, graph_.Add(sink_, L"Sink"));
    ASSERT_EQ(S_OK, graph_.ConnectFirstPins(filter_, sink_));
  }
  HRESULT Push(std::vector<BYTE>& frame, unsigned __int64 time, unsigned __int64 number) {
    return host_.PushFrame(movie_, frame.data(), static_cast<int>(frame.size()), time, number);
  }
  // Ends the stream as the writer does, then stops the graph.
  void Finish() {
    ASSERT_EQ(S_OK, movie_->ReleaseFilterData());
    ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
    ASSERT_EQ(S_OK, graph_.Stop());
    EXPECT_FALSE(pin_->ThreadExists());
  }
  static std::vector<BYTE> Pattern(size_t n, int seed) {
    std::vector<BYTE> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<BYTE>(i * 7 + seed);
    return v;
  }
  void CheckTwoFramesArriveByteForByte(UINT code, UINT width, int height, DWORD imageSize) {
    ASSERT_NO_FATAL_FAILURE(Prepare(code, width, height));
    ASSERT_EQ(imageSize, pin_->m_pbmi->biSizeImage);
    ASSERT_EQ(S_OK, graph_.Run());
    std::vector<BYTE> a = Pattern(imageSize, 1), b = Pattern(imageSize, 100);
    ASSERT_EQ(S_OK, Push(a, 0, 0));
    ASSERT_EQ(S_OK, Push(b, kD, 1));
    ASSERT_TRUE(sink_->WaitForSamples(2, 10000));
    ASSERT_NO_FATAL_FAILURE(Finish());
    auto samples = sink_->Samples();
    ASSERT_EQ(2u, samples.size());
    EXPECT_EQ(a, samples[0].bytes);
    EXPECT_EQ(b, samples[1].bytes);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(static_cast<long>(imageSize), samples[i].actualLength);
      EXPECT_EQ(S_OK, samples[i].timeResult);
      EXPECT_EQ(i * kD, samples[i].start);
      EXPECT_EQ((i + 1) * kD, samples[i].stop);
      EXPECT_TRUE(samples[i].syncPoint);
      EXPECT_FALSE(samples[i].discontinuity);
    }
  }

  tavtest::ComScope com_;
  LONG baseline_ = 0;
  CPushSourceReadRAW* filter_ = nullptr;
  CPushPinReadRAW* pin_ = nullptr;
  IMovie2* movie_ = nullptr;
  CTestSinkFilter* sink_ = nullptr;
  tavtest::TestGraph graph_;
  tavtest::HostHandOver host_;
};

TEST_F(ReadRAWGraphTest, Rgb24FramesArriveByteForByte) { CheckTwoFramesArriveByteForByte(0, 8, 4, 96); }

TEST_F(ReadRAWGraphTest, Rgb32FramesArriveByteForByte) { CheckTwoFramesArriveByteForByte(1, 8, 4, 128); }

TEST_F(ReadRAWGraphTest, GreyFramesArriveByteForByte) { CheckTwoFramesArriveByteForByte(2, 10, 4, 48); }

TEST_F(ReadRAWGraphTest, Yuy2FramesArriveByteForByte) { CheckTwoFramesArriveByteForByte(3, 8, 4, 64); }

TEST_F(ReadRAWGraphTest, Width641UsesItsStrideAndTheWholeImage) {
  ASSERT_NO_FATAL_FAILURE(CheckTwoFramesArriveByteForByte(0, 641, 3, 5772));
}

TEST_F(ReadRAWGraphTest, NegativeHeightReversesTheRows) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 641, -3));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(5772, 3);
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_TRUE(sink_->WaitForSamples(1, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto samples = sink_->Samples();
  ASSERT_EQ(1u, samples.size());
  ASSERT_EQ(5772u, samples[0].bytes.size());
  for (int row = 0; row < 3; ++row) {
    EXPECT_EQ(0, std::memcmp(samples[0].bytes.data() + row * 1924, frame.data() + (2 - row) * 1924, 1924))
        << "row " << row;
  }
}

TEST_F(ReadRAWGraphTest, NegotiatedAllocatorHasOneBufferOfTheImageSize) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 641, -3));
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(5772, props.cbBuffer);
  EXPECT_EQ(1, props.cbAlign);
  EXPECT_EQ(0, props.cbPrefix);
  EXPECT_EQ(sink_->NotifiedAllocator(), pin_->Allocator());
}

TEST_F(ReadRAWGraphTest, TheInputPinsAllocatorIsUsedWhenOffered) {
  sink_->offerAllocator = true;
  ASSERT_NO_FATAL_FAILURE(Prepare(1, 16, 16));
  ASSERT_NE(nullptr, sink_->OwnAllocator());
  EXPECT_EQ(sink_->OwnAllocator(), pin_->Allocator());
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(1024, props.cbBuffer);
}

TEST_F(ReadRAWGraphTest, ConnectionTypeIsTheOfferedTypePaletteIncluded) {
  ASSERT_NO_FATAL_FAILURE(Prepare(2, 10, -4));
  AM_MEDIA_TYPE mt = {};
  ASSERT_EQ(S_OK, sink_->InputPin()->ConnectionMediaType(&mt));
  CMediaType offered;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &offered));
  EXPECT_TRUE(MediaTypesEqual(offered, mt));
  EXPECT_EQ(MEDIASUBTYPE_RGB8, mt.subtype);
  EXPECT_EQ(48u, mt.lSampleSize);
  const auto* vi = reinterpret_cast<const VIDEOINFO*>(mt.pbFormat);
  EXPECT_EQ(4, vi->bmiHeader.biHeight);
  EXPECT_EQ(256u, vi->bmiHeader.biClrUsed);
  EXPECT_EQ(77, vi->bmiColors[77].rgbGreen);
  EXPECT_EQ(255, vi->bmiColors[255].rgbBlue);
  FreeMediaType(mt);

  // Through IAMStreamConfig: GetFormat gives the connection type.
  IAMStreamConfig* config = nullptr;
  IPin* out = tavtest::FirstPin(filter_);
  ASSERT_EQ(S_OK, out->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)));
  AM_MEDIA_TYPE* pmt = nullptr;
  ASSERT_EQ(S_OK, config->GetFormat(&pmt));
  EXPECT_TRUE(MediaTypesEqual(offered, *pmt));
  // A stopped, connected pin reconnects through the graph with the type.
  EXPECT_EQ(S_OK, config->SetFormat(pmt));
  EXPECT_TRUE(pin_->IsConnected());
  ASSERT_EQ(S_OK, graph_.Run());
  EXPECT_EQ(VFW_E_NOT_STOPPED, config->SetFormat(pmt));
  DeleteMediaType(pmt);
  config->Release();
  out->Release();
  ASSERT_NO_FATAL_FAILURE(Finish());
}

TEST_F(ReadRAWGraphTest, PinAnswersAsACapturePin) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 16, 16));
  IPin* out = tavtest::FirstPin(filter_);
  ASSERT_NE(nullptr, out);
  IKsPropertySet* props = nullptr;
  ASSERT_EQ(S_OK, out->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&props)));
  GUID category = GUID_NULL;
  DWORD returned = 0;
  EXPECT_EQ(S_OK,
            props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, sizeof(category), &returned));
  EXPECT_EQ(PIN_CATEGORY_CAPTURE, category);
  EXPECT_EQ(16u, returned);
  props->Release();
  PIN_INFO info = {};
  ASSERT_EQ(S_OK, out->QueryPinInfo(&info));
  EXPECT_STREQ(L"Out", info.achName);
  EXPECT_EQ(PINDIR_OUTPUT, info.dir);
  info.pFilter->Release();
  out->Release();
}

TEST_F(ReadRAWGraphTest, DropByFrameNumberSkipsSlotsAndFlagsTheNextSample) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  const unsigned __int64 numbers[] = {0, 1, 2, 5, 6};
  for (unsigned __int64 n : numbers) ASSERT_EQ(S_OK, Push(frame, n * kD, n)) << n;
  ASSERT_TRUE(sink_->WaitForSamples(5, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(5u, s.size());
  const LONGLONG slots[] = {0, 1, 2, 5, 6};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(slots[i] * kD, s[i].start) << i;
    EXPECT_EQ((slots[i] + 1) * kD, s[i].stop) << i;
    EXPECT_EQ(i == 3, s[i].discontinuity) << i;
    EXPECT_EQ(i != 3, s[i].syncPoint) << i;
  }
  EXPECT_TRUE(TraceRecorder::Has(L".\\ReadRAW", "CPushPinReadRAW::FillBuffer", LOG_SEV_TRACE,
                                 L"Total frames written: 7, dropped: 0"));
}

TEST_F(ReadRAWGraphTest, DropByTimeCountsOneMoreThanTheSlotsSkipped) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  const unsigned __int64 none = ~0ull;  // the plain AddFrame
  ASSERT_EQ(S_OK, Push(frame, 5000, none));
  ASSERT_EQ(S_OK, Push(frame, 5000 + kD, none));
  ASSERT_EQ(S_OK, Push(frame, 5000 + 2 * kD, none));
  ASSERT_EQ(S_OK, Push(frame, 5000 + 3 * kD + kD / 2 + 1, none));  // just over half a frame late
  ASSERT_TRUE(sink_->WaitForSamples(4, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(4u, s.size());
  EXPECT_EQ(2 * kD, s[2].start);
  EXPECT_EQ(5 * kD, s[3].start);  // m_cDrop = 2
  EXPECT_TRUE(s[3].discontinuity);
  EXPECT_FALSE(s[3].syncPoint);
}

TEST_F(ReadRAWGraphTest, BreakFrameHidesTheGapFromTheTimeLine) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_EQ(S_OK, Push(frame, kD, 1));
  ASSERT_EQ(S_OK, movie_->AddFrame2(nullptr, 0, 0, 0));  // break: no events
  ASSERT_EQ(S_OK, Push(frame, 9 * kD, 9));
  ASSERT_EQ(S_OK, Push(frame, 10 * kD, 10));
  ASSERT_TRUE(sink_->WaitForSamples(4, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(4u, s.size());
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(i * kD, s[i].start) << i;
    EXPECT_FALSE(s[i].discontinuity) << i;
    EXPECT_TRUE(s[i].syncPoint) << i;
  }
  EXPECT_EQ(1, TraceRecorder::Count(L"Break Frame! m_pPin->m_cDrop=0"));
}

TEST_F(ReadRAWGraphTest, ReceiveFailureLandsInTheStreamErrorAndFreesTheHost) {
  const HRESULT failure = static_cast<HRESULT>(0x80040227);
  sink_->receiveResult = failure;
  sink_->failAfter = 1;
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_EQ(S_OK, Push(frame, kD, 1));  // copied, then refused downstream
  for (int i = 0; i < 2000 && filter_->PeekStreamError() == S_OK; ++i) Sleep(1);
  // The next hand-over does not wait for its time-out: the pin freed both waits.
  DWORD start = GetTickCount();
  EXPECT_EQ(S_OK, host_.PushFrame(movie_, frame.data(), 48, 2 * kD, 2, 3000));
  EXPECT_LT(GetTickCount() - start, 1000u);
  EXPECT_EQ(failure, filter_->TakeStreamError());
  EXPECT_EQ(S_OK, filter_->TakeStreamError());
  EXPECT_EQ(1, sink_->SampleCount());
  EXPECT_TRUE(TraceRecorder::Has(L".\\ReadRAW", "CPushPinReadRAW::FillBuffer", LOG_SEV_WARNING, L"pSample==NULL"));
  EXPECT_EQ(S_OK, graph_.Stop());
  EXPECT_FALSE(pin_->ThreadExists());
}

TEST_F(ReadRAWGraphTest, StopWhileThePinWaitsForAFrame) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_TRUE(host_.WaitBufferReady(10000));  // the pin waits for the next frame
  ASSERT_EQ(S_OK, movie_->ReleaseFilterData());
  ASSERT_TRUE(host_.WaitBufferDone(10000));
  ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
  DWORD start = GetTickCount();
  ASSERT_EQ(S_OK, graph_.Stop());
  EXPECT_LT(GetTickCount() - start, 2000u);
  EXPECT_FALSE(pin_->ThreadExists());
  EXPECT_EQ(1, sink_->SampleCount());
  EXPECT_TRUE(TraceRecorder::Has(L".\\ReadRAW", "CPushPinReadRAW::FillBuffer", LOG_SEV_TRACE,
                                 L"Total frames written: 1, dropped: 0"));
  EXPECT_EQ(1, TraceRecorder::Count(L"CPushPinReadRAW::FillBuffer -> Return 2"));
}

TEST_F(ReadRAWGraphTest, StopWhileThePinWaitsInGetDeliveryBuffer) {
  sink_->holdSamples = true;  // the one buffer stays downstream
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> frame = Pattern(48, 9);
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_TRUE(sink_->WaitForSamples(1, 10000));
  EXPECT_FALSE(host_.WaitBufferReady(100));  // no second FillBuffer: no buffer
  DWORD start = GetTickCount();
  ASSERT_EQ(S_OK, graph_.Stop());
  EXPECT_LT(GetTickCount() - start, 2000u);
  EXPECT_FALSE(pin_->ThreadExists());
  EXPECT_EQ(1, TraceRecorder::Count(L"CPushPinReadRAW::FillBuffer -> Enter"));
}

TEST_F(ReadRAWGraphTest, RunAgainAfterStopStartsFromSlotZero) {
  ASSERT_NO_FATAL_FAILURE(Prepare(0, 4, 4));
  std::vector<BYTE> frame = Pattern(48, 9);
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_EQ(S_OK, Push(frame, 0, 0));
  ASSERT_EQ(S_OK, Push(frame, kD, 1));
  ASSERT_TRUE(sink_->WaitForSamples(2, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  ASSERT_EQ(S_OK, movie_->InitParam2(4, 4, 25.0, 0, 1));  // a new movie
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_EQ(S_OK, Push(frame, 77, 0));
  ASSERT_TRUE(sink_->WaitForSamples(3, 10000));
  ASSERT_EQ(S_OK, movie_->ReleaseFilterData());
  ASSERT_EQ(S_OK, graph_.Stop());
  auto s = sink_->Samples();
  EXPECT_EQ(0, s[2].start);
  EXPECT_EQ(kD, s[2].stop);
}

}  // namespace
