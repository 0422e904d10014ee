#include "tests/filters/TestGraph.h"

#include <uuids.h>

namespace tavtest {

TestGraph::TestGraph() {
  m_hrCreate = CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                reinterpret_cast<void**>(&m_pGraph));
  if (SUCCEEDED(m_hrCreate)) {
    m_hrCreate = m_pGraph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&m_pControl));
  }
}

TestGraph::~TestGraph() { Release(); }

void TestGraph::Release() {
  if (m_pControl != nullptr) {
    m_pControl->Stop();
    m_pControl->Release();
    m_pControl = nullptr;
  }
  if (m_pGraph != nullptr) {
    m_pGraph->Release();
    m_pGraph = nullptr;
  }
}

HRESULT TestGraph::Add(IBaseFilter* pFilter, const wchar_t* pName) { return m_pGraph->AddFilter(pFilter, pName); }

IPin* FirstPin(IBaseFilter* pFilter) {
  IEnumPins* pEnum = nullptr;
  if (FAILED(pFilter->EnumPins(&pEnum))) return nullptr;
  IPin* pPin = nullptr;
  ULONG fetched = 0;
  if (pEnum->Next(1, &pPin, &fetched) != S_OK) pPin = nullptr;
  pEnum->Release();
  return pPin;
}

HRESULT TestGraph::ConnectFirstPins(IBaseFilter* pFrom, IBaseFilter* pTo) {
  IPin* pOut = FirstPin(pFrom);
  IPin* pIn = FirstPin(pTo);
  HRESULT hr = (pOut != nullptr && pIn != nullptr) ? m_pGraph->ConnectDirect(pOut, pIn, nullptr) : E_FAIL;
  if (pOut != nullptr) pOut->Release();
  if (pIn != nullptr) pIn->Release();
  return hr;
}

}  // namespace tavtest
