// The audio source filter and its pin: identity, the two PCM types and the
// stored format, stream config and property set, buffer sizes and sample
// durations, block bookkeeping, FillBuffer, and the filter in Wine's graph
// fed through IAudio and its three events.
#include <gtest/gtest.h>

#include <windows.h>
#include <mmreg.h>
#include <uuids.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "filters/AudioSource.h"
#include "filters/PinAudioStream.h"
#include "log/Trace.h"
#include "tests/filters/FakeAllocator.h"
#include "tests/filters/FakeMediaSample.h"
#include "tests/filters/HostHandOver.h"
#include "tests/filters/TestGraph.h"
#include "tests/filters/TestSinkFilter.h"
#include "tests/filters/TraceRecorder.h"

using tavtest::CTestSinkFilter;
using tavtest::FakeAllocator;
using tavtest::FakeMediaSample;
using tavtest::TraceRecorder;

namespace {

const wchar_t kFile[] = L".\\AudioStream";
const char kFill[] = "CPinAudioStream::FillBuffer";

class AudioSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    baseline_ = CBaseObject::ObjectsActive();
    TraceRecorder::Clear();
    HRESULT hr = E_FAIL;
    filter_ = static_cast<CAudioSource*>(CAudioSource::CreateInstance(nullptr, &hr));
    ASSERT_NE(nullptr, filter_);
    ASSERT_EQ(S_OK, hr);
    ASSERT_EQ(S_OK, filter_->NonDelegatingQueryInterface(IID_IAudio, reinterpret_cast<void**>(&audio_)));
    pin_ = filter_->m_pPin;
    sink_ = new CTestSinkFilter();
    sink_->NonDelegatingAddRef();
  }
  void TearDown() override {
    sink_->ReleaseHeldSamples();
    graph_.Release();
    audio_->Release();
    sink_->NonDelegatingRelease();
    EXPECT_EQ(1, TraceRecorder::Count(L"CAudioSource::~CAudioSource -> Leave"));
    EXPECT_EQ(1, TraceRecorder::Count(L"CPinAudioStream::~CPinAudioStream -> Leave"));
    EXPECT_EQ(baseline_, CBaseObject::ObjectsActive()) << "filters, pins or enumerators leaked";
  }
  // The writer's order: events, then parameters.
  HRESULT Init(int bits, UINT buffersPerSecond) {
    audio_->SetEventHandles(host_.hReady(), host_.hBufferReady(), host_.hBufferDone());
    return audio_->InitParam2(bits, 1, buffersPerSecond);
  }
  void Connect() {
    ASSERT_EQ(S_OK, graph_.created());
    ASSERT_EQ(S_OK, graph_.Add(filter_, L"Audio Source Filter"));
    ASSERT_EQ(S_OK, graph_.Add(sink_, L"Sink"));
    ASSERT_EQ(S_OK, graph_.ConnectFirstPins(filter_, sink_));
  }
  HRESULT FillWith(FakeMediaSample* pSample) {
    SetEvent(host_.hReady());
    return pin_->FillBuffer(pSample);
  }
  static std::vector<BYTE> Pattern(size_t n, int seed) {
    std::vector<BYTE> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = static_cast<BYTE>(i * 13 + seed);
    return v;
  }

  tavtest::ComScope com_;
  LONG baseline_ = 0;
  CAudioSource* filter_ = nullptr;
  CPinAudioStream* pin_ = nullptr;
  IAudio* audio_ = nullptr;
  CTestSinkFilter* sink_ = nullptr;
  tavtest::TestGraph graph_;
  tavtest::HostHandOver host_;
};

void Expect16BitType(const AM_MEDIA_TYPE& mt) {
  EXPECT_EQ(MEDIATYPE_Audio, mt.majortype);
  EXPECT_EQ(MEDIASUBTYPE_PCM, mt.subtype);
  EXPECT_EQ(FORMAT_WaveFormatEx, mt.formattype);
  EXPECT_FALSE(mt.bTemporalCompression);
  EXPECT_TRUE(mt.bFixedSizeSamples);
  EXPECT_EQ(2u, mt.lSampleSize);
  ASSERT_EQ(18u, mt.cbFormat);
  const auto* w = reinterpret_cast<const WAVEFORMATEX*>(mt.pbFormat);
  EXPECT_EQ(1, w->wFormatTag);
  EXPECT_EQ(2, w->nChannels);
  EXPECT_EQ(48000u, w->nSamplesPerSec);
  EXPECT_EQ(16, w->wBitsPerSample);
  EXPECT_EQ(4, w->nBlockAlign);
  EXPECT_EQ(192000u, w->nAvgBytesPerSec);
  EXPECT_EQ(0, w->cbSize);
}

