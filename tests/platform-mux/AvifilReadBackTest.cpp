// Files of the layout writer read back with Wine's own AVIFile reader
// (avifil32), as Windows programs read them.
#include <gtest/gtest.h>
#include <windows.h>
#include <vfw.h>

#include <vector>

#include "FileSink.h"
#include "Formats.h"
#include "mux/AviLayoutWriter.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

TEST(AvifilReadBack, StreamsFramesAndDroppedSlotsAsAvifileSeesThem) {
  std::wstring file = tavtest::MakeTempDir() + L"avifil.avi";
  const std::uint32_t frameSize = DibSize(40, 20, 24);
  std::vector<std::vector<std::uint8_t>> frames;
  {
    FileSink sink(file);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    AviStreamFormat audio;
    audio.isVideo = false;
    audio.format = PcmFormat(2, 22050, 16);
    AviStreamFormat video;
    video.format = BitmapFormat(40, 20, 24, BI_RGB);
    video.frameDuration = 400000;
    writer.AddStream(audio);
    writer.AddStream(video);
    ASSERT_EQ(writer.Begin(), S_OK);
    for (int i = 0; i < 6; ++i) {
      std::vector<std::uint8_t> pcm(4 * 882, static_cast<std::uint8_t>(i));
      ASSERT_EQ(writer.WriteSample(0, pcm.data(), static_cast<std::uint32_t>(pcm.size()), true), S_OK);
      std::vector<std::uint8_t> frame(frameSize);
      for (std::uint32_t k = 0; k < frameSize; ++k) frame[k] = static_cast<std::uint8_t>(k * 5 + i);
      if (i == 3) {
        ASSERT_EQ(writer.WriteEmptySlots(1, 1), S_OK);
        frame.clear();
      } else {
        ASSERT_EQ(writer.WriteSample(1, frame.data(), frameSize, true), S_OK);
      }
      frames.push_back(frame);
    }
    ASSERT_EQ(writer.Finish(), S_OK);
  }

  AVIFileInit();
  PAVIFILE avi = nullptr;
  ASSERT_EQ(AVIFileOpenW(&avi, file.c_str(), OF_READ, nullptr), 0);
  AVIFILEINFOW info = {};
  ASSERT_EQ(AVIFileInfoW(avi, &info, sizeof info), 0);
  EXPECT_EQ(info.dwStreams, 2u);
  EXPECT_EQ(info.dwWidth, 40u);
  EXPECT_EQ(info.dwHeight, 20u);

  PAVISTREAM audio = nullptr, video = nullptr;
  ASSERT_EQ(AVIFileGetStream(avi, &audio, streamtypeAUDIO, 0), 0);
  ASSERT_EQ(AVIFileGetStream(avi, &video, streamtypeVIDEO, 0), 0);
  AVISTREAMINFOW si = {};
  ASSERT_EQ(AVIStreamInfoW(audio, &si, sizeof si), 0);
  EXPECT_EQ(si.dwRate / si.dwScale, 22050u);
  EXPECT_EQ(si.dwLength, 6u * 882);
  ASSERT_EQ(AVIStreamInfoW(video, &si, sizeof si), 0);
  EXPECT_EQ(si.dwRate / si.dwScale, 25u);
  EXPECT_EQ(si.dwLength, 6u);

  for (int i = 0; i < 6; ++i) {
    std::vector<std::uint8_t> read(frameSize);
    LONG bytes = -1, samples = -1;
    ASSERT_EQ(AVIStreamRead(video, i, 1, read.data(), frameSize, &bytes, &samples), 0) << i;
    ASSERT_EQ(bytes, static_cast<LONG>(frames[i].size())) << i;
    read.resize(bytes);
    EXPECT_EQ(read, frames[i]) << i;
  }
  std::vector<std::uint8_t> pcm(4 * 882);
  LONG bytes = 0, samples = 0;
  ASSERT_EQ(AVIStreamRead(audio, 882 * 5, 882, pcm.data(), static_cast<LONG>(pcm.size()), &bytes, &samples), 0);
  EXPECT_EQ(samples, 882);
  EXPECT_EQ(pcm, std::vector<std::uint8_t>(4 * 882, 5));

  AVIStreamRelease(audio);
  AVIStreamRelease(video);
  AVIFileRelease(avi);
  AVIFileExit();
}

}  // namespace
