// TavMovieMaker.hpp as a C++ host uses it: linked against the import
// library, every wrapper called, movies read back with ffprobe. Each case runs
// in its own process, so the first writer of a case always gets ID 1.
#include <TavMovieMaker.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const long long kFrame25 = 400000;  // one frame at 25 fps, in 100 ns
const int kWidth = 16;
const int kHeight = 8;

std::string Frame(int index) { return std::string(kWidth * kHeight * 3, static_cast<char>(index * 17 + 1)); }

std::vector<long long> SlotsOfFrames(const std::vector<Packet>& packets) {
  std::vector<long long> slots;
  for (const Packet& p : packets)
    if (p.size > 0) slots.push_back(p.pts);
  return slots;
}

// The C list, read with buffers as long as a compressor entry's name (260),
// so no name can be cut: every name the library holds, the audio spare too.
std::vector<std::wstring> CList(HRESULT (*list)(int, wchar_t**, int*, int*), int id) {
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(list(id, nullptr, &count, &maxLength), S_OK);
  std::vector<std::wstring> names(static_cast<size_t>(count), std::wstring(260, L'\0'));
  std::vector<wchar_t*> buffers;
  for (std::wstring& name : names) buffers.push_back(&name[0]);
  int length = 260;
  EXPECT_EQ(list(id, buffers.data(), &count, &length), S_OK);
  for (std::wstring& name : names) name.resize(wcslen(name.c_str()));
  return names;
}

class CppWrapper : public ::testing::Test {
 protected:
  std::wstring dir = MakeTempDir();
};

TEST_F(CppWrapper, RecordsFramesByNumber) {
  tav::Recorder movie(kWidth, -kHeight, 25.0);
  EXPECT_EQ(movie.id(), 1);
  movie.start(dir + L"numbers.avi");
  EXPECT_TRUE(movie.recording());
  for (long long n : {0LL, 1LL, 2LL, 5LL}) movie.add_frame(Frame(0).data(), Frame(0).size(), n);
  movie.stop();
  EXPECT_FALSE(movie.recording());
  auto video = ProbeStream(dir + L"numbers.avi", "v:0");
  EXPECT_EQ(video["width"], std::to_string(kWidth)) << video["error"];
  EXPECT_EQ(video["height"], std::to_string(kHeight));
  // 2 then 5: two slots are left empty.
  EXPECT_EQ(SlotsOfFrames(ProbePackets(dir + L"numbers.avi", "v:0")), (std::vector<long long>{0, 1, 2, 5}));
}

TEST_F(CppWrapper, RecordsFramesByCaptureTime) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  movie.start(dir + L"times.avi");
  for (long long t : {0LL, kFrame25, 2 * kFrame25, 1400001LL, 1800001LL})
    movie.add_frame_at(Frame(1).data(), Frame(1).size(), t);
  movie.stop();
  EXPECT_EQ(SlotsOfFrames(ProbePackets(dir + L"times.avi", "v:0")), (std::vector<long long>{0, 1, 2, 5, 6}));
}

TEST_F(CppWrapper, BreakBeforeAGapLeavesNoEmptySlots) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  movie.start(dir + L"break.avi");
  for (long long n : {0LL, 1LL, 2LL}) movie.add_frame(Frame(2).data(), Frame(2).size(), n);
  movie.add_break();
  for (long long n : {6LL, 7LL}) movie.add_frame(Frame(2).data(), Frame(2).size(), n);
  movie.stop();
  EXPECT_EQ(SlotsOfFrames(ProbePackets(dir + L"break.avi", "v:0")), (std::vector<long long>{0, 1, 2, 3, 4}));
}

TEST_F(CppWrapper, RecordsAudioByNumberAndByTime) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  movie.set_audio(16);
  movie.start(dir + L"audio.avi");
  std::string handedIn;
  for (int n = 0; n < 4; ++n) {
    movie.add_frame(Frame(n).data(), Frame(n).size(), n);
    const std::string block(1920 * 4, static_cast<char>(n * 5 + 3));
    if (n % 2 == 0) movie.add_audio(block.data(), block.size(), n);
    else movie.add_audio_at(block.data(), block.size(), n * kFrame25);
    handedIn += block;
  }
  movie.stop();
  auto audio = ProbeStream(dir + L"audio.avi", "a:0");
  EXPECT_EQ(audio["sample_rate"], "48000") << audio["error"];
  EXPECT_EQ(audio["channels"], "2");
  EXPECT_TRUE(StreamBytes(dir + L"audio.avi", "a:0") == handedIn) << "audio bytes differ";
}

TEST_F(CppWrapper, VideoNamesEqualTheCList) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  std::vector<std::wstring> names = tav::video_compressors(movie.id());
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.front(), L"Uncompressed");
  EXPECT_EQ(names, CList(&TavMovieMakerGetCompressors, movie.id()));
}

TEST_F(CppWrapper, AudioNamesEqualTheCListWithoutItsSpare) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  EXPECT_TRUE(tav::audio_compressors(movie.id()).empty());  // no audio stream yet
  movie.set_audio(16);
  std::vector<std::wstring> names = tav::audio_compressors(movie.id());
  std::vector<std::wstring> c = CList(&TavMovieMakerGetAudioCompressors, movie.id());
  ASSERT_FALSE(c.empty());
  EXPECT_EQ(c.back(), L"");
  c.pop_back();
  EXPECT_EQ(names, c);
  // The name that maxLength leaves out comes back whole.
  EXPECT_NE(std::find(names.begin(), names.end(), L"PCM (Uncompressed)"), names.end());
}

