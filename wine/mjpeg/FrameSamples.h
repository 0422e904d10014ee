// Turns rows of an input frame into the planar, level-shifted samples the
// DCT takes, one strip of MCU rows at a time:
//   Rgb24 / Rgb32  -> Y, and Cb and Cr averaged over 2x2 pixels (4:2:0)
//   Yuy2           -> Y, Cb, Cr at half width (4:2:2), video range widened
//                     to the full range JPEG uses
//   Grey8          -> Y only, through the palette's luminance (4:0:0)
// Pixels past the right and bottom edges repeat the last column and row.
// Colour conversion runs four pixels at a time with SSE2.
// Plain functions; any thread, each with its own output planes.
#pragma once

#include <cstdint>

namespace tavmjpeg {

enum class PixelFormat { Rgb24, Rgb32, Grey8, Yuy2 };

// One input frame as the input pin describes it.
struct InputFrame {
  PixelFormat format = PixelFormat::Rgb24;
  int width = 0;
  int height = 0;                     // picture rows, always positive
  int stride = 0;                     // bytes from one stored row to the next
  bool bottomUp = true;               // the first stored row is the picture's bottom
  const float* greyLevels = nullptr;  // Grey8: 256 luminance values, already shifted by -128
  const uint8_t* data = nullptr;
};

// Picture size of one MCU for the format (16x16, 16x8 or 8x8).
int McuWidth(PixelFormat format);
int McuHeight(PixelFormat format);

// Fills the planes for picture rows firstRow .. firstRow + McuHeight - 1:
// luma is `paddedWidth` floats wide, chroma paddedWidth / 2 (and McuHeight
// or McuHeight / 2 rows, as the format subsamples). `scratch` holds
// 6 * paddedWidth floats.
void ConvertStrip(const InputFrame& frame, int firstRow, int paddedWidth, float* luma, float* cb, float* cr,
                  float* scratch);

}  // namespace tavmjpeg
