// The raw frame source filter's own bookkeeping, driven through IMovie2 as
// the movie writer drives it: creation, parameters, events, break frames,
// first frame, dropped-frame counting, pixel formats, and its trace lines.
#include <gtest/gtest.h>

#include <windows.h>
#include <uuids.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "filters/PushPinReadRAW.h"
#include "filters/PushSourceReadRAW.h"
#include "tests/filters/HostHandOver.h"
#include "tests/filters/TestGraph.h"
#include "log/Trace.h"
#include "tests/filters/TraceRecorder.h"

using tavtest::TraceRecorder;

namespace {

const wchar_t kFile[] = L".\\ReadRAW";

class ReadRAWFilterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    baseline_ = CBaseObject::ObjectsActive();
    TraceRecorder::Clear();
    HRESULT hr = E_FAIL;
    filter_ = static_cast<CPushSourceReadRAW*>(CPushSourceReadRAW::CreateInstance(nullptr, &hr));
    ASSERT_EQ(S_OK, hr);
    ASSERT_NE(nullptr, filter_);
    ASSERT_EQ(S_OK, filter_->NonDelegatingQueryInterface(IID_IMovie2, reinterpret_cast<void**>(&movie_)));
    pin_ = filter_->m_pPin;
  }
  void TearDown() override {
    if (movie_ != nullptr) movie_->Release();
    EXPECT_EQ(baseline_, CBaseObject::ObjectsActive());
  }
  // SetEventHandles then InitParam2, as the writer does.
  HRESULT Init(UINT width, int height, double fps, UINT id = 1) {
    movie_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone());
    return movie_->InitParam2(width, height, fps, 0, id);
  }
  void CountFrames(int n, unsigned __int64 start, unsigned __int64 step) {
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, start + step * i));
    }
  }
  bool Logged(const std::string& fn, unsigned sev, const std::wstring& text) {
    return TraceRecorder::Has(kFile, fn, sev, text);
  }

  tavtest::ComScope com_;
  LONG baseline_ = 0;
  CPushSourceReadRAW* filter_ = nullptr;
  CPushPinReadRAW* pin_ = nullptr;
  IMovie2* movie_ = nullptr;
  tavtest::HostHandOver host_;
  BYTE frame_[4] = {1, 2, 3, 4};
};

