// TavMovieMakerSetCompressor / TavMovieMakerSetAudioCompressor: lookup by
// friendly name in the loaded writer's tables, binding the entry's moniker.
#include <gtest/gtest.h>

#include "TavMovieMaker.h"
#include "compressors/CompressorChoices.h"
#include "tests/compressors/CompressorFixture.h"

using tavtest::LogCapture;
using Lines = std::vector<std::wstring>;

namespace {

std::wstring V(const wchar_t* message) { return LogCapture::Trace(L"TavMovieMakerSetCompressor", message); }
std::wstring A(const wchar_t* message) { return LogCapture::Trace(L"TavMovieMakerSetAudioCompressor", message); }
std::wstring Load(const wchar_t* message) { return LogCapture::Trace(L"CAviWriter::LoadParam", message); }
std::wstring VErr(const wchar_t* message) {
  return LogCapture::Line(L"TavMovieMakerSetCompressor", L"ERROR", 0, message);
}
std::wstring AErr(const wchar_t* message) {
  return LogCapture::Line(L"TavMovieMakerSetAudioCompressor", L"ERROR", 0, message);
}

class CompressorSelectionTest : public tavtest::CompressorFixture {
 protected:
  void BuildVideoTable() {
    int count = 0;
    int maxLength = 0;
    ASSERT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
    m_log.Clear();
  }
  void BuildAudioTable() {
    int count = 0;
    int maxLength = 0;
    ASSERT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), S_OK);
    m_log.Clear();
  }
  // The friendly name a bound filter was made from, read back from its class.
  static CLSID ClassOf(IBaseFilter* filter) {
    CLSID clsid = GUID_NULL;
    filter->GetClassID(&clsid);
    return clsid;
  }
};

TEST_F(CompressorSelectionTest, UncompressedClearsTheFilterAndTheFlags) {
  ASSERT_NO_FATAL_FAILURE(BuildVideoTable());
  g_pAviWriter->m_pVideoCompressor = static_cast<IBaseFilter*>(tavtest::FakeVideoFilter::Create());
  g_pAviWriter->m_pVideoCompressor->Release();  // the writer holds the only reference
  g_pAviWriter->m_bCompressed = 1;
  bool hasDialog = true;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Uncompressed", &hasDialog), S_OK);
  EXPECT_FALSE(g_pAviWriter->m_pVideoCompressor);
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 0);
  EXPECT_FALSE(hasDialog);
  EXPECT_EQ(g_pAviWriter->m_iVideoCompressor, 0);
  // The found path writes no Leave line.
  EXPECT_EQ(m_log.Lines(), (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), Load(L"CAviWriter::LoadParam -> Enter"),
                                  Load(L"CAviWriter::LoadParam -> Leave")}));
}

TEST_F(CompressorSelectionTest, ACodecIsBoundAndMarksTheWriterCompressed) {
  ASSERT_NO_FATAL_FAILURE(BuildVideoTable());
  bool hasDialog = false;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Wine MS-RLE video codec", &hasDialog), S_OK);
  ASSERT_TRUE(g_pAviWriter->m_pVideoCompressor);
  EXPECT_EQ(ClassOf(g_pAviWriter->m_pVideoCompressor), CLSID_AVICo);
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 1);
  EXPECT_EQ(g_pAviWriter->m_iVideoCompressor, 3);
  ThrowingComPtr<ISpecifyPropertyPages> pages(g_pAviWriter->m_pVideoCompressor);
  ThrowingComPtr<IAMVfwCompressDialogs, &IID_IAMVfwCompressDialogs> dialogs(g_pAviWriter->m_pVideoCompressor);
  EXPECT_EQ(hasDialog, pages || dialogs);
}

TEST_F(CompressorSelectionTest, UnknownNameRecordsUncompressedButKeepsTheFilter) {
  ASSERT_NO_FATAL_FAILURE(BuildVideoTable());
  ASSERT_EQ(TavMovieMakerSetCompressor(1, L"Cinepak Video codec", nullptr), S_OK);
  IBaseFilter* bound = g_pAviWriter->m_pVideoCompressor;
  ASSERT_NE(bound, nullptr);
  m_log.Clear();
  bool hasDialog = true;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"cinepak video codec", &hasDialog), S_OK);  // case matters
  EXPECT_EQ(static_cast<IBaseFilter*>(g_pAviWriter->m_pVideoCompressor), bound);
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 0);
  EXPECT_TRUE(hasDialog);  // untouched
  EXPECT_EQ(g_pAviWriter->m_iVideoCompressor, 2);
  EXPECT_EQ(m_log.Lines(), (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), Load(L"CAviWriter::LoadParam -> Enter"),
                                  Load(L"CAviWriter::LoadParam -> Leave"), V(L"TavMovieMakerSetCompressor -> Leave")}));
}

