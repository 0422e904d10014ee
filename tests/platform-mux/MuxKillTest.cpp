// What a recording leaves when its host process is killed. The host
// (mux_kill_host.exe, public header only) records 160x120 grey frames
// through TavMovieMaker.dll and the registered pack; frame n holds the byte
// n % 251. The pack's mux brings the file on disk up to date at least once a
// second while it records, so after TerminateProcess ffmpeg reads every
// frame that was written before the kill, in order, and the header counts
// the frames of the last checkpoint.
#include <windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"

namespace {

using tavtest::RunUnixCommand;
using tavtest::ShellQuote;
using tavtest::UnixPathOf;

constexpr size_t kFrameBytes = 160 * 120;

// The host process, its standard output collected line by line.
class KillHost {
 public:
  KillHost(const std::wstring& movie, int frames) {
    SECURITY_ATTRIBUTES sa = {sizeof sa, nullptr, TRUE};
    HANDLE write = nullptr;
    if (!CreatePipe(&read_, &write, &sa, 0)) return;
    SetHandleInformation(read_, HANDLE_FLAG_INHERIT, 0);
    wchar_t exe[MAX_PATH];
    GetModuleFileNameW(nullptr, exe, MAX_PATH);
    std::wstring path(exe);
    path = path.substr(0, path.find_last_of(L"\\/") + 1) + L"mux_kill_host.exe";
    std::wstring command = L"\"" + path + L"\" \"" + movie + L"\" " + std::to_wstring(frames);
    STARTUPINFOW si = {};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdOutput = write;
    si.hStdError = write;
    si.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    started_ = CreateProcessW(path.c_str(), &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &si, &pi_);
    CloseHandle(write);
    reader_ = std::thread([this] { ReadLines(); });
  }

  ~KillHost() {
    Kill();
    if (reader_.joinable()) reader_.join();
    if (read_) CloseHandle(read_);
  }

  bool started() const { return started_ != FALSE; }

  // Waits until a line satisfies `wanted` or the output ends or the deadline passes.
  bool WaitForLine(const std::function<bool(const std::string&)>& wanted, int seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(seconds), [&] {
      for (const std::string& line : lines_)
        if (wanted(line)) return true;
      return ended_;
    }) && !ended_;
  }

  void Kill() {
    if (!started_ || killed_) return;
    killed_ = true;
    TerminateProcess(pi_.hProcess, 9);
    WaitForSingleObject(pi_.hProcess, 30000);
    CloseHandle(pi_.hProcess);
    CloseHandle(pi_.hThread);
  }

  // After Kill: the last "acknowledged N" count, and all output.
  int Acknowledged() {
    if (reader_.joinable()) reader_.join();
    int count = 0;
    for (const std::string& line : lines_) std::sscanf(line.c_str(), "acknowledged %d", &count);
    return count;
  }
  std::string Output() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string all;
    for (const std::string& line : lines_) all += line + "\n";
    return all;
  }

 private:
  void ReadLines() {
    std::string pending;
    char buffer[4096];
    DWORD got = 0;
    while (ReadFile(read_, buffer, sizeof buffer, &got, nullptr) && got > 0) {
      pending.append(buffer, got);
      size_t end;
      std::lock_guard<std::mutex> lock(mutex_);
      while ((end = pending.find('\n')) != std::string::npos) {
        std::string line = pending.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines_.push_back(line);
        pending.erase(0, end + 1);
      }
      changed_.notify_all();
    }
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  HANDLE read_ = nullptr;
  PROCESS_INFORMATION pi_ = {};
  BOOL started_ = FALSE;
  bool killed_ = false;
  std::thread reader_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  bool ended_ = false;
};

// Video packets ffprobe reads from the file, -1 when it cannot read it.
long long ReadablePackets(const std::wstring& movie) {
  auto r = RunUnixCommand(
      "ffprobe -v error -count_packets -select_streams v:0 -show_entries "
      "stream=nb_read_packets -of csv=p=0 " +
      ShellQuote(UnixPathOf(movie)));
  if (r.exitCode != 0) return -1;
  try {
    return std::stoll(r.output);
  } catch (...) {
    return -1;
  }
}

// Polls ffprobe until it reads at least `count` packets or the deadline passes.
long long WaitForReadablePackets(const std::wstring& movie, long long count, int seconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  long long got = -1;
  while (std::chrono::steady_clock::now() < deadline) {
    got = ReadablePackets(movie);
    if (got >= count) return got;
    Sleep(100);
  }
  return got;
}

// Frames 0..count-1 of the stream, each all its own byte (n % 251); the index
// of the first one that is not, or -1.
long long FirstWrongFrame(const std::string& bytes, long long count) {
  if (bytes.size() != static_cast<size_t>(count) * kFrameBytes) return 0;
  for (long long n = 0; n < count; ++n) {
    const char want = static_cast<char>(n % 251);
    const char* frame = bytes.data() + n * kFrameBytes;
    for (size_t i = 0; i < kFrameBytes; ++i)
      if (frame[i] != want) return n;
  }
  return -1;
}

class MuxKillTest : public ::testing::Test {
 protected:
  void SetUp() override { movie_ = tavtest::MakeTempDir() + L"killed.avi"; }
  std::wstring movie_;
};

TEST_F(MuxKillTest, KilledWhileIdleKeepsEveryAcknowledgedFrame) {
  constexpr int kFrames = 60;  // about 1.1 MB: more than the mux buffers
  KillHost host(movie_, kFrames);
  ASSERT_TRUE(host.started());
  ASSERT_TRUE(host.WaitForLine([](const std::string& l) { return l == "holding"; }, 60)) << host.Output();

  // The recording stays open; within its next checkpoint every frame is on disk.
  EXPECT_EQ(kFrames, WaitForReadablePackets(movie_, kFrames, 30));
  host.Kill();
  EXPECT_EQ(kFrames, host.Acknowledged());

  EXPECT_EQ(kFrames, ReadablePackets(movie_));
  auto stream = tavtest::ProbeStream(movie_, "v:0");
  EXPECT_EQ(std::to_string(kFrames), stream["nb_frames"]) << "the header counts the checkpointed frames";
  EXPECT_EQ("160", stream["width"]);
  EXPECT_EQ(-1, FirstWrongFrame(tavtest::StreamBytes(movie_, "v:0"), kFrames));
}

TEST_F(MuxKillTest, KilledWhileRecordingKeepsTheFramesWrittenBeforeInOrder) {
  KillHost host(movie_, 0);
  ASSERT_TRUE(host.started());
  // Kill once the live file reads 100 frames (what has reached the disk so far).
  const long long before = WaitForReadablePackets(movie_, 100, 60);
  ASSERT_GE(before, 100) << host.Output();
  host.Kill();
  const int acknowledged = host.Acknowledged();

  const long long readable = ReadablePackets(movie_);
  std::printf("acknowledged before the kill: %d, readable after it: %lld\n", acknowledged, readable);
  EXPECT_GE(readable, before);
  // A frame reaches the mux just before the host hears it was taken.
  EXPECT_LE(readable, acknowledged + 1);
  EXPECT_EQ(-1, FirstWrongFrame(tavtest::StreamBytes(movie_, "v:0"), readable));
  auto stream = tavtest::ProbeStream(movie_, "v:0");
  EXPECT_EQ("160", stream["width"]);
}

}  // namespace
