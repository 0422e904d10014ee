// The AVI Mux and the File Writer as the registered platform pack serves them
// (CoCreateInstance, as the DLL creates them), connected the way the DLL
// connects them: audio to the mux first, then video, then the mux output to
// the writer, and the file name set last.
#include <gtest/gtest.h>
#include <windows.h>
#include <control.h>
#include <uuids.h>

#include <string>
#include <vector>

#include "Formats.h"
#include "Probe.h"
#include "TestPushSource.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

constexpr REFERENCE_TIME kFrame = 333333;  // 30 frames per second

IPin* FirstFreePin(IBaseFilter* filter, PIN_DIRECTION wanted) {
  IEnumPins* pins = nullptr;
  filter->EnumPins(&pins);
  IPin* pin = nullptr;
  IPin* found = nullptr;
  while (!found && pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION dir;
    pin->QueryDirection(&dir);
    IPin* peer = nullptr;
    if (dir == wanted && pin->ConnectedTo(&peer) == VFW_E_NOT_CONNECTED) found = pin;
    else pin->Release();
    if (peer) peer->Release();
  }
  pins->Release();
  return found;
}

HRESULT Link(IGraphBuilder* graph, IPin* out, IPin* in) {
  HRESULT hr = graph->ConnectDirect(out, in, nullptr);
  return SUCCEEDED(hr) ? hr : graph->Connect(out, in);
}

class PackRecordingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    dir_ = tavtest::MakeTempDir();
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                               reinterpret_cast<void**>(&graph_)),
              S_OK);
    graph_->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control_));
    ASSERT_EQ(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                               reinterpret_cast<void**>(&mux_)),
              S_OK);
    ASSERT_EQ(CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                               reinterpret_cast<void**>(&writer_)),
              S_OK);
  }
  void TearDown() override {
    if (control_) {
      control_->Stop();
      control_->Release();
    }
    if (graph_) graph_->Release();
    if (mux_) mux_->Release();
    if (writer_) writer_->Release();
    if (audio_) audio_->Release();
    if (video_) video_->Release();
    CoUninitialize();
  }

  // Builds source(s) -> mux -> writer like the DLL does.
  void Build(const std::wstring& file, bool withAudio, int width, int height, int bits) {
    frameSize_ = DibSize(width, height, bits);
    video_ = TestPushSource::Create(VideoType(width, height, bits, BI_RGB, kFrame), static_cast<long>(frameSize_));
    ASSERT_EQ(graph_->AddFilter(video_, L"RAW Data Filter"), S_OK);
    ASSERT_EQ(graph_->AddFilter(mux_, L"AVI Mux"), S_OK);
    if (withAudio) {
      audio_ = TestPushSource::Create(AudioType(PcmFormat(2, 44100, 16)), 4 * 1470);
      ASSERT_EQ(graph_->AddFilter(audio_, L"Audio Source Filter"), S_OK);
      IPin* in = FirstFreePin(mux_, PINDIR_INPUT);
      ASSERT_EQ(Link(graph_, audio_->OutputPin(), in), S_OK);
      in->Release();
    }
    IPin* in = FirstFreePin(mux_, PINDIR_INPUT);
    ASSERT_EQ(Link(graph_, video_->OutputPin(), in), S_OK);
    in->Release();
    IPin* out = FirstFreePin(mux_, PINDIR_OUTPUT);
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(graph_->AddFilter(writer_, L"File Writer"), S_OK);
    IPin* writerIn = FirstFreePin(writer_, PINDIR_INPUT);
    EXPECT_EQ(Link(graph_, out, writerIn), S_OK);
    out->Release();
    writerIn->Release();
    IFileSinkFilter* sink = nullptr;
    ASSERT_EQ(writer_->QueryInterface(IID_IFileSinkFilter, reinterpret_cast<void**>(&sink)), S_OK);
    ASSERT_EQ(sink->SetFileName(file.c_str(), nullptr), S_OK);
    sink->Release();
  }

  // One recording of `frames` frames (and audio blocks); returns the bytes pushed.
  void Record(int frames, std::vector<std::uint8_t>* audio, std::vector<std::uint8_t>* video) {
    ASSERT_EQ(control_->Run(), S_OK);
    for (int i = 0; i < frames; ++i) {
      REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
      if (audio_) {
        std::vector<std::uint8_t> pcm(4 * 1470);
        for (std::size_t k = 0; k < pcm.size(); ++k) pcm[k] = static_cast<std::uint8_t>(k + 5 * i);
        ASSERT_EQ(audio_->Push(pcm.data(), static_cast<long>(pcm.size()), &start, &stop), S_OK);
        audio->insert(audio->end(), pcm.begin(), pcm.end());
      }
      std::vector<std::uint8_t> frame(frameSize_);
      for (std::size_t k = 0; k < frame.size(); ++k) frame[k] = static_cast<std::uint8_t>(k * 7 + i);
      ASSERT_EQ(video_->Push(frame.data(), static_cast<long>(frame.size()), &start, &stop), S_OK);
      video->insert(video->end(), frame.begin(), frame.end());
    }
    ASSERT_EQ(control_->Stop(), S_OK);
  }

  std::wstring dir_;
  IGraphBuilder* graph_ = nullptr;
  IMediaControl* control_ = nullptr;
  IBaseFilter* mux_ = nullptr;
  IBaseFilter* writer_ = nullptr;
  TestPushSource* audio_ = nullptr;
  TestPushSource* video_ = nullptr;
  std::size_t frameSize_ = 0;
};

