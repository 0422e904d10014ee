// "Tav MJPEG" through TavMovieMaker.dll, as a host uses it: listed and chosen
// by name, recording every pixel format with positive and negative heights,
// read back with ffprobe (codec, size, frame slots, key frames) and decoded
// with ffmpeg against the test card it was fed (PSNR). Its property page is
// driven as a user would (the run happens inside Xvfb) and the quality set
// there reaches the next recording.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/MovieCheck.h"
#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/platform-mjpeg/TestCard.h"

namespace tavtest {
namespace {

const wchar_t kMjpeg[] = L"Tav MJPEG";
const long long kFrame25 = 400000;  // one frame at 25 fps, in 100 ns
// Frame numbers handed in: 3 and 4 are missing, so slots 3 and 4 stay empty.
const std::vector<long long> kFrameNumbers = {0, 1, 2, 5, 6};

std::vector<std::wstring> VideoCompressorNames(MovieMakerDll& dll, int id) {
  int count = 0, maxLength = 0;
  if (dll.GetCompressors(id, nullptr, &count, &maxLength) != S_OK || count <= 0) return {};
  std::vector<std::wstring> buffers(static_cast<size_t>(count), std::wstring(static_cast<size_t>(maxLength), L'\0'));
  std::vector<wchar_t*> names;
  for (std::wstring& b : buffers) names.push_back(&b[0]);
  if (dll.GetCompressors(id, names.data(), &count, &maxLength) != S_OK) return {};
  std::vector<std::wstring> result;
  for (wchar_t* n : names) result.emplace_back(n);
  return result;
}

bool WriteFile(const std::wstring& path, const std::string& bytes) {
  std::ofstream out(UnixPathOf(path), std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

// ffmpeg's average PSNR of the movie's decoded frames against raw frames
// (both compared in `compareAs`); -1 when ffmpeg fails.
double MoviePsnr(const std::wstring& movie, const std::wstring& raw, const char* rawFormat, int width, int height,
                 const char* compareAs) {
  const std::string filter =
      std::string("[0:v]format=") + compareAs + "[a];[1:v]format=" + compareAs + "[b];[a][b]psnr";
  UnixResult r =
      RunUnixCommand("ffmpeg -hide_banner -nostats -i " + ShellQuote(UnixPathOf(movie)) + " -f rawvideo -pix_fmt " +
                     rawFormat + " -s " + std::to_string(width) + "x" + std::to_string(height) + " -i " +
                     ShellQuote(UnixPathOf(raw)) + " -lavfi '" + filter + "' -fps_mode passthrough -f null - 2>&1");
  const size_t at = r.output.find("average:");
  if (r.exitCode != 0 || at == std::string::npos) {
    ADD_FAILURE() << r.output;
    return -1;
  }
  return std::atof(r.output.c_str() + at + 8);
}

struct IndexEntry {
  unsigned size = 0;
  bool key = false;
};

// The video entries ("00dc") of the movie's idx1 index, in order.
std::vector<IndexEntry> VideoIndex(const std::wstring& movie) {
  const std::string file = ReadBinaryFile(movie);
  std::vector<IndexEntry> entries;
  const size_t at = file.find("idx1");
  if (at == std::string::npos || at + 8 > file.size()) return entries;
  unsigned length = 0;
  std::memcpy(&length, file.data() + at + 4, 4);
  for (size_t e = at + 8; e + 16 <= file.size() && e + 16 <= at + 8 + length; e += 16) {
    if (file.compare(e, 4, "00dc") != 0) continue;
    unsigned flags = 0;
    IndexEntry entry;
    std::memcpy(&flags, file.data() + e + 4, 4);
    std::memcpy(&entry.size, file.data() + e + 12, 4);
    entry.key = (flags & 0x10) != 0;  // AVIIF_KEYFRAME
    entries.push_back(entry);
  }
  return entries;
}

long long PayloadBytes(const std::vector<Packet>& packets) {
  long long total = 0;
  for (const Packet& p : packets) total += p.size;
  return total;
}

class MjpegRecording : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dll.ok());
    dir = MakeTempDir();
  }

  // A writer of this size and format with "Tav MJPEG" chosen by name.
  int MjpegWriter(int width, int signedHeight, CardFormat format) {
    unsigned code = static_cast<unsigned>(format);
    int id = 0;
    EXPECT_EQ(dll.InitEx(width, signedHeight, 25.0, &code, &id), S_OK);
    bool hasDialog = false;
    EXPECT_EQ(dll.SetCompressor(id, kMjpeg, &hasDialog), S_OK);
    EXPECT_TRUE(hasDialog) << "the compressor offers its property page";
    return id;
  }

  // Records the card's frames with kFrameNumbers; returns their pictures
  // joined, as ffmpeg reads raw video.
  std::string Record(int id, const std::wstring& movie, int width, int signedHeight, CardFormat format) {
    std::string pictures;
    EXPECT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
    for (long long n : kFrameNumbers) {
      CardFrame frame = MakeCardFrame(width, signedHeight, format, static_cast<int>(n));
      EXPECT_EQ(dll.AddMovieFrame2(id, &frame.host[0], static_cast<unsigned>(frame.host.size()), n * kFrame25, n),
                S_OK);
      pictures += frame.picture;
    }
    EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
    return pictures;
  }

