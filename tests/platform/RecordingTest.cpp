// Recordings through the platform pack in Wine's real filter graph: the
// project's raw frame and audio sources -> the pack's AVI Mux -> the pack's
// File Writer, built as the movie writer builds its graph, and every movie
// read back with ffprobe/ffmpeg.

#include "tests/common/UnixTools.h"
#include "tests/platform-mux/Probe.h"
#include "tests/platform/GraphTestHelpers.h"
#include "tests/platform/PcmAudioInput.h"
#include "tests/platform/RawVideoInput.h"
#include "tests/platform/RecordingGraph.h"

#include <dshow.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace platformtest;
using Bytes = std::vector<std::uint8_t>;

namespace {

constexpr double kFps = 25.0;
constexpr unsigned __int64 kFrameTime = 400000;  // 100-ns units at 25 fps

int BitsOf(UINT code) {
  static const int bits[] = {24, 32, 8, 16};
  return bits[code];
}

size_t StrideOf(UINT code, UINT width) {
  return ((static_cast<size_t>(width) * BitsOf(code) / 8) + 3) & ~static_cast<size_t>(3);
}

// A host frame: stride * |height| bytes, different in every frame.
Bytes MakeFrame(UINT code, UINT width, int height, int index) {
  Bytes frame(StrideOf(code, width) * static_cast<size_t>(height < 0 ? -height : height));
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<std::uint8_t>(i * 7 + index * 31 + (i >> 9));
  return frame;
}

// What the movie holds for a host frame: the same rows, bottom row first
// when the host's rows are top-down (negative height).
Bytes StoredFrame(const Bytes& frame, UINT code, UINT width, int height) {
  if (height > 0) return frame;
  const size_t stride = StrideOf(code, width);
  const size_t rows = static_cast<size_t>(-height);
  Bytes stored(frame.size());
  for (size_t r = 0; r < rows; ++r)
    std::copy(frame.begin() + (rows - 1 - r) * stride, frame.begin() + (rows - r) * stride,
              stored.begin() + r * stride);
  return stored;
}

Bytes MakeAudioBlock(size_t size, int index) {
  Bytes block(size);
  for (size_t i = 0; i < size; ++i) block[i] = static_cast<std::uint8_t>(i * 3 + index * 101 + (i >> 7));
  return block;
}

std::string StreamInfo(const std::wstring& file, const std::string& stream, const std::string& entries) {
  return muxtest::Ffprobe("-select_streams " + stream + " -show_entries stream=" + entries + " -of csv=p=0", file);
}

// The chunk sizes of one stream's entries in the legacy index (idx1), in
// order; chunkId such as "00db".
std::vector<long long> IndexSizes(const std::wstring& file, const std::string& chunkId) {
  const std::vector<std::uint8_t> bytes = muxtest::ReadFileBytes(file);
  const std::string text(bytes.begin(), bytes.end());
  std::vector<long long> sizes;
  const size_t at = text.rfind("idx1");
  if (at == std::string::npos || at + 8 > bytes.size()) return sizes;
  auto dword = [&](size_t offset) {
    return static_cast<long long>(bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 |
                                  static_cast<std::uint32_t>(bytes[offset + 3]) << 24);
  };
  const size_t end = std::min(bytes.size(), at + 8 + static_cast<size_t>(dword(at + 4)));
  for (size_t entry = at + 8; entry + 16 <= end; entry += 16) {
    if (text.compare(entry, 4, chunkId) == 0) sizes.push_back(dword(entry + 12));
  }
  return sizes;
}

// Waits for the end of the recording (EC_COMPLETE from the File Writer once
// the mux has ended its stream), then stops the graph.
void FinishRecording(RecordingGraph& graph) {
  long code = 0;
  EXPECT_EQ(graph.Events()->WaitForCompletion(10000, &code), S_OK);
  EXPECT_EQ(code, EC_COMPLETE);
  EXPECT_EQ(graph.Control()->Stop(), S_OK);
}

class RecordingTest : public ::testing::Test {
 protected:
  ComScope com;
  std::wstring dir = tavtest::MakeTempDir();
};

}  // namespace

