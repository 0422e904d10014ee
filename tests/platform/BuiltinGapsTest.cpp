// Why the platform pack exists: with Wine's own AVI Mux, File Writer and
// device enumerator (this program runs in a prefix where the pack is never
// registered), a recording graph built the way the movie writer builds it
// cannot run. Each test pins down one measured gap.

#include "framework/MediaType.h"
#include "tests/common/UnixTools.h"
#include "tests/platform/GraphTestHelpers.h"
#include "tests/platform/PcmAudioInput.h"
#include "tests/platform/RawVideoInput.h"

#include <dshow.h>
#include <gtest/gtest.h>
#include <uuids.h>

#include <memory>

using namespace platformtest;

namespace {

// ConnectDirect first, Connect when that fails: the movie writer's "link".
HRESULT Link(IGraphBuilder* graph, IPin* out, IPin* in) {
  const HRESULT hr = graph->ConnectDirect(out, in, nullptr);
  return SUCCEEDED(hr) ? hr : graph->Connect(out, in);
}

class BuiltinGapsTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(CreateMuxWriterGraph(graph, control, mux, writer)); }
  void TearDown() override {
    // After a failed Run, Wine's graph still counts as stopped while some
    // filters are paused: Pause then Stop reaches them all again, so the
    // graph can be released.
    // The sources' pins wait for the host's next frame: end their streams
    // first, as the movie writer does before it stops.
    if (video) video->End();
    if (audio) audio->End();
    if (control) {
      control->Pause();
      control->Stop();
    }
  }

  // "AVI Mux" output -> "File Writer" input, then the file name, as the
  // movie writer finishes its graph.
  void AddWriterAndName() {
    ASSERT_EQ(graph->AddFilter(writer.Get(), L"File Writer"), S_OK);
    Ref<IPin> muxOut(FindPin(mux.Get(), PINDIR_OUTPUT));
    Ref<IPin> writerIn(FindPin(writer.Get(), PINDIR_INPUT));
    EXPECT_EQ(Link(graph.Get(), muxOut.Get(), writerIn.Get()), S_OK);
    Ref<IFileSinkFilter> sink;
    ASSERT_EQ(writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid()), S_OK);
    ASSERT_EQ(sink->SetFileName((dir + L"movie.avi").c_str(), nullptr), S_OK);
  }

  ComScope com;
  std::wstring dir = tavtest::MakeTempDir();
  Ref<IGraphBuilder> graph;
  Ref<IMediaControl> control;
  Ref<IBaseFilter> mux;
  Ref<IBaseFilter> writer;
  std::unique_ptr<RawVideoInput> video;
  std::unique_ptr<PcmAudioInput> audio;
};

}  // namespace

TEST_F(BuiltinGapsTest, DefaultInterleavingMakesRunFailWithNotImplemented) {
  video.reset(new RawVideoInput(0, 64, 48, 25.0));
  ASSERT_EQ(video->InitResult(), S_OK);
  ASSERT_EQ(graph->AddFilter(video->Filter(), L"RAW Data Filter"), S_OK);
  ASSERT_EQ(graph->AddFilter(mux.Get(), L"AVI Mux"), S_OK);
  // The output goes first: in the movie writer's own order (inputs first)
  // connecting the output makes Wine's mux reconnect its inputs, and the
  // process faults in the input pin's GetAllocator (a null allocator).
  AddWriterAndName();
  Ref<IPin> muxIn(FindPin(mux.Get(), PINDIR_INPUT));
  ASSERT_EQ(Link(graph.Get(), video->OutputPin(), muxIn.Get()), S_OK);

  EXPECT_EQ(control->Run(), E_NOTIMPL);
}

TEST_F(BuiltinGapsTest, PcmAudioInputConnectionFailsWithNotImplemented) {
  audio.reset(new PcmAudioInput(16, 10));
  ASSERT_EQ(audio->InitResult(), S_OK);
  ASSERT_EQ(graph->AddFilter(mux.Get(), L"AVI Mux"), S_OK);
  ASSERT_EQ(graph->AddFilter(audio->Filter(), L"Audio Source Filter"), S_OK);
  Ref<IPin> muxIn(FindPin(mux.Get(), PINDIR_INPUT));
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(audio->MediaType(&type), S_OK);
  ASSERT_TRUE(IsEqualGUID(type->formattype, FORMAT_WaveFormatEx));
  EXPECT_EQ(muxIn->QueryAccept(type), S_OK) << "the type passes QueryAccept";
  EXPECT_EQ(muxIn->ReceiveConnection(audio->OutputPin(), type), E_NOTIMPL) << "but the connection is refused";
  DeleteMediaType(type);
  EXPECT_TRUE(FAILED(Link(graph.Get(), audio->OutputPin(), muxIn.Get())));
  IPin* peer = nullptr;
  EXPECT_EQ(muxIn->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
}

TEST_F(BuiltinGapsTest, FileWriterPinHasNoIStreamSoFullInterleavingFailsToo) {
  Ref<IPin> writerIn(FindPin(writer.Get(), PINDIR_INPUT));
  Ref<IUnknown> unknown;
  EXPECT_EQ(writerIn->QueryInterface(IID_IStream, unknown.OutVoid()), E_NOINTERFACE);
  EXPECT_EQ(writer->QueryInterface(IID_IFileSinkFilter2, unknown.OutVoid()), E_NOINTERFACE);

  // Even in the one mode Wine's mux streams in, it needs the writer's IStream.
  video.reset(new RawVideoInput(0, 64, 48, 25.0));
  ASSERT_EQ(video->InitResult(), S_OK);
  ASSERT_EQ(graph->AddFilter(video->Filter(), L"RAW Data Filter"), S_OK);
  ASSERT_EQ(graph->AddFilter(mux.Get(), L"AVI Mux"), S_OK);
  // Set before anything connects: Wine's mux reconnects its inputs on a
  // mode change, and a reconnected input faults in GetAllocator.
  Ref<IConfigInterleaving> interleaving;
  ASSERT_EQ(mux->QueryInterface(IID_IConfigInterleaving, interleaving.OutVoid()), S_OK);
  ASSERT_EQ(interleaving->put_Mode(INTERLEAVE_FULL), S_OK);
  // The output goes first: in the movie writer's own order (inputs first)
  // connecting the output makes Wine's mux reconnect its inputs, and the
  // process faults in the input pin's GetAllocator (a null allocator).
  AddWriterAndName();
  Ref<IPin> muxIn(FindPin(mux.Get(), PINDIR_INPUT));
  ASSERT_EQ(Link(graph.Get(), video->OutputPin(), muxIn.Get()), S_OK);
  EXPECT_EQ(control->Run(), E_NOINTERFACE);
}

TEST_F(BuiltinGapsTest, AudioCompressorCategoryIsEmpty) {
  Ref<ICreateDevEnum> devices;
  ASSERT_EQ(
      CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum, devices.OutVoid()),
      S_OK);
  IEnumMoniker* monikers = reinterpret_cast<IEnumMoniker*>(1);
  EXPECT_EQ(devices->CreateClassEnumerator(CLSID_AudioCompressorCategory, &monikers, 0), S_FALSE);
  EXPECT_EQ(monikers, nullptr);
}
