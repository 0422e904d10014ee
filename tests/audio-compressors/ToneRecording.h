// Records a 440 Hz tone through TavMovieMaker.dll with an audio compressor
// and reads back what ffmpeg decodes of it: the helpers shared by the audio
// compressor tests.
#pragma once

#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/CompressorNames.h"

namespace tavtest {

constexpr double kToneHz = 440.0;
// One audio block per video frame at 25 fps: 48000 / 25 sample frames.
constexpr int kFramesPerBlock = 1920;

// `blocks` video frames (16 x 8 RGB24) and as many audio blocks of the
// stereo tone at `bits` (16 or 24) into `movie`, from StartMovieRecord to
// StopMovieRecord. Returns the first failing HRESULT, else S_OK.
HRESULT RecordTone(MovieMakerDll& dll, int id, const std::wstring& movie, unsigned bits, int blocks);

// The movie's first audio stream as ffmpeg decodes it, mixed to mono 16-bit.
std::vector<short> DecodedMono(const std::wstring& movie);

// The frequency with the most energy (Hann window, zero-padded FFT,
// interpolated between bins), above 50 Hz.
double MainFrequency(const std::vector<short>& samples, double sampleRate);

}  // namespace tavtest
