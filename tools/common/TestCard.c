/* The test card, painted one picture row at a time into an RGB row and then
 * converted into the frame's pixel format at its row in memory. */
#include "TestCard.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kGlyphWidth = 5, kGlyphHeight = 7, kCell = kGlyphWidth + 1, kLongestLine = 12 };

/* 5x7 glyphs, one byte per row, top row first, bit 4 the leftmost pixel. The
 * zero is slashed so that it never reads as a letter. */
static const char kGlyphChars[] = "0123456789:. FRAME";
static const unsigned char kGlyphs[][kGlyphHeight] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},
    {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}, {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C},
    {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10},
    {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}, {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11},
    {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}, {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F},
};

/* White, yellow, cyan, green, magenta, red, blue (R, G, B). */
static const unsigned char kBars[7][3] = {{235, 235, 235}, {235, 235, 16}, {16, 235, 235}, {16, 235, 16},
                                          {235, 16, 235},  {235, 16, 16},  {16, 16, 235}};

static const unsigned char* GlyphOf(char c) {
  const char* at = strchr(kGlyphChars, c);
  return kGlyphs[at && c ? at - kGlyphChars : 12];
}

static int BitsPerPixel(unsigned pixelFormat) {
  static const int bits[] = {24, 32, 8, 16};
  return pixelFormat < 4 ? bits[pixelFormat] : 0;
}

size_t TavTestCardStride(int width, unsigned pixelFormat) {
  const int bits = BitsPerPixel(pixelFormat);
  if (bits == 0 || width < 1 || width > (1 << 20)) return 0;
  return ((size_t)width * bits + 31) / 32 * 4;
}

size_t TavTestCardFrameBytes(int width, int height, unsigned pixelFormat) {
  const size_t stride = TavTestCardStride(width, pixelFormat);
  if (stride == 0 || height < 1 || (size_t)height > 0x7FFFFFFF / stride) return 0;
  return stride * (size_t)height;
}

/* Where the text goes, in picture coordinates (y from the top). */
typedef struct {
  int scale; /* pixels per glyph dot */
  int boxX, boxY, boxW, boxH;
  int lineY[2]; /* top of each text line */
  int lineX[2]; /* left of each text line */
  char text[2][kLongestLine + 1];
} TextLayout;

static void LayOutText(TextLayout* t, int width, int height, long long frameNumber, long long timeMs) {
  if (frameNumber < 0) frameNumber = 0;
  if (timeMs < 0) timeMs = 0;
  snprintf(t->text[0], sizeof t->text[0], "FRAME %06lld", frameNumber % 1000000);
  snprintf(t->text[1], sizeof t->text[1], "%02lld:%02lld.%03lld", timeMs / 60000 % 100, timeMs / 1000 % 60,
           timeMs % 1000);
  /* Two lines with a gap of half a line fill at most 90% of the width and
   * 60% of the height. */
  int scale = width * 9 / 10 / (kLongestLine * kCell);
  const int byHeight = height * 6 / 10 / (2 * kGlyphHeight + 4);
  if (byHeight < scale) scale = byHeight;
  if (scale < 1) scale = 1;
  t->scale = scale;
  const int lineHeight = kGlyphHeight * scale, gap = 4 * scale, pad = 2 * scale;
  const int textH = 2 * lineHeight + gap;
  const int top = (height - textH) / 2;
  for (int i = 0; i < 2; ++i) {
    const int textW = (int)strlen(t->text[i]) * kCell * scale - scale;
    t->lineX[i] = (width - textW) / 2;
    t->lineY[i] = top + i * (lineHeight + gap);
  }
  const int longestW = kLongestLine * kCell * scale - scale;
  t->boxX = (width - longestW) / 2 - pad;
  t->boxY = top - pad;
  t->boxW = longestW + 2 * pad;
  t->boxH = textH + 2 * pad;
}

static void Fill(unsigned char* rgb, int width, int from, int to, unsigned char r, unsigned char g, unsigned char b) {
  if (from < 0) from = 0;
  if (to > width) to = width;
  for (int x = from; x < to; ++x) {
    rgb[3 * x] = r;
    rgb[3 * x + 1] = g;
    rgb[3 * x + 2] = b;
  }
}

