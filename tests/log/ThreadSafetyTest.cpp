// Several threads log while another attaches, changes and detaches sinks.
#define TAVMOVIEMAKER_EXPORTS  // the log is linked in statically
#include "TavMovieMaker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "log/Trace.h"
#include "tests/log/LineCollector.h"

namespace {

constexpr int kLoggers = 4;
constexpr int kLinesEach = 300;

TEST(LogThreads, LoggingWhileSinksComeAndGoLosesNoLine) {
  LineCollector kept;
  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  ASSERT_EQ(TavLogAttachCallback(1, 2, 0, &LineCollector::Callback, &kept, nullptr), S_OK);
  ASSERT_EQ(TavLogListen(1, TavLogModuleKey()), S_OK);

  std::atomic<bool> stop{false};
  LineCollector transient;
  std::thread registrar([&] {
    int rounds = 0;
    while (!stop.load()) {
      int index = -1;
      if (TavLogAttachCallback(1, 5, 0, &LineCollector::Callback, &transient, &index) == S_OK) {
        TavLogSetSink(1, index, 1 + rounds % 5, rounds % 3);
        TavLogDetachSink(1, index);
      }
      TavLogCreateEngine(2, 0);
      TavLogListen(2, TavLogModuleKey());
      TavLogAttachCallback(2, 3, 0, &LineCollector::Callback, &transient, nullptr);
      TavLogDeleteEngine(2);
      ++rounds;
    }
  });

  std::vector<std::thread> loggers;
  for (int t = 0; t < kLoggers; ++t) {
    loggers.emplace_back([t] {
      for (int i = 0; i < kLinesEach; ++i) {
        // Engine 0 does not exist: both calls reach engine 1 through the module list only.
        if (i % 2 == 0)
          TavLogWrite(0, 1, t, "Logger", (L"w " + std::to_wstring(t) + L" " + std::to_wstring(i)).c_str());
        else TAV_LOG(L".\\Test", "Logger", LOG_SEV_TRACE, t, L"w %d %d", t, i);
      }
    });
  }
  for (std::thread& logger : loggers) logger.join();
  stop.store(true);
  registrar.join();

  // Every line arrived at the sink that stayed attached, exactly once.
  const std::vector<std::wstring> texts = kept.Texts();
  EXPECT_EQ(texts.size(), static_cast<size_t>(kLoggers * kLinesEach));
  std::set<std::wstring> distinct(texts.begin(), texts.end());
  for (int t = 0; t < kLoggers; ++t)
    for (int i = 0; i < kLinesEach; ++i) {
      const std::wstring expected =
          L"SV=TRACE; CD=" + std::to_wstring(t) + L"; MSG=w " + std::to_wstring(t) + L" " + std::to_wstring(i);
      EXPECT_EQ(distinct.count(expected), 1u) << std::string(expected.begin(), expected.end());
    }
  EXPECT_EQ(distinct.size(), static_cast<size_t>(kLoggers * kLinesEach));
}

}  // namespace
