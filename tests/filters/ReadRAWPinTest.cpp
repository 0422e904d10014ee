// The raw frame output pin on its own: the offered media type field by field
// for every pixel-format code, type checks, IAMStreamConfig, IKsPropertySet,
// buffer sizing, and FillBuffer (copy, time stamps, stop, null sample)
// called directly with a plain sample.
#include <gtest/gtest.h>

#include <windows.h>
#include <uuids.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "filters/PushPinReadRAW.h"
#include "filters/PushSourceReadRAW.h"
#include "log/Trace.h"
#include "tests/filters/FakeAllocator.h"
#include "tests/filters/FakeMediaSample.h"
#include "tests/filters/HostHandOver.h"
#include "tests/filters/TestGraph.h"
#include "tests/filters/TraceRecorder.h"

using tavtest::FakeAllocator;
using tavtest::FakeMediaSample;
using tavtest::TraceRecorder;

namespace {

const wchar_t kFile[] = L".\\ReadRAW";
const char kFill[] = "CPushPinReadRAW::FillBuffer";

class ReadRAWPinTest : public ::testing::Test {
 protected:
  void SetUp() override {
    baseline_ = CBaseObject::ObjectsActive();
    HRESULT hr = E_FAIL;
    filter_ = static_cast<CPushSourceReadRAW*>(CPushSourceReadRAW::CreateInstance(nullptr, &hr));
    ASSERT_NE(nullptr, filter_);
    ASSERT_EQ(S_OK, filter_->NonDelegatingQueryInterface(IID_IMovie2, reinterpret_cast<void**>(&movie_)));
    pin_ = filter_->m_pPin;
    movie_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone());
  }
  void TearDown() override {
    movie_->Release();
    EXPECT_EQ(baseline_, CBaseObject::ObjectsActive());
  }
  void Setup(UINT code, UINT width, int height, double fps = 25.0) {
    ASSERT_EQ(S_OK, movie_->SetFrameData(&code));
    ASSERT_EQ(S_OK, movie_->InitParam2(width, height, fps, 0, 1));
  }
  // One FillBuffer with the frame ready beforehand (so it does not block).
  HRESULT FillWith(FakeMediaSample* pSample) {
    SetEvent(host_.hReady());
    return pin_->FillBuffer(pSample);
  }

  tavtest::ComScope com_;
  LONG baseline_ = 0;
  CPushSourceReadRAW* filter_ = nullptr;
  CPushPinReadRAW* pin_ = nullptr;
  IMovie2* movie_ = nullptr;
  tavtest::HostHandOver host_;
};

struct TypeCase {
  UINT code;
  WORD bits;
  DWORD compression;
  GUID subtype;
  DWORD clrUsed;
  bool palette;
};