TEST_F(ReadRAWFilterTest, CreateInstanceBuildsTheFilterAndItsPin) {
  std::vector<std::wstring> expected = {
      L"CPushSourceReadRAW::CreateInstance -> Enter",     L"CPushSourceReadRAW::CPushSourceReadRAW -> Enter",
      L"CPushPinReadRAW::CPushPinReadRAW -> Enter",       L"CPushPinReadRAW::CPushPinReadRAW -> Leave",
      L"CPushSourceReadRAW::CPushSourceReadRAW -> Leave", L"CPushSourceReadRAW::CreateInstance -> Leave"};
  EXPECT_EQ(expected, TraceRecorder::Messages());
  EXPECT_TRUE(Logged("CPushPinReadRAW::CPushPinReadRAW", LOG_SEV_TRACE, L"CPushPinReadRAW::CPushPinReadRAW -> Enter"));
  for (const auto& line : TraceRecorder::Lines()) EXPECT_EQ(kFile, line.file);

  CLSID clsid = {};
  ASSERT_EQ(S_OK, filter_->GetClassID(&clsid));
  const CLSID expectedClsid = {0xBD19D5F4, 0x4828, 0x40F4, {0xB1, 0x7F, 0x34, 0x6A, 0xEE, 0x15, 0x2B, 0xF3}};
  EXPECT_EQ(expectedClsid, clsid);
  EXPECT_EQ(nullptr, filter_->ObjectName());
  EXPECT_EQ(1, filter_->GetPinCount());
  EXPECT_EQ(pin_, filter_->GetPin(0));
  EXPECT_STREQ(L"Out", pin_->Name());

  IMovie* movie1 = nullptr;
  ASSERT_EQ(S_OK, movie_->QueryInterface(IID_IMovie, reinterpret_cast<void**>(&movie1)));
  EXPECT_EQ(static_cast<IMovie*>(movie_), movie1);
  movie1->Release();

  // The pin before InitParam2: 500 x 500 x 24 bits, one frame per second.
  EXPECT_EQ(40u, pin_->m_pbmi->biSize);
  EXPECT_EQ(500, pin_->m_pbmi->biWidth);
  EXPECT_EQ(500, pin_->m_pbmi->biHeight);
  EXPECT_EQ(24, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(750000u, pin_->m_pbmi->biSizeImage);
  EXPECT_EQ(10000000, pin_->m_rtFrameLength);
  EXPECT_EQ(0u, pin_->m_uPixelFormat);
  EXPECT_EQ(128, pin_->s_GreyPalette[128].rgbRed);
  EXPECT_EQ(0, pin_->s_GreyPalette[128].rgbReserved);
}

TEST_F(ReadRAWFilterTest, CreateInstanceOverwritesTheResultWithSuccess) {
  HRESULT hr = 0x12345678;
  CUnknown* p = CPushSourceReadRAW::CreateInstance(nullptr, &hr);
  EXPECT_EQ(S_OK, hr);
  p->NonDelegatingAddRef();
  p->NonDelegatingRelease();
}

TEST_F(ReadRAWFilterTest, DestructorLinesAndEveryObjectFreed) {
  TraceRecorder::Clear();
  movie_->Release();
  movie_ = nullptr;
  std::vector<std::wstring> expected = {
      L"CPushSourceReadRAW::~CPushSourceReadRAW -> Enter", L"CPushPinReadRAW::~CPushPinReadRAW -> Enter",
      L"CPushPinReadRAW::~CPushPinReadRAW -> Leave", L"CPushSourceReadRAW::~CPushSourceReadRAW -> Leave"};
  EXPECT_EQ(expected, TraceRecorder::Messages());
  EXPECT_EQ(baseline_, CBaseObject::ObjectsActive());
}

TEST_F(ReadRAWFilterTest, SetupDataIsKeptAsData) {
  const AMOVIESETUP_FILTER& f = CPushSourceReadRAW::s_FilterSetup;
  EXPECT_EQ(CLSID_PushSourceReadRAW, *f.clsID);
  EXPECT_STREQ(L"TavDSMovieWriter", f.strName);
  EXPECT_EQ(0x00200000u, f.dwMerit);
  ASSERT_EQ(1u, f.nPins);
  EXPECT_STREQ(L"Output", f.lpPin->strName);
  EXPECT_TRUE(f.lpPin->bOutput);
  EXPECT_FALSE(f.lpPin->bRendered);
  EXPECT_FALSE(f.lpPin->bZero);
  EXPECT_FALSE(f.lpPin->bMany);
  ASSERT_EQ(1u, f.lpPin->nMediaTypes);
  EXPECT_EQ(MEDIATYPE_Video, *f.lpPin->lpMediaType->clsMajorType);
  EXPECT_EQ(GUID_NULL, *f.lpPin->lpMediaType->clsMinorType);
  EXPECT_STREQ(L"TavDSMovieWriter", CPushSourceReadRAW::s_FactoryTemplate.m_Name);
  EXPECT_EQ(&CPushSourceReadRAW::CreateInstance, CPushSourceReadRAW::s_FactoryTemplate.m_lpfnNew);
}

TEST_F(ReadRAWFilterTest, InitParam2SetsGeometryRateAndCounters) {
  pin_->m_cFramesTotal = 9;
  pin_->m_iSampleNumber = 9;
  pin_->m_bStop = TRUE;
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, Init(640, -480, 25.0, 3));
  EXPECT_EQ(400000u, filter_->m_uFrameDuration);
  EXPECT_EQ(400000, pin_->m_rtFrameLength);
  EXPECT_EQ(0u, filter_->m_uFirstFrameTime);
  EXPECT_EQ(0u, pin_->m_cFramesTotal);
  EXPECT_EQ(0, pin_->m_iSampleNumber);
  EXPECT_FALSE(pin_->m_bStop);
  EXPECT_EQ(3u, pin_->m_uWriterId);
  EXPECT_EQ(640, pin_->m_pbmi->biWidth);
  EXPECT_EQ(480, pin_->m_pbmi->biHeight);
  EXPECT_TRUE(pin_->m_bBottomUp);
  EXPECT_EQ(static_cast<DWORD>(BI_RGB), pin_->m_pbmi->biCompression);
  EXPECT_EQ(921600u, pin_->m_pbmi->biSizeImage);
  EXPECT_EQ(0u, pin_->m_pbmi->biClrUsed);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::InitParam2 -> Enter",
                                       L"CPushSourceReadRAW::InitParam2 -> Leave"}),
            TraceRecorder::Messages("CPushSourceReadRAW::InitParam2"));
  ASSERT_EQ(S_OK, movie_->InitParam2(640, 480, 25.0, 0, 3));
  EXPECT_FALSE(pin_->m_bBottomUp);
}

