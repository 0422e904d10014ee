/* The synthetic camera of the host tools: a moving test card with the frame
 * number and the capture time burnt in, in any size and in the four
 * pixel-format codes of the public header (TAVMM_PIXEL_*).
 *
 * A frame is laid out as the DLL takes it from a writer set up with a positive
 * height, which it copies as it is: each row padded to 4 bytes; for the RGB
 * and grey codes rows bottom-up (the first row in memory is the bottom of the
 * picture, as in a Windows DIB), for YUY2 top-down (as an AVI file and its
 * players hold YUV frames whatever the sign of the height).
 *
 * The picture, top to bottom: seven colour bars; a black box in the middle
 * with "FRAME 000123" and the time "00:04.920" in large digits (a viewer
 * stepping through the movie sees a skipped number at once); a grey ramp with
 * a red marker that moves a fixed step per frame.
 *
 * Every function works only on its arguments and the caller's buffer: any
 * thread may call them, several at once.
 */
#ifndef TAV_TOOLS_TESTCARD_H
#define TAV_TOOLS_TESTCARD_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes per row (padded to 4) of a frame of this width and pixel-format code;
 * 0 for an unknown code, a width below 1, or a size too large to handle. */
size_t TavTestCardStride(int width, unsigned pixelFormat);

/* Bytes of one whole frame (stride times height); 0 as above or for a height
 * below 1. */
size_t TavTestCardFrameBytes(int width, int height, unsigned pixelFormat);

/* Paints frame number frameNumber, taken at timeMs milliseconds, into frame
 * (TavTestCardFrameBytes bytes). Returns 0 for a size or code that
 * TavTestCardFrameBytes refuses, and then leaves frame untouched; else 1. */
int TavTestCardPaint(unsigned char* frame, int width, int height, unsigned pixelFormat, long long frameNumber,
                     long long timeMs);

#ifdef __cplusplus
}
#endif

#endif /* TAV_TOOLS_TESTCARD_H */