  MovieMakerDll dll;
  std::wstring dir;
};

TEST_F(MjpegRecording, IsListedAmongTheVideoCompressors) {
  int id = 0;
  ASSERT_EQ(dll.InitEx(16, 16, 25.0, nullptr, &id), S_OK);
  std::vector<std::wstring> names = VideoCompressorNames(dll, id);
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.front(), L"Uncompressed");
  EXPECT_EQ(std::count(names.begin(), names.end(), std::wstring(kMjpeg)), 1);
}

struct FormatCase {
  CardFormat format;
  int signedHeight;
  const char* pixFmt;     // what ffprobe reports for the JPEG frames
  const char* compareAs;  // the format the PSNR is taken in
};

std::ostream& operator<<(std::ostream& out, const FormatCase& c) {
  return out << "format " << static_cast<int>(c.format) << ", height " << c.signedHeight;
}

class MjpegFormats : public MjpegRecording, public ::testing::WithParamInterface<FormatCase> {};

// 318 x 238 is no multiple of the MCU size: the edges are padded and cut
// back by the decoder.
TEST_P(MjpegFormats, RecordsDecodableKeyFramesInTheirSlots) {
  const FormatCase& c = GetParam();
  const int width = 318, height = std::abs(c.signedHeight);
  int id = MjpegWriter(width, c.signedHeight, c.format);
  std::wstring movie = dir + L"mjpeg.avi";
  std::string pictures = Record(id, movie, width, c.signedHeight, c.format);

  auto video = ProbeStream(movie, "v:0");
  EXPECT_EQ(video["codec_name"], "mjpeg") << video["error"];
  EXPECT_EQ(video["codec_tag_string"], "MJPG");
  EXPECT_EQ(video["width"], std::to_string(width));
  EXPECT_EQ(video["height"], std::to_string(height));
  EXPECT_EQ(video["pix_fmt"], c.pixFmt);

  // ffprobe lists the frames in their slots, every one a key frame...
  std::vector<long long> slots;
  for (const Packet& p : ProbePackets(movie, "v:0")) {
    slots.push_back(p.pts);
    EXPECT_TRUE(p.key) << "slot " << p.pts;
  }
  EXPECT_EQ(slots, kFrameNumbers);
  // ...and the index keeps the two dropped slots as empty entries.
  std::vector<IndexEntry> index = VideoIndex(movie);
  ASSERT_EQ(index.size(), 7u);
  for (size_t slot = 0; slot < index.size(); ++slot) {
    const bool dropped = slot == 3 || slot == 4;
    EXPECT_EQ(index[slot].size == 0, dropped) << "slot " << slot;
    if (!dropped) {
      EXPECT_TRUE(index[slot].key) << "slot " << slot;
    }
  }

  std::wstring raw = dir + L"card.raw";
  ASSERT_TRUE(WriteFile(raw, pictures));
  const char* rawFormat = MakeCardFrame(2, 2, c.format, 0).pixelFormat;
  const double psnr = MoviePsnr(movie, raw, rawFormat, width, height, c.compareAs);
  EXPECT_GE(psnr, 38.0) << "decoded frames against the card";
}

std::string CaseName(const ::testing::TestParamInfo<FormatCase>& info) {
  const char* names[] = {"Rgb24", "Rgb32", "Grey8", "Yuy2"};
  return std::string(names[static_cast<int>(info.param.format)]) +
         (info.param.signedHeight > 0 ? "BottomUp" : "TopDown");
}

INSTANTIATE_TEST_SUITE_P(EveryPixelFormat, MjpegFormats,
                         ::testing::Values(FormatCase{CardFormat::Rgb24, 238, "yuvj420p", "rgb24"},
                                           FormatCase{CardFormat::Rgb24, -238, "yuvj420p", "rgb24"},
                                           FormatCase{CardFormat::Rgb32, 238, "yuvj420p", "rgb24"},
                                           FormatCase{CardFormat::Rgb32, -238, "yuvj420p", "rgb24"},
                                           FormatCase{CardFormat::Grey8, 238, "gray", "gray"},
                                           FormatCase{CardFormat::Grey8, -238, "gray", "gray"},
                                           FormatCase{CardFormat::Yuy2, 238, "yuvj422p", "rgb24"},
                                           FormatCase{CardFormat::Yuy2, -238, "yuvj422p", "rgb24"}),
                         CaseName);

// --- The property page ---

struct PageView {
  bool found = false;
  std::wstring shownQuality;
};

struct FindEdit {
  HWND edit = nullptr;
};

BOOL CALLBACK FindQualityEdit(HWND window, LPARAM param) {
  if (GetDlgCtrlID(window) == 1001) {
    wchar_t className[32] = {};
    GetClassNameW(window, className, 32);
    if (_wcsicmp(className, L"Edit") == 0) {
      reinterpret_cast<FindEdit*>(param)->edit = window;
      return FALSE;
    }
  }
  return TRUE;
}

