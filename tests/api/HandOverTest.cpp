// Frame and sample hand-over: argument checks, the two 10-second time-outs
// and the mutex they keep, break frames. (Frames reaching a movie are checked
// in MovieTest.cpp.) The time-outs are reached with the DLL built for these
// tests, whose pin wait is 200 ms; one case waits the shipped DLL's 10 s.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);
const HRESULT kPointer = static_cast<HRESULT>(0x80004003);

// Whether another thread could take "AviWrt_MainMutex" right now.
bool MutexFreeForAnotherThread() {
  bool free = false;
  std::thread other([&] {
    HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, L"AviWrt_MainMutex");
    if (!mutex) return;
    DWORD r = WaitForSingleObject(mutex, 0);
    free = r == WAIT_OBJECT_0 || r == WAIT_ABANDONED;
    if (free) ReleaseMutex(mutex);
    CloseHandle(mutex);
  });
  other.join();
  return free;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class HandOver : public ::testing::Test {
 protected:
  explicit HandOver(const std::wstring& dllPath = L"TavMovieMaker.dll") : dll(dllPath) {}
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
  }
  // Sets up a writer; stops the test when InitEx fails (call it through
  // ASSERT_NO_FATAL_FAILURE).
  void SetUpWriter(int* id) {
    *id = 0;
    ASSERT_EQ(dll.InitEx(8, 4, 25.0, nullptr, id), S_OK);
    dll.TakeLines();
  }
  MovieMakerDll dll;
  std::vector<unsigned char> frame = std::vector<unsigned char>(8 * 4 * 3, 0x5A);
};

// The same cases against the DLL whose pin wait is kQuickWaitMs.
class QuickWaitHandOver : public HandOver {
 protected:
  QuickWaitHandOver() : HandOver(QuickWaitDllPath()) {}
};

TEST_F(HandOver, BadIdIsRefusedWithoutWaitOrMutex) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(0, frame.data(), 96, 0, 0), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerAddMovieFrame2 -> Enter"),
                                                        Error(L"AddMovieFrame() bad ID")}));
  EXPECT_LT(SecondsSince(start), 2.0);
  EXPECT_TRUE(MutexFreeForAnotherThread());
}

TEST_F(HandOver, NullDataIsRefusedWithoutWaitOrMutex) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.AddMovieFrame2(id, nullptr, 96, 0, 0), kFail);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(lines.front(), Trace(L"TavMovieMakerAddMovieFrame2 -> Enter"));
  EXPECT_EQ(lines.back(), Error(L"AddMovieFrame() bad pData"));
  EXPECT_EQ(Count(lines, Trace(L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame")), 0);
  EXPECT_TRUE(MutexFreeForAnotherThread());
}

TEST_F(HandOver, SizeZeroIsRefusedWithoutWaitOrMutex) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.AddMovieFrame(id, frame.data(), 0, 0), kFail);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(lines.back(), Error(L"AddMovieFrame() bad size"));
  EXPECT_TRUE(MutexFreeForAnotherThread());
}

TEST_F(HandOver, AudioUsesTheVideoTextsForBadArguments) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.AddAudioSample2(0, frame.data(), 96, 0, 0), kFail);
  EXPECT_EQ(dll.AddAudioSample2(id, nullptr, 96, 0, 0), kFail);
  EXPECT_EQ(dll.AddAudioSample(id, frame.data(), 0, 0), kFail);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"TavMovieMakerAddAudioSample2 -> Enter"), Error(L"AddMovieFrame() bad ID"),
                              Trace(L"TavMovieMakerAddAudioSample2 -> Enter"), Error(L"AddMovieFrame() bad pData"),
                              Trace(L"TavMovieMakerAddAudioSample2 -> Enter"), Error(L"AddMovieFrame() bad size")}))
      << Dump(lines);
  EXPECT_TRUE(MutexFreeForAnotherThread());
}

TEST_F(HandOver, BeforeAnyWriterIsSetUpTheCallFailsWithEPointer) {
  EXPECT_EQ(dll.AddMovieFrame2(1, frame.data(), 96, 0, 0), kPointer);
  std::vector<std::wstring> lines = dll.TakeLines();
  ASSERT_EQ(lines.size(), 2u) << Dump(lines);
  EXPECT_EQ(lines[1], L"SV=ERROR; CD=-2147467261; MSG=TavMovieMakerAddMovieFrame2 -> exception 0x80004003");
}

