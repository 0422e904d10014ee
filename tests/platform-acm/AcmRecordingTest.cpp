// The compressors in a recording graph built as the movie writer builds it:
// the project's audio source (48 kHz stereo, fed through IAudio and its
// hand-over events) -> an audio compressor bound from the category ->
// the pack's AVI Mux -> the pack's File Writer, read back with ffprobe.
#include "tests/common/UnixTools.h"
#include "tests/platform-acm/AcmTestSupport.h"
#include "tests/platform-acm/TestPcmSource.h"
#include "tests/platform/GraphTestHelpers.h"
#include "tests/platform/PcmAudioInput.h"
#include "wine/acm/WaveMediaType.h"

#include <dshow.h>
#include <gtest/gtest.h>
#include <uuids.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace platformtest;

namespace {

// ConnectDirect first, Connect when that fails: the movie writer's "link".
HRESULT Link(IGraphBuilder* graph, IPin* out, IPin* in) {
  const HRESULT hr = graph->ConnectDirect(out, in, nullptr);
  return SUCCEEDED(hr) ? hr : graph->Connect(out, in);
}

// Binds the category entry with this friendly name; null when there is none.
IBaseFilter* BindCompressor(const std::wstring& name) {
  Ref<ICreateDevEnum> devices;
  if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                              devices.OutVoid())))
    return nullptr;
  Ref<IEnumMoniker> monikers;
  if (devices->CreateClassEnumerator(CLSID_AudioCompressorCategory, monikers.Out(), 0) != S_OK) return nullptr;
  IBaseFilter* filter = nullptr;
  Ref<IMoniker> moniker;
  while (filter == nullptr && monikers->Next(1, moniker.Out(), nullptr) == S_OK) {
    Ref<IPropertyBag> bag;
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.OutVoid()))) continue;
    VARIANT value;
    VariantInit(&value);
    if (SUCCEEDED(bag->Read(L"FriendlyName", &value, nullptr)) && V_VT(&value) == VT_BSTR && name == V_BSTR(&value))
      moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter));
    VariantClear(&value);
  }
  return filter;
}

class AcmRecording : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(CreateMuxWriterGraph(graph, control, mux, writer)); }
  void TearDown() override {
    if (audio) audio->End();
    if (control) control->Stop();
  }

  // Source -> compressor -> mux, then the picked format (when given) set
  // on the compressor's output, then mux -> writer and the file name.
  HRESULT Build(int bitsPerSample, const std::wstring& compressorName, const std::vector<BYTE>& picked) {
    audio.reset(new PcmAudioInput(bitsPerSample, 10));
    compressor.Reset();
    *compressor.Out() = BindCompressor(compressorName);
    if (!compressor) return E_NOINTERFACE;
    graph->AddFilter(audio->Filter(), L"Audio Source Filter");
    graph->AddFilter(compressor.Get(), L"Audio Compressor");
    graph->AddFilter(mux.Get(), L"AVI Mux");
    Ref<IPin> compressorIn(FindPin(compressor.Get(), PINDIR_INPUT));
    Ref<IPin> compressorOut(FindPin(compressor.Get(), PINDIR_OUTPUT));
    HRESULT hr = Link(graph.Get(), audio->OutputPin(), compressorIn.Get());
    if (FAILED(hr)) return hr;
    Ref<IPin> muxIn(FindPin(mux.Get(), PINDIR_INPUT));
    hr = Link(graph.Get(), compressorOut.Get(), muxIn.Get());
    if (FAILED(hr)) return hr;
    if (!picked.empty()) {
      Ref<IAMStreamConfig> config;
      compressorOut->QueryInterface(IID_IAMStreamConfig, config.OutVoid());
      CMediaType type;
      tavacm::MakeWaveMediaType(picked, &type);
      hr = config->SetFormat(&type);
      if (FAILED(hr)) return hr;
    }
    graph->AddFilter(writer.Get(), L"File Writer");
    Ref<IPin> muxOut(FindPin(mux.Get(), PINDIR_OUTPUT));
    Ref<IPin> writerIn(FindPin(writer.Get(), PINDIR_INPUT));
    hr = Link(graph.Get(), muxOut.Get(), writerIn.Get());
    if (FAILED(hr)) return hr;
    Ref<IFileSinkFilter> sink;
    writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid());
    return sink->SetFileName(file.c_str(), nullptr);
  }

  // Two seconds of 48 kHz stereo tone in blocks of 100 ms, then stop.
  HRESULT Record(int bitsPerSample) {
    HRESULT hr = control->Run();
    if (FAILED(hr)) return hr;
    const int bytesPerFrame = 2 * bitsPerSample / 8;
    block.assign(4800 * bytesPerFrame, 0);
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<BYTE>((i * 7) & 0x3F);
    for (unsigned i = 0; i < 20; ++i) {
      hr = audio->Push(block.data(), static_cast<int>(block.size()), i * 1000000ULL, ~0ULL);
      if (hr != S_OK) return hr;
    }
    audio->End();
    Ref<IMediaEvent> events;
    graph->QueryInterface(IID_IMediaEvent, events.OutVoid());
    EXPECT_TRUE(WaitForEvent(events.Get(), EC_COMPLETE, 3000)) << "no EC_COMPLETE";
    return control->Stop();
  }

  std::string ProbeStream() {
    return tavtest::RunUnixCommand(
               "ffprobe -v error -show_entries stream=codec_type,codec_name,sample_rate,"
               "channels,duration -of csv=p=0 " +
               tavtest::ShellQuote(tavtest::UnixPathOf(file)))
        .output;
  }

  // The audio stream's samples as ffmpeg decodes them, 16-bit.
  std::vector<BYTE> DecodedSamples() {
    const std::wstring raw = file + L".raw";
    tavtest::RunUnixCommand("ffmpeg -v error -i " + tavtest::ShellQuote(tavtest::UnixPathOf(file)) +
                            " -map 0:a -f s16le -y " + tavtest::ShellQuote(tavtest::UnixPathOf(raw)));
    const std::vector<char> bytes = ReadWholeFile(raw);
    return std::vector<BYTE>(bytes.begin(), bytes.end());
  }

  ComScope com;
  std::vector<BYTE> block;  // the block Record sent 20 times
  std::wstring file = tavtest::MakeTempDir() + L"audio.avi";
  Ref<IGraphBuilder> graph;
  Ref<IMediaControl> control;
  Ref<IBaseFilter> mux;
  Ref<IBaseFilter> writer;
  Ref<IBaseFilter> compressor;
  std::unique_ptr<PcmAudioInput> audio;
};

}  // namespace

