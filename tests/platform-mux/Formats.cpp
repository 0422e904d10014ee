#include "Formats.h"

#include <ks.h>
#include <ksmedia.h>

#include <cstring>

namespace muxtest {

std::uint32_t DibSize(int width, int height, int bits) {
  return static_cast<std::uint32_t>((width * bits + 31) / 32 * 4 * (height < 0 ? -height : height));
}

std::vector<std::uint8_t> BitmapFormat(int width, int height, int bits, DWORD compression) {
  BITMAPINFOHEADER bih = {};
  bih.biSize = sizeof bih;
  bih.biWidth = width;
  bih.biHeight = height;
  bih.biPlanes = 1;
  bih.biBitCount = static_cast<WORD>(bits);
  bih.biCompression = compression;
  bih.biSizeImage = DibSize(width, height, bits);
  if (bits == 8) bih.biClrUsed = bih.biClrImportant = 256;
  std::vector<std::uint8_t> bytes(sizeof bih);
  std::memcpy(bytes.data(), &bih, sizeof bih);
  if (bits == 8) {
    for (int i = 0; i < 256; ++i) {
      RGBQUAD q = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
      const auto* p = reinterpret_cast<const std::uint8_t*>(&q);
      bytes.insert(bytes.end(), p, p + sizeof q);
    }
  }
  return bytes;
}

std::vector<std::uint8_t> PcmFormat(int channels, int rate, int bits) {
  WAVEFORMATEX wfx = {};
  wfx.wFormatTag = WAVE_FORMAT_PCM;
  wfx.nChannels = static_cast<WORD>(channels);
  wfx.nSamplesPerSec = static_cast<DWORD>(rate);
  wfx.wBitsPerSample = static_cast<WORD>(bits);
  wfx.nBlockAlign = static_cast<WORD>(channels * bits / 8);
  wfx.nAvgBytesPerSec = wfx.nBlockAlign * wfx.nSamplesPerSec;
  std::vector<std::uint8_t> bytes(sizeof wfx);
  std::memcpy(bytes.data(), &wfx, sizeof wfx);
  return bytes;
}

std::vector<std::uint8_t> ExtensiblePcmFormat(int channels, int rate, int bits) {
  WAVEFORMATEXTENSIBLE ext = {};
  ext.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  ext.Format.nChannels = static_cast<WORD>(channels);
  ext.Format.nSamplesPerSec = static_cast<DWORD>(rate);
  ext.Format.wBitsPerSample = static_cast<WORD>(bits);
  ext.Format.nBlockAlign = static_cast<WORD>(channels * bits / 8);
  ext.Format.nAvgBytesPerSec = ext.Format.nBlockAlign * ext.Format.nSamplesPerSec;
  ext.Format.cbSize = sizeof ext - sizeof(WAVEFORMATEX);
  ext.Samples.wValidBitsPerSample = static_cast<WORD>(bits);
  ext.dwChannelMask = channels == 1 ? SPEAKER_FRONT_CENTER : (SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT);
  ext.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
  std::vector<std::uint8_t> bytes(sizeof ext);
  std::memcpy(bytes.data(), &ext, sizeof ext);
  return bytes;
}

}  // namespace muxtest
