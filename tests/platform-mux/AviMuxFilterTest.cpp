// The AVI Mux filter in Wine's filter graph: pins, types, settings, and
// recordings from test sources into a test IStream sink, read back with
// ffprobe/ffmpeg.
#include <gtest/gtest.h>
#include <windows.h>
#include <evcode.h>
#include <oleauto.h>
#include <uuids.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Formats.h"
#include "MuxGraph.h"
#include "Probe.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

constexpr REFERENCE_TIME kFrame = 400000;  // 25 frames per second

std::vector<std::uint8_t> Pattern(std::size_t size, int seed) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 3 + seed * 29);
  return bytes;
}

std::wstring PinId(IPin* pin) {
  LPWSTR id = nullptr;
  pin->QueryId(&id);
  std::wstring s = id ? id : L"";
  CoTaskMemFree(id);
  return s;
}

std::vector<std::wstring> PinIds(IBaseFilter* filter) {
  std::vector<std::wstring> ids;
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return ids;  // the caller's comparison fails
  IPin* pin = nullptr;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    ids.push_back(PinId(pin));
    pin->Release();
  }
  pins->Release();
  return ids;
}

class AviMuxFilterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    file_ = tavtest::MakeTempDir() + L"movie.avi";
  }
  void TearDown() override { CoUninitialize(); }

  // Pushes frames for the given slots; returns the bytes of the frames.
  std::vector<std::uint8_t> PushFrames(TestPushSource* source, const std::vector<int>& slots, std::size_t size) {
    std::vector<std::uint8_t> all;
    for (int slot : slots) {
      std::vector<std::uint8_t> frame = Pattern(size, slot);
      REFERENCE_TIME start = slot * kFrame, stop = start + kFrame;
      EXPECT_EQ(source->Push(frame.data(), static_cast<long>(frame.size()), &start, &stop), S_OK) << slot;
      all.insert(all.end(), frame.begin(), frame.end());
    }
    return all;
  }

  std::wstring file_;
};

TEST_F(AviMuxFilterTest, NewFilterHasOutputThenOneInput) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  EXPECT_EQ(PinIds(g.mux), (std::vector<std::wstring>{L"AVI Out", L"Input 01"}));
  IPin* out = g.MuxPin(L"AVI Out");
  ASSERT_NE(out, nullptr);
  IMemInputPin* mem = nullptr;
  EXPECT_EQ(out->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&mem)), E_NOINTERFACE);
  IEnumMediaTypes* types = nullptr;
  ASSERT_EQ(out->EnumMediaTypes(&types), S_OK);
  AM_MEDIA_TYPE* mt = nullptr;
  ASSERT_EQ(types->Next(1, &mt, nullptr), S_OK);
  EXPECT_EQ(mt->majortype, MEDIATYPE_Stream);
  EXPECT_EQ(mt->subtype, MEDIASUBTYPE_Avi);
  EXPECT_TRUE(mt->bFixedSizeSamples);
  EXPECT_FALSE(mt->bTemporalCompression);
  EXPECT_EQ(mt->lSampleSize, 1u);
  EXPECT_EQ(mt->formattype, GUID_NULL);
  EXPECT_EQ(mt->cbFormat, 0u);
  DeleteMediaType(mt);
  EXPECT_EQ(types->Next(1, &mt, nullptr), S_FALSE);
  types->Release();
  out->Release();

  IPin* in = g.MuxPin(L"Input 01");
  ASSERT_NE(in, nullptr);
  ASSERT_EQ(in->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&mem)), S_OK);
  mem->Release();
  CMediaType video = VideoType(8, 8, 24, BI_RGB, kFrame);
  CMediaType audio = AudioType(PcmFormat(2, 44100, 16));
  EXPECT_EQ(in->QueryAccept(&video), S_OK);
  EXPECT_EQ(in->QueryAccept(&audio), S_OK);
  CMediaType wrong = audio;
  wrong.majortype = MEDIATYPE_Video;
  EXPECT_EQ(in->QueryAccept(&wrong), S_FALSE);
  CMediaType empty;
  EXPECT_EQ(in->QueryAccept(&empty), S_FALSE);
  in->Release();
}