void Expect24BitType(const AM_MEDIA_TYPE& mt) {
  EXPECT_EQ(MEDIATYPE_Audio, mt.majortype);
  EXPECT_EQ(MEDIASUBTYPE_PCM, mt.subtype);
  EXPECT_EQ(FORMAT_WaveFormatEx, mt.formattype);
  EXPECT_FALSE(mt.bTemporalCompression);
  EXPECT_EQ(3u, mt.lSampleSize);
  ASSERT_EQ(40u, mt.cbFormat);
  const auto* w = reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(mt.pbFormat);
  EXPECT_EQ(0xFFFE, w->Format.wFormatTag);
  EXPECT_EQ(2, w->Format.nChannels);
  EXPECT_EQ(48000u, w->Format.nSamplesPerSec);
  EXPECT_EQ(24, w->Format.wBitsPerSample);
  EXPECT_EQ(6, w->Format.nBlockAlign);
  EXPECT_EQ(288000u, w->Format.nAvgBytesPerSec);
  EXPECT_EQ(22, w->Format.cbSize);
  EXPECT_EQ(24, w->Samples.wValidBitsPerSample);
  EXPECT_EQ(3u, w->dwChannelMask);
  const GUID pcm = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
  EXPECT_EQ(pcm, w->SubFormat);
}

TEST_F(AudioSourceTest, IdentityNamesAndInterfaces) {
  CLSID clsid = {};
  ASSERT_EQ(S_OK, filter_->GetClassID(&clsid));
  const CLSID expected = {0x72457924, 0x1DB8, 0x4142, {0xB2, 0x81, 0x6B, 0xCE, 0x74, 0x87, 0x84, 0x8D}};
  EXPECT_EQ(expected, clsid);
  EXPECT_STREQ(L"Audio Capture", filter_->ObjectName());
  EXPECT_STREQ(L"Capture", pin_->Name());
  EXPECT_STREQ(L"Capture", pin_->ObjectName());
  EXPECT_EQ(1, filter_->GetPinCount());
  const IID iid = {0x68B04166, 0xFCDD, 0x48A4, {0x8C, 0xF8, 0xD7, 0xCC, 0x89, 0x80, 0x6A, 0xD2}};
  EXPECT_EQ(iid, IID_IAudio);
  Quality q = {};
  EXPECT_EQ(E_NOTIMPL, pin_->Notify(nullptr, q));
  EXPECT_TRUE(TraceRecorder::Lines().empty());  // construction writes no lines
}

TEST_F(AudioSourceTest, OfferedTypesBeforeAFormatIsSet) {
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
  Expect16BitType(mt);
  ASSERT_EQ(S_OK, pin_->GetMediaType(1, &mt));
  Expect24BitType(mt);
  EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin_->GetMediaType(2, &mt));
  EXPECT_EQ(E_INVALIDARG, pin_->GetMediaType(-1, &mt));
  CMediaType audio(&MEDIATYPE_Audio);
  EXPECT_EQ(S_OK, pin_->CheckMediaType(&audio));
  CMediaType video(&MEDIATYPE_Video);
  EXPECT_EQ(E_FAIL, pin_->CheckMediaType(&video));
}

TEST_F(AudioSourceTest, SixteenBitsSelectsTheSixteenBitType) {
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, Init(16, 10));
  EXPECT_EQ(1, pin_->m_bFormatSet);
  Expect16BitType(pin_->m_mtStored);
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(1, &mt));  // both positions: the stored type
  Expect16BitType(mt);
  EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin_->GetMediaType(2, &mt));
  EXPECT_EQ((std::vector<std::wstring>{L"CAudioSource::InitParam2 -> Enter", L"CAudioSource::InitParam2 -> Leave"}),
            TraceRecorder::Messages());
  EXPECT_TRUE(
      TraceRecorder::Has(kFile, "CAudioSource::InitParam2", LOG_SEV_TRACE, L"CAudioSource::InitParam2 -> Leave"));
  // Once set, only the stored type in full passes: a later 24-bit request
  // is refused and the 16-bit type stays.
  ASSERT_EQ(S_OK, audio_->InitParam2(24, 1, 10));
  Expect16BitType(pin_->m_mtStored);
}

