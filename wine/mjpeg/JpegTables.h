// The baseline JPEG tables every frame carries: the example quantisation
// tables for luminance and chrominance scaled to a quality of 1-100, the
// zig-zag order, and the four example Huffman tables (DC and AC for
// luminance and chrominance) as counts per code length and symbol lists,
// with the code and length of every symbol derived from them.
// Plain data and functions; any thread.
#pragma once

#include <array>
#include <cstdint>

namespace tavmjpeg {

// kZigZag[k] is the natural (row-major) index of the k-th coefficient in
// zig-zag order.
extern const std::array<uint8_t, 64> kZigZag;

// The example tables in natural order.
extern const std::array<uint8_t, 64> kLumaQuant;
extern const std::array<uint8_t, 64> kChromaQuant;

// A table scaled for quality 1-100 (50 keeps it as it is, 100 makes every
// step 1); entries are clamped to 1-255 so baseline 8-bit tables hold them.
std::array<uint8_t, 64> ScaledQuantTable(const std::array<uint8_t, 64>& base, int quality);

// One Huffman table as a DHT segment carries it.
struct HuffmanSpec {
  std::array<uint8_t, 16> counts;  // codes of length 1..16
  std::array<uint8_t, 162> symbols;
  int symbolCount;
};

const HuffmanSpec& LumaDcSpec();
const HuffmanSpec& ChromaDcSpec();
const HuffmanSpec& LumaAcSpec();
const HuffmanSpec& ChromaAcSpec();

// Code and length of every symbol of a table (length 0: not in the table).
struct HuffmanCodes {
  std::array<uint16_t, 256> code{};
  std::array<uint8_t, 256> length{};
};
HuffmanCodes BuildCodes(const HuffmanSpec& spec);

}  // namespace tavmjpeg
