// The five line layouts, letter for letter, and how Dispatch fills a line:
// defaults, file shortening, severity texts, line ID and nesting level.
#define TAVMOVIEMAKER_EXPORTS  // the log is linked in statically
#include "TavMovieMaker.h"

#include <gtest/gtest.h>
#include <time.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogRegistry.h"
#include "log/Trace.h"
#include "tests/log/LineCollector.h"

namespace {

constexpr int kEngine = 3;

// One engine with one callback sink of the given layout, minimum 0.
class Layout : public ::testing::Test {
 protected:
  void Attach(unsigned int kind) {
    ASSERT_EQ(TavLogCreateEngine(kEngine, 0), S_OK);
    int index = -1;
    ASSERT_EQ(TavLogAttachCallback(kEngine, kind, 0, &LineCollector::Callback, &lines, &index), S_OK);
    ASSERT_EQ(index, 0);
  }
  std::wstring OnlyLine() {
    auto texts = lines.Texts();
    EXPECT_EQ(texts.size(), 1u);
    return texts.empty() ? std::wstring() : texts[0];
  }
  LineCollector lines;
};

std::wstring Hex(uint64_t value) {
  std::wostringstream out;
  out << std::uppercase << std::hex << value;
  return out.str();
}

std::wstring Pid() { return std::to_wstring(GetCurrentProcessId()); }
std::wstring Tid() { return std::to_wstring(GetCurrentThreadId()); }

// The low 18 bits of the time of the thread's first line, within [before, after].
bool LineIdFitsThread(uint64_t lineId, DWORD threadId, __time64_t before, __time64_t after) {
  if ((lineId >> 44) != (static_cast<uint64_t>(threadId) & 0xFFFFF)) return false;
  const uint64_t low = lineId & ((1ull << 44) - 1);
  for (__time64_t t = before; t <= after; ++t)
    if (low == (static_cast<uint64_t>(t) & 0x3FFFF)) return true;
  return false;
}

const std::wregex kTimeShape(LR"(\d{2}\.\d{2}\.\d{4} \d{2}:\d{2}:\d{2}\.\d{1,3})");

TEST_F(Layout, Kind1IsSeverityCodeMessage) {
  ASSERT_NO_FATAL_FAILURE(Attach(1));
  ASSERT_EQ(TavLogWrite(kEngine, 4, -7, "Host::Mark", L"hello"), S_OK);
  EXPECT_EQ(OnlyLine(), L"ERROR: -7; hello");
  EXPECT_EQ(lines.Lines()[0].length, 16);
  EXPECT_EQ(lines.Lines()[0].severity, 4u);
}

TEST_F(Layout, Kind2NamesSeverityCodeAndMessage) {
  ASSERT_NO_FATAL_FAILURE(Attach(2));
  ASSERT_EQ(TavLogWrite(kEngine, 2, 0, "Host::Mark", L"hello"), S_OK);
  EXPECT_EQ(OnlyLine(), L"SV=NOTICE; CD=0; MSG=hello");
}

TEST_F(Layout, Kind3AddsFileFunctionAndLine) {
  ASSERT_NO_FATAL_FAILURE(Attach(3));
  ASSERT_EQ(TavLogWrite(kEngine, 3, 42, "Host::Mark", L"hello"), S_OK);
  EXPECT_EQ(OnlyLine(), L"F=.\\Host,Host::Mark,0; SV=WARNING; CD=42; MSG=hello");
}

TEST_F(Layout, Kind4AddsLineIdMessageLengthProcessThreadAndTime) {
  ASSERT_NO_FATAL_FAILURE(Attach(4));
  const __time64_t before = _time64(nullptr);
  ASSERT_EQ(TavLogWrite(kEngine, 1, 0, "Host::Mark", L"hello"), S_OK);
  const __time64_t after = _time64(nullptr);
  const std::wstring line = OnlyLine();
  std::wsmatch match;
  ASSERT_TRUE(std::regex_match(line, match, std::wregex(LR"(\{([0-9A-F]+)\}; .*TM=([^;]*); .*)"))) << line;
  const uint64_t lineId = std::stoull(match[1].str(), nullptr, 16);
  EXPECT_TRUE(LineIdFitsThread(lineId, GetCurrentThreadId(), before, after)) << match[1].str();
  const std::wstring time = match[2].str();
  EXPECT_TRUE(std::regex_match(time, kTimeShape)) << time;
  EXPECT_EQ(line, L"{" + Hex(lineId) + L"}; ML=5; PT=" + Pid() + L":" + Tid() + L"; TM=" + time +
                      L"; F=.\\Host,Host::Mark,0; SV=TRACE; CD=0; MSG=hello");
}

TEST_F(Layout, Kind5AddsNestingLevelAndModuleNames) {
  ASSERT_NO_FATAL_FAILURE(Attach(5));
  const __time64_t before = _time64(nullptr);
  ASSERT_EQ(TavLogWrite(kEngine, 5, -2147467259, "Host::Mark", L"h\u00e9llo w\u00f6rld"), S_OK);
  const __time64_t after = _time64(nullptr);
  const std::wstring line = OnlyLine();
  std::wsmatch match;
  ASSERT_TRUE(std::regex_match(line, match, std::wregex(LR"(\{([0-9A-F]+)\}; .*TM=([^;]*); .*)"))) << line;
  const uint64_t lineId = std::stoull(match[1].str(), nullptr, 16);
  EXPECT_TRUE(LineIdFitsThread(lineId, GetCurrentThreadId(), before, after));
  const std::wstring time = match[2].str();
  EXPECT_TRUE(std::regex_match(time, kTimeShape)) << time;
  EXPECT_EQ(line, L"{" + Hex(lineId) + L"}; ML=11; PT=" + Pid() + L":" + Tid() + L"; NL=0; TM=" + time +
                      L"; MN=MovieMaker,TavMovieMaker; F=.\\Host,Host::Mark,0; SV=MANDATORY; CD=-2147467259; "
                      L"MSG=h\u00e9llo w\u00f6rld");
}

TEST_F(Layout, LineIdIsThreadShifted44PlusLow18BitsOfTheFirstLinesTime) {
  ASSERT_NO_FATAL_FAILURE(Attach(4));
  const __time64_t before = _time64(nullptr);
  TavLogWrite(kEngine, 1, 0, "A", L"one");
  TavLogWrite(kEngine, 1, 0, "A", L"two");
  DWORD otherThread = 0;
  std::thread other([&] {
    otherThread = GetCurrentThreadId();
    TavLogWrite(kEngine, 1, 0, "B", L"three");
  });
  other.join();
  const __time64_t after = _time64(nullptr);
  auto texts = lines.Texts();
  ASSERT_EQ(texts.size(), 3u);
  auto idOf = [](const std::wstring& text) { return std::stoull(text.substr(1, text.find(L'}') - 1), nullptr, 16); };
  EXPECT_EQ(idOf(texts[0]), idOf(texts[1]));  // one ID per thread and engine
  EXPECT_TRUE(LineIdFitsThread(idOf(texts[0]), GetCurrentThreadId(), before, after));
  EXPECT_TRUE(LineIdFitsThread(idOf(texts[2]), otherThread, before, after));
  EXPECT_NE(idOf(texts[0]), idOf(texts[2]));
  EXPECT_EQ((idOf(texts[0]) >> 18) & ((1ull << 26) - 1), 0u);  // only 18 bits of time
}

TEST_F(Layout, FirstLineOfAThreadHasNL0AndLaterLinesNLMinus1) {
  ASSERT_NO_FATAL_FAILURE(Attach(5));
  auto nestingLevels = [&](size_t from) {
    std::vector<std::wstring> levels;
    auto texts = lines.Texts();
    for (size_t i = from; i < texts.size(); ++i) {
      std::wsmatch match;
      std::regex_search(texts[i], match, std::wregex(LR"(; NL=(-?\d+); )"));
      levels.push_back(match[1].str());
    }
    return levels;
  };
  TavLogWrite(kEngine, 1, 0, "A", L"1");
  TavLogWrite(kEngine, 1, 0, "A", L"2");
  TavLogWrite(kEngine, 1, 0, "A", L"3");
  EXPECT_EQ(nestingLevels(0), (std::vector<std::wstring>{L"0", L"-1", L"-1"}));
  std::thread other([] {
    TavLogWrite(kEngine, 1, 0, "B", L"4");
    TavLogWrite(kEngine, 1, 0, "B", L"5");
  });
  other.join();
  EXPECT_EQ(nestingLevels(3), (std::vector<std::wstring>{L"0", L"-1"}));
  EXPECT_EQ(tavlog::ThreadCount(kEngine), 2);
}

TEST_F(Layout, AnUnknownKindCallsTheSinkWithLength0) {
  ASSERT_NO_FATAL_FAILURE(Attach(6));
  ASSERT_EQ(TavLogWrite(kEngine, 1, 0, "A", L"text"), S_OK);
  auto got = lines.Lines();
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].length, 0);
  EXPECT_EQ(got[0].text, L"");
}

