// When nobody listens, a trace call costs the enabled test only: no
// allocation, no formatting, no argument evaluated. This program counts every
// operator new of the process.
#define TAVMOVIEMAKER_EXPORTS  // the log is linked in statically
#include "TavMovieMaker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "log/Trace.h"
#include "tests/log/LineCollector.h"

namespace {
std::atomic<long> g_allocations{0};
}  // namespace

void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* block = std::malloc(size ? size : 1)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++g_allocations;
  return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace {

int g_evaluations;
const wchar_t* Evaluated() {
  ++g_evaluations;
  return L"argument";
}

// Runs a burst of trace calls at every severity and returns the operator new
// calls they made.
long AllocationsOfABurst() {
  const long before = g_allocations.load();
  for (int round = 0; round < 200; ++round)
    for (unsigned int severity = 0; severity <= 7; ++severity)
      TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerAddMovieFrame2", severity, 0, L"%s %d", Evaluated(), round);
  return g_allocations.load() - before;
}

TEST(LogDisabledPath, NoEngineMeansNoAllocationNoFormattingAndNoArgumentEvaluated) {
  // The first call makes the two empty tables, once.
  const long before = g_allocations.load();
  EXPECT_FALSE(tavlog::LibraryIsEnabled(5));
  EXPECT_GT(g_allocations.load() - before, 0);
  g_evaluations = 0;
  EXPECT_EQ(AllocationsOfABurst(), 0);
  EXPECT_EQ(g_evaluations, 0);
}

TEST(LogDisabledPath, LinesBelowTheMinimumCostNothingAndTheOthersAreMade) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(0, 5), S_OK);
  ASSERT_EQ(TavLogAttachCallback(0, 5, 0, &LineCollector::Callback, &lines, nullptr), S_OK);
  lines.Texts().reserve(0);
  const long before = g_allocations.load();
  g_evaluations = 0;
  for (int round = 0; round < 200; ++round)
    for (unsigned int severity = 0; severity <= 4; ++severity)
      TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerAddMovieFrame2", severity, 0, L"%s", Evaluated());
  EXPECT_EQ(g_allocations.load() - before, 0);
  EXPECT_EQ(g_evaluations, 0);
  EXPECT_EQ(lines.Count(), 0u);

  // The control: an enabled line is formatted and allocates its texts.
  TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerAddMovieFrame2", LOG_SEV_MANDATORY, 0, L"%s", Evaluated());
  EXPECT_EQ(g_evaluations, 1);
  EXPECT_GT(g_allocations.load() - before, 0);
  EXPECT_EQ(lines.Count(), 1u);
}

}  // namespace