TEST_F(RecordingTest, ThePackServesTheMuxAndTheFileWriter) {
  RecordingGraph graph;
  ASSERT_EQ(graph.Created(), S_OK);
  Ref<IPin> writerIn(FindPin(graph.Writer(), PINDIR_INPUT));
  Ref<IUnknown> unknown;
  EXPECT_EQ(writerIn->QueryInterface(IID_IStream, unknown.OutVoid()), S_OK);
  EXPECT_EQ(graph.Writer()->QueryInterface(IID_IFileSinkFilter2, unknown.OutVoid()), S_OK);
  Ref<IPin> muxOut(FindPin(graph.Mux(), PINDIR_OUTPUT));
  PIN_INFO info = {};
  ASSERT_EQ(muxOut->QueryPinInfo(&info), S_OK);
  info.pFilter->Release();
  EXPECT_STREQ(info.achName, L"AVI Out");
}

struct FormatCase {
  UINT code;
  UINT width;
  int height;
  const char* pixFmt;
};

std::ostream& operator<<(std::ostream& out, const FormatCase& c) {
  return out << "code " << c.code << " " << c.width << "x" << c.height;
}

class PixelFormatRecordingTest : public RecordingTest, public ::testing::WithParamInterface<FormatCase> {};

TEST_P(PixelFormatRecordingTest, EveryFrameIsInTheMovieByteForByte) {
  const FormatCase c = GetParam();
  const std::wstring file = dir + L"video.avi";
  RawVideoInput video(c.code, c.width, c.height, kFps);
  ASSERT_EQ(video.InitResult(), S_OK);
  RecordingGraph graph;
  ASSERT_EQ(graph.Created(), S_OK);
  ASSERT_EQ(graph.Build(video.Filter(), video.OutputPin(), nullptr, nullptr, file), S_OK);
  ASSERT_EQ(graph.Control()->Run(), S_OK);

  constexpr int kFrames = 5;
  Bytes expected;
  for (int i = 0; i < kFrames; ++i) {
    const Bytes frame = MakeFrame(c.code, c.width, c.height, i);
    ASSERT_EQ(video.Push(frame.data(), static_cast<int>(frame.size()), 1000 + i * kFrameTime, i + 1), S_OK);
    const Bytes stored = StoredFrame(frame, c.code, c.width, c.height);
    expected.insert(expected.end(), stored.begin(), stored.end());
  }
  video.End();
  FinishRecording(graph);

  std::ostringstream info;
  info << "rawvideo,video," << c.width << "," << (c.height < 0 ? -c.height : c.height) << "," << c.pixFmt;
  EXPECT_EQ(muxtest::Lines(StreamInfo(file, "v:0", "codec_type,codec_name,width,height,pix_fmt")),
            std::vector<std::string>{info.str()});
  const std::vector<muxtest::Packet> packets = muxtest::Packets(file, "v:0");
  ASSERT_EQ(packets.size(), static_cast<size_t>(kFrames));
  for (int i = 0; i < kFrames; ++i) {
    EXPECT_EQ(packets[i].pts, i);
    EXPECT_EQ(packets[i].size, static_cast<long long>(expected.size() / kFrames));
  }
  EXPECT_TRUE(muxtest::StreamBytes(file, "v:0") == expected) << "the frames' bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Formats, PixelFormatRecordingTest,
                         ::testing::Values(FormatCase{0, 64, 48, "bgr24"}, FormatCase{0, 64, -48, "bgr24"},
                                           FormatCase{1, 64, 48, "bgra"}, FormatCase{1, 64, -48, "bgra"},
                                           FormatCase{2, 64, 48, "pal8"}, FormatCase{2, 64, -48, "pal8"},
                                           FormatCase{3, 64, 48, "yuyv422"}, FormatCase{3, 64, -48, "yuyv422"},
                                           FormatCase{0, 641, -7, "bgr24"}, FormatCase{2, 641, 5, "pal8"},
                                           FormatCase{1, 641, -3, "bgra"}));

