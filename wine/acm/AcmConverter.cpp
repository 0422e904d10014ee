#include "wine/acm/AcmConverter.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>

namespace tavacm {
namespace {

// Input converted per acmStreamConvert call: large enough for whole blocks of
// every codec, small enough to keep the scratch buffer modest.
constexpr size_t kChunkBytes = 256 * 1024;

}  // namespace

CAcmConverter::~CAcmConverter() { Close(); }

HRESULT CAcmConverter::Open(const WAVEFORMATEX& input, const WAVEFORMATEX& output) {
  Close();
  HACMDRIVER driver = ConvertingDriver(input, output);
  if (driver == nullptr) return VFW_E_TYPE_NOT_ACCEPTED;
  const MMRESULT result = acmStreamOpen(m_stream.Put(), driver, const_cast<WAVEFORMATEX*>(&input),
                                        const_cast<WAVEFORMATEX*>(&output), nullptr, 0, 0, ACM_STREAMOPENF_NONREALTIME);
  if (result != MMSYSERR_NOERROR) {
    m_stream.Release();  // nothing was opened
    return VFW_E_TYPE_NOT_ACCEPTED;
  }
  m_inputAlign = std::max<WORD>(input.nBlockAlign, 1);
  m_outputAlign = std::max<WORD>(output.nBlockAlign, 1);
  m_started = false;
  return S_OK;
}

void CAcmConverter::Close() {
  m_stream.Reset();
  m_pending.clear();
  m_started = false;
}

void CAcmConverter::Discard() {
  m_pending.clear();
  if (m_stream) acmStreamReset(m_stream.Get(), 0);
  m_started = false;
}

HRESULT CAcmConverter::Convert(const BYTE* data, size_t size, std::vector<BYTE>& output, size_t* consumed) {
  *consumed = 0;
  if (!m_stream) return VFW_E_NOT_CONNECTED;
  m_pending.insert(m_pending.end(), data, data + size);
  return Run(ACM_STREAMCONVERTF_BLOCKALIGN, output, consumed);
}

HRESULT CAcmConverter::Flush(std::vector<BYTE>& output, size_t* consumed) {
  *consumed = 0;
  if (!m_stream) return S_OK;
  HRESULT hr = Run(ACM_STREAMCONVERTF_BLOCKALIGN, output, consumed);
  if (SUCCEEDED(hr) && !m_pending.empty()) {
    size_t last = 0;
    hr = Run(ACM_STREAMCONVERTF_END, output, &last);
    *consumed += last;
  }
  if (SUCCEEDED(hr) && !m_pending.empty()) {
    // Block codecs encode only whole blocks: the last part of one is
    // completed with silence, and only its real bytes count as consumed.
    const size_t held = m_pending.size();
    DWORD blockInput = 0;
    if (acmStreamSize(m_stream.Get(), m_outputAlign, &blockInput, ACM_STREAMSIZEF_DESTINATION) == MMSYSERR_NOERROR &&
        blockInput > held) {
      m_pending.resize((blockInput + m_inputAlign - 1) / m_inputAlign * m_inputAlign, 0);
      size_t padded = 0;
      hr = Run(ACM_STREAMCONVERTF_BLOCKALIGN, output, &padded);
      *consumed += std::min(padded, held);
    }
  }
  m_pending.clear();
  m_started = false;
  return hr;
}

HRESULT CAcmConverter::Run(DWORD flags, std::vector<BYTE>& output, size_t* consumed) {
  size_t offset = 0;
  while (offset < m_pending.size()) {
    size_t chunk = std::min(m_pending.size() - offset, kChunkBytes);
    if (flags != ACM_STREAMCONVERTF_END) chunk -= chunk % m_inputAlign;
    if (chunk == 0) break;
    DWORD outputSize = 0;
    if (acmStreamSize(m_stream.Get(), static_cast<DWORD>(chunk), &outputSize, ACM_STREAMSIZEF_SOURCE) !=
            MMSYSERR_NOERROR ||
        outputSize == 0) {
      if (flags == ACM_STREAMCONVERTF_END) break;  // less than one block: the codec cannot end on it
      outputSize = static_cast<DWORD>(chunk);
    }
    m_scratch.resize(outputSize);

    ACMSTREAMHEADER header = {};
    header.cbStruct = sizeof(header);
    header.pbSrc = m_pending.data() + offset;
    header.cbSrcLength = static_cast<DWORD>(chunk);
    header.pbDst = m_scratch.data();
    header.cbDstLength = outputSize;
    if (acmStreamPrepareHeader(m_stream.Get(), &header, 0) != MMSYSERR_NOERROR) return E_FAIL;
    DWORD convertFlags = flags;
    if (!m_started) convertFlags |= ACM_STREAMCONVERTF_START;
    const MMRESULT result = acmStreamConvert(m_stream.Get(), &header, convertFlags);
    const DWORD used = header.cbSrcLengthUsed;
    const DWORD produced = header.cbDstLengthUsed;
    header.cbSrcLength = static_cast<DWORD>(chunk);
    header.cbDstLength = outputSize;
    acmStreamUnprepareHeader(m_stream.Get(), &header, 0);
    if (result != MMSYSERR_NOERROR) return E_FAIL;
    m_started = true;
    output.insert(output.end(), m_scratch.begin(), m_scratch.begin() + produced);
    offset += used;
    *consumed += used;
    if (used == 0) break;  // the codec waits for a whole block
  }
  m_pending.erase(m_pending.begin(), m_pending.begin() + offset);
  return S_OK;
}

}  // namespace tavacm
