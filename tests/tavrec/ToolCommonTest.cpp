// The tools' synthetic camera, tone and failed-call line.
#include <CallError.h>
#include <TestCard.h>
#include <Tone.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<unsigned char> Paint(int width, int height, unsigned format, long long frame, long long timeMs) {
  std::vector<unsigned char> buffer(TavTestCardFrameBytes(width, height, format));
  EXPECT_EQ(1, TavTestCardPaint(buffer.data(), width, height, format, frame, timeMs));
  return buffer;
}

// The picture row y (0 = top) of a bottom-up frame.
const unsigned char* TopRow(const std::vector<unsigned char>& frame, int height, size_t stride, int y) {
  return frame.data() + (height - 1 - y) * stride;
}

TEST(TestCard, RowsArePaddedToFourBytes) {
  EXPECT_EQ(1924u, TavTestCardStride(641, 0));
  EXPECT_EQ(2564u, TavTestCardStride(641, 1));
  EXPECT_EQ(644u, TavTestCardStride(641, 2));
  EXPECT_EQ(1284u, TavTestCardStride(641, 3));
  EXPECT_EQ(8u, TavTestCardStride(3, 3));
  EXPECT_EQ(230400u, TavTestCardFrameBytes(320, 240, 0));
  EXPECT_EQ(76800u, TavTestCardFrameBytes(320, 240, 2));
}

TEST(TestCard, RefusesWhatItCannotPaint) {
  EXPECT_EQ(0u, TavTestCardStride(320, 4));
  EXPECT_EQ(0u, TavTestCardStride(0, 0));
  EXPECT_EQ(0u, TavTestCardFrameBytes(320, 0, 0));
  EXPECT_EQ(0u, TavTestCardFrameBytes(320, -240, 0));
  EXPECT_EQ(0u, TavTestCardFrameBytes(1 << 20, 1 << 20, 1));
  std::vector<unsigned char> untouched(64, 0xAB);
  EXPECT_EQ(0, TavTestCardPaint(untouched.data(), 4, 4, 4, 0, 0));
  EXPECT_EQ(std::vector<unsigned char>(64, 0xAB), untouched);
}

TEST(TestCard, FirstRowInMemoryIsTheBottomOfThePicture) {
  const auto frame = Paint(320, 240, 0, 1, 0);
  const size_t stride = TavTestCardStride(320, 0);
  // Top left: the white bar. Bottom left: the black end of the grey ramp;
  // the red marker of frame 1 starts 5 pixels in (320 / 64 per frame).
  const unsigned char* top = TopRow(frame, 240, stride, 0);
  EXPECT_EQ(235, top[0]);
  EXPECT_EQ(235, top[2]);
  const unsigned char* bottom = frame.data();
  EXPECT_EQ(0, bottom[0] | bottom[1] | bottom[2]);
  EXPECT_EQ(0, bottom[3 * 5] | bottom[3 * 5 + 1]);
  EXPECT_EQ(255, bottom[3 * 5 + 2]);
  EXPECT_EQ(bottom[3 * 4], bottom[3 * 4 + 2]);  // grey just before it
}

TEST(TestCard, TheFourFormatsShowTheSamePicture) {
  const int width = 160, height = 90;
  const auto rgb24 = Paint(width, height, 0, 42, 1680);
  const auto rgb32 = Paint(width, height, 1, 42, 1680);
  const auto grey = Paint(width, height, 2, 42, 1680);
  const auto yuy2 = Paint(width, height, 3, 42, 1680);
  for (int row = 0; row < height; ++row) {
    for (int x = 0; x < width; ++x) {
      const unsigned char* bgr = &rgb24[row * TavTestCardStride(width, 0) + 3 * x];
      const unsigned char* bgrx = &rgb32[row * TavTestCardStride(width, 1) + 4 * x];
      ASSERT_EQ(bgr[0], bgrx[0]);
      ASSERT_EQ(bgr[1], bgrx[1]);
      ASSERT_EQ(bgr[2], bgrx[2]);
      ASSERT_EQ(0, bgrx[3]);
      const int fullLuma = (77 * bgr[2] + 150 * bgr[1] + 29 * bgr[0] + 128) >> 8;
      ASSERT_EQ(fullLuma, grey[row * TavTestCardStride(width, 2) + x]) << row << "," << x;
      // YUY2 rows run top-down.
      const int studioLuma = ((66 * bgr[2] + 129 * bgr[1] + 25 * bgr[0] + 128) >> 8) + 16;
      ASSERT_EQ(studioLuma, yuy2[(height - 1 - row) * TavTestCardStride(width, 3) + 2 * x]) << row << "," << x;
    }
  }
}