TEST_F(AudioSourceTest, InitParam2WithoutAPinFails) {
  filter_->m_pPin = nullptr;
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, audio_->InitParam2(16, 1, 10));
  filter_->m_pPin = pin_;
  EXPECT_EQ((std::vector<std::wstring>{L"CAudioSource::InitParam2 -> Enter", L"m_pPin == NULL"}),
            TraceRecorder::Messages());
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::InitParam2", LOG_SEV_ERROR, L"m_pPin == NULL"));
}

TEST_F(AudioSourceTest, AnyOtherBitCountSelectsTheExtensibleType) {
  ASSERT_EQ(S_OK, Init(8, 10));
  Expect24BitType(pin_->m_mtStored);
  CMediaType mt;
  ASSERT_EQ(S_OK, pin_->GetMediaType(0, &mt));
  Expect24BitType(mt);
}

TEST_F(AudioSourceTest, StoredFormatMustMatchInFull) {
  ASSERT_EQ(S_OK, Init(24, 10));
  CMediaType stored(pin_->m_mtStored);
  EXPECT_EQ(S_OK, pin_->CheckMediaType(&stored));
  CMediaType partial(&MEDIATYPE_Audio);
  EXPECT_EQ(E_FAIL, pin_->CheckMediaType(&partial));
  stored.pbFormat[4] ^= 1;  // another sample rate
  EXPECT_EQ(E_FAIL, pin_->CheckMediaType(&stored));
  IAMStreamConfig* config = pin_;
  AM_MEDIA_TYPE* pmt = nullptr;
  BYTE caps[52];
  ASSERT_EQ(S_OK, config->GetStreamCaps(0, &pmt, caps));  // the stored type now
  Expect24BitType(*pmt);
  DeleteMediaType(pmt);
}

TEST_F(AudioSourceTest, StreamCapsAndCapabilities) {
  IAMStreamConfig* config = nullptr;
  ASSERT_EQ(S_OK, pin_->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)));
  int count = 0, size = 0;
  ASSERT_EQ(S_OK, config->GetNumberOfCapabilities(&count, &size));
  EXPECT_EQ(2, count);
  EXPECT_EQ(52, size);
  EXPECT_EQ(E_POINTER, config->GetNumberOfCapabilities(nullptr, &size));
  AM_MEDIA_TYPE* pmt = nullptr;
  BYTE caps[52];
  EXPECT_EQ(S_FALSE, config->GetStreamCaps(2, &pmt, caps));
  EXPECT_EQ(E_POINTER, config->GetStreamCaps(1, nullptr, caps));
  EXPECT_EQ(E_POINTER, config->GetStreamCaps(1, &pmt, nullptr));
  std::memset(caps, 0xEE, sizeof(caps));
  ASSERT_EQ(S_OK, config->GetStreamCaps(1, &pmt, caps));
  Expect24BitType(*pmt);
  DeleteMediaType(pmt);
  AUDIO_STREAM_CONFIG_CAPS expected;
  std::memset(&expected, 0, sizeof(expected));
  expected.guid = FORMAT_WaveFormatEx;
  expected.MinimumChannels = 1;
  expected.MaximumChannels = 2;
  expected.ChannelsGranularity = 1;
  expected.MinimumBitsPerSample = 16;
  expected.MaximumBitsPerSample = 24;
  expected.BitsPerSampleGranularity = 8;
  expected.MinimumSampleFrequency = 48000;
  expected.MaximumSampleFrequency = 48000;
  expected.SampleFrequencyGranularity = 0;
  EXPECT_EQ(0, std::memcmp(&expected, caps, sizeof(expected)));
  ASSERT_EQ(S_OK, config->GetFormat(&pmt));  // unconnected, nothing stored: position 0
  Expect16BitType(*pmt);
  EXPECT_EQ(E_POINTER, config->SetFormat(nullptr));
  CMediaType video(&MEDIATYPE_Video);
  EXPECT_EQ(VFW_E_INVALIDMEDIATYPE, config->SetFormat(&video));
  EXPECT_EQ(0, pin_->m_bFormatSet);
  ASSERT_EQ(S_OK, filter_->Pause());
  EXPECT_EQ(VFW_E_NOT_STOPPED, config->SetFormat(pmt));
  ASSERT_EQ(S_OK, filter_->Stop());
  DeleteMediaType(pmt);
  config->Release();

  IKsPropertySet* props = nullptr;
  ASSERT_EQ(S_OK, pin_->QueryInterface(IID_IKsPropertySet, reinterpret_cast<void**>(&props)));
  GUID category = GUID_NULL;
  DWORD returned = 0;
  EXPECT_EQ(S_OK, props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, 16, &returned));
  EXPECT_EQ(PIN_CATEGORY_CAPTURE, category);
  EXPECT_EQ(static_cast<HRESULT>(0x80070490), props->Get(AMPROPSETID_Pin, 3, nullptr, 0, &category, 16, &returned));
  EXPECT_EQ(E_UNEXPECTED, props->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, 4, &returned));
  DWORD support = 0;
  EXPECT_EQ(S_OK, props->QuerySupported(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, &support));
  EXPECT_EQ(static_cast<DWORD>(KSPROPERTY_SUPPORT_GET), support);
  EXPECT_EQ(E_NOTIMPL, props->Set(AMPROPSETID_Pin, 0, nullptr, 0, &category, 16));
  props->Release();
}

