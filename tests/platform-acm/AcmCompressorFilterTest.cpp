// The compressor filter made directly and run in Wine's filter graph between
// a test PCM source and a test sink.
#include "tests/common/UnixTools.h"
#include "tests/platform-acm/AcmTestSupport.h"
#include "tests/platform-acm/TestPcmSource.h"
#include "tests/platform-acm/TestSink.h"
#include "wine/acm/AcmCompressorClsid.h"
#include "wine/acm/AcmFormats.h"
#include "wine/acm/WaveMediaType.h"

#include <control.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace acmtest;

namespace {

class CompressorGraph {
 public:
  CompressorGraph(WORD formatTag, const std::vector<BYTE>& inputFormat) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                     reinterpret_cast<void**>(&graph));
    graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
    source = new TestPcmSource(inputFormat);
    source->NonDelegatingAddRef();
    sink = new TestSink();
    sink->NonDelegatingAddRef();
    compressor = NewCompressor(formatTag);
    input = PinOf(compressor, 0);
    output = PinOf(compressor, 1);
    output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
    graph->AddFilter(source, L"source");
    graph->AddFilter(compressor, L"Audio Compressor");
    graph->AddFilter(sink, L"sink");
  }
  ~CompressorGraph() {
    control->Stop();
    config->Release();
    input->Release();
    output->Release();
    graph->RemoveFilter(source);
    graph->RemoveFilter(compressor);
    graph->RemoveFilter(sink);
    compressor->Release();
    source->NonDelegatingRelease();
    sink->NonDelegatingRelease();
    control->Release();
    graph->Release();
  }
  HRESULT ConnectInput() { return graph->ConnectDirect(source->OutputPin(), input, nullptr); }
  HRESULT ConnectOutput() { return graph->ConnectDirect(output, sink->InputPin(), nullptr); }

  // Both stop the test when they fail: call them through
  // ASSERT_NO_FATAL_FAILURE, which names the caller's line.
  // The input connected, the output's format set, the output connected.
  void ConnectWithOutputFormat(const std::vector<BYTE>& format) {
    ASSERT_EQ(ConnectInput(), S_OK);
    CMediaType type;
    tavacm::MakeWaveMediaType(format, &type);
    ASSERT_EQ(config->SetFormat(&type), S_OK);
    ASSERT_EQ(ConnectOutput(), S_OK);
  }
  // Both pins connected and the graph running.
  void ConnectAndRun() {
    ASSERT_EQ(ConnectInput(), S_OK);
    ASSERT_EQ(ConnectOutput(), S_OK);
    ASSERT_EQ(control->Run(), S_OK);
  }

  // Sends `seconds` of tone in blocks of 100 ms, then end of stream, and stops.
  HRESULT Stream(double seconds, std::vector<BYTE>* sent) {
    HRESULT hr = control->Run();
    if (FAILED(hr)) return hr;
    const WAVEFORMATEX& format = Header(source->Format());
    const size_t frames = static_cast<size_t>(seconds * format.nSamplesPerSec);
    *sent = Tone16(source->Format(), frames);
    const size_t block = format.nSamplesPerSec / 10 * format.nBlockAlign;
    for (size_t offset = 0; offset < sent->size(); offset += block) {
      const size_t size = std::min(block, sent->size() - offset);
      const REFERENCE_TIME start =
          static_cast<REFERENCE_TIME>(offset / format.nBlockAlign) * 10000000 / format.nSamplesPerSec;
      const REFERENCE_TIME stop =
          static_cast<REFERENCE_TIME>((offset + size) / format.nBlockAlign) * 10000000 / format.nSamplesPerSec;
      hr = source->Send(sent->data() + offset, size, start, stop);
      if (hr != S_OK) return hr;
    }
    hr = source->SendEndOfStream();
    if (FAILED(hr)) return hr;
    return control->Stop();
  }

  std::vector<BYTE> ConnectionFormat(IPin* pin) {
    AM_MEDIA_TYPE type = {};
    if (FAILED(pin->ConnectionMediaType(&type))) return std::vector<BYTE>();
    std::vector<BYTE> format = tavacm::WaveFormatOf(type);
    FreeMediaType(type);
    return format;
  }

  IGraphBuilder* graph = nullptr;
  IMediaControl* control = nullptr;
  TestPcmSource* source = nullptr;
  TestSink* sink = nullptr;
  IBaseFilter* compressor = nullptr;
  IPin* input = nullptr;
  IPin* output = nullptr;
  IAMStreamConfig* config = nullptr;
};

