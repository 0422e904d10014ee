#include "wine/mjpeg/JpegFrameEncoder.h"

#include "wine/mjpeg/JpegBitWriter.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tavmjpeg {
namespace {

// Markers.
constexpr uint8_t kSoi = 0xD8, kEoi = 0xD9, kDqt = 0xDB, kSof0 = 0xC0, kDht = 0xC4, kDri = 0xDD, kSos = 0xDA,
                  kRst0 = 0xD0;

// Worst case of one block's entropy-coded bytes, stuffing included.
constexpr size_t kMaxBlockBytes = 512;

void Put16(std::vector<uint8_t>& out, int value) {
  out.push_back(static_cast<uint8_t>(value >> 8));
  out.push_back(static_cast<uint8_t>(value));
}

void Marker(std::vector<uint8_t>& out, uint8_t marker, int length) {
  out.push_back(0xFF);
  out.push_back(marker);
  if (length > 0) Put16(out, length);
}

void QuantTableSegment(std::vector<uint8_t>& out, int id, const std::array<uint8_t, 64>& table) {
  Marker(out, kDqt, 2 + 1 + 64);
  out.push_back(static_cast<uint8_t>(id));  // 8-bit precision
  for (int k = 0; k < 64; ++k) out.push_back(table[kZigZag[k]]);
}

void HuffmanSegment(std::vector<uint8_t>& out, int tableClass, int id, const HuffmanSpec& spec) {
  Marker(out, kDht, 2 + 1 + 16 + spec.symbolCount);
  out.push_back(static_cast<uint8_t>(tableClass << 4 | id));
  out.insert(out.end(), spec.counts.begin(), spec.counts.end());
  out.insert(out.end(), spec.symbols.begin(), spec.symbols.begin() + spec.symbolCount);
}

// Bits needed for the magnitude of a value (its JPEG size category).
inline int SizeCategory(int value) {
  const unsigned magnitude = static_cast<unsigned>(std::abs(value));
  return magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
}

// Bit k set when coefficient k is not zero.
inline uint64_t NonZeroMask(const int16_t coefficients[64]) {
  uint64_t zeros = 0;
  const __m128i zero = _mm_setzero_si128();
  for (int i = 0; i < 4; ++i) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + 16 * i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + 16 * i + 8));
    const __m128i bytes = _mm_packs_epi16(_mm_cmpeq_epi16(a, zero), _mm_cmpeq_epi16(b, zero));
    zeros |= static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(bytes))) << (16 * i);
  }
  return ~zeros;
}

void EncodeBlock(const int16_t coefficients[64], int& predictor, const HuffmanCodes& dc, const HuffmanCodes& ac,
                 JpegBitWriter& writer) {
  const int difference = coefficients[0] - predictor;
  predictor = coefficients[0];
  int size = SizeCategory(difference);
  writer.Put(dc.code[size], dc.length[size]);
  if (size > 0) writer.Put(static_cast<uint32_t>(difference < 0 ? difference - 1 : difference), size);

  uint64_t mask = NonZeroMask(coefficients) & ~1ull;
  int last = 0;
  while (mask != 0) {
    const int position = __builtin_ctzll(mask);
    int run = position - last - 1;
    while (run > 15) {
      writer.Put(ac.code[0xF0], ac.length[0xF0]);
      run -= 16;
    }
    const int value = coefficients[position];
    size = SizeCategory(value);
    const int symbol = run << 4 | size;
    writer.Put(ac.code[symbol], ac.length[symbol]);
    writer.Put(static_cast<uint32_t>(value < 0 ? value - 1 : value), size);
    last = position;
    mask &= mask - 1;
  }
  if (last != 63) writer.Put(ac.code[0x00], ac.length[0x00]);
}

}  // namespace

