// Reading AVI files back with ffprobe/ffmpeg from tests under Wine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace muxtest {

// Runs ffprobe with args before the file; returns its output ("" and a test
// failure when ffprobe fails).
std::string Ffprobe(const std::string& args, const std::wstring& file);

// One packet of a stream, as ffprobe lists it.
struct Packet {
  long long pts = -1;
  long long size = -1;
  bool key = false;
};
std::vector<Packet> Packets(const std::wstring& file, const std::string& streamSpecifier);

// The stream's packets as raw bytes, one after another (ffmpeg -c copy).
std::vector<std::uint8_t> StreamBytes(const std::wstring& file, const std::string& streamSpecifier);

// The file's bytes (whole file; small files only).
std::vector<std::uint8_t> ReadFileBytes(const std::wstring& file);

// Splits text into lines without their line ends.
std::vector<std::string> Lines(const std::string& text);

}  // namespace muxtest