TEST_F(ReadRAWPinTest, OfferedTypeFieldByFieldForEveryCode) {
  const TypeCase cases[] = {
      {0, 24, BI_RGB, MEDIASUBTYPE_RGB24, 0, false},
      {1, 32, BI_RGB, MEDIASUBTYPE_RGB32, 0, false},
      {2, 8, BI_RGB, MEDIASUBTYPE_RGB8, 256, true},
      {3, 16, MAKEFOURCC('Y', 'U', 'Y', '2'), MEDIASUBTYPE_YUY2, 0, false},
  };
  for (const TypeCase& c : cases) {
    SCOPED_TRACE(c.code);
    ASSERT_NO_FATAL_FAILURE(Setup(c.code, 641, -3, 25.0));
    CMediaType mt;
    ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
    EXPECT_EQ(MEDIATYPE_Video, mt.majortype);
    EXPECT_EQ(c.subtype, mt.subtype);
    EXPECT_EQ(FORMAT_VideoInfo, mt.formattype);
    EXPECT_FALSE(mt.bTemporalCompression);
    EXPECT_TRUE(mt.bFixedSizeSamples);
    ASSERT_EQ(1128u, mt.cbFormat);
    const auto* vi = reinterpret_cast<const VIDEOINFO*>(mt.pbFormat);
    const RECT empty = {0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(&empty, &vi->rcSource, sizeof(RECT)));
    EXPECT_EQ(0, std::memcmp(&empty, &vi->rcTarget, sizeof(RECT)));
    EXPECT_EQ(0u, vi->dwBitRate);
    EXPECT_EQ(0u, vi->dwBitErrorRate);
    EXPECT_EQ(400000, vi->AvgTimePerFrame);
    EXPECT_EQ(40u, vi->bmiHeader.biSize);
    EXPECT_EQ(641, vi->bmiHeader.biWidth);
    EXPECT_EQ(3, vi->bmiHeader.biHeight);  // always positive here
    EXPECT_EQ(1, vi->bmiHeader.biPlanes);
    EXPECT_EQ(c.bits, vi->bmiHeader.biBitCount);
    EXPECT_EQ(c.compression, vi->bmiHeader.biCompression);
    EXPECT_EQ(c.clrUsed, vi->bmiHeader.biClrUsed);
    EXPECT_EQ(c.clrUsed, vi->bmiHeader.biClrImportant);
    const DWORD stride = ((641u * c.bits + 31) / 32) * 4;
    EXPECT_EQ(stride * 3, vi->bmiHeader.biSizeImage);
    EXPECT_EQ(stride * 3, mt.lSampleSize);
    EXPECT_EQ(pin_->m_pbmi->biSizeImage, vi->bmiHeader.biSizeImage);
    for (int i = 0; i < 256; ++i) {
      BYTE expected = c.palette ? static_cast<BYTE>(i) : 0;
      ASSERT_EQ(expected, vi->bmiColors[i].rgbBlue) << i;
      ASSERT_EQ(expected, vi->bmiColors[i].rgbGreen) << i;
      ASSERT_EQ(expected, vi->bmiColors[i].rgbRed) << i;
      ASSERT_EQ(0, vi->bmiColors[i].rgbReserved) << i;
    }
  }
}

TEST_F(ReadRAWPinTest, Width641At24BitsHasA1924ByteStride) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 641, 2));
  EXPECT_EQ(1924u * 2u, pin_->m_pbmi->biSizeImage);
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
  EXPECT_EQ(3848u, mt.lSampleSize);
}

TEST_F(ReadRAWPinTest, Code1242GivesAnEightBitTypeButATwentyFourBitFrame) {
  ASSERT_NO_FATAL_FAILURE(Setup(1242, 10, 10));
  EXPECT_EQ(24, pin_->m_pbmi->biBitCount);
  EXPECT_EQ(320u, pin_->m_pbmi->biSizeImage);  // 30 bytes a row, padded to 32
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
  const auto* vi = reinterpret_cast<const VIDEOINFO*>(mt.pbFormat);
  EXPECT_EQ(8, vi->bmiHeader.biBitCount);
  EXPECT_EQ(256u, vi->bmiHeader.biClrUsed);
  EXPECT_EQ(MEDIASUBTYPE_RGB8, mt.subtype);
  EXPECT_EQ(120u, vi->bmiHeader.biSizeImage);
  EXPECT_EQ(0, vi->bmiColors[200].rgbRed);  // the frame is not 8 bits: no ramp
}

TEST_F(ReadRAWPinTest, UnknownCodeLeavesTheBitCountZero) {
  ASSERT_NO_FATAL_FAILURE(Setup(7, 10, 10));
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
  const auto* vi = reinterpret_cast<const VIDEOINFO*>(mt.pbFormat);
  EXPECT_EQ(0, vi->bmiHeader.biBitCount);
  EXPECT_EQ(0u, vi->bmiHeader.biSizeImage);
}

TEST_F(ReadRAWPinTest, OnlyPositionZeroIsOffered) {
  CMediaType mt(&MEDIATYPE_Audio);
  EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin_->GetMediaType(1, &mt));
  EXPECT_EQ(MEDIATYPE_Audio, mt.majortype);  // untouched
  EXPECT_EQ(E_POINTER, pin_->GetMediaType(0, nullptr));
}

