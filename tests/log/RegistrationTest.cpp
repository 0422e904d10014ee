// The registration side: engines, sink slots, module lists, severity filters,
// and what TavLogWrite and the library's trace call reach through them.
#define TAVMOVIEMAKER_EXPORTS  // the log is linked in statically
#include "TavMovieMaker.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "log/LogModule.h"
#include "log/LogRecord.h"
#include "log/LogRegistry.h"
#include "log/Trace.h"
#include "tests/log/LineCollector.h"

namespace {

using Texts = std::vector<std::wstring>;

int Attach1(int engine, LineCollector* lines, unsigned int minSeverity = 0, unsigned int kind = 1) {
  int index = -1;
  EXPECT_EQ(TavLogAttachCallback(engine, kind, minSeverity, &LineCollector::Callback, lines, &index), S_OK);
  return index;
}

TEST(LogEngines, NothingRegisteredMeansNotEnabledForAnySeverity) {
  for (unsigned int severity = 0; severity <= 10; ++severity) {
    EXPECT_FALSE(tavlog::LibraryIsEnabled(severity)) << severity;
    EXPECT_FALSE(tavlog::IsEnabled(0, severity, TavLogModuleKey())) << severity;
    EXPECT_FALSE(tavlog::IsEnabled(12, severity, 0x1234)) << severity;
  }
}

TEST(LogEngines, CreateReturnsSOkThenSFalseAndUpdatesTheMinimum) {
  LineCollector lines;
  EXPECT_EQ(TavLogCreateEngine(5, 0), S_OK);
  Attach1(5, &lines);
  EXPECT_EQ(TavLogWrite(5, 2, 0, "F", L"a"), S_OK);
  EXPECT_EQ(TavLogCreateEngine(5, 3), S_FALSE);
  EXPECT_EQ(TavLogWrite(5, 2, 0, "F", L"b"), S_FALSE);
  EXPECT_EQ(TavLogWrite(5, 3, 0, "F", L"c"), S_OK);
  EXPECT_EQ(lines.Texts(), (Texts{L"NOTICE: 0; a", L"WARNING: 0; c"}));
}

TEST(LogEngines, EngineId0AndMinus1NameTheSameEngine) {
  LineCollector lines;
  EXPECT_EQ(TavLogCreateEngine(0, 0), S_OK);
  EXPECT_EQ(TavLogCreateEngine(-1, 0), S_FALSE);
  EXPECT_EQ(Attach1(-1, &lines), 0);
  EXPECT_EQ(Attach1(0, &lines), 1);
  EXPECT_EQ(TavLogWrite(0, 1, 0, "F", L"via 0"), S_OK);
  EXPECT_EQ(TavLogWrite(-1, 1, 0, "F", L"via -1"), S_OK);
  EXPECT_EQ(lines.Texts(), (Texts{L"TRACE: 0; via 0", L"TRACE: 0; via 0", L"TRACE: 0; via -1", L"TRACE: 0; via -1"}));
  // The library writes to engine 0 as well.
  EXPECT_TRUE(tavlog::LibraryIsEnabled(1));
  EXPECT_EQ(TavLogDeleteEngine(0), S_OK);
  EXPECT_EQ(TavLogDeleteEngine(-1), S_FALSE);
}

TEST(LogEngines, DeleteReturnsSFalseWhenThereWasNone) {
  EXPECT_EQ(TavLogDeleteEngine(77), S_FALSE);
  EXPECT_EQ(TavLogCreateEngine(77, 0), S_OK);
  EXPECT_EQ(TavLogDeleteEngine(77), S_OK);
  EXPECT_EQ(TavLogDeleteEngine(77), S_FALSE);
}

TEST(LogEngines, AnEngineWithoutSinkSlotsIsNotEnabled) {
  ASSERT_EQ(TavLogCreateEngine(4, 0), S_OK);
  EXPECT_FALSE(tavlog::IsEnabled(4, 6, 0));
  EXPECT_EQ(TavLogWrite(4, 6, 0, "F", L"x"), S_FALSE);
}

TEST(LogEngines, AnEngineWithOnlyAnEmptySlotIsEnabledButWritesNothing) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(4, 0), S_OK);
  Attach1(4, &lines);
  ASSERT_EQ(TavLogDetachSink(4, 0), S_OK);
  EXPECT_TRUE(tavlog::IsEnabled(4, 1, 0));  // a slot exists, if empty
  LogRecord record;
  ResetLogRecord(&record);
  EXPECT_EQ(tavlog::Write(4, &record), -1);  // no active sink
  EXPECT_EQ(lines.Count(), 0u);
}

