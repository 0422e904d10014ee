// Setting a writer up again, or starting it again, while it records: the
// running recording is ended first, its file complete, and the writer records
// the next movie; neither the call nor the next frame hangs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/reliability/Deadline.h"

namespace tavtest {
namespace {

// Long enough for a slow stop under load, far below "for ever".
const double kCallDeadline = 60.0;

class Restart : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
    ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
  }
  // Starts `name` and hands over `count` frames, each within the deadline.
  std::wstring Record(const wchar_t* name, int count) {
    std::wstring movie = dir + name;
    EXPECT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
    HandOver(count);
    return movie;
  }
  void HandOver(int count) {
    for (int n = 0; n < count; ++n) {
      HRESULT hr = E_PENDING;
      FinishWithin(kCallDeadline, "TavMovieMakerAddMovieFrame2", [&] {
        hr = dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), n * 400000LL, n);
      });
      EXPECT_EQ(hr, S_OK) << "frame " << n;
    }
  }
  // The lines of a control call that ended a running recording first.
  static std::vector<std::wstring> EndedFirst(const std::wstring& exportName) {
    return {L"SV=WARNING; CD=0; MSG=" + exportName + L" -> recording still running, stopped",
            Trace(L"CAviWriter::ReleaseFilterData -> Enter"),
            Trace(L"CAviWriter::ReleaseFilterData -> Leave"),
            Trace(L"CAviWriter::StopRecord -> Enter"),
            Trace(L"WaitForSingleObject->Enter m_hMainMutex StopRecord()"),
            Trace(L"WaitForSingleObject->Leave m_hMainMutex StopRecord()"),
            Trace(L"CAviWriter::StopRecord -> Leave"),
            Trace(L"CAviWriter::EmptyGraph -> Enter"),
            Trace(L"CAviWriter::EmptyGraph -> Leave")};
  }
  void ExpectFrames(const std::wstring& movie, const char* frames) {
    EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], frames);
    EXPECT_EQ(ProbePackets(movie, "v:0").size(), std::stoul(frames));
  }
  MovieMakerDll dll;
  int id = 0;
  std::wstring dir = MakeTempDir();
  std::vector<unsigned char> frame = std::vector<unsigned char>(16 * 8 * 3, 0x44);
};

TEST_F(Restart, InitExWhileRecordingCompletesTheMovieAndSetsTheWriterUpAgain) {
  std::wstring first = Record(L"first.avi", 3);
  dll.TakeLines();
  HRESULT hr = E_PENDING;
  FinishWithin(kCallDeadline, "TavMovieMakerInitEx", [&] { hr = dll.InitEx(16, 8, 25.0, nullptr, &id); });
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(id, 1);
  std::vector<std::wstring> wanted = {Trace(L"TavMovieMakerInitEx -> Enter")};
  for (const std::wstring& line : EndedFirst(L"TavMovieMakerInitEx")) wanted.push_back(line);
  wanted.push_back(Trace(L"CAviWriter::EmptyGraph -> Enter"));  // the set-up's own, as always
  wanted.push_back(Trace(L"TavMovieMakerInit2 -> Leave"));
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, wanted)) << Dump(lines);
  ExpectFrames(first, "3");

  std::wstring second = Record(L"second.avi", 2);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  ExpectFrames(second, "2");
}

TEST_F(Restart, InitWhileRecordingCompletesTheMovie) {
  std::wstring first = Record(L"first.avi", 2);
  dll.TakeLines();
  HRESULT hr = E_PENDING;
  FinishWithin(kCallDeadline, "TavMovieMakerInit", [&] { hr = dll.Init(16, 8, 25, &id); });
  EXPECT_EQ(hr, S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, EndedFirst(L"TavMovieMakerInitEx"))) << Dump(lines);
  ExpectFrames(first, "2");
}

TEST_F(Restart, StartAgainWhileRecordingCompletesTheFirstMovieAndRecordsTheSecond) {
  std::wstring first = Record(L"first.avi", 3);
  dll.TakeLines();
  std::wstring second = dir + L"second.avi";
  HRESULT hr = E_PENDING;
  FinishWithin(kCallDeadline, "TavMovieMakerStartMovieRecord", [&] { hr = dll.StartMovieRecord(id, second.c_str()); });
  EXPECT_EQ(hr, S_OK);
  std::vector<std::wstring> wanted = {Trace(L"TavMovieMakerStartMovieRecord -> Enter")};
  for (const std::wstring& line : EndedFirst(L"TavMovieMakerStartMovieRecord")) wanted.push_back(line);
  wanted.push_back(Trace(L"TavMovieMakerStartMovieRecord -> Leave"));
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, wanted)) << Dump(lines);
  ExpectFrames(first, "3");

  HandOver(4);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  ExpectFrames(second, "4");
}

// Start again before any frame ran the graph has nothing to end: no warning.
TEST_F(Restart, StartTwiceBeforeAnyFrameEndsNothing) {
  std::wstring unused = dir + L"unused.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, unused.c_str()), S_OK);
  std::wstring movie = Record(L"movie.avi", 2);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, L"SV=WARNING; CD=0; MSG=TavMovieMakerStartMovieRecord -> recording still running, stopped"), 0)
      << Dump(lines);
  ExpectFrames(movie, "2");
  EXPECT_EQ(FileSize(unused), -1);
}

}  // namespace
}  // namespace tavtest
