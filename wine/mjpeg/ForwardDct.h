// The forward 8x8 DCT of one block of level-shifted samples and its
// quantisation, with SSE2 (four columns at a time, even and odd halves of
// the cosine matrix separated by its symmetry).
// Plain functions; any thread.
#pragma once

#include <array>
#include <cstdint>

namespace tavmjpeg {

// Quantiser of one table, laid out as ForwardDctQuantise reads it.
struct Quantiser {
  alignas(16) float reciprocal[64];  // 1/step, in the transform's output order
  uint8_t outputIndex[64];           // zig-zag position k -> transform output index
};

// Builds the quantiser for a table given in natural order.
Quantiser MakeQuantiser(const std::array<uint8_t, 64>& table);

// Transforms the 8x8 samples at `samples` (rows `stride` floats apart,
// already shifted to be centred on 0) and writes the quantised
// coefficients in zig-zag order.
void ForwardDctQuantise(const float* samples, int stride, const Quantiser& quantiser, int16_t out[64]);

}  // namespace tavmjpeg
