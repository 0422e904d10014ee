// The pack's File Writer in Wine's real filter graph: interfaces, media
// types, samples at file offsets, IStream after stop, events and failures.

#include "filewriter/FileWriter.h"

#include "tests/common/UnixTools.h"
#include "tests/platform/GraphTestHelpers.h"
#include "tests/platform/TestBlockPin.h"
#include "tests/platform/TestBlockSource.h"

#include <dshow.h>
#include <gtest/gtest.h>
#include <uuids.h>

#include <string>
#include <vector>

using namespace platformtest;

namespace {

AM_MEDIA_TYPE StreamType() {
  AM_MEDIA_TYPE type = {};
  type.majortype = MEDIATYPE_Stream;
  type.subtype = MEDIASUBTYPE_NULL;
  type.bFixedSizeSamples = TRUE;
  type.lSampleSize = 1;
  return type;
}

TestBlock Block(const std::string& bytes, REFERENCE_TIME start, REFERENCE_TIME stop, long validBytes = -1) {
  TestBlock block;
  block.bytes = bytes;
  block.start = start;
  block.stop = stop;
  block.validBytes = validBytes;
  return block;
}

IBaseFilter* NewFileWriter() {
  IBaseFilter* filter = nullptr;
  EXPECT_EQ(tavpack::CFileWriter::Create(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)), S_OK);
  return filter;
}

// source -> File Writer in a new graph of Wine's filter graph manager.
class FileWriterGraph {
 public:
  FileWriterGraph(std::vector<TestBlock> blocks, const std::wstring& fileName) {
    EXPECT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid()),
              S_OK);
    source = CTestBlockSource::Create(StreamType(), std::move(blocks));
    writer.Out()[0] = NewFileWriter();
    EXPECT_EQ(graph->AddFilter(source, L"Source"), S_OK);
    EXPECT_EQ(graph->AddFilter(writer.Get(), L"File Writer"), S_OK);
    Ref<IFileSinkFilter> sink;
    EXPECT_EQ(writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid()), S_OK);
    EXPECT_EQ(sink->SetFileName(fileName.c_str(), nullptr), S_OK);
    Ref<IPin> out(FindPin(source, PINDIR_OUTPUT));
    input.Out()[0] = FindPin(writer.Get(), PINDIR_INPUT);
    connectResult = graph->ConnectDirect(out.Get(), input.Get(), nullptr);
    EXPECT_EQ(graph->QueryInterface(IID_IMediaControl, control.OutVoid()), S_OK);
    EXPECT_EQ(graph->QueryInterface(IID_IMediaEvent, events.OutVoid()), S_OK);
  }
  ~FileWriterGraph() {
    if (control) control->Stop();
    control.Reset();
    events.Reset();
    input.Reset();
    writer.Reset();
    graph.Reset();
    source->Release();
  }

  Ref<IGraphBuilder> graph;
  Ref<IBaseFilter> writer;
  Ref<IPin> input;
  Ref<IMediaControl> control;
  Ref<IMediaEvent> events;
  CTestBlockSource* source = nullptr;
  HRESULT connectResult = E_FAIL;
};

class FileWriterTest : public ::testing::Test {
 protected:
  ComScope com;
  std::wstring dir = tavtest::MakeTempDir();
};

}  // namespace