TEST_F(CompressorSelectionTest, WriterZeroSetsTheDefaultAndReportsADialog) {
  bool hasDialog = false;
  EXPECT_EQ(TavMovieMakerSetCompressor(0, L"No such codec", &hasDialog), S_OK);
  EXPECT_STREQ(g_szDefaultCompressor, L"No such codec");
  EXPECT_TRUE(hasDialog);
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 0);
  // The missing table was built on the way (record 0 exists here).
  EXPECT_NE(g_pAviWriter->m_pVideoCompressors, nullptr);
  Lines lines = m_log.Lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], V(L"TavMovieMakerSetCompressor -> Enter"));
  EXPECT_EQ(lines[1], V(L"id == 0 -> set default compressor"));
  EXPECT_EQ(lines.back(), V(L"TavMovieMakerSetCompressor -> Leave"));
}

TEST_F(CompressorSelectionTest, NullNameWithWriterZeroIsRefusedBeforeTheDefaultChanges) {
  wcscpy_s(g_szDefaultCompressor, 260, L"Cinepak Video codec");
  bool hasDialog = false;
  EXPECT_EQ(TavMovieMakerSetCompressor(0, nullptr, &hasDialog), E_FAIL);
  EXPECT_STREQ(g_szDefaultCompressor, L"Cinepak Video codec");
  EXPECT_FALSE(hasDialog);
  EXPECT_EQ(m_log.Lines(), (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), V(L"id == 0 -> set default compressor"),
                                  VErr(L"SetCompressor() bad strCodec")}));
}

TEST_F(CompressorSelectionTest, NullNameIsRefused) {
  EXPECT_EQ(TavMovieMakerSetCompressor(1, nullptr, nullptr), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(m_log.Lines(), (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), VErr(L"SetCompressor() bad strCodec")}));
}

TEST_F(CompressorSelectionTest, RefusedWhileRecording) {
  ASSERT_NO_FATAL_FAILURE(BuildVideoTable());
  g_pAviWriter->m_bStarted = true;
  g_pAviWriter->m_bCompressed = 1;
  bool hasDialog = true;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Uncompressed", &hasDialog), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 1);
  EXPECT_TRUE(hasDialog);
  EXPECT_EQ(m_log.Lines(), (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), Load(L"CAviWriter::LoadParam -> Enter"),
                                  Load(L"CAviWriter::LoadParam -> Leave"), VErr(L"pAviWriter->m_bStarted is true")}));
}

TEST_F(CompressorSelectionTest, RefusedWithoutAWriterObject) {
  delete g_pAviWriter;
  g_pAviWriter = nullptr;
  m_log.Clear();
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Uncompressed", nullptr), E_FAIL);
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), E_FAIL);
  EXPECT_EQ(m_log.Lines(),
            (Lines{V(L"TavMovieMakerSetCompressor -> Enter"), VErr(L"SetCompressor() pAviWriter not iniotialized"),
                   A(L"TavMovieMakerSetAudioCompressor -> Enter"),
                   AErr(L"SetAudioCompressor() pAviWriter not iniotialized")}));
}

TEST_F(CompressorSelectionTest, BuildsAMissingVideoTableFirst) {
  bool hasDialog = false;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Wine Video 1 video codec", &hasDialog), S_OK);
  EXPECT_EQ(g_pAviWriter->m_nVideoCompressors, 5);
  ASSERT_NE(Record(1), nullptr);
  EXPECT_EQ(Record(1)->pVideoCompressors, g_pAviWriter->m_pVideoCompressors);
  EXPECT_EQ(g_pAviWriter->m_iVideoCompressor, 4);
  EXPECT_TRUE(g_pAviWriter->m_pVideoCompressor);
  EXPECT_EQ(g_pAviWriter->m_bCompressed, 1);
}

