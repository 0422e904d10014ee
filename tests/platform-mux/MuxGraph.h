// A recording graph for the mux tests: Wine's filter graph manager holding
// test sources, the pack's AVI Mux (created directly, not through the
// registry) and a test sink. Build, AddSink, AddSource and
// StartVideoRecording stop the test when they fail: call them through
// ASSERT_NO_FATAL_FAILURE, which names the caller's line.
#pragma once

#include <windows.h>
#include <control.h>
#include <strmif.h>

#include <string>

#include "TestPushSource.h"
#include "TestStreamSink.h"
#include "mux/AviMux.h"

class MuxGraph {
 public:
  ~MuxGraph();

  // The graph manager with the mux in it.
  void Build();

  IGraphBuilder* graph = nullptr;
  IMediaControl* control = nullptr;
  IMediaEvent* events = nullptr;
  IBaseFilter* mux = nullptr;
  CAviMux* muxObject = nullptr;
  TestStreamSink* sink = nullptr;

  void AddSink(const std::wstring& file, bool offerStream = true);
  void AddSource(const AM_MEDIA_TYPE& mt, long bufferSize, const wchar_t* name, TestPushSource** source);
  // Build, one video source "v" of type mt, the sink writing file, both
  // connected, and the graph running.
  void StartVideoRecording(const AM_MEDIA_TYPE& mt, long bufferSize, const std::wstring& file, TestPushSource** source);
  HRESULT ConnectSourceToMux(TestPushSource* source);  // to the first free input
  HRESULT ConnectMuxToSink();
  IPin* MuxPin(const wchar_t* id);  // counted reference, or null
  // The next event within timeoutMs: true and its code/param1, or false.
  bool NextEvent(long* code, LONG_PTR* param1, DWORD timeoutMs);
  // The HRESULT of the first EC_ERRORABORT, the events before it skipped;
  // S_OK when none comes within timeoutMs of the last event.
  HRESULT FirstErrorAbort(DWORD timeoutMs);

 private:
  TestPushSource* sources_[4] = {};
  int sourceCount_ = 0;
};
