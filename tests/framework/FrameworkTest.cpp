// The filter framework under Wine: worker thread commands, the buffer loop
// with its delivery-failure step, pin activation, allocator negotiation with
// Wine's memory allocator, enumerators and media types, and that every
// object goes away when the last reference does.
#include <gtest/gtest.h>

#include <windows.h>
#include <control.h>
#include <evcode.h>
#include <uuids.h>

#include "framework/AMThread.h"
#include "framework/EnumMediaTypes.h"
#include "framework/EnumPins.h"
#include "framework/MediaType.h"
#include "tests/common/GraphEvents.h"
#include "tests/filters/TestGraph.h"
#include "tests/filters/TestSinkFilter.h"
#include "tests/framework/TestSource.h"

using tavtest::CTestSinkFilter;
using tavtest::CTestSource;
using tavtest::CTestStream;

namespace {

// Source and sink, each with the first reference taken, pins connected
// directly or in Wine's graph.
class FrameworkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    baseline_ = CBaseObject::ObjectsActive();
    source_ = new CTestSource();
    source_->NonDelegatingAddRef();
    sink_ = new CTestSinkFilter();
    sink_->NonDelegatingAddRef();
  }
  void TearDown() override {
    graph_.Release();
    if (sink_ != nullptr) sink_->ReleaseHeldSamples();
    ReleaseFilters();
    EXPECT_EQ(baseline_, CBaseObject::ObjectsActive()) << "framework objects leaked";
  }
  void ReleaseFilters() {
    if (source_ != nullptr) source_->NonDelegatingRelease();
    if (sink_ != nullptr) sink_->NonDelegatingRelease();
    source_ = nullptr;
    sink_ = nullptr;
  }
  void ConnectInGraph() {
    ASSERT_EQ(S_OK, graph_.created());
    ASSERT_EQ(S_OK, graph_.Add(source_, L"Source"));
    ASSERT_EQ(S_OK, graph_.Add(sink_, L"Sink"));
    ASSERT_EQ(S_OK, graph_.ConnectFirstPins(source_, sink_));
  }

  tavtest::ComScope com_;
  LONG baseline_ = 0;
  CTestSource* source_ = nullptr;
  CTestSinkFilter* sink_ = nullptr;
  tavtest::TestGraph graph_;
};

// A worker that answers command n with n + 100 and ends on 99.
class EchoThread : public CAMThread {
 public:
  DWORD ThreadProc() override {
    for (;;) {
      DWORD cmd = GetRequest();
      Reply(cmd + 100);
      if (cmd == 99) return 0;
    }
  }
};

TEST(AMThreadTest, CommandsReplyCloseAndNoThread) {
  EchoThread t;
  EXPECT_EQ(static_cast<DWORD>(E_FAIL), t.CallWorker(1));  // no thread yet
  ASSERT_TRUE(t.Create());
  EXPECT_FALSE(t.Create());  // the thread still runs
  EXPECT_EQ(107u, t.CallWorker(7));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(t.GetRequestHandle(), 0));  // reset by Reply
  EXPECT_EQ(199u, t.CallWorker(99));
  t.Close();
  EXPECT_FALSE(t.ThreadExists());
  EXPECT_EQ(static_cast<DWORD>(E_FAIL), t.CallWorker(1));
}

TEST(AMThreadTest, CallWorkerOnEndedThreadClosesItsHandle) {
  EchoThread t;
  ASSERT_TRUE(t.Create());
  EXPECT_EQ(199u, t.CallWorker(99));
  // Let the thread end without Close.
  for (int i = 0; i < 500 && t.ThreadIsRunning(); ++i) Sleep(1);
  EXPECT_EQ(static_cast<DWORD>(E_FAIL), t.CallWorker(1));
  EXPECT_FALSE(t.ThreadExists());
  EXPECT_TRUE(t.Create());  // a new thread can start
  EXPECT_EQ(199u, t.CallWorker(99));
  t.Close();
}

TEST(AMThreadTest, CheckRequestSeesAPendingCommand) {
  class Poller : public CAMThread {
   public:
    DWORD ThreadProc() override {
      DWORD cmd = 0;
      while (!CheckRequest(&cmd)) Sleep(1);
      seen = cmd;
      Reply(cmd);
      return 0;
    }
    DWORD seen = 0;
  } t;
  ASSERT_TRUE(t.Create());
  EXPECT_EQ(42u, t.CallWorker(42));
  t.Close();
  EXPECT_EQ(42u, t.seen);
}