TEST_F(AudioSourceTest, TenBuffersASecondHold19200BytesAndLast1000000Units) {
  ASSERT_EQ(S_OK, Init(16, 10));
  pin_->SetMediaType(&pin_->m_mtStored);  // as the connection would
  FakeAllocator alloc;
  ALLOCATOR_PROPERTIES props = {};
  ASSERT_EQ(S_OK, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_EQ(1, alloc.asked.cBuffers);
  EXPECT_EQ(19200, alloc.asked.cbBuffer);
  std::vector<BYTE> block = Pattern(19200, 5);
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 19200, 0));
  FakeMediaSample sample(19200);
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(block, sample.buffer);
  EXPECT_EQ(19200, sample.actualLength);
  EXPECT_EQ(0, sample.start);
  EXPECT_EQ(1000000, sample.stop);
  FakeMediaSample next(19200);
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 100, 0));
  ASSERT_EQ(S_OK, FillWith(&next));
  EXPECT_EQ(100, next.actualLength);  // the caller's size
  EXPECT_EQ(1000000, next.start);
  EXPECT_EQ(2000000, next.stop);
  alloc.setResult = E_OUTOFMEMORY;
  EXPECT_EQ(E_OUTOFMEMORY, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_EQ(E_POINTER, pin_->DecideBufferSize(nullptr, &props));
  EXPECT_TRUE(TraceRecorder::Messages("CPinAudioStream::DecideBufferSize").empty());
}

TEST_F(AudioSourceTest, ZeroBuffersASecondCountsAsOne) {
  ASSERT_EQ(S_OK, Init(24, 0));
  EXPECT_EQ(1, pin_->EffectiveBuffersPerSecond());
  pin_->SetMediaType(&pin_->m_mtStored);
  FakeAllocator alloc;
  ALLOCATOR_PROPERTIES props = {};
  ASSERT_EQ(S_OK, pin_->DecideBufferSize(&alloc, &props));
  EXPECT_EQ(288000, alloc.asked.cbBuffer);
  std::vector<BYTE> block(6, 1);
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 6, 0));
  FakeMediaSample sample(6);
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(10000000, sample.stop);
  ASSERT_EQ(S_OK, audio_->InitParam2(24, 1, 0xFFFFFFFFu));  // -1 as signed: also 1
  EXPECT_EQ(1, pin_->EffectiveBuffersPerSecond());
}

TEST_F(AudioSourceTest, CopyIsBoundedByTheSampleBuffer) {
  ASSERT_EQ(S_OK, Init(16, 10));
  std::vector<BYTE> block = Pattern(64, 1);
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 64, 0));
  FakeMediaSample sample(40);
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(40, sample.actualLength);
  EXPECT_EQ(0, std::memcmp(block.data(), sample.buffer.data(), 40));
  EXPECT_EQ(40u, sample.buffer.size());
}

