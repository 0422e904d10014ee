// A test source with one output pin "Out" that offers one wave format and
// delivers the blocks a test hands it, from the test's own thread.
#pragma once

#include "framework/BaseFilter.h"
#include "framework/BaseOutputPin.h"

#include <memory>
#include <vector>

namespace acmtest {

// {5B0E2A57-94F1-4C43-9E61-3A9C1E7D2B10}
inline constexpr CLSID CLSID_TestPcmSource = {
    0x5b0e2a57, 0x94f1, 0x4c43, {0x9e, 0x61, 0x3a, 0x9c, 0x1e, 0x7d, 0x2b, 0x10}};

class TestPcmSource;

class TestPcmPin : public CBaseOutputPin {
 public:
  TestPcmPin(TestPcmSource* filter, CCritSec* lock, HRESULT* hr);
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

 private:
  TestPcmSource* m_source;
};

class TestPcmSource : public CBaseFilter {
 public:
  // format: a whole wave format block (WAVEFORMATEX or extensible).
  explicit TestPcmSource(const std::vector<BYTE>& format);
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? m_pin.get() : nullptr; }

  const std::vector<BYTE>& Format() const { return m_format; }
  IPin* OutputPin() { return m_pin.get(); }

  // Delivers one sample stamped [start, stop); the graph must be running.
  HRESULT Send(const BYTE* data, size_t size, REFERENCE_TIME start, REFERENCE_TIME stop);
  HRESULT SendEndOfStream();

 private:
  CCritSec m_lock;
  std::vector<BYTE> m_format;
  std::unique_ptr<TestPcmPin> m_pin;
};

}  // namespace acmtest