TEST(MediaTypeTest, CopyCompareAndFree) {
  CMediaType a(&MEDIATYPE_Video);
  a.SetSubtype(&MEDIASUBTYPE_RGB24);
  a.SetFormatType(&FORMAT_VideoInfo);
  BYTE* p = a.AllocFormatBuffer(8);
  ASSERT_NE(nullptr, p);
  p[3] = 7;
  CMediaType b(a);
  EXPECT_NE(a.pbFormat, b.pbFormat);
  EXPECT_TRUE(a == b);
  b.pbFormat[3] = 8;
  EXPECT_FALSE(MediaTypesEqual(a, b));
  AM_MEDIA_TYPE* c = CreateMediaType(&a);
  ASSERT_NE(nullptr, c);
  EXPECT_TRUE(MediaTypesEqual(a, *c));
  DeleteMediaType(c);
  DeleteMediaType(nullptr);
  AM_MEDIA_TYPE d = {};
  ASSERT_EQ(S_OK, CopyMediaType(&d, &a));
  EXPECT_EQ(8u, d.cbFormat);
  FreeMediaType(d);
  EXPECT_EQ(nullptr, d.pbFormat);
  EXPECT_EQ(0u, d.cbFormat);

  CMediaType partial;
  partial.SetType(&MEDIATYPE_Video);
  EXPECT_TRUE(a.MatchesPartial(&partial));
  partial.SetSubtype(&MEDIASUBTYPE_RGB32);
  EXPECT_FALSE(a.MatchesPartial(&partial));
  EXPECT_TRUE(a.IsFullySpecified());
  EXPECT_FALSE(partial.IsFullySpecified());
}

TEST(MediaTypeTest, BitmapSubtypesAndDibSize) {
  BITMAPINFOHEADER bmi = {};
  bmi.biSize = sizeof(bmi);
  bmi.biWidth = 641;
  bmi.biHeight = -3;
  bmi.biBitCount = 24;
  bmi.biCompression = BI_RGB;
  EXPECT_EQ(MEDIASUBTYPE_RGB24, GetBitmapSubtype(&bmi));
  EXPECT_EQ(1924u * 3u, GetDibSize(bmi));
  bmi.biBitCount = 32;
  EXPECT_EQ(MEDIASUBTYPE_RGB32, GetBitmapSubtype(&bmi));
  bmi.biBitCount = 8;
  EXPECT_EQ(MEDIASUBTYPE_RGB8, GetBitmapSubtype(&bmi));
  bmi.biBitCount = 16;
  bmi.biCompression = MAKEFOURCC('Y', 'U', 'Y', '2');
  EXPECT_EQ(MEDIASUBTYPE_YUY2, GetBitmapSubtype(&bmi));
  EXPECT_EQ(GUID_NULL, GetBitmapSubtype(nullptr));
}

TEST_F(FrameworkTest, GetMediaTypePositions) {
  CMediaType mt;
  EXPECT_EQ(S_OK, source_->Stream()->GetMediaType(0, &mt));
  EXPECT_EQ(MEDIATYPE_Stream, mt.majortype);
  EXPECT_EQ(static_cast<HRESULT>(0x00040103), source_->Stream()->GetMediaType(1, &mt));
  EXPECT_EQ(static_cast<HRESULT>(0x80070057), source_->Stream()->GetMediaType(-1, &mt));
  EXPECT_EQ(S_OK, source_->Stream()->CheckMediaType(&mt));
  CMediaType other(&MEDIATYPE_Video);
  EXPECT_EQ(E_FAIL, source_->Stream()->CheckMediaType(&other));
}

TEST_F(FrameworkTest, SourcePinArrayAndLookup) {
  EXPECT_EQ(1, source_->GetPinCount());
  EXPECT_EQ(source_->Stream(), source_->GetPin(0));
  EXPECT_EQ(nullptr, source_->GetPin(1));
  EXPECT_EQ(nullptr, source_->GetPin(-1));
  IPin* pPin = nullptr;
  ASSERT_EQ(S_OK, source_->FindPin(L"Out", &pPin));
  EXPECT_EQ(static_cast<IPin*>(source_->Stream()), pPin);
  pPin->Release();
  EXPECT_EQ(VFW_E_NOT_FOUND, source_->FindPin(L"Nope", &pPin));
  CTestStream* second = source_->AddSecondPin();
  EXPECT_EQ(2, source_->GetPinCount());
  EXPECT_EQ(second, source_->GetPin(1));
}