TEST_F(ReadRAWFilterTest, InitParam2WithoutAPinFails) {
  filter_->m_pPin = nullptr;
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, movie_->InitParam2(16, 16, 25.0, 0, 1));
  filter_->m_pPin = pin_;
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::InitParam2 -> Enter", L"m_pPin == NULL"}),
            TraceRecorder::Messages());
  EXPECT_TRUE(Logged("CPushSourceReadRAW::InitParam2", LOG_SEV_ERROR, L"m_pPin == NULL"));
}

TEST_F(ReadRAWFilterTest, InitParamIsTheIntegerRateForm) {
  movie_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone());
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->InitParam(320, 240, 30, 5, 8));
  EXPECT_EQ(333333u, filter_->m_uFrameDuration);
  EXPECT_EQ(320, pin_->m_pbmi->biWidth);
  EXPECT_EQ(5u, pin_->m_uReserved);
  EXPECT_EQ(8u, pin_->m_uWriterId);
  EXPECT_EQ(
      (std::vector<std::wstring>{L"CPushSourceReadRAW::InitParam -> Enter", L"CPushSourceReadRAW::InitParam2 -> Enter",
                                 L"CPushSourceReadRAW::InitParam2 -> Leave"}),
      TraceRecorder::Messages());
}

TEST_F(ReadRAWFilterTest, InitParam2OpensEventsByNameWhenNoneWereGiven) {
  const UINT id = 40000 + GetCurrentProcessId() % 10000;
  HANDLE named[3];
  const wchar_t* formats[3] = {L"Frame Ready %d", L"Buffer Ready %d", L"Buffer Done %d"};
  for (int i = 0; i < 3; ++i) {
    wchar_t name[64];
    swprintf_s(name, 64, formats[i], id);
    named[i] = CreateEventW(nullptr, FALSE, FALSE, name);
    ASSERT_NE(nullptr, named[i]);
  }
  ASSERT_EQ(S_OK, movie_->InitParam2(64, 64, 10.0, 0, id));
  ASSERT_TRUE(pin_->m_hEventFrameReady);
  ASSERT_TRUE(pin_->m_hEventBufferReady);
  ASSERT_TRUE(pin_->m_hEventBufferDone);
  SetEvent(named[1]);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pin_->m_hEventBufferReady.Get(), 0));
  for (HANDLE h : named) CloseHandle(h);
}

TEST_F(ReadRAWFilterTest, InitParam2StopsAtTheFirstEventItCannotOpen) {
  const UINT id = 50000 + GetCurrentProcessId() % 10000;
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, movie_->InitParam2(64, 64, 10.0, 0, id));
  EXPECT_TRUE(Logged("CPushSourceReadRAW::InitParam2", LOG_SEV_ERROR, L"m_pPin->m_hEventFrameReady == NULL"));
  EXPECT_EQ(0, TraceRecorder::Count(L"CPushSourceReadRAW::InitParam2 -> Leave"));

  wchar_t name[64];
  swprintf_s(name, 64, L"Frame Ready %d", id);
  HANDLE frameReady = CreateEventW(nullptr, FALSE, FALSE, name);
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, movie_->InitParam2(64, 64, 10.0, 0, id));
  EXPECT_TRUE(pin_->m_hEventFrameReady);  // stays open
  EXPECT_TRUE(Logged("CPushSourceReadRAW::InitParam2", LOG_SEV_ERROR, L"m_pPin->m_hEventBufferReady == NULL"));
  swprintf_s(name, 64, L"Buffer Ready %d", id);
  HANDLE bufferReady = CreateEventW(nullptr, FALSE, FALSE, name);
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, movie_->InitParam2(64, 64, 10.0, 0, id));
  EXPECT_TRUE(Logged("CPushSourceReadRAW::InitParam2", LOG_SEV_ERROR, L"m_pPin->m_hEventBufferDone == NULL"));
  CloseHandle(frameReady);
  CloseHandle(bufferReady);
}

