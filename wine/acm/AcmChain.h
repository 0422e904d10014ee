// A chain of ACM conversion streams, one per step of a ConversionChain: the
// PCM converter's steps (bit depth, rate, channels) followed by the codec.
// Each step's output is the next step's input; each step keeps the input
// that does not yet fill one of its blocks.
//
// Used like CAcmConverter, by the compressor filter: Open/Close on the thread
// that changes state, the rest on the streaming thread. Not locked: the
// caller serialises.
#pragma once

#include "wine/acm/AcmConverter.h"
#include "wine/acm/AcmFormats.h"

#include <strmif.h>

#include <memory>
#include <vector>

namespace tavacm {

class CAcmChain {
 public:
  // Opens one stream per step from formats[0] (the input) to
  // formats.back() (the output); an open chain is closed first. Returns
  // VFW_E_TYPE_NOT_ACCEPTED when fewer than two formats are given or a
  // step does not open.
  HRESULT Open(const std::vector<WaveFormatBytes>& formats);
  void Close();
  bool IsOpen() const { return !m_steps.empty(); }

  // Converts `size` input bytes through every step and appends what the
  // last step produced to `output`.
  HRESULT Convert(const BYTE* data, size_t size, std::vector<BYTE>& output);

  // Ends the stream: each step's held input is converted and ended in
  // turn, the last codec block completed with silence.
  HRESULT Flush(std::vector<BYTE>& output);

  // Drops held input and restarts every step.
  void Discard();

  // How long the input held inside the steps lasts, in 100 ns units.
  REFERENCE_TIME HeldDuration() const;

 private:
  struct Step {
    std::unique_ptr<CAcmConverter> converter;
    DWORD inputBytesPerSecond;
  };
  std::vector<Step> m_steps;
};

}  // namespace tavacm
