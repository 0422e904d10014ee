// End to end: movies recorded through the public functions alone, read back
// with ffprobe and ffmpeg. Frames are checked byte for byte as the AVI stores
// them (bottom-up DIB rows, each padded to 4 bytes).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const long long kFrame25 = 400000;  // one frame at 25 fps, in 100 ns

int BitsOf(unsigned pixelFormat) {
  switch (pixelFormat) {
    case TAVMM_PIXEL_RGB32:
      return 32;
    case TAVMM_PIXEL_GREY8:
      return 8;
    case TAVMM_PIXEL_YUY2:
      return 16;
    default:
      return 24;
  }
}

int StrideOf(int width, unsigned pixelFormat) { return (width * BitsOf(pixelFormat) + 31) / 32 * 4; }

// A frame whose every byte depends on its frame, row and column.
std::string MakeFrame(int width, int height, unsigned pixelFormat, int index) {
  const int stride = StrideOf(width, pixelFormat);
  std::string frame(static_cast<size_t>(stride) * height, '\0');
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < stride; ++x) frame[y * stride + x] = static_cast<char>(index * 31 + y * 7 + x * 3);
  return frame;
}

// The frame as the AVI stores it: as handed in for a positive height, rows
// reversed for a negative one.
std::string StoredFrame(const std::string& frame, int height, int stride) {
  if (height > 0) return frame;
  std::string stored;
  for (int y = -height - 1; y >= 0; --y) stored += frame.substr(static_cast<size_t>(y) * stride, stride);
  return stored;
}

std::vector<long long> SlotsOfFrames(const std::vector<Packet>& packets) {
  std::vector<long long> slots;
  for (const Packet& p : packets)
    if (p.size > 0) slots.push_back(p.pts);
  return slots;
}

class Movie : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
  }

  // Sets up a writer; stops the test when InitEx fails (call it through
  // ASSERT_NO_FATAL_FAILURE).
  void SetUpWriter(int* id, int width, int height, unsigned pixelFormat, double fps = 25.0) {
    *id = 0;
    ASSERT_EQ(dll.InitEx(width, height, fps, &pixelFormat, id), S_OK);
  }

  // Records `count` frames numbered from 0 at 25 fps and returns what was
  // handed in.
  std::vector<std::string> RecordFrames(int id, const std::wstring& movie, int width, int height, unsigned pixelFormat,
                                        int count) {
    std::vector<std::string> frames;
    EXPECT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
    for (int n = 0; n < count; ++n) {
      frames.push_back(MakeFrame(width, height < 0 ? -height : height, pixelFormat, n));
      EXPECT_EQ(dll.AddMovieFrame2(id, &frames.back()[0], static_cast<unsigned>(frames.back().size()), n * kFrame25, n),
                S_OK);
    }
    EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
    return frames;
  }

  void ExpectFramesStored(const std::wstring& movie, const std::vector<std::string>& frames, int height, int stride) {
    std::string expected;
    for (const std::string& f : frames) expected += StoredFrame(f, height, stride);
    std::string stored = StreamBytes(movie, "v:0");
    EXPECT_EQ(stored.size(), expected.size());
    EXPECT_TRUE(stored == expected) << "frame bytes differ";
  }

  void RecordAndCheck(int width, int height, unsigned pixelFormat, const std::string& pixFmt) {
    int id = 0;
    ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, width, height, pixelFormat));
    std::wstring movie = dir + L"movie.avi";
    std::vector<std::string> frames = RecordFrames(id, movie, width, height, pixelFormat, 6);
    auto video = ProbeStream(movie, "v:0");
    EXPECT_EQ(video["codec_name"], "rawvideo") << video["error"];
    EXPECT_EQ(video["width"], std::to_string(width));
    EXPECT_EQ(video["height"], std::to_string(height < 0 ? -height : height));
    EXPECT_EQ(video["pix_fmt"], pixFmt);
    EXPECT_EQ(video["r_frame_rate"], "25/1");
    EXPECT_EQ(video["nb_frames"], "6");
    ExpectFramesStored(movie, frames, height, StrideOf(width, pixelFormat));
    dll.Release(id);
  }

  MovieMakerDll dll;
  std::wstring dir = MakeTempDir();
};