TEST_F(RecordingTest, DroppedFramesKeepTheirSlotsAsZeroLengthEntries) {
  const std::wstring file = dir + L"gaps.avi";
  RawVideoInput video(0, 32, 16, kFps);
  RecordingGraph graph;
  ASSERT_EQ(graph.Build(video.Filter(), video.OutputPin(), nullptr, nullptr, file), S_OK);
  ASSERT_EQ(graph.Control()->Run(), S_OK);
  const unsigned __int64 numbers[] = {1, 2, 3, 6, 7};
  Bytes expected;
  for (int i = 0; i < 5; ++i) {
    const Bytes frame = MakeFrame(0, 32, 16, i);
    ASSERT_EQ(video.Push(frame.data(), static_cast<int>(frame.size()), (numbers[i] - 1) * kFrameTime, numbers[i]),
              S_OK);
    expected.insert(expected.end(), frame.begin(), frame.end());
  }
  video.End();
  FinishRecording(graph);

  // ffprobe lists the frames in their slots (3 and 4 are empty)...
  const std::vector<muxtest::Packet> packets = muxtest::Packets(file, "v:0");
  std::vector<long long> pts;
  for (const muxtest::Packet& p : packets) pts.push_back(p.pts);
  EXPECT_EQ(pts, (std::vector<long long>{0, 1, 2, 5, 6}));
  // ...because the index holds a zero-length entry for each dropped frame.
  const long long frameSize = 32 * 3 * 16;
  EXPECT_EQ(IndexSizes(file, "00db"),
            (std::vector<long long>{frameSize, frameSize, frameSize, 0, 0, frameSize, frameSize}));
  EXPECT_TRUE(muxtest::StreamBytes(file, "v:0") == expected);
}

struct AudioCase {
  int bits;
  bool outputFirst;
};

std::ostream& operator<<(std::ostream& out, const AudioCase& c) {
  return out << c.bits << "-bit, output " << (c.outputFirst ? "first" : "last");
}

class AudioVideoRecordingTest : public RecordingTest, public ::testing::WithParamInterface<AudioCase> {};

TEST_P(AudioVideoRecordingTest, AudioIsStreamZeroAndBothStreamsAreExact) {
  const AudioCase c = GetParam();
  const std::wstring file = dir + L"av.avi";
  RawVideoInput video(1, 48, -32, kFps);
  PcmAudioInput audio(c.bits, 10);
  ASSERT_EQ(audio.InitResult(), S_OK);
  RecordingGraph graph;
  ASSERT_EQ(graph.Build(video.Filter(), video.OutputPin(), audio.Filter(), audio.OutputPin(), file, c.outputFirst),
            S_OK);
  ASSERT_EQ(graph.Control()->Run(), S_OK);

  // 10 frames at 25 fps and 4 blocks of 0.1 s: 0.4 s of each.
  const size_t blockSize = 4800 * 2 * static_cast<size_t>(c.bits / 8);
  Bytes expectedVideo;
  Bytes expectedAudio;
  for (int i = 0; i < 10; ++i) {
    if (i % 5 == 0 || i % 5 == 3) {
      const int n = static_cast<int>(expectedAudio.size() / blockSize);
      const Bytes block = MakeAudioBlock(blockSize, n);
      ASSERT_EQ(audio.Push(block.data(), static_cast<int>(block.size()), n * 1000000ull, n + 1), S_OK);
      expectedAudio.insert(expectedAudio.end(), block.begin(), block.end());
    }
    const Bytes frame = MakeFrame(1, 48, -32, i);
    ASSERT_EQ(video.Push(frame.data(), static_cast<int>(frame.size()), i * kFrameTime, i + 1), S_OK);
    const Bytes stored = StoredFrame(frame, 1, 48, -32);
    expectedVideo.insert(expectedVideo.end(), stored.begin(), stored.end());
  }
  audio.End();
  video.End();
  FinishRecording(graph);

  const std::string codec = c.bits == 16 ? "pcm_s16le" : "pcm_s24le";
  EXPECT_EQ(muxtest::Lines(StreamInfo(file, "0", "index,codec_type,codec_name,sample_rate,channels")),
            std::vector<std::string>{"0," + codec + ",audio,48000,2"});
  EXPECT_EQ(muxtest::Lines(StreamInfo(file, "1", "index,codec_type,codec_name,width,height")),
            std::vector<std::string>{"1,rawvideo,video,48,32"});
  // (ffmpeg splits PCM chunks into packets of its own size: bytes are compared.)
  EXPECT_EQ(muxtest::Packets(file, "1").size(), 10u);
  EXPECT_TRUE(muxtest::StreamBytes(file, "0") == expectedAudio) << "the audio bytes differ";
  EXPECT_TRUE(muxtest::StreamBytes(file, "1") == expectedVideo) << "the video bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Orders, AudioVideoRecordingTest,
                         ::testing::Values(AudioCase{16, false}, AudioCase{16, true}, AudioCase{24, false},
                                           AudioCase{24, true}));

