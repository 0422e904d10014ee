// A host's view: TavMovieMaker.dll loaded with LoadLibraryW, the log switched
// on through the TavLog exports found with GetProcAddress.
#include <gtest/gtest.h>
#include <windows.h>

#include <regex>
#include <string>

#include "TavMovieMaker.h"
#include "tests/log/LineCollector.h"

namespace {

struct LogExports {
  decltype(&TavLogCreateEngine) createEngine;
  decltype(&TavLogDeleteEngine) deleteEngine;
  decltype(&TavLogAttachCallback) attachCallback;
  decltype(&TavLogAttachFile) attachFile;
  decltype(&TavLogAttachDebugger) attachDebugger;
  decltype(&TavLogSetSink) setSink;
  decltype(&TavLogDetachSink) detachSink;
  decltype(&TavLogListen) listen;
  decltype(&TavLogModuleKey) moduleKey;
  decltype(&TavLogWrite) write;
};

template <typename Fn>
bool Find(HMODULE dll, const char* name, Fn* fn) {
  *fn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
  return *fn != nullptr;
}

class DllLog : public ::testing::Test {
 protected:
  void SetUp() override {
    dll = LoadLibraryW(L"TavMovieMaker.dll");
    ASSERT_NE(dll, nullptr) << GetLastError();
    ASSERT_TRUE(Find(dll, "TavLogCreateEngine", &log.createEngine));
    ASSERT_TRUE(Find(dll, "TavLogDeleteEngine", &log.deleteEngine));
    ASSERT_TRUE(Find(dll, "TavLogAttachCallback", &log.attachCallback));
    ASSERT_TRUE(Find(dll, "TavLogAttachFile", &log.attachFile));
    ASSERT_TRUE(Find(dll, "TavLogAttachDebugger", &log.attachDebugger));
    ASSERT_TRUE(Find(dll, "TavLogSetSink", &log.setSink));
    ASSERT_TRUE(Find(dll, "TavLogDetachSink", &log.detachSink));
    ASSERT_TRUE(Find(dll, "TavLogListen", &log.listen));
    ASSERT_TRUE(Find(dll, "TavLogModuleKey", &log.moduleKey));
    ASSERT_TRUE(Find(dll, "TavLogWrite", &log.write));
  }
  void TearDown() override {
    if (dll != nullptr) FreeLibrary(dll);
  }
  HMODULE dll = nullptr;
  LogExports log{};
};

TEST_F(DllLog, TheModuleKeyIsTheDllsHandle) { EXPECT_EQ(log.moduleKey(), reinterpret_cast<unsigned long long>(dll)); }

TEST_F(DllLog, AHostSwitchesTheLogOnAndReadsItsOwnMarkerLine) {
  LineCollector lines;
  EXPECT_EQ(log.write(0, 5, 0, "Host::Main", L"before"), S_FALSE);
  ASSERT_EQ(log.createEngine(1, 0), S_OK);
  int index = -1;
  ASSERT_EQ(log.attachCallback(1, 5, 0, &LineCollector::Callback, &lines, &index), S_OK);
  EXPECT_EQ(index, 0);
  ASSERT_EQ(log.listen(1, log.moduleKey()), S_OK);
  // Engine 0 does not exist: the line reaches engine 1 through the module list.
  EXPECT_EQ(log.write(0, 2, 5, "Host::Main", L"marker"), S_OK);
  const auto texts = lines.Texts();
  ASSERT_EQ(texts.size(), 1u);
  const std::wstring pt = std::to_wstring(GetCurrentProcessId()) + L":" + std::to_wstring(GetCurrentThreadId());
  EXPECT_TRUE(std::regex_match(texts[0], std::wregex(LR"(\{[0-9A-F]+\}; ML=6; PT=)" + pt +
                                                     LR"(; NL=0; TM=\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d\.\d{1,3}; )"
                                                     LR"(MN=MovieMaker,TavMovieMaker; F=\.\\Host,Host::Main,0; )"
                                                     LR"(SV=NOTICE; CD=5; MSG=marker)")))
      << std::string(texts[0].begin(), texts[0].end());
  EXPECT_EQ(log.setSink(1, 0, 1, 0), S_OK);
  EXPECT_EQ(log.write(1, 3, 0, "Host::Main", L"twice"), S_OK);  // listed and named
  EXPECT_EQ(lines.Texts().size(), 3u);
  EXPECT_EQ(log.detachSink(1, 0), S_OK);
  EXPECT_EQ(log.attachDebugger(1, 1, 6, nullptr), S_OK);
  EXPECT_EQ(log.attachFile(1, 1, 0, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(log.deleteEngine(1), S_OK);
  EXPECT_EQ(log.write(0, 5, 0, "Host::Main", L"after"), S_FALSE);
}

}  // namespace