TEST_F(ReadRAWFilterTest, SetEventHandlesGivesThePinDuplicates) {
  ASSERT_EQ(S_OK, movie_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone()));
  ASSERT_TRUE(pin_->m_hEventFrameReady);
  EXPECT_NE(host_.hReady(), pin_->m_hEventFrameReady.Get());
  SetEvent(host_.hReady());
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pin_->m_hEventFrameReady.Get(), 0));
  SetEvent(pin_->m_hEventBufferDone.Get());
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_TRUE(TraceRecorder::Messages("CPushSourceReadRAW::SetEventHandles").empty());
  // A later InitParam2 keeps them (it opens only missing ones).
  HANDLE kept = pin_->m_hEventBufferReady.Get();
  ASSERT_EQ(S_OK, movie_->InitParam2(8, 8, 5.0, 0, 99999));
  EXPECT_EQ(kept, pin_->m_hEventBufferReady.Get());
}

TEST_F(ReadRAWFilterTest, OddFrameRatesGiveDefinedDurations) {
  struct Case {
    double fps;
    LONGLONG duration;
  } cases[] = {
      {std::numeric_limits<double>::quiet_NaN(), 10000000},  // not a rate: 1 frame/s
      {-25.0, 10000000},
      {0.0, 10000000},
      {-std::numeric_limits<double>::infinity(), 10000000},
      {std::numeric_limits<double>::infinity(), 1},  // no shorter frame than 1 unit
      {1e9, 1},
      {1e-300, 864000000000LL},  // no longer frame than a day
      {29.97, 333667},           // truncated
      {25.0, 400000},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(S_OK, Init(16, 16, c.fps));
    EXPECT_EQ(c.duration, pin_->m_rtFrameLength) << c.fps;
    EXPECT_EQ(static_cast<unsigned __int64>(c.duration), filter_->m_uFrameDuration) << c.fps;
    // Drop counting divides by the duration: it must stay defined.
    ASSERT_NO_FATAL_FAILURE(CountFrames(2, 0, 1));
    EXPECT_EQ(S_OK, movie_->AddFrame(frame_, 4, ~0ull));
  }
}

TEST_F(ReadRAWFilterTest, HugeAndNegativeSizesAreClamped) {
  ASSERT_EQ(S_OK, Init(0xFFFFFFFFu, INT_MIN, 25.0));
  EXPECT_EQ(16384, pin_->m_pbmi->biWidth);
  EXPECT_EQ(16384, pin_->m_pbmi->biHeight);
  EXPECT_TRUE(pin_->m_bBottomUp);
  EXPECT_EQ(16384u * 16384u * 3u, pin_->m_pbmi->biSizeImage);
  ASSERT_EQ(S_OK, Init(100000, 100000, 25.0));
  EXPECT_EQ(16384, pin_->m_pbmi->biWidth);
  EXPECT_EQ(16384, pin_->m_pbmi->biHeight);
  ASSERT_EQ(S_OK, Init(0, 0, 25.0));
  EXPECT_EQ(0u, pin_->m_pbmi->biSizeImage);
}

TEST_F(ReadRAWFilterTest, BreakFrameChangesNoCounter) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_NO_FATAL_FAILURE(CountFrames(2, 100, 400000));
  TraceRecorder::Clear();
  EXPECT_EQ(S_OK, movie_->AddFrame(nullptr, 0, 0));
  EXPECT_EQ(2u, pin_->m_cFramesTotal);
  EXPECT_EQ(0u, pin_->m_cDrop);
  EXPECT_EQ(100u, filter_->m_uFirstFrameTime);
  EXPECT_TRUE(filter_->m_bBreakPending);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::AddFrame -> Enter",
                                       L"CPushSourceReadRAW::AddFrame, BreakFrame -> Leave"}),
            TraceRecorder::Messages());
  TraceRecorder::Clear();
  filter_->m_bBreakPending = false;
  EXPECT_EQ(S_OK, movie_->AddFrame2(nullptr, 0, 0, 0));
  EXPECT_TRUE(filter_->m_bBreakPending);
  EXPECT_EQ(2u, pin_->m_cFramesTotal);
  EXPECT_TRUE(
      Logged("CPushSourceReadRAW::AddFrame2", LOG_SEV_TRACE, L"CPushSourceReadRAW::AddFrame2, BreakFrame -> Leave"));
  // AddFrame2 needs all four: a frame number makes it a (null) frame, whose
  // gap from the last number (0) is taken by the pending break.
  EXPECT_EQ(S_FALSE, movie_->AddFrame2(nullptr, 0, 0, 5));
  EXPECT_EQ(2u + 4u + 1u, pin_->m_cFramesTotal);
  EXPECT_EQ(0u, pin_->m_cDrop);
  EXPECT_FALSE(filter_->m_bBreakPending);
}