bool RowsDiffer(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b, int height, size_t stride,
                int fromY, int toY) {
  for (int y = fromY; y < toY; ++y)
    if (std::memcmp(TopRow(a, height, stride, y), TopRow(b, height, stride, y), stride) != 0) return true;
  return false;
}

TEST(TestCard, FrameNumberAndTimeAreBurntInOnTheirOwnLines) {
  // At 320x240 the glyph dots are 4 pixels: the frame line covers picture
  // rows 84-111, the time line rows 128-155.
  const size_t stride = TavTestCardStride(320, 0);
  const auto base = Paint(320, 240, 0, 123, 4920);
  EXPECT_EQ(base, Paint(320, 240, 0, 123, 4920));
  const auto nextFrame = Paint(320, 240, 0, 124, 4920);
  EXPECT_TRUE(RowsDiffer(base, nextFrame, 240, stride, 84, 112));
  EXPECT_FALSE(RowsDiffer(base, nextFrame, 240, stride, 112, 160));
  const auto laterTime = Paint(320, 240, 0, 123, 4960);
  EXPECT_FALSE(RowsDiffer(base, laterTime, 240, stride, 0, 128));
  EXPECT_TRUE(RowsDiffer(base, laterTime, 240, stride, 128, 156));
  EXPECT_FALSE(RowsDiffer(base, laterTime, 240, stride, 156, 240));
}

TEST(TestCard, PaintsAnySizeWithinItsFrame) {
  for (unsigned format = 0; format < 4; ++format) {
    for (auto [width, height] : {std::pair{1, 1}, {7, 3}, {101, 37}, {641, 2}, {2, 641}}) {
      const size_t bytes = TavTestCardFrameBytes(width, height, format);
      ASSERT_GT(bytes, 0u);
      std::vector<unsigned char> buffer(bytes + 32, 0xCD);
      ASSERT_EQ(1, TavTestCardPaint(buffer.data(), width, height, format, 999999, 3599999));
      for (size_t i = bytes; i < buffer.size(); ++i) ASSERT_EQ(0xCD, buffer[i]) << width << "x" << height;
    }
  }
}

TEST(Tone, OneBlockPerFrameAt48kHzStereo) {
  EXPECT_EQ(1920, TavToneSamplesPerBlock(25));
  EXPECT_EQ(1600, TavToneSamplesPerBlock(30));
  EXPECT_EQ(1602, TavToneSamplesPerBlock(29.97));
  EXPECT_EQ(0, TavToneSamplesPerBlock(0));
  EXPECT_EQ(7680u, TavToneBlockBytes(25, 16));
  EXPECT_EQ(11520u, TavToneBlockBytes(25, 24));
  EXPECT_EQ(0u, TavToneBlockBytes(25, 8));
  unsigned char byte = 0x5A;
  EXPECT_EQ(0u, TavTonePaint(&byte, 25, 32, 0));
  EXPECT_EQ(0x5A, byte);
}

int Sample16(const std::vector<unsigned char>& block, size_t frame, int channel) {
  const size_t at = (frame * 2 + channel) * 2;
  return static_cast<short>(block[at] | block[at + 1] << 8);
}

int Sample24(const std::vector<unsigned char>& block, size_t frame, int channel) {
  const size_t at = (frame * 2 + channel) * 3;
  return static_cast<int>(static_cast<unsigned>(block[at] << 8 | block[at + 1] << 16 | block[at + 2] << 24)) >> 8;
}

