// Two of the host's threads at once: the first video frame and the first
// audio block handed in together (the graph is built and run once, by
// whichever comes first), and StopMovieRecord from the control thread while
// an acquisition thread hands frames over (a frame is acknowledged only when
// it is in the movie).
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/reliability/Deadline.h"
#include "tests/reliability/MovieCounts.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);
const long long kFrame25 = 400000;      // one frame at 25 fps, in 100 ns
const unsigned kAudioBlock = 1920 * 4;  // 16-bit stereo at 48 kHz, one frame long

// Releases every waiting thread at once when the last one arrives.
class StartLine {
 public:
  explicit StartLine(int threads) : waiting_(threads) {}
  void Arrive() {
    --waiting_;
    while (waiting_.load() > 0) std::this_thread::yield();
  }

 private:
  std::atomic<int> waiting_;
};

class TwoThreads : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    ASSERT_EQ(dll.InitEx(16, 8, 25.0, nullptr, &id), S_OK);
  }
  MovieMakerDll dll;
  int id = 0;
  std::wstring dir = MakeTempDir();
  std::vector<unsigned char> frame = std::vector<unsigned char>(16 * 8 * 3, 0x21);
  std::vector<unsigned char> block = std::vector<unsigned char>(kAudioBlock, 0x12);
};

TEST_F(TwoThreads, FirstFrameAndFirstAudioBlockTogetherStartTheGraphOnce) {
  ASSERT_EQ(dll.SetAudioStream(id, 16), S_OK);
  const int kMovies = 50;
  std::vector<std::wstring> movies;
  for (int m = 0; m < kMovies; ++m) {
    movies.push_back(dir + L"both-" + std::to_wstring(m) + L".avi");
    ASSERT_EQ(dll.StartMovieRecord(id, movies.back().c_str()), S_OK);
    StartLine line(2);
    HRESULT video[2] = {E_PENDING, E_PENDING};
    HRESULT audio[2] = {E_PENDING, E_PENDING};
    FinishWithin(60.0, "two first hand-overs", [&] {
      std::thread audioThread([&] {
        line.Arrive();
        for (int n = 0; n < 2; ++n) audio[n] = dll.AddAudioSample2(id, block.data(), kAudioBlock, n * kFrame25, n);
      });
      line.Arrive();
      for (int n = 0; n < 2; ++n)
        video[n] = dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), n * kFrame25, n);
      audioThread.join();
    });
    for (int n = 0; n < 2; ++n) {
      EXPECT_EQ(video[n], S_OK) << "movie " << m << " frame " << n;
      EXPECT_EQ(audio[n], S_OK) << "movie " << m << " block " << n;
    }
    HRESULT stopped = E_PENDING;
    FinishWithin(60.0, "TavMovieMakerStopMovieRecord", [&] { stopped = dll.StopMovieRecord(id); });
    ASSERT_EQ(stopped, S_OK) << "movie " << m;
  }
  // The PCM of two blocks (3840 sample frames) reads as four packets.
  EXPECT_EQ(StreamCounts(movies), std::vector<std::string>(kMovies, "audio,3840,4 video,2,2"));
}

// The acquisition thread hands frames over until one fails; the control
// thread stops after 1 to 4 acknowledged frames, racing the next hand-over.
// The call that loses the race fails at once with E_FAIL and an ERROR line,
// and the movie holds exactly the acknowledged frames.
TEST_F(TwoThreads, StopDuringHandOversKeepsEveryAcknowledgedFrame) {
  const int kMovies = 100;
  std::vector<std::wstring> movies;
  std::vector<int> acknowledged;
  dll.CatchLog(4);
  for (int m = 0; m < kMovies; ++m) {
    movies.push_back(dir + L"race-" + std::to_wstring(m) + L".avi");
    ASSERT_EQ(dll.StartMovieRecord(id, movies.back().c_str()), S_OK);
    std::atomic<int> ok(0);
    HRESULT last = S_OK;
    HRESULT stopped = E_PENDING;
    FinishWithin(60.0, "a stop racing the hand-overs", [&] {
      std::thread acquisition([&] {
        for (int n = 0; n < 1000 && last == S_OK; ++n) {
          last = dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), n * kFrame25, n);
          if (last == S_OK) ++ok;
        }
      });
      while (ok.load() < 1 + m % 4) std::this_thread::yield();
      stopped = dll.StopMovieRecord(id);
      acquisition.join();
    });
    ASSERT_EQ(stopped, S_OK) << "movie " << m;
    ASSERT_EQ(last, kFail) << "movie " << m << std::hex << " 0x" << last;
    acknowledged.push_back(ok.load());
  }
  std::vector<std::wstring> errors = dll.TakeLines();
  EXPECT_EQ(Count(errors, Error(L"AddMovieFrame() recording stopped")), kMovies) << Dump(errors);
  std::vector<std::string> wanted;
  for (int count : acknowledged) wanted.push_back("video," + std::to_string(count) + "," + std::to_string(count));
  EXPECT_EQ(StreamCounts(movies), wanted);
}

}  // namespace
}  // namespace tavtest