static void PaintRow(unsigned char* rgb, int width, int height, int y, long long frameNumber, const TextLayout* t) {
  if (y < height * 2 / 3) {
    for (int bar = 0; bar < 7; ++bar)
      Fill(rgb, width, bar * width / 7, (bar + 1) * width / 7, kBars[bar][0], kBars[bar][1], kBars[bar][2]);
  } else {
    for (int x = 0; x < width; ++x) {
      const unsigned char grey = (unsigned char)(width > 1 ? x * 255 / (width - 1) : 128);
      Fill(rgb, width, x, x + 1, grey, grey, grey);
    }
    const int step = width / 64 > 0 ? width / 64 : 1, markerW = width / 32 > 2 ? width / 32 : 2;
    const int markerX = (int)((frameNumber < 0 ? 0 : frameNumber) * step % width);
    Fill(rgb, width, markerX, markerX + markerW, 255, 0, 0);
    if (markerX + markerW > width) Fill(rgb, width, 0, markerX + markerW - width, 255, 0, 0);
  }
  if (y < t->boxY || y >= t->boxY + t->boxH) return;
  Fill(rgb, width, t->boxX, t->boxX + t->boxW, 0, 0, 0);
  for (int line = 0; line < 2; ++line) {
    const int glyphRow = (y - t->lineY[line]) / t->scale;
    if (y < t->lineY[line] || glyphRow >= kGlyphHeight) continue;
    for (int i = 0; t->text[line][i]; ++i) {
      const unsigned char bits = GlyphOf(t->text[line][i])[glyphRow];
      const int left = t->lineX[line] + i * kCell * t->scale;
      for (int dot = 0; dot < kGlyphWidth; ++dot)
        if (bits & (0x10 >> dot)) Fill(rgb, width, left + dot * t->scale, left + (dot + 1) * t->scale, 255, 255, 255);
    }
  }
}

/* BT.601 studio range, as players read YUY2. */
static unsigned char LumaY(const unsigned char* p) {
  return (unsigned char)(((66 * p[0] + 129 * p[1] + 25 * p[2] + 128) >> 8) + 16);
}

static void ConvertRow(const unsigned char* rgb, int width, unsigned pixelFormat, unsigned char* out) {
  for (int x = 0; x < width; ++x) {
    const unsigned char* p = rgb + 3 * x;
    switch (pixelFormat) {
      case 0:
        out[3 * x] = p[2], out[3 * x + 1] = p[1], out[3 * x + 2] = p[0];
        break;
      case 1:
        out[4 * x] = p[2], out[4 * x + 1] = p[1], out[4 * x + 2] = p[0], out[4 * x + 3] = 0;
        break;
      case 2:
        out[x] = (unsigned char)((77 * p[0] + 150 * p[1] + 29 * p[2] + 128) >> 8);
        break;
      case 3:
        if (x % 2 == 0) {
          /* One U and V for the pair, from its two pixels (the last pixel of
           * an odd width pairs with itself). */
          const unsigned char* q = x + 1 < width ? p + 3 : p;
          const int r = p[0] + q[0], g = p[1] + q[1], b = p[2] + q[2];
          out[2 * x] = LumaY(p);
          out[2 * x + 1] = (unsigned char)(((-38 * r - 74 * g + 112 * b + 256) >> 9) + 128);
          out[2 * x + 2] = LumaY(q);
          out[2 * x + 3] = (unsigned char)(((112 * r - 94 * g - 18 * b + 256) >> 9) + 128);
        }
        break;
    }
  }
}

int TavTestCardPaint(unsigned char* frame, int width, int height, unsigned pixelFormat, long long frameNumber,
                     long long timeMs) {
  const size_t stride = TavTestCardStride(width, pixelFormat);
  if (TavTestCardFrameBytes(width, height, pixelFormat) == 0) return 0;
  /* One spare pixel so the YUY2 pair of an odd width reads inside the row. */
  unsigned char* rgb = malloc(3 * ((size_t)width + 1));
  if (!rgb) return 0;
  TextLayout text;
  LayOutText(&text, width, height, frameNumber, timeMs);
  for (int y = 0; y < height; ++y) {
    const int row = pixelFormat == 3 ? y : height - 1 - y;
    unsigned char* out = frame + (size_t)row * stride;
    memset(out, 0, stride);
    PaintRow(rgb, width, height, y, frameNumber, &text);
    ConvertRow(rgb, width, pixelFormat, out);
  }
  free(rgb);
  return 1;
}