TEST(Tone, BlocksJoinWithoutAJumpAndBothDepthsCarryTheSameTone) {
  // Two blocks at 50 fps are the first block at 25 fps cut in two.
  std::vector<unsigned char> whole(TavToneBlockBytes(25, 16)), half(TavToneBlockBytes(50, 16));
  ASSERT_EQ(whole.size(), TavTonePaint(whole.data(), 25, 16, 3));
  ASSERT_EQ(half.size(), TavTonePaint(half.data(), 50, 16, 6));
  EXPECT_TRUE(std::equal(half.begin(), half.end(), whole.begin()));
  ASSERT_EQ(half.size(), TavTonePaint(half.data(), 50, 16, 7));
  EXPECT_TRUE(std::equal(half.begin(), half.end(), whole.begin() + half.size()));

  std::vector<unsigned char> deep(TavToneBlockBytes(25, 24));
  ASSERT_EQ(deep.size(), TavTonePaint(deep.data(), 25, 24, 3));
  int peak = 0;
  for (size_t i = 0; i < 1920; ++i) {
    ASSERT_EQ(Sample16(whole, i, 0), Sample16(whole, i, 1));
    ASSERT_EQ(Sample24(deep, i, 0), Sample24(deep, i, 1));
    ASSERT_NEAR(Sample16(whole, i, 0) * 256, Sample24(deep, i, 0), 256);
    peak = std::max(peak, std::abs(Sample16(whole, i, 0)));
  }
  EXPECT_NEAR(8192, peak, 2);  // a quarter of full scale
}

TEST(Tone, EachSecondStartsWithAnOctaveHigherTick) {
  // One block of a second at 1 fps: 880 Hz for the first 2400 samples, then
  // 440 Hz; the second block starts the same way.
  std::vector<unsigned char> block(TavToneBlockBytes(1, 16)), next(TavToneBlockBytes(1, 16));
  ASSERT_EQ(block.size(), TavTonePaint(block.data(), 1, 16, 0));
  ASSERT_EQ(next.size(), TavTonePaint(next.data(), 1, 16, 1));
  const double pi = 3.14159265358979323846;
  EXPECT_EQ(0, Sample16(block, 0, 0));
  EXPECT_EQ(std::lround(8192 * std::sin(2 * pi * 880 * 100 / 48000.0)), Sample16(block, 100, 0));
  EXPECT_EQ(std::lround(8192 * std::sin(2 * pi * 440 * 10000 / 48000.0)), Sample16(block, 10000, 0));
  EXPECT_EQ(block, next);
}

std::wstring Line(const char* name, HRESULT hr, size_t capacity = 1024) {
  std::vector<wchar_t> text(capacity);
  TavFormatCallError(name, hr, text.data(), capacity);
  return text.data();
}

std::wstring SystemText(HRESULT hr) {
  wchar_t text[512];
  TavSystemText(hr, text, 512);
  return text;
}

TEST(CallError, NamesTheExportTheResultAndTheSystemText) {
  const std::wstring system = SystemText(E_FAIL);
  EXPECT_NE(L"no system text", system);
  EXPECT_EQ(L"TavMovieMakerInitEx failed: 0x80004005 (" + system +
                L"): the library refused a bad argument or a call in the wrong state; its log has an ERROR line "
                L"saying which",
            Line("TavMovieMakerInitEx", E_FAIL));
  EXPECT_EQ(
      L"TavMovieMakerAddMovieFrame2 failed: 0xFFFFFB2E (no system text): a hand-over waited 10 s for the "
      L"streaming thread in vain; the calling thread still owns the \"AviWrt_MainMutex\" mutex",
      Line("TavMovieMakerAddMovieFrame2", static_cast<HRESULT>(-1234)));
  // A Win32 error inside an HRESULT has its text, without the full stop.
  const std::wstring notFound = SystemText(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_NE(L"no system text", notFound);
  EXPECT_NE(L'.', notFound.back());
  EXPECT_EQ(L"TavMovieMakerStopMovieRecord failed: 0x80070002 (" + notFound + L")",
            Line("TavMovieMakerStopMovieRecord", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)));
  EXPECT_EQ(nullptr, TavLibraryMeaning(E_OUTOFMEMORY));
}

TEST(CallError, CutsTheLineToTheBuffer) {
  EXPECT_EQ(L"TavMovie", Line("TavMovieMakerInitEx", E_FAIL, 9));
  wchar_t untouched = L'x';
  EXPECT_EQ(0, TavFormatCallError("TavMovieMakerInitEx", E_FAIL, &untouched, 0));
  EXPECT_EQ(L'x', untouched);
}

}  // namespace
