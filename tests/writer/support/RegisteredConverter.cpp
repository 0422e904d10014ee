#include "tests/writer/support/RegisteredConverter.h"

#include "tests/writer/support/FakeCompressor.h"
#include "writer/ThrowingComPtr.h"

namespace tavtest {

namespace {

// {0D6C7B84-2F3E-4C61-A8E5-55B1C9E0F2A7}
const CLSID kConverterClsid = {0x0d6c7b84, 0x2f3e, 0x4c61, {0xa8, 0xe5, 0x55, 0xb1, 0xc9, 0xe0, 0xf2, 0xa7}};

class ConverterFactory : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
      *object = static_cast<IClassFactory*>(this);
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
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    IBaseFilter* filter = FakeCompressor::CreateInstance(MEDIASUBTYPE_RGB32, {MEDIASUBTYPE_RGB24, 24});
    HRESULT hr = filter->QueryInterface(riid, object);
    filter->Release();
    return hr;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  virtual ~ConverterFactory() = default;
  LONG m_cRef = 1;
};

}  // namespace

RegisteredConverter::RegisteredConverter() {
  ConverterFactory* factory = new ConverterFactory();
  m_result = CoRegisterClassObject(kConverterClsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie);
  factory->Release();
  if (FAILED(m_result)) return;

  IFilterMapper2* mapper = nullptr;
  m_result = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                              reinterpret_cast<void**>(&mapper));
  if (FAILED(m_result)) return;
  REGPINTYPES video = {&MEDIATYPE_Video, &GUID_NULL};
  REGFILTERPINS2 pins[2] = {};
  pins[0].nMediaTypes = 1;
  pins[0].lpMediaType = &video;
  pins[1].dwFlags = REG_PINFLAG_B_OUTPUT;
  pins[1].nMediaTypes = 1;
  pins[1].lpMediaType = &video;
  REGFILTER2 filter = {};
  filter.dwVersion = 2;
  filter.dwMerit = MERIT_NORMAL;
  filter.cPins2 = 2;
  filter.rgPins2 = pins;
  m_result = mapper->RegisterFilter(kConverterClsid, L"TavTest RGB Converter", nullptr, &CLSID_LegacyAmFilterCategory,
                                    nullptr, &filter);
  m_bMapped = SUCCEEDED(m_result);
  mapper->Release();
}

RegisteredConverter::~RegisteredConverter() {
  if (m_bMapped) {
    IFilterMapper2* mapper = nullptr;
    if (SUCCEEDED(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                                   reinterpret_cast<void**>(&mapper)))) {
      mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, kConverterClsid);
      mapper->Release();
    }
  }
  if (m_cookie) CoRevokeClassObject(m_cookie);
}

}  // namespace tavtest
