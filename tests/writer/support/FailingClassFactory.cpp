#include "tests/writer/support/FailingClassFactory.h"

namespace tavtest {

namespace {

class FailingFactory : public IClassFactory {
 public:
  explicit FailingFactory(HRESULT result) : m_result(result) {}
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
  STDMETHODIMP CreateInstance(IUnknown*, REFIID, void** object) override {
    if (object) *object = nullptr;
    return m_result;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  virtual ~FailingFactory() = default;
  HRESULT m_result;
  LONG m_cRef = 1;
};

}  // namespace

FailingClasses::~FailingClasses() {
  for (DWORD cookie : m_cookies) CoRevokeClassObject(cookie);
}

HRESULT FailingClasses::Add(REFCLSID clsid) {
  FailingFactory* factory = new FailingFactory(m_result);
  DWORD cookie = 0;
  HRESULT hr = CoRegisterClassObject(clsid, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  factory->Release();
  if (SUCCEEDED(hr)) m_cookies.push_back(cookie);
  return hr;
}

}  // namespace tavtest