TEST_F(FileWriterTest, FilterInterfacesAreTheWindowsOnes) {
  Ref<IBaseFilter> writer(NewFileWriter());
  ASSERT_TRUE(writer);
  Ref<IUnknown> unknown;
  EXPECT_EQ(writer->QueryInterface(IID_IFileSinkFilter, unknown.OutVoid()), S_OK);
  EXPECT_EQ(writer->QueryInterface(IID_IFileSinkFilter2, unknown.OutVoid()), S_OK);
  EXPECT_EQ(writer->QueryInterface(IID_IAMFilterMiscFlags, unknown.OutVoid()), S_OK);
  EXPECT_EQ(writer->QueryInterface(IID_IMediaFilter, unknown.OutVoid()), S_OK);
  EXPECT_EQ(writer->QueryInterface(IID_IMediaSeeking, unknown.OutVoid()), E_NOINTERFACE);
  EXPECT_EQ(writer->QueryInterface(IID_IMediaPosition, unknown.OutVoid()), E_NOINTERFACE);
  EXPECT_EQ(writer->QueryInterface(IID_IQualityControl, unknown.OutVoid()), E_NOINTERFACE);

  Ref<IAMFilterMiscFlags> flags;
  ASSERT_EQ(writer->QueryInterface(IID_IAMFilterMiscFlags, flags.OutVoid()), S_OK);
  EXPECT_EQ(flags->GetMiscFlags(), static_cast<ULONG>(AM_FILTER_MISC_FLAGS_IS_RENDERER));

  CLSID clsid = {};
  EXPECT_EQ(writer->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(IsEqualCLSID(clsid, CLSID_FileWriter));
}

TEST_F(FileWriterTest, OneInputPinNamedInWithIStreamAndIMemInputPin) {
  Ref<IBaseFilter> writer(NewFileWriter());
  Ref<IEnumPins> pins;
  ASSERT_EQ(writer->EnumPins(pins.Out()), S_OK);
  IPin* all[2] = {};
  ULONG count = 0;
  EXPECT_EQ(pins->Next(2, all, &count), S_FALSE);
  ASSERT_EQ(count, 1u);
  Ref<IPin> pin(all[0]);

  PIN_INFO info = {};
  ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_STREQ(info.achName, L"in");
  EXPECT_EQ(info.dir, PINDIR_INPUT);
  EXPECT_EQ(info.pFilter, writer.Get());
  info.pFilter->Release();
  LPWSTR id = nullptr;
  ASSERT_EQ(pin->QueryId(&id), S_OK);
  EXPECT_STREQ(id, L"in");
  CoTaskMemFree(id);

  Ref<IUnknown> unknown;
  EXPECT_EQ(pin->QueryInterface(IID_IMemInputPin, unknown.OutVoid()), S_OK);
  EXPECT_EQ(pin->QueryInterface(IID_IStream, unknown.OutVoid()), S_OK);
  EXPECT_EQ(pin->QueryInterface(IID_IQualityControl, unknown.OutVoid()), S_OK);
  EXPECT_EQ(pin->QueryInterface(IID_IMediaSeeking, unknown.OutVoid()), E_NOINTERFACE);

  Ref<IEnumMediaTypes> types;
  ASSERT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  EXPECT_EQ(types->Next(1, &type, nullptr), S_FALSE);
}

TEST_F(FileWriterTest, AcceptsAnyTypeUntilAFileNameIsSetThenOnlyStream) {
  Ref<IBaseFilter> writer(NewFileWriter());
  Ref<IPin> pin(FindPin(writer.Get(), PINDIR_INPUT));
  AM_MEDIA_TYPE zero = {};
  EXPECT_EQ(pin->QueryAccept(&zero), S_OK);
  AM_MEDIA_TYPE video = {};
  video.majortype = MEDIATYPE_Video;
  EXPECT_EQ(pin->QueryAccept(&video), S_OK);

  Ref<IFileSinkFilter> sink;
  ASSERT_EQ(writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid()), S_OK);
  ASSERT_EQ(sink->SetFileName((dir + L"types.bin").c_str(), nullptr), S_OK);
  EXPECT_EQ(pin->QueryAccept(&zero), S_FALSE);
  EXPECT_EQ(pin->QueryAccept(&video), S_FALSE);
  AM_MEDIA_TYPE streamPcm = {};
  streamPcm.majortype = MEDIATYPE_Stream;
  streamPcm.subtype = MEDIASUBTYPE_PCM;
  streamPcm.formattype = FORMAT_WaveFormatEx;
  EXPECT_EQ(pin->QueryAccept(&streamPcm), S_OK);
}

