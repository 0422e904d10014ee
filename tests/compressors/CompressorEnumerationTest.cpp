// TavMovieMakerGetCompressors / TavMovieMakerGetAudioCompressors against the
// compressors this Wine prefix really has: Wine's three VfW codecs and the
// platform pack's ACM compressors, plus entries the tests add and remove.
#include <gtest/gtest.h>

#include "TavMovieMaker.h"
#include "tests/compressors/CategoryEntry.h"
#include "tests/compressors/CompressorFixture.h"
#include "tests/writer/support/FailingClassFactory.h"

using tavtest::CategoryEntry;
using tavtest::LogCapture;
using NameList = std::vector<std::wstring>;

namespace {

// Any class will do for an entry that is only listed, never bound.
const CLSID kSomeClass = {0x1b544c22, 0xfd0b, 0x11ce, {0x8c, 0x63, 0x00, 0xaa, 0x00, 0x44, 0xb5, 0x1e}};

const std::wstring kVideoEnter = L"TavMovieMakerGetCompressors -> Enter";
const std::wstring kVideoLeave = L"TavMovieMakerGetCompressors -> Leave";
const std::wstring kAudioEnter = L"TavMovieMakerGetAudioCompressors -> Enter";
const std::wstring kAudioLeave = L"TavMovieMakerGetAudioCompressors -> Leave";

class CompressorEnumerationTest : public tavtest::CompressorFixture {
 protected:
  std::wstring V(const std::wstring& message) { return LogCapture::Trace(L"TavMovieMakerGetCompressors", message); }
  std::wstring A(const std::wstring& message) {
    return LogCapture::Trace(L"TavMovieMakerGetAudioCompressors", message);
  }
  int MonikersIn(REFCLSID category) {
    ThrowingComPtr<ICreateDevEnum> devEnum;
    devEnum.CreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER);
    ThrowingComPtr<IEnumMoniker> monikers;
    if (devEnum->CreateClassEnumerator(category, &monikers, 0) != S_OK) return 0;
    int n = 0;
    ThrowingComPtr<IMoniker> moniker;
    while (monikers->Next(1, &moniker, nullptr) == S_OK) ++n;
    return n;
  }
};

TEST_F(CompressorEnumerationTest, VideoListsUncompressedThenWineCodecs) {
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(maxLength, 26);  // "Wine Video 1 video codec" (24) + 2
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(false, count, maxLength, &names));
  EXPECT_EQ(names, (NameList{L"Uncompressed", L"Tav MJPEG", L"Cinepak Video codec", L"Wine MS-RLE video codec",
                             L"Wine Video 1 video codec"}));
  EXPECT_EQ(m_log.Lines(), (NameList{V(kVideoEnter), V(kVideoLeave), V(kVideoEnter), V(kVideoLeave)}));
  EXPECT_FALSE(g_pAviWriter->m_pVideoCompressors[0].pMoniker);
  EXPECT_TRUE(g_pAviWriter->m_pVideoCompressors[1].pMoniker);
}

TEST_F(CompressorEnumerationTest, FirstCallStoresTheTableInTheWritersRecordOnly) {
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  ASSERT_NE(Record(1), nullptr);
  EXPECT_EQ(Record(1)->pVideoCompressors, g_pAviWriter->m_pVideoCompressors);
  EXPECT_EQ(Record(1)->nVideoCompressors, 5);
  EXPECT_EQ(g_pAviWriter->m_nVideoCompressors, 5);
  ASSERT_NE(Record(0), nullptr);
  EXPECT_EQ(Record(0)->pVideoCompressors, nullptr);

  // An ID without a record still builds the loaded writer's table.
  count = 0;
  ASSERT_EQ(TavMovieMakerGetCompressors(42, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 5);
  EXPECT_NE(g_pAviWriter->m_pVideoCompressors, nullptr);
  EXPECT_EQ(Record(0)->pVideoCompressors, nullptr);
}

TEST_F(CompressorEnumerationTest, VideoEntryWithoutFriendlyNameIsLeftOut) {
  CategoryEntry unnamed(CLSID_VideoCompressorCategory, L"TavTest Unnamed", nullptr, kSomeClass);
  ASSERT_TRUE(unnamed.Created());
  ASSERT_EQ(MonikersIn(CLSID_VideoCompressorCategory), 5);  // the enumerator does list it
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(maxLength, 26);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(false, count, maxLength, &names));
  EXPECT_EQ(names, (NameList{L"Uncompressed", L"Tav MJPEG", L"Cinepak Video codec", L"Wine MS-RLE video codec",
                             L"Wine Video 1 video codec"}));
}