std::vector<BYTE> FormatOfType(AM_MEDIA_TYPE* type) {
  std::vector<BYTE> format = tavacm::WaveFormatOf(*type);
  DeleteMediaType(type);
  return format;
}

}  // namespace

TEST(AcmCompressorFilter, HasAnInputAndAnOutputPinWithTheirInterfaces) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  IBaseFilter* filter = NewCompressor(WAVE_FORMAT_IMA_ADPCM);
  ASSERT_NE(filter, nullptr);
  CLSID clsid = {};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(IsEqualCLSID(clsid, CLSID_TavAcmCompressor));
  IPin* input = PinOf(filter, 0);
  IPin* output = PinOf(filter, 1);
  ASSERT_NE(input, nullptr);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(PinOf(filter, 2), nullptr);
  EXPECT_EQ(PinName(input), L"Input");
  EXPECT_EQ(PinName(output), L"Output");
  EXPECT_EQ(PinId(input), L"In");
  EXPECT_EQ(PinId(output), L"Out");
  PIN_DIRECTION direction;
  input->QueryDirection(&direction);
  EXPECT_EQ(direction, PINDIR_INPUT);
  output->QueryDirection(&direction);
  EXPECT_EQ(direction, PINDIR_OUTPUT);

  IUnknown* unknown = nullptr;
  EXPECT_EQ(input->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&unknown)), S_OK);
  unknown->Release();
  EXPECT_EQ(input->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&unknown)), E_NOINTERFACE);
  EXPECT_EQ(output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&unknown)), S_OK);
  unknown->Release();
  EXPECT_EQ(filter->QueryInterface(IID_IPersistPropertyBag, reinterpret_cast<void**>(&unknown)), S_OK);
  unknown->Release();

  IPin* found = nullptr;
  EXPECT_EQ(filter->FindPin(L"In", &found), S_OK);
  EXPECT_EQ(found, input);
  found->Release();

  // Before the input is connected the output offers every format of the
  // codec's tag, the first one as the default.
  IAMStreamConfig* config = nullptr;
  output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config));
  int count = -1;
  int size = -1;
  EXPECT_EQ(config->GetNumberOfCapabilities(&count, &size), S_OK);
  EXPECT_EQ(count, 8);  // Wine's IMA ADPCM: 8, 11, 22 and 44 kHz, mono and stereo
  EXPECT_EQ(size, 52);
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(config->GetFormat(&type), S_OK);
  EXPECT_EQ(FormatOfType(type).size(), sizeof(WAVEFORMATEX) + 2);
  AUDIO_STREAM_CONFIG_CAPS caps = {};
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(config->GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
    EXPECT_EQ(Header(FormatOfType(type)).wFormatTag, WAVE_FORMAT_IMA_ADPCM);
  }
  config->Release();
  input->Release();
  output->Release();
  filter->Release();
}

