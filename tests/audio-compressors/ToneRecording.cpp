#include "tests/audio-compressors/ToneRecording.h"

#include <windows.h>

#include <cmath>
#include <complex>

#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const double kPi = 3.14159265358979323846;
const long long kFrame25 = 400000;  // one frame at 25 fps, in 100 ns

// Stereo sample frames [first, first + count) of the tone at half scale.
std::string ToneBlock(unsigned bits, long long first, int count) {
  const int bytes = static_cast<int>(bits / 8);
  const double scale = bits == 16 ? 16383.0 : 4194303.0;
  std::string block;
  block.reserve(static_cast<size_t>(count * 2 * bytes));
  for (int i = 0; i < count; ++i) {
    const long value = std::lround(scale * std::sin(2 * kPi * kToneHz * static_cast<double>(first + i) / 48000.0));
    for (int channel = 0; channel < 2; ++channel)
      for (int b = 0; b < bytes; ++b) block.push_back(static_cast<char>((value >> (8 * b)) & 0xFF));
  }
  return block;
}

void Fft(std::vector<std::complex<double>>& data) {
  const size_t n = data.size();
  for (size_t i = 1, j = 0; i < n; ++i) {
    size_t bit = n >> 1;
    for (; j & bit; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(data[i], data[j]);
  }
  for (size_t length = 2; length <= n; length <<= 1) {
    const std::complex<double> step = std::polar(1.0, -2 * kPi / static_cast<double>(length));
    for (size_t start = 0; start < n; start += length) {
      std::complex<double> w(1.0);
      for (size_t k = 0; k < length / 2; ++k) {
        const std::complex<double> even = data[start + k];
        const std::complex<double> odd = data[start + k + length / 2] * w;
        data[start + k] = even + odd;
        data[start + k + length / 2] = even - odd;
        w *= step;
      }
    }
  }
}

}  // namespace

HRESULT RecordTone(MovieMakerDll& dll, int id, const std::wstring& movie, unsigned bits, int blocks) {
  HRESULT hr = dll.StartMovieRecord(id, movie.c_str());
  std::string frame(16 * 8 * 3, '\x40');
  for (int n = 0; n < blocks && hr == S_OK; ++n) {
    hr = dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n);
    if (hr != S_OK) break;
    std::string block = ToneBlock(bits, static_cast<long long>(n) * kFramesPerBlock, kFramesPerBlock);
    hr = dll.AddAudioSample2(id, &block[0], static_cast<unsigned>(block.size()), n * kFrame25, n);
  }
  const HRESULT stopped = dll.StopMovieRecord(id);
  return hr != S_OK ? hr : stopped;
}

std::vector<short> DecodedMono(const std::wstring& movie) {
  const std::wstring raw = movie + L".s16";
  UnixResult r = RunUnixCommand("ffmpeg -v error -y -i " + ShellQuote(UnixPathOf(movie)) +
                                " -map 0:a:0 -ac 1 -f s16le " + ShellQuote(UnixPathOf(raw)));
  if (r.exitCode != 0) return {};
  const std::string bytes = ReadBinaryFile(raw);
  std::vector<short> samples(bytes.size() / 2);
  for (size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<short>(static_cast<unsigned char>(bytes[2 * i]) |
                                    (static_cast<unsigned char>(bytes[2 * i + 1]) << 8));
  return samples;
}

double MainFrequency(const std::vector<short>& samples, double sampleRate) {
  if (samples.empty()) return 0;
  size_t size = 1;
  while (size < 4 * samples.size()) size <<= 1;
  std::vector<std::complex<double>> data(size);
  const double n = static_cast<double>(samples.size());
  for (size_t i = 0; i < samples.size(); ++i)
    data[i] = samples[i] * (0.5 - 0.5 * std::cos(2 * kPi * static_cast<double>(i) / n));
  Fft(data);
  const double binHz = sampleRate / static_cast<double>(size);
  size_t peak = 0;
  for (size_t k = static_cast<size_t>(50 / binHz) + 1; k + 1 < size / 2; ++k)
    if (peak == 0 || std::abs(data[k]) > std::abs(data[peak])) peak = k;
  if (peak == 0) return 0;
  // The vertex of the parabola through the peak and its neighbours.
  const double left = std::abs(data[peak - 1]), middle = std::abs(data[peak]), right = std::abs(data[peak + 1]);
  const double denominator = left - 2 * middle + right;
  const double offset = denominator == 0 ? 0 : 0.5 * (left - right) / denominator;
  return (static_cast<double>(peak) + offset) * binHz;
}

}  // namespace tavtest
