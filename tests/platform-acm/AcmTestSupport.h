// Helpers shared by the compressor tests: wave formats, a tone, a property
// bag holding an "AcmId", graph building and WAV files read back by ffprobe.
#pragma once

#include <windows.h>
#include <mmsystem.h>
#include <mmreg.h>
#include <ocidl.h>
#include <strmif.h>

#include <string>
#include <vector>

namespace acmtest {

std::vector<BYTE> Pcm16Format(DWORD rate, WORD channels);
std::vector<BYTE> Pcm24ExtensibleFormat(DWORD rate, WORD channels);
const WAVEFORMATEX& Header(const std::vector<BYTE>& format);

// A sine tone of 16-bit samples, the same on every channel.
std::vector<BYTE> Tone16(const std::vector<BYTE>& format, size_t frames, double amplitude = 8000.0);
// Root mean square of 16-bit samples.
double Rms16(const std::vector<BYTE>& bytes);
// Sign changes along the first channel of 16-bit samples.
size_t ZeroCrossings16(const std::vector<BYTE>& bytes, WORD channels);

// A property bag with one integer "AcmId" (as a category entry holds).
IPropertyBag* NewAcmIdBag(int acmId);

// A compressor made directly (not through the enumerator) for a format tag.
IBaseFilter* NewCompressor(WORD formatTag);

IPin* PinOf(IBaseFilter* filter, int index);
std::wstring PinName(IPin* pin);
std::wstring PinId(IPin* pin);

// Writes a RIFF WAVE file of these bytes in this format.
bool WriteWav(const std::wstring& path, const std::vector<BYTE>& format, const std::vector<BYTE>& data);

// Runs ffprobe on a file; returns "codec_name,sample_rate,channels,duration".
std::string ProbeAudio(const std::wstring& path);

}  // namespace acmtest