// The shipped DLL waits 10 s for the pin before it gives up.
TEST_F(HandOver, TheShippedDllWaitsTenSecondsForThePin) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), 96, 0, 0), static_cast<HRESULT>(-1234));
  double seconds = SecondsSince(start);
  EXPECT_GE(seconds, 9.5);
  EXPECT_LT(seconds, 20.0);
  EXPECT_EQ(dll.TakeLines().back(), Error(L"WaitForSingleObject, m_hEventBufferDone WAIT_TIMEOUT "));
}

// After InitEx alone BufferReady is still signalled, so the call passes the
// first wait and times out on BufferDone, keeping the mutex.
TEST_F(QuickWaitHandOver, WithNoPinTheFirstFrameTimesOutOnBufferDoneAndKeepsTheMutex) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), 96, 0, 0), static_cast<HRESULT>(-1234));
  EXPECT_GE(SecondsSince(start), kQuickWaitMs / 1000.0 * 0.95);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(
      lines, {Trace(L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame"),
              Trace(L"WaitForSingleObject->Leave m_hMainMutex : TavMovieMakerAddMovieFrame"),
              Trace(L"WaitForSingleObject->Enter m_hEventBufferReady"),
              Trace(L"WaitForSingleObject->Leave m_hEventBufferReady"), Trace(L"CAviWriter::AddMovieFrame2 -> Enter"),
              Trace(L"pAviWriter->AddMovieFrame"), Trace(L"SetEvent->Enter m_hEventFrameReady"),
              Trace(L"SetEvent->Leave m_hEventFrameReady"), Trace(L"WaitForSingleObject->Enter m_hEventBufferDone")}))
      << Dump(lines);
  EXPECT_EQ(lines.back(), Error(L"WaitForSingleObject, m_hEventBufferDone WAIT_TIMEOUT ")) << Dump(lines);
  EXPECT_FALSE(MutexFreeForAnotherThread());
  // This thread still owns it and may take it again.
  HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, L"AviWrt_MainMutex");
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  CloseHandle(mutex);
}

// After StartMovieRecord has reset the events, an audio block with no audio
// pin times out on the first wait instead.
TEST_F(QuickWaitHandOver, AfterStartTheAudioCallTimesOutOnBufferReady) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  std::wstring movie = MakeTempDir() + L"audio-timeout.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  dll.TakeLines();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dll.AddAudioSample2(id, frame.data(), 96, 0, 0), static_cast<HRESULT>(-1234));
  EXPECT_GE(SecondsSince(start), kQuickWaitMs / 1000.0 * 0.95);
  std::vector<std::wstring> lines = dll.TakeLines();
  // The video pin's thread writes its own lines in between.
  EXPECT_TRUE(InOrder(lines, {Trace(L"CAviWriter::MakeCaptureGraph -> Leave"),
                              Trace(L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame"),
                              Trace(L"WaitForSingleObject->Leave m_hMainMutex : TavMovieMakerAddMovieFrame"),
                              Trace(L"WaitForSingleObject->Enter m_hAudioEventBufferReady"),
                              Error(L"WaitForSingleObject, m_hEventAudioBufferReady WAIT_TIMEOUT ")}))
      << Dump(lines);
  EXPECT_EQ(Count(lines, Trace(L"WaitForSingleObject->Leave m_hEventAudioBufferReady")), 0);
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddAudioSample2 -> Enter")), 0);
  EXPECT_FALSE(MutexFreeForAnotherThread());
  // The same thread can still stop the recording (the mutex is recursive).
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
}

TEST_F(HandOver, BreakFrameWithoutAudioReturnsTheVideoResult) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.AddBreakFrame(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(
      lines,
      {Trace(L"TavMovieMakerAddBreakFrame -> Enter"), Trace(L"CAviWriter::AddMovieFrame2 -> Enter"),
       Trace(L"CAviWriter::AddMovieFrame2 -> Leave"), Trace(L"TavMovieMakerAddBreakFrame -> Leave, hrSrc=008X")}))
      << Dump(lines);
  EXPECT_EQ(Count(lines, Trace(L"CAviWriter::AddAudioSample2 -> Enter")), 0);
  EXPECT_EQ(Count(lines, Trace(L"WaitForSingleObject->Enter m_hMainMutex : TavMovieMakerAddMovieFrame")), 0);
}