TEST_F(AcmRecording, PcmCompressorKeepsTheSourceBytesByDefault) {
  ASSERT_EQ(Build(16, L"PCM", {}), S_OK);
  ASSERT_EQ(Record(16), S_OK);
  const std::string probe = ProbeStream();
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), "pcm_s16le,audio,48000,2") << probe;
  std::vector<BYTE> expected;
  for (int i = 0; i < 20; ++i) expected.insert(expected.end(), block.begin(), block.end());
  EXPECT_TRUE(DecodedSamples() == expected);
}

TEST_F(AcmRecording, PcmCompressorWithAPickedFormatRecords22050Mono) {
  // The format is set after the compressor is linked to the mux, as the
  // movie writer's compressor configuration does: the output reconnects.
  ASSERT_EQ(Build(16, L"PCM", acmtest::Pcm16Format(22050, 1)), S_OK);
  ASSERT_EQ(Record(16), S_OK);
  const std::string probe = ProbeStream();
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), "pcm_s16le,audio,22050,1") << probe;
  EXPECT_NEAR(std::stod(probe.substr(probe.rfind(',') + 1)), 2.0, 0.05) << probe;
}

TEST_F(AcmRecording, PcmCompressorTurns24BitExtensibleInto16BitByDefault) {
  ASSERT_EQ(Build(24, L"PCM", {}), S_OK);
  ASSERT_EQ(Record(24), S_OK);
  const std::string probe = ProbeStream();
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), "pcm_s16le,audio,48000,2") << probe;
  EXPECT_NEAR(std::stod(probe.substr(probe.rfind(',') + 1)), 2.0, 0.05) << probe;

  // Every sample keeps the upper 16 of its 24 bits.
  const std::vector<BYTE> decoded = DecodedSamples();
  ASSERT_EQ(decoded.size(), 20 * block.size() / 3 * 2);
  size_t differing = 0;
  for (size_t i = 0; i < decoded.size() / 2; ++i) {
    const size_t source = (i * 3) % block.size();
    const int expected = static_cast<short>(block[source + 1] | (block[source + 2] << 8));
    const int actual = static_cast<short>(decoded[2 * i] | (decoded[2 * i + 1] << 8));
    if (actual != expected) ++differing;
  }
  EXPECT_EQ(differing, 0u);
}

TEST_F(AcmRecording, ImaAdpcmRecordsThe48kHzSourceThroughThePcmConverter) {
  // Wine's IMA ADPCM codec has no 48 kHz: the chain converts to 44.1 kHz
  // first, from 24 bits through 16.
  ASSERT_EQ(Build(24, L"IMA ADPCM", {}), S_OK);
  ASSERT_EQ(Record(24), S_OK);
  const std::string probe = ProbeStream();
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), "adpcm_ima_wav,audio,44100,2") << probe;
  EXPECT_NEAR(std::stod(probe.substr(probe.rfind(',') + 1)), 2.0, 0.05) << probe;
}