JpegFrameEncoder::JpegFrameEncoder(int threads)
    : m_workers(std::max(threads, 1)), m_scratch(static_cast<size_t>(std::max(threads, 1))) {
  m_lumaDc = BuildCodes(LumaDcSpec());
  m_lumaAc = BuildCodes(LumaAcSpec());
  m_chromaDc = BuildCodes(ChromaDcSpec());
  m_chromaAc = BuildCodes(ChromaAcSpec());
}

bool JpegFrameEncoder::Configure(const InputFrame& frame) {
  if (frame.width <= 0 || frame.height <= 0 || frame.width > kMaxJpegSide || frame.height > kMaxJpegSide) return false;
  m_frame = frame;
  const int mcuWidth = McuWidth(frame.format);
  const int mcuHeight = McuHeight(frame.format);
  m_mcuColumns = (frame.width + mcuWidth - 1) / mcuWidth;
  m_mcuRows = (frame.height + mcuHeight - 1) / mcuHeight;
  m_paddedWidth = m_mcuColumns * mcuWidth;

  // About four bands per worker, so an uneven band does not hold the
  // others up; a restart interval counts at most 65535 MCUs.
  const int wantedBands = std::min(m_mcuRows, 4 * m_workers.Count());
  m_rowsPerBand = (m_mcuRows + wantedBands - 1) / wantedBands;
  m_rowsPerBand = std::max(1, std::min(m_rowsPerBand, 65535 / m_mcuColumns));
  if (m_mcuColumns > 65535) return false;
  m_bandCount = (m_mcuRows + m_rowsPerBand - 1) / m_rowsPerBand;
  m_bandBytes.resize(static_cast<size_t>(m_bandCount));

  for (WorkerScratch& scratch : m_scratch) {
    scratch.luma.assign(static_cast<size_t>(m_paddedWidth) * mcuHeight, 0.0f);
    scratch.cb.assign(static_cast<size_t>(m_paddedWidth / 2) * 8, 0.0f);
    scratch.cr.assign(static_cast<size_t>(m_paddedWidth / 2) * 8, 0.0f);
    scratch.rows.assign(static_cast<size_t>(m_paddedWidth) * 6, 0.0f);
  }
  m_quality = -1;  // the header depends on the geometry too
  return true;
}

void JpegFrameEncoder::PrepareTables(int quality) {
  if (quality == m_quality) return;
  m_quality = quality;
  const bool grey = m_frame.format == PixelFormat::Grey8;
  const auto lumaTable = ScaledQuantTable(kLumaQuant, quality);
  const auto chromaTable = ScaledQuantTable(kChromaQuant, quality);
  m_lumaQuant = MakeQuantiser(lumaTable);
  m_chromaQuant = MakeQuantiser(chromaTable);

  std::vector<uint8_t>& h = m_header;
  h.clear();
  Marker(h, kSoi, 0);
  QuantTableSegment(h, 0, lumaTable);
  if (!grey) QuantTableSegment(h, 1, chromaTable);

  const int components = grey ? 1 : 3;
  Marker(h, kSof0, 8 + 3 * components);
  h.push_back(8);
  Put16(h, m_frame.height);
  Put16(h, m_frame.width);
  h.push_back(static_cast<uint8_t>(components));
  const int lumaSampling = grey ? 0x11 : (m_frame.format == PixelFormat::Yuy2 ? 0x21 : 0x22);
  h.insert(h.end(), {1, static_cast<uint8_t>(lumaSampling), 0});
  if (!grey) {
    h.insert(h.end(), {2, 0x11, 1});
    h.insert(h.end(), {3, 0x11, 1});
  }

  HuffmanSegment(h, 0, 0, LumaDcSpec());
  HuffmanSegment(h, 1, 0, LumaAcSpec());
  if (!grey) {
    HuffmanSegment(h, 0, 1, ChromaDcSpec());
    HuffmanSegment(h, 1, 1, ChromaAcSpec());
  }

  Marker(h, kDri, 4);
  Put16(h, m_rowsPerBand * m_mcuColumns);

  Marker(h, kSos, 6 + 2 * components);
  h.push_back(static_cast<uint8_t>(components));
  h.insert(h.end(), {1, 0x00});
  if (!grey) {
    h.insert(h.end(), {2, 0x11});
    h.insert(h.end(), {3, 0x11});
  }
  h.insert(h.end(), {0, 63, 0});
}