TEST_F(AudioSourceTest, NoDataLeavesTheDurationZero) {
  ASSERT_EQ(S_OK, Init(16, 10));
  FakeMediaSample sample(40, 0xCD);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(0, sample.start);
  EXPECT_EQ(0, sample.stop);
  EXPECT_EQ(0xCD, sample.buffer[0]);
  EXPECT_EQ(0, TraceRecorder::Count(L"CopyMemory->Enter"));
  EXPECT_EQ(1, pin_->m_iSampleNumber);
}

TEST_F(AudioSourceTest, FillBufferLinesInOrder) {
  ASSERT_EQ(S_OK, Init(16, 10));
  std::vector<BYTE> block(8, 3);
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 8, 0));
  FakeMediaSample sample(100);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ((std::vector<std::wstring>{
                L"CPinAudioStream::FillBuffer -> Enter", L"SetEvent->Enter m_hEventAudioBufferReady",
                L"SetEvent->Leave m_hEventAudioBufferReady", L"WaitForSingleObject->Enter m_hEventSampleReady",
                L"WaitForSingleObject->Leave m_hEventSampleReady", L"CopyMemory->Enter", L"CopyMemory->Leave",
                L"SetEvent->Enter m_hEventAudioBufferDone", L"SetEvent->Leave m_hEventAudioBufferDone",
                L"CPinAudioStream::FillBuffer -> Leave"}),
            TraceRecorder::Messages(kFill));
  for (const auto& line : TraceRecorder::Lines()) EXPECT_EQ(kFile, line.file);
  EXPECT_TRUE(host_.WaitBufferReady(0));
  EXPECT_TRUE(host_.WaitBufferDone(0));
}

TEST_F(AudioSourceTest, NullSampleFreesBothHostWaits) {
  ASSERT_EQ(S_OK, Init(16, 10));
  TraceRecorder::Clear();
  EXPECT_EQ(S_OK, pin_->FillBuffer(nullptr));
  EXPECT_TRUE(host_.WaitBufferReady(0));
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_TRUE(TraceRecorder::Has(kFile, kFill, LOG_SEV_WARNING, L"pSample==NULL"));
}

TEST_F(AudioSourceTest, StopWhileWaitingForABlock) {
  ASSERT_EQ(S_OK, Init(16, 10));
  FakeMediaSample sample(100);
  HRESULT result = E_FAIL;
  TraceRecorder::Clear();
  std::thread worker([&] { result = pin_->FillBuffer(&sample); });
  ASSERT_TRUE(host_.WaitBufferReady(10000));
  ASSERT_EQ(S_OK, audio_->ReleaseFilterData());
  worker.join();
  EXPECT_EQ(S_FALSE, result);
  EXPECT_TRUE(host_.WaitBufferDone(0));
  EXPECT_EQ(0, sample.getPointerCalls);
  EXPECT_EQ(0, sample.setterCalls);
  EXPECT_EQ(
      (std::vector<std::wstring>{
          L"CPinAudioStream::FillBuffer -> Enter", L"SetEvent->Enter m_hEventAudioBufferReady",
          L"SetEvent->Leave m_hEventAudioBufferReady", L"WaitForSingleObject->Enter m_hEventSampleReady",
          L"WaitForSingleObject->Leave m_hEventSampleReady", L"SetEvent->Enter m_hEventAudioBufferDone with m_bStop",
          L"SetEvent->Leave m_hEventAudioBufferDone with m_bStop", L"CPinAudioStream::FillBuffer -> Return 2"}),
      TraceRecorder::Messages(kFill));
  EXPECT_EQ((std::vector<std::wstring>{L"CAudioSource::ReleaseFilterData -> Enter",
                                       L"CAudioSource::ReleaseFilterData -> Leave"}),
            TraceRecorder::Messages("CAudioSource::ReleaseFilterData"));
  EXPECT_TRUE(pin_->m_bStop);
}

