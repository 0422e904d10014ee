// A writer set up the way the exports set one up, for graph tests: the six
// hand-over events and the main mutex "AviWrt_MainMutex" (tests using it
// hold the CTest lock "main-mutex"), the raw frame source filter, the AVI
// Mux and File Writer (the platform pack's in the test prefix), optionally
// the audio source filter, and record 1 in the registry loaded as writer 1.
// It also drives a recording: the start sequence, the frame and sample
// hand-over, and the stop. Everything runs on the test's thread, which must
// have COM initialised.
#pragma once

#include <string>
#include <vector>

#include "writer/CAviWriter.h"

namespace tavtest {

struct RigSettings {
  UINT width = 64;
  int height = 48;
  double fps = 25.0;
  UINT pixelFormat = 0;  // 0 RGB24, 1 RGB32, 2 grey, 3 YUY2
  bool audio = false;
  UINT audioFormat = 16;  // 16: 16-bit PCM, else 24-bit
};

// One pin connection as read back from the graph:
// "RAW Data Filter/Out -> AVI Mux/Input 01".
using Connections = std::vector<std::wstring>;

class GraphRig {
 public:
  GraphRig();
  ~GraphRig();
  GraphRig(const GraphRig&) = delete;
  GraphRig& operator=(const GraphRig&) = delete;

  // Makes the graph objects, events, mutex and filters; S_OK or the first
  // failure.
  HRESULT Setup(const RigSettings& settings);
  CAviWriter& Writer() { return *m_pWriter; }

  // What TavMovieMakerStartMovieRecord and the first frame do: file name,
  // events reset, filters initialised, then Stop, MakeCaptureGraph, Run.
  // Returns the first failure (MakeCaptureGraph's result included).
  HRESULT Start(const std::wstring& fileName);
  // One frame or audio block through the hand-over protocol (10 s waits).
  HRESULT PushFrame(const void* data, int size, ULONGLONG time, ULONGLONG frameNumber);
  HRESULT PushAudio(const void* data, int size, ULONGLONG time, ULONGLONG number);
  // Marks a break in the video (and audio) stream.
  void PushBreak();
  // What TavMovieMakerStopMovieRecord does: ReleaseFilterData, StopRecord,
  // EmptyGraph. The StopRecord result.
  HRESULT Stop();

  // The names of the filters in the graph, sorted.
  std::vector<std::wstring> FilterNames() const;
  // Every connection, from each output pin, sorted.
  Connections ConnectionList() const;
  // The media type on the connection into the named filter's named pin; false
  // when there is none.
  bool ConnectionType(const std::wstring& filter, const std::wstring& pin, AM_MEDIA_TYPE* type) const;

 private:
  HRESULT PushBlock(bool audio, const void* data, int size, ULONGLONG time, ULONGLONG number);

  RigSettings m_settings;
  CAviWriter* m_pWriter = nullptr;
};

}  // namespace tavtest
