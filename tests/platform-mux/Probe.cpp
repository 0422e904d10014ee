#include "Probe.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <sstream>

#include "tests/common/UnixTools.h"

namespace muxtest {

std::string Ffprobe(const std::string& args, const std::wstring& file) {
  tavtest::UnixResult r = tavtest::RunUnixCommand(
      "ffprobe -v error " + args + " " + tavtest::ShellQuote(tavtest::UnixPathOf(file)), 180000);
  EXPECT_EQ(r.exitCode, 0) << r.output;
  return r.exitCode == 0 ? r.output : std::string();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::vector<Packet> Packets(const std::wstring& file, const std::string& streamSpecifier) {
  std::vector<Packet> packets;
  std::string out =
      Ffprobe("-select_streams " + streamSpecifier + " -show_entries packet=pts,size,flags -of csv=p=0", file);
  for (const std::string& line : Lines(out)) {
    Packet p;
    std::istringstream fields(line);
    std::string pts, size, flags;
    std::getline(fields, pts, ',');
    std::getline(fields, size, ',');
    std::getline(fields, flags, ',');
    p.pts = pts == "N/A" ? -1 : std::stoll(pts);
    p.size = std::stoll(size);
    p.key = !flags.empty() && flags[0] == 'K';
    packets.push_back(p);
  }
  return packets;
}

std::vector<std::uint8_t> ReadFileBytes(const std::wstring& file) {
  std::vector<std::uint8_t> bytes;
  HANDLE h =
      CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return bytes;
  LARGE_INTEGER size;
  GetFileSizeEx(h, &size);
  bytes.resize(static_cast<std::size_t>(size.QuadPart));
  DWORD read = 0;
  if (!bytes.empty()) ReadFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
  bytes.resize(read);
  CloseHandle(h);
  return bytes;
}

std::vector<std::uint8_t> StreamBytes(const std::wstring& file, const std::string& streamSpecifier) {
  std::wstring out = file + L".raw";
  std::string unixOut = tavtest::UnixPathOf(out);
  tavtest::UnixResult r =
      tavtest::RunUnixCommand("ffmpeg -v error -y -i " + tavtest::ShellQuote(tavtest::UnixPathOf(file)) +
                                  " -map 0:" + streamSpecifier + " -c copy -f data " + tavtest::ShellQuote(unixOut),
                              180000);
  EXPECT_EQ(r.exitCode, 0) << r.output;
  std::vector<std::uint8_t> bytes = ReadFileBytes(out);
  DeleteFileW(out.c_str());
  return bytes;
}

}  // namespace muxtest