TEST_F(FrameworkTest, StreamErrorCodeSetAndTake) {
  EXPECT_EQ(S_OK, source_->TakeStreamError());
  source_->SetStreamError(E_ABORT);
  EXPECT_EQ(E_ABORT, source_->TakeStreamError());
  EXPECT_EQ(S_OK, source_->TakeStreamError());
}

TEST_F(FrameworkTest, EnumPinsOutOfSyncUntilReset) {
  IEnumPins* pEnum = nullptr;
  ASSERT_EQ(S_OK, source_->EnumPins(&pEnum));
  IPin* pins[2] = {};
  ULONG fetched = 9;
  ASSERT_EQ(S_OK, pEnum->Next(1, pins, &fetched));
  EXPECT_EQ(1u, fetched);
  EXPECT_EQ(static_cast<IPin*>(source_->Stream()), pins[0]);
  pins[0]->Release();
  EXPECT_EQ(S_FALSE, pEnum->Next(1, pins, &fetched));
  EXPECT_EQ(0u, fetched);

  source_->AddSecondPin();
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pEnum->Next(1, pins, &fetched));
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pEnum->Skip(1));
  IEnumPins* pClone = nullptr;
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pEnum->Clone(&pClone));
  ASSERT_EQ(S_OK, pEnum->Reset());
  EXPECT_EQ(S_OK, pEnum->Skip(1));
  ASSERT_EQ(S_OK, pEnum->Clone(&pClone));
  EXPECT_EQ(S_FALSE, pClone->Next(2, pins, &fetched));  // one left
  ASSERT_EQ(1u, fetched);
  pins[0]->Release();
  pClone->Release();
  pEnum->Release();
}

TEST_F(FrameworkTest, EnumMediaTypesOutOfSyncUntilReset) {
  IEnumMediaTypes* pEnum = nullptr;
  ASSERT_EQ(S_OK, source_->Stream()->EnumMediaTypes(&pEnum));
  AM_MEDIA_TYPE* types[2] = {};
  ULONG fetched = 0;
  ASSERT_EQ(S_OK, pEnum->Next(1, types, &fetched));
  EXPECT_EQ(MEDIATYPE_Stream, types[0]->majortype);
  DeleteMediaType(types[0]);
  EXPECT_EQ(S_FALSE, pEnum->Next(1, types, &fetched));
  EXPECT_EQ(0u, fetched);
  source_->Stream()->IncrementTypeVersion();
  EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, pEnum->Next(1, types, &fetched));
  EXPECT_EQ(S_OK, pEnum->Reset());
  EXPECT_EQ(S_FALSE, pEnum->Next(2, types, &fetched));
  ASSERT_EQ(1u, fetched);
  DeleteMediaType(types[0]);
  pEnum->Release();
}

TEST_F(FrameworkTest, PinsShareTheFilterReferenceCount) {
  IBaseFilter* pFilter = source_;
  pFilter->AddRef();
  EXPECT_EQ(3u, source_->Stream()->AddRef());  // counts on the filter
  EXPECT_EQ(2u, source_->Stream()->Release());
  pFilter->Release();
  const LONG sourcesBefore = CTestSource::Destroyed();
  const LONG streamsBefore = CTestStream::Destroyed();
  IEnumPins* pEnum = nullptr;
  ASSERT_EQ(S_OK, source_->EnumPins(&pEnum));
  ReleaseFilters();  // the enumerator still holds the filter
  EXPECT_EQ(sourcesBefore, CTestSource::Destroyed());
  pEnum->Release();
  EXPECT_EQ(sourcesBefore + 1, CTestSource::Destroyed());
  EXPECT_EQ(streamsBefore + 1, CTestStream::Destroyed());
}

TEST_F(FrameworkTest, ActiveOnUnconnectedPinStartsNoThread) {
  EXPECT_EQ(VFW_E_NOT_CONNECTED, source_->Stream()->Deliver(nullptr));
  IMediaSample* pSample = nullptr;
  EXPECT_EQ(E_NOINTERFACE, source_->Stream()->GetDeliveryBuffer(&pSample, nullptr, nullptr, 0));
  EXPECT_EQ(S_OK, source_->Pause());
  EXPECT_FALSE(source_->Stream()->ThreadExists());
  EXPECT_EQ(S_FALSE, source_->Stream()->Active());  // the filter is paused already
  EXPECT_EQ(S_OK, source_->Stop());
}