TEST_F(ReadRAWPinTest, CheckMediaTypeTakesVideoWithANullOrTheSameSubtype) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 16, 16));
  CMediaType mt(&MEDIATYPE_Video);
  EXPECT_EQ(S_OK, pin_->CheckMediaType(&mt));  // subtype GUID_NULL, no format
  mt.SetSubtype(&MEDIASUBTYPE_RGB24);
  EXPECT_EQ(S_OK, pin_->CheckMediaType(&mt));
  mt.SetSubtype(&MEDIASUBTYPE_RGB32);
  EXPECT_EQ(E_FAIL, pin_->CheckMediaType(&mt));
  CMediaType audio(&MEDIATYPE_Audio);
  EXPECT_EQ(E_FAIL, pin_->CheckMediaType(&audio));
  EXPECT_EQ(E_POINTER, pin_->CheckMediaType(nullptr));
  EXPECT_EQ(S_FALSE, pin_->QueryAccept(&mt));
}

TEST_F(ReadRAWPinTest, StreamCapsForIndexZeroOneAndTwo) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 320, -240, 25.0));
  IAMStreamConfig* config = nullptr;
  ASSERT_EQ(S_OK, pin_->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)));
  int count = 0, size = 0;
  ASSERT_EQ(S_OK, config->GetNumberOfCapabilities(&count, &size));
  EXPECT_EQ(2, count);
  EXPECT_EQ(128, size);
  EXPECT_EQ(E_POINTER, config->GetNumberOfCapabilities(nullptr, &size));
  EXPECT_EQ(E_POINTER, config->GetNumberOfCapabilities(&count, nullptr));

  AM_MEDIA_TYPE* pmt = nullptr;
  BYTE caps[128];
  EXPECT_EQ(S_FALSE, config->GetStreamCaps(2, &pmt, caps));
  EXPECT_EQ(E_POINTER, config->GetStreamCaps(0, nullptr, caps));
  EXPECT_EQ(E_POINTER, config->GetStreamCaps(0, &pmt, nullptr));

  std::memset(caps, 0xEE, sizeof(caps));
  ASSERT_EQ(S_OK, config->GetStreamCaps(1, &pmt, caps));  // an empty type
  ASSERT_NE(nullptr, pmt);
  EXPECT_EQ(GUID_NULL, pmt->majortype);
  EXPECT_EQ(GUID_NULL, pmt->subtype);
  EXPECT_EQ(0u, pmt->cbFormat);
  DeleteMediaType(pmt);

  ASSERT_EQ(S_OK, config->GetStreamCaps(0, &pmt, caps));
  CMediaType offered;
  pin_->GetMediaType(0, &offered);
  EXPECT_TRUE(MediaTypesEqual(offered, *pmt));
  DeleteMediaType(pmt);
  VIDEO_STREAM_CONFIG_CAPS expected;
  std::memset(&expected, 0, sizeof(expected));
  expected.guid = FORMAT_VideoInfo;
  expected.InputSize = {320, 240};
  expected.MinCroppingSize = {320, 240};
  expected.MaxCroppingSize = {320, 240};
  expected.MinFrameInterval = 400000;
  expected.MaxFrameInterval = 400000;
  EXPECT_EQ(0, std::memcmp(&expected, caps, sizeof(expected)));
  config->Release();
}

TEST_F(ReadRAWPinTest, SetFormatAndGetFormat) {
  ASSERT_NO_FATAL_FAILURE(Setup(1, 16, 16));
  IAMStreamConfig* config = pin_;
  EXPECT_EQ(E_POINTER, config->SetFormat(nullptr));
  EXPECT_EQ(E_POINTER, config->GetFormat(nullptr));
  AM_MEDIA_TYPE* pmt = nullptr;
  ASSERT_EQ(S_OK, config->GetFormat(&pmt));  // unconnected: position 0
  EXPECT_EQ(MEDIASUBTYPE_RGB32, pmt->subtype);
  EXPECT_EQ(S_OK, config->SetFormat(pmt));
  EXPECT_TRUE(MediaTypesEqual(*pmt, pin_->CurrentMediaType()));
  CMediaType audio(&MEDIATYPE_Audio);
  EXPECT_EQ(VFW_E_INVALIDMEDIATYPE, config->SetFormat(&audio));
  ASSERT_EQ(S_OK, filter_->Pause());  // unconnected: no thread
  EXPECT_EQ(VFW_E_NOT_STOPPED, config->SetFormat(pmt));
  ASSERT_EQ(S_OK, filter_->Stop());
  DeleteMediaType(pmt);
}

