// Writer registry and lifecycle: Init, Init2, InitEx and Release, seen from a
// host through the IDs they issue, their results and the log.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/api/MovieMakerDll.h"

namespace tavtest {
namespace {

const HRESULT kFail = static_cast<HRESULT>(0x80004005);

// "Closing <8 hex digits> <field>" (lower-case digits for the events,
// upper-case for the mutex, which also ends with a space).
bool IsClosingTrace(const std::wstring& line, const std::wstring& field, bool upperHex) {
  const std::wstring head = Trace(L"Closing ");
  const std::wstring tail = L" " + field;
  if (line.size() != head.size() + 8 + tail.size()) return false;
  if (line.compare(0, head.size(), head) != 0 || line.compare(head.size() + 8, tail.size(), tail) != 0) return false;
  for (size_t i = head.size(); i < head.size() + 8; ++i) {
    wchar_t c = line[i];
    bool digit = c >= L'0' && c <= L'9';
    bool hex = upperHex ? (c >= L'A' && c <= L'F') : (c >= L'a' && c <= L'f');
    if (!digit && !hex) return false;
  }
  return true;
}

std::vector<std::wstring> ClosingTraces(const std::vector<std::wstring>& lines) {
  std::vector<std::wstring> found;
  for (const std::wstring& line : lines)
    if (line.find(L"MSG=Closing ") != std::wstring::npos) found.push_back(line);
  return found;
}

class Registry : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dll.CatchLog();
  }
  MovieMakerDll dll;
};

TEST_F(Registry, InitExWithZeroRightAfterLoadGivesIdOne) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &id), S_OK);
  EXPECT_EQ(id, 1);
  std::vector<std::wstring> lines = dll.TakeLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), Trace(L"TavMovieMakerInitEx -> Enter"));
  EXPECT_EQ(lines.back(), Trace(L"TavMovieMakerInit2 -> Leave")) << Dump(lines);
  EXPECT_TRUE(ClosingTraces(lines).empty()) << "no handle existed yet\n" << Dump(lines);
  // The registry holds one record, ID 1: asking for it again keeps ID 1, and
  // a new writer then gets 2 from the counter.
  int again = 1;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &again), S_OK);
  EXPECT_EQ(again, 1);
  int second = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &second), S_OK);
  EXPECT_EQ(second, 2);
}

TEST_F(Registry, SecondInitExWithZeroAppendsIdTwo) {
  int first = 0, second = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &first), S_OK);
  ASSERT_EQ(dll.InitEx(160, 120, 10.0, nullptr, &second), S_OK);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  // Both records exist: each ID is found again (no new ID is issued).
  int again = 2;
  ASSERT_EQ(dll.InitEx(160, 120, 10.0, nullptr, &again), S_OK);
  EXPECT_EQ(again, 2);
  again = 1;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &again), S_OK);
  EXPECT_EQ(again, 1);
}

TEST_F(Registry, InitExWithExistingIdKeepsItAndRecreatesEventsAndMutex) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &id), S_OK);
  dll.TakeLines();
  ASSERT_EQ(dll.InitEx(640, 480, 30.0, nullptr, &id), S_OK);
  EXPECT_EQ(id, 1);
  std::vector<std::wstring> closing = ClosingTraces(dll.TakeLines());
  ASSERT_EQ(closing.size(), 7u) << Dump(closing);
  const wchar_t* events[] = {L"m_hEventFrameReady",  L"m_hEventBufferReady",      L"m_hEventBufferDone",
                             L"m_hEventSampleReady", L"m_hEventAudioBufferReady", L"m_hEventAudioBufferDone"};
  for (size_t i = 0; i < 6; ++i) EXPECT_TRUE(IsClosingTrace(closing[i], events[i], false)) << Dump(closing);
  EXPECT_TRUE(IsClosingTrace(closing[6], L"m_hMainMutex ", true)) << Dump(closing);
}

TEST_F(Registry, InitExWithWidthZeroFailsBeforeTheIdIsTouched) {
  int id = 77;
  EXPECT_EQ(dll.InitEx(0, 240, 25.0, nullptr, &id), kFail);
  EXPECT_EQ(id, 77);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerInitEx -> Enter"),
                                                        Error(L"Create Movie error, bad width")}));
}

TEST_F(Registry, InitExWithHeightZeroFails) {
  int id = 0;
  EXPECT_EQ(dll.InitEx(320, 0, 25.0, nullptr, &id), kFail);
  EXPECT_EQ(id, 0);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerInitEx -> Enter"),
                                                        Error(L"Create Movie error, bad height")}));
}

TEST_F(Registry, InitExWithFpsZeroOrNaNFails) {
  int id = 0;
  EXPECT_EQ(dll.InitEx(320, 240, 0.0, nullptr, &id), kFail);
  EXPECT_EQ(dll.InitEx(320, 240, std::numeric_limits<double>::quiet_NaN(), nullptr, &id), kFail);
  EXPECT_EQ(id, 0);
  const std::vector<std::wstring> once = {Trace(L"TavMovieMakerInitEx -> Enter"),
                                          Error(L"Create Movie error, bad fps")};
  std::vector<std::wstring> twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(dll.TakeLines(), twice);
}

