#include "wine/mjpeg/JpegTables.h"

#include <algorithm>
#include <vector>

namespace tavmjpeg {

const std::array<uint8_t, 64> kZigZag = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                         12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                         35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                         58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

const std::array<uint8_t, 64> kLumaQuant = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                            14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                            18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                            49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

const std::array<uint8_t, 64> kChromaQuant = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
                                              24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
                                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

std::array<uint8_t, 64> ScaledQuantTable(const std::array<uint8_t, 64>& base, int quality) {
  quality = std::clamp(quality, 1, 100);
  // Percentage applied to the example table: 5000/q below 50, 200-2q above.
  const int percent = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  std::array<uint8_t, 64> table{};
  for (int i = 0; i < 64; ++i) table[i] = static_cast<uint8_t>(std::clamp((base[i] * percent + 50) / 100, 1, 255));
  return table;
}

namespace {

// The example tables list their short codes explicitly; every AC table ends
// with all remaining run/size symbols in ascending order at length 16.
HuffmanSpec MakeSpec(const std::array<uint8_t, 16>& counts, std::vector<uint8_t> listed, bool isAc) {
  HuffmanSpec spec{};
  spec.counts = counts;
  if (isAc) {
    std::vector<uint8_t> rest;
    for (int run = 0; run < 16; ++run) {
      for (int size = 0; size <= 10; ++size) {
        if (size == 0 && run != 0 && run != 15) continue;  // only end-of-block (0/0) and sixteen zeros (15/0)
        const auto symbol = static_cast<uint8_t>(run << 4 | size);
        if (std::find(listed.begin(), listed.end(), symbol) == listed.end()) rest.push_back(symbol);
      }
    }
    listed.insert(listed.end(), rest.begin(), rest.end());
  }
  spec.symbolCount = static_cast<int>(listed.size());
  std::copy(listed.begin(), listed.end(), spec.symbols.begin());
  return spec;
}

}  // namespace

const HuffmanSpec& LumaDcSpec() {
  static const HuffmanSpec spec =
      MakeSpec({0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, false);
  return spec;
}

const HuffmanSpec& ChromaDcSpec() {
  static const HuffmanSpec spec =
      MakeSpec({0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, false);
  return spec;
}

const HuffmanSpec& LumaAcSpec() {
  static const HuffmanSpec spec = MakeSpec(
      {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d},
      {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71, 0x14,
       0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72, 0x82},
      true);
  return spec;
}

const HuffmanSpec& ChromaAcSpec() {
  static const HuffmanSpec spec =
      MakeSpec({0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77},
               {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61,
                0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33,
                0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1, 0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1},
               true);
  return spec;
}

HuffmanCodes BuildCodes(const HuffmanSpec& spec) {
  // Canonical codes: consecutive values within a length, doubled at each
  // longer length.
  HuffmanCodes codes;
  unsigned code = 0;
  int k = 0;
  for (int length = 1; length <= 16; ++length) {
    for (int i = 0; i < spec.counts[length - 1]; ++i, ++k) {
      codes.code[spec.symbols[k]] = static_cast<uint16_t>(code++);
      codes.length[spec.symbols[k]] = static_cast<uint8_t>(length);
    }
    code <<= 1;
  }
  return codes;
}

}  // namespace tavmjpeg