TEST_F(Movie, Rgb24PositiveHeight) { RecordAndCheck(32, 16, TAVMM_PIXEL_RGB24, "bgr24"); }
TEST_F(Movie, Rgb24NegativeHeightOddWidth) { RecordAndCheck(641, -6, TAVMM_PIXEL_RGB24, "bgr24"); }
TEST_F(Movie, Rgb32) { RecordAndCheck(20, -10, TAVMM_PIXEL_RGB32, "bgra"); }
TEST_F(Movie, Grey) { RecordAndCheck(30, 12, TAVMM_PIXEL_GREY8, "pal8"); }
TEST_F(Movie, Yuy2) { RecordAndCheck(32, -8, TAVMM_PIXEL_YUY2, "yuyv422"); }

TEST_F(Movie, PlainAddMovieFrameDetectsDropsByCaptureTime) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  std::wstring movie = dir + L"time-drops.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::string frame = MakeFrame(16, 8, TAVMM_PIXEL_RGB24, 1);
  // Three frames in their slots, then one 1,400,001 after the first: two
  // slots are counted as dropped, so it lands in slot 5, the next in slot 6.
  for (long long t : {0LL, kFrame25, 2 * kFrame25, 1400001LL, 1800001LL})
    ASSERT_EQ(dll.AddMovieFrame(id, &frame[0], static_cast<unsigned>(frame.size()), t), S_OK);
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddMovieFrame -> Enter")), 5);
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddMovieFrame2 -> Enter")), 0);
  EXPECT_EQ(Count(lines, Trace(L"Frame dropped: m_pPin->m_cDrop=2")), 1) << Dump(lines);
  EXPECT_EQ(SlotsOfFrames(ProbePackets(movie, "v:0")), (std::vector<long long>{0, 1, 2, 5, 6}));
}

TEST_F(Movie, FrameNumbersDetectDrops) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  std::wstring movie = dir + L"number-drops.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::string frame = MakeFrame(16, 8, TAVMM_PIXEL_RGB24, 2);
  // 7 then 10 counts two dropped frames.
  for (long long n : {5LL, 6LL, 7LL, 10LL, 11LL})
    ASSERT_EQ(dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n), S_OK);
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Trace(L"Frame dropped: m_pPin->m_cDrop=2")), 1) << Dump(lines);
  EXPECT_EQ(SlotsOfFrames(ProbePackets(movie, "v:0")), (std::vector<long long>{0, 1, 2, 5, 6}));
}

TEST_F(Movie, BreakFrameBeforeAGapCountsNoDrop) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  std::wstring movie = dir + L"break.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::string frame = MakeFrame(16, 8, TAVMM_PIXEL_RGB24, 3);
  for (long long n : {0LL, 1LL, 2LL})
    ASSERT_EQ(dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n), S_OK);
  ASSERT_EQ(dll.AddBreakFrame(id), S_OK);
  for (long long n : {6LL, 7LL})
    ASSERT_EQ(dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n), S_OK);
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Trace(L"Break Frame! m_pPin->m_cDrop=0")), 1) << Dump(lines);
  EXPECT_EQ(SlotsOfFrames(ProbePackets(movie, "v:0")), (std::vector<long long>{0, 1, 2, 3, 4}));
}

// One audio block per video frame: 48000 / 25 = 1920 stereo sample frames.
// The plain AddAudioSample (number -1) goes through the writer's AddAudioSample.
void RecordWithAudio(MovieMakerDll& dll, const std::wstring& movie, unsigned bits, bool plain,
                     std::string* audioHandedIn) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
  ASSERT_EQ(dll.SetAudioStream(id, bits), S_OK);
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  const int bytesPerFrame = bits == 16 ? 4 : 6;
  const int kFrames = 10;
  for (int n = 0; n < kFrames; ++n) {
    std::string frame = MakeFrame(16, 8, TAVMM_PIXEL_RGB24, n);
    ASSERT_EQ(dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n), S_OK);
    std::string block(static_cast<size_t>(1920 * bytesPerFrame), '\0');
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(n * 13 + i * 5);
    HRESULT hr = plain ? dll.AddAudioSample(id, &block[0], static_cast<unsigned>(block.size()), n * kFrame25)
                       : dll.AddAudioSample2(id, &block[0], static_cast<unsigned>(block.size()), n * kFrame25, n);
    ASSERT_EQ(hr, S_OK);
    *audioHandedIn += block;
  }
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  dll.Release(id);
}

