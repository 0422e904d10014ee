// tavcam driven as a user drives it, under Xvfb: its compressor lists, a
// three-second recording with audio and dropped frames through its buttons,
// each pixel format at a typed size and rate, a pause, the audio format
// dialog, a failed start, and closing while recording. Every movie is read
// back with ffprobe.
//
// With TAVCAM_SCREENSHOTS set to a Unix folder, the recording and the audio
// format dialog are also saved there as PNGs (tools/tavcam/screenshots.sh).
#include <TavMovieMaker.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"
#include "tests/tavcam/TavCamApp.h"
#include "tools/tavcam/ControlIds.h"

namespace tavtest {
namespace {

const DWORD kDeadlineMs = 60000;

std::string ScreenshotDir() {
  const char* dir = getenv("TAVCAM_SCREENSHOTS");
  return dir ? dir : "";
}

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

bool Enabled(const TavCamApp& app, int id) { return IsWindowEnabled(app.Control(id)) != FALSE; }

class TavCam : public ::testing::Test {
 protected:
  void TearDown() override { DeleteFileW(movie.c_str()); }

  // Clicks Record and waits until tavcam has recorded `seconds` (by its own
  // clock) and handed in `frames` frames at least.
  void RecordFor(double seconds, long long frames) {
    ASSERT_TRUE(app.Click(CTL_RECORD));
    TavCamStatus status;
    ASSERT_TRUE(WaitUntil(
        [&] {
          status = app.Status();
          return status.lastError != L"none" ||
                 (status.state == L"Recording" && status.elapsedSeconds >= seconds && status.frames >= frames);
        },
        kDeadlineMs))
        << Narrow(status.state) << ", frames " << status.frames;
    ASSERT_EQ(status.lastError, L"none");
  }