TEST_F(Layout, Severity6PrintsMandatoryAnd7OrMorePrintsBadSeverity) {
  ASSERT_NO_FATAL_FAILURE(Attach(1));
  for (unsigned int severity : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 1000u})
    TavLogWrite(kEngine, severity, 0, "A", L"m");
  EXPECT_EQ(lines.Texts(),
            (std::vector<std::wstring>{L"DEBUG: 0; m", L"TRACE: 0; m", L"NOTICE: 0; m", L"WARNING: 0; m",
                                       L"ERROR: 0; m", L"MANDATORY: 0; m", L"MANDATORY: 0; m", L"bad severity: 0; m",
                                       L"bad severity: 0; m", L"bad severity: 0; m"}));
}

TEST_F(Layout, AFilePathIsShortenedToItsLastTwoComponents) {
  ASSERT_NO_FATAL_FAILURE(Attach(3));
  ASSERT_EQ(TavLogListen(kEngine, TavLogModuleKey()), S_OK);
  const int line1 = __LINE__ + 1;
  TAV_LOG(L"C:\\a\\b\\c", "CAviWriter::StopRecord", LOG_SEV_TRACE, 0, L"one");
  const int line2 = __LINE__ + 1;
  TAV_LOG(L".\\ReadRAW", "CPushPinReadRAW::FillBuffer", LOG_SEV_TRACE, 0, L"two");
  EXPECT_EQ(lines.Texts(),
            (std::vector<std::wstring>{
                L"F=b\\c,CAviWriter::StopRecord," + std::to_wstring(line1) + L"; SV=TRACE; CD=0; MSG=one",
                L"F=.\\ReadRAW,CPushPinReadRAW::FillBuffer," + std::to_wstring(line2) + L"; SV=TRACE; CD=0; MSG=two"}));
}

