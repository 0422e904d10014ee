// A recording past 4 GB through the AVI Mux in Wine's filter graph: the file
// must be a valid AVI 2.0 with 'AVIX' extension RIFFs, readable end to end.
// The video frames are zeros apart from a marker, and the test sink leaves
// zero pieces as holes, so the run takes seconds, not minutes.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "Formats.h"
#include "MuxGraph.h"
#include "Probe.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

constexpr REFERENCE_TIME kFrame = 400000;
constexpr int kWidth = 1920, kHeight = 1080, kBits = 32;
constexpr int kSlots = 530;

bool Dropped(int slot) { return slot == 500 || slot == 501; }

void Marker(char* out, int slot) { std::snprintf(out, 17, "frame %010d", slot); }

bool ReadAt(HANDLE file, unsigned long long offset, void* data, DWORD size) {
  LARGE_INTEGER at;
  at.QuadPart = static_cast<LONGLONG>(offset);
  DWORD read = 0;
  return SetFilePointerEx(file, at, nullptr, FILE_BEGIN) && ReadFile(file, data, size, &read, nullptr) && read == size;
}

TEST(AviMuxLargeFileTest, RecordingPastFourGigabytesIsReadableEndToEnd) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  std::wstring file = tavtest::MakeTempDir() + L"large.avi";
  DWORD started = GetTickCount();
  const std::size_t frameSize = DibSize(kWidth, kHeight, kBits);
  {
    MuxGraph g;
    ASSERT_NO_FATAL_FAILURE(g.Build());
    TestPushSource* a = nullptr;
    ASSERT_NO_FATAL_FAILURE(g.AddSource(AudioType(PcmFormat(1, 8000, 16)), 640, L"a", &a));
    TestPushSource* v = nullptr;
    ASSERT_NO_FATAL_FAILURE(
        g.AddSource(VideoType(kWidth, kHeight, kBits, BI_RGB, kFrame), static_cast<long>(frameSize), L"v", &v));
    ASSERT_NO_FATAL_FAILURE(g.AddSink(file));
    g.sink->m_bSkipZeroBlocks = true;
    ASSERT_EQ(g.ConnectSourceToMux(a), S_OK);
    ASSERT_EQ(g.ConnectSourceToMux(v), S_OK);
    ASSERT_EQ(g.ConnectMuxToSink(), S_OK);
    ASSERT_EQ(g.control->Run(), S_OK);
    std::vector<char> frame(frameSize, 0);
    std::vector<char> pcm(640);
    for (int slot = 0; slot < kSlots; ++slot) {
      if (Dropped(slot)) continue;
      for (int i = 0; i < 640; ++i) pcm[i] = static_cast<char>(slot + i);
      REFERENCE_TIME start = slot * kFrame, stop = start + kFrame;
      ASSERT_EQ(a->Push(pcm.data(), 640, &start, &stop), S_OK);
      Marker(frame.data(), slot);
      ASSERT_EQ(v->Push(frame.data(), static_cast<long>(frameSize), &start, &stop), S_OK) << slot;
    }
    ASSERT_EQ(g.control->Stop(), S_OK);
  }
  std::printf("recorded in %lu ms\n", GetTickCount() - started);

  // RIFF 'AVI ' then 'AVIX' RIFFs, covering the whole file, which is past 4 GB.
  HANDLE h = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  LARGE_INTEGER size;
  GetFileSizeEx(h, &size);
  EXPECT_GT(size.QuadPart, 4ll * 1024 * 1024 * 1024 + 50ll * 1024 * 1024);
  unsigned long long at = 0;
  int riffs = 0;
  while (at < static_cast<unsigned long long>(size.QuadPart)) {
    char head[12];
    ASSERT_TRUE(ReadAt(h, at, head, 12));
    ASSERT_EQ(std::string(head, 4), "RIFF") << at;
    EXPECT_EQ(std::string(head + 8, 4), riffs == 0 ? "AVI " : "AVIX");
    std::uint32_t riffSize;
    std::memcpy(&riffSize, head + 4, 4);
    EXPECT_LE(riffSize, 1024u * 1024 * 1024);
    at += 8 + riffSize;
    ++riffs;
  }
  EXPECT_EQ(at, static_cast<unsigned long long>(size.QuadPart));
  EXPECT_GE(riffs, 5);

  // ffprobe counts every packet of both streams.
  EXPECT_EQ(Ffprobe("-count_packets -show_entries stream=codec_type,nb_frames,nb_read_packets -of csv=p=0", file),
            "audio,168960,528\nvideo,530,528\n");

  // Each video packet sits at its slot, and its data starts with its marker.
  std::vector<std::string> lines =
      Lines(Ffprobe("-select_streams v:0 -show_entries packet=pts,pos,size -of csv=p=0", file));
  ASSERT_EQ(lines.size(), 528u);
  std::size_t index = 0;
  for (int slot = 0; slot < kSlots; ++slot) {
    if (Dropped(slot)) continue;
    long long pts = 0, pos = 0, bytes = 0;
    ASSERT_EQ(std::sscanf(lines[index++].c_str(), "%lld,%lld,%lld", &pts, &bytes, &pos), 3);
    EXPECT_EQ(pts, slot);
    EXPECT_EQ(bytes, static_cast<long long>(frameSize));
    char expected[17], found[17] = {};
    Marker(expected, slot);
    ASSERT_TRUE(ReadAt(h, static_cast<unsigned long long>(pos), found, 16));
    EXPECT_EQ(std::string(found, 16), std::string(expected, 16)) << slot;
  }
  CloseHandle(h);
  std::printf("recorded and verified in %lu ms\n", GetTickCount() - started);
  DeleteFileW(file.c_str());
  CoUninitialize();
}

}  // namespace
