#include "tests/platform/RecordingGraph.h"

#include <uuids.h>

namespace platformtest {

namespace {

// ConnectDirect first, Connect when that fails, as the movie writer links.
HRESULT Link(IGraphBuilder* graph, IPin* out, IPin* in) {
  const HRESULT hr = graph->ConnectDirect(out, in, nullptr);
  return SUCCEEDED(hr) ? hr : graph->Connect(out, in);
}

// The first unconnected pin of that direction.
IPin* FreePin(IBaseFilter* filter, PIN_DIRECTION direction) {
  for (int i = 0;; ++i) {
    IPin* pin = FindPin(filter, direction, i);
    if (pin == nullptr) return nullptr;
    IPin* peer = nullptr;
    if (pin->ConnectedTo(&peer) == VFW_E_NOT_CONNECTED) return pin;
    if (peer != nullptr) peer->Release();
    pin->Release();
  }
}

}  // namespace

RecordingGraph::RecordingGraph() {
  m_created = CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, m_graph.OutVoid());
  if (SUCCEEDED(m_created))
    m_created = CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, m_mux.OutVoid());
  if (SUCCEEDED(m_created))
    m_created = CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, m_writer.OutVoid());
  if (SUCCEEDED(m_created)) m_created = m_graph->QueryInterface(IID_IMediaControl, m_control.OutVoid());
  if (SUCCEEDED(m_created)) m_created = m_graph->QueryInterface(IID_IMediaEvent, m_events.OutVoid());
}

RecordingGraph::~RecordingGraph() {
  if (m_control) m_control->Stop();
}

HRESULT RecordingGraph::Build(IBaseFilter* video, IPin* videoOut, IBaseFilter* audio, IPin* audioOut,
                              const std::wstring& file, bool outputFirst) {
  HRESULT hr = m_graph->AddFilter(video, L"RAW Data Filter");
  if (SUCCEEDED(hr)) hr = m_graph->AddFilter(m_mux.Get(), L"AVI Mux");
  if (SUCCEEDED(hr) && audio != nullptr) hr = m_graph->AddFilter(audio, L"Audio Source Filter");
  if (SUCCEEDED(hr)) hr = m_graph->AddFilter(m_writer.Get(), L"File Writer");
  if (SUCCEEDED(hr) && outputFirst) hr = LinkMuxToWriter();
  if (SUCCEEDED(hr) && audio != nullptr) hr = LinkToFreeMuxInput(audioOut);
  if (SUCCEEDED(hr)) hr = LinkToFreeMuxInput(videoOut);
  if (SUCCEEDED(hr) && !outputFirst) hr = LinkMuxToWriter();
  if (FAILED(hr)) return hr;
  Ref<IFileSinkFilter> sink;
  hr = m_writer->QueryInterface(IID_IFileSinkFilter, sink.OutVoid());
  return SUCCEEDED(hr) ? sink->SetFileName(file.c_str(), nullptr) : hr;
}

HRESULT RecordingGraph::LinkToFreeMuxInput(IPin* out) {
  Ref<IPin> in(FreePin(m_mux.Get(), PINDIR_INPUT));
  if (!in) return VFW_E_NOT_FOUND;
  return Link(m_graph.Get(), out, in.Get());
}

HRESULT RecordingGraph::LinkMuxToWriter() {
  Ref<IPin> out(FreePin(m_mux.Get(), PINDIR_OUTPUT));
  Ref<IPin> in(FreePin(m_writer.Get(), PINDIR_INPUT));
  if (!out || !in) return VFW_E_NOT_FOUND;
  return Link(m_graph.Get(), out.Get(), in.Get());
}

}  // namespace platformtest
