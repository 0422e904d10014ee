#include "filters/FrameGeometry.h"

#include <cmath>

namespace framegeometry {

LONGLONG FrameDurationFromRate(double fps) {
  if (!(fps > 0.0)) return 10000000;  // NaN, zero or negative
  double d = 10000000.0 / fps;
  if (!(d >= 1.0)) return 1;  // very high rates, infinity
  if (d >= static_cast<double>(kMaxFrameDuration)) return kMaxFrameDuration;
  return static_cast<LONGLONG>(d);  // truncation, in range
}

LONG ClampWidth(UINT width) {
  return width > static_cast<UINT>(kMaxDimension) ? kMaxDimension : static_cast<LONG>(width);
}

LONG ClampHeight(int height) {
  long long magnitude = height < 0 ? -static_cast<long long>(height) : height;
  return magnitude > kMaxDimension ? kMaxDimension : static_cast<LONG>(magnitude);
}

LONG RowStride(const BITMAPINFOHEADER& bmi) { return (bmi.biWidth * (bmi.biBitCount / 8) + 3) & ~3; }

}  // namespace framegeometry
