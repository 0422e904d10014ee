#include "Tone.h"

#include <math.h>

int TavToneSamplesPerBlock(double fps) {
  if (!(fps > 0)) return 0;
  const double samples = TAV_TONE_SAMPLE_RATE / fps + 0.5;
  if (samples >= TAV_TONE_SAMPLE_RATE) return TAV_TONE_SAMPLE_RATE;
  return samples < 1 ? 1 : (int)samples;
}

size_t TavToneBlockBytes(double fps, unsigned bitsPerSample) {
  if (bitsPerSample != 16 && bitsPerSample != 24) return 0;
  return (size_t)TavToneSamplesPerBlock(fps) * TAV_TONE_CHANNELS * (bitsPerSample / 8);
}

size_t TavTonePaint(unsigned char* block, double fps, unsigned bitsPerSample, long long blockIndex) {
  const size_t bytes = TavToneBlockBytes(fps, bitsPerSample);
  if (bytes == 0) return 0;
  const double pi = 3.14159265358979323846;
  const int samples = TavToneSamplesPerBlock(fps), sampleBytes = (int)bitsPerSample / 8;
  /* A quarter of full scale (-12 dBFS). Both pitches pass zero at every
   * switch (whole multiples of 50 ms), so the tick makes no click. */
  const double amplitude = bitsPerSample == 16 ? 8192.0 : 8192.0 * 256.0;
  unsigned char* out = block;
  for (int i = 0; i < samples; ++i) {
    const long long n = (blockIndex < 0 ? 0 : blockIndex) * samples + i;
    const double hz = n % TAV_TONE_SAMPLE_RATE < TAV_TONE_SAMPLE_RATE / 20 ? 880.0 : 440.0;
    const long value =
        lround(amplitude * sin(2.0 * pi * hz * (double)(n % TAV_TONE_SAMPLE_RATE) / TAV_TONE_SAMPLE_RATE));
    for (int channel = 0; channel < TAV_TONE_CHANNELS; ++channel)
      for (int b = 0; b < sampleBytes; ++b) *out++ = (unsigned char)((unsigned long)value >> (8 * b));
  }
  return bytes;
}
