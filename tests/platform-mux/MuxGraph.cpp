#include "MuxGraph.h"

#include "tests/common/GraphEvents.h"

#include <evcode.h>
#include <gtest/gtest.h>
#include <uuids.h>

void MuxGraph::Build() {
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                             reinterpret_cast<void**>(&graph)),
            S_OK);
  ASSERT_EQ(graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control)), S_OK);
  ASSERT_EQ(graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events)), S_OK);
  ASSERT_EQ(CAviMux::Create(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&mux)), S_OK);
  muxObject = static_cast<CAviMux*>(mux);
  ASSERT_EQ(graph->AddFilter(mux, L"AVI Mux"), S_OK);
}

MuxGraph::~MuxGraph() {
  if (control) {
    control->Stop();
    control->Release();
  }
  if (events) events->Release();
  if (graph) graph->Release();
  if (mux) mux->Release();
  if (sink) sink->Release();
  for (int i = 0; i < sourceCount_; ++i) sources_[i]->Release();
}

void MuxGraph::AddSink(const std::wstring& file, bool offerStream) {
  sink = TestStreamSink::Create(file, offerStream);
  ASSERT_EQ(graph->AddFilter(sink, L"File Writer"), S_OK);
}

void MuxGraph::AddSource(const AM_MEDIA_TYPE& mt, long bufferSize, const wchar_t* name, TestPushSource** source) {
  ASSERT_LT(sourceCount_, 4) << "MuxGraph holds four sources at most";
  *source = TestPushSource::Create(mt, bufferSize);
  sources_[sourceCount_++] = *source;
  ASSERT_EQ(graph->AddFilter(*source, name), S_OK);
}

void MuxGraph::StartVideoRecording(const AM_MEDIA_TYPE& mt, long bufferSize, const std::wstring& file,
                                   TestPushSource** source) {
  ASSERT_NO_FATAL_FAILURE(Build());
  ASSERT_NO_FATAL_FAILURE(AddSource(mt, bufferSize, L"v", source));
  ASSERT_NO_FATAL_FAILURE(AddSink(file));
  ASSERT_EQ(ConnectSourceToMux(*source), S_OK);
  ASSERT_EQ(ConnectMuxToSink(), S_OK);
  ASSERT_EQ(control->Run(), S_OK);
}

IPin* MuxGraph::MuxPin(const wchar_t* id) {
  IPin* pin = nullptr;
  mux->FindPin(id, &pin);
  return pin;
}

HRESULT MuxGraph::ConnectSourceToMux(TestPushSource* source) {
  // The first unconnected input, as a graph builder would find it.
  IEnumPins* pins = nullptr;
  HRESULT hr = mux->EnumPins(&pins);
  if (FAILED(hr)) return hr;
  IPin* pin = nullptr;
  hr = E_FAIL;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION dir;
    pin->QueryDirection(&dir);
    IPin* peer = nullptr;
    bool free = pin->ConnectedTo(&peer) == VFW_E_NOT_CONNECTED;
    if (peer) peer->Release();
    if (dir == PINDIR_INPUT && free) {
      hr = graph->ConnectDirect(source->OutputPin(), pin, nullptr);
      pin->Release();
      break;
    }
    pin->Release();
  }
  pins->Release();
  return hr;
}

HRESULT MuxGraph::ConnectMuxToSink() {
  IPin* out = MuxPin(L"AVI Out");
  if (!out) return VFW_E_NOT_FOUND;
  HRESULT hr = graph->ConnectDirect(out, sink->InputPin(), nullptr);
  out->Release();
  return hr;
}

bool MuxGraph::NextEvent(long* code, LONG_PTR* param1, DWORD timeoutMs) {
  LONG_PTR param2 = 0;
  return tavtest::NextGraphEvent(events, code, param1, &param2, timeoutMs) == S_OK;
}

HRESULT MuxGraph::FirstErrorAbort(DWORD timeoutMs) {
  long code = 0;
  LONG_PTR param = 0;
  while (NextEvent(&code, &param, timeoutMs)) {
    if (code == EC_ERRORABORT) return static_cast<HRESULT>(param);
  }
  return S_OK;
}
