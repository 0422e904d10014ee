#pragma once
// A recording graph as the movie writer builds it, on the platform pack: the
// AVI Mux and File Writer are created through COM (CLSID_AviDest,
// CLSID_FileWriter, which the registered pack serves), the project's sources
// feed them, and Wine's filter graph manager runs it all. One test thread.

#include "tests/platform/GraphTestHelpers.h"

#include <dshow.h>

#include <string>

namespace platformtest {

class RecordingGraph {
 public:
  RecordingGraph();
  ~RecordingGraph();

  HRESULT Created() const { return m_created; }
  IBaseFilter* Mux() const { return m_mux.Get(); }
  IBaseFilter* Writer() const { return m_writer.Get(); }
  IMediaControl* Control() const { return m_control.Get(); }
  IMediaEvent* Events() const { return m_events.Get(); }

  // Builds the chain into file: the audio source (optional) on the mux's
  // first input, the video source on the next, the mux output to the
  // File Writer (first or last, as outputFirst says), then the file name.
  // Returns the first failure.
  HRESULT Build(IBaseFilter* video, IPin* videoOut, IBaseFilter* audio, IPin* audioOut, const std::wstring& file,
                bool outputFirst = false);

 private:
  HRESULT LinkToFreeMuxInput(IPin* out);
  HRESULT LinkMuxToWriter();

  HRESULT m_created = E_FAIL;
  Ref<IGraphBuilder> m_graph;
  Ref<IMediaControl> m_control;
  Ref<IMediaEvent> m_events;
  Ref<IBaseFilter> m_mux;
  Ref<IBaseFilter> m_writer;
};

}  // namespace platformtest