  std::wstring movie = MakeTempDir() + L"tavcam.avi";
  TavCamApp app;
};

TEST_F(TavCam, RecordsThreeSecondsWithAudioAndLeavesDroppedFramesEmpty) {
  const std::string shots = ScreenshotDir();
  ASSERT_TRUE(app.Launch(movie));
  // 320x240 keeps the load low; the screenshot shows the default 640x480.
  if (shots.empty()) {
    ASSERT_TRUE(app.Choose(CTL_SIZE, 0));
  }
  ASSERT_TRUE(app.Click(CTL_DROP_FRAMES));
  ASSERT_EQ(SendMessageW(app.Control(CTL_DROP_FRAMES), BM_GETCHECK, 0, 0), BST_CHECKED);
  ASSERT_NO_FATAL_FAILURE(RecordFor(3.0, 1));
  EXPECT_FALSE(Enabled(app, CTL_RECORD));
  EXPECT_FALSE(Enabled(app, CTL_VIDEO_COMPRESSOR));
  if (!shots.empty()) {
    EXPECT_TRUE(SaveScreenshot(app.window(), shots + "/tavcam-recording.png"));
  }
  ASSERT_TRUE(app.Click(CTL_STOP));
  TavCamStatus status;
  ASSERT_TRUE(WaitUntil([&] { return (status = app.Status()).state == L"Ready"; }, kDeadlineMs));
  EXPECT_EQ(status.lastError, L"none");
  EXPECT_TRUE(Enabled(app, CTL_RECORD));

  // Video: one packet per slot; the camera's skipped frames are the empty ones.
  std::vector<Packet> packets = ProbePackets(movie, "v:0");
  ASSERT_FALSE(packets.empty());
  long long written = 0, lastSlot = -1;
  for (const Packet& p : packets)
    if (p.size > 0) {
      ++written;
      lastSlot = p.pts;
    }
  const long long slots = lastSlot + 1;
  printf("tavcam: %lld frames and %lld drops in %.1f s; the movie has %lld slots, %lld of them written\n",
         status.frames, status.drops, status.elapsedSeconds, slots, written);
  EXPECT_EQ(packets.front().pts, 0);
  EXPECT_EQ(written, status.frames);
  EXPECT_GE(status.drops, 2);  // one in every 20 frames of 25 per second
  EXPECT_EQ(slots - written, status.drops);
  // The camera never runs ahead of its clock: no more slots than the elapsed
  // time holds (the status shows tenths, cut off).
  EXPECT_LE(slots, static_cast<long long>((status.elapsedSeconds + 0.1) * 25.0) + 1);
  EXPECT_GE(slots, static_cast<long long>(status.elapsedSeconds * 25.0 / 2));

  // Audio: 16-bit stereo tone, one block of 1920 sample frames per camera
  // frame, skipped ones included (a skipped last frame leaves audio only).
  auto audio = ProbeStream(movie, "a:0");
  EXPECT_EQ(audio["codec_type"], "audio") << audio["error"];
  EXPECT_EQ(audio["codec_name"], "pcm_s16le");
  EXPECT_EQ(audio["sample_rate"], "48000");
  EXPECT_EQ(audio["channels"], "2");
  ASSERT_FALSE(audio["nb_frames"].empty());
  const long long samples = std::stoll(audio["nb_frames"]);
  EXPECT_GE(samples, slots * 1920);
  EXPECT_LE(samples, (slots + 1) * 1920);
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
}

// Types a value into an editable combo box and leaves it, as a user does.
bool Type(const TavCamApp& app, int id, const wchar_t* text) {
  DWORD_PTR result = 0;
  return SendMessageTimeoutW(app.Control(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text), SMTO_NORMAL, 30000,
                             &result) &&
         SendMessageTimeoutW(app.window(), WM_COMMAND, MAKEWPARAM(id, CBN_KILLFOCUS),
                             reinterpret_cast<LPARAM>(app.Control(id)), SMTO_NORMAL, 60000, &result);
}

TEST_F(TavCam, RecordsEachPixelFormatAtACustomSizeAndRate) {
  ASSERT_TRUE(app.Launch(movie));
  ASSERT_TRUE(Type(app, CTL_SIZE, L"200x150"));
  ASSERT_TRUE(Type(app, CTL_RATE, L"10"));
  const char* ffmpegFormats[] = {"bgr24", "bgra", "pal8", "yuyv422"};  // TAVMM_PIXEL_* order
  for (int format = 0; format < 4; ++format) {
    SCOPED_TRACE(ffmpegFormats[format]);
    ASSERT_TRUE(app.Choose(CTL_PIXEL_FORMAT, format));
    ASSERT_NO_FATAL_FAILURE(RecordFor(0.0, 3));
    ASSERT_TRUE(app.Click(CTL_STOP));
    TavCamStatus status;
    ASSERT_TRUE(WaitUntil([&] { return (status = app.Status()).state == L"Ready"; }, kDeadlineMs));
    EXPECT_EQ(status.lastError, L"none");
    auto video = ProbeStream(movie, "v:0");
    EXPECT_EQ(video["width"], "200") << video["error"];
    EXPECT_EQ(video["height"], "150");
    EXPECT_EQ(video["pix_fmt"], ffmpegFormats[format]);
    EXPECT_EQ(video["r_frame_rate"], "10/1");
    EXPECT_EQ(video["nb_frames"], std::to_string(status.frames));
  }
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
}

TEST_F(TavCam, PauseSendsABreakFrameSoTheMovieGoesOnWithoutAGap) {
  ASSERT_TRUE(app.Launch(movie));
  ASSERT_TRUE(app.Choose(CTL_SIZE, 0));
  ASSERT_NO_FATAL_FAILURE(RecordFor(0.0, 10));
  ASSERT_TRUE(app.Click(CTL_PAUSE));
  TavCamStatus paused;
  ASSERT_TRUE(WaitUntil([&] { return (paused = app.Status()).state == L"Paused"; }, kDeadlineMs));
  // A second of tavcam's clock passes with no frame handed in.
  TavCamStatus status;
  ASSERT_TRUE(WaitUntil(
      [&] {
        status = app.Status();
        return status.elapsedSeconds >= paused.elapsedSeconds + 1.0;
      },
      kDeadlineMs));
  EXPECT_EQ(status.frames, paused.frames);
  ASSERT_TRUE(app.Click(CTL_PAUSE));  // now "Resume"
  ASSERT_TRUE(WaitUntil(
      [&] {
        status = app.Status();
        return status.state == L"Recording" && status.frames >= paused.frames + 10;
      },
      kDeadlineMs));
  ASSERT_TRUE(app.Click(CTL_STOP));
  ASSERT_TRUE(WaitUntil([&] { return (status = app.Status()).state == L"Ready"; }, kDeadlineMs));
  EXPECT_EQ(status.lastError, L"none");
  EXPECT_EQ(status.drops, 0);
  // Every slot holds a frame: the pause left no gap in the movie.
  std::vector<Packet> packets = ProbePackets(movie, "v:0");
  ASSERT_EQ(static_cast<long long>(packets.size()), status.frames);
  for (size_t i = 0; i < packets.size(); ++i) {
    EXPECT_EQ(packets[i].pts, static_cast<long long>(i));
    EXPECT_GT(packets[i].size, 0);
  }
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
}

TEST_F(TavCam, ClosingWhileRecordingLeavesACompleteMovie) {
  ASSERT_TRUE(app.Launch(movie));
  ASSERT_TRUE(app.Choose(CTL_SIZE, 0));
  ASSERT_NO_FATAL_FAILURE(RecordFor(0.0, 10));
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
  auto video = ProbeStream(movie, "v:0");
  EXPECT_EQ(video["codec_type"], "video") << video["error"];
  EXPECT_EQ(video["width"], "320");
  ASSERT_FALSE(video["nb_frames"].empty());
  EXPECT_GE(std::stoll(video["nb_frames"]), 10);
  auto audio = ProbeStream(movie, "a:0");
  EXPECT_EQ(audio["codec_type"], "audio") << audio["error"];
}

TEST_F(TavCam, AFileThatCannotBeCreatedShowsTheFailedCall) {
  movie = MakeTempDir() + L"no such folder\\tavcam.avi";
  ASSERT_TRUE(app.Launch(movie));
  ASSERT_TRUE(app.Choose(CTL_SIZE, 0));
  ASSERT_TRUE(app.Click(CTL_RECORD));
  // The first hand-over finds the folder missing; tavcam stops and says so.
  TavCamStatus status;
  ASSERT_TRUE(WaitUntil(
      [&] {
        status = app.Status();
        return status.state == L"Ready" && !status.lastError.empty() && status.lastError != L"none";
      },
      kDeadlineMs));
  // The graph's error reaches whichever hand-over comes first after it.
  const std::wstring tail = L" failed: 0x80070003 (";
  EXPECT_TRUE(status.lastError.rfind(L"TavMovieMakerAddMovieFrame2" + tail, 0) == 0 ||
              status.lastError.rfind(L"TavMovieMakerAddAudioSample2" + tail, 0) == 0)
      << Narrow(status.lastError);
  EXPECT_TRUE(Enabled(app, CTL_RECORD));
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
}

TEST_F(TavCam, ListsTheDllsCompressorsAndConfiguresOnlyWhatHasSettings) {
  // The DLL's own lists, through the C++ layer's two-call helpers.
  int id = 0;
  ASSERT_EQ(TavMovieMakerInitEx(640, 480, 25.0, nullptr, &id), S_OK);
  std::vector<std::wstring> video = tav::video_compressors(id);
  ASSERT_EQ(TavMovieMakerSetAudioStream(id, 16), S_OK);
  std::vector<std::wstring> audio = tav::audio_compressors(id);
  TavMovieMakerRelease(id);
  ASSERT_FALSE(video.empty());
  EXPECT_EQ(video.front(), L"Uncompressed");
  ASSERT_TRUE(app.Launch(movie));
  EXPECT_EQ(app.ComboItems(CTL_VIDEO_COMPRESSOR), video);
  // "(none)" first: record the PCM as handed in.
  audio.insert(audio.begin(), L"(none)");
  EXPECT_EQ(app.ComboItems(CTL_AUDIO_COMPRESSOR), audio);

  // "Uncompressed" and "(none)" have no settings.
  EXPECT_FALSE(Enabled(app, CTL_VIDEO_CONFIGURE));
  EXPECT_FALSE(Enabled(app, CTL_AUDIO_CONFIGURE));
  const std::vector<std::wstring> names = app.ComboItems(CTL_AUDIO_COMPRESSOR);
  const auto ima = std::find(names.begin(), names.end(), L"IMA ADPCM");
  ASSERT_NE(ima, names.end()) << "IMA ADPCM not listed";
  ASSERT_TRUE(app.Choose(CTL_AUDIO_COMPRESSOR, static_cast<int>(ima - names.begin())));
  EXPECT_TRUE(Enabled(app, CTL_AUDIO_CONFIGURE));

  app.ClickWithoutWaiting(CTL_AUDIO_CONFIGURE);
  HWND dialog = app.WaitForWindow(L"Select Audio Compress Format", kDeadlineMs);
  ASSERT_TRUE(dialog != nullptr) << "the dialog did not appear";
  HWND list = GetDlgItem(dialog, 1001);
  ASSERT_GT(SendMessageW(list, LB_GETCOUNT, 0, 0), 0);
  SendMessageW(list, LB_SETCURSEL, 0, 0);
  SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(1001, LBN_SELCHANGE), reinterpret_cast<LPARAM>(list));
  wchar_t rate[64] = {};
  GetDlgItemTextW(dialog, 1004, rate, 64);
  EXPECT_NE(std::wstring(rate).find(L" bytes/sec"), std::wstring::npos);
  const std::string shots = ScreenshotDir();
  if (!shots.empty()) {
    EXPECT_TRUE(SaveScreenshot(dialog, shots + "/tavcam-audio-format.png"));
  }
  PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
  ASSERT_TRUE(WaitUntil([&] { return !IsWindow(dialog); }, kDeadlineMs));

  ASSERT_TRUE(app.Choose(CTL_AUDIO_COMPRESSOR, 0));
  EXPECT_FALSE(Enabled(app, CTL_AUDIO_CONFIGURE));
  EXPECT_EQ(app.Status().lastError, L"none");
  EXPECT_EQ(app.Close(kDeadlineMs), 0);
}

}  // namespace
}  // namespace tavtest