TEST_F(CompressorEnumerationTest, LongestVideoNameSetsTheLength) {
  const wchar_t* longName = L"TavTest video compressor with a long friendly name";  // 50 characters
  CategoryEntry entry(CLSID_VideoCompressorCategory, L"TavTest Long", longName, kSomeClass);
  ASSERT_TRUE(entry.Created());
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 6);
  EXPECT_EQ(maxLength, 52);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(false, count, maxLength, &names));
  ASSERT_EQ(names.size(), 6u);
  EXPECT_EQ(names[0], L"Uncompressed");
  EXPECT_EQ(std::count(names.begin(), names.end(), std::wstring(longName)), 1);
}

TEST_F(CompressorEnumerationTest, SecondVideoCallWithoutNamesFails) {
  int count = 5;
  int maxLength = 26;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(count, 5);
  EXPECT_EQ(m_log.Lines(), (NameList{V(kVideoEnter), LogCapture::Line(L"TavMovieMakerGetCompressors", L"ERROR", 0,
                                                                      L"GetCompressors() bad strName")}));
}

TEST_F(CompressorEnumerationTest, NameLongerThanTheHostsBufferLeavesItEmpty) {
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  HRESULT hr = E_FAIL;
  // 13 characters hold "Uncompressed" and "Tav MJPEG" but none of Wine's codec names.
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(false, count, 13, &names, &hr));
  EXPECT_EQ(names, (NameList{L"Uncompressed", L"Tav MJPEG", L"", L"", L""}));
  EXPECT_EQ(hr, S_OK);
  // More names asked for than the table has: the extra buffers come back empty.
  ASSERT_NO_FATAL_FAILURE(Names(false, 7, maxLength, &names, &hr));
  EXPECT_EQ(names, (NameList{L"Uncompressed", L"Tav MJPEG", L"Cinepak Video codec", L"Wine MS-RLE video codec",
                             L"Wine Video 1 video codec", L"", L""}));
}

TEST_F(CompressorEnumerationTest, ANewFirstCallReplacesTheTable) {
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  {
    CategoryEntry entry(CLSID_VideoCompressorCategory, L"TavTest Extra", L"TavTest Extra", kSomeClass);
    count = 0;
    ASSERT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  }
  EXPECT_EQ(count, 6);
  EXPECT_EQ(g_pAviWriter->m_nVideoCompressors, 6);
  ASSERT_NE(Record(1), nullptr);
  EXPECT_EQ(Record(1)->pVideoCompressors, g_pAviWriter->m_pVideoCompressors);
  EXPECT_EQ(Record(1)->nVideoCompressors, 6);
}

TEST_F(CompressorEnumerationTest, DeviceEnumeratorThatCannotBeMadeGivesEFail) {
  tavtest::FailingClasses failing(E_NOINTERFACE);
  ASSERT_EQ(failing.Add(CLSID_SystemDeviceEnum), S_OK);
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), E_FAIL);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(g_pAviWriter->m_pVideoCompressors, nullptr);
  EXPECT_EQ(m_log.Lines(), (NameList{V(kVideoEnter)}));
}

TEST_F(CompressorEnumerationTest, OtherEnumeratorFailuresEndAtTheExport) {
  tavtest::FailingClasses failing(REGDB_E_CLASSNOTREG);
  ASSERT_EQ(failing.Add(CLSID_SystemDeviceEnum), S_OK);
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(m_log.Lines().size(), 2u);
  EXPECT_EQ(m_log.Lines().back().rfind(L"F=.\\TavMovieMaker,TavMovieMakerGetCompressors; SV=ERROR; CD=-2147221164; "
                                       L"MSG=TavMovieMakerGetCompressors() error: ",
                                       0),
            0u);
}