TEST_F(AudioSourceTest, BreakCallChangesNothing) {
  ASSERT_EQ(S_OK, Init(16, 10));
  std::vector<BYTE> block(8, 3);
  ASSERT_EQ(S_OK, audio_->AddFrame2(block.data(), 8, 500, 1));
  TraceRecorder::Clear();
  EXPECT_EQ(S_OK, audio_->AddFrame(nullptr, 0, 0));
  EXPECT_EQ(S_OK, audio_->AddFrame2(nullptr, 0, 0, 9));  // the number is not tested
  EXPECT_EQ(1, pin_->m_cFramesTotal);
  EXPECT_EQ(1u, filter_->m_uLastFrameNumber);
  EXPECT_EQ(500u, filter_->m_uFirstFrameTime);
  EXPECT_EQ(block.data(), pin_->m_pSampleData);
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::AddFrame", LOG_SEV_TRACE,
                                 L"CAudioSource::AddFrame, BreakFrame -> Leave"));
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::AddFrame2", LOG_SEV_TRACE,
                                 L"CAudioSource::AddFrame, BreakFrame -> Leave"));
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::AddFrame2", LOG_SEV_TRACE, L"CAudioSource::AddFrame -> Enter"));
}

TEST_F(AudioSourceTest, FirstBlockTimeRestartsUntilASampleWentOut) {
  ASSERT_EQ(S_OK, Init(16, 10));
  std::vector<BYTE> block(8, 3);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 8, 100));
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 8, 300));
  EXPECT_EQ(300u, filter_->m_uFirstFrameTime);
  EXPECT_EQ(0u, pin_->m_uTimeOffset);
  EXPECT_EQ(2, TraceRecorder::Count(L"First frame"));
  EXPECT_EQ(0, pin_->m_cFramesTotal);  // the plain form counts nothing
  pin_->m_iSampleNumber = 1;
  ASSERT_EQ(S_OK, audio_->AddFrame(block.data(), 8, 1300));
  EXPECT_EQ(1000u, pin_->m_uTimeOffset);
  EXPECT_EQ(300u, filter_->m_uFirstFrameTime);
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, audio_->AddFrame(nullptr, 8, 1400));
  EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::AddFrame", LOG_SEV_ERROR, L"pData == NULL"));
}

TEST_F(AudioSourceTest, NumbersThreeThenSixDropTwo) {
  ASSERT_EQ(S_OK, Init(16, 10));
  std::vector<BYTE> block(8, 3);
  TraceRecorder::Clear();
  ASSERT_EQ(S_OK, audio_->AddFrame2(block.data(), 8, 1000, 3));
  EXPECT_EQ(1, pin_->m_cFramesTotal);
  ASSERT_EQ(S_OK, audio_->AddFrame2(block.data(), 8, 31000, 6));
  EXPECT_EQ(2, pin_->m_cDrop);
  EXPECT_EQ(4, pin_->m_cFramesTotal);
  EXPECT_EQ(6u, filter_->m_uLastFrameNumber);
  EXPECT_EQ((std::vector<std::wstring>{L"CAudioSource::AddFrame -> Enter", L"First frame",
                                       L"CAudioSource::AddFrame -> Leave", L"CAudioSource::AddFrame -> Enter",
                                       L"m_cFramesTotal=1, frame_time=1000000, curr_frame_time=30000, frame_num=6",
                                       L"Frame dropped: m_pPin->m_cDrop=2", L"CAudioSource::AddFrame -> Leave"}),
            TraceRecorder::Messages("CAudioSource::AddFrame2"));
  FakeMediaSample sample(100);
  ASSERT_EQ(S_OK, FillWith(&sample));
  EXPECT_EQ(2 * 1000000, sample.start);
  EXPECT_EQ(1, sample.discontinuity);
  EXPECT_EQ(0, sample.syncPoint);
  ASSERT_EQ(S_OK, audio_->AddFrame2(block.data(), 8, 41000, 7));
  EXPECT_EQ(0, pin_->m_cDrop);
}

