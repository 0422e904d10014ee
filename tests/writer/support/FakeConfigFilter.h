// A stand-in audio compressor for AudioCompressorConfig: a filter whose pins
// the test lists, each of which may answer IAMStreamConfig with capabilities
// the test chooses and remembers the formats set on it. Single-threaded use;
// created with one reference.
#pragma once

#include <string>
#include <vector>

#include "tests/writer/support/FakeFilters.h"

namespace tavtest {

struct FakeCapability {
  bool waveFormat = true;     // FORMAT_WaveFormatEx, else FORMAT_None
  HRESULT capsResult = S_OK;  // what GetStreamCaps returns for it
  WAVEFORMATEX format = {};
};

FakeCapability PcmCapability(WORD channels, DWORD samplesPerSecond, DWORD averageBytesPerSecond);

class FakeConfigPin : public IPin, public IAMStreamConfig {
 public:
  bool answersConfig = true;
  int capsSize = sizeof(AUDIO_STREAM_CONFIG_CAPS);
  std::vector<FakeCapability> capabilities;
  std::vector<WAVEFORMATEX> formatsSet;  // every SetFormat, in order

  static FakeConfigPin* Create(PIN_DIRECTION direction) { return new FakeConfigPin(direction); }
  // The filter QueryPinInfo names (not counted: the filter owns the pin).
  IBaseFilter* owner = nullptr;

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP Disconnect() override { return S_FALSE; }
  STDMETHODIMP ConnectedTo(IPin** pin) override;
  STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE*) override { return VFW_E_NOT_CONNECTED; }
  STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
  STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
  STDMETHODIMP QueryId(LPWSTR* id) override;
  STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE*) override { return S_FALSE; }
  STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) override;
  STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
  STDMETHODIMP EndOfStream() override { return S_OK; }
  STDMETHODIMP BeginFlush() override { return S_OK; }
  STDMETHODIMP EndFlush() override { return S_OK; }
  STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

  STDMETHODIMP SetFormat(AM_MEDIA_TYPE* type) override;
  STDMETHODIMP GetFormat(AM_MEDIA_TYPE** type) override;
  STDMETHODIMP GetNumberOfCapabilities(int* count, int* size) override;
  STDMETHODIMP GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) override;

 private:
  explicit FakeConfigPin(PIN_DIRECTION direction) : m_direction(direction) {}
  virtual ~FakeConfigPin() = default;
  PIN_DIRECTION m_direction;
  LONG m_cRef = 1;
};

class FakeConfigFilter : public FakeFilterBase {
 public:
  HRESULT enumPinsResult = S_OK;

  static FakeConfigFilter* Create() { return new FakeConfigFilter(); }
  ~FakeConfigFilter() override;
  // Takes over the caller's reference.
  void AddPin(FakeConfigPin* pin) {
    pin->owner = this;
    m_pins.push_back(pin);
  }

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override { return QueryBase(riid, object); }
  STDMETHODIMP EnumPins(IEnumPins** pins) override;

 protected:
  FakeConfigFilter() = default;

 private:
  std::vector<FakeConfigPin*> m_pins;
};

// A file writer that takes any name (or refuses it with setFileNameResult)
// and whose pins are FakeConfigPins, which refuse every connection.
class FakeSinkFilter : public FakeConfigFilter, public IFileSinkFilter {
 public:
  HRESULT setFileNameResult = S_OK;
  std::wstring fileName;
  int setFileNameCalls = 0;

  static FakeSinkFilter* Create() { return new FakeSinkFilter(); }

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return FakeFilterBase::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return FakeFilterBase::Release(); }
  STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE*) override;
  STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE*) override;

 private:
  FakeSinkFilter() = default;
};

}  // namespace tavtest
