// Host-side misuse: null pointers, zero sizes, ID 0, unknown IDs and calls in
// the wrong order never crash and never block longer than the 10-second
// hand-over waits.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);
const HRESULT kPointer = static_cast<HRESULT>(0x80004003);
const HRESULT kCannotConnect = static_cast<HRESULT>(0x80040217);  // VFW_E_CANNOT_CONNECT

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Misuse : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
  }
  // Sets up a writer; stops the test when InitEx fails (call it through
  // ASSERT_NO_FATAL_FAILURE).
  void SetUpWriter(int* id) {
    *id = 0;
    ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, id), S_OK);
    dll.TakeLines();
  }
  // Records `count` frames into `name` and returns the movie's path.
  std::wstring Record(int id, const wchar_t* name, int count) {
    std::wstring movie = dir + name;
    EXPECT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
    for (int n = 0; n < count; ++n)
      EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), n * 400000LL, n), S_OK);
    return movie;
  }
  MovieMakerDll dll;
  std::wstring dir = MakeTempDir();
  std::vector<unsigned char> frame = std::vector<unsigned char>(16 * 8 * 3, 0x33);
};

TEST_F(Misuse, EveryCallBeforeAnyWriterIsSetUp) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(1, frame.data(), 384, 0, 0), kPointer);
  EXPECT_EQ(dll.AddMovieFrame(1, frame.data(), 384, 0), kPointer);
  EXPECT_EQ(dll.AddAudioSample2(1, frame.data(), 384, 0, 0), kPointer);
  EXPECT_EQ(dll.AddAudioSample(1, frame.data(), 384, 0), kPointer);
  EXPECT_EQ(dll.AddBreakFrame(1), kPointer);
  EXPECT_EQ(dll.StartMovieRecord(1, L"Z:\\tmp\\never.avi"), kPointer);
  EXPECT_EQ(dll.StopMovieRecord(1), kPointer);
  EXPECT_EQ(dll.StopMovieRecord(0), kFail);
  EXPECT_LT(SecondsSince(start), 5.0);
  // A writer set up afterwards records normally.
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = Record(id, L"after.avi", 2);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "2");
}

TEST_F(Misuse, NullIdPointerIsRefused) {
  EXPECT_EQ(dll.InitEx(16, 8, 25.0, nullptr, nullptr), kFail);
  EXPECT_EQ(dll.Init2(16, 8, 25.0, nullptr), kFail);
  EXPECT_EQ(dll.Init(16, 8, 25, nullptr), kFail);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, Error(L"Create Movie error, bad pID")), 3) << Dump(lines);
}

TEST_F(Misuse, NullFileNameIsRefused) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.StartMovieRecord(id, nullptr), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerStartMovieRecord -> Enter"),
                                                        Error(L"StartMovieRecord() bad file name")}));
  EXPECT_EQ(dll.StartMovieRecord(0, nullptr), kFail);
}

TEST_F(Misuse, NullAndZeroArgumentsToTheHandOver) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(id, nullptr, 0, 0, 0), kFail);
  EXPECT_EQ(dll.AddMovieFrame(id, nullptr, 384, 0), kFail);
  EXPECT_EQ(dll.AddMovieFrame(id, frame.data(), 0, 0), kFail);
  EXPECT_EQ(dll.AddAudioSample2(id, nullptr, 0, 0, 0), kFail);
  EXPECT_EQ(dll.AddAudioSample(0, frame.data(), 384, 0), kFail);
  EXPECT_EQ(dll.AddBreakFrame(0), kFail);
  EXPECT_LT(SecondsSince(start), 5.0);
}

TEST_F(Misuse, CompressorCallsWithNullPointers) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  int count = 1, maxLength = 10;
  EXPECT_EQ(dll.GetCompressors(id, nullptr, &count, &maxLength), kFail);
  EXPECT_EQ(dll.GetAudioCompressors(id, nullptr, &count, &maxLength), S_FALSE) << "no audio stream yet";
  bool hasDialog = true;
  EXPECT_EQ(dll.SetCompressor(id, nullptr, &hasDialog), kFail);
  EXPECT_EQ(dll.SetAudioCompressor(id, nullptr), kFail);
}

TEST_F(Misuse, StopBeforeStartAndStopTwice) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_LT(SecondsSince(start), 5.0);
  std::wstring movie = Record(id, L"after-stops.avi", 3);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "3");
}

// The stopped stream takes no frame: the call fails at once, releasing the
// mutex, instead of waiting for a pin that is gone.
TEST_F(Misuse, FrameAfterStopFailsAtOnce) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = Record(id, L"stopped.avi", 2);
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  dll.TakeLines();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), 384, 800000, 2), kFail);
  EXPECT_LT(SecondsSince(start), 5.0);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(lines.back(), L"SV=ERROR; CD=0; MSG=AddMovieFrame() recording stopped") << Dump(lines);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "2");
}

