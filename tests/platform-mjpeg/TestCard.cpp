#include "tests/platform-mjpeg/TestCard.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tavtest {
namespace {

struct Rgb {
  double r, g, b;
};

double Smooth(double edge0, double edge1, double x) {
  const double t = std::clamp((x - edge0) / (edge1 - edge0), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

Rgb Mix(const Rgb& a, const Rgb& b, double t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

Rgb CardColour(int x, int y, int width, int height, int index) {
  const double pi = 3.14159265358979323846;
  const double fy = static_cast<double>(y) / height;
  Rgb colour = {90 + 70 * fy, 140 + 50 * fy, 225 - 45 * fy};  // sky
  const double sunX = 0.7 * width + 2 * index, sunY = 0.25 * height, radius = 0.12 * height;
  const double distance = std::hypot(x - sunX, y - sunY);
  colour = Mix(colour, {250, 225, 130}, 1 - Smooth(radius, radius + 0.05 * height, distance));
  const double ridge = height * (0.6 + 0.07 * std::sin(2 * pi * 1.5 * x / width + 0.15 * index));
  // Grass: slow colour changes, fine texture in brightness only.
  const double texture = 7 * std::sin(x * 0.8 + y * 0.6) + 5 * std::cos(x * 0.7 - y * 0.9);
  const Rgb grass = {70 + 35 * std::sin(x * 0.045) + texture, 135 + 25 * std::cos(y * 0.06) + texture,
                     55 + 10 * std::sin(y * 0.05) + texture};
  colour = Mix(colour, grass, Smooth(ridge - 4, ridge + 4, y));
  if (y >= height * 9 / 10) {  // grey wedge in eight steps
    const double level = 30 + 28 * (x * 8 / width);
    colour = {level, level, level};
  }
  return colour;
}

unsigned char Byte(double v) { return static_cast<unsigned char>(std::clamp(std::lround(v), 0L, 255L)); }

// Video-range BT.601, as raw YUY2 video is read.
void ToYuv(const Rgb& c, double* y, double* u, double* v) {
  *y = 16 + (0.299 * c.r + 0.587 * c.g + 0.114 * c.b) * 219 / 255;
  *u = 128 + (-0.168736 * c.r - 0.331264 * c.g + 0.5 * c.b) * 224 / 255;
  *v = 128 + (0.5 * c.r - 0.418688 * c.g - 0.081312 * c.b) * 224 / 255;
}

}  // namespace

CardFrame MakeCardFrame(int width, int signedHeight, CardFormat format, int index) {
  const int height = std::abs(signedHeight);
  const int bytesPerPixel = format == CardFormat::Rgb24   ? 3
                            : format == CardFormat::Rgb32 ? 4
                            : format == CardFormat::Grey8 ? 1
                                                          : 2;
  const int stride = (width * bytesPerPixel * 8 + 31) / 32 * 4;
  CardFrame frame;
  frame.pixelFormat = format == CardFormat::Grey8 ? "gray" : format == CardFormat::Yuy2 ? "yuyv422" : "rgb24";
  const int pictureBytes = format == CardFormat::Grey8 ? 1 : format == CardFormat::Yuy2 ? 2 : 3;
  frame.picture.assign(static_cast<size_t>(width) * height * pictureBytes, '\0');
  frame.host.assign(static_cast<size_t>(stride) * height, '\0');
  // Which host row shows picture row y.
  const bool hostFirstRowIsTop = (format == CardFormat::Yuy2) == (signedHeight > 0);
  for (int y = 0; y < height; ++y) {
    char* host = &frame.host[static_cast<size_t>(hostFirstRowIsTop ? y : height - 1 - y) * stride];
    char* picture = &frame.picture[static_cast<size_t>(y) * width * pictureBytes];
    for (int x = 0; x < width; ++x) {
      const Rgb c = CardColour(x, y, width, height, index);
      switch (format) {
        case CardFormat::Rgb24:
        case CardFormat::Rgb32:
          host[x * bytesPerPixel] = static_cast<char>(Byte(c.b));
          host[x * bytesPerPixel + 1] = static_cast<char>(Byte(c.g));
          host[x * bytesPerPixel + 2] = static_cast<char>(Byte(c.r));
          picture[3 * x] = static_cast<char>(Byte(c.r));
          picture[3 * x + 1] = static_cast<char>(Byte(c.g));
          picture[3 * x + 2] = static_cast<char>(Byte(c.b));
          break;
        case CardFormat::Grey8:
          host[x] = picture[x] = static_cast<char>(Byte(0.299 * c.r + 0.587 * c.g + 0.114 * c.b));
          break;
        case CardFormat::Yuy2: {
          // Y0 U Y1 V: each pixel pair carries the chroma of its left pixel.
          double luma = 0, u = 0, v = 0, pairY = 0, pairU = 0, pairV = 0;
          ToYuv(c, &luma, &u, &v);
          ToYuv(CardColour(x - x % 2, y, width, height, index), &pairY, &pairU, &pairV);
          host[2 * x] = picture[2 * x] = static_cast<char>(Byte(luma));
          host[2 * x + 1] = picture[2 * x + 1] = static_cast<char>(Byte(x % 2 == 0 ? pairU : pairV));
          break;
        }
      }
    }
  }
  return frame;
}

}  // namespace tavtest