TEST(LogEngines, WriteToAMissingEngineReturnsMinus1) {
  LogRecord record;
  ResetLogRecord(&record);
  EXPECT_EQ(tavlog::Write(99, &record), -1);
  ASSERT_EQ(TavLogCreateEngine(99, 0), S_OK);
  LineCollector lines;
  Attach1(99, &lines);
  EXPECT_EQ(tavlog::Write(99, &record), 0);
  EXPECT_EQ(lines.Count(), 1u);
}

TEST(LogSinks, AttachAppendsSlotsAndDetachKeepsTheOtherIndexes) {
  LineCollector a, b, c, d;
  ASSERT_EQ(TavLogCreateEngine(2, 0), S_OK);
  EXPECT_EQ(Attach1(2, &a), 0);
  EXPECT_EQ(Attach1(2, &b), 1);
  EXPECT_EQ(Attach1(2, &c), 2);
  EXPECT_EQ(TavLogDetachSink(2, 1), S_OK);
  EXPECT_EQ(TavLogSetSink(2, 2, 2, 0), S_OK);  // index 2 still names c
  EXPECT_EQ(Attach1(2, &d), 3);
  EXPECT_EQ(TavLogAttachCallback(2, 1, 0, &LineCollector::Callback, &d, nullptr), S_OK);  // index may be null
  TavLogWrite(2, 1, 0, "F", L"m");
  EXPECT_EQ(a.Texts(), (Texts{L"TRACE: 0; m"}));
  EXPECT_EQ(b.Count(), 0u);
  EXPECT_EQ(c.Texts(), (Texts{L"SV=TRACE; CD=0; MSG=m"}));
  EXPECT_EQ(d.Count(), 2u);
}

TEST(LogSinks, ASinkWithLayoutKind0IsSkippedEvenWithMinimum0) {
  LineCollector off, on;
  ASSERT_EQ(TavLogCreateEngine(2, 0), S_OK);
  Attach1(2, &off, 0, 0);
  Attach1(2, &on, 0, 1);
  EXPECT_EQ(TavLogWrite(2, 0, 0, "F", L"m"), S_OK);
  EXPECT_EQ(off.Count(), 0u);
  EXPECT_EQ(on.Count(), 1u);
  ASSERT_EQ(TavLogSetSink(2, 1, 0, 0), S_OK);  // switched off later
  TavLogWrite(2, 6, 0, "F", L"m");
  EXPECT_EQ(on.Count(), 1u);
}

TEST(LogSinks, EachSinkFiltersByItsOwnMinimum) {
  LineCollector all, errors;
  ASSERT_EQ(TavLogCreateEngine(2, 0), S_OK);
  Attach1(2, &all, 0);
  Attach1(2, &errors, 4);
  for (unsigned int severity = 0; severity <= 6; ++severity) TavLogWrite(2, severity, 0, "F", L"m");
  EXPECT_EQ(all.Count(), 7u);
  EXPECT_EQ(errors.Texts(), (Texts{L"ERROR: 0; m", L"MANDATORY: 0; m", L"MANDATORY: 0; m"}));
  ASSERT_EQ(TavLogSetSink(2, 1, 1, 6), S_OK);
  TavLogWrite(2, 5, 0, "F", L"n");
  TavLogWrite(2, 6, 0, "F", L"n");
  EXPECT_EQ(errors.Count(), 4u);
}

TEST(LogSinks, TheEngineMinimumGatesWholeLines) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(2, 3), S_OK);
  Attach1(2, &lines, 0);
  EXPECT_FALSE(tavlog::IsEnabled(2, 2, 0));
  EXPECT_TRUE(tavlog::IsEnabled(2, 3, 0));
  EXPECT_EQ(TavLogWrite(2, 2, 0, "F", L"below"), S_FALSE);
  EXPECT_EQ(TavLogWrite(2, 3, 0, "F", L"at"), S_OK);
  EXPECT_EQ(lines.Texts(), (Texts{L"WARNING: 0; at"}));
}

TEST(LogModules, AnEngineListeningToTheModuleReceivesTheLibrarysLines) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(7, 1), S_OK);
  Attach1(7, &lines, 0, 2);
  EXPECT_FALSE(tavlog::LibraryIsEnabled(1));  // not yet listening
  ASSERT_EQ(TavLogListen(7, TavLogModuleKey()), S_OK);
  EXPECT_EQ(tavlog::ListenerCount(TavLogModuleKey()), 1);
  EXPECT_TRUE(tavlog::LibraryIsEnabled(1));
  EXPECT_FALSE(tavlog::LibraryIsEnabled(0));  // below the listener's minimum
  TAV_LOG(L".\\TavMovieMaker", "TavMovieMakerRelease", LOG_SEV_TRACE, 0, L"TavMovieMakerRelease -> Enter");
  EXPECT_EQ(lines.Texts(), (Texts{L"SV=TRACE; CD=0; MSG=TavMovieMakerRelease -> Enter"}));
}

