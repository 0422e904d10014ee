#include "tools/tavcam/Preview.h"

#include <TavMovieMaker.h>

#include <algorithm>

namespace {

unsigned char Clamp(int v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); }

// GDI cannot paint YUY2: every pair of pixels (Y0 U Y1 V) becomes two 32-bit
// BGRx pixels (BT.601, studio range).
void Yuy2ToRgb32(const unsigned char* src, const FrameFormat& format, unsigned char* dst) {
  for (int y = 0; y < format.height; ++y) {
    const unsigned char* in = src + static_cast<size_t>(y) * format.Stride();
    unsigned char* out = dst + static_cast<size_t>(y) * format.width * 4;
    for (int x = 0; x + 1 < format.width; x += 2, in += 4) {
      const int u = in[1] - 128, v = in[3] - 128;
      for (int k = 0; k < 2; ++k, out += 4) {
        const int c = 298 * (in[k * 2] - 16);
        out[0] = Clamp((c + 516 * u + 128) >> 8);
        out[1] = Clamp((c - 100 * u - 208 * v + 128) >> 8);
        out[2] = Clamp((c + 409 * v + 128) >> 8);
        out[3] = 0;
      }
    }
  }
}

}  // namespace

void Preview::Store(const unsigned char* frame, const FrameFormat& format) {
  {
    std::lock_guard<std::mutex> lock(lock_);
    format_ = format;
    frame_.assign(frame, frame + format.Bytes());
  }
  // Safe from any thread: the UI thread repaints when it gets to it, and
  // repaints pending at once merge into one.
  if (window_) InvalidateRect(window_, nullptr, FALSE);
}

void Preview::Paint(HDC dc, const RECT& area) {
  const int areaWidth = area.right - area.left, areaHeight = area.bottom - area.top;
  std::lock_guard<std::mutex> lock(lock_);
  if (frame_.empty() || format_.width <= 0 || format_.height <= 0) {
    FillRect(dc, &area, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    return;
  }
  // A BITMAPINFO with room for the 256-entry grey palette of 8-bit frames.
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD palette[256];
  } info = {};
  info.header.biSize = sizeof(info.header);
  info.header.biWidth = format_.width;
  info.header.biHeight = format_.height;  // positive: rows bottom-up
  info.header.biPlanes = 1;
  info.header.biCompression = BI_RGB;
  const unsigned char* bits = frame_.data();
  switch (format_.pixelFormat) {
    case TAVMM_PIXEL_GREY8:
      info.header.biBitCount = 8;
      info.header.biClrUsed = 256;
      for (int i = 0; i < 256; ++i) info.palette[i] = RGBQUAD{BYTE(i), BYTE(i), BYTE(i), 0};
      break;
    case TAVMM_PIXEL_YUY2:
      rgb_.resize(static_cast<size_t>(format_.width) * format_.height * 4);
      Yuy2ToRgb32(frame_.data(), format_, rgb_.data());
      info.header.biBitCount = 32;
      bits = rgb_.data();
      break;
    case TAVMM_PIXEL_RGB32:
      info.header.biBitCount = 32;
      break;
    default:
      info.header.biBitCount = 24;
      break;
  }
  // Fit the frame into the area, keeping its shape; black bars fill the rest.
  int width = areaWidth, height = MulDiv(areaWidth, format_.height, format_.width);
  if (height > areaHeight) {
    height = areaHeight;
    width = MulDiv(areaHeight, format_.width, format_.height);
  }
  const int left = area.left + (areaWidth - width) / 2, top = area.top + (areaHeight - height) / 2;
  HRGN outside = CreateRectRgnIndirect(&area);
  HRGN picture = CreateRectRgn(left, top, left + width, top + height);
  CombineRgn(outside, outside, picture, RGN_DIFF);
  FillRgn(dc, outside, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  DeleteObject(picture);
  DeleteObject(outside);
  SetStretchBltMode(dc, HALFTONE);
  SetBrushOrgEx(dc, 0, 0, nullptr);
  StretchDIBits(dc, left, top, width, height, 0, 0, format_.width, format_.height, bits,
                reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS, SRCCOPY);
}
