#include "tests/platform-acm/AcmTestSupport.h"

#include "tests/common/UnixTools.h"
#include "wine/acm/AcmCompressorFilter.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace acmtest {

std::vector<BYTE> Pcm16Format(DWORD rate, WORD channels) {
  const WORD align = static_cast<WORD>(2 * channels);
  const WAVEFORMATEX format = {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
  const BYTE* bytes = reinterpret_cast<const BYTE*>(&format);
  return std::vector<BYTE>(bytes, bytes + sizeof(format));
}

std::vector<BYTE> Pcm24ExtensibleFormat(DWORD rate, WORD channels) {
  WAVEFORMATEXTENSIBLE format = {};
  format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  format.Format.nChannels = channels;
  format.Format.nSamplesPerSec = rate;
  format.Format.nBlockAlign = static_cast<WORD>(3 * channels);
  format.Format.nAvgBytesPerSec = rate * format.Format.nBlockAlign;
  format.Format.wBitsPerSample = 24;
  format.Format.cbSize = 22;
  format.Samples.wValidBitsPerSample = 24;
  format.dwChannelMask = channels == 2 ? 3 : 4;
  format.SubFormat = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
  const BYTE* bytes = reinterpret_cast<const BYTE*>(&format);
  return std::vector<BYTE>(bytes, bytes + sizeof(format));
}

const WAVEFORMATEX& Header(const std::vector<BYTE>& format) {
  return *reinterpret_cast<const WAVEFORMATEX*>(format.data());
}

std::vector<BYTE> Tone16(const std::vector<BYTE>& format, size_t frames, double amplitude) {
  const WAVEFORMATEX& header = Header(format);
  std::vector<BYTE> bytes(frames * header.nBlockAlign);
  auto* samples = reinterpret_cast<short*>(bytes.data());
  for (size_t i = 0; i < frames; ++i) {
    const short value =
        static_cast<short>(amplitude * std::sin(i * 2 * 3.14159265358979 * 440 / header.nSamplesPerSec));
    for (WORD c = 0; c < header.nChannels; ++c) samples[i * header.nChannels + c] = value;
  }
  return bytes;
}

double Rms16(const std::vector<BYTE>& bytes) {
  const auto* samples = reinterpret_cast<const short*>(bytes.data());
  const size_t count = bytes.size() / 2;
  double sum = 0;
  for (size_t i = 0; i < count; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return count == 0 ? 0 : std::sqrt(sum / count);
}

size_t ZeroCrossings16(const std::vector<BYTE>& bytes, WORD channels) {
  const auto* samples = reinterpret_cast<const short*>(bytes.data());
  const size_t frames = bytes.size() / 2 / channels;
  size_t crossings = 0;
  for (size_t i = 1; i < frames; ++i) {
    if ((samples[(i - 1) * channels] < 0) != (samples[i * channels] < 0)) ++crossings;
  }
  return crossings;
}

namespace {

class AcmIdBag final : public IPropertyBag {
 public:
  explicit AcmIdBag(int acmId) : m_acmId(acmId) {}
  virtual ~AcmIdBag() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IUnknown || riid == IID_IPropertyBag) {
      *ppv = static_cast<IPropertyBag*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return InterlockedIncrement(&m_ref); }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG ref = InterlockedDecrement(&m_ref);
    if (ref == 0) delete this;
    return ref;
  }
  HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
    if (wcscmp(name, L"AcmId") != 0) return E_INVALIDARG;
    V_VT(value) = VT_I4;
    V_I4(value) = m_acmId;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Write(LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }

 private:
  LONG m_ref = 1;
  int m_acmId;
};

}  // namespace

IPropertyBag* NewAcmIdBag(int acmId) { return new AcmIdBag(acmId); }

IBaseFilter* NewCompressor(WORD formatTag) {
  IBaseFilter* filter = nullptr;
  if (FAILED(CreateAcmCompressor(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)))) return nullptr;
  IPersistPropertyBag* persist = nullptr;
  filter->QueryInterface(IID_IPersistPropertyBag, reinterpret_cast<void**>(&persist));
  IPropertyBag* bag = NewAcmIdBag(formatTag);
  const HRESULT hr = persist->Load(bag, nullptr);
  bag->Release();
  persist->Release();
  if (FAILED(hr)) {
    filter->Release();
    return nullptr;
  }
  return filter;
}

IPin* PinOf(IBaseFilter* filter, int index) {
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return nullptr;
  IPin* pin = nullptr;
  pins->Skip(index);
  if (pins->Next(1, &pin, nullptr) != S_OK) pin = nullptr;
  pins->Release();
  return pin;
}

std::wstring PinName(IPin* pin) {
  PIN_INFO info = {};
  pin->QueryPinInfo(&info);
  if (info.pFilter != nullptr) info.pFilter->Release();
  return info.achName;
}

std::wstring PinId(IPin* pin) {
  LPWSTR id = nullptr;
  if (FAILED(pin->QueryId(&id))) return std::wstring();
  std::wstring text = id;
  CoTaskMemFree(id);
  return text;
}

bool WriteWav(const std::wstring& path, const std::vector<BYTE>& format, const std::vector<BYTE>& data) {
  FILE* file = _wfopen(path.c_str(), L"wb");
  if (file == nullptr) return false;
  auto put32 = [file](DWORD value) { fwrite(&value, 4, 1, file); };
  const bool pcm = Header(format).wFormatTag == WAVE_FORMAT_PCM;
  const DWORD factSize = pcm ? 0 : 12;
  fwrite("RIFF", 1, 4, file);
  put32(static_cast<DWORD>(4 + 8 + format.size() + factSize + 8 + data.size()));
  fwrite("WAVEfmt ", 1, 8, file);
  put32(static_cast<DWORD>(format.size()));
  fwrite(format.data(), 1, format.size(), file);
  if (!pcm) {
    fwrite("fact", 1, 4, file);
    put32(4);
    put32(0);
  }
  fwrite("data", 1, 4, file);
  put32(static_cast<DWORD>(data.size()));
  fwrite(data.data(), 1, data.size(), file);
  fclose(file);
  return true;
}

std::string ProbeAudio(const std::wstring& path) {
  const tavtest::UnixResult result = tavtest::RunUnixCommand(
      "ffprobe -v error -select_streams a:0 -show_entries stream=codec_name,sample_rate,channels "
      "-show_entries format=duration -of csv=p=0:nk=1 " +
      tavtest::ShellQuote(tavtest::UnixPathOf(path)));
  std::string output = result.output;
  for (char& c : output) {
    if (c == '\n') c = ',';
  }
  while (!output.empty() && output.back() == ',') output.pop_back();
  return output;
}

}  // namespace acmtest