TEST_F(FileWriterTest, ConnectingAnotherMajorTypeAfterSetFileNameFails) {
  AM_MEDIA_TYPE video = {};
  video.majortype = MEDIATYPE_Video;
  video.subtype = MEDIASUBTYPE_RGB24;
  CTestBlockSource* source = CTestBlockSource::Create(video, {});
  Ref<IBaseFilter> writer(NewFileWriter());
  Ref<IFileSinkFilter> sink;
  ASSERT_EQ(writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid()), S_OK);
  ASSERT_EQ(sink->SetFileName((dir + L"video.bin").c_str(), nullptr), S_OK);
  Ref<IPin> out(FindPin(source, PINDIR_OUTPUT));
  Ref<IPin> in(FindPin(writer.Get(), PINDIR_INPUT));
  EXPECT_EQ(out->Connect(in.Get(), nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
  EXPECT_EQ(in->ReceiveConnection(out.Get(), &video), VFW_E_TYPE_NOT_ACCEPTED);
  source->Release();
}

TEST_F(FileWriterTest, ConnectionsChangeOnlyWhileStopped) {
  FileWriterGraph graph({Block("abc", 0, 3)}, dir + L"paused.bin");
  ASSERT_EQ(graph.connectResult, S_OK);
  ASSERT_EQ(graph.control->Pause(), S_OK);
  EXPECT_EQ(graph.input->Disconnect(), VFW_E_NOT_STOPPED);
  Ref<IPin> peer;
  EXPECT_EQ(graph.input->ConnectedTo(peer.Out()), S_OK);
  AM_MEDIA_TYPE type = StreamType();
  EXPECT_EQ(graph.input->ReceiveConnection(peer.Get(), &type), VFW_E_ALREADY_CONNECTED);
  ASSERT_EQ(graph.control->Stop(), S_OK);
  ASSERT_EQ(graph.graph->Disconnect(graph.input.Get()), S_OK);
  ASSERT_EQ(graph.graph->Disconnect(peer.Get()), S_OK);

  ASSERT_EQ(graph.control->Pause(), S_OK);
  EXPECT_EQ(graph.input->ReceiveConnection(peer.Get(), &type), VFW_E_NOT_STOPPED);
  ASSERT_EQ(graph.control->Stop(), S_OK);
  EXPECT_EQ(graph.input->ReceiveConnection(peer.Get(), &type), S_OK);
  EXPECT_EQ(graph.input->Disconnect(), S_OK);
}

TEST_F(FileWriterTest, FileNameAndModeAreKeptButNoFileIsCreatedBeforePause) {
  const std::wstring path = dir + L"not-yet.avi";
  {
    Ref<IBaseFilter> writer(NewFileWriter());
    Ref<IFileSinkFilter2> sink;
    ASSERT_EQ(writer->QueryInterface(IID_IFileSinkFilter2, sink.OutVoid()), S_OK);
    LPOLESTR name = reinterpret_cast<LPOLESTR>(1);
    EXPECT_EQ(sink->GetCurFile(&name, nullptr), E_FAIL);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(sink->SetFileName(nullptr, nullptr), E_POINTER);

    AM_MEDIA_TYPE type = StreamType();
    type.subtype = MEDIASUBTYPE_Avi;
    ASSERT_EQ(sink->SetFileName(path.c_str(), &type), S_OK);
    AM_MEDIA_TYPE back = {};
    ASSERT_EQ(sink->GetCurFile(&name, &back), S_OK);
    EXPECT_EQ(std::wstring(name), path);
    EXPECT_TRUE(IsEqualGUID(back.majortype, MEDIATYPE_Stream));
    EXPECT_TRUE(IsEqualGUID(back.subtype, MEDIASUBTYPE_Avi));
    CoTaskMemFree(name);

    DWORD mode = 99;
    EXPECT_EQ(sink->GetMode(&mode), S_OK);
    EXPECT_EQ(mode, 0u);
    EXPECT_EQ(sink->SetMode(AM_FILE_OVERWRITE), S_OK);
    EXPECT_EQ(sink->GetMode(&mode), S_OK);
    EXPECT_EQ(mode, static_cast<DWORD>(AM_FILE_OVERWRITE));
    EXPECT_EQ(sink->SetMode(2), E_INVALIDARG);
    EXPECT_FALSE(FileExists(path));
  }
  EXPECT_FALSE(FileExists(path)) << "a filter that never paused leaves no file";
}

TEST_F(FileWriterTest, AllocatorComesFromUpstreamWith512ByteAlignment) {
  Ref<IBaseFilter> writer(NewFileWriter());
  Ref<IPin> pin(FindPin(writer.Get(), PINDIR_INPUT));
  Ref<IMemInputPin> memInput;
  ASSERT_EQ(pin->QueryInterface(IID_IMemInputPin, memInput.OutVoid()), S_OK);
  ALLOCATOR_PROPERTIES props = {1, 2, 3, 4};
  EXPECT_EQ(memInput->GetAllocatorRequirements(&props), S_OK);
  EXPECT_EQ(props.cBuffers, 0);
  EXPECT_EQ(props.cbBuffer, 0);
  EXPECT_EQ(props.cbAlign, 512);
  EXPECT_EQ(props.cbPrefix, 0);
  Ref<IMemAllocator> allocator;
  EXPECT_EQ(memInput->GetAllocator(allocator.Out()), E_INVALIDARG);
  EXPECT_EQ(memInput->ReceiveCanBlock(), S_OK);
}

TEST_F(FileWriterTest, SampleTimesAreFileOffsetsAndTheSpanIsWritten) {
  const std::wstring path = dir + L"samples.bin";
  std::string first(512, 'a');
  std::string second(512, '\0');
  second.replace(0, 6, "second");
  FileWriterGraph graph({Block(first, 0, 512, 9), Block(second, 0, 512, 6), Block("tail", 1000, 1004)}, path);
  ASSERT_EQ(graph.connectResult, S_OK);
  ASSERT_EQ(graph.control->Run(), S_OK);
  long code = 0;
  EXPECT_EQ(graph.events->WaitForCompletion(10000, &code), S_OK);
  EXPECT_EQ(code, EC_COMPLETE);
  ASSERT_EQ(graph.control->Stop(), S_OK);

  EXPECT_TRUE(FileIsClosed(path)) << "nobody took IStream: Stop closes the file";
  const std::vector<char> bytes = ReadWholeFile(path);
  ASSERT_EQ(bytes.size(), 1004u);
  EXPECT_EQ(std::string(bytes.data(), 512), second) << "512 bytes (the time span) of the second sample";
  EXPECT_EQ(std::string(bytes.data() + 512, 488), std::string(488, '\0'));
  EXPECT_EQ(std::string(bytes.data() + 1000, 4), "tail");
}

TEST_F(FileWriterTest, EndOfStreamWhilePausedCompletesOnceAtRun) {
  const std::wstring path = dir + L"eos.bin";
  FileWriterGraph graph({Block("abc", 0, 3)}, path);
  ASSERT_EQ(graph.connectResult, S_OK);
  Ref<IMemInputPin> memInput;
  ASSERT_EQ(graph.input->QueryInterface(IID_IMemInputPin, memInput.OutVoid()), S_OK);
  ASSERT_EQ(graph.control->Pause(), S_OK);
  // The source delivers and ends its stream while the graph is paused.
  for (int i = 0; i < 200 && graph.source->Pin()->Delivered() < 1; ++i) Sleep(10);
  Sleep(100);
  std::vector<long> seen;
  EXPECT_FALSE(WaitForEvent(graph.events.Get(), EC_COMPLETE, 0, nullptr, &seen)) << "no EC_COMPLETE while paused";
  ASSERT_EQ(graph.control->Run(), S_OK);
  long code = 0;
  EXPECT_EQ(graph.events->WaitForCompletion(5000, &code), S_OK);
  EXPECT_EQ(code, EC_COMPLETE);
  ASSERT_EQ(graph.control->Stop(), S_OK);
  const std::vector<char> bytes = ReadWholeFile(path);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "abc");
}

