// The registry's tables go at process exit, and with them every engine and
// sink (files are closed there too).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "log/LogRegistry.h"
#include "log/LogSink.h"

namespace {

class AnnouncingSink : public LogSink {
 public:
  AnnouncingSink() : LogSink(1, 0) {}
  int Write(const wchar_t*, int, const LogRecord&) override { return 0; }

 protected:
  ~AnnouncingSink() override {
    std::fputs("sink released\n", stderr);
    std::fflush(stderr);
  }
};

void RegisterAndExit() {
  if (tavlog::CreateEngine(1, 0) != S_OK) std::exit(3);
  if (tavlog::AttachSink(1, new AnnouncingSink, nullptr) != S_OK) std::exit(4);
  std::fputs("exiting\n", stderr);
  std::exit(0);
}

TEST(LogExitDeathTest, TheTablesAreDestroyedAtExitReleasingEverySink) {
  EXPECT_EXIT(RegisterAndExit(), ::testing::ExitedWithCode(0), "^exiting\nsink released\n$");
}

TEST(LogExitDeathTest, AnEngineDeletedBeforeExitReleasesItsSinkOnlyOnce) {
  EXPECT_EXIT(
      {
        tavlog::CreateEngine(1, 0);
        tavlog::AttachSink(1, new AnnouncingSink, nullptr);
        tavlog::DeleteEngine(1);
        std::fputs("engine deleted\n", stderr);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "^sink released\nengine deleted\n$");
}

}  // namespace