void ExpectAudioMovie(const std::wstring& movie, const std::string& codec, const std::string& audioHandedIn) {
  auto audio = ProbeStream(movie, "0");
  auto video = ProbeStream(movie, "1");
  EXPECT_EQ(audio["codec_type"], "audio") << audio["error"];
  EXPECT_EQ(audio["codec_name"], codec);
  EXPECT_EQ(audio["sample_rate"], "48000");
  EXPECT_EQ(audio["channels"], "2");
  EXPECT_EQ(video["codec_type"], "video");
  EXPECT_EQ(video["nb_frames"], "10");
  EXPECT_EQ(StreamBytes(movie, "a:0") == audioHandedIn, true) << "audio bytes differ";
  // Both streams last 10 frames: 0.4 s (PCM counts its sample frames).
  ASSERT_FALSE(audio["nb_frames"].empty());
  EXPECT_EQ(std::stoll(audio["nb_frames"]), 10 * 1920);
  EXPECT_NEAR(std::stoll(audio["nb_frames"]) / 48000.0, 0.4, 1e-9);
  ASSERT_FALSE(video["duration"].empty());
  EXPECT_NEAR(std::stod(video["duration"]), 0.4, 0.001);
}

TEST_F(Movie, Audio16BitWithVideo) {
  std::wstring movie = dir + L"audio16.avi";
  std::string audio;
  RecordWithAudio(dll, movie, 16, false, &audio);
  ExpectAudioMovie(movie, "pcm_s16le", audio);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddAudioSample2 -> Enter")), 10);
  EXPECT_EQ(Count(lines, Trace(L"pAviWriter->AddMovieSample")), 10);
}

TEST_F(Movie, Audio24BitWithVideo) {
  std::wstring movie = dir + L"audio24.avi";
  std::string audio;
  RecordWithAudio(dll, movie, 24, true, &audio);
  ExpectAudioMovie(movie, "pcm_s24le", audio);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddAudioSample -> Enter")), 10);
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddAudioSample2 -> Enter")), 0);
}

TEST_F(Movie, MsRleCompressedGrey) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 32, 16, TAVMM_PIXEL_GREY8));
  int count = 0, maxLength = 0;
  ASSERT_EQ(dll.GetCompressors(id, nullptr, &count, &maxLength), S_OK);
  ASSERT_GT(count, 1);
  std::vector<std::wstring> buffers(static_cast<size_t>(count), std::wstring(static_cast<size_t>(maxLength), L'\0'));
  std::vector<wchar_t*> names;
  for (std::wstring& b : buffers) names.push_back(&b[0]);
  ASSERT_EQ(dll.GetCompressors(id, names.data(), &count, &maxLength), S_OK);
  std::wstring rle;
  for (wchar_t* name : names)
    if (std::wstring(name).find(L"RLE") != std::wstring::npos) rle = name;
  ASSERT_FALSE(rle.empty()) << "no RLE compressor listed";
  bool hasDialog = false;
  ASSERT_EQ(dll.SetCompressor(id, rle.c_str(), &hasDialog), S_OK);

  std::wstring movie = dir + L"rle.avi";
  // Flat areas compress: a few grey bands per frame.
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::vector<std::string> frames;
  for (int n = 0; n < 4; ++n) {
    std::string frame(32 * 16, '\0');
    for (int i = 0; i < 32 * 16; ++i) frame[i] = static_cast<char>(((i / 32) / 4) * 40 + n * 10);
    frames.push_back(frame);
    ASSERT_EQ(dll.AddMovieFrame2(id, &frames.back()[0], 32 * 16, n * kFrame25, n), S_OK);
  }
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  auto video = ProbeStream(movie, "v:0");
  EXPECT_EQ(video["codec_name"], "msrle") << video["error"];
  EXPECT_EQ(video["nb_frames"], "4");
  // Decoded top-down as grey; the grey palette maps each index to itself, and
  // the host's first row is the picture's bottom.
  std::wstring decoded = dir + L"rle.gray";
  UnixResult r = RunUnixCommand("ffmpeg -v error -y -i " + ShellQuote(UnixPathOf(movie)) +
                                " -f rawvideo -pix_fmt gray " + ShellQuote(UnixPathOf(decoded)));
  ASSERT_EQ(r.exitCode, 0) << r.output;
  std::string expected;
  for (const std::string& f : frames)
    for (int y = 15; y >= 0; --y) expected += f.substr(static_cast<size_t>(y) * 32, 32);
  // The codec may round a grey level by a step or two (it picks the nearest
  // colour of its own palette).
  std::string bytes = ReadBinaryFile(decoded);
  ASSERT_EQ(bytes.size(), expected.size());
  int farOff = 0;
  for (size_t i = 0; i < bytes.size(); ++i)
    if (std::abs(static_cast<unsigned char>(bytes[i]) - static_cast<unsigned char>(expected[i])) > 2) ++farOff;
  EXPECT_EQ(farOff, 0) << "decoded pixels differ by more than 2 levels";
}

