// The 'strf' contents of a mux input, from its connection media type:
// - video (FORMAT_VideoInfo): the BITMAPINFOHEADER as the upstream pin gave
//   it (all biSize bytes), plus the colour table an 8-bit-or-less header
//   calls for (biClrUsed entries, or 2^biBitCount) or the three BI_BITFIELDS
//   masks, no more: a VIDEOINFO's unused colour table is left out. A table
//   cut short by the format block is kept as far as it goes, with biClrUsed
//   saying so.
// - audio (FORMAT_WaveFormatEx): the WAVEFORMATEX and its cbSize extra bytes;
//   a 16-byte PCMWAVEFORMAT becomes a WAVEFORMATEX with cbSize 0.
// The caller has checked the format type and the block's minimum size.
// Plain functions: any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "framework/MediaType.h"

std::vector<std::uint8_t> VideoStreamFormat(const CMediaType& mt);
std::vector<std::uint8_t> AudioStreamFormat(const CMediaType& mt);
