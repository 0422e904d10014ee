#include "tests/api/MovieCheck.h"

#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

std::string Quoted(const std::wstring& path) { return ShellQuote(UnixPathOf(path)); }

// "key=value" lines of one ffprobe section into a map.
std::map<std::string, std::string> ParseEntries(const std::string& text) {
  std::map<std::string, std::string> entries;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) entries[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return entries;
}

long long Number(const std::string& text) { return text.empty() || text == "N/A" ? -1 : std::stoll(text); }

// ffprobe's packet list of one stream, to be followed by the movie's path.
std::string PacketsCommand(const std::string& stream) {
  return "ffprobe -v error -select_streams " + stream + " -show_entries packet=pts,duration,size,flags -of csv=p=0 ";
}

// Its output: "pts,duration,size,flags" lines.
std::vector<Packet> ParsePackets(const std::string& text) {
  std::vector<Packet> packets;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string pts, duration, size, flags;
    if (!std::getline(fields, pts, ',') || !std::getline(fields, duration, ',') || !std::getline(fields, size, ','))
      continue;
    std::getline(fields, flags, ',');
    Packet p;
    p.pts = Number(pts);
    p.duration = Number(duration);
    p.size = Number(size);
    p.key = !flags.empty() && flags[0] == 'K';
    packets.push_back(p);
  }
  return packets;
}

}  // namespace

std::map<std::string, std::string> ProbeStream(const std::wstring& movie, const std::string& stream) {
  UnixResult r = RunUnixCommand("ffprobe -v error -select_streams " + stream +
                                " -show_streams -of default=noprint_wrappers=1 " + Quoted(movie));
  if (r.exitCode != 0) return {{"error", r.output}};
  return ParseEntries(r.output);
}

std::vector<Packet> ProbePackets(const std::wstring& movie, const std::string& stream) {
  UnixResult r = RunUnixCommand(PacketsCommand(stream) + Quoted(movie));
  if (r.exitCode != 0) return {};
  return ParsePackets(r.output);
}

std::vector<ProbedMovie> ProbePacketsOfEach(const std::vector<std::wstring>& movies, const std::string& stream) {
  std::vector<ProbedMovie> probed(movies.size());
  if (movies.empty()) return probed;
  // Each movie's output ends with a line of its own holding ffprobe's status.
  const std::string kEnd = "@@ffprobe-status ";
  std::string command;
  for (const std::wstring& movie : movies)
    command += PacketsCommand(stream) + Quoted(movie) + " 2>&1; echo " + kEnd + "$?\n";
  UnixResult r = RunUnixCommand(command, 60000 + 2000 * static_cast<unsigned>(movies.size()));
  std::istringstream lines(r.output);
  std::string line, text;
  std::size_t i = 0;
  while (i < movies.size() && std::getline(lines, line)) {
    if (line.compare(0, kEnd.size(), kEnd) != 0) {
      text += line + "\n";
      continue;
    }
    probed[i].readable = std::atoi(line.c_str() + kEnd.size()) == 0;
    if (probed[i].readable) probed[i].packets = ParsePackets(text);
    else probed[i].error = text;
    text.clear();
    ++i;
  }
  for (; i < movies.size(); ++i) probed[i].error = "ffprobe did not finish: " + r.output;
  return probed;
}

std::string StreamBytes(const std::wstring& movie, const std::string& stream) {
  std::wstring out = movie + L"." + std::wstring(stream.begin(), stream.end()) + L".bin";
  for (wchar_t& c : out)
    if (c == L':') c = L'_';
  out[1] = L':';  // keep the drive letter's colon
  UnixResult r = RunUnixCommand("ffmpeg -v error -y -i " + Quoted(movie) + " -map 0:" + stream + " -c copy -f data " +
                                Quoted(out));
  if (r.exitCode != 0) return "ffmpeg failed: " + r.output;
  return ReadBinaryFile(out);
}

std::string ReadBinaryFile(const std::wstring& path) {
  std::ifstream in(path.c_str(), std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

long long FileSize(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return -1;
  return (static_cast<long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

}  // namespace tavtest