TEST_F(ReadRAWPinTest, PropertySetReportsTheCapturePinCategory) {
  IKsPropertySet* props = nullptr;
  ASSERT_EQ(S_OK, pin_->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&props)));
  GUID category = GUID_NULL;
  DWORD returned = 0;
  EXPECT_EQ(static_cast<HRESULT>(0x80070492),
            props->Get(MEDIATYPE_Video, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, sizeof(category), &returned));
  EXPECT_EQ(static_cast<HRESULT>(0x80070490),
            props->Get(AMPROPSETID_Pin, 1, nullptr, 0, &category, sizeof(category), &returned));
  EXPECT_EQ(E_POINTER, props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, nullptr, 16, nullptr));
  returned = 0;
  EXPECT_EQ(S_OK, props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, nullptr, 0, &returned));
  EXPECT_EQ(16u, returned);
  returned = 0;
  EXPECT_EQ(E_UNEXPECTED, props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, 15, &returned));
  EXPECT_EQ(16u, returned);
  EXPECT_EQ(S_OK,
            props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, sizeof(category), nullptr));
  EXPECT_EQ(PIN_CATEGORY_CAPTURE, category);
  DWORD support = 0;
  EXPECT_EQ(S_OK, props->QuerySupported(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, &support));
  EXPECT_EQ(static_cast<DWORD>(KSPROPERTY_SUPPORT_GET), support);
  EXPECT_EQ(S_OK, props->QuerySupported(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr));
  EXPECT_EQ(static_cast<HRESULT>(0x80070490), props->QuerySupported(AMPROPSETID_Pin, 2, &support));
  EXPECT_EQ(static_cast<HRESULT>(0x80070492),
            props->QuerySupported(MEDIATYPE_Video, AMPROPERTY_PIN_CATEGORY, &support));
  EXPECT_EQ(E_NOTIMPL, props->Set(AMPROPSETID_Pin, 0, nullptr, 0, &category, 16));
  props->Release();
  EXPECT_EQ(E_POINTER, pin_->NonDelegatingQueryInterface(IID_IKsPropertySet, nullptr));
}

TEST_F(ReadRAWPinTest, QualityNotifyFails) {
  Quality q = {};
  EXPECT_EQ(E_FAIL, pin_->Notify(nullptr, q));
}

TEST_F(ReadRAWPinTest, DecideBufferSizeAsksForOneBufferOfTheImageSize) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 641, 3));
  AM_MEDIA_TYPE* pmt = nullptr;
  pin_->GetFormat(&pmt);
  ASSERT_EQ(S_OK, pin_->SetFormat(pmt));  // becomes the (connection) type
  DeleteMediaType(pmt);
  FakeAllocator alloc;
  ALLOCATOR_PROPERTIES props = {0, 0, 4, 8};
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_EQ(1, alloc.asked.cBuffers);
  EXPECT_EQ(5772, alloc.asked.cbBuffer);
  EXPECT_EQ(4, alloc.asked.cbAlign);
  EXPECT_EQ(8, alloc.asked.cbPrefix);
  EXPECT_EQ((std::vector<std::wstring>{L"CPushPinReadRAW::DecideBufferSize -> Enter",
                                       L"CPushPinReadRAW::DecideBufferSize -> Leave"}),
            TraceRecorder::Messages());

  alloc.grantedSize = 5771;
  TraceRecorder::Clear();
  EXPECT_EQ(E_FAIL, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CPushPinReadRAW::DecideBufferSize", LOG_SEV_ERROR,
                                 L"Actual.cbBuffer < pProperties->cbBuffer"));
  alloc.setResult = E_OUTOFMEMORY;
  TraceRecorder::Clear();
  EXPECT_EQ(E_OUTOFMEMORY, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CPushPinReadRAW::DecideBufferSize", LOG_SEV_ERROR,
                                 L"pAlloc->SetProperties(pProperties,&Actual) failed"));
  TraceRecorder::Clear();
  EXPECT_EQ(E_POINTER, pin_->DecideBufferSize(nullptr, &props));
  EXPECT_EQ(E_POINTER, pin_->DecideBufferSize(&alloc, nullptr));
  EXPECT_EQ((std::vector<std::wstring>{L"CPushPinReadRAW::DecideBufferSize -> Enter",
                                       L"CPushPinReadRAW::DecideBufferSize -> Enter"}),
            TraceRecorder::Messages());
}

