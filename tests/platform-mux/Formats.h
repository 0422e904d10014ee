// Stream formats for the mux tests: BITMAPINFOHEADERs and WAVEFORMATEXs as bytes.
#pragma once

#include <windows.h>
#include <mmreg.h>

#include <cstdint>
#include <vector>

namespace muxtest {

// biSizeImage is the DIB size; for 8 bits a 256-entry grey palette follows.
std::vector<std::uint8_t> BitmapFormat(int width, int height, int bits, DWORD compression);
std::vector<std::uint8_t> PcmFormat(int channels, int rate, int bits);
// WAVE_FORMAT_EXTENSIBLE with KSDATAFORMAT_SUBTYPE_PCM.
std::vector<std::uint8_t> ExtensiblePcmFormat(int channels, int rate, int bits);
std::uint32_t DibSize(int width, int height, int bits);

}  // namespace muxtest