TEST(AcmCompressorFilter, StreamCapsFollowTheConnectedInput) {
  CompressorGraph g(WAVE_FORMAT_IMA_ADPCM, Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  int count = 0;
  int size = 0;
  ASSERT_EQ(g.config->GetNumberOfCapabilities(&count, &size), S_OK);
  EXPECT_EQ(count, 8);  // every rate and channel count, the input's first
  EXPECT_EQ(size, 52);

  AM_MEDIA_TYPE* type = nullptr;
  AUDIO_STREAM_CONFIG_CAPS caps = {};
  ASSERT_EQ(g.config->GetStreamCaps(0, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
  EXPECT_TRUE(IsEqualGUID(type->majortype, MEDIATYPE_Audio));
  EXPECT_TRUE(IsEqualGUID(type->formattype, FORMAT_WaveFormatEx));
  EXPECT_TRUE(IsEqualGUID(type->subtype, tavacm::WaveSubtype(WAVE_FORMAT_IMA_ADPCM)));
  const std::vector<BYTE> format = FormatOfType(type);
  ASSERT_EQ(format.size(), sizeof(WAVEFORMATEX) + 2);
  EXPECT_EQ(Header(format).wFormatTag, WAVE_FORMAT_IMA_ADPCM);
  EXPECT_EQ(Header(format).nSamplesPerSec, 44100u);
  EXPECT_EQ(Header(format).nChannels, 2);
  EXPECT_EQ(Header(format).nBlockAlign, 2048);
  EXPECT_TRUE(IsEqualGUID(caps.guid, MEDIATYPE_Audio));
  EXPECT_EQ(caps.MinimumChannels, 2u);
  EXPECT_EQ(caps.MaximumChannels, 2u);
  EXPECT_EQ(caps.MinimumSampleFrequency, 44100u);
  EXPECT_EQ(caps.MaximumSampleFrequency, 44100u);
  EXPECT_EQ(caps.MinimumBitsPerSample, 4u);
  EXPECT_EQ(g.config->GetStreamCaps(8, &type, reinterpret_cast<BYTE*>(&caps)), S_FALSE);

  ASSERT_EQ(g.config->GetFormat(&type), S_OK);
  EXPECT_EQ(FormatOfType(type), format);
}

TEST(AcmCompressorFilter, PcmOffersTheConverterFormatsInputFormatFirst) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  int count = 0;
  int size = 0;
  ASSERT_EQ(g.config->GetNumberOfCapabilities(&count, &size), S_OK);
  EXPECT_GT(count, 10);
  AM_MEDIA_TYPE* type = nullptr;
  AUDIO_STREAM_CONFIG_CAPS caps = {};
  ASSERT_EQ(g.config->GetStreamCaps(0, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
  EXPECT_EQ(FormatOfType(type), Pcm16Format(44100, 2));
  bool found = false;
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(g.config->GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
    found = found || FormatOfType(type) == Pcm16Format(22050, 1);
  }
  EXPECT_TRUE(found);
}

TEST(AcmCompressorFilter, SetFormatChoosesTheOutputConnection) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  CMediaType mono;
  tavacm::MakeWaveMediaType(Pcm16Format(22050, 1), &mono);
  ASSERT_EQ(g.config->SetFormat(&mono), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(g.config->GetFormat(&type), S_OK);
  EXPECT_EQ(FormatOfType(type), Pcm16Format(22050, 1));

  ASSERT_EQ(g.ConnectOutput(), S_OK);
  EXPECT_EQ(g.ConnectionFormat(g.output), Pcm16Format(22050, 1));

  // Another codec's format is not this compressor's.
  const std::vector<BYTE> alaw = {0x06, 0x00, 0x01, 0x00, 0x22, 0x56, 0x00, 0x00, 0x22,
                                  0x56, 0x00, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00};
  CMediaType alawType;
  tavacm::MakeWaveMediaType(alaw, &alawType);
  EXPECT_EQ(g.config->SetFormat(&alawType), VFW_E_INVALIDMEDIATYPE);
}

TEST(AcmCompressorFilter, SetFormatWhileConnectedReconnectsTheOutput) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  ASSERT_EQ(g.ConnectOutput(), S_OK);
  EXPECT_EQ(g.ConnectionFormat(g.output), Pcm16Format(44100, 2));

  CMediaType mono;
  tavacm::MakeWaveMediaType(Pcm16Format(22050, 1), &mono);
  ASSERT_EQ(g.config->SetFormat(&mono), S_OK);
  EXPECT_EQ(g.ConnectionFormat(g.output), Pcm16Format(22050, 1));
  EXPECT_EQ(g.ConnectionFormat(g.sink->InputPin()), Pcm16Format(22050, 1));
}

TEST(AcmCompressorFilter, SetFormatThePeerRefusesLeavesTheConnection) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  g.sink->AcceptOnly(Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  ASSERT_EQ(g.ConnectOutput(), S_OK);
  CMediaType mono;
  tavacm::MakeWaveMediaType(Pcm16Format(22050, 1), &mono);
  EXPECT_EQ(g.config->SetFormat(&mono), VFW_E_INVALIDMEDIATYPE);
  EXPECT_EQ(g.ConnectionFormat(g.output), Pcm16Format(44100, 2));
}

TEST(AcmCompressorFilter, ACodecNoPcmReachesRefusesTheInput) {
  // Wine's Microsoft ADPCM driver only decodes.
  CompressorGraph g(WAVE_FORMAT_ADPCM, Pcm16Format(48000, 2));
  CMediaType type;
  tavacm::MakeWaveMediaType(Pcm16Format(48000, 2), &type);
  EXPECT_EQ(g.input->QueryAccept(&type), S_FALSE);
  EXPECT_EQ(g.input->ReceiveConnection(g.source->OutputPin(), &type), VFW_E_TYPE_NOT_ACCEPTED);
  // The source's Connect reports that none of its types was taken.
  EXPECT_EQ(g.ConnectInput(), VFW_E_NO_ACCEPTABLE_TYPES);
  IPin* peer = nullptr;
  EXPECT_EQ(g.input->ConnectedTo(&peer), VFW_E_NOT_CONNECTED);
  // The output has nothing to connect with.
  EXPECT_EQ(g.ConnectOutput(), VFW_E_NOT_CONNECTED);
}

TEST(AcmCompressorFilter, EveryCodecTakes48kHzInputAt16And24BitsAndOffersItsBestFormatFirst) {
  struct Case {
    WORD tag;
    DWORD rate;  // of the best format
    WORD channels;
  };
  const Case cases[] = {{WAVE_FORMAT_PCM, 48000, 2},
                        {WAVE_FORMAT_IMA_ADPCM, 44100, 2},
                        {WAVE_FORMAT_ALAW, 44100, 2},
                        {WAVE_FORMAT_MULAW, 44100, 2},
                        {WAVE_FORMAT_GSM610, 48000, 1}};
  for (const Case& c : cases) {
    for (const std::vector<BYTE>& input : {Pcm16Format(48000, 2), Pcm24ExtensibleFormat(48000, 2)}) {
      SCOPED_TRACE(std::to_string(c.tag) + " from " + std::to_string(Header(input).wBitsPerSample) + " bits");
      CompressorGraph g(c.tag, input);
      ASSERT_EQ(g.ConnectInput(), S_OK);
      ASSERT_EQ(g.ConnectOutput(), S_OK);
      const std::vector<BYTE> format = g.ConnectionFormat(g.output);
      ASSERT_FALSE(format.empty());
      EXPECT_EQ(Header(format).wFormatTag, c.tag);
      EXPECT_EQ(Header(format).nSamplesPerSec, c.rate);
      EXPECT_EQ(Header(format).nChannels, c.channels);
      if (c.tag == WAVE_FORMAT_PCM) {
        EXPECT_EQ(Header(format).wBitsPerSample, 16);  // Wine keeps no 24 bits at 48 kHz
      }
    }
  }
}

TEST(AcmCompressorFilter, ReceiveWhileStoppedIsRefused) {
  CompressorGraph g(WAVE_FORMAT_ALAW, Pcm16Format(8000, 1));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  ASSERT_EQ(g.ConnectOutput(), S_OK);
  IMemInputPin* memInput = nullptr;
  g.input->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&memInput));
  IMemAllocator* allocator = nullptr;
  ASSERT_EQ(memInput->GetAllocator(&allocator), S_OK);
  ALLOCATOR_PROPERTIES wanted = {1, 1600, 1, 0};
  ALLOCATOR_PROPERTIES actual = {};
  allocator->SetProperties(&wanted, &actual);
  allocator->Commit();
  IMediaSample* sample = nullptr;
  ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  sample->SetActualDataLength(1600);
  EXPECT_EQ(memInput->Receive(sample), VFW_E_WRONG_STATE);
  sample->Release();
  allocator->Decommit();
  allocator->Release();
  memInput->Release();
  EXPECT_TRUE(g.sink->bytes.empty());
}

TEST(AcmCompressorFilter, PcmFormatChangeKeepsTheSoundAndTheTimes) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  ASSERT_NO_FATAL_FAILURE(g.ConnectWithOutputFormat(Pcm16Format(22050, 1)));
  std::vector<BYTE> sent;
  ASSERT_EQ(g.Stream(2.0, &sent), S_OK);

  EXPECT_EQ(g.sink->endOfStreams, 1);
  EXPECT_NEAR(static_cast<double>(g.sink->bytes.size()), 22050.0 * 2 * 2, 16.0);
  // The 440 Hz tone is still a 440 Hz tone: two sign changes a period.
  EXPECT_NEAR(static_cast<double>(ZeroCrossings16(g.sink->bytes, 1)), 2.0 * 440 * 2, 8.0);
  ASSERT_FALSE(g.sink->samples.empty());
  EXPECT_TRUE(g.sink->samples.front().hasTime);
  EXPECT_EQ(g.sink->samples.front().start, 0);
  REFERENCE_TIME previous = 0;
  for (const ReceivedSample& sample : g.sink->samples) {
    EXPECT_EQ(sample.start, previous);
    previous = sample.stop;
  }
  EXPECT_NEAR(static_cast<double>(previous), 2e7, 1e4);

  const std::wstring dir = tavtest::MakeTempDir();
  const std::wstring wav = dir + L"pcm22050.wav";
  ASSERT_TRUE(WriteWav(wav, Pcm16Format(22050, 1), g.sink->bytes));
  const std::string probe = ProbeAudio(wav);
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), "pcm_s16le,22050,1") << probe;
  EXPECT_NEAR(std::stod(probe.substr(probe.rfind(',') + 1)), 2.0, 0.01) << probe;
}