TEST_F(AviMuxFilterTest, SettingsHaveWindowsDefaults) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  IConfigInterleaving* interleaving = nullptr;
  ASSERT_EQ(g.mux->QueryInterface(IID_IConfigInterleaving, reinterpret_cast<void**>(&interleaving)), S_OK);
  InterleavingMode mode = INTERLEAVE_NONE;
  EXPECT_EQ(interleaving->get_Mode(&mode), S_OK);
  EXPECT_EQ(mode, INTERLEAVE_CAPTURE);
  REFERENCE_TIME every = 0, preroll = -1;
  EXPECT_EQ(interleaving->get_Interleaving(&every, &preroll), S_OK);
  EXPECT_EQ(every, 10000000);
  EXPECT_EQ(preroll, 0);
  EXPECT_EQ(interleaving->put_Mode(static_cast<InterleavingMode>(7)), E_INVALIDARG);
  EXPECT_EQ(interleaving->put_Mode(INTERLEAVE_FULL), S_OK);
  interleaving->Release();

  IConfigAviMux* config = nullptr;
  ASSERT_EQ(g.mux->QueryInterface(IID_IConfigAviMux, reinterpret_cast<void**>(&config)), S_OK);
  LONG master = 0;
  EXPECT_EQ(config->GetMasterStream(&master), S_OK);
  EXPECT_EQ(master, -1);
  EXPECT_EQ(config->SetMasterStream(0), E_INVALIDARG);  // no input connected
  BOOL compat = FALSE;
  EXPECT_EQ(config->GetOutputCompatibilityIndex(&compat), S_OK);
  EXPECT_TRUE(compat);
  EXPECT_EQ(config->GetOutputCompatibilityIndex(nullptr), E_POINTER);
  config->Release();

  IMediaSeeking* seeking = nullptr;
  ASSERT_EQ(g.mux->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)), S_OK);
  DWORD caps = 0;
  EXPECT_EQ(seeking->GetCapabilities(&caps), S_OK);
  EXPECT_EQ(caps, static_cast<DWORD>(AM_SEEKING_CanGetCurrentPos | AM_SEEKING_CanGetDuration));
  EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_BYTE), S_OK);
  EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_FRAME), S_FALSE);
  EXPECT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_SAMPLE), E_INVALIDARG);
  EXPECT_EQ(seeking->IsUsingTimeFormat(&TIME_FORMAT_BYTE), S_OK);
  LONGLONG value = -1;
  EXPECT_EQ(seeking->GetDuration(&value), S_OK);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(seeking->GetCurrentPosition(&value), S_OK);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(seeking->GetStopPosition(&value), E_NOTIMPL);
  seeking->Release();
}

TEST_F(AviMuxFilterTest, EachConnectionAddsTheNextFreeInput) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  TestPushSource* a = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(AudioType(PcmFormat(1, 8000, 16)), 1600, L"a", &a));
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, kFrame), 192, L"v", &v));
  ASSERT_EQ(g.ConnectSourceToMux(a), S_OK);
  EXPECT_EQ(PinIds(g.mux), (std::vector<std::wstring>{L"AVI Out", L"Input 01", L"Input 02"}));
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  EXPECT_EQ(PinIds(g.mux), (std::vector<std::wstring>{L"AVI Out", L"Input 01", L"Input 02", L"Input 03"}));
}

TEST_F(AviMuxFilterTest, UnconnectedFilterPausesAndRuns) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  EXPECT_EQ(g.mux->Pause(), S_OK);
  EXPECT_EQ(g.mux->Run(0), S_OK);
  EXPECT_EQ(g.mux->Stop(), S_OK);
}

TEST_F(AviMuxFilterTest, VideoOnlyRecordingInputsBeforeOutput) {
  MuxGraph g;
  const std::size_t size = DibSize(64, 48, 24);
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.StartVideoRecording(VideoType(64, 48, 24, BI_RGB, kFrame), static_cast<long>(size), file_, &v));
  std::vector<std::uint8_t> bytes = PushFrames(v, {0, 1, 2, 3, 4, 5, 6, 7}, size);
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(g.sink->m_nCommits, 1);

  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name,width,height,r_frame_rate,nb_frames -of csv=p=0", file_),
            "rawvideo,64,48,25/1,8\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 8u);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(packets[i].pts, i);
  EXPECT_EQ(StreamBytes(file_, "v:0"), bytes);
}

