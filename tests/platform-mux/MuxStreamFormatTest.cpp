// The stream formats the mux writes into 'strf' for its inputs' media types.
#include <gtest/gtest.h>
#include <windows.h>
#include <mmreg.h>
#include <uuids.h>

#include <cstring>

#include "Formats.h"
#include "mux/MuxStreamFormat.h"

namespace {

// A VIDEOINFO of 1,128 bytes as the raw source offers it, with this header.
CMediaType VideoInfo(int bits, DWORD compression, DWORD clrUsed, ULONG formatSize = sizeof(VIDEOINFO)) {
  CMediaType mt;
  mt.SetType(&MEDIATYPE_Video);
  mt.SetFormatType(&FORMAT_VideoInfo);
  auto* vi = reinterpret_cast<VIDEOINFO*>(mt.AllocFormatBuffer(formatSize));
  vi->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  vi->bmiHeader.biWidth = 16;
  vi->bmiHeader.biHeight = -8;
  vi->bmiHeader.biPlanes = 1;
  vi->bmiHeader.biBitCount = static_cast<WORD>(bits);
  vi->bmiHeader.biCompression = compression;
  vi->bmiHeader.biClrUsed = clrUsed;
  BYTE* table = reinterpret_cast<BYTE*>(&vi->bmiHeader) + sizeof(BITMAPINFOHEADER);
  for (ULONG i = 0; i < formatSize - (table - mt.pbFormat); ++i) table[i] = static_cast<BYTE>(i + 1);
  return mt;
}

TEST(MuxStreamFormat, TrueColourVideoLeavesTheUnusedColourTableOut) {
  CMediaType mt = VideoInfo(24, BI_RGB, 0);
  std::vector<std::uint8_t> strf = VideoStreamFormat(mt);
  ASSERT_EQ(strf.size(), sizeof(BITMAPINFOHEADER));
  EXPECT_EQ(std::memcmp(strf.data(), &reinterpret_cast<VIDEOINFO*>(mt.pbFormat)->bmiHeader, strf.size()), 0);
}

TEST(MuxStreamFormat, EightBitVideoKeepsItsPalette) {
  CMediaType mt = VideoInfo(8, BI_RGB, 256);
  std::vector<std::uint8_t> strf = VideoStreamFormat(mt);
  ASSERT_EQ(strf.size(), sizeof(BITMAPINFOHEADER) + 1024);
  EXPECT_EQ(std::memcmp(strf.data(), &reinterpret_cast<VIDEOINFO*>(mt.pbFormat)->bmiHeader, strf.size()), 0);
  // biClrUsed 0 means the full 2^8 entries.
  EXPECT_EQ(VideoStreamFormat(VideoInfo(8, BI_RGB, 0)).size(), sizeof(BITMAPINFOHEADER) + 1024);
  EXPECT_EQ(VideoStreamFormat(VideoInfo(4, BI_RGB, 0)).size(), sizeof(BITMAPINFOHEADER) + 64);
}

TEST(MuxStreamFormat, PaletteCutShortByTheFormatBlockIsCounted) {
  CMediaType mt = VideoInfo(8, BI_RGB, 256, sizeof(VIDEOINFOHEADER) + 40);
  std::vector<std::uint8_t> strf = VideoStreamFormat(mt);
  ASSERT_EQ(strf.size(), sizeof(BITMAPINFOHEADER) + 40);
  EXPECT_EQ(reinterpret_cast<const BITMAPINFOHEADER*>(strf.data())->biClrUsed, 10u);
}

TEST(MuxStreamFormat, BitFieldsKeepTheirThreeMasks) {
  EXPECT_EQ(VideoStreamFormat(VideoInfo(16, BI_BITFIELDS, 0)).size(), sizeof(BITMAPINFOHEADER) + 12);
  EXPECT_EQ(VideoStreamFormat(VideoInfo(16, MAKEFOURCC('Y', 'U', 'Y', '2'), 0)).size(), sizeof(BITMAPINFOHEADER));
}

TEST(MuxStreamFormat, AudioKeepsItsExtensionAndWidensPcmWaveFormat) {
  CMediaType mt;
  mt.SetType(&MEDIATYPE_Audio);
  mt.SetFormatType(&FORMAT_WaveFormatEx);
  std::vector<std::uint8_t> ext = muxtest::ExtensiblePcmFormat(2, 48000, 24);
  ext.push_back(0xEE);  // a trailing byte beyond cbSize is not part of the format
  mt.SetFormat(ext.data(), static_cast<ULONG>(ext.size()));
  std::vector<std::uint8_t> strf = AudioStreamFormat(mt);
  ext.pop_back();
  EXPECT_EQ(strf, ext);

  std::vector<std::uint8_t> pcm = muxtest::PcmFormat(1, 8000, 16);
  mt.SetFormat(pcm.data(), 16);  // PCMWAVEFORMAT
  strf = AudioStreamFormat(mt);
  ASSERT_EQ(strf.size(), sizeof(WAVEFORMATEX));
  EXPECT_EQ(std::memcmp(strf.data(), pcm.data(), 16), 0);
  EXPECT_EQ(reinterpret_cast<const WAVEFORMATEX*>(strf.data())->cbSize, 0);
}

}  // namespace