namespace {

struct CodecCase {
  WORD tag;
  DWORD rate;
  WORD channels;
  const char* ffmpegCodec;
};

void ExpectEncodes(const CodecCase& c) {
  SCOPED_TRACE(c.ffmpegCodec);
  CompressorGraph g(c.tag, Pcm16Format(c.rate, c.channels));
  ASSERT_EQ(g.ConnectInput(), S_OK);
  ASSERT_EQ(g.ConnectOutput(), S_OK);
  const std::vector<BYTE> format = g.ConnectionFormat(g.output);
  ASSERT_FALSE(format.empty());
  EXPECT_EQ(Header(format).wFormatTag, c.tag);
  std::vector<BYTE> sent;
  ASSERT_EQ(g.Stream(2.0, &sent), S_OK);
  EXPECT_EQ(g.sink->endOfStreams, 1);

  // Whole codec blocks, about two seconds' worth at the format's rate.
  const WAVEFORMATEX& header = Header(format);
  EXPECT_EQ(g.sink->bytes.size() % header.nBlockAlign, 0u);
  EXPECT_NEAR(static_cast<double>(g.sink->bytes.size()), 2.0 * header.nAvgBytesPerSec,
              header.nBlockAlign + 0.01 * header.nAvgBytesPerSec);
  ASSERT_FALSE(g.sink->samples.empty());
  EXPECT_EQ(g.sink->samples.front().start, 0);
  EXPECT_NEAR(static_cast<double>(g.sink->samples.back().stop), 2e7, 2e5);

  const std::wstring wav = tavtest::MakeTempDir() + L"encoded.wav";
  ASSERT_TRUE(WriteWav(wav, format, g.sink->bytes));
  const std::string probe = ProbeAudio(wav);
  const std::string expected =
      std::string(c.ffmpegCodec) + "," + std::to_string(c.rate) + "," + std::to_string(c.channels);
  EXPECT_EQ(probe.substr(0, probe.rfind(',')), expected) << probe;
  EXPECT_NEAR(std::stod(probe.substr(probe.rfind(',') + 1)), 2.0, 0.1) << probe;
}

}  // namespace

