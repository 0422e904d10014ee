#include "wine/mjpeg/FrameSamples.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tavmjpeg {
namespace {

const uint8_t* PictureRow(const InputFrame& frame, int y) {
  y = std::min(y, frame.height - 1);
  const int stored = frame.bottomUp ? frame.height - 1 - y : y;
  return frame.data + static_cast<ptrdiff_t>(stored) * frame.stride;
}

// Repeats element `valid - 1` up to `padded`.
void PadRow(float* row, int valid, int padded) { std::fill(row + valid, row + padded, row[valid - 1]); }

// Four packed pixels (blue in the low byte) as three float vectors.
inline void Unpack(__m128i pixels, float* r, float* g, float* b) {
  const __m128i byteMask = _mm_set1_epi32(0xFF);
  _mm_storeu_ps(b, _mm_cvtepi32_ps(_mm_and_si128(pixels, byteMask)));
  _mm_storeu_ps(g, _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 8), byteMask)));
  _mm_storeu_ps(r, _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(pixels, 16), byteMask)));
}

void RgbRow(const InputFrame& frame, const uint8_t* src, int paddedWidth, float* r, float* g, float* b) {
  const int width = frame.width;
  int x = 0;
  if (frame.format == PixelFormat::Rgb32) {
    for (; x + 4 <= width; x += 4)
      Unpack(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * x)), r + x, g + x, b + x);
    for (; x < width; ++x) b[x] = src[4 * x], g[x] = src[4 * x + 1], r[x] = src[4 * x + 2];
  } else {
    // Four 3-byte pixels read as 32-bit words; each word's fourth byte
    // belongs to the next pixel, so the last pixel of a row is read
    // byte by byte (never past the row).
    for (; x + 5 <= width; x += 4) {
      int32_t words[4];
      for (int i = 0; i < 4; ++i) std::memcpy(&words[i], src + 3 * (x + i), 4);
      Unpack(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words)), r + x, g + x, b + x);
    }
    for (; x < width; ++x) b[x] = src[3 * x], g[x] = src[3 * x + 1], r[x] = src[3 * x + 2];
  }
  PadRow(r, width, paddedWidth);
  PadRow(g, width, paddedWidth);
  PadRow(b, width, paddedWidth);
}

inline __m128 Weighted(__m128 r, __m128 g, __m128 b, float kr, float kg, float kb) {
  return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r, _mm_set1_ps(kr)), _mm_mul_ps(g, _mm_set1_ps(kg))),
                    _mm_mul_ps(b, _mm_set1_ps(kb)));
}