TEST_F(Registry, NegativeSizesAndRatesPass) {
  int id = 0;
  EXPECT_EQ(dll.InitEx(-320, -240, -25.0, nullptr, &id), S_OK);
  EXPECT_EQ(id, 1);
}

TEST_F(Registry, InitWithFps25BehavesAsInit2With25) {
  int id = 0;
  ASSERT_EQ(dll.Init(320, 240, 25, &id), S_OK);
  EXPECT_EQ(id, 1);
  std::vector<std::wstring> lines = dll.TakeLines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], Trace(L"TavMovieMakerInit -> Enter"));
  EXPECT_EQ(lines[1], Trace(L"TavMovieMakerInit2 -> Enter"));
  EXPECT_EQ(lines[2], Trace(L"TavMovieMakerInitEx -> Enter"));
  EXPECT_EQ(lines.back(), Trace(L"TavMovieMakerInit2 -> Leave"));
  // Init2 goes the same way from its own Enter line on.
  ASSERT_EQ(dll.Init2(320, 240, 25.0, &id), S_OK);
  EXPECT_EQ(id, 1);
  std::vector<std::wstring> init2 = dll.TakeLines();
  ASSERT_GE(init2.size(), 2u);
  EXPECT_EQ(init2[0], Trace(L"TavMovieMakerInit2 -> Enter"));
  EXPECT_EQ(init2[1], Trace(L"TavMovieMakerInitEx -> Enter"));
  EXPECT_EQ(init2.back(), Trace(L"TavMovieMakerInit2 -> Leave"));
}

TEST_F(Registry, Init2PassesAFailureOn) {
  int id = 0;
  EXPECT_EQ(dll.Init2(320, 0, 25.0, &id), kFail);
  EXPECT_EQ(dll.Init(0, 240, 25, &id), kFail);
}

TEST_F(Registry, ReleaseOfTheOnlyWriterThenInitExStartsAfresh) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &id), S_OK);
  dll.TakeLines();
  dll.Release(id);
  std::vector<std::wstring> release = dll.TakeLines();
  EXPECT_TRUE(InOrder(release, {Trace(L"TavMovieMakerRelease -> Enter"), Trace(L"CAviWriter::~CAviWriter -> Enter"),
                                Trace(L"TavMovieMakerRelease -> Leave")}))
      << Dump(release);
  int next = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &next), S_OK);
  EXPECT_EQ(next, 1);  // the counter was back at 0
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"TavMovieMakerInitEx -> Enter"), Trace(L"CAviWriter::CAviWriter -> Enter"),
                              Trace(L"TavMovieMakerInit2 -> Leave")}))
      << Dump(lines);
  EXPECT_TRUE(ClosingTraces(lines).empty()) << Dump(lines);
}

TEST_F(Registry, ReleaseOfAnUnknownIdClosesTheHandlesAndCountsBack) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &id), S_OK);
  dll.TakeLines();
  dll.Release(42);
  EXPECT_EQ(dll.TakeLines(), (std::vector<std::wstring>{Trace(L"TavMovieMakerRelease -> Enter"),
                                                        Trace(L"TavMovieMakerRelease -> Leave")}));
  // The counter went back to 0, so a new writer gets ID 1 once more, and the
  // handles were closed, so none is closed again.
  int next = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &next), S_OK);
  EXPECT_EQ(next, 1);
  EXPECT_TRUE(ClosingTraces(dll.TakeLines()).empty());
}

TEST_F(Registry, ReleaseCountsBackSoAnIdIsIssuedTwice) {
  int first = 0, second = 0, third = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &first), S_OK);
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &second), S_OK);
  dll.Release(first);
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &third), S_OK);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(third, 2);
}

TEST_F(Registry, AnUnknownIdAbandonsTheRegistryForAFreshOne) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &id), S_OK);
  dll.TakeLines();
  // Loading ID 5 finds no record: the registry is replaced by one holding a
  // single record under the next counter value, 2.
  EXPECT_EQ(dll.AddBreakFrame(5), S_OK);
  std::vector<std::wstring> lines = dll.TakeLines();
  EXPECT_TRUE(InOrder(lines, {Trace(L"CAviWriter::LoadParam -> Enter"), Trace(L"CAviWriter::LoadParam -> Leave")}))
      << Dump(lines);
  // ID 1 is gone: asking for it issues 3. ID 2 is the fresh record: kept.
  int old = 1;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &old), S_OK);
  EXPECT_EQ(old, 3);
  int fresh = 2;
  ASSERT_EQ(dll.InitEx(320, 240, 25.0, nullptr, &fresh), S_OK);
  EXPECT_EQ(fresh, 2);
}

}  // namespace
}  // namespace tavtest