TEST_F(ReadRAWPinTest, NullSampleFreesBothHostWaits) {
  TraceRecorder::Clear();
  EXPECT_EQ(S_OK, pin_->FillBuffer(nullptr));
  EXPECT_TRUE(host_.WaitBufferReady(0));
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_EQ((std::vector<std::wstring>{L"CPushPinReadRAW::FillBuffer -> Enter", L"pSample==NULL"}),
            TraceRecorder::Messages());
  EXPECT_TRUE(TraceRecorder::Has(kFile, kFill, LOG_SEV_WARNING, L"pSample==NULL"));
}

TEST_F(ReadRAWPinTest, StopWhileWaitingForAFrameLeavesTheSampleUntouched) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 4));
  FakeMediaSample sample(48);
  HRESULT result = E_FAIL;
  TraceRecorder::Clear();
  std::thread worker([&] { result = pin_->FillBuffer(&sample); });
  ASSERT_TRUE(host_.WaitBufferReady(10000));  // the pin waits for a frame now
  Sleep(20);
  pin_->m_cFramesTotal = 12;
  movie_->ReleaseFilterData();
  worker.join();
  EXPECT_EQ(S_FALSE, result);
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_EQ(0, sample.getPointerCalls);
  EXPECT_EQ(0, sample.setterCalls);
  EXPECT_EQ((std::vector<std::wstring>{
                L"CPushPinReadRAW::FillBuffer -> Enter", L"SetEvent->Enter m_hEventBufferReady",
                L"SetEvent->Leave m_hEventBufferReady", L"WaitForSingleObject->Enter m_hEventFrameReady",
                L"WaitForSingleObject->Leave m_hEventFrameReady", L"SetEvent->Enter m_hEventBufferDone with m_bStop",
                L"SetEvent->Leave m_hEventBufferDone with m_bStop", L"Total frames written: 12, dropped: 0",
                L"CPushPinReadRAW::FillBuffer -> Return 2"}),
            TraceRecorder::Messages(kFill));
  for (const auto& line : TraceRecorder::Lines()) {
    EXPECT_EQ(kFile, line.file);
    EXPECT_EQ(static_cast<unsigned>(LOG_SEV_TRACE), line.severity)
        << std::string(line.message.begin(), line.message.end());
  }
}

TEST_F(ReadRAWPinTest, FillBufferCopiesAndStampsOneFrame) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 2, 25.0));  // 12-byte rows, 24 bytes
  std::vector<BYTE> frame(24);
  for (int i = 0; i < 24; ++i) frame[i] = static_cast<BYTE>(i + 1);
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 24, 1000));
  FakeMediaSample sample(24);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(frame, sample.buffer);
  EXPECT_EQ(24, sample.actualLength);
  EXPECT_EQ(0, sample.start);
  EXPECT_EQ(400000, sample.stop);
  EXPECT_EQ(0, sample.discontinuity);
  EXPECT_EQ(1, sample.syncPoint);
  EXPECT_EQ(1, pin_->m_iSampleNumber);
  EXPECT_TRUE(host_.WaitBufferReady(0));
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_EQ((std::vector<std::wstring>{L"CPushPinReadRAW::FillBuffer -> Enter", L"SetEvent->Enter m_hEventBufferReady",
                                       L"SetEvent->Leave m_hEventBufferReady",
                                       L"WaitForSingleObject->Enter m_hEventFrameReady",
                                       L"WaitForSingleObject->Leave m_hEventFrameReady", L"CopyMemory->Enter",
                                       L"CopyMemory->Leave", L"SetEvent->Enter m_hEventBufferDone",
                                       L"SetEvent->Leave m_hEventBufferDone", L"CPushPinReadRAW::FillBuffer -> Leave"}),
            TraceRecorder::Messages(kFill));
}

