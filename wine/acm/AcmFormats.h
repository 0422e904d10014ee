// What the installed ACM codecs can produce from PCM.
//
// Plain queries of msacm32; any thread. Formats are kept as whole byte blocks
// (a WAVEFORMATEX header followed by cbSize bytes of codec data).
#pragma once

#include <windows.h>
#include <mmsystem.h>
#include <mmreg.h>

#include <string>
#include <vector>

namespace tavacm {

using WaveFormatBytes = std::vector<BYTE>;

struct AcmFormatTag {
    WORD tag;
    std::wstring name;  // ACM's name of the format tag, e.g. "IMA ADPCM"
};

// Every installed format tag that at least one 16-bit PCM input (8 to 48 kHz,
// mono or stereo) can be converted into, in ACM's enumeration order.
std::vector<AcmFormatTag> EncodableFormatTags();

// ACM's name of a format tag; empty when no driver knows it.
std::wstring FormatTagName(WORD tag);

// The formats of `tag` that ACM can convert `input` into, without
// duplicates: the one the codec suggests first (when it can convert to it),
// then the codec's enumerated formats, those with the input's rate and
// channels (more bits first) before the others. Empty when the codec cannot
// encode this input.
std::vector<WaveFormatBytes> OutputFormats(WORD tag, const WAVEFORMATEX& input);

// Every format the codec enumerates for the tag, without duplicates, whatever
// the input: what a compressor offers before its input is connected.
std::vector<WaveFormatBytes> TagFormats(WORD tag);

// True when OutputFormats would not be empty (stops at the first format).
bool CanEncode(WORD tag, const WAVEFORMATEX& input);

// True when ACM can open a conversion from `input` to `output`.
bool CanConvert(const WAVEFORMATEX& input, const WAVEFORMATEX& output);

// The whole block of a format (header plus cbSize extra bytes; a bare PCM
// WAVEFORMAT-sized block is widened to WAVEFORMATEX with cbSize 0).
WaveFormatBytes CopyFormat(const WAVEFORMATEX& format, size_t availableBytes);

// A WAVE_FORMAT_EXTENSIBLE PCM format rewritten as plain WAVE_FORMAT_PCM with
// the same layout, which is what ACM understands; other formats unchanged.
WaveFormatBytes PlainPcm(const WaveFormatBytes& format);

// True for 16-bit (or, when allowWide, 8/24/32-bit) integer PCM, plain or
// extensible.
bool IsIntegerPcm(const WAVEFORMATEX& format, size_t availableBytes, bool allowWide);

}  // namespace tavacm
