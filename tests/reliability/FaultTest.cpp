// Faults of the platform under a recording: a target folder that does not
// exist, a read-only target, a full disk, the output folder removed while
// recording, and an acquisition thread that stalls past the 10-second
// hand-over waits. Every call returns within its waits with its HRESULT; after
// a stream error every later hand-over returns that error at once until Stop;
// the writer records again afterwards.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/reliability/Deadline.h"
#include "tests/reliability/MovieCounts.h"

namespace tavtest {
namespace {

const long long kFrame25 = 400000;
const HRESULT kPathNotFound = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
const HRESULT kAccessDenied = E_ACCESSDENIED;
const HRESULT kDiskFull = HRESULT_FROM_WIN32(ERROR_DISK_FULL);

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Fault : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog(4);
    ASSERT_EQ(dll.InitEx(64, 64, 25.0, nullptr, &id), S_OK);
  }
  HRESULT Frame(int n) {
    HRESULT hr = E_PENDING;
    FinishWithin(60.0, "TavMovieMakerAddMovieFrame2", [&] {
      hr = dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), n * kFrame25, n);
    });
    return hr;
  }
  // Three more hand-overs after a stream error all return it, at once.
  void ExpectErrorKept(HRESULT error, int next) {
    auto start = std::chrono::steady_clock::now();
    for (int n = next; n < next + 3; ++n) EXPECT_EQ(Frame(n), error) << "frame " << n;
    EXPECT_LT(SecondsSince(start), 5.0);
  }
  // The writer records a good movie afterwards.
  void ExpectRecordsAgain() {
    std::wstring movie = dir + L"afterwards.avi";
    ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
    for (int n = 0; n < 2; ++n) EXPECT_EQ(Frame(n), S_OK);
    EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
    EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "2");
  }
  MovieMakerDll dll;
  int id = 0;
  std::wstring dir = MakeTempDir();
  std::vector<unsigned char> frame = std::vector<unsigned char>(64 * 64 * 3, 0x77);  // 12 KB
};

TEST_F(Fault, FolderThatDoesNotExistFailsTheFirstFrameAndEveryLaterOne) {
  std::wstring movie = dir + L"no-such-folder\\movie.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  EXPECT_EQ(Frame(0), kPathNotFound);
  ExpectErrorKept(kPathNotFound, 1);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(FileSize(movie), -1);
  ExpectRecordsAgain();
}

// A target on a read-only mount (root writes through file permissions, so
// the test mounts a read-only tmpfs; elsewhere the case is skipped).
TEST_F(Fault, ReadOnlyTargetFailsTheFirstFrameAndEveryLaterOne) {
  std::string locked = UnixPathOf(dir) + "locked";
  UnixResult mounted = RunUnixCommand("mkdir -p " + ShellQuote(locked) + " && mount -t tmpfs -o size=64k,ro tmpfs " +
                                      ShellQuote(locked));
  if (mounted.exitCode != 0) GTEST_SKIP() << "cannot mount a read-only tmpfs: " << mounted.output;
  std::wstring movie = dir + L"locked\\movie.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  HRESULT first = Frame(0);
  ExpectErrorKept(first, 1);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  RunUnixCommand("umount " + ShellQuote(locked));
  EXPECT_EQ(first, kAccessDenied) << std::hex << first;
  ExpectRecordsAgain();
}