TEST_F(AviMuxFilterTest, AudioConnectedFirstIsStreamZeroOutputBeforeInputs) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  const std::size_t frameSize = DibSize(32, 24, 32);
  TestPushSource* a = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(AudioType(ExtensiblePcmFormat(2, 48000, 24)), 6 * 1920, L"a", &a));
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(32, 24, 32, BI_RGB, kFrame), static_cast<long>(frameSize), L"v", &v));
  ASSERT_EQ(g.ConnectSourceToMux(a), S_OK);
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.control->Run(), S_OK);
  std::vector<std::uint8_t> audio, video;
  for (int i = 0; i < 5; ++i) {
    std::vector<std::uint8_t> pcm = Pattern(6 * 1920, 50 + i);
    REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
    ASSERT_EQ(a->Push(pcm.data(), static_cast<long>(pcm.size()), &start, &stop), S_OK);
    audio.insert(audio.end(), pcm.begin(), pcm.end());
    std::vector<std::uint8_t> part = PushFrames(v, {i}, frameSize);
    video.insert(video.end(), part.begin(), part.end());
  }
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(Ffprobe("-show_entries stream=index,codec_type,codec_name -of csv=p=0", file_),
            "0,pcm_s24le,audio\n1,rawvideo,video\n");
  EXPECT_EQ(StreamBytes(file_, "a:0"), audio);
  EXPECT_EQ(StreamBytes(file_, "v:0"), video);
}

TEST_F(AviMuxFilterTest, TimeStampGapsBecomeEmptySlots) {
  MuxGraph g;
  const std::size_t size = DibSize(16, 16, 8);
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.StartVideoRecording(VideoType(16, 16, 8, BI_RGB, kFrame), static_cast<long>(size), file_, &v));
  std::vector<std::uint8_t> bytes = PushFrames(v, {0, 1, 4, 5, 9}, size);
  ASSERT_EQ(g.control->Stop(), S_OK);

  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name,pix_fmt,nb_frames -of csv=p=0", file_), "rawvideo,pal8,10\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 5u);
  const long long pts[] = {0, 1, 4, 5, 9};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(packets[i].pts, pts[i]);
    EXPECT_EQ(packets[i].size, static_cast<long long>(size));
  }
  EXPECT_EQ(StreamBytes(file_, "v:0"), bytes);
}

TEST_F(AviMuxFilterTest, MediaTimesNumberTheSlotsWhenSamplesCarryThem) {
  MuxGraph g;
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.StartVideoRecording(VideoType(8, 8, 24, BI_RGB, kFrame), 192, file_, &v));
  std::vector<std::uint8_t> frame = Pattern(192, 0);
  // Time stamps without gaps, frame numbers with one: the frame numbers win.
  const LONGLONG numbers[] = {0, 1, 3};
  for (int i = 0; i < 3; ++i) {
    REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
    ASSERT_EQ(v->Push(frame.data(), 192, &start, &stop, true, &numbers[i]), S_OK);
  }
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", file_), "4\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_EQ(packets[2].pts, 3);
}

TEST_F(AviMuxFilterTest, TemporallyCompressedVideoKeepsSyncPoints) {
  MuxGraph g;
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.StartVideoRecording(VideoType(16, 16, 8, BI_RLE8, kFrame, true), 1024, file_, &v));
  std::vector<std::uint8_t> data = Pattern(300, 1);
  for (int i = 0; i < 4; ++i) {
    REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
    ASSERT_EQ(v->Push(data.data(), 300, &start, &stop, i == 0 || i == 3), S_OK);
  }
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name -of csv=p=0", file_), "msrle\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_TRUE(packets[0].key);
  EXPECT_FALSE(packets[1].key);
  EXPECT_FALSE(packets[2].key);
  EXPECT_TRUE(packets[3].key);
}

TEST_F(AviMuxFilterTest, ReceiveAfterStopIsRefused) {
  MuxGraph g;
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.StartVideoRecording(VideoType(8, 8, 24, BI_RGB, kFrame), 192, file_, &v));
  IMediaSample* sample = nullptr;
  IMemAllocator* allocator = nullptr;
  IPin* in = g.MuxPin(L"Input 01");
  ASSERT_NE(in, nullptr);
  IMemInputPin* mem = nullptr;
  in->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&mem));
  ASSERT_EQ(mem->GetAllocator(&allocator), S_OK);
  ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  sample->SetActualDataLength(192);
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(mem->Receive(sample), VFW_E_WRONG_STATE);
  sample->Release();
  allocator->Release();
  mem->Release();
  in->Release();
  // A complete file with an empty video stream.
  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name,width -of csv=p=0", file_), "rawvideo,8\n");
  EXPECT_TRUE(Packets(file_, "v:0").empty());
}