TEST(AcmCompressorFilter, ImaAdpcmEncodesInTheGraph) {
  ExpectEncodes({WAVE_FORMAT_IMA_ADPCM, 44100, 2, "adpcm_ima_wav"});
}

TEST(AcmCompressorFilter, ALawEncodesInTheGraph) { ExpectEncodes({WAVE_FORMAT_ALAW, 22050, 1, "pcm_alaw"}); }

TEST(AcmCompressorFilter, MuLawEncodesInTheGraph) { ExpectEncodes({WAVE_FORMAT_MULAW, 11025, 2, "pcm_mulaw"}); }

TEST(AcmCompressorFilter, GsmEncodesInTheGraph) { ExpectEncodes({WAVE_FORMAT_GSM610, 8000, 1, "gsm_ms"}); }

TEST(AcmCompressorFilter, PcmRateChangeKeepsTheLevel) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 1));
  ASSERT_NO_FATAL_FAILURE(g.ConnectWithOutputFormat(Pcm16Format(11025, 1)));
  std::vector<BYTE> sent;
  ASSERT_EQ(g.Stream(1.0, &sent), S_OK);
  // The rate converter keeps back a few samples of the last input.
  EXPECT_NEAR(static_cast<double>(g.sink->bytes.size()), 11025.0 * 2, 32.0);
  EXPECT_NEAR(Rms16(g.sink->bytes), Rms16(sent), Rms16(sent) * 0.05);
  EXPECT_NEAR(static_cast<double>(ZeroCrossings16(g.sink->bytes, 1)), 2.0 * 440, 4.0);
}