// A 256 KB tmpfs fills after some 20 frames of 12 KB. Mounting needs root (the
// test command runs as root); elsewhere the case is skipped.
TEST_F(Fault, FullDiskKeepsItsErrorAndTheFramesBeforeIt) {
  std::string small = UnixPathOf(dir) + "small";
  UnixResult mounted =
      RunUnixCommand("mkdir -p " + ShellQuote(small) + " && mount -t tmpfs -o size=256k tmpfs " + ShellQuote(small));
  if (mounted.exitCode != 0) GTEST_SKIP() << "cannot mount a small tmpfs: " << mounted.output;
  std::wstring movie = dir + L"small\\full.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  HRESULT hr = S_OK;
  int acknowledged = 0;
  while (hr == S_OK && acknowledged < 100) {
    hr = Frame(acknowledged);
    if (hr == S_OK) ++acknowledged;
  }
  EXPECT_EQ(hr, kDiskFull) << std::hex << hr;
  ExpectErrorKept(kDiskFull, acknowledged + 1);
  HRESULT stopped = E_PENDING;
  FinishWithin(60.0, "TavMovieMakerStopMovieRecord", [&] { stopped = dll.StopMovieRecord(id); });
  EXPECT_TRUE(stopped == S_OK || stopped == kDiskFull) << std::hex << stopped;
  // The file stays readable with the frames that reached the disk. (The
  // pack's multiplexer writes in large blocks, so frames acknowledged after
  // the last block that fitted are not in it.)
  std::vector<std::string> counts = StreamCounts({movie});
  RunUnixCommand("umount " + ShellQuote(small));
  ASSERT_EQ(counts.size(), 1u);
  int readable = counts[0].rfind("video,", 0) == 0 ? std::stoi(counts[0].substr(counts[0].rfind(',') + 1)) : 0;
  EXPECT_GT(readable, 0) << counts[0];
  EXPECT_LE(readable, acknowledged) << counts[0];
  ExpectRecordsAgain();
}

// Removing the folder under an open file (Unix semantics) loses no call: the
// recording goes on into the unlinked file and Stop completes it.
TEST_F(Fault, OutputFolderRemovedDuringTheRecording) {
  std::wstring sub = dir + L"gone\\";
  ASSERT_EQ(RunUnixCommand("mkdir " + ShellQuote(UnixPathOf(dir) + "gone")).exitCode, 0);
  std::wstring movie = sub + L"movie.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  for (int n = 0; n < 3; ++n) EXPECT_EQ(Frame(n), S_OK);
  ASSERT_EQ(RunUnixCommand("rm -rf " + ShellQuote(UnixPathOf(dir) + "gone")).exitCode, 0);
  for (int n = 3; n < 6; ++n) EXPECT_EQ(Frame(n), S_OK);
  HRESULT stopped = E_PENDING;
  FinishWithin(60.0, "TavMovieMakerStopMovieRecord", [&] { stopped = dll.StopMovieRecord(id); });
  EXPECT_EQ(stopped, S_OK);
  EXPECT_EQ(FileSize(movie), -1);
  ExpectRecordsAgain();
}

// The pin waits for its next frame without a time-out: a thread that stalls
// past the 10-second waits and then goes on loses nothing.
TEST_F(Fault, AcquisitionStallingPastTheWaitsResumes) {
  std::wstring movie = dir + L"stalled.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  for (int n = 0; n < 2; ++n) EXPECT_EQ(Frame(n), S_OK);
  HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(WaitForSingleObject(never, 11000), static_cast<DWORD>(WAIT_TIMEOUT));  // the stall itself
  CloseHandle(never);
  for (int n = 2; n < 4; ++n) EXPECT_EQ(Frame(n), S_OK);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(ProbeStream(movie, "v:0")["nb_frames"], "4");
}

// Another process records at the same time (the sample host, through the
// same DLL): both share "AviWrt_MainMutex", and both movies are complete.
TEST_F(Fault, TwoProcessesRecordAtOnce) {
  std::wstring other = dir + L"other-process.avi";
  std::wstring command = L"TavDemoHost.exe \"" + other + L"\" --seconds 2 --no-audio";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  ASSERT_TRUE(CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
      << GetLastError();
  std::wstring movie = dir + L"this-process.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  for (int n = 0; n < 50; ++n) EXPECT_EQ(Frame(n), S_OK) << "frame " << n;
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  EXPECT_EQ(WaitForSingleObject(process.hProcess, 120000), WAIT_OBJECT_0);
  DWORD exitCode = 99;
  GetExitCodeProcess(process.hProcess, &exitCode);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  EXPECT_EQ(exitCode, 0u);
  EXPECT_EQ(StreamCounts({movie, other}), (std::vector<std::string>{"video,50,50", "video,50,50"}));
}

}  // namespace
}  // namespace tavtest
