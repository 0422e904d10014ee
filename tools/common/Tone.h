/* The synthetic microphone of the host tools: a 440 Hz tone, 48 kHz stereo
 * PCM, 16 or 24 bits little-endian, cut into one block per video frame as the
 * DLL's audio stream takes it. The first 50 ms of every second are an octave
 * higher, so the ear hears the seconds tick in step with the test card's clock.
 *
 * Blocks follow one another without a jump in phase: block n starts at sample
 * frame n * TavToneSamplesPerBlock(fps).
 *
 * Every function works only on its arguments and the caller's buffer: any
 * thread may call them, several at once.
 */
#ifndef TAV_TOOLS_TONE_H
#define TAV_TOOLS_TONE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { TAV_TONE_SAMPLE_RATE = 48000, TAV_TONE_CHANNELS = 2 };

/* Sample frames (one sample per channel) in one block at this frame rate:
 * 48000 / fps rounded to the nearest whole number, at least 1; 0 for a rate
 * that is not positive. */
int TavToneSamplesPerBlock(double fps);

/* Bytes of one block: samples per block * 2 channels * 2 or 3 bytes. 0 for
 * bitsPerSample other than 16 and 24, or a rate that is not positive. */
size_t TavToneBlockBytes(double fps, unsigned bitsPerSample);

/* Writes block number blockIndex (TavToneBlockBytes bytes) into block.
 * Returns the bytes written, 0 (and nothing written) when TavToneBlockBytes
 * refuses the arguments. */
size_t TavTonePaint(unsigned char* block, double fps, unsigned bitsPerSample, long long blockIndex);

#ifdef __cplusplus
}
#endif

#endif /* TAV_TOOLS_TONE_H */