TEST_F(ReadRAWFilterTest, FirstFrameSetsTheFirstFrameTime) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, 123456));
  EXPECT_EQ(123456u, filter_->m_uFirstFrameTime);
  EXPECT_EQ(0u, pin_->m_uTimeOffset);
  EXPECT_EQ(1u, pin_->m_cFramesTotal);
  EXPECT_EQ(frame_, pin_->m_pFrameData);
  EXPECT_EQ(4, pin_->m_iFrameSize);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::AddFrame -> Enter", L"First frame",
                                       L"CPushSourceReadRAW::AddFrame -> Leave"}),
            TraceRecorder::Messages());
  EXPECT_TRUE(Logged("CPushSourceReadRAW::AddFrame", LOG_SEV_TRACE, L"First frame"));
  ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, 523456));
  EXPECT_EQ(400000u, pin_->m_uTimeOffset);
}

TEST_F(ReadRAWFilterTest, OffsetAtHalfAFrameLateIsNoGap) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_NO_FATAL_FAILURE(CountFrames(3, 1000, 400000));
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, 1000 + 1400000));
  EXPECT_EQ(0u, pin_->m_cDrop);
  EXPECT_EQ(4u, pin_->m_cFramesTotal);
  EXPECT_TRUE(Logged("CPushSourceReadRAW::AddFrame", LOG_SEV_TRACE,
                     L"m_cFramesTotal=3, frame_time=1200000, curr_frame_time=1400000"));
  EXPECT_EQ(0, TraceRecorder::Count(L"Frame dropped: m_pPin->m_cDrop=2"));
}

TEST_F(ReadRAWFilterTest, OneUnitLaterCountsTwoDroppedSlots) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_NO_FATAL_FAILURE(CountFrames(3, 1000, 400000));
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, 1000 + 1400001));
  EXPECT_EQ(2u, pin_->m_cDrop);
  EXPECT_EQ(6u, pin_->m_cFramesTotal);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::AddFrame -> Enter",
                                       L"m_cFramesTotal=3, frame_time=1200000, curr_frame_time=1400001",
                                       L"Frame dropped: m_pPin->m_cDrop=2", L"CPushSourceReadRAW::AddFrame -> Leave"}),
            TraceRecorder::Messages());
}

TEST_F(ReadRAWFilterTest, BreakThenGapSkipsSlotsWithoutADrop) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_NO_FATAL_FAILURE(CountFrames(3, 1000, 400000));
  ASSERT_EQ(S_OK, movie_->AddFrame(nullptr, 0, 0));
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->AddFrame(frame_, 4, 1000 + 1400001));
  EXPECT_EQ(0u, pin_->m_cDrop);
  EXPECT_EQ(6u, pin_->m_cFramesTotal);
  EXPECT_FALSE(filter_->m_bBreakPending);
  EXPECT_TRUE(Logged("CPushSourceReadRAW::AddFrame", LOG_SEV_TRACE, L"Frame dropped: m_pPin->m_cDrop=2"));
  EXPECT_TRUE(Logged("CPushSourceReadRAW::AddFrame", LOG_SEV_TRACE, L"Break Frame! m_pPin->m_cDrop=0"));
}

TEST_F(ReadRAWFilterTest, NullFrameWithASizeStillCountsAFrame) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, movie_->AddFrame(nullptr, 10, 5));
  EXPECT_EQ(1u, pin_->m_cFramesTotal);
  EXPECT_EQ(nullptr, pin_->m_pFrameData);
  EXPECT_TRUE(Logged("CPushSourceReadRAW::AddFrame", LOG_SEV_ERROR, L"pData == NULL"));
  EXPECT_EQ(0, TraceRecorder::Count(L"CPushSourceReadRAW::AddFrame -> Leave"));
}

TEST_F(ReadRAWFilterTest, FrameNumbersSevenThenTenDropTwo) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_EQ(S_OK, movie_->AddFrame2(frame_, 4, 500, 7));
  EXPECT_EQ(7u, filter_->m_uLastFrameNumber);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->AddFrame2(frame_, 4, 900, 10));
  EXPECT_EQ(2u, pin_->m_cDrop);
  EXPECT_EQ(4u, pin_->m_cFramesTotal);
  EXPECT_EQ(10u, filter_->m_uLastFrameNumber);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::AddFrame2 -> Enter",
                                       L"m_cFramesTotal=1, frame_time=400000, curr_frame_time=400, frame_num=10",
                                       L"Frame dropped: m_pPin->m_cDrop=2", L"CPushSourceReadRAW::AddFrame2 -> Leave"}),
            TraceRecorder::Messages());
}