namespace {

struct AviCase {
  const wchar_t* compressor;
  DWORD rate;
  WORD channels;
  const char* probed;  // codec, type, rate, channels as ffprobe lists them
};

// A test source (any rate) -> the named compressor -> the pack's mux and
// writer; two seconds in blocks of 100 ms. Returns ffprobe's stream line.
std::string RecordThroughAvi(const AviCase& c, const std::wstring& file) {
  Ref<IGraphBuilder> graph;
  CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid());
  Ref<IMediaControl> control;
  graph->QueryInterface(IID_IMediaControl, control.OutVoid());
  Ref<IBaseFilter> mux;
  CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, mux.OutVoid());
  Ref<IBaseFilter> writer;
  CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, writer.OutVoid());
  Ref<IBaseFilter> compressor(BindCompressor(c.compressor));
  if (!mux || !writer || !compressor) return "missing filter";
  const std::vector<BYTE> format = acmtest::Pcm16Format(c.rate, c.channels);
  auto* source = new acmtest::TestPcmSource(format);
  source->NonDelegatingAddRef();
  graph->AddFilter(source, L"Audio Source Filter");
  graph->AddFilter(compressor.Get(), L"Audio Compressor");
  graph->AddFilter(mux.Get(), L"AVI Mux");
  graph->AddFilter(writer.Get(), L"File Writer");
  Ref<IPin> compressorIn(FindPin(compressor.Get(), PINDIR_INPUT));
  Ref<IPin> compressorOut(FindPin(compressor.Get(), PINDIR_OUTPUT));
  Ref<IPin> muxIn(FindPin(mux.Get(), PINDIR_INPUT));
  Ref<IPin> muxOut(FindPin(mux.Get(), PINDIR_OUTPUT));
  Ref<IPin> writerIn(FindPin(writer.Get(), PINDIR_INPUT));
  Ref<IFileSinkFilter> sink;
  writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid());
  std::string result;
  if (Link(graph.Get(), source->OutputPin(), compressorIn.Get()) != S_OK ||
      Link(graph.Get(), compressorOut.Get(), muxIn.Get()) != S_OK ||
      Link(graph.Get(), muxOut.Get(), writerIn.Get()) != S_OK || sink->SetFileName(file.c_str(), nullptr) != S_OK ||
      control->Run() != S_OK) {
    result = "graph failed";
  } else {
    const std::vector<BYTE> tone = acmtest::Tone16(format, c.rate * 2);
    const size_t block = c.rate / 10 * acmtest::Header(format).nBlockAlign;
    const WORD align = acmtest::Header(format).nBlockAlign;
    for (size_t offset = 0; offset < tone.size(); offset += block) {
      const size_t size = std::min(block, tone.size() - offset);
      const REFERENCE_TIME start = static_cast<REFERENCE_TIME>(offset / align) * 10000000 / c.rate;
      const REFERENCE_TIME stop = static_cast<REFERENCE_TIME>((offset + size) / align) * 10000000 / c.rate;
      source->Send(tone.data() + offset, size, start, stop);
    }
    source->SendEndOfStream();
    control->Stop();
    result = tavtest::RunUnixCommand(
                 "ffprobe -v error -show_entries stream=codec_name,codec_type,sample_rate,"
                 "channels -of csv=p=0 " +
                 tavtest::ShellQuote(tavtest::UnixPathOf(file)))
                 .output;
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r')) result.pop_back();
  }
  control->Stop();
  graph->RemoveFilter(source);
  source->NonDelegatingRelease();
  return result;
}

}  // namespace

TEST(AcmAviRecording, EveryCodecThatEncodesLandsInTheAviAsItsOwnFormat) {
  ComScope com;
  const AviCase cases[] = {
      {L"IMA ADPCM", 44100, 2, "adpcm_ima_wav,audio,44100,2"},
      {L"A-Law", 22050, 1, "pcm_alaw,audio,22050,1"},
      {L"U-Law", 11025, 2, "pcm_mulaw,audio,11025,2"},
      {L"GSM 6.10", 8000, 1, "gsm_ms,audio,8000,1"},
  };
  for (const AviCase& c : cases) {
    SCOPED_TRACE(c.probed);
    const std::wstring file = tavtest::MakeTempDir() + L"codec.avi";
    EXPECT_EQ(RecordThroughAvi(c, file), c.probed);
    // ffmpeg decodes the whole two seconds; a block codec's last block
    // is completed with silence.
    const std::wstring raw = file + L".raw";
    tavtest::RunUnixCommand("ffmpeg -v error -i " + tavtest::ShellQuote(tavtest::UnixPathOf(file)) +
                            " -map 0:a -f s16le -y " + tavtest::ShellQuote(tavtest::UnixPathOf(raw)));
    const double frames = static_cast<double>(ReadWholeFile(raw).size()) / 2 / c.channels;
    EXPECT_GE(frames, 2.0 * c.rate);
    EXPECT_LT(frames, 2.0 * c.rate + 2041) << frames;
  }
}
