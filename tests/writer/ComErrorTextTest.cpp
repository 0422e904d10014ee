// The text of a COM error: the system's message, else the dispatch code or
// the HRESULT in hexadecimal.
#include <gtest/gtest.h>

#include "tests/writer/support/LogCapture.h"
#include "writer/ComErrorText.h"

namespace {

TEST(ComErrorTextTest, UsesTheSystemMessageWithoutItsLineBreak) {
  EXPECT_EQ(ComErrorText(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)), L"File not found.");
  EXPECT_EQ(ComErrorText(E_OUTOFMEMORY), L"Out of memory.");
}

TEST(ComErrorTextTest, DispatchErrorCodesShowTheirNumber) {
  EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80040205)), L"IDispatch error #5");
  EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x8004FFFF)), L"IDispatch error #65023");
}

TEST(ComErrorTextTest, CodesWithoutSystemTextShowTheHresult) {
  EXPECT_EQ(ComErrorText(E_POINTER), L"Unknown error 0x80004003");
  EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0x80040200)), L"Unknown error 0x80040200");
  EXPECT_EQ(ComErrorText(static_cast<HRESULT>(0xA0001234)), L"Unknown error 0xA0001234");
}

TEST(ComErrorTextTest, LogComErrorWritesOneErrorLine) {
  tavtest::LogCapture log;
  LogComError("TavMovieMakerGetCompressors", L"TavMovieMakerGetCompressors()", E_POINTER, static_cast<int>(E_POINTER));
  EXPECT_EQ(log.Lines(), (std::vector<std::wstring>{tavtest::LogCapture::Line(
                             L"TavMovieMakerGetCompressors", L"ERROR", static_cast<int>(E_POINTER),
                             L"TavMovieMakerGetCompressors() error: Unknown error 0x80004003")}));
}

}  // namespace