TEST_F(FrameworkTest, AllocatorFromTheInputPinWhenOffered) {
  sink_->offerAllocator = true;
  ASSERT_EQ(S_OK, source_->Stream()->Connect(sink_->InputPin(), nullptr));
  ASSERT_NE(nullptr, sink_->OwnAllocator());
  EXPECT_EQ(sink_->OwnAllocator(), sink_->NotifiedAllocator());
  EXPECT_EQ(sink_->OwnAllocator(), source_->Stream()->Allocator());
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(16, props.cbBuffer);
  EXPECT_EQ(1, props.cbAlign);
  EXPECT_EQ(S_OK, source_->Stream()->Disconnect());
  EXPECT_EQ(S_OK, sink_->InputPin()->Disconnect());
}

TEST_F(FrameworkTest, OwnMemoryAllocatorWhenTheInputPinHasNone) {
  ASSERT_EQ(S_OK, source_->Stream()->Connect(sink_->InputPin(), nullptr));
  EXPECT_EQ(nullptr, sink_->OwnAllocator());
  ASSERT_NE(nullptr, sink_->NotifiedAllocator());
  EXPECT_EQ(sink_->NotifiedAllocator(), source_->Stream()->Allocator());
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(16, props.cbBuffer);
  EXPECT_EQ(1, props.cbAlign);
  AM_MEDIA_TYPE mt = {};
  ASSERT_EQ(S_OK, source_->Stream()->ConnectionMediaType(&mt));
  EXPECT_EQ(MEDIATYPE_Stream, mt.majortype);
  FreeMediaType(mt);
  EXPECT_EQ(VFW_E_ALREADY_CONNECTED, source_->Stream()->Connect(sink_->InputPin(), nullptr));
  EXPECT_EQ(S_OK, source_->Stream()->Disconnect());
  EXPECT_EQ(S_FALSE, source_->Stream()->Disconnect());
  EXPECT_EQ(S_OK, sink_->InputPin()->Disconnect());
}

TEST_F(FrameworkTest, InputPinRequirementsReachTheAllocator) {
  sink_->requiredAlign = 512;
  ASSERT_EQ(S_OK, source_->Stream()->Connect(sink_->InputPin(), nullptr));
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(512, props.cbAlign);
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(16, props.cbBuffer);
  EXPECT_EQ(S_OK, source_->Stream()->Disconnect());
  EXPECT_EQ(S_OK, sink_->InputPin()->Disconnect());
}

TEST_F(FrameworkTest, RunDeliversSamplesUntilEndOfStream) {
  source_->Stream()->endAfter = 4;
  ASSERT_NO_FATAL_FAILURE(ConnectInGraph());
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
  auto samples = sink_->Samples();
  ASSERT_EQ(3u, samples.size());
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(1u, samples[i].bytes.size());
    EXPECT_EQ(i + 1, samples[i].bytes[0]);
  }
  EXPECT_EQ(1, sink_->EndOfStreamCount());
  EXPECT_EQ(S_OK, source_->PeekStreamError());
  EXPECT_EQ(S_OK, graph_.Stop());
  EXPECT_FALSE(source_->Stream()->ThreadExists());
}

TEST_F(FrameworkTest, DeliverFailureLeavesItsResultAndCallsFillBufferWithNoSample) {
  const HRESULT failure = static_cast<HRESULT>(0x80040227);  // VFW_E_WRONG_STATE
  sink_->receiveResult = failure;
  sink_->failAfter = 2;
  ASSERT_NO_FATAL_FAILURE(ConnectInGraph());
  ASSERT_EQ(S_OK, graph_.Run());
  for (int i = 0; i < 2000 && source_->Stream()->nullCalls == 0; ++i) Sleep(1);
  Sleep(20);  // nothing more may come
  EXPECT_EQ(1, source_->Stream()->nullCalls);
  EXPECT_EQ(3, source_->Stream()->fillCalls);
  EXPECT_EQ(2, sink_->SampleCount());
  EXPECT_EQ(0, sink_->EndOfStreamCount());  // the loop ends quietly
  EXPECT_EQ(failure, source_->TakeStreamError());
  EXPECT_EQ(S_OK, source_->TakeStreamError());
  EXPECT_TRUE(source_->Stream()->ThreadIsRunning());  // back to waiting for commands
  EXPECT_EQ(S_OK, graph_.Stop());
  EXPECT_FALSE(source_->Stream()->ThreadExists());
}