TEST_F(CppWrapper, CompressorChoiceAndDialogsWithNothingToShow) {
  tav::Recorder movie(kWidth, kHeight, 25.0);
  EXPECT_FALSE(movie.set_video_compressor(L"Uncompressed"));
  movie.show_video_compressor_dialog();  // "Uncompressed" has no settings
  movie.set_audio(16);
  movie.show_audio_compressor_dialog();  // no audio compressor chosen yet
  movie.set_audio_compressor(L"PCM (Uncompressed)");
  movie.start(dir + L"pcm.avi");
  movie.add_frame(Frame(0).data(), Frame(0).size(), 0);
  movie.stop();
  EXPECT_EQ(ProbeStream(dir + L"pcm.avi", "v:0")["nb_frames"], "1");
}

TEST_F(CppWrapper, IdZeroGivesTheLibrarysMeaningOfEFail) {
  tav::Recorder first(kWidth, kHeight, 25.0);
  tav::Recorder second(std::move(first));
  EXPECT_EQ(first.id(), 0);
  EXPECT_EQ(second.id(), 1);
  try {
    first.start(dir + L"moved.avi");
    FAIL() << "no exception";
  } catch (const tav::Error& e) {
    EXPECT_EQ(e.result(), E_FAIL);
    EXPECT_EQ(e.wide_what(),
              L"TavMovieMakerStartMovieRecord: 0x80004005 Call failed. (TavMovieMaker refused an argument or "
              L"the writer's state; its log has an ERROR line saying which)");
  }
}

TEST_F(CppWrapper, BadSizeThrowsFromTheConstructor) {
  try {
    tav::Recorder movie(0, kHeight, 25.0);
    FAIL() << "no exception";
  } catch (const tav::Error& e) {
    EXPECT_STREQ(e.function(), "TavMovieMakerInitEx");
    EXPECT_EQ(e.result(), E_FAIL);
  }
}

TEST_F(CppWrapper, ReleasedWritersLetTheNextOneStartAtIdOne) {
  {
    tav::Recorder a(kWidth, kHeight, 25.0);
    tav::Recorder b(kWidth, kHeight, 25.0);
    EXPECT_EQ(a.id(), 1);
    EXPECT_EQ(b.id(), 2);
    a = std::move(b);  // releases writer 1
    EXPECT_EQ(a.id(), 2);
    EXPECT_EQ(b.id(), 0);
  }
  int id = 0;
  ASSERT_EQ(TavMovieMakerInitEx(kWidth, kHeight, 25.0, nullptr, &id), S_OK);
  EXPECT_EQ(id, 1);
  TavMovieMakerRelease(id);
}

TEST_F(CppWrapper, DestroyingARecordingRecorderCompletesTheFile) {
  {
    tav::Recorder movie(kWidth, kHeight, 25.0);
    movie.start(dir + L"unstopped.avi");
    for (long long n = 0; n < 3; ++n) movie.add_frame(Frame(3).data(), Frame(3).size(), n);
  }
  EXPECT_EQ(ProbeStream(dir + L"unstopped.avi", "v:0")["nb_frames"], "3");
}

TEST_F(CppWrapper, CallbackSinkGetsLinesUntilDestroyed) {
  std::vector<std::wstring> lines;
  std::mutex mutex;
  {
    tav::log::Sink sink = tav::log::to_callback(
        [&](const std::wstring& line, unsigned int) {
          std::lock_guard<std::mutex> lock(mutex);
          lines.push_back(line);
        },
        1, 2);
    tav::Recorder movie(kWidth, kHeight, 25.0);
  }
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), L"SV=TRACE; CD=0; MSG=TavMovieMakerInitEx -> Enter");
  const size_t count = lines.size();
  tav::Recorder later(kWidth, kHeight, 25.0);
  EXPECT_EQ(lines.size(), count);
}

TEST_F(CppWrapper, FileSinkWritesTheLibrarysLines) {
  const std::wstring path = dir + L"tav.log";
  {
    tav::log::Sink sink = tav::log::to_file(path, 4, 1);  // ERROR and up, layout 1
    EXPECT_THROW(tav::Recorder(0, kHeight, 25.0), tav::Error);
  }
  EXPECT_EQ(ReadBinaryFile(path), "ERROR: 0; Create Movie error, bad width\r\n");
}

TEST_F(CppWrapper, MissingFolderNamesTheFunctionAndTheSystemText) {
  try {
    tav::log::Sink sink = tav::log::to_file(dir + L"no-such-folder\\tav.log");
    FAIL() << "no exception";
  } catch (const tav::Error& e) {
    EXPECT_STREQ(e.function(), "TavLogAttachFile");
    EXPECT_EQ(e.result(), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    EXPECT_STREQ(e.what(), "TavLogAttachFile: 0x80070003 Path not found.");
  }
}

}  // namespace
}  // namespace tavtest