TEST_F(AudioSourceTest, InitParam2OpensMissingEventsByName) {
  const UINT id = 60000 + GetCurrentProcessId() % 10000;
  TraceRecorder::Clear();
  EXPECT_EQ(S_FALSE, audio_->InitParam2(16, id, 10));
  EXPECT_TRUE(
      TraceRecorder::Has(kFile, "CAudioSource::InitParam2", LOG_SEV_ERROR, L"m_pPin->m_hEventSampleReady == NULL"));
  std::vector<HANDLE> named;
  const wchar_t* formats[3] = {L"Sample Ready %d", L"Audio Buffer Ready %d", L"Audio Buffer Done %d"};
  const wchar_t* missing[3] = {L"m_pPin->m_hEventAudioBufferReady == NULL", L"m_pPin->m_hEventAudioBufferDone == NULL",
                               nullptr};
  for (int i = 0; i < 3; ++i) {
    wchar_t name[64];
    swprintf_s(name, 64, formats[i], id);
    named.push_back(CreateEventW(nullptr, FALSE, FALSE, name));
    TraceRecorder::Clear();
    HRESULT hr = audio_->InitParam2(16, id, 10);
    if (missing[i] != nullptr) {
      EXPECT_EQ(S_FALSE, hr);
      EXPECT_TRUE(TraceRecorder::Has(kFile, "CAudioSource::InitParam2", LOG_SEV_ERROR, missing[i]));
    } else {
      EXPECT_EQ(S_OK, hr);
    }
  }
  SetEvent(named[0]);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pin_->m_hEventSampleReady.Get(), 0));
  for (HANDLE h : named) CloseHandle(h);
}

TEST_F(AudioSourceTest, DestructorLines) {
  TraceRecorder::Clear();
  audio_->Release();  // the last reference
  EXPECT_EQ((std::vector<std::wstring>{
                L"CAudioSource::~CAudioSource -> Enter", L"CPinAudioStream::~CPinAudioStream -> Enter",
                L"CPinAudioStream::~CPinAudioStream -> Leave", L"CAudioSource::~CAudioSource -> Leave"}),
            TraceRecorder::Messages());
  for (const auto& line : TraceRecorder::Lines()) EXPECT_EQ(kFile, line.file);
  // A fresh filter for TearDown to release.
  filter_ = static_cast<CAudioSource*>(CAudioSource::CreateInstance(nullptr, nullptr));
  ASSERT_EQ(S_OK, filter_->NonDelegatingQueryInterface(IID_IAudio, reinterpret_cast<void**>(&audio_)));
  TraceRecorder::Clear();
}

// In Wine's graph, fed through IAudio and its three events.
class AudioGraphTest : public AudioSourceTest {
 protected:
  HRESULT Push(std::vector<BYTE>& block, unsigned __int64 time, unsigned __int64 number) {
    return host_.PushAudio(audio_, block.data(), static_cast<int>(block.size()), time, number);
  }
  void Finish() {
    ASSERT_EQ(S_OK, audio_->ReleaseFilterData());
    ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
    ASSERT_EQ(S_OK, graph_.Stop());
    EXPECT_FALSE(pin_->ThreadExists());
  }
};

