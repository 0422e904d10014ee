// A growing little-endian byte buffer for RIFF structures: four-character
// codes, 16/32/64-bit fields, and chunks or lists whose size is patched in
// when they close. Used to build AVI headers and indexes in memory; each
// object belongs to the one thread that builds with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// 'a','b','c','d' -> the fourcc as it lies in the file.
constexpr std::uint32_t MakeFourCC(char a, char b, char c, char d) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(a)) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 8) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(d)) << 24);
}

class RiffBytes {
 public:
  void Put8(std::uint8_t v) { bytes_.push_back(v); }
  void Put16(std::uint16_t v);
  void Put32(std::uint32_t v);
  void Put64(std::uint64_t v);
  void PutBytes(const void* data, std::size_t size);
  void PutZeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }

  // Starts a chunk (fourcc + size placeholder); returns its start for EndChunk.
  std::size_t BeginChunk(std::uint32_t fourcc);
  // Starts "LIST" size type; returns its start for EndChunk.
  std::size_t BeginList(std::uint32_t listType);
  // Writes the chunk's size and pads the data to an even length.
  void EndChunk(std::size_t start);

  void Patch32(std::size_t at, std::uint32_t v);

  std::size_t Size() const { return bytes_.size(); }
  const std::uint8_t* Data() const { return bytes_.data(); }
  void Clear() { bytes_.clear(); }

 private:
  std::vector<std::uint8_t> bytes_;
};
