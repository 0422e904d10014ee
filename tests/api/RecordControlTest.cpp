// Recording control: StartMovieRecord, StopMovieRecord, SetAudioStream.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);

class RecordControl : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
  }
  // Waits (at most 10 s) until the audio pin has copied `blocks` blocks since
  // the lines were last taken: its FillBuffer has left that often.
  bool AudioPinCopied(size_t blocks) {
    const std::wstring copied = Trace(L"CPinAudioStream::FillBuffer -> Leave");
    for (DWORD start = GetTickCount(); GetTickCount() - start < 10000; Sleep(10)) {
      const std::vector<std::wstring> lines = dll.Lines();
      if (static_cast<size_t>(std::count(lines.begin(), lines.end(), copied)) >= blocks) return true;
    }
    return false;
  }
  // Sets up a writer; stops the test when InitEx fails (call it through
  // ASSERT_NO_FATAL_FAILURE).
  void SetUpWriter(int* id, int width = 16, int height = 8) {
    *id = 0;
    ASSERT_EQ(dll.InitEx(width, height, 25.0, nullptr, id), S_OK);
    dll.TakeLines();
  }
  MovieMakerDll dll;
  std::wstring dir = MakeTempDir();
};

TEST_F(RecordControl, StartWithIdZeroFails) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = dir + L"zero.avi";
  EXPECT_EQ(dll.StartMovieRecord(0, movie.c_str()), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerStartMovieRecord -> Enter"),
                                                        Error(L"StartMovieRecord() bad ID")}));
}

TEST_F(RecordControl, StartDoesNotRunTheGraphTheFirstFrameDoes) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = dir + L"start.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::vector<std::wstring> start = dll.TakeLines();
  EXPECT_EQ(start.front(), Trace(L"TavMovieMakerStartMovieRecord -> Enter"));
  EXPECT_EQ(start.back(), Trace(L"TavMovieMakerStartMovieRecord -> Leave"));
  EXPECT_TRUE(InOrder(start, {Trace(L"CAviWriter::LoadParam -> Enter"), Trace(L"CAviWriter::InitParam2 -> Enter")}));
  EXPECT_EQ(Count(start, Trace(L"CAviWriter::MakeCaptureGraph -> Enter")), 0) << Dump(start);
  EXPECT_EQ(FileSize(movie), -1) << "nothing written before the first frame";

  std::vector<unsigned char> frame(16 * 8 * 3, 0x11);
  ASSERT_EQ(dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), 0, 0), S_OK);
  std::vector<std::wstring> first = dll.TakeLines();
  EXPECT_TRUE(
      InOrder(first, {Trace(L"TavMovieMakerAddMovieFrame2 -> Enter"), Trace(L"CAviWriter::MakeCaptureGraph -> Enter"),
                      Trace(L"CAviWriter::MakeCaptureGraph -> Leave"),
                      Trace(L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame"),
                      Trace(L"TavMovieMakerAddMovieFrame2 -> Leave")}))
      << Dump(first);
  ASSERT_EQ(dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), 400000, 1), S_OK);
  EXPECT_EQ(Count(dll.TakeLines(), Trace(L"CAviWriter::MakeCaptureGraph -> Enter")), 0) << "built once";

  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<std::wstring> stop = dll.TakeLines();
  EXPECT_TRUE(
      InOrder(stop, {Trace(L"TavMovieMakerStopMovieRecord -> Enter"), Trace(L"CAviWriter::ReleaseFilterData -> Enter"),
                     Trace(L"CAviWriter::StopRecord -> Enter"), Trace(L"CAviWriter::StopRecord -> Leave"),
                     Trace(L"CAviWriter::EmptyGraph -> Enter"), Trace(L"CAviWriter::EmptyGraph -> Leave"),
                     Trace(L"TavMovieMakerStopMovieRecord -> Leave")}))
      << Dump(stop);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "2");
}

TEST_F(RecordControl, StopWithIdZeroFails) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.StopMovieRecord(0), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerStopMovieRecord -> Enter"),
                                                        Error(L"StopMovieRecord() bad ID")}));
}

