#include "tests/writer/support/FakeGraph.h"

namespace tavtest {

namespace {
template <class T>
HRESULT NoObject(T** object) {
  if (object) *object = nullptr;
  return E_NOTIMPL;
}
}  // namespace

STDMETHODIMP FakeGraph::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (riid == IID_IUnknown || riid == IID_IFilterGraph || riid == IID_IGraphBuilder) {
    *object = static_cast<IGraphBuilder*>(this);
  } else if (riid == IID_IMediaControl) {
    if (mediaControlQiResult != S_OK) return mediaControlQiResult;
    *object = static_cast<IMediaControl*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) FakeGraph::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

STDMETHODIMP_(ULONG) FakeGraph::Release() {
  LONG left = InterlockedDecrement(&m_cRef);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

STDMETHODIMP FakeGraph::EnumFilters(IEnumFilters** e) { return NoObject(e); }
STDMETHODIMP FakeGraph::FindFilterByName(LPCWSTR, IBaseFilter** f) { return NoObject(f); }
STDMETHODIMP FakeGraph::AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter** f) { return NoObject(f); }

STDMETHODIMP FakeGraph::GetTypeInfoCount(UINT* n) {
  if (n) *n = 0;
  return S_OK;
}
STDMETHODIMP FakeGraph::GetTypeInfo(UINT, LCID, ITypeInfo** t) { return NoObject(t); }

STDMETHODIMP FakeGraph::Stop() {
  ++stopCalls;
  return stopResult;
}

STDMETHODIMP FakeGraph::GetState(LONG, OAFilterState* state) {
  if (!state) return E_POINTER;
  *state = State_Stopped;
  return S_OK;
}

STDMETHODIMP FakeGraph::AddSourceFilter(BSTR, IDispatch** d) { return NoObject(d); }
STDMETHODIMP FakeGraph::get_FilterCollection(IDispatch** d) { return NoObject(d); }
STDMETHODIMP FakeGraph::get_RegFilterCollection(IDispatch** d) { return NoObject(d); }

}  // namespace tavtest
