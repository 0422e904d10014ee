// The media types of the MJPEG compressor.
//
// Input: MEDIATYPE_Video / FORMAT_VideoInfo with
//   RGB24, RGB32 (BI_RGB; biHeight > 0 bottom-up, < 0 top-down),
//   RGB8 (BI_RGB, 8 bits, a colour table; its luminance is encoded),
//   YUY2 (even width; rows top-down).
// Output: MEDIATYPE_Video / MEDIASUBTYPE_MJPG / FORMAT_VideoInfo, biCompression
// 'MJPG', the input's size (positive height) and frame time, samples of
// varying size up to biSizeImage, no temporal compression.
// Plain functions; any thread.
#pragma once

#include "framework/MediaType.h"
#include "wine/mjpeg/FrameSamples.h"

#include <array>

namespace tavmjpeg {

// What an accepted input type describes.
struct InputFormat {
  InputFrame frame;                     // geometry and layout (data null)
  std::array<float, 256> greyLevels{};  // Grey8: palette luminance - 128
  size_t frameBytes = 0;                // bytes one sample must hold at least
  REFERENCE_TIME frameTime = 0;         // AvgTimePerFrame
};

// S_OK and the format when the compressor takes the type, else
// VFW_E_TYPE_NOT_ACCEPTED.
HRESULT ParseInputType(const AM_MEDIA_TYPE& type, InputFormat* format);

// Bytes the output buffers hold for a frame of this size.
long OutputBufferSize(int width, int height);

// The output type for an input format.
void MakeOutputType(const InputFormat& input, CMediaType* type);

// S_OK when `type` is the output type for this input (a null subtype or
// format type counts as a match), else VFW_E_TYPE_NOT_ACCEPTED.
HRESULT CheckOutputType(const InputFormat& input, const AM_MEDIA_TYPE& type);

}  // namespace tavmjpeg