TEST_F(CompressorEnumerationTest, NullCountIsAnInvalidPointer) {
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, nullptr, &maxLength), E_POINTER);
  EXPECT_EQ(
      m_log.Lines(),
      (NameList{V(kVideoEnter), LogCapture::Line(L"TavMovieMakerGetCompressors", L"ERROR", -2147467261,
                                                 L"TavMovieMakerGetCompressors() error: Unknown error 0x80004003")}));
}

TEST_F(CompressorEnumerationTest, AudioWithoutAudioSourceReturnsSFalse) {
  int count = 0;
  int maxLength = 77;
  EXPECT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_FALSE);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(maxLength, 77);
  EXPECT_EQ(g_pAviWriter->m_pAudioCompressors, nullptr);
  EXPECT_EQ(m_log.Lines(), (NameList{A(kAudioEnter), A(L"TavMovieMakerGetAudioCompressors -> Source filter is NULL")}));
}

TEST_F(CompressorEnumerationTest, AudioListsThePacksCompressorsWithPcmRenamedAndASpareEntry) {
  AttachAudioSource();
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 6);       // five found, one more reported
  EXPECT_EQ(maxLength, 11);  // "IMA ADPCM" (9) + 2; the new PCM name is not counted
  ASSERT_NE(Record(1), nullptr);
  EXPECT_EQ(Record(1)->pAudioCompressors, g_pAviWriter->m_pAudioCompressors);
  EXPECT_EQ(Record(1)->nAudioCompressors, 6);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(true, count, 19, &names));
  EXPECT_EQ(names, (NameList{L"A-Law", L"GSM 6.10", L"IMA ADPCM", L"PCM (Uncompressed)", L"U-Law", L""}));
  EXPECT_EQ(m_log.Lines(), (NameList{A(kAudioEnter), A(kAudioLeave), A(kAudioEnter), A(kAudioLeave)}));
}

TEST_F(CompressorEnumerationTest, AudioPcmNameLongerThanTheReportedLengthComesBackEmpty) {
  AttachAudioSource();
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_OK);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(true, count, maxLength, &names));
  EXPECT_EQ(names, (NameList{L"A-Law", L"GSM 6.10", L"IMA ADPCM", L"", L"U-Law", L""}));
}

TEST_F(CompressorEnumerationTest, AudioEntryNamedPcmCodecIsListedUnchanged) {
  CategoryEntry codec(CLSID_AudioCompressorCategory, L"TavTest PCM Codec", L"PCM Codec", kSomeClass);
  ASSERT_TRUE(codec.Created());
  AttachAudioSource();
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 7);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(true, count, 19, &names));
  EXPECT_EQ(std::count(names.begin(), names.end(), L"PCM Codec"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), L"PCM (Uncompressed)"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), L"PCM"), 0);
  EXPECT_EQ(names.back(), L"");
}

TEST_F(CompressorEnumerationTest, AudioEntryWithoutFriendlyNameIsLeftOut) {
  CategoryEntry unnamed(CLSID_AudioCompressorCategory, L"TavTest Unnamed", nullptr, kSomeClass);
  ASSERT_TRUE(unnamed.Created());
  ASSERT_EQ(MonikersIn(CLSID_AudioCompressorCategory), 6);
  AttachAudioSource();
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 6);
  NameList names;
  ASSERT_NO_FATAL_FAILURE(Names(true, count, 19, &names));
  EXPECT_EQ(names, (NameList{L"A-Law", L"GSM 6.10", L"IMA ADPCM", L"PCM (Uncompressed)", L"U-Law", L""}));
}

TEST_F(CompressorEnumerationTest, SecondAudioCallWithoutNamesFails) {
  AttachAudioSource();
  int count = 6;
  int maxLength = 11;
  EXPECT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(m_log.Lines(), (NameList{A(kAudioEnter), LogCapture::Line(L"TavMovieMakerGetAudioCompressors", L"ERROR", 0,
                                                                      L"GetAudioCompressors() bad strName")}));
}

}  // namespace