TEST_F(AviMuxFilterTest, StopWhileTheSourceDeliversLeavesACompleteFile) {
  MuxGraph g;
  const std::size_t size = DibSize(160, 120, 24);
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.StartVideoRecording(VideoType(160, 120, 24, BI_RGB, kFrame), static_cast<long>(size), file_, &v));
  std::atomic<int> accepted{0};
  std::atomic<bool> refused{false};
  HRESULT lastRefusal = S_OK;
  std::thread pusher([&] {
    std::vector<std::uint8_t> frame = Pattern(size, 3);
    for (int i = 0; i < 100000; ++i) {
      REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
      HRESULT hr = v->Push(frame.data(), static_cast<long>(size), &start, &stop);
      if (hr != S_OK) {
        lastRefusal = hr;
        refused = true;
        return;
      }
      ++accepted;
    }
  });
  while (accepted < 20) Sleep(1);
  EXPECT_EQ(g.control->Stop(), S_OK);
  pusher.join();
  EXPECT_TRUE(refused);
  EXPECT_TRUE(FAILED(lastRefusal));
  EXPECT_EQ(g.sink->m_nCommits, 1);
  // Every sample the mux accepted is in the file.
  EXPECT_EQ(Ffprobe("-count_packets -show_entries stream=nb_frames,nb_read_packets -of csv=p=0", file_),
            std::to_string(accepted.load()) + "," + std::to_string(accepted.load()) + "\n");
}

TEST_F(AviMuxFilterTest, StopWaitsForTheReceiveInProgress) {
  MuxGraph g;
  const std::size_t size = DibSize(640, 480, 32);  // large: written straight from the sample
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.StartVideoRecording(VideoType(640, 480, 32, BI_RGB, kFrame), static_cast<long>(size), file_, &v));
  PushFrames(v, {0}, size);
  g.sink->m_nNextWriteDelayMs = 500;
  HRESULT pushed = E_FAIL;
  std::thread pusher([&] {
    std::vector<std::uint8_t> frame = Pattern(size, 1);
    REFERENCE_TIME start = kFrame, stop = 2 * kFrame;
    pushed = v->Push(frame.data(), static_cast<long>(size), &start, &stop);
  });
  ASSERT_EQ(WaitForSingleObject(g.sink->m_hWriteStarted, 5000), WAIT_OBJECT_0);
  DWORD before = GetTickCount();
  EXPECT_EQ(g.control->Stop(), S_OK);
  DWORD took = GetTickCount() - before;
  pusher.join();
  EXPECT_EQ(pushed, S_OK);
  EXPECT_GE(took, 300u);
  // Both frames, the second one delivered while the graph stopped, are in the file.
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 2u);
  EXPECT_EQ(packets[1].pts, 1);
  std::vector<std::uint8_t> expected = Pattern(size, 0), second = Pattern(size, 1);
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(StreamBytes(file_, "v:0"), expected);
}

TEST_F(AviMuxFilterTest, TwoStreamsDeliveringFromTwoThreadsUntilStop) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  const std::size_t size = DibSize(64, 48, 24);
  TestPushSource* a = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(AudioType(PcmFormat(2, 48000, 16)), 7680, L"a", &a));
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(64, 48, 24, BI_RGB, kFrame), static_cast<long>(size), L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  ASSERT_EQ(g.ConnectSourceToMux(a), S_OK);
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.control->Run(), S_OK);
  std::atomic<int> accepted[2] = {{0}, {0}};
  auto pump = [&](TestPushSource* source, std::size_t bytes, std::atomic<int>* count) {
    std::vector<std::uint8_t> data = Pattern(bytes, 9);
    for (int i = 0;; ++i) {
      REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
      if (source->Push(data.data(), static_cast<long>(bytes), &start, &stop) != S_OK) return;
      ++*count;
    }
  };
  std::thread audio(pump, a, 7680, &accepted[0]);
  std::thread video(pump, v, size, &accepted[1]);
  while (accepted[0] < 50 || accepted[1] < 50) Sleep(1);
  EXPECT_EQ(g.control->Stop(), S_OK);
  audio.join();
  video.join();
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", file_),
            std::to_string(accepted[0] * 1920) + "\n" + std::to_string(accepted[1].load()) + "\n");
  EXPECT_EQ(Packets(file_, "v:0").size(), static_cast<std::size_t>(accepted[1].load()));
  EXPECT_EQ(StreamBytes(file_, "a:0").size(), static_cast<std::size_t>(accepted[0] * 7680));
}