TEST_F(PackRecordingTest, TheRegisteredMuxIsThePacksOne) {
  IConfigInterleaving* interleaving = nullptr;
  ASSERT_EQ(mux_->QueryInterface(IID_IConfigInterleaving, reinterpret_cast<void**>(&interleaving)), S_OK);
  InterleavingMode mode = INTERLEAVE_NONE;
  EXPECT_EQ(interleaving->get_Mode(&mode), S_OK);
  EXPECT_EQ(mode, INTERLEAVE_CAPTURE);
  interleaving->Release();
}

TEST_F(PackRecordingTest, AudioAndVideoThroughTheFileWriter) {
  std::wstring file = dir_ + L"av.avi";
  ASSERT_NO_FATAL_FAILURE(Build(file, true, 641, 11, 24));
  std::vector<std::uint8_t> audio, video;
  ASSERT_NO_FATAL_FAILURE(Record(12, &audio, &video));
  EXPECT_EQ(Ffprobe("-show_entries stream=index,codec_name,width,height,r_frame_rate,nb_frames -of csv=p=0", file),
            "0,pcm_s16le,0/0,17640\n1,rawvideo,641,11,10000000/333333,12\n");
  EXPECT_EQ(StreamBytes(file, "a:0"), audio);
  EXPECT_EQ(StreamBytes(file, "v:0"), video);
}

TEST_F(PackRecordingTest, TheSameGraphRecordsASecondFile) {
  std::wstring first = dir_ + L"first.avi", second = dir_ + L"second.avi";
  ASSERT_NO_FATAL_FAILURE(Build(first, false, 32, 32, 32));
  std::vector<std::uint8_t> audio, video1, video2;
  ASSERT_NO_FATAL_FAILURE(Record(3, &audio, &video1));
  IFileSinkFilter* sink = nullptr;
  ASSERT_EQ(writer_->QueryInterface(IID_IFileSinkFilter, reinterpret_cast<void**>(&sink)), S_OK);
  ASSERT_EQ(sink->SetFileName(second.c_str(), nullptr), S_OK);
  sink->Release();
  ASSERT_NO_FATAL_FAILURE(Record(5, &audio, &video2));
  EXPECT_EQ(StreamBytes(first, "v:0"), video1);
  EXPECT_EQ(StreamBytes(second, "v:0"), video2);
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", second), "5\n");
}

}  // namespace