TEST_F(Misuse, UnknownIdsNeitherCrashNorHang) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  // Each unknown ID loaded replaces the registry with one fresh record under
  // the next counter value: 2, then 3. Release counts back to 2.
  EXPECT_EQ(dll.StopMovieRecord(99), S_OK);
  EXPECT_EQ(dll.AddBreakFrame(98), S_OK);
  dll.Release(97);
  EXPECT_LT(SecondsSince(start), 5.0);
  // The writer object survived; a new set-up is issued 3 once more.
  int again = 0;
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &again), S_OK);
  EXPECT_EQ(again, 3);
  EXPECT_EQ(id, 1);
}

TEST_F(Misuse, ReleaseDuringARecording) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = Record(id, L"released.avi", 3);
  auto start = std::chrono::steady_clock::now();
  dll.Release(id);
  EXPECT_LT(SecondsSince(start), 5.0);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"TavMovieMakerRelease -> Enter"),
                              L"SV=WARNING; CD=0; MSG=TavMovieMakerRelease -> recording still running, stopped",
                              Trace(L"CAviWriter::StopRecord -> Leave"), Trace(L"CAviWriter::~CAviWriter -> Enter"),
                              Trace(L"TavMovieMakerRelease -> Leave")}))
      << Dump(lines);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "3") << "the movie was completed";
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), 384, 1200000, 3), kPointer);
  EXPECT_EQ(dll.StopMovieRecord(id), kPointer);
  // Everything starts afresh.
  int again = 0;
  ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &again), S_OK);
  EXPECT_EQ(again, 1);
  std::wstring next = Record(again, L"after-release.avi", 2);
  EXPECT_EQ(dll.StopMovieRecord(again), S_OK);
  EXPECT_EQ(ProbeStream(next, "v:0")["nb_frames"], "2");
}

// An unknown ID makes a fresh record under the next counter value; a later
// call with that value loads the record, which has no graph, into the writer
// while its recording runs. That graph goes on running unseen: Stop empties a
// new graph, and the next recording's build, adding the still running
// filters with their old connections, fails. Emptying must stop them, or the
// writer's release (Wine's graph removes filters until none is left) never
// returns.
TEST_F(Misuse, AGraphLeftRunningBehindAnIdNeverGivenIsStoppedWhenEmptied) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
  std::wstring first = Record(id, L"first.avi", 1);
  EXPECT_EQ(dll.AddMovieFrame2(-1, frame.data(), 0, 0, 0), kFail);  // record 2, no graph
  std::vector<unsigned char> audio(7680, 0x11);
  EXPECT_EQ(dll.AddAudioSample(2, audio.data(), 7680, 0), S_OK);               // loads record 2
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);                                    // record 3
  ASSERT_EQ(dll.StartMovieRecord(id, (dir + L"second.avi").c_str()), S_OK);    // record 4
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), 384, 0, 0), kCannotConnect);  // record 5
  dll.TakeLines();
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);  // record 6
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, L"SV=ERROR; CD=-2147220956; MSG=EmptyGraph() a filter cannot be removed: 0x80040224"), 0)
      << Dump(lines);
  // Stopping the first recording's filters completed its movie.
  EXPECT_EQ(ProbeStream(first, "v:0")["nb_frames"], "1");

  // Releasing record 6, the only one, takes the writer with it.
  HANDLE released = CreateThread(
      nullptr, 0,
      [](void* self) -> DWORD {
        static_cast<MovieMakerDll*>(self)->Release(6);
        return 0;
      },
      &dll, 0, nullptr);
  ASSERT_NE(released, nullptr);
  ASSERT_EQ(WaitForSingleObject(released, 30000), WAIT_OBJECT_0) << "TavMovieMakerRelease(6) did not return";
  CloseHandle(released);
  EXPECT_EQ(dll.SetAudioStream(0, 16), kPointer) << "the writer object is gone";
}

TEST_F(Misuse, AFileThatCannotBeCreatedFailsAFrameAndStopStillWorks) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring bad = dir + L"no-such-folder\\movie.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, bad.c_str()), S_OK);
  auto start = std::chrono::steady_clock::now();
  // Either running the graph fails on the first frame, or the first write
  // fails and a following frame returns the stored error.
  HRESULT hr = S_OK;
  int frames = 0;
  while (hr == S_OK && frames < 10) {
    hr = dll.AddMovieFrame2(id, frame.data(), 384, frames * 400000LL, frames);
    ++frames;
    if (hr == S_OK) Sleep(50);
  }
  EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)) << std::hex << hr;
  std::vector<std::wstring> lines = dll.TakeLines();
  if (frames == 1) {
    EXPECT_EQ(Count(lines, L"SV=WARNING; CD=0; MSG=Run failed: stopping every filter"), 1) << Dump(lines);
  }
  dll.StopMovieRecord(id);
  EXPECT_LT(SecondsSince(start), 10.0);
  // The next recording into a good file works.
  std::wstring movie = Record(id, L"good.avi", 2);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "2");
}

}  // namespace
}  // namespace tavtest