TEST_F(Layout, AMessageLongerThan511CharactersIsCutTo511) {
  ASSERT_NO_FATAL_FAILURE(Attach(4));
  ASSERT_EQ(TavLogListen(kEngine, TavLogModuleKey()), S_OK);
  const std::wstring longText(600, L'q');
  TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerInit", LOG_SEV_ERROR, 0, L"%s!", longText.c_str());
  const std::wstring line = OnlyLine();
  EXPECT_NE(line.find(L"; ML=511; "), std::wstring::npos) << line;
  EXPECT_EQ(line.substr(line.find(L"MSG=") + 4), std::wstring(511, L'q'));
}

TEST_F(Layout, TraceCallFormatsItsMessageWithTheRuntimesConventions) {
  ASSERT_NO_FATAL_FAILURE(Attach(2));
  ASSERT_EQ(TavLogListen(kEngine, TavLogModuleKey()), S_OK);
  TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerInit", LOG_SEV_ERROR, 0x80004005, L"%s=%hs %d 0x%08X", L"w", "n", 7,
          0x1Au);
  EXPECT_EQ(OnlyLine(), L"SV=ERROR; CD=-2147467259; MSG=w=n 7 0x0000001A");
}

TEST_F(Layout, MissingTextsBecomeUndefined) {
  ASSERT_NO_FATAL_FAILURE(Attach(5));
  LogRecord record;
  ResetLogRecord(&record);  // no texts at all: severity 5, code -1
  EXPECT_EQ(tavlog::Write(kEngine, &record), 0);
  const std::wstring line = OnlyLine();
  EXPECT_NE(line.find(L"}; ML=9; PT=0:0; NL=0; TM=undefined; MN=undefined,undefined; "
                      L"F=undefined,undefined,0; SV=MANDATORY; CD=-1; MSG=undefined"),
            std::wstring::npos)
      << line;
  // Thread 0: the ID is the low 18 bits of the time alone.
  EXPECT_LT(std::stoull(line.substr(1, line.find(L'}') - 1), nullptr, 16), 0x40000ull) << line;
}

TEST_F(Layout, HostWriteTakesANullFunctionAndMessageAsUndefined) {
  ASSERT_NO_FATAL_FAILURE(Attach(3));
  ASSERT_EQ(TavLogWrite(kEngine, 1, 0, nullptr, nullptr), S_OK);
  EXPECT_EQ(OnlyLine(), L"F=.\\Host,undefined,0; SV=TRACE; CD=0; MSG=undefined");
}

}  // namespace