// Sums of horizontally neighbouring pairs: out[i] = in[2i] + in[2i + 1].
inline __m128 PairSums(const float* in) {
  const __m128 a = _mm_loadu_ps(in);
  const __m128 b = _mm_loadu_ps(in + 4);
  return _mm_add_ps(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
}

void RgbStrip(const InputFrame& frame, int firstRow, int paddedWidth, float* luma, float* cb, float* cr,
              float* scratch) {
  float* r[2] = {scratch, scratch + paddedWidth};
  float* g[2] = {scratch + 2 * paddedWidth, scratch + 3 * paddedWidth};
  float* b[2] = {scratch + 4 * paddedWidth, scratch + 5 * paddedWidth};
  const __m128 shift = _mm_set1_ps(128.0f);
  const __m128 quarter = _mm_set1_ps(0.25f);
  for (int pair = 0; pair < 8; ++pair) {
    for (int i = 0; i < 2; ++i) {
      const int row = 2 * pair + i;
      RgbRow(frame, PictureRow(frame, firstRow + row), paddedWidth, r[i], g[i], b[i]);
      float* y = luma + row * paddedWidth;
      for (int x = 0; x < paddedWidth; x += 4) {
        const __m128 value =
            Weighted(_mm_loadu_ps(r[i] + x), _mm_loadu_ps(g[i] + x), _mm_loadu_ps(b[i] + x), 0.299f, 0.587f, 0.114f);
        _mm_storeu_ps(y + x, _mm_sub_ps(value, shift));
      }
    }
    // Chroma of each 2x2 square from its average colour.
    for (int x = 0; x < paddedWidth; x += 4) {
      _mm_storeu_ps(r[0] + x, _mm_add_ps(_mm_loadu_ps(r[0] + x), _mm_loadu_ps(r[1] + x)));
      _mm_storeu_ps(g[0] + x, _mm_add_ps(_mm_loadu_ps(g[0] + x), _mm_loadu_ps(g[1] + x)));
      _mm_storeu_ps(b[0] + x, _mm_add_ps(_mm_loadu_ps(b[0] + x), _mm_loadu_ps(b[1] + x)));
    }
    float* cbRow = cb + pair * (paddedWidth / 2);
    float* crRow = cr + pair * (paddedWidth / 2);
    for (int x = 0; x < paddedWidth; x += 8) {
      const __m128 rs = _mm_mul_ps(PairSums(r[0] + x), quarter);
      const __m128 gs = _mm_mul_ps(PairSums(g[0] + x), quarter);
      const __m128 bs = _mm_mul_ps(PairSums(b[0] + x), quarter);
      _mm_storeu_ps(cbRow + x / 2, Weighted(rs, gs, bs, -0.168736f, -0.331264f, 0.5f));
      _mm_storeu_ps(crRow + x / 2, Weighted(rs, gs, bs, 0.5f, -0.418688f, -0.081312f));
    }
  }
}

void GreyStrip(const InputFrame& frame, int firstRow, int paddedWidth, float* luma) {
  for (int row = 0; row < 8; ++row) {
    const uint8_t* src = PictureRow(frame, firstRow + row);
    float* y = luma + row * paddedWidth;
    for (int x = 0; x < frame.width; ++x) y[x] = frame.greyLevels[src[x]];
    PadRow(y, frame.width, paddedWidth);
  }
}

void Yuy2Strip(const InputFrame& frame, int firstRow, int paddedWidth, float* luma, float* cb, float* cr) {
  // Video range (16-235, 16-240) to full range, centred on 0.
  const float lumaScale = 255.0f / 219.0f;
  const float chromaScale = 255.0f / 224.0f;
  const __m128 yScale = _mm_set1_ps(lumaScale);
  const __m128 yOffset = _mm_set1_ps(-16.0f * lumaScale - 128.0f);
  const __m128 cScale = _mm_set1_ps(chromaScale);
  const __m128 cOffset = _mm_set1_ps(-128.0f * chromaScale);
  const __m128i lowByte = _mm_set1_epi16(0xFF);
  const __m128i lowWord = _mm_set1_epi32(0xFFFF);
  const __m128i zero = _mm_setzero_si128();
  const int width = frame.width;
  const int chromaWidth = paddedWidth / 2;
  for (int row = 0; row < 8; ++row) {
    const uint8_t* src = PictureRow(frame, firstRow + row);
    float* y = luma + row * paddedWidth;
    float* u = cb + row * chromaWidth;
    float* v = cr + row * chromaWidth;
    int x = 0;
    for (; x + 8 <= width; x += 8) {
      const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * x));
      const __m128i lumaWords = _mm_and_si128(pixels, lowByte);
      const __m128i chromaWords = _mm_srli_epi16(pixels, 8);  // U V U V ...
      const __m128 y0 = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lumaWords, zero));
      const __m128 y1 = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lumaWords, zero));
      _mm_storeu_ps(y + x, _mm_add_ps(_mm_mul_ps(y0, yScale), yOffset));
      _mm_storeu_ps(y + x + 4, _mm_add_ps(_mm_mul_ps(y1, yScale), yOffset));
      const __m128 us = _mm_cvtepi32_ps(_mm_and_si128(chromaWords, lowWord));
      const __m128 vs = _mm_cvtepi32_ps(_mm_srli_epi32(chromaWords, 16));
      _mm_storeu_ps(u + x / 2, _mm_add_ps(_mm_mul_ps(us, cScale), cOffset));
      _mm_storeu_ps(v + x / 2, _mm_add_ps(_mm_mul_ps(vs, cScale), cOffset));
    }
    for (; x + 2 <= width; x += 2) {
      const uint8_t* p = src + 2 * x;
      y[x] = p[0] * lumaScale - 16.0f * lumaScale - 128.0f;
      y[x + 1] = p[2] * lumaScale - 16.0f * lumaScale - 128.0f;
      u[x / 2] = (p[1] - 128.0f) * chromaScale;
      v[x / 2] = (p[3] - 128.0f) * chromaScale;
    }
    PadRow(y, width, paddedWidth);
    PadRow(u, width / 2, chromaWidth);
    PadRow(v, width / 2, chromaWidth);
  }
}

}  // namespace

int McuWidth(PixelFormat format) { return format == PixelFormat::Grey8 ? 8 : 16; }

int McuHeight(PixelFormat format) { return format == PixelFormat::Grey8 || format == PixelFormat::Yuy2 ? 8 : 16; }

void ConvertStrip(const InputFrame& frame, int firstRow, int paddedWidth, float* luma, float* cb, float* cr,
                  float* scratch) {
  switch (frame.format) {
    case PixelFormat::Rgb24:
    case PixelFormat::Rgb32:
      RgbStrip(frame, firstRow, paddedWidth, luma, cb, cr, scratch);
      break;
    case PixelFormat::Grey8:
      GreyStrip(frame, firstRow, paddedWidth, luma);
      break;
    case PixelFormat::Yuy2:
      Yuy2Strip(frame, firstRow, paddedWidth, luma, cb, cr);
      break;
  }
}

}  // namespace tavmjpeg
