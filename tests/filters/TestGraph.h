// Wine's real filter graph (CLSID_FilterGraph) for tests: add filters,
// connect one output pin straight to one input pin, run and stop.
// Also a scoped COM initialisation for test fixtures. One test thread.
#pragma once

#include <windows.h>
#include <control.h>
#include <strmif.h>

namespace tavtest {

class ComScope {
 public:
  ComScope() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~ComScope() { CoUninitialize(); }
};

class TestGraph {
 public:
  TestGraph();
  ~TestGraph();  // stops the graph and releases it
  TestGraph(const TestGraph&) = delete;
  TestGraph& operator=(const TestGraph&) = delete;

  HRESULT created() const { return m_hrCreate; }
  IGraphBuilder* graph() const { return m_pGraph; }
  IMediaControl* control() const { return m_pControl; }

  HRESULT Add(IBaseFilter* pFilter, const wchar_t* pName);
  // The first pin of pFrom (its output) to the first pin of pTo, with no
  // type given (IGraphBuilder::ConnectDirect).
  HRESULT ConnectFirstPins(IBaseFilter* pFrom, IBaseFilter* pTo);
  HRESULT Run() { return m_pControl->Run(); }
  HRESULT Pause() { return m_pControl->Pause(); }
  HRESULT Stop() { return m_pControl->Stop(); }
  // Releases the graph now (the destructor does it otherwise).
  void Release();

 private:
  HRESULT m_hrCreate;
  IGraphBuilder* m_pGraph = nullptr;
  IMediaControl* m_pControl = nullptr;
};

// The first pin a filter enumerates (counted reference), or null.
IPin* FirstPin(IBaseFilter* pFilter);

}  // namespace tavtest
