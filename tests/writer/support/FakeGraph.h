// A stand-in filter graph for the stop path of the writer: an IGraphBuilder
// whose IMediaControl answer and Stop result the test chooses. Its graph
// methods do nothing. Single-threaded use; created with one reference.
#pragma once

#include "writer/ThrowingComPtr.h"

namespace tavtest {

class FakeGraph : public IGraphBuilder, public IMediaControl {
 public:
  // Result of QueryInterface(IID_IMediaControl): S_OK answers, anything else
  // is returned with a null pointer.
  HRESULT mediaControlQiResult = S_OK;
  HRESULT stopResult = S_OK;
  int stopCalls = 0;

  static FakeGraph* Create() { return new FakeGraph(); }

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IFilterGraph / IGraphBuilder
  STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFilters(IEnumFilters** e) override;
  STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter** f) override;
  STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }
  STDMETHODIMP Connect(IPin*, IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP Render(IPin*) override { return E_NOTIMPL; }
  STDMETHODIMP RenderFile(LPCWSTR, LPCWSTR) override { return E_NOTIMPL; }
  STDMETHODIMP AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter** f) override;
  STDMETHODIMP SetLogFile(DWORD_PTR) override { return E_NOTIMPL; }
  STDMETHODIMP Abort() override { return E_NOTIMPL; }
  STDMETHODIMP ShouldOperationContinue() override { return S_OK; }

  // IDispatch / IMediaControl
  STDMETHODIMP GetTypeInfoCount(UINT* n) override;
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** t) override;
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Run() override { return S_OK; }
  STDMETHODIMP Pause() override { return S_OK; }
  STDMETHODIMP Stop() override;
  STDMETHODIMP GetState(LONG, OAFilterState* state) override;
  STDMETHODIMP RenderFile(BSTR) override { return E_NOTIMPL; }
  STDMETHODIMP AddSourceFilter(BSTR, IDispatch** d) override;
  STDMETHODIMP get_FilterCollection(IDispatch** d) override;
  STDMETHODIMP get_RegFilterCollection(IDispatch** d) override;
  STDMETHODIMP StopWhenReady() override { return S_OK; }

 private:
  FakeGraph() = default;
  virtual ~FakeGraph() = default;
  LONG m_cRef = 1;
};

}  // namespace tavtest
