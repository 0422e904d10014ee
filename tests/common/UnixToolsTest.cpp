#include <gtest/gtest.h>
#include <windows.h>

#include "tests/common/UnixTools.h"

using namespace tavtest;

TEST(UnixTools, RunsAShellCommandAndReturnsItsOutputAndStatus) {
  UnixResult r = RunUnixCommand("printf 'a b'; echo \"it's\"; exit 7");
  EXPECT_EQ(r.exitCode, 7);
  EXPECT_EQ(r.output, "a bit's\n");
}

TEST(UnixTools, FfprobeIsReachable) {
  UnixResult r = RunUnixCommand("ffprobe -version | head -n 1 | cut -c1-15");
  EXPECT_EQ(r.exitCode, 0);
  EXPECT_EQ(r.output, "ffprobe version\n");
}

TEST(UnixTools, MapsAWindowsPathOnZToItsUnixPath) { EXPECT_EQ(UnixPathOf(L"Z:\\tmp\\x.avi"), "/tmp/x.avi"); }
