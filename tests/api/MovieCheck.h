// Reads a recorded AVI back with ffprobe and ffmpeg (on the Unix side).
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tavtest {

// The entries of one stream ("v:0", "a:0", or an index "0"), as ffprobe's
// -show_streams prints them ("width" -> "320", "codec_type" -> "video").
std::map<std::string, std::string> ProbeStream(const std::wstring& movie, const std::string& stream);

struct Packet {
  long long pts = -1;
  long long duration = 0;
  long long size = 0;
  bool key = false;
};
// Every packet of one stream in file order, zero-length ones included.
std::vector<Packet> ProbePackets(const std::wstring& movie, const std::string& stream);

// The packets of one stream of each movie, read by one Unix process that runs
// ffprobe once per movie (starting a Unix process from Wine costs far more
// than ffprobe itself). `readable` is false when ffprobe failed on the movie
// (or the whole run did not finish), with its message in `error`.
struct ProbedMovie {
  bool readable = false;
  std::vector<Packet> packets;
  std::string error;
};
std::vector<ProbedMovie> ProbePacketsOfEach(const std::vector<std::wstring>& movies, const std::string& stream);

// The stream's packets as stored, concatenated (ffmpeg -c copy -f data).
std::string StreamBytes(const std::wstring& movie, const std::string& stream);

// A whole file's bytes (empty when it cannot be read).
std::string ReadBinaryFile(const std::wstring& path);

// Whether the file exists and its size (-1 when it does not exist).
long long FileSize(const std::wstring& path);

}  // namespace tavtest
