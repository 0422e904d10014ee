// A frame number far ahead: the movie leaves a bounded gap (the AVI Mux's
// limit, with a WARNING line in the library's log) instead of gigabytes of
// empty index entries, and the recording goes on.
#include <gtest/gtest.h>

#include <chrono>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const long long kFrame25 = 400000;
const long long kMaxGapSlots = 100000;  // the pack's AviLayoutWriter::kMaxGapSlots

TEST(GapLimit, AHugeFrameNumberJumpRecordsABoundedGapQuickly) {
  MovieMakerDll dll;
  ASSERT_TRUE(dll.ok());
  dll.CatchLog(3);  // WARNING and up
  int id = 0;
  ASSERT_EQ(dll.InitEx(32, 16, 25.0, nullptr, &id), S_OK);
  std::wstring movie = MakeTempDir() + L"jump.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::string frame(32 * 16 * 3, '\x5a');
  const long long numbers[] = {0, 1, 1000000001, 1000000002};
  const auto start = std::chrono::steady_clock::now();
  for (long long n : numbers)
    ASSERT_EQ(dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n), S_OK) << n;
  ASSERT_EQ(dll.StopMovieRecord(id), S_OK);
  // Without the limit the gap costs minutes (or the host's life); with it, a
  // fraction of a second. The bound leaves room for a loaded machine.
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 60.0);
  dll.Release(id);

  // The four frames, in their slots: the gap holds kMaxGapSlots empty ones.
  std::vector<long long> slots;
  for (const Packet& p : ProbePackets(movie, "v:0"))
    if (p.size > 0) slots.push_back(p.pts);
  EXPECT_EQ(slots, (std::vector<long long>{0, 1, 2 + kMaxGapSlots, 3 + kMaxGapSlots}));
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_EQ(Count(lines, L"SV=WARNING; CD=0; MSG=Gap of 999999999 frame slots in stream 0 recorded as 100000"), 1)
      << Dump(lines);
}

}  // namespace
}  // namespace tavtest