TEST(LogModules, AnEngineListeningToAnotherModuleDoesNotReceiveThem) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(7, 0), S_OK);
  Attach1(7, &lines);
  ASSERT_EQ(TavLogListen(7, 0x7FF812340000ull), S_OK);
  if (TavLogModuleKey() != 0x7FF812340000ull) {
    EXPECT_FALSE(tavlog::LibraryIsEnabled(5));
    TAV_LOG(L".\\TavMovieMaker", "X", LOG_SEV_MANDATORY, 0, L"x");
    EXPECT_EQ(lines.Count(), 0u);
  }
  // A record of that module reaches it through the list alone.
  LogRecord record;
  ResetLogRecord(&record);
  record.moduleKey = 0x7FF812340000ull;
  EXPECT_TRUE(tavlog::IsEnabled(55, 5, record.moduleKey));
  EXPECT_EQ(tavlog::Write(55, &record), -1);  // engine 55 is missing, the listener still got it
  EXPECT_EQ(lines.Count(), 1u);
}

TEST(LogModules, ListeningTwiceIsSFalseAndUnknownEnginesAreRefused) {
  ASSERT_EQ(TavLogCreateEngine(7, 0), S_OK);
  EXPECT_EQ(TavLogListen(7, 0x55), S_OK);
  EXPECT_EQ(TavLogListen(7, 0x55), S_FALSE);
  EXPECT_EQ(tavlog::ListenerCount(0x55), 1);
  EXPECT_EQ(TavLogListen(8, 0x55), E_INVALIDARG);
  EXPECT_EQ(tavlog::ListenerCount(0x55), 1);
}

TEST(LogModules, DeletingAnEngineRemovesItFromEveryModuleList) {
  ASSERT_EQ(TavLogCreateEngine(7, 0), S_OK);
  ASSERT_EQ(TavLogCreateEngine(9, 0), S_OK);
  ASSERT_EQ(TavLogListen(7, 0x55), S_OK);
  ASSERT_EQ(TavLogListen(9, 0x55), S_OK);
  ASSERT_EQ(TavLogListen(7, 0x66), S_OK);
  ASSERT_EQ(TavLogDeleteEngine(7), S_OK);
  EXPECT_EQ(tavlog::ListenerCount(0x55), 1);
  EXPECT_EQ(tavlog::ListenerCount(0x66), 0);
  // Made again, the engine listens to nothing until told.
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(7, 0), S_OK);
  Attach1(7, &lines);
  EXPECT_FALSE(tavlog::IsEnabled(1234, 5, 0x66));
}

TEST(LogModules, AnEngineListedForTheModuleAndNamedByIdReceivesTheRecordTwice) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(0, 0), S_OK);  // the library's own engine ID
  Attach1(0, &lines, 0, 3);
  ASSERT_EQ(TavLogListen(-1, TavLogModuleKey()), S_OK);
  const int line = __LINE__ + 1;
  TAV_LOG(L".\\AudioStream", "CPinAudioStream::FillBuffer", LOG_SEV_TRACE, 0, L"twice");
  const std::wstring expected =
      L"F=.\\AudioStream,CPinAudioStream::FillBuffer," + std::to_wstring(line) + L"; SV=TRACE; CD=0; MSG=twice";
  EXPECT_EQ(lines.Texts(), (Texts{expected, expected}));
  // The same through the host's call.
  EXPECT_EQ(TavLogWrite(0, 1, 0, "H", L"m"), S_OK);
  EXPECT_EQ(lines.Count(), 4u);
}

TEST(LogModules, ListedEnginesComeFirstInListOrderThenTheNamedEngine) {
  LineCollector lines;
  const unsigned int kinds[] = {1, 2, 3};  // engine 11 prints kind 1, 12 kind 2, 13 kind 3
  for (int engine : {11, 12, 13}) {
    ASSERT_EQ(TavLogCreateEngine(engine, 0), S_OK);
    Attach1(engine, &lines, 0, kinds[engine - 11]);
  }
  ASSERT_EQ(TavLogListen(13, 0xABC), S_OK);
  ASSERT_EQ(TavLogListen(11, 0xABC), S_OK);
  LogRecord record;
  ResetLogRecord(&record);
  record.moduleKey = 0xABC;
  wchar_t message[] = L"m";
  record.message = message;
  EXPECT_EQ(tavlog::Write(12, &record), 0);
  EXPECT_EQ(lines.Texts(), (Texts{L"F=undefined,undefined,0; SV=MANDATORY; CD=-1; MSG=m", L"MANDATORY: -1; m",
                                  L"SV=MANDATORY; CD=-1; MSG=m"}));
}

