// Enumeration of a category that lists nothing: Wine's own audio compressor
// category (the platform pack is not registered in this test's prefix). The
// device enumerator then hands out no class enumerator, whose use raises
// E_POINTER; the exports turn it into their result.
#include <gtest/gtest.h>

#include "TavMovieMaker.h"
#include "tests/compressors/CompressorFixture.h"

using tavtest::LogCapture;
using Lines = std::vector<std::wstring>;

namespace {

class EmptyCategoryTest : public tavtest::CompressorFixture {};

TEST_F(EmptyCategoryTest, AudioEnumerationOfAnEmptyCategoryReturnsEPointer) {
  AttachAudioSource();
  int count = 0;
  int maxLength = 5;
  EXPECT_EQ(TavMovieMakerGetAudioCompressors(1, nullptr, &count, &maxLength), E_POINTER);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(maxLength, 5);
  EXPECT_EQ(g_pAviWriter->m_pAudioCompressors, nullptr);
  EXPECT_EQ(m_log.Lines(),
            (Lines{T(L"TavMovieMakerGetAudioCompressors", L"TavMovieMakerGetAudioCompressors -> Enter"),
                   LogCapture::Line(L"TavMovieMakerGetAudioCompressors", L"ERROR", -2147467261,
                                    L"TavMovieMakerGetAudioCompressors() error: Unknown error 0x80004003")}));
}

TEST_F(EmptyCategoryTest, AudioSelectionThatMustEnumerateAnEmptyCategoryReturnsEPointer) {
  AttachAudioSource();
  EXPECT_EQ(TavMovieMakerSetAudioCompressor(1, L"PCM (Uncompressed)"), E_POINTER);
  EXPECT_EQ(g_pAviWriter->m_bAudioCompressed, 0);
  EXPECT_EQ(m_log.Lines().back(),
            LogCapture::Line(L"TavMovieMakerSetAudioCompressor", L"ERROR", -2147467261,
                             L"TavMovieMakerSetAudioCompressor() error: Unknown error 0x80004003"));
}

TEST_F(EmptyCategoryTest, VideoStillListsWinesCodecs) {
  int count = 0;
  int maxLength = 0;
  EXPECT_EQ(TavMovieMakerGetCompressors(1, nullptr, &count, &maxLength), S_OK);
  EXPECT_EQ(count, 4);
}

}  // namespace