TEST_F(RecordingTest, StoppingWhileTheSourceStillDeliversLeavesACompleteMovie) {
  const std::wstring file = dir + L"busy.avi";
  RawVideoInput video(0, 64, 48, kFps);
  RecordingGraph graph;
  ASSERT_EQ(graph.Build(video.Filter(), video.OutputPin(), nullptr, nullptr, file), S_OK);
  ASSERT_EQ(graph.Control()->Run(), S_OK);

  std::atomic<bool> quit{false};
  std::atomic<int> pushed{0};
  std::vector<Bytes> frames;
  for (int i = 0; i < 64; ++i) frames.push_back(MakeFrame(0, 64, 48, i));
  std::thread host([&] {
    for (int i = 0; !quit && i < 100000; ++i) {
      const Bytes& frame = frames[i % frames.size()];
      if (video.Push(frame.data(), static_cast<int>(frame.size()), i * kFrameTime, i + 1) != S_OK) break;
      ++pushed;
    }
  });
  while (pushed < 20) Sleep(5);
  // The host stops handing frames in before the stop, as the writer's main
  // mutex makes it do; the pin may still be delivering the last frame. A
  // stop that finds the pin waiting for a frame it will never get would
  // wait for ever, so the stream is ended first, as the writer does.
  quit = true;
  host.join();
  // Every frame handed over before the last one has been delivered (the pin
  // asks for the next frame only after delivering the previous one).
  const int deliveredBeforeStop = pushed - 1;
  video.End();
  const DWORD before = GetTickCount();
  EXPECT_EQ(graph.Control()->Stop(), S_OK);
  EXPECT_LT(GetTickCount() - before, 5000u);

  const std::vector<muxtest::Packet> packets = muxtest::Packets(file, "v:0");
  ASSERT_GE(packets.size(), static_cast<size_t>(deliveredBeforeStop));
  EXPECT_LE(packets.size(), static_cast<size_t>(pushed.load()));
  const Bytes bytes = muxtest::StreamBytes(file, "v:0");
  ASSERT_EQ(bytes.size(), packets.size() * frames[0].size());
  for (size_t i = 0; i < packets.size(); ++i) {
    EXPECT_EQ(packets[i].pts, static_cast<long long>(i));
    EXPECT_TRUE(std::equal(frames[i % frames.size()].begin(), frames[i % frames.size()].end(),
                           bytes.begin() + i * frames[0].size()))
        << "frame " << i;
  }
}

TEST_F(RecordingTest, AnUnwritablePathGivesAClearHResultAndNoHang) {
  const std::wstring file = dir + L"no-such-folder\\movie.avi";
  RawVideoInput video(0, 64, 48, kFps);
  RecordingGraph graph;
  ASSERT_EQ(graph.Build(video.Filter(), video.OutputPin(), nullptr, nullptr, file), S_OK);
  const DWORD before = GetTickCount();
  graph.Control()->Run();  // Wine's graph manager does not pass a filter's Run failure on
  LONG_PTR param = 0;
  EXPECT_TRUE(WaitForEvent(graph.Events(), EC_ERRORABORT, 5000, &param));
  EXPECT_EQ(static_cast<HRESULT>(param), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));

  // The frame is refused downstream with the same HRESULT, which the
  // source keeps for the host.
  const Bytes frame = MakeFrame(0, 64, 48, 0);
  video.Push(frame.data(), static_cast<int>(frame.size()), 0, 1);
  for (int i = 0; i < 500 && video.StreamError() == S_OK; ++i) Sleep(10);
  EXPECT_EQ(video.StreamError(), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  video.End();
  EXPECT_EQ(graph.Control()->Stop(), S_OK);
  EXPECT_LT(GetTickCount() - before, 10000u);
  EXPECT_FALSE(FileExists(file));
}