TEST_F(ReadRAWPinTest, SampleAfterTwoDropsGetsSlotSevenThenEight) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 1, 25.0));
  std::vector<BYTE> frame(12, 0x11);
  pin_->m_iSampleNumber = 5;
  pin_->m_cDrop = 2;
  pin_->m_pFrameData = frame.data();
  pin_->m_iFrameSize = 12;
  FakeMediaSample first(12);
  ASSERT_EQ(S_OK, FillWith(&first));
  EXPECT_EQ(7 * 400000, first.start);
  EXPECT_EQ(8 * 400000, first.stop);
  EXPECT_EQ(1, first.discontinuity);
  EXPECT_EQ(0, first.syncPoint);
  EXPECT_EQ(0u, pin_->m_cDrop);
  pin_->m_pFrameData = frame.data();
  FakeMediaSample second(12);
  ASSERT_EQ(S_OK, FillWith(&second));
  EXPECT_EQ(8 * 400000, second.start);
  EXPECT_EQ(9 * 400000, second.stop);
  EXPECT_EQ(0, second.discontinuity);
  EXPECT_EQ(1, second.syncPoint);
}

TEST_F(ReadRAWPinTest, BottomUpCopyUsesThe1924ByteStride) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 641, -3));
  ASSERT_EQ(5772u, pin_->m_pbmi->biSizeImage);
  std::vector<BYTE> frame(5772);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<BYTE>((i / 1924) * 50 + i % 7);
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 5772, 0));
  FakeMediaSample sample(5772);
  ASSERT_EQ(S_OK, FillWith(&sample));
  for (int row = 0; row < 3; ++row) {
    EXPECT_EQ(0, std::memcmp(sample.buffer.data() + row * 1924, frame.data() + (2 - row) * 1924, 1924)) << row;
  }
  EXPECT_EQ(5772, sample.actualLength);
}

TEST_F(ReadRAWPinTest, ShortHostBufferIsReadOnlyToItsEndAndTheRestIsZero) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 3));  // 12-byte rows, 36 bytes
  std::vector<BYTE> frame(20, 0x77);
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 20, 0));
  FakeMediaSample straight(36);
  ASSERT_EQ(S_OK, FillWith(&straight));
  for (int i = 0; i < 36; ++i) EXPECT_EQ(i < 20 ? 0x77 : 0, straight.buffer[i]) << i;

  ASSERT_EQ(S_OK, movie_->InitParam2(4, -3, 25.0, 0, 1));
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 20, 0));
  FakeMediaSample reversed(36);
  ASSERT_EQ(S_OK, FillWith(&reversed));
  // Source rows: 0 whole, 1 has 8 bytes, 2 none; they land reversed.
  for (int i = 0; i < 12; ++i) EXPECT_EQ(0, reversed.buffer[i]) << i;
  for (int i = 12; i < 24; ++i) EXPECT_EQ(i < 20 ? 0x77 : 0, reversed.buffer[i]) << i;
  for (int i = 24; i < 36; ++i) EXPECT_EQ(0x77, reversed.buffer[i]) << i;
}

TEST_F(ReadRAWPinTest, LargerHostSizeCopiesExactlyTheImage) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 2));
  std::vector<BYTE> frame(100, 0x42);
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 100, 0));
  FakeMediaSample sample(40, 0xCD);  // a buffer larger than the image
  ASSERT_EQ(S_OK, FillWith(&sample));
  for (int i = 0; i < 40; ++i) EXPECT_EQ(i < 24 ? 0x42 : 0xCD, sample.buffer[i]) << i;
  EXPECT_EQ(40, sample.actualLength);  // the sample's whole size
}

TEST_F(ReadRAWPinTest, FailedGetPointerStillStampsAndFreesTheHost) {
  ASSERT_NO_FATAL_FAILURE(Setup(0, 4, 2));
  std::vector<BYTE> frame(24, 1);
  ASSERT_EQ(S_OK, movie_->AddFrame(frame.data(), 24, 0));
  FakeMediaSample sample(24, 0xCD);
  sample.getPointerResult = E_FAIL;
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(0xCD, sample.buffer[0]);
  EXPECT_EQ(-1, sample.actualLength);
  EXPECT_EQ(0, sample.start);
  EXPECT_EQ(400000, sample.stop);
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_EQ(0, TraceRecorder::Count(L"CopyMemory->Enter"));
}

}  // namespace
