// Pushes full-HD RGB24 frames through the raw frame source filter in Wine's
// filter graph, the way the movie writer does (three events, AddFrame2), into
// a sink that keeps no bytes, and prints the frame rate, the copy bandwidth
// and the process's committed bytes before and after, to show that memory stays
// flat however many frames go through.
//
//   frame_path_bench.exe [frames]     (default 600)
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/BenchSupport.h"
#include "filters/PushPinReadRAW.h"
#include "filters/PushSourceReadRAW.h"
#include "tests/filters/HostHandOver.h"
#include "tests/filters/TestGraph.h"
#include "tests/filters/TestSinkFilter.h"

using bench::CommittedBytes;
using bench::Seconds;

int main(int argc, char** argv) {
  const int frames = bench::IntArgument(argc, argv, 1, 600);
  const UINT width = 1920;
  const int height = 1080;
  tavtest::ComScope com;
  HRESULT hr = S_OK;
  auto* filter = static_cast<CPushSourceReadRAW*>(CPushSourceReadRAW::CreateInstance(nullptr, &hr));
  IMovie2* movie = nullptr;
  filter->NonDelegatingQueryInterface(IID_IMovie2, reinterpret_cast<void**>(&movie));
  auto* sink = new tavtest::CTestSinkFilter();
  sink->NonDelegatingAddRef();
  sink->recordBytes = false;
  sink->recordSamples = false;
  tavtest::HostHandOver host;
  movie->SetEventHandles(host.hReady(), host.hBufferReady(), host.hBufferDone());
  movie->InitParam2(width, -height, 30.0, 0, 1);

  int rc = 1;
  {
    tavtest::TestGraph graph;
    if (FAILED(graph.created()) || FAILED(graph.Add(filter, L"RAW Data Filter")) || FAILED(graph.Add(sink, L"Sink")) ||
        FAILED(graph.ConnectFirstPins(filter, sink)) || FAILED(graph.Run())) {
      std::printf("graph setup failed\n");
    } else {
      std::vector<BYTE> frame(filter->m_pPin->m_pbmi->biSizeImage, 0x5A);
      const int warmUp = 30;
      SIZE_T before = 0;
      double start = 0;
      int failed = 0;
      for (int i = 0; i < warmUp + frames; ++i) {
        if (i == warmUp) {
          before = CommittedBytes();
          start = Seconds();
        }
        if (host.PushFrame(movie, frame.data(), static_cast<int>(frame.size()),
                           static_cast<unsigned __int64>(i) * 333333, i) != S_OK) {
          ++failed;
        }
      }
      double elapsed = Seconds() - start;
      sink->WaitForSamples(warmUp + frames, 5000);
      SIZE_T after = CommittedBytes();
      movie->ReleaseFilterData();
      sink->WaitForEndOfStream(5000);
      graph.Stop();
      const double mb = static_cast<double>(frame.size()) * frames / (1024.0 * 1024.0);
      std::printf("frames: %d (%ux%d RGB24, %u bytes each), failed hand-overs: %d\n", frames, width, height,
                  static_cast<unsigned>(frame.size()), failed);
      std::printf("time: %.3f s, %.1f frames/s, %.1f MB/s copied\n", elapsed, frames / elapsed, mb / elapsed);
      std::printf("committed bytes: %.1f MB before, %.1f MB after (%+.1f KB)\n", before / (1024.0 * 1024.0),
                  after / (1024.0 * 1024.0), (static_cast<double>(after) - static_cast<double>(before)) / 1024.0);
      rc = failed == 0 ? 0 : 1;
    }
  }
  movie->Release();
  sink->NonDelegatingRelease();
  return rc;
}