TEST_F(AviMuxFilterTest, PeerWithoutIStreamFailsTheStart) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, kFrame), 192, L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_, false));
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  // Wine's graph manager does not pass a filter's Run failure on (Windows'
  // does), so the mux's own Run is asserted, and the event the graph gets.
  EXPECT_EQ(g.mux->Run(0), E_NOINTERFACE);
  EXPECT_EQ(g.mux->Stop(), S_OK);
  g.control->Run();
  EXPECT_EQ(g.FirstErrorAbort(2000), E_NOINTERFACE);
  // Samples are refused with the same reason, and the graph stops normally.
  std::vector<std::uint8_t> frame = Pattern(192, 0);
  REFERENCE_TIME start = 0, stop = kFrame;
  EXPECT_EQ(v->Push(frame.data(), 192, &start, &stop), E_NOINTERFACE);
  EXPECT_EQ(g.control->Stop(), S_OK);
  FILTER_STATE state = State_Running;
  EXPECT_EQ(g.mux->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Stopped);
}

TEST_F(AviMuxFilterTest, HeaderThatCannotBeWrittenFailsTheStartOnce) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, kFrame), 192, L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
  g.sink->m_nByteBudget = 0;
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  g.control->Run();  // Wine's graph manager does not pass the mux's failure on
  std::vector<std::uint8_t> frame = Pattern(192, 0);
  REFERENCE_TIME start = 0, stop = kFrame;
  EXPECT_EQ(v->Push(frame.data(), 192, &start, &stop), STG_E_MEDIUMFULL);
  g.control->Pause();
  g.control->Run();
  long code = 0;
  LONG_PTR param = 0;
  int aborts = 0;
  while (g.NextEvent(&code, &param, 1000)) {
    if (code == EC_ERRORABORT) {
      ++aborts;
      EXPECT_EQ(static_cast<HRESULT>(param), STG_E_MEDIUMFULL);
    }
  }
  EXPECT_EQ(aborts, 1);
  EXPECT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(g.mux->Run(0), STG_E_MEDIUMFULL);  // the filter's own answer
  EXPECT_EQ(g.mux->Stop(), S_OK);
}

// A write that fails, on the thread that met it: Receive's own (small
// samples) or the mux's writer thread (large ones).
void ExpectWriteFailureGoesUpstreamAndAsErrorAbort(const std::wstring& file, int width, int height, int bits) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  const std::size_t size = DibSize(width, height, bits);
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(
      g.AddSource(VideoType(width, height, bits, BI_RGB, kFrame), static_cast<long>(size), L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file));
  g.sink->m_nByteBudget = 3 * 1024 * 1024;
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  ASSERT_EQ(g.control->Run(), S_OK);
  std::vector<std::uint8_t> frame = Pattern(size, 0);
  HRESULT hr = S_OK;
  int i = 0;
  for (; i < 100 && hr == S_OK; ++i) {
    REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
    hr = v->Push(frame.data(), static_cast<long>(size), &start, &stop);
  }
  EXPECT_EQ(hr, STG_E_MEDIUMFULL);
  EXPECT_LT(i, 20);
  REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
  EXPECT_EQ(v->Push(frame.data(), static_cast<long>(size), &start, &stop), STG_E_MEDIUMFULL);
  long code = 0;
  LONG_PTR param = 0;
  bool sawAbort = false;
  while (g.NextEvent(&code, &param, 2000)) {
    if (code == EC_ERRORABORT) {
      sawAbort = true;
      EXPECT_EQ(static_cast<HRESULT>(param), STG_E_MEDIUMFULL);
    }
  }
  EXPECT_TRUE(sawAbort);
  EXPECT_EQ(g.control->Stop(), STG_E_MEDIUMFULL);
}