TEST_F(ReadRAWFilterTest, FrameNumbersSevenThenEightDropNone) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  ASSERT_EQ(S_OK, movie_->AddFrame2(frame_, 4, 500, 7));
  ASSERT_EQ(S_OK, movie_->AddFrame2(frame_, 4, 50000000, 8));  // times do not matter here
  EXPECT_EQ(0u, pin_->m_cDrop);
  EXPECT_EQ(2u, pin_->m_cFramesTotal);
  // A smaller number counts as a huge gap, as intended.
  ASSERT_EQ(S_OK, movie_->AddFrame2(frame_, 4, 50000000, 3));
  EXPECT_EQ(0xFFFFFFFAu, pin_->m_cDrop);
}

TEST_F(ReadRAWFilterTest, SetFrameDataFromCodeZeroToTwoLeavesTheColourCounts) {
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  UINT code = 2;
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
  EXPECT_EQ(8, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(0u, pin_->m_pbmi->biClrUsed);
  EXPECT_EQ(0u, pin_->m_pbmi->biClrImportant);
  EXPECT_EQ(2u, pin_->m_uPixelFormat);
  EXPECT_EQ(120u, pin_->m_pbmi->biSizeImage);  // 12-byte rows
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::SetFrameData -> Enter",
                                       L"CPushSourceReadRAW::SetFrameData -> Leave"}),
            TraceRecorder::Messages());
}

TEST_F(ReadRAWFilterTest, SetFrameDataFromCodeTwoToOneSetsTheColourCounts) {
  UINT code = 2;
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  pin_->m_pbmi->biClrUsed = 0;
  pin_->m_pbmi->biClrImportant = 0;
  code = 1;
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));  // the old code (2) decides
  EXPECT_EQ(32, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(256u, pin_->m_pbmi->biClrUsed);
  EXPECT_EQ(256u, pin_->m_pbmi->biClrImportant);
  EXPECT_EQ(400u, pin_->m_pbmi->biSizeImage);
}

TEST_F(ReadRAWFilterTest, SetFrameDataNeverWritesBiRgbBack) {
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  UINT code = 3;
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
  EXPECT_EQ(16, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(static_cast<DWORD>(MAKEFOURCC('Y', 'U', 'Y', '2')), pin_->m_pbmi->biCompression);
  code = 0;
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
  EXPECT_EQ(24, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(static_cast<DWORD>(MAKEFOURCC('Y', 'U', 'Y', '2')), pin_->m_pbmi->biCompression);
  EXPECT_EQ(0u, pin_->m_uPixelFormat);
  code = 1242;
  ASSERT_EQ(S_OK, movie_->SetFrameData(&code));  // unknown here: 24 bits
  EXPECT_EQ(24, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(S_FALSE, movie_->SetFrameData(nullptr));  // refused, not read
}

TEST_F(ReadRAWFilterTest, InitParam2FollowsThePixelFormatCode) {
  UINT code = 2;
  movie_->SetFrameData(&code);
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  EXPECT_EQ(8, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(256u, pin_->m_pbmi->biClrUsed);
  EXPECT_EQ(256u, pin_->m_pbmi->biClrImportant);
  code = 3;
  movie_->SetFrameData(&code);
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  EXPECT_EQ(16, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(static_cast<DWORD>(MAKEFOURCC('Y', 'U', 'Y', '2')), pin_->m_pbmi->biCompression);
  EXPECT_EQ(0u, pin_->m_pbmi->biClrUsed);
  EXPECT_EQ(200u, pin_->m_pbmi->biSizeImage);  // 20-byte rows
  code = 1;
  movie_->SetFrameData(&code);
  ASSERT_EQ(S_OK, Init(10, 10, 25.0));
  EXPECT_EQ(32, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(static_cast<DWORD>(BI_RGB), pin_->m_pbmi->biCompression);
}

TEST_F(ReadRAWFilterTest, ReleaseFilterDataStopsAndWakesThePin) {
  ASSERT_EQ(S_OK, Init(16, 16, 25.0));
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, movie_->ReleaseFilterData());
  EXPECT_TRUE(pin_->m_bStop);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(host_.hReady(), 0));
  EXPECT_EQ((std::vector<std::wstring>{L"CPushSourceReadRAW::ReleaseFilterData -> Enter",
                                       L"CPushSourceReadRAW::ReleaseFilterData -> Leave"}),
            TraceRecorder::Messages());
}

}  // namespace
