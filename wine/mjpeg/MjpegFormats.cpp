#include "wine/mjpeg/MjpegFormats.h"

#include "wine/mjpeg/JpegFrameEncoder.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <cstdlib>

namespace tavmjpeg {
namespace {

constexpr DWORD kYuy2 = MAKEFOURCC('Y', 'U', 'Y', '2');
constexpr DWORD kMjpg = MAKEFOURCC('M', 'J', 'P', 'G');

const VIDEOINFOHEADER* VideoInfoOf(const AM_MEDIA_TYPE& type) {
  if (type.formattype != FORMAT_VideoInfo || type.pbFormat == nullptr || type.cbFormat < sizeof(VIDEOINFOHEADER))
    return nullptr;
  return reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
}

}  // namespace

HRESULT ParseInputType(const AM_MEDIA_TYPE& type, InputFormat* format) {
  if (type.majortype != MEDIATYPE_Video) return VFW_E_TYPE_NOT_ACCEPTED;
  const VIDEOINFOHEADER* info = VideoInfoOf(type);
  if (info == nullptr) return VFW_E_TYPE_NOT_ACCEPTED;
  const BITMAPINFOHEADER& bmi = info->bmiHeader;
  const long width = bmi.biWidth;
  const long height = std::labs(bmi.biHeight);
  if (width <= 0 || height <= 0 || width > kMaxJpegSide || height > kMaxJpegSide) return VFW_E_TYPE_NOT_ACCEPTED;

  InputFormat parsed;
  InputFrame& frame = parsed.frame;
  if (bmi.biCompression == BI_RGB && bmi.biBitCount == 24 && type.subtype == MEDIASUBTYPE_RGB24) {
    frame.format = PixelFormat::Rgb24;
  } else if (bmi.biCompression == BI_RGB && bmi.biBitCount == 32 && type.subtype == MEDIASUBTYPE_RGB32) {
    frame.format = PixelFormat::Rgb32;
  } else if (bmi.biCompression == BI_RGB && bmi.biBitCount == 8 && type.subtype == MEDIASUBTYPE_RGB8) {
    frame.format = PixelFormat::Grey8;
    const DWORD colours = bmi.biClrUsed == 0 ? 256 : bmi.biClrUsed;
    if (colours > 256 || type.cbFormat < sizeof(VIDEOINFOHEADER) + colours * sizeof(RGBQUAD))
      return VFW_E_TYPE_NOT_ACCEPTED;
    const auto* table = reinterpret_cast<const RGBQUAD*>(type.pbFormat + sizeof(VIDEOINFOHEADER));
    for (DWORD i = 0; i < 256; ++i) {
      const RGBQUAD c = i < colours ? table[i] : RGBQUAD{0, 0, 0, 0};
      parsed.greyLevels[i] = 0.299f * c.rgbRed + 0.587f * c.rgbGreen + 0.114f * c.rgbBlue - 128.0f;
    }
  } else if (bmi.biCompression == kYuy2 && bmi.biBitCount == 16 && type.subtype == MEDIASUBTYPE_YUY2 &&
             width % 2 == 0) {
    frame.format = PixelFormat::Yuy2;
  } else {
    return VFW_E_TYPE_NOT_ACCEPTED;
  }
  frame.width = static_cast<int>(width);
  frame.height = static_cast<int>(height);
  frame.stride = static_cast<int>((width * bmi.biBitCount + 31) / 32 * 4);
  // YUV rows are always stored top-down; RGB rows bottom-up unless the
  // height is negative.
  frame.bottomUp = frame.format != PixelFormat::Yuy2 && bmi.biHeight > 0;
  parsed.frameBytes = static_cast<size_t>(frame.stride) * static_cast<size_t>(height);
  parsed.frameTime = info->AvgTimePerFrame;
  if (format != nullptr) *format = parsed;
  return S_OK;
}

long OutputBufferSize(int width, int height) {
  // As large as the frame in 24-bit RGB: JPEG at any useful quality is far
  // smaller; a frame that still does not fit is encoded again coarser.
  return static_cast<long>(width) * height * 3 + 4096;
}

void MakeOutputType(const InputFormat& input, CMediaType* type) {
  type->InitMediaType();
  type->SetType(&MEDIATYPE_Video);
  type->SetSubtype(&MEDIASUBTYPE_MJPG);
  type->SetFormatType(&FORMAT_VideoInfo);
  type->SetTemporalCompression(FALSE);
  type->SetVariableSize();
  auto* info = reinterpret_cast<VIDEOINFOHEADER*>(type->AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
  if (info == nullptr) return;
  info->AvgTimePerFrame = input.frameTime;
  BITMAPINFOHEADER& bmi = info->bmiHeader;
  bmi.biSize = sizeof(BITMAPINFOHEADER);
  bmi.biWidth = input.frame.width;
  bmi.biHeight = input.frame.height;
  bmi.biPlanes = 1;
  bmi.biBitCount = 24;
  bmi.biCompression = kMjpg;
  bmi.biSizeImage = static_cast<DWORD>(OutputBufferSize(input.frame.width, input.frame.height));
}

HRESULT CheckOutputType(const InputFormat& input, const AM_MEDIA_TYPE& type) {
  if (type.majortype != MEDIATYPE_Video) return VFW_E_TYPE_NOT_ACCEPTED;
  if (type.subtype != GUID_NULL && type.subtype != MEDIASUBTYPE_MJPG) return VFW_E_TYPE_NOT_ACCEPTED;
  if (type.formattype == GUID_NULL) return S_OK;
  const VIDEOINFOHEADER* info = VideoInfoOf(type);
  if (info == nullptr || info->bmiHeader.biCompression != kMjpg || info->bmiHeader.biWidth != input.frame.width ||
      std::labs(info->bmiHeader.biHeight) != input.frame.height)
    return VFW_E_TYPE_NOT_ACCEPTED;
  return S_OK;
}

}  // namespace tavmjpeg