TEST_F(FrameworkTest, FillBufferFailureAbortsTheStream) {
  source_->Stream()->failAt = 2;
  source_->Stream()->failResult = E_UNEXPECTED;
  ASSERT_NO_FATAL_FAILURE(ConnectInGraph());
  IMediaEvent* pEvent = nullptr;
  ASSERT_EQ(S_OK, graph_.graph()->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&pEvent)));
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
  long code = 0;
  LONG_PTR p1 = 0, p2 = 0;
  bool sawAbort = false;
  while (!sawAbort && tavtest::NextGraphEvent(pEvent, &code, &p1, &p2, 3000) == S_OK) {
    if (code == EC_ERRORABORT) {
      sawAbort = true;
      EXPECT_EQ(E_UNEXPECTED, static_cast<HRESULT>(p1));
      EXPECT_EQ(0, p2);
    }
  }
  EXPECT_TRUE(sawAbort) << "last code " << code;
  EXPECT_EQ(1, sink_->SampleCount());
  pEvent->Release();
  EXPECT_EQ(S_OK, graph_.Stop());
}

TEST_F(FrameworkTest, StopWhileWaitingInGetDeliveryBufferEndsTheLoop) {
  sink_->holdSamples = true;  // the one buffer never comes back
  ASSERT_NO_FATAL_FAILURE(ConnectInGraph());
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_TRUE(sink_->WaitForSamples(1, 10000));
  Sleep(50);
  EXPECT_EQ(1, source_->Stream()->fillCalls);  // stuck waiting for a buffer
  DWORD start = GetTickCount();
  EXPECT_EQ(S_OK, graph_.Stop());
  EXPECT_LT(GetTickCount() - start, 2000u);
  EXPECT_FALSE(source_->Stream()->ThreadExists());
  EXPECT_EQ(1, source_->Stream()->fillCalls);
  EXPECT_EQ(S_OK, source_->PeekStreamError());
}

TEST_F(FrameworkTest, InactiveOnAnEndedThreadClosesItAndSendsNoCommand) {
  source_->Stream()->threadCreateResult = E_ACCESSDENIED;
  ASSERT_EQ(S_OK, source_->Stream()->Connect(sink_->InputPin(), nullptr));
  EXPECT_EQ(E_ACCESSDENIED, source_->Pause());  // CMD_INIT fails, the thread ends
  CTestStream* stream = source_->Stream();
  ASSERT_TRUE(stream->ThreadExists());
  for (int i = 0; i < 1000 && stream->ThreadIsRunning(); ++i) Sleep(1);
  ASSERT_FALSE(stream->ThreadIsRunning());
  EXPECT_EQ(S_OK, stream->Inactive());
  EXPECT_FALSE(stream->ThreadExists());
  // No command went out: the last one is still CMD_INIT and nothing is pending.
  EXPECT_EQ(static_cast<DWORD>(CSourceStream::CMD_INIT), stream->GetRequestParam());
  EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(stream->GetRequestHandle(), 0));
  EXPECT_EQ(S_OK, source_->Stream()->Disconnect());
  EXPECT_EQ(S_OK, sink_->InputPin()->Disconnect());
}

TEST_F(FrameworkTest, EveryObjectIsFreedAfterAGraphRun) {
  const LONG sourcesBefore = CTestSource::Destroyed();
  const LONG sinksBefore = CTestSinkFilter::Destroyed();
  source_->Stream()->endAfter = 3;
  ASSERT_NO_FATAL_FAILURE(ConnectInGraph());
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
  ASSERT_EQ(S_OK, graph_.Stop());
  graph_.Release();
  ReleaseFilters();
  EXPECT_EQ(sourcesBefore + 1, CTestSource::Destroyed());
  EXPECT_EQ(sinksBefore + 1, CTestSinkFilter::Destroyed());
  EXPECT_EQ(baseline_, CBaseObject::ObjectsActive());
}

}  // namespace