TEST_F(RecordControl, SetAudioStreamLogsEveryLineAtError) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.SetAudioStream(id, 16), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), Error(L"SetAudioStream() -> Enter"));
  EXPECT_EQ(lines.back(), Error(L"SetAudioStream() -> Leave"));
  EXPECT_TRUE(
      InOrder(lines, {Error(L"SetAudioStream() -> Enter"), Trace(L"CAviWriter::LoadParam -> Enter"),
                      Trace(L"TavMovieMakerGetAudioCompressors -> Enter"), Error(L"SetAudioStream() -> Leave")}))
      << Dump(lines);
}

TEST_F(RecordControl, SecondSetAudioStreamForAnyIdReturnsOkWithoutChange) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
  dll.TakeLines();
  const std::vector<std::wstring> again = {Error(L"SetAudioStream() -> Enter"),
                                           Error(L"SetAudioStream() AudioSource already exists")};
  EXPECT_EQ(dll.SetAudioStream(id, 24), S_OK);
  EXPECT_EQ(dll.TakeLines(), again);
  EXPECT_EQ(dll.SetAudioStream(0, 16), S_OK);
  EXPECT_EQ(dll.TakeLines(), again);
  EXPECT_EQ(dll.SetAudioStream(99, 16), S_OK);
  EXPECT_EQ(dll.TakeLines(), again);
}

TEST_F(RecordControl, SetAudioStreamWithIdZeroFails) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.SetAudioStream(0, 16), kFail);
  EXPECT_EQ(dll.TakeLines(),
            (std::vector<std::wstring>{Error(L"SetAudioStream() -> Enter"), Error(L"SetAudioStream() bad ID")}));
}

// StartMovieRecord leaves SampleReady as it is. An audio block handed in
// before the recording times out with SampleReady set and nobody to take it;
// once the first frame runs the graph, the audio pin takes that stale signal
// for a block, so the movie holds one audio block that no call handed in
// while recording.
TEST_F(RecordControl, StartKeepsSampleReadyAsItWas) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
  std::vector<unsigned char> block(7680, 0);  // 1920 stereo 16-bit frames: one frame at 25 fps
  EXPECT_EQ(dll.AddAudioSample2(id, block.data(), 7680, 0, 0), static_cast<HRESULT>(-1234));
  std::wstring movie = dir + L"stale.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  dll.TakeLines();
  std::vector<unsigned char> frame(16 * 8 * 3, 0x22);
  ASSERT_EQ(dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), 0, 0), S_OK);
  ASSERT_TRUE(AudioPinCopied(1)) << "the audio pin never took the stale signal";
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<Packet> audio = ProbePackets(movie, "a:0");
  long long bytes = 0;
  for (const Packet& p : audio) bytes += p.size;
  EXPECT_EQ(bytes, 7680LL);
}

// Start with ID 0 writes the file name into the default record before it
// refuses the ID. That record later becomes writer 1 with the name still in
// it, and, being first in the registry, it is the one that ID 1 loads.
TEST_F(RecordControl, StartWithIdZeroStillNamesTheDefaultRecordsFile) {
  int id = 5;  // unknown: a new record, the default one stays ID 0
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
  ASSERT_EQ(id, 1);
  std::wstring zero = dir + L"zero.avi", one = dir + L"one.avi";
  EXPECT_EQ(dll.StartMovieRecord(0, zero.c_str()), kFail);
  ASSERT_EQ(dll.StartMovieRecord(1, one.c_str()), S_OK);
  int promoted = 0;  // the default record becomes a second ID 1
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &promoted), S_OK);
  ASSERT_EQ(promoted, 1);
  std::vector<unsigned char> frame(16 * 8 * 3, 0x44);
  ASSERT_EQ(dll.AddMovieFrame2(1, frame.data(), static_cast<unsigned>(frame.size()), 0, 0), S_OK);
  ASSERT_EQ(dll.StopMovieRecord(1), S_OK);
  EXPECT_EQ(ProbeStream(zero, "v:0")["nb_frames"], "1");
  EXPECT_EQ(FileSize(one), -1);
}

}  // namespace
}  // namespace tavtest