TEST_F(AudioGraphTest, SixteenBitBlocksArriveWholeWithTheirDurations) {
  ASSERT_EQ(S_OK, Init(16, 10));
  ASSERT_NO_FATAL_FAILURE(Connect());
  ALLOCATOR_PROPERTIES props = sink_->NotifiedProperties();
  EXPECT_EQ(1, props.cBuffers);
  EXPECT_EQ(19200, props.cbBuffer);
  AM_MEDIA_TYPE mt = {};
  ASSERT_EQ(S_OK, sink_->InputPin()->ConnectionMediaType(&mt));
  Expect16BitType(mt);
  FreeMediaType(mt);
  pin_->m_iSampleNumber = 9;  // activation starts from 0 again
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> a = Pattern(19200, 1), b = Pattern(19200, 2), c = Pattern(4000, 3);
  ASSERT_EQ(S_OK, Push(a, 0, 0));
  ASSERT_EQ(S_OK, Push(b, 1000000, 1));
  ASSERT_EQ(S_OK, Push(c, 2000000, 2));
  ASSERT_TRUE(sink_->WaitForSamples(3, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(3u, s.size());
  EXPECT_EQ(a, s[0].bytes);
  EXPECT_EQ(b, s[1].bytes);
  EXPECT_EQ(c, s[2].bytes);
  EXPECT_EQ(4000, s[2].actualLength);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(i * 1000000LL, s[i].start) << i;
    EXPECT_EQ((i + 1) * 1000000LL, s[i].stop) << i;
    EXPECT_TRUE(s[i].syncPoint);
    EXPECT_FALSE(s[i].discontinuity);
  }
}

TEST_F(AudioGraphTest, TwentyFourBitExtensibleBlocks) {
  ASSERT_EQ(S_OK, Init(24, 25));
  ASSERT_NO_FATAL_FAILURE(Connect());
  EXPECT_EQ(11520, sink_->NotifiedProperties().cbBuffer);
  AM_MEDIA_TYPE mt = {};
  ASSERT_EQ(S_OK, sink_->InputPin()->ConnectionMediaType(&mt));
  Expect24BitType(mt);
  FreeMediaType(mt);
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> a = Pattern(11520, 7);
  ASSERT_EQ(S_OK, Push(a, 0, ~0ull));
  ASSERT_EQ(S_OK, Push(a, 400000, ~0ull));
  ASSERT_TRUE(sink_->WaitForSamples(2, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(2u, s.size());
  EXPECT_EQ(a, s[1].bytes);
  EXPECT_EQ(400000, s[1].start);
  EXPECT_EQ(800000, s[1].stop);
}

TEST_F(AudioGraphTest, GapInBlockNumbersGivesADiscontinuousSample) {
  ASSERT_EQ(S_OK, Init(16, 10));
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> a = Pattern(400, 7);
  ASSERT_EQ(S_OK, Push(a, 0, 3));
  ASSERT_EQ(S_OK, Push(a, 3000000, 6));
  ASSERT_EQ(S_OK, Push(a, 4000000, 7));
  ASSERT_TRUE(sink_->WaitForSamples(3, 10000));
  ASSERT_NO_FATAL_FAILURE(Finish());
  auto s = sink_->Samples();
  ASSERT_EQ(3u, s.size());
  EXPECT_EQ(0, s[0].start);
  EXPECT_EQ(3000000, s[1].start);
  EXPECT_TRUE(s[1].discontinuity);
  EXPECT_FALSE(s[1].syncPoint);
  EXPECT_EQ(4000000, s[2].start);
  EXPECT_TRUE(s[2].syncPoint);
}

TEST_F(AudioGraphTest, ReceiveFailureLandsInTheStreamErrorAndFreesTheHost) {
  const HRESULT failure = static_cast<HRESULT>(0x80040227);
  sink_->receiveResult = failure;
  sink_->failAfter = 0;
  ASSERT_EQ(S_OK, Init(16, 10));
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> a = Pattern(400, 7);
  ASSERT_EQ(S_OK, Push(a, 0, 0));
  for (int i = 0; i < 2000 && filter_->PeekStreamError() == S_OK; ++i) Sleep(1);
  DWORD start = GetTickCount();
  EXPECT_EQ(S_OK, host_.PushAudio(audio_, a.data(), 400, 1000000, 1, 3000));
  EXPECT_LT(GetTickCount() - start, 1000u);
  EXPECT_EQ(failure, filter_->TakeStreamError());
  EXPECT_EQ(0, sink_->SampleCount());
  EXPECT_EQ(S_OK, graph_.Stop());
}

TEST_F(AudioGraphTest, StopWhileThePinWaitsInGetDeliveryBuffer) {
  sink_->holdSamples = true;
  ASSERT_EQ(S_OK, Init(16, 10));
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(S_OK, graph_.Run());
  std::vector<BYTE> a = Pattern(400, 7);
  ASSERT_EQ(S_OK, Push(a, 0, 0));
  ASSERT_TRUE(sink_->WaitForSamples(1, 10000));
  EXPECT_FALSE(host_.WaitBufferReady(100));
  DWORD start = GetTickCount();
  ASSERT_EQ(S_OK, graph_.Stop());
  EXPECT_LT(GetTickCount() - start, 2000u);
  EXPECT_FALSE(pin_->ThreadExists());
}

TEST_F(AudioGraphTest, StopWhileThePinWaitsForABlock) {
  ASSERT_EQ(S_OK, Init(16, 10));
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(S_OK, graph_.Run());
  ASSERT_TRUE(host_.WaitBufferReady(10000));
  ASSERT_EQ(S_OK, audio_->ReleaseFilterData());
  ASSERT_TRUE(host_.WaitBufferDone(10000));
  ASSERT_TRUE(sink_->WaitForEndOfStream(10000));
  ASSERT_EQ(S_OK, graph_.Stop());
  EXPECT_EQ(0, sink_->SampleCount());
  EXPECT_FALSE(pin_->ThreadExists());
}

}  // namespace
