// One ACM conversion stream from a PCM input format to a codec's format.
//
// Keeps the input that does not yet fill a whole codec block until more
// arrives or the stream ends. Used by the compressor's input pin on the
// streaming thread; Open/Close on the thread that connects or changes state.
// Not locked: the caller serialises.
#pragma once

#include "framework/UniqueHandle.h"
#include "wine/acm/AcmFormats.h"

#include <msacm.h>

#include <cstddef>
#include <vector>

namespace tavacm {

// An ACM stream from acmStreamOpen: null when there is none.
struct AcmStreamTraits {
  using Handle = HACMSTREAM;
  static Handle Invalid() noexcept { return nullptr; }
  static bool Close(Handle stream) noexcept { return acmStreamClose(stream, 0) == MMSYSERR_NOERROR; }
};
using UniqueAcmStream = UniqueHandleOf<AcmStreamTraits>;

class CAcmConverter {
 public:
  CAcmConverter() = default;
  ~CAcmConverter();
  CAcmConverter(const CAcmConverter&) = delete;
  CAcmConverter& operator=(const CAcmConverter&) = delete;

  // Opens the conversion; an open one is closed first. Returns
  // VFW_E_TYPE_NOT_ACCEPTED when ACM cannot convert between the two.
  HRESULT Open(const WAVEFORMATEX& input, const WAVEFORMATEX& output);
  void Close();
  bool IsOpen() const { return m_stream.IsValid(); }

  // Converts `size` bytes and appends what the codec produced to `output`.
  // Sets *consumed to the number of input bytes (this call's and earlier
  // pending ones) that went into that output.
  HRESULT Convert(const BYTE* data, size_t size, std::vector<BYTE>& output, size_t* consumed);

  // Ends the stream: converts what is still pending with the codec's end
  // flag and appends the result; a block codec's last partial block is
  // completed with silence. Pending input is gone afterwards.
  HRESULT Flush(std::vector<BYTE>& output, size_t* consumed);

  // Drops pending input and restarts the codec's state (after a seek or a
  // flush of the graph).
  void Discard();

  size_t PendingBytes() const { return m_pending.size(); }

 private:
  HRESULT Run(DWORD flags, std::vector<BYTE>& output, size_t* consumed);

  UniqueAcmStream m_stream;
  WORD m_inputAlign = 1;
  WORD m_outputAlign = 1;
  bool m_started = false;
  std::vector<BYTE> m_pending;
  std::vector<BYTE> m_scratch;
};

}  // namespace tavacm