TEST_F(Movie, TwoRecordingsInARowOnOneWriter) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  std::vector<std::string> first = RecordFrames(id, dir + L"first.avi", 16, 8, TAVMM_PIXEL_RGB24, 3);
  std::vector<std::string> second = RecordFrames(id, dir + L"second.avi", 16, 8, TAVMM_PIXEL_RGB24, 5);
  EXPECT_EQ(ProbeStream(dir + L"first.avi", "v:0")["nb_frames"], "3");
  EXPECT_EQ(ProbeStream(dir + L"second.avi", "v:0")["nb_frames"], "5");
  ExpectFramesStored(dir + L"second.avi", second, 8, 48);
}

// The second writer's record holds width and height crossed, as the registry
// has always stored a new ID's size: its movie comes out 32 wide, 16 high.
TEST_F(Movie, SecondWriterIdRecordsWithItsSizeCrossed) {
  int first = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&first, 24, 12, TAVMM_PIXEL_RGB24));
  int second = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&second, 16, 32, TAVMM_PIXEL_RGB24));
  ASSERT_EQ(first, 1);
  ASSERT_EQ(second, 2);
  std::vector<std::string> frames = RecordFrames(second, dir + L"second-id.avi", 32, 16, TAVMM_PIXEL_RGB24, 3);
  auto video = ProbeStream(dir + L"second-id.avi", "v:0");
  EXPECT_EQ(video["width"], "32") << video["error"];
  EXPECT_EQ(video["height"], "16");
  EXPECT_EQ(video["nb_frames"], "3");
  ExpectFramesStored(dir + L"second-id.avi", frames, 16, 96);
}

TEST_F(Movie, ReleaseThenInitAgainRecords) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  RecordFrames(id, dir + L"before.avi", 16, 8, TAVMM_PIXEL_RGB24, 2);
  dll.Release(id);
  int again = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&again, 24, 8, TAVMM_PIXEL_RGB24));
  EXPECT_EQ(again, 1);
  std::vector<std::string> frames = RecordFrames(again, dir + L"after.avi", 24, 8, TAVMM_PIXEL_RGB24, 4);
  auto video = ProbeStream(dir + L"after.avi", "v:0");
  EXPECT_EQ(video["width"], "24") << video["error"];
  EXPECT_EQ(video["nb_frames"], "4");
  ExpectFramesStored(dir + L"after.avi", frames, 8, 72);
}

TEST_F(Movie, InitWithWholeFpsRecordsAt25) {
  int id = 0;
  ASSERT_EQ(dll.Init(16, 8, 25, &id), S_OK);
  RecordFrames(id, dir + L"init.avi", 16, 8, TAVMM_PIXEL_RGB24, 3);
  auto video = ProbeStream(dir + L"init.avi", "v:0");
  EXPECT_EQ(video["r_frame_rate"], "25/1") << video["error"];
  EXPECT_EQ(video["pix_fmt"], "bgr24");
}

TEST_F(Movie, InitExAgainOnAnIdChangesItsSizeAndRate) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id, 16, 8, TAVMM_PIXEL_RGB24));
  unsigned pixelFormat = TAVMM_PIXEL_RGB24;
  int same = id;
  ASSERT_EQ(dll.InitEx(40, 20, 10.0, &pixelFormat, &same), S_OK);
  EXPECT_EQ(same, id);
  std::vector<std::string> frames = RecordFrames(id, dir + L"resized.avi", 40, 20, TAVMM_PIXEL_RGB24, 3);
  auto video = ProbeStream(dir + L"resized.avi", "v:0");
  EXPECT_EQ(video["width"], "40") << video["error"];
  EXPECT_EQ(video["height"], "20");
  EXPECT_EQ(video["r_frame_rate"], "10/1");
  ExpectFramesStored(dir + L"resized.avi", frames, 20, 120);
}

}  // namespace
}  // namespace tavtest
