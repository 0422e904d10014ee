// Defined conversions of the host's frame geometry and rate into the frame
// header and frame duration, shared by the raw frame filter and its pin.
#pragma once

#include <windows.h>

namespace framegeometry {

// Largest width or height taken, in pixels. Larger values (and a width that
// does not fit a LONG) are clamped to it, which keeps every row stride and
// image size well inside 32 bits (16,384 x 16,384 x 4 bytes = 1 GiB).
constexpr LONG kMaxDimension = 16384;

// Frame duration for a rate, in 100-ns units, as 10,000,000 / fps
// truncated. A rate that is not a positive number (NaN, zero, negative)
// gives 10,000,000 (one frame per second, the pin's default); the result is
// kept between 1 (rates above 10,000,000 fps, infinity included) and
// kMaxFrameDuration (one frame per day, for tiny rates), so it always
// converts to a 64-bit integer and never divides by zero.
constexpr LONGLONG kMaxFrameDuration = 864000000000LL;
LONGLONG FrameDurationFromRate(double fps);

// Width clamped to 0..kMaxDimension.
LONG ClampWidth(UINT width);
// |height| clamped to 0..kMaxDimension (INT_MIN included).
LONG ClampHeight(int height);

// Row stride of the copy: biWidth * (biBitCount / 8) rounded up to 4.
LONG RowStride(const BITMAPINFOHEADER& bmi);

}  // namespace framegeometry
