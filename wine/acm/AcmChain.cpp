#include "wine/acm/AcmChain.h"

#include <vfwmsgs.h>

namespace tavacm {

HRESULT CAcmChain::Open(const std::vector<WaveFormatBytes>& formats) {
  Close();
  if (formats.size() < 2) return VFW_E_TYPE_NOT_ACCEPTED;
  for (size_t i = 1; i < formats.size(); ++i) {
    const auto& input = *reinterpret_cast<const WAVEFORMATEX*>(formats[i - 1].data());
    const auto& output = *reinterpret_cast<const WAVEFORMATEX*>(formats[i].data());
    Step step = {std::make_unique<CAcmConverter>(), input.nAvgBytesPerSec};
    const HRESULT hr = step.converter->Open(input, output);
    if (FAILED(hr)) {
      Close();
      return hr;
    }
    m_steps.push_back(std::move(step));
  }
  return S_OK;
}

void CAcmChain::Close() { m_steps.clear(); }

HRESULT CAcmChain::Convert(const BYTE* data, size_t size, std::vector<BYTE>& output) {
  if (m_steps.empty()) return VFW_E_NOT_CONNECTED;
  std::vector<BYTE> input(data, data + size);
  for (size_t i = 0; i < m_steps.size(); ++i) {
    std::vector<BYTE> produced;
    size_t consumed = 0;
    const HRESULT hr = m_steps[i].converter->Convert(input.data(), input.size(), produced, &consumed);
    if (FAILED(hr)) return hr;
    input.swap(produced);
  }
  output.insert(output.end(), input.begin(), input.end());
  return S_OK;
}

HRESULT CAcmChain::Flush(std::vector<BYTE>& output) {
  std::vector<BYTE> input;
  HRESULT result = S_OK;
  for (Step& step : m_steps) {
    // What the earlier steps flushed goes through this one before it ends.
    std::vector<BYTE> produced;
    size_t consumed = 0;
    HRESULT hr = input.empty() ? S_OK : step.converter->Convert(input.data(), input.size(), produced, &consumed);
    if (SUCCEEDED(hr)) hr = step.converter->Flush(produced, &consumed);
    if (FAILED(hr)) {
      step.converter->Discard();
      result = hr;
    }
    input.swap(produced);
  }
  output.insert(output.end(), input.begin(), input.end());
  return result;
}

void CAcmChain::Discard() {
  for (Step& step : m_steps) step.converter->Discard();
}

REFERENCE_TIME CAcmChain::HeldDuration() const {
  REFERENCE_TIME held = 0;
  for (const Step& step : m_steps) {
    if (step.inputBytesPerSecond != 0)
      held += static_cast<REFERENCE_TIME>(step.converter->PendingBytes() * 10000000ULL / step.inputBytesPerSecond);
  }
  return held;
}

}  // namespace tavacm