TEST(LogArguments, RegistrationRefusesUnknownEnginesSlotsAndNullPointers) {
  LineCollector lines;
  int index = 123;
  EXPECT_EQ(TavLogAttachCallback(1, 1, 0, &LineCollector::Callback, &lines, &index), E_INVALIDARG);
  EXPECT_EQ(TavLogAttachFile(1, 1, 0, L"Z:\\tmp\\never.log", &index), E_INVALIDARG);
  EXPECT_EQ(TavLogAttachDebugger(1, 1, 0, &index), E_INVALIDARG);
  EXPECT_EQ(index, 123);
  EXPECT_EQ(TavLogSetSink(1, 0, 1, 0), E_INVALIDARG);
  EXPECT_EQ(TavLogDetachSink(1, 0), E_INVALIDARG);
  EXPECT_EQ(TavLogListen(1, 0), E_INVALIDARG);

  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  EXPECT_EQ(TavLogAttachCallback(1, 1, 0, nullptr, &lines, &index), E_INVALIDARG);
  EXPECT_EQ(TavLogAttachFile(1, 1, 0, nullptr, &index), E_INVALIDARG);
  EXPECT_EQ(index, 123);
  EXPECT_EQ(TavLogSetSink(1, 0, 1, 0), E_INVALIDARG);  // no slot yet
  EXPECT_EQ(Attach1(1, &lines), 0);
  EXPECT_EQ(TavLogSetSink(1, -1, 1, 0), E_INVALIDARG);
  EXPECT_EQ(TavLogSetSink(1, 1, 1, 0), E_INVALIDARG);
  EXPECT_EQ(TavLogDetachSink(1, 1), E_INVALIDARG);
  EXPECT_EQ(TavLogDetachSink(1, 0), S_OK);
  EXPECT_EQ(TavLogDetachSink(1, 0), E_INVALIDARG);  // already empty
  EXPECT_EQ(TavLogSetSink(1, 0, 1, 0), E_INVALIDARG);
}

TEST(LogHostWrite, ReturnsSFalseWhenNothingListens) {
  EXPECT_EQ(TavLogWrite(0, 5, 0, "F", L"nobody"), S_FALSE);
  EXPECT_EQ(TavLogWrite(21, 5, 0, "F", L"nobody"), S_FALSE);
  ASSERT_EQ(TavLogCreateEngine(21, 0), S_OK);
  EXPECT_EQ(TavLogWrite(21, 5, 0, "F", L"no sink"), S_FALSE);
}

TEST(LogHostWrite, WritesFileHostLine0AndTheMessageLiterally) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(21, 0), S_OK);
  Attach1(21, &lines, 0, 3);
  EXPECT_EQ(TavLogWrite(21, 2, 17, "Host::Marker", L"100%s %d %% %hs"), S_OK);
  EXPECT_EQ(lines.Texts(), (Texts{L"F=.\\Host,Host::Marker,0; SV=NOTICE; CD=17; MSG=100%s %d %% %hs"}));
}

TEST(LogHostWrite, CutsAVeryLongFunctionNameSoTheLineStillFits) {
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(21, 0), S_OK);
  Attach1(21, &lines, 0, 5);
  const std::string function(10000, 'f');
  EXPECT_EQ(TavLogWrite(21, 2, 0, function.c_str(), std::wstring(600, L'm').c_str()), S_OK);
  const std::wstring line = lines.Texts().at(0);
  EXPECT_NE(line.find(L"; F=.\\Host," + std::wstring(1023, L'f') + L",0; "), std::wstring::npos);
  EXPECT_EQ(line.substr(line.find(L"MSG=") + 4), std::wstring(511, L'm'));
}

// A callback that logs a line of its own, and one that waits for another
// thread that logs: no lock is held while a sink runs.
struct Reentrant {
  static int LogsItself(void* context, const wchar_t* line, int, unsigned int) {
    auto* self = static_cast<Reentrant*>(context);
    if (std::wstring(line).find(L"outer") != std::wstring::npos) {
      self->nested = TavLogWrite(31, 1, 0, "Inner", L"inner");
      std::thread other([] { TavLogWrite(31, 1, 0, "Other", L"from another thread"); });
      other.join();
    }
    return 0;
  }
  HRESULT nested = E_FAIL;
};

TEST(LogSinks, ACallbackMayLogAndWaitForAThreadThatLogs) {
  Reentrant reentrant;
  LineCollector lines;
  ASSERT_EQ(TavLogCreateEngine(30, 0), S_OK);
  ASSERT_EQ(TavLogCreateEngine(31, 0), S_OK);
  ASSERT_EQ(TavLogAttachCallback(30, 1, 0, &Reentrant::LogsItself, &reentrant, nullptr), S_OK);
  Attach1(31, &lines);
  EXPECT_EQ(TavLogWrite(30, 1, 0, "Outer", L"outer"), S_OK);
  EXPECT_EQ(reentrant.nested, S_OK);
  EXPECT_EQ(lines.Texts(), (Texts{L"TRACE: 0; inner", L"TRACE: 0; from another thread"}));
}

}  // namespace