namespace {

struct Feeder {
  TestPcmSource* source;
  std::vector<BYTE> block;
  volatile LONG sent = 0;
  HRESULT last = S_OK;
};

DWORD WINAPI FeedUntilRefused(void* context) {
  auto* feeder = static_cast<Feeder*>(context);
  const WAVEFORMATEX& format = Header(feeder->source->Format());
  const REFERENCE_TIME blockTime =
      static_cast<REFERENCE_TIME>(feeder->block.size() / format.nBlockAlign) * 10000000 / format.nSamplesPerSec;
  for (REFERENCE_TIME start = 0;; start += blockTime) {
    feeder->last = feeder->source->Send(feeder->block.data(), feeder->block.size(), start, start + blockTime);
    if (feeder->last != S_OK) return 0;
    InterlockedIncrement(&feeder->sent);
  }
}

}  // namespace

TEST(AcmCompressorFilter, StopWhileTheSourceStillDeliversEndsCleanly) {
  CompressorGraph g(WAVE_FORMAT_IMA_ADPCM, Pcm16Format(22050, 2));
  ASSERT_NO_FATAL_FAILURE(g.ConnectAndRun());
  Feeder feeder{g.source, Tone16(g.source->Format(), 2205)};
  HANDLE thread = CreateThread(nullptr, 0, FeedUntilRefused, &feeder, 0, nullptr);
  while (feeder.sent < 20) Sleep(1);
  EXPECT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
  CloseHandle(thread);
  EXPECT_TRUE(FAILED(feeder.last)) << std::hex << feeder.last;
  // Everything delivered before the stop came out as whole blocks.
  EXPECT_GT(g.sink->bytes.size(), 0u);
  EXPECT_EQ(g.sink->bytes.size() % 1024, 0u);

  // The graph runs again after the stop.
  g.sink->bytes.clear();
  g.sink->samples.clear();
  std::vector<BYTE> sent;
  ASSERT_EQ(g.Stream(0.5, &sent), S_OK);
  EXPECT_NEAR(static_cast<double>(g.sink->bytes.size()), 0.5 * 22201, 1024 + 0.01 * 22201);
  ASSERT_FALSE(g.sink->samples.empty());
  EXPECT_EQ(g.sink->samples.front().start, 0);
}

