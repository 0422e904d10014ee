// The texts of a record: time text, message, their release; the module hash,
// severity texts, file shortening and the sink's slot layout.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <regex>
#include <string>

#include "log/LogLayout.h"
#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogSink.h"
#include "log/LogTexts.h"

namespace {

TEST(LogRecord, ResetZeroesAndSetsSeverity5CodeAndDayMinus1) {
  LogRecord record;
  std::memset(&record, 0xAB, sizeof(record));
  ResetLogRecord(&record);
  EXPECT_EQ(record.severity, 5u);
  EXPECT_EQ(record.code, -1);
  EXPECT_EQ(record.day, -1);
  EXPECT_EQ(record.month, 0);
  EXPECT_EQ(record.year, 0);
  EXPECT_EQ(record.processId, 0u);
  EXPECT_EQ(record.line, 0);
  EXPECT_EQ(record.timeText, nullptr);
  EXPECT_EQ(record.message, nullptr);
  EXPECT_EQ(record.function, nullptr);
  EXPECT_EQ(record.file, nullptr);
  EXPECT_EQ(record.moduleKey, 0u);
}

TEST(MakeTimeText, PrintsTodaysDateAndTimeWithUnpaddedMilliseconds) {
  LogRecord record;
  ResetLogRecord(&record);
  SYSTEMTIME before;
  GetLocalTime(&before);
  char* text = tavlog::MakeTimeText(&record);
  ASSERT_NE(text, nullptr);
  ASSERT_NE(text, tavlog::kTimeTextError);
  std::cmatch match;
  ASSERT_TRUE(std::regex_match(text, match,
                               std::regex(R"((\d{2})\.(\d{2})\.(\d{4}) (\d{2}):(\d{2}):(\d{2})\.([1-9]\d{0,2}|0))")))
      << text;
  EXPECT_EQ(std::stoi(match[1]), before.wDay);
  EXPECT_EQ(std::stoi(match[2]), before.wMonth);
  EXPECT_EQ(std::stoi(match[3]), before.wYear);
  EXPECT_EQ(record.day, before.wDay);
  EXPECT_EQ(record.month, before.wMonth);
  EXPECT_EQ(record.year, before.wYear);
  EXPECT_LT(std::strlen(text), 32u);
  tavlog::FreeRecordTexts(&text, nullptr);
  EXPECT_EQ(text, nullptr);
}

TEST(FormatLogMessage, FormatsWideAndNarrowArguments) {
  wchar_t* message = tavlog::FormatLogMessage(L"%s|%hs|%d|%I64X", L"wide", "narrow", -12, 0xABCDEF0123ull);
  EXPECT_STREQ(message, L"wide|narrow|-12|ABCDEF0123");
  tavlog::FreeRecordTexts(nullptr, &message);
  EXPECT_EQ(message, nullptr);
}

TEST(FormatLogMessage, CutsAMessageLongerThan511CharactersTo511) {
  const std::wstring longText(700, L'x');
  wchar_t* message = tavlog::FormatLogMessage(L"%s", longText.c_str());
  EXPECT_EQ(std::wstring(message), std::wstring(511, L'x'));
  tavlog::FreeRecordTexts(nullptr, &message);
}

TEST(FormatLogMessage, KeepsAMessageOfExactly511Characters) {
  const std::wstring text(511, L'y');
  wchar_t* message = tavlog::FormatLogMessage(L"%s", text.c_str());
  EXPECT_EQ(std::wstring(message), text);
  tavlog::FreeRecordTexts(nullptr, &message);
}

TEST(CopyLogMessage, TakesTheTextLiterallyAndCutsItTo511) {
  wchar_t* message = tavlog::CopyLogMessage(L"100%s %d %%");
  EXPECT_STREQ(message, L"100%s %d %%");
  tavlog::FreeRecordTexts(nullptr, &message);
  const std::wstring longText(600, L'z');
  message = tavlog::CopyLogMessage(longText.c_str());
  EXPECT_EQ(std::wstring(message), std::wstring(511, L'z'));
  tavlog::FreeRecordTexts(nullptr, &message);
}

TEST(FreeRecordTexts, LeavesTheConstantTextsAloneAndClearsThePointers) {
  char* timeText = const_cast<char*>(tavlog::kTimeTextError);
  wchar_t* message = const_cast<wchar_t*>(tavlog::kMessageError);
  tavlog::FreeRecordTexts(&timeText, &message);  // deleting a constant would corrupt the heap
  EXPECT_EQ(timeText, nullptr);
  EXPECT_EQ(message, nullptr);
  EXPECT_STREQ(tavlog::kTimeTextError, "error_data error_time");
  EXPECT_STREQ(tavlog::kMessageError, L"Can't prepare error message");
}

TEST(ModuleHash, HashesTheKeyPrintedAsTwoUnpaddedHexNumbers) {
  // "00": 48 * 31 + 48
  EXPECT_EQ(tavlog::ModuleHash(0), 1536u);
  // "180000000": high part 1, low part 80000000
  EXPECT_EQ(tavlog::ModuleHash(0x180000000ull), 1512685097u);
  EXPECT_EQ(tavlog::ModuleHash(0x1ABCDEF00ull), 2888716500u);
  EXPECT_EQ(tavlog::ModuleHash(0x123456789ABCDEF0ull), 4019433048u);
  // "7ff812340000": high part 7ff8, low part 12340000
  EXPECT_EQ(tavlog::ModuleHash(0x7FF812340000ull), 1334885923u);
}

TEST(ModuleNames, AreMovieMakerAndTavMovieMakerAndEngineIdIs0) {
  EXPECT_STREQ(tavlog::ModuleName1(), "MovieMaker");
  EXPECT_STREQ(tavlog::ModuleName2(), "TavMovieMaker");
  EXPECT_EQ(tavlog::EngineId(), 0);
  // The test program links the log statically and has not loaded the DLL.
  EXPECT_EQ(tavlog::ModuleKey(), reinterpret_cast<uint64_t>(GetModuleHandleW(L"TavMovieMaker.dll")));
}

TEST(SeverityText, NamesEachLevelAnd6IsMandatoryToo) {
  EXPECT_STREQ(tavlog::SeverityText(0), L"DEBUG");
  EXPECT_STREQ(tavlog::SeverityText(1), L"TRACE");
  EXPECT_STREQ(tavlog::SeverityText(2), L"NOTICE");
  EXPECT_STREQ(tavlog::SeverityText(3), L"WARNING");
  EXPECT_STREQ(tavlog::SeverityText(4), L"ERROR");
  EXPECT_STREQ(tavlog::SeverityText(5), L"MANDATORY");
  EXPECT_STREQ(tavlog::SeverityText(6), L"MANDATORY");
  EXPECT_STREQ(tavlog::SeverityText(7), L"bad severity");
  EXPECT_STREQ(tavlog::SeverityText(0xFFFFFFFFu), L"bad severity");
}

TEST(ShortenFile, KeepsTheLastTwoComponents) {
  wchar_t buffer[tavlog::kFileSize];
  EXPECT_STREQ(tavlog::ShortenFile(L"C:\\a\\b\\c", buffer), L"b\\c");
  EXPECT_STREQ(tavlog::ShortenFile(L".\\ReadRAW", buffer), L".\\ReadRAW");
  EXPECT_STREQ(tavlog::ShortenFile(L"ReadRAW", buffer), L"ReadRAW");
  EXPECT_STREQ(tavlog::ShortenFile(L"a\\b\\", buffer), L"b\\");
  EXPECT_STREQ(tavlog::ShortenFile(L"", buffer), L"");
}

TEST(ShortenFile, CutsThePathAt259CharactersFirst) {
  std::wstring path = L"C:\\dir\\" + std::wstring(300, L'n');
  wchar_t buffer[tavlog::kFileSize];
  const std::wstring shortened = tavlog::ShortenFile(path.c_str(), buffer);
  EXPECT_EQ(shortened, L"dir\\" + std::wstring(259 - 7, L'n'));
}

struct ProbeSink : LogSink {
  ProbeSink() : LogSink(1, 0) {}
  int Write(const wchar_t* line, int length, const LogRecord&) override {
    seen = std::wstring(line, length);
    return 77;
  }
  std::wstring seen;
};

TEST(LogSink, WriteIsTheFifthVirtualSlot) {
  // GCC's pointer to a virtual member holds 1 + the slot's byte offset.
  int (LogSink::*write)(const wchar_t*, int, const LogRecord&) = &LogSink::Write;
  uintptr_t words[2];
  static_assert(sizeof(write) == sizeof(words), "Itanium member pointer");
  std::memcpy(words, &write, sizeof(words));
  EXPECT_EQ(words[0], 1 + 4 * sizeof(void*));

  // Calling slot 4 of the table directly reaches the sink's Write.
  auto* sink = new ProbeSink;
  using WriteSlot = int (*)(LogSink*, const wchar_t*, int, const LogRecord&);
  void** table = *reinterpret_cast<void***>(static_cast<LogSink*>(sink));
  LogRecord record;
  ResetLogRecord(&record);
  EXPECT_EQ(reinterpret_cast<WriteSlot>(table[4])(sink, L"slot five", 9, record), 77);
  EXPECT_EQ(sink->seen, L"slot five");
  EXPECT_EQ(sink->Release(), 0u);
}

}  // namespace