TEST_F(AviMuxFilterTest, WriteFailureOfSmallSamplesGoesUpstreamAndAsErrorAbort) {
  ExpectWriteFailureGoesUpstreamAndAsErrorAbort(file_, 320, 240, 24);
}

TEST_F(AviMuxFilterTest, WriteFailureOfLargeSamplesGoesUpstreamAndAsErrorAbort) {
  ExpectWriteFailureGoesUpstreamAndAsErrorAbort(file_, 640, 480, 32);
}

TEST_F(AviMuxFilterTest, StreamNameComesFromTheInputPropertyBag) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, kFrame), 192, L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  IPin* in = g.MuxPin(L"Input 01");
  ASSERT_NE(in, nullptr);
  IPropertyBag* bag = nullptr;
  ASSERT_EQ(in->QueryInterface(IID_IPropertyBag, reinterpret_cast<void**>(&bag)), S_OK);
  VARIANT name;
  V_VT(&name) = VT_BSTR;
  V_BSTR(&name) = SysAllocString(L"Camera 1");
  EXPECT_EQ(bag->Write(L"name", &name), S_OK);
  ASSERT_EQ(g.control->Run(), S_OK);
  EXPECT_EQ(bag->Write(L"name", &name), VFW_E_WRONG_STATE);
  PushFrames(v, {0, 1}, 192);
  ASSERT_EQ(g.control->Stop(), S_OK);
  VariantClear(&name);
  VARIANT read;
  VariantInit(&read);
  EXPECT_EQ(bag->Read(L"name", &read, nullptr), S_OK);
  EXPECT_EQ(std::wstring(V_BSTR(&read)), L"Camera 1");
  VariantClear(&read);
  bag->Release();
  in->Release();
  EXPECT_EQ(Ffprobe("-show_entries stream_tags=title -of csv=p=0", file_), "Camera 1\n");
}

TEST_F(AviMuxFilterTest, FrameRateFromTheFirstSampleWhenTheFormatHasNone) {
  MuxGraph g;
  const REFERENCE_TIME tenth = 1000000;
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.StartVideoRecording(VideoType(8, 8, 24, BI_RGB, 0), 192, file_, &v));
  std::vector<std::uint8_t> frame = Pattern(192, 0);
  for (int slot : {0, 1, 3}) {
    REFERENCE_TIME start = slot * tenth, stop = start + tenth;
    ASSERT_EQ(v->Push(frame.data(), 192, &start, &stop), S_OK);
  }
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(Ffprobe("-show_entries stream=r_frame_rate,nb_frames -of csv=p=0", file_), "10/1,4\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_EQ(packets[2].pts, 3);
}

TEST_F(AviMuxFilterTest, EndOfStreamGoesDownstreamOnceEveryInputHasEnded) {
  MuxGraph g;
  ASSERT_NO_FATAL_FAILURE(g.Build());
  TestPushSource* a = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(AudioType(PcmFormat(1, 8000, 16)), 1600, L"a", &a));
  TestPushSource* v = nullptr;
  ASSERT_NO_FATAL_FAILURE(g.AddSource(VideoType(8, 8, 24, BI_RGB, kFrame), 192, L"v", &v));
  ASSERT_NO_FATAL_FAILURE(g.AddSink(file_));
  ASSERT_EQ(g.ConnectSourceToMux(a), S_OK);
  ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
  ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
  ASSERT_EQ(g.control->Run(), S_OK);
  PushFrames(v, {0}, 192);
  EXPECT_EQ(v->PushEndOfStream(), S_OK);
  EXPECT_EQ(g.sink->m_nEndOfStreams, 0);
  EXPECT_EQ(a->PushEndOfStream(), S_OK);
  EXPECT_EQ(g.sink->m_nEndOfStreams, 1);
  // The stream has ended: more samples are refused.
  std::vector<std::uint8_t> frame = Pattern(192, 0);
  REFERENCE_TIME start = kFrame, stop = 2 * kFrame;
  EXPECT_EQ(v->Push(frame.data(), 192, &start, &stop), VFW_E_SAMPLE_REJECTED_EOS);
  ASSERT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -select_streams v -of csv=p=0", file_), "1\n");
}

}  // namespace