TEST(AcmCompressorFilter, FlushDropsWhatTheCodecHeldAndPassesDownstream) {
  CompressorGraph g(WAVE_FORMAT_IMA_ADPCM, Pcm16Format(22050, 1));
  ASSERT_NO_FATAL_FAILURE(g.ConnectAndRun());
  // Half of one 1017-sample block: the codec keeps it.
  const std::vector<BYTE> half = Tone16(g.source->Format(), 500);
  ASSERT_EQ(g.source->Send(half.data(), half.size(), 0, 226757), S_OK);
  EXPECT_TRUE(g.sink->bytes.empty());

  EXPECT_EQ(g.input->NewSegment(0, 10000000, 1.0), S_OK);
  EXPECT_EQ(g.sink->newSegments, 1);
  EXPECT_EQ(g.input->BeginFlush(), S_OK);
  EXPECT_EQ(g.input->EndFlush(), S_OK);
  EXPECT_EQ(g.sink->beginFlushes, 1);
  EXPECT_EQ(g.sink->endFlushes, 1);

  // After the flush the held half block is gone: end of stream has
  // nothing left to encode.
  ASSERT_EQ(g.source->SendEndOfStream(), S_OK);
  EXPECT_EQ(g.sink->endOfStreams, 1);
  EXPECT_TRUE(g.sink->bytes.empty());

  // A sample after end of stream is refused.
  EXPECT_EQ(g.source->Send(half.data(), half.size(), 0, 226757), VFW_E_SAMPLE_REJECTED_EOS);
  EXPECT_EQ(g.control->Stop(), S_OK);
}

TEST(AcmCompressorFilter, EndOfStreamEncodesTheHeldPartOfABlock) {
  CompressorGraph g(WAVE_FORMAT_IMA_ADPCM, Pcm16Format(22050, 1));
  ASSERT_NO_FATAL_FAILURE(g.ConnectAndRun());
  const std::vector<BYTE> tone = Tone16(g.source->Format(), 1017 + 500);
  ASSERT_EQ(g.source->Send(tone.data(), tone.size(), 0, 687981), S_OK);
  EXPECT_EQ(g.sink->bytes.size(), 512u);
  ASSERT_EQ(g.source->SendEndOfStream(), S_OK);
  // The codec pads the last block: two whole blocks in all.
  EXPECT_EQ(g.sink->bytes.size(), 1024u);
  ASSERT_EQ(g.sink->samples.size(), 2u);
  EXPECT_EQ(g.sink->samples[1].start, g.sink->samples[0].stop);
  EXPECT_EQ(g.control->Stop(), S_OK);
}

TEST(AcmCompressorFilter, StreamConfigChecksItsArguments) {
  CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
  int count = 0;
  int size = 0;
  AM_MEDIA_TYPE* type = nullptr;
  AUDIO_STREAM_CONFIG_CAPS caps = {};
  EXPECT_EQ(g.config->GetNumberOfCapabilities(nullptr, &size), E_POINTER);
  EXPECT_EQ(g.config->GetNumberOfCapabilities(&count, nullptr), E_POINTER);
  EXPECT_EQ(g.config->GetStreamCaps(0, nullptr, reinterpret_cast<BYTE*>(&caps)), E_POINTER);
  EXPECT_EQ(g.config->GetStreamCaps(0, &type, nullptr), E_POINTER);
  EXPECT_EQ(g.config->GetFormat(nullptr), E_POINTER);

  // Before the input connects, only formats the codec lists are taken.
  CMediaType odd;
  tavacm::MakeWaveMediaType(Pcm16Format(12345, 1), &odd);
  EXPECT_EQ(g.config->SetFormat(&odd), VFW_E_TYPE_NOT_ACCEPTED);
  CMediaType mono;
  tavacm::MakeWaveMediaType(Pcm16Format(22050, 1), &mono);
  EXPECT_EQ(g.config->SetFormat(&mono), S_OK);
  ASSERT_EQ(g.config->SetFormat(nullptr), S_OK);

  ASSERT_EQ(g.ConnectInput(), S_OK);
  EXPECT_EQ(g.config->GetStreamCaps(-1, &type, reinterpret_cast<BYTE*>(&caps)), S_FALSE);
  EXPECT_EQ(type, nullptr);
  // A media type that is not a wave format.
  CMediaType video;
  video.SetType(&MEDIATYPE_Video);
  EXPECT_EQ(g.config->SetFormat(&video), VFW_E_INVALIDMEDIATYPE);

  // Null goes back to the default (the first capability) while unconnected.
  ASSERT_EQ(g.config->SetFormat(&mono), S_OK);
  ASSERT_EQ(g.config->SetFormat(nullptr), S_OK);
  ASSERT_EQ(g.config->GetFormat(&type), S_OK);
  EXPECT_EQ(FormatOfType(type), Pcm16Format(44100, 2));
  ASSERT_EQ(g.ConnectOutput(), S_OK);
  EXPECT_EQ(g.config->SetFormat(nullptr), VFW_E_ALREADY_CONNECTED);

  // Not while the graph runs.
  ASSERT_EQ(g.control->Run(), S_OK);
  EXPECT_EQ(g.config->SetFormat(&mono), VFW_E_NOT_STOPPED);
  EXPECT_EQ(g.control->Stop(), S_OK);
}

