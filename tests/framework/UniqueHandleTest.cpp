// The kernel handle owner: it closes what it holds exactly once, moves the
// handle on and leaves the source empty, and reports a close the system
// refuses so that its caller can log why.
#include <gtest/gtest.h>

#include <windows.h>

#include <utility>

#include "framework/UniqueHandle.h"

namespace {

// Stands in for the system: counts the closes and answers as told.
struct CountingTraits {
  using Handle = HANDLE;
  static int closes;
  static Handle lastClosed;
  static bool closeSucceeds;
  static Handle Invalid() noexcept { return nullptr; }
  static bool Close(Handle handle) noexcept {
    ++closes;
    lastClosed = handle;
    return closeSucceeds;
  }
};
int CountingTraits::closes = 0;
HANDLE CountingTraits::lastClosed = nullptr;
bool CountingTraits::closeSucceeds = true;

using CountedHandle = UniqueHandleOf<CountingTraits>;

class UniqueHandleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CountingTraits::closes = 0;
    CountingTraits::lastClosed = nullptr;
    CountingTraits::closeSucceeds = true;
  }
  static HANDLE Fake(uintptr_t value) { return reinterpret_cast<HANDLE>(value); }
};

TEST_F(UniqueHandleTest, ClosesOnceWhenDestroyed) {
  {
    CountedHandle handle(Fake(0x41));
    EXPECT_TRUE(handle);
    EXPECT_EQ(0, CountingTraits::closes);
  }
  EXPECT_EQ(1, CountingTraits::closes);
  EXPECT_EQ(Fake(0x41), CountingTraits::lastClosed);
}

TEST_F(UniqueHandleTest, EmptyOwnerClosesNothing) {
  { CountedHandle handle; }
  EXPECT_EQ(0, CountingTraits::closes);
}

TEST_F(UniqueHandleTest, CloseEmptiesSoTheDestructorClosesNoMore) {
  {
    CountedHandle handle(Fake(0x42));
    EXPECT_TRUE(handle.Close());
    EXPECT_FALSE(handle);
    EXPECT_EQ(nullptr, handle.Get());
    EXPECT_TRUE(handle.Close());  // nothing held: nothing to close
  }
  EXPECT_EQ(1, CountingTraits::closes);
}

TEST_F(UniqueHandleTest, MoveLeavesTheSourceEmptyAndClosesOnce) {
  {
    CountedHandle source(Fake(0x43));
    CountedHandle target(std::move(source));
    EXPECT_FALSE(source);
    EXPECT_EQ(Fake(0x43), target.Get());
    CountedHandle assigned;
    assigned = std::move(target);
    EXPECT_FALSE(target);
    EXPECT_EQ(Fake(0x43), assigned.Get());
    EXPECT_EQ(0, CountingTraits::closes);
  }
  EXPECT_EQ(1, CountingTraits::closes);
}

TEST_F(UniqueHandleTest, MoveOntoAHeldHandleClosesTheOldOne) {
  CountedHandle kept(Fake(0x44));
  CountedHandle incoming(Fake(0x45));
  kept = std::move(incoming);
  EXPECT_EQ(1, CountingTraits::closes);
  EXPECT_EQ(Fake(0x44), CountingTraits::lastClosed);
  EXPECT_EQ(Fake(0x45), kept.Get());
}

TEST_F(UniqueHandleTest, ResetAndPutCloseTheHandleHeld) {
  CountedHandle handle(Fake(0x46));
  handle.Reset(Fake(0x47));
  EXPECT_EQ(1, CountingTraits::closes);
  EXPECT_EQ(Fake(0x46), CountingTraits::lastClosed);
  HANDLE* slot = handle.Put();
  EXPECT_EQ(2, CountingTraits::closes);
  EXPECT_EQ(Fake(0x47), CountingTraits::lastClosed);
  *slot = Fake(0x48);
  EXPECT_EQ(Fake(0x48), handle.Get());
}

TEST_F(UniqueHandleTest, ReleaseGivesTheHandleUpUnclosed) {
  {
    CountedHandle handle(Fake(0x49));
    EXPECT_EQ(Fake(0x49), handle.Release());
    EXPECT_FALSE(handle);
    CountedHandle raced(Fake(0x4A));
    EXPECT_EQ(Fake(0x4A), raced.ReleaseAtomically());
    EXPECT_EQ(nullptr, raced.ReleaseAtomically());  // the second taker gets nothing
  }
  EXPECT_EQ(0, CountingTraits::closes);
}

TEST_F(UniqueHandleTest, RefusedCloseIsReportedAndTheOwnerStillEmpties) {
  CountingTraits::closeSucceeds = false;
  CountedHandle handle(Fake(0x4B));
  EXPECT_FALSE(handle.Close());
  EXPECT_FALSE(handle);
  EXPECT_EQ(1, CountingTraits::closes);
}

// With the system: a value that names no handle makes Close report failure,
// and GetLastError says why, as the writer's close trace needs.
TEST_F(UniqueHandleTest, SystemRefusalKeepsItsLastError) {
  UniqueHandle owner(Fake(0x7FFFFFF0));  // far beyond any handle table in use
  SetLastError(0);
  EXPECT_FALSE(owner.Close());
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
  EXPECT_FALSE(owner);
}

}  // namespace
