// A natural-looking test card (sky, a soft sun, hills with grass texture, a
// grey wedge) and its frames as a host hands them to TavMovieMaker.dll in
// each pixel format, plus the same picture as tight top-down raw video that
// ffmpeg reads to compare decoded frames against.
// Plain functions; any thread.
#pragma once

#include <string>

namespace tavtest {

// Pixel-format codes of TavMovieMakerInitEx.
enum class CardFormat { Rgb24 = 0, Rgb32 = 1, Grey8 = 2, Yuy2 = 3 };

struct CardFrame {
  std::string host;              // rows as the host passes them for InitEx's signed height
  std::string picture;           // top-down, rows without padding, in `pixelFormat`
  const char* pixelFormat = "";  // ffmpeg's name: rgb24, gray or yuyv422
};

// Frame `index` (the sun and hills move a little per frame) for a writer set
// up with `signedHeight` (negative: the host's first row is the picture's
// top for RGB and grey; YUY2 rows run the other way round).
CardFrame MakeCardFrame(int width, int signedHeight, CardFormat format, int index);

}  // namespace tavtest