void JpegFrameEncoder::EncodeBand(int band, int worker) {
  WorkerScratch& scratch = m_scratch[static_cast<size_t>(worker)];
  const PixelFormat format = m_frame.format;
  const int mcuWidth = McuWidth(format);
  const int mcuHeight = McuHeight(format);
  const int lumaAcross = mcuWidth / 8;
  const int lumaDown = mcuHeight / 8;
  const bool colour = format != PixelFormat::Grey8;
  const int blocksPerMcu = lumaAcross * lumaDown + (colour ? 2 : 0);
  const int chromaStride = m_paddedWidth / 2;

  JpegBitWriter writer(m_bandBytes[static_cast<size_t>(band)]);
  int lumaPredictor = 0, cbPredictor = 0, crPredictor = 0;
  alignas(16) int16_t coefficients[64];
  const int firstRow = band * m_rowsPerBand;
  const int endRow = std::min(firstRow + m_rowsPerBand, m_mcuRows);
  for (int mcuRow = firstRow; mcuRow < endRow; ++mcuRow) {
    ConvertStrip(m_frame, mcuRow * mcuHeight, m_paddedWidth, scratch.luma.data(), scratch.cb.data(), scratch.cr.data(),
                 scratch.rows.data());
    for (int column = 0; column < m_mcuColumns; ++column) {
      writer.Reserve(kMaxBlockBytes * blocksPerMcu);
      for (int down = 0; down < lumaDown; ++down) {
        for (int across = 0; across < lumaAcross; ++across) {
          const float* samples = scratch.luma.data() + down * 8 * m_paddedWidth + column * mcuWidth + across * 8;
          ForwardDctQuantise(samples, m_paddedWidth, m_lumaQuant, coefficients);
          EncodeBlock(coefficients, lumaPredictor, m_lumaDc, m_lumaAc, writer);
        }
      }
      if (colour) {
        ForwardDctQuantise(scratch.cb.data() + column * 8, chromaStride, m_chromaQuant, coefficients);
        EncodeBlock(coefficients, cbPredictor, m_chromaDc, m_chromaAc, writer);
        ForwardDctQuantise(scratch.cr.data() + column * 8, chromaStride, m_chromaQuant, coefficients);
        EncodeBlock(coefficients, crPredictor, m_chromaDc, m_chromaAc, writer);
      }
    }
  }
  writer.Finish();
}

size_t JpegFrameEncoder::Encode(const uint8_t* data, int quality, uint8_t* out, size_t capacity) {
  PrepareTables(std::clamp(quality, 1, 100));
  m_frame.data = data;
  m_workers.Run(m_bandCount, [this](int band, int worker) { EncodeBand(band, worker); });

  size_t total = m_header.size() + 2;  // EOI
  for (const auto& bytes : m_bandBytes)
    total += bytes.size() + 2;  // RSTn after all but the last: counted for each, one spare
  if (total > capacity) return 0;
  uint8_t* p = out;
  std::memcpy(p, m_header.data(), m_header.size());
  p += m_header.size();
  for (int band = 0; band < m_bandCount; ++band) {
    const auto& bytes = m_bandBytes[static_cast<size_t>(band)];
    std::memcpy(p, bytes.data(), bytes.size());
    p += bytes.size();
    if (band + 1 < m_bandCount) {
      *p++ = 0xFF;
      *p++ = static_cast<uint8_t>(kRst0 + band % 8);
    }
  }
  *p++ = 0xFF;
  *p++ = kEoi;
  return static_cast<size_t>(p - out);
}

}  // namespace tavmjpeg
