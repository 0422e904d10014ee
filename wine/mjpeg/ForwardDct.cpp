#include "wine/mjpeg/ForwardDct.h"

#include "wine/mjpeg/JpegTables.h"

#include <emmintrin.h>

#include <cmath>

namespace tavmjpeg {
namespace {

// Rows of the one-dimensional orthonormal DCT-II:
// M[u][x] = 1/2 * C(u) * cos((2x + 1) u pi / 16), C(0) = 1/sqrt(2), else 1.
// Applied down the columns and then across the rows it gives the 2-D
// transform with its 1/4 C(u) C(v) factor.
struct CosineMatrix {
  float m[8][8];
  CosineMatrix() {
    const double pi = 3.14159265358979323846;
    for (int u = 0; u < 8; ++u)
      for (int x = 0; x < 8; ++x)
        m[u][x] = static_cast<float>(0.5 * (u == 0 ? std::sqrt(0.5) : 1.0) * std::cos((2 * x + 1) * u * pi / 16));
  }
};

const CosineMatrix& Cosines() {
  static const CosineMatrix matrix;
  return matrix;
}

// One pass down the columns of eight rows of four lanes: out[u] = sum over x
// of M[u][x] * in[x]. cos is symmetric about x = 3.5 for even u and
// antisymmetric for odd u, so sums feed the even rows and differences the odd.
inline void ColumnPass(const __m128 in[8], __m128 out[8], const __m128 k[8][4]) {
  __m128 s[4], d[4];
  for (int x = 0; x < 4; ++x) {
    s[x] = _mm_add_ps(in[x], in[7 - x]);
    d[x] = _mm_sub_ps(in[x], in[7 - x]);
  }
  for (int u = 0; u < 8; ++u) {
    const __m128* v = (u % 2 == 0) ? s : d;
    __m128 sum = _mm_mul_ps(k[u][0], v[0]);
    sum = _mm_add_ps(sum, _mm_mul_ps(k[u][1], v[1]));
    sum = _mm_add_ps(sum, _mm_mul_ps(k[u][2], v[2]));
    sum = _mm_add_ps(sum, _mm_mul_ps(k[u][3], v[3]));
    out[u] = sum;
  }
}

// Transposes an 8x8 block held as left[row] (columns 0-3) and right[row]
// (columns 4-7).
inline void Transpose(__m128 left[8], __m128 right[8]) {
  __m128 a0 = left[0], a1 = left[1], a2 = left[2], a3 = left[3];
  __m128 b0 = right[0], b1 = right[1], b2 = right[2], b3 = right[3];
  __m128 c0 = left[4], c1 = left[5], c2 = left[6], c3 = left[7];
  __m128 d0 = right[4], d1 = right[5], d2 = right[6], d3 = right[7];
  _MM_TRANSPOSE4_PS(a0, a1, a2, a3);
  _MM_TRANSPOSE4_PS(b0, b1, b2, b3);
  _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
  _MM_TRANSPOSE4_PS(d0, d1, d2, d3);
  // Top-left stays, bottom-right stays, the other two swap.
  left[0] = a0, left[1] = a1, left[2] = a2, left[3] = a3;
  right[0] = c0, right[1] = c1, right[2] = c2, right[3] = c3;
  left[4] = b0, left[5] = b1, left[6] = b2, left[7] = b3;
  right[4] = d0, right[5] = d1, right[6] = d2, right[7] = d3;
}

struct Broadcasts {
  __m128 k[8][4];
  Broadcasts() {
    for (int u = 0; u < 8; ++u)
      for (int x = 0; x < 4; ++x) k[u][x] = _mm_set1_ps(Cosines().m[u][x]);
  }
};

}  // namespace

Quantiser MakeQuantiser(const std::array<uint8_t, 64>& table) {
  // The two passes leave the coefficient of vertical frequency u and
  // horizontal frequency v at index v * 8 + u (transposed).
  Quantiser q{};
  for (int n = 0; n < 64; ++n) {
    const int transposed = (n % 8) * 8 + n / 8;
    q.reciprocal[transposed] = 1.0f / table[n];
  }
  for (int k = 0; k < 64; ++k) {
    const int n = kZigZag[k];
    q.outputIndex[k] = static_cast<uint8_t>((n % 8) * 8 + n / 8);
  }
  return q;
}

void ForwardDctQuantise(const float* samples, int stride, const Quantiser& quantiser, int16_t out[64]) {
  static const Broadcasts constants;
  __m128 left[8], right[8], tl[8], tr[8];
  for (int y = 0; y < 8; ++y) {
    left[y] = _mm_loadu_ps(samples + y * stride);
    right[y] = _mm_loadu_ps(samples + y * stride + 4);
  }
  ColumnPass(left, tl, constants.k);
  ColumnPass(right, tr, constants.k);
  Transpose(tl, tr);
  ColumnPass(tl, left, constants.k);
  ColumnPass(tr, right, constants.k);

  // Baseline coefficients have at most 10 magnitude bits (11 for DC
  // differences); rounding could reach 1024.
  const __m128i limit = _mm_set1_epi16(1023);
  const __m128i negativeLimit = _mm_set1_epi16(-1023);
  alignas(16) int16_t natural[64];
  for (int row = 0; row < 8; ++row) {
    const __m128i lo = _mm_cvtps_epi32(_mm_mul_ps(left[row], _mm_load_ps(quantiser.reciprocal + row * 8)));
    const __m128i hi = _mm_cvtps_epi32(_mm_mul_ps(right[row], _mm_load_ps(quantiser.reciprocal + row * 8 + 4)));
    const __m128i packed = _mm_max_epi16(_mm_min_epi16(_mm_packs_epi32(lo, hi), limit), negativeLimit);
    _mm_store_si128(reinterpret_cast<__m128i*>(natural + row * 8), packed);
  }
  for (int k = 0; k < 64; ++k) out[k] = natural[quantiser.outputIndex[k]];
}

}  // namespace tavmjpeg
