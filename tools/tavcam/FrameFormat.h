// The layout of one camera frame as the shared test card paints it and
// TavMovieMaker.dll takes it (the writer is set up with a positive height):
// rows bottom-up, each padded to 4 bytes.
#pragma once

#include <TestCard.h>

struct FrameFormat {
  int width = 0;
  int height = 0;
  unsigned pixelFormat = 0;  // TAVMM_PIXEL_RGB24, _RGB32, _GREY8 or _YUY2

  int Stride() const { return static_cast<int>(TavTestCardStride(width, pixelFormat)); }
  unsigned Bytes() const { return static_cast<unsigned>(TavTestCardFrameBytes(width, height, pixelFormat)); }
};
