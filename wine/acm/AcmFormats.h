// What the installed ACM codecs can produce from PCM.
//
// Plain queries of msacm32; any thread. Formats are kept as whole byte blocks
// (a WAVEFORMATEX header followed by cbSize bytes of codec data).
#pragma once

#include <windows.h>
#include <mmsystem.h>
#include <mmreg.h>
#include <msacm.h>

#include <string>
#include <vector>

namespace tavacm {

using WaveFormatBytes = std::vector<BYTE>;

struct AcmFormatTag {
  WORD tag;
  std::wstring name;  // ACM's name of the format tag, e.g. "IMA ADPCM"
};

// Every installed format tag that at least one 16-bit PCM input (8 to 48 kHz,
// mono or stereo) can be turned into, in ACM's enumeration order.
std::vector<AcmFormatTag> EncodableFormatTags();

// ACM's name of a format tag; empty when no driver knows it.
std::wstring FormatTagName(WORD tag);

// The formats of `tag` that `input` can be turned into (see ConversionChain),
// best quality first (see SortBestFirst), without duplicates: the codec's
// suggestion and its enumerated formats. Empty when the codec cannot be
// reached from this input.
std::vector<WaveFormatBytes> OutputFormats(WORD tag, const WAVEFORMATEX& input);

// Every format the codec enumerates for the tag that some PCM input can be
// turned into (its own rate and channels at 16 bits always can, through
// Wine's PCM converter), best first: what a compressor offers before its
// input is connected.
std::vector<WaveFormatBytes> TagFormats(WORD tag);

// True when OutputFormats would not be empty (stops at the first format).
bool CanEncode(WORD tag, const WAVEFORMATEX& input);

// The formats a conversion from `input` to `output` passes through, both
// ends included, when ACM cannot convert in one step: Wine's codecs take
// only 16-bit PCM at their own rates and channels, and its PCM converter
// changes the rate of 24-bit PCM only to 24-bit PCM. So the chain tries, in
// this order: input -> output; input -> 16-bit PCM at the output's rate and
// channels -> output; input -> 16-bit PCM at the input's rate and channels
// -> output; and both PCM steps. Empty when none of them opens.
std::vector<WaveFormatBytes> ConversionChain(const WAVEFORMATEX& input, const WAVEFORMATEX& output);

// Orders formats best first: the most of the input's rate and channels
// kept; then the least needless change (an output rate or channel count
// above the input's); then the most of its bits kept; then the highest data
// rate. Without an input
// (null) the highest rate, channels, bits and data rate come first.
void SortBestFirst(std::vector<WaveFormatBytes>& formats, const WAVEFORMATEX* input);

// 16-bit PCM at this rate and channel count.
WaveFormatBytes Pcm16Format(DWORD rate, WORD channels);

// The ACM driver that converts `input` to `output` in one step, or null.
// Drivers are opened once for the process and stay open.
HACMDRIVER ConvertingDriver(const WAVEFORMATEX& input, const WAVEFORMATEX& output);

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