BOOL CALLBACK FindOkButton(HWND window, LPARAM param) {
  wchar_t text[16] = {};
  GetWindowTextW(window, text, 16);
  wchar_t className[32] = {};
  GetClassNameW(window, className, 32);
  if (_wcsicmp(className, L"Button") == 0 && wcscmp(text, L"OK") == 0) {
    *reinterpret_cast<HWND*>(param) = window;
    return FALSE;
  }
  return TRUE;
}

struct PageWindows {
  HWND frame = nullptr;
  HWND edit = nullptr;
};

// A visible top-level window of this process that holds the quality box.
BOOL CALLBACK FindPageFrame(HWND window, LPARAM param) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  if (process != GetCurrentProcessId() || !IsWindowVisible(window)) return TRUE;
  FindEdit found;
  EnumChildWindows(window, FindQualityEdit, reinterpret_cast<LPARAM>(&found));
  if (found.edit == nullptr) return TRUE;
  auto* page = reinterpret_cast<PageWindows*>(param);
  page->frame = window;
  page->edit = found.edit;
  return FALSE;
}

BOOL CALLBACK CloseOwnWindows(HWND window, LPARAM) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  if (process == GetCurrentProcessId() && IsWindowVisible(window)) PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

// Shows the compressor's settings through TavMovieMakerShowCompressorDlg and,
// from a second thread, types `quality` into the page and presses OK. If the
// page does not come up within the deadline, whatever did is closed.
PageView SetQualityThroughThePage(MovieMakerDll& dll, int id, const wchar_t* quality, HRESULT* result) {
  PageView view;
  std::atomic<bool> returned{false};
  std::thread user([&] {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    PageWindows page;
    while (!returned && std::chrono::steady_clock::now() < deadline) {
      page = PageWindows();
      EnumWindows(FindPageFrame, reinterpret_cast<LPARAM>(&page));
      if (page.edit != nullptr && GetWindowTextLengthW(page.edit) > 0) break;
      Sleep(20);  // poll interval while the frame comes up
    }
    if (page.edit == nullptr || GetWindowTextLengthW(page.edit) == 0) {
      while (!returned) {
        EnumWindows(CloseOwnWindows, 0);
        Sleep(100);
      }
      return;
    }
    view.found = true;
    wchar_t text[16] = {};
    GetWindowTextW(page.edit, text, 16);
    view.shownQuality = text;
    SendMessageW(page.edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(quality));
    HWND ok = nullptr;
    EnumChildWindows(page.frame, FindOkButton, reinterpret_cast<LPARAM>(&ok));
    if (ok != nullptr) PostMessageW(ok, BM_CLICK, 0, 0);
    // Whatever OK leaves open is closed, so the call always returns.
    while (!returned) {
      Sleep(100);
      if (!returned) EnumWindows(CloseOwnWindows, 0);
    }
  });
  *result = dll.ShowCompressorDlg(id, nullptr);
  returned = true;
  user.join();
  return view;
}

TEST_F(MjpegRecording, QualitySetOnThePropertyPageReachesTheNextRecording) {
  const int width = 320, height = 240;
  int id = MjpegWriter(width, height, CardFormat::Rgb24);
  std::wstring fine = dir + L"fine.avi";
  std::string pictures = Record(id, fine, width, height, CardFormat::Rgb24);

  HRESULT hr = E_UNEXPECTED;
  PageView view = SetQualityThroughThePage(dll, id, L"20", &hr);
  EXPECT_EQ(hr, S_OK);
  ASSERT_TRUE(view.found) << "the property page did not appear";
  EXPECT_EQ(view.shownQuality, L"85");

  std::wstring coarse = dir + L"coarse.avi";
  Record(id, coarse, width, height, CardFormat::Rgb24);
  const long long fineBytes = PayloadBytes(ProbePackets(fine, "v:0"));
  const long long coarseBytes = PayloadBytes(ProbePackets(coarse, "v:0"));
  EXPECT_GT(coarseBytes, 0);
  EXPECT_LT(coarseBytes, fineBytes) << "quality 20 makes smaller frames than 85";

  // The page shows what the compressor now has.
  view = SetQualityThroughThePage(dll, id, L"20", &hr);
  EXPECT_EQ(view.shownQuality, L"20");

  std::wstring raw = dir + L"card.raw";
  ASSERT_TRUE(WriteFile(raw, pictures));
  EXPECT_GE(MoviePsnr(fine, raw, "rgb24", width, height, "rgb24"), 38.0);
  const double coarsePsnr = MoviePsnr(coarse, raw, "rgb24", width, height, "rgb24");
  EXPECT_GT(coarsePsnr, 25.0);
  EXPECT_LT(coarsePsnr, MoviePsnr(fine, raw, "rgb24", width, height, "rgb24"));
}

}  // namespace
}  // namespace tavtest