TEST_F(CompressorSelectionTest, AudioCompressorIsBoundByItsListedName) {
  AttachAudioSource();
  ASSERT_NO_FATAL_FAILURE(BuildAudioTable());
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  EXPECT_TRUE(g_pAviWriter->m_pAudioCompressor);
  EXPECT_EQ(g_pAviWriter->m_bAudioCompressed, 1);
  EXPECT_EQ(g_pAviWriter->m_iAudioCompressor, 3);
  EXPECT_EQ(m_log.Lines(),
            (Lines{A(L"TavMovieMakerSetAudioCompressor -> Enter"), Load(L"CAviWriter::LoadParam -> Enter"),
                   Load(L"CAviWriter::LoadParam -> Leave"), A(L"TavMovieMakerSetCompressor -> Leave")}));
}

TEST_F(CompressorSelectionTest, UnknownAudioNameClearsTheAudioFlag) {
  AttachAudioSource();
  ASSERT_NO_FATAL_FAILURE(BuildAudioTable());
  ASSERT_EQ(TavMovieMakerSetAudioCompressor(1, L"IMA ADPCM"), S_OK);
  ASSERT_EQ(g_pAviWriter->m_bAudioCompressed, 1);
  IBaseFilter* bound = g_pAviWriter->m_pAudioCompressor;
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM"), S_OK);  // listed as "PCM (Uncompressed)"
  EXPECT_EQ(g_pAviWriter->m_bAudioCompressed, 0);
  EXPECT_EQ(static_cast<IBaseFilter*>(g_pAviWriter->m_pAudioCompressor), bound);
  EXPECT_EQ(m_log.Lines().back(), A(L"TavMovieMakerSetCompressor -> Leave"));
}

TEST_F(CompressorSelectionTest, AudioRefusesNullNamesAndRecording) {
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, nullptr), E_FAIL);
  g_pAviWriter->m_bStarted = true;
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), E_FAIL);
  EXPECT_EQ(m_log.Lines(),
            (Lines{A(L"TavMovieMakerSetAudioCompressor -> Enter"), AErr(L"SetAudioCompressor() bad strCodec"),
                   A(L"TavMovieMakerSetAudioCompressor -> Enter"), Load(L"CAviWriter::LoadParam -> Enter"),
                   Load(L"CAviWriter::LoadParam -> Leave"), AErr(L"pAviWriter->m_bStarted is true")}));
}

TEST_F(CompressorSelectionTest, AudioWithoutASourceFindsNoTableAndChoosesNothing) {
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), S_OK);
  EXPECT_EQ(g_pAviWriter->m_pAudioCompressors, nullptr);
  EXPECT_EQ(g_pAviWriter->m_bAudioCompressed, 0);
  EXPECT_FALSE(g_pAviWriter->m_pAudioCompressor);
}

}  // namespace

namespace {

TEST_F(CompressorSelectionTest, ATableAnotherWriterStillHoldsStaysUsable) {
  AviWriterParam second;
  second.nID = 2;
  g_plistAviID->push_back(second);
  ASSERT_NO_FATAL_FAILURE(BuildVideoTable());  // writer 1's table
  CompressorEntry* first = g_pAviWriter->m_pVideoCompressors;
  int count = 0;
  int maxLength = 0;
  ASSERT_EQ(TavMovieMakerGetCompressors(2, nullptr, &count, &maxLength), S_OK);  // writer 2's own table
  EXPECT_NE(g_pAviWriter->m_pVideoCompressors, first);
  ASSERT_NE(Record(1), nullptr);
  EXPECT_EQ(Record(1)->pVideoCompressors, first);

  // Writer 1 comes back with its table intact: names and monikers.
  bool hasDialog = false;
  EXPECT_EQ(TavMovieMakerSetCompressor(1, L"Wine MS-RLE video codec", &hasDialog), S_OK);
  EXPECT_EQ(g_pAviWriter->m_pVideoCompressors, first);
  EXPECT_TRUE(g_pAviWriter->m_pVideoCompressor);
  EXPECT_EQ(g_pAviWriter->m_iVideoCompressor, 3);
  Lines names;
  ASSERT_NO_FATAL_FAILURE(Names(false, 5, maxLength, &names));
  EXPECT_EQ(names, (Lines{L"Uncompressed", L"Tav MJPEG", L"Cinepak Video codec", L"Wine MS-RLE video codec",
                          L"Wine Video 1 video codec"}));
}

}  // namespace