TEST(AcmCompressorFilter, AFormatPickedBeforeTheInputConnectsLastsIfTheInputCanMakeIt) {
  {
    CompressorGraph g(WAVE_FORMAT_PCM, Pcm16Format(44100, 2));
    CMediaType mono;
    tavacm::MakeWaveMediaType(Pcm16Format(22050, 1), &mono);
    ASSERT_EQ(g.config->SetFormat(&mono), S_OK);
    ASSERT_EQ(g.ConnectInput(), S_OK);
    ASSERT_EQ(g.ConnectOutput(), S_OK);
    EXPECT_EQ(g.ConnectionFormat(g.output), Pcm16Format(22050, 1));
  }
  {
    // IMA ADPCM at 22 kHz mono from a 44 kHz stereo input: reached
    // through the PCM converter, so the pick lasts.
    CompressorGraph g(WAVE_FORMAT_IMA_ADPCM, Pcm16Format(44100, 2));
    int count = 0;
    int size = 0;
    ASSERT_EQ(g.config->GetNumberOfCapabilities(&count, &size), S_OK);
    std::vector<BYTE> picked;
    for (int i = 0; i < count && picked.empty(); ++i) {
      AM_MEDIA_TYPE* type = nullptr;
      AUDIO_STREAM_CONFIG_CAPS caps = {};
      ASSERT_EQ(g.config->GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
      const std::vector<BYTE> format = FormatOfType(type);
      if (Header(format).nSamplesPerSec == 22050 && Header(format).nChannels == 1) picked = format;
    }
    ASSERT_FALSE(picked.empty());
    CMediaType pickedType;
    tavacm::MakeWaveMediaType(picked, &pickedType);
    ASSERT_EQ(g.config->SetFormat(&pickedType), S_OK);
    ASSERT_EQ(g.ConnectInput(), S_OK);
    ASSERT_EQ(g.ConnectOutput(), S_OK);
    EXPECT_EQ(g.ConnectionFormat(g.output), picked);
  }
}

TEST(AcmCompressorFilter, ASampleWithAnotherFormatWhileStreamingIsRefused) {
  CompressorGraph g(WAVE_FORMAT_ALAW, Pcm16Format(8000, 1));
  ASSERT_NO_FATAL_FAILURE(g.ConnectAndRun());
  IMemInputPin* memInput = nullptr;
  g.input->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&memInput));
  IMemAllocator* allocator = nullptr;
  ASSERT_EQ(memInput->GetAllocator(&allocator), S_OK);
  IMediaSample* sample = nullptr;
  ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
  sample->SetActualDataLength(1600);
  CMediaType stereo;
  tavacm::MakeWaveMediaType(Pcm16Format(8000, 2), &stereo);
  sample->SetMediaType(&stereo);
  EXPECT_EQ(memInput->Receive(sample), VFW_E_TYPE_NOT_ACCEPTED);
  // The same format again is fine.
  CMediaType same;
  tavacm::MakeWaveMediaType(Pcm16Format(8000, 1), &same);
  sample->SetMediaType(&same);
  EXPECT_EQ(memInput->Receive(sample), S_OK);
  sample->Release();
  allocator->Release();
  memInput->Release();
  EXPECT_EQ(g.control->Stop(), S_OK);
  EXPECT_EQ(g.sink->bytes.size(), 800u);
}