TEST_F(FileWriterTest, IStreamWritesAfterStopUntilCommitClosesTheFile) {
  const std::wstring path = dir + L"mux.bin";
  FileWriterGraph graph({Block(std::string(16, 'd'), 16, 32)}, path);
  ASSERT_EQ(graph.connectResult, S_OK);
  Ref<IStream> stream;
  ASSERT_EQ(graph.input->QueryInterface(IID_IStream, stream.OutVoid()), S_OK);
  ASSERT_EQ(graph.control->Run(), S_OK);
  long code = 0;
  EXPECT_EQ(graph.events->WaitForCompletion(5000, &code), S_OK);
  ASSERT_EQ(graph.control->Stop(), S_OK);

  // What a multiplexer does in its own Stop: headers through IStream.
  EXPECT_FALSE(FileIsClosed(path)) << "the file stays open for the multiplexer";
  LARGE_INTEGER zero = {};
  ULARGE_INTEGER position = {};
  EXPECT_EQ(stream->Seek(zero, STREAM_SEEK_END, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 32u);
  LARGE_INTEGER head = {};
  EXPECT_EQ(stream->Seek(head, STREAM_SEEK_SET, &position), S_OK);
  ULONG written = 0;
  EXPECT_EQ(stream->Write("RIFFhead", 8, &written), S_OK);
  EXPECT_EQ(written, 8u);
  EXPECT_EQ(stream->Seek(zero, STREAM_SEEK_CUR, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 8u);
  char back[4] = {};
  ULONG read = 0;
  LARGE_INTEGER four = {};
  four.QuadPart = 4;
  EXPECT_EQ(stream->Seek(four, STREAM_SEEK_SET, nullptr), S_OK);
  EXPECT_EQ(stream->Read(back, 4, &read), S_OK);
  EXPECT_EQ(std::string(back, 4), "head");
  STATSTG stat = {};
  EXPECT_EQ(stream->Stat(&stat, STATFLAG_DEFAULT), S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, 32u);
  EXPECT_EQ(std::wstring(stat.pwcsName), path);
  CoTaskMemFree(stat.pwcsName);

  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_TRUE(FileIsClosed(path));
  EXPECT_EQ(stream->Write("late", 4, &written), E_UNEXPECTED);
  const std::vector<char> bytes = ReadWholeFile(path);
  ASSERT_EQ(bytes.size(), 32u);
  EXPECT_EQ(std::string(bytes.data(), 8), "RIFFhead");
  EXPECT_EQ(std::string(bytes.data() + 8, 8), std::string(8, '\0'));
  EXPECT_EQ(std::string(bytes.data() + 16, 16), std::string(16, 'd'));
}

// A multiplexer took the pin's IStream but never committed: the file stays
// open after Stop until one of the other ends of its life.
class FileLeftOpenTest : public FileWriterTest {
 protected:
  void RecordWithoutCommit(FileWriterGraph& graph) {
    ASSERT_EQ(graph.connectResult, S_OK);
    ASSERT_EQ(graph.input->QueryInterface(IID_IStream, stream.OutVoid()), S_OK);
    ASSERT_EQ(graph.control->Run(), S_OK);
    long code = 0;
    EXPECT_EQ(graph.events->WaitForCompletion(5000, &code), S_OK);
    ASSERT_EQ(graph.control->Stop(), S_OK);
    EXPECT_FALSE(FileIsClosed(path));
  }

  std::wstring path = dir + L"left-open.bin";
  Ref<IStream> stream;
};

TEST_F(FileLeftOpenTest, TheNextRunClosesItAndWritesTheFileAnew) {
  FileWriterGraph graph({Block("0123456789", 0, 10)}, path);
  RecordWithoutCommit(graph);
  // The second run (the source has nothing more to send) starts a new file
  // in place of the old one.
  ASSERT_EQ(graph.control->Run(), S_OK);
  ULONG written = 0;
  ASSERT_EQ(stream->Write("new", 3, &written), S_OK);
  ASSERT_EQ(graph.control->Stop(), S_OK);
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
  EXPECT_TRUE(FileIsClosed(path));
  const std::vector<char> bytes = ReadWholeFile(path);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "new");
}

TEST_F(FileLeftOpenTest, DisconnectingThePinClosesIt) {
  FileWriterGraph graph({Block("0123456789", 0, 10)}, path);
  RecordWithoutCommit(graph);
  ASSERT_EQ(graph.graph->Disconnect(graph.input.Get()), S_OK);
  EXPECT_TRUE(FileIsClosed(path));
  EXPECT_EQ(ReadWholeFile(path).size(), 10u);
}

TEST_F(FileLeftOpenTest, ReleasingTheFilterClosesIt) {
  {
    FileWriterGraph graph({Block("0123456789", 0, 10)}, path);
    RecordWithoutCommit(graph);
    stream.Reset();
  }
  EXPECT_TRUE(FileIsClosed(path));
  EXPECT_EQ(ReadWholeFile(path).size(), 10u);
}

TEST_F(FileWriterTest, UnwritablePathFailsRunWithPathNotFoundAndTheGraphStillStops) {
  const std::wstring path = dir + L"missing-folder\\out.avi";
  FileWriterGraph graph({Block("x", 0, 1)}, path);
  ASSERT_EQ(graph.connectResult, S_OK);
  const DWORD before = GetTickCount();
  // The writer's Run fails; Wine's graph manager does not pass that on
  // (Windows' does), so Run's result is not asserted here.
  graph.control->Run();
  EXPECT_LT(GetTickCount() - before, 5000u);
  LONG_PTR param = 0;
  EXPECT_TRUE(WaitForEvent(graph.events.Get(), EC_ERRORABORT, 2000, &param));
  EXPECT_EQ(static_cast<HRESULT>(param), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  // The source's delivery is refused with the same HRESULT.
  for (int i = 0; i < 200 && graph.source->PeekStreamError() == S_OK; ++i) Sleep(10);
  EXPECT_EQ(graph.source->PeekStreamError(), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  EXPECT_FALSE(FileExists(path));

  // The graph counts as running, so Stop reaches every filter (and the
  // graph can be emptied and released).
  EXPECT_EQ(graph.control->Stop(), S_OK);
  FILTER_STATE state = State_Running;
  EXPECT_EQ(graph.source->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Stopped);
  EXPECT_EQ(graph.writer->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Stopped);
}

TEST_F(FileWriterTest, RunOfTheFilterItselfFailsWhenTheFileCannotBeOpened) {
  Ref<IBaseFilter> writer(NewFileWriter());
  Ref<IFileSinkFilter> sink;
  ASSERT_EQ(writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid()), S_OK);
  ASSERT_EQ(sink->SetFileName((dir + L"no\\such\\folder.avi").c_str(), nullptr), S_OK);
  EXPECT_EQ(writer->Pause(), S_OK) << "Pause does not fail: Wine's graph could not stop the others then";
  EXPECT_EQ(writer->Run(0), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  Ref<IPin> pin(FindPin(writer.Get(), PINDIR_INPUT));
  Ref<IStream> stream;
  ASSERT_EQ(pin->QueryInterface(IID_IStream, stream.OutVoid()), S_OK);
  ULONG written = 7;
  EXPECT_EQ(stream->Write("abc", 3, &written), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(writer->Stop(), S_OK);
}

TEST_F(FileWriterTest, AFailedWriteIsReturnedAndReportedAsErrorAbort) {
  const std::wstring path = dir + L"huge-offset.bin";
  FileWriterGraph graph({}, path);
  ASSERT_EQ(graph.connectResult, S_OK);
  Ref<IStream> stream;
  ASSERT_EQ(graph.input->QueryInterface(IID_IStream, stream.OutVoid()), S_OK);
  ASSERT_EQ(graph.control->Pause(), S_OK);
  // Far beyond any file system's largest file.
  LARGE_INTEGER beyond = {};
  beyond.QuadPart = 0x7ff0000000000000LL;
  ASSERT_EQ(stream->Seek(beyond, STREAM_SEEK_SET, nullptr), S_OK);
  ULONG written = 0;
  const HRESULT hr = stream->Write("x", 1, &written);
  EXPECT_TRUE(FAILED(hr)) << std::hex << hr;
  EXPECT_EQ(written, 0u);
  LONG_PTR param = 0;
  EXPECT_TRUE(WaitForEvent(graph.events.Get(), EC_ERRORABORT, 2000, &param));
  EXPECT_EQ(static_cast<HRESULT>(param), hr);
  graph.control->Stop();
  EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
}
