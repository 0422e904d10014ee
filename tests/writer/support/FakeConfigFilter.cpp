#include "tests/writer/support/FakeConfigFilter.h"

#include <cstring>

namespace tavtest {

namespace {

class PinList : public IEnumPins {
 public:
  explicit PinList(const std::vector<FakeConfigPin*>& pins) : m_pins(pins) {
    for (FakeConfigPin* pin : m_pins) pin->AddRef();
  }
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IEnumPins) {
      *object = static_cast<IEnumPins*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }
  STDMETHODIMP_(ULONG) Release() override {
    LONG left = InterlockedDecrement(&m_cRef);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }
  STDMETHODIMP Next(ULONG count, IPin** pins, ULONG* fetched) override {
    ULONG n = 0;
    while (n < count && m_next < m_pins.size()) {
      pins[n] = static_cast<IPin*>(m_pins[m_next++]);
      pins[n]->AddRef();
      ++n;
    }
    if (fetched) *fetched = n;
    return n == count ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override {
    m_next += count;
    return m_next <= m_pins.size() ? S_OK : S_FALSE;
  }
  STDMETHODIMP Reset() override {
    m_next = 0;
    return S_OK;
  }
  STDMETHODIMP Clone(IEnumPins** copy) override {
    if (copy) *copy = nullptr;
    return E_NOTIMPL;
  }

 private:
  virtual ~PinList() {
    for (FakeConfigPin* pin : m_pins) static_cast<IPin*>(pin)->Release();
  }
  std::vector<FakeConfigPin*> m_pins;
  size_t m_next = 0;
  LONG m_cRef = 1;
};

}  // namespace

FakeCapability PcmCapability(WORD channels, DWORD samplesPerSecond, DWORD averageBytesPerSecond) {
  FakeCapability capability;
  capability.format.wFormatTag = WAVE_FORMAT_PCM;
  capability.format.nChannels = channels;
  capability.format.nSamplesPerSec = samplesPerSecond;
  capability.format.nAvgBytesPerSec = averageBytesPerSecond;
  capability.format.nBlockAlign = static_cast<WORD>(2 * channels);
  capability.format.wBitsPerSample = 16;
  return capability;
}

STDMETHODIMP FakeConfigPin::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (riid == IID_IUnknown || riid == IID_IPin) {
    *object = static_cast<IPin*>(this);
  } else if (riid == IID_IAMStreamConfig && answersConfig) {
    *object = static_cast<IAMStreamConfig*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) FakeConfigPin::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

STDMETHODIMP_(ULONG) FakeConfigPin::Release() {
  LONG left = InterlockedDecrement(&m_cRef);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

STDMETHODIMP FakeConfigPin::ConnectedTo(IPin** pin) {
  if (!pin) return E_POINTER;
  *pin = nullptr;
  return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP FakeConfigPin::QueryPinInfo(PIN_INFO* info) {
  if (!info) return E_POINTER;
  info->pFilter = owner;
  if (owner) owner->AddRef();
  info->dir = m_direction;
  wcscpy_s(info->achName, MAX_PIN_NAME, m_direction == PINDIR_INPUT ? L"Input" : L"Output");
  return S_OK;
}

STDMETHODIMP FakeConfigPin::QueryDirection(PIN_DIRECTION* direction) {
  if (!direction) return E_POINTER;
  *direction = m_direction;
  return S_OK;
}

STDMETHODIMP FakeConfigPin::QueryId(LPWSTR* id) {
  if (id) *id = nullptr;
  return E_NOTIMPL;
}

STDMETHODIMP FakeConfigPin::EnumMediaTypes(IEnumMediaTypes** types) {
  if (types) *types = nullptr;
  return E_NOTIMPL;
}

STDMETHODIMP FakeConfigPin::SetFormat(AM_MEDIA_TYPE* type) {
  if (!type || type->formattype != FORMAT_WaveFormatEx || type->cbFormat < sizeof(WAVEFORMATEX)) return E_INVALIDARG;
  WAVEFORMATEX format;
  memcpy(&format, type->pbFormat, sizeof(format));
  formatsSet.push_back(format);
  return S_OK;
}

STDMETHODIMP FakeConfigPin::GetFormat(AM_MEDIA_TYPE** type) {
  if (type) *type = nullptr;
  return E_NOTIMPL;
}

STDMETHODIMP FakeConfigPin::GetNumberOfCapabilities(int* count, int* size) {
  if (!count || !size) return E_POINTER;
  *count = static_cast<int>(capabilities.size());
  *size = capsSize;
  return S_OK;
}

STDMETHODIMP FakeConfigPin::GetStreamCaps(int index, AM_MEDIA_TYPE** type, BYTE* caps) {
  if (!type || !caps) return E_POINTER;
  *type = nullptr;
  if (index < 0 || index >= static_cast<int>(capabilities.size())) return S_FALSE;
  const FakeCapability& capability = capabilities[static_cast<size_t>(index)];
  if (capability.capsResult != S_OK) return capability.capsResult;
  auto* media = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
  ZeroMemory(media, sizeof(*media));
  media->majortype = MEDIATYPE_Audio;
  media->subtype = MEDIASUBTYPE_PCM;
  media->formattype = capability.waveFormat ? FORMAT_WaveFormatEx : FORMAT_None;
  media->cbFormat = sizeof(WAVEFORMATEX);
  media->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(sizeof(WAVEFORMATEX)));
  memcpy(media->pbFormat, &capability.format, sizeof(WAVEFORMATEX));
  ZeroMemory(caps, sizeof(AUDIO_STREAM_CONFIG_CAPS));
  reinterpret_cast<AUDIO_STREAM_CONFIG_CAPS*>(caps)->guid = MEDIATYPE_Audio;
  *type = media;
  return S_OK;
}

FakeConfigFilter::~FakeConfigFilter() {
  for (FakeConfigPin* pin : m_pins) static_cast<IPin*>(pin)->Release();
}

STDMETHODIMP FakeConfigFilter::EnumPins(IEnumPins** pins) {
  if (!pins) return E_POINTER;
  *pins = nullptr;
  if (enumPinsResult != S_OK) return enumPinsResult;
  *pins = new PinList(m_pins);
  return S_OK;
}

STDMETHODIMP FakeSinkFilter::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (riid == IID_IFileSinkFilter) {
    *object = static_cast<IFileSinkFilter*>(this);
    AddRef();
    return S_OK;
  }
  return QueryBase(riid, object);
}

STDMETHODIMP FakeSinkFilter::SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE*) {
  ++setFileNameCalls;
  fileName = name ? name : L"";
  return setFileNameResult;
}

STDMETHODIMP FakeSinkFilter::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE*) {
  if (name) *name = nullptr;
  return E_NOTIMPL;
}

}  // namespace tavtest