TEST_F(HandOver, BreakFrameWithAudioReturnsTheAudioResult) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  dll.SetAudioStream(id, 16);
  dll.TakeLines();
  EXPECT_EQ(dll.AddBreakFrame(id), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(
      lines,
      {Trace(L"CAviWriter::AddMovieFrame2 -> Enter"), Trace(L"CAviWriter::AddAudioSample2 -> Enter"),
       Trace(L"CAviWriter::AddAudioSample2 -> Leave"), Trace(L"TavMovieMakerAddBreakFrame -> Leave, hrSrc=008X")}))
      << Dump(lines);
}

TEST_F(HandOver, BreakFrameWithIdZeroIsRefused) {
  int id = 0;
  ASSERT_NO_FATAL_FAILURE(SetUpWriter(&id));
  EXPECT_EQ(dll.AddBreakFrame(0), kFail);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerAddBreakFrame -> Enter"),
                                                        Error(L"AddMovieFrame() bad ID")}));
}

// A delivery that fails downstream (the disk is full) leaves its HRESULT
// stored in the source filter; the next hand-over returns it before looking
// at its arguments, even with writer ID 0. The full disk is a 64 KB tmpfs,
// which needs a system that lets the test mount one.
TEST_F(HandOver, AStoredStreamErrorIsReturnedBeforeTheArguments) {
  std::wstring dir = MakeTempDir();
  std::string unixDir = UnixPathOf(dir) + "small";
  UnixResult mounted =
      RunUnixCommand("mkdir -p " + ShellQuote(unixDir) + " && mount -t tmpfs -o size=64k tmpfs " + ShellQuote(unixDir));
  if (mounted.exitCode != 0) GTEST_SKIP() << "cannot mount a small tmpfs: " << mounted.output;
  int id = 0;
  ASSERT_EQ(dll.InitEx(64, 64, 25.0, nullptr, &id), S_OK);
  std::vector<unsigned char> big(64 * 64 * 3, 0x77);  // 12 KB: a few fill the disk
  std::wstring movie = dir + L"small\\full.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  HRESULT stored = S_OK;
  for (int n = 0; n < 100 && stored == S_OK; ++n) {
    HRESULT hr = dll.AddMovieFrame2(id, big.data(), static_cast<unsigned>(big.size()), n * 400000LL, n);
    if (hr != S_OK) {
      stored = hr;
      break;
    }
    Sleep(20);
    hr = dll.AddMovieFrame2(0, frame.data(), 96, 0, 0);
    if (hr != kFail) stored = hr;
  }
  auto start = std::chrono::steady_clock::now();
  // Stopping cannot complete the file either: Stop returns the graph's
  // result, and the graph is emptied all the same.
  EXPECT_EQ(dll.StopMovieRecord(id), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
  EXPECT_LT(SecondsSince(start), 15.0);
  RunUnixCommand("umount " + ShellQuote(unixDir));
  EXPECT_EQ(stored, HRESULT_FROM_WIN32(ERROR_DISK_FULL)) << std::hex << stored;
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(
      InOrder(lines, {Trace(L"CAviWriter::StopRecord -> Enter"), Trace(L"CAviWriter::EmptyGraph -> Enter"),
                      Trace(L"CAviWriter::EmptyGraph -> Leave"), Trace(L"TavMovieMakerStopMovieRecord -> Leave")}))
      << Dump(lines);
  // The call with ID 0 that got the error wrote its Enter line and nothing more.
  EXPECT_EQ(Count(lines, Error(L"AddMovieFrame() bad ID")) + 1,
            Count(lines, Trace(L"TavMovieMakerAddMovieFrame2 -> Enter")) -
                Count(lines, Trace(L"TavMovieMakerAddMovieFrame2 -> Leave")))
      << Dump(lines);
}

}  // namespace
}  // namespace tavtest
