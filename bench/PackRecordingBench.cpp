// Records full-HD RGB24 frames (and, with "audio", 16-bit stereo PCM) through
// the platform pack's AVI Mux and File Writer in Wine's filter graph, fed by
// the project's own sources as the movie writer feeds them, and prints the
// frame rate, the bytes per second reaching the file and the process's
// committed bytes before and after, to show that memory stays flat however
// long the recording. Run it through cmake/wine-run.sh, which registers the
// pack into the prefix.
//
//   pack_recording_bench.exe [frames] [audio] [folder]   (default 300, Z:\tmp)
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "tests/platform/GraphTestHelpers.h"
#include "tests/platform/PcmAudioInput.h"
#include "tests/platform/RawVideoInput.h"
#include "tests/platform/RecordingGraph.h"

using namespace platformtest;

using bench::CommittedBytes;
using bench::Seconds;

int main(int argc, char** argv) {
  const int frames = bench::IntArgument(argc, argv, 1, 300);
  const bool withAudio = argc > 2 && std::strcmp(argv[2], "audio") == 0;
  std::wstring folder = L"Z:\\tmp";
  if (argc > 3) {
    wchar_t wide[MAX_PATH] = {};
    MultiByteToWideChar(CP_ACP, 0, argv[3], -1, wide, MAX_PATH);
    folder = wide;
  }
  const std::wstring file = folder + L"\\pack_recording_bench.avi";
  const UINT width = 1920;
  const int height = 1080;
  const double fps = 30.0;

  ComScope com;
  int rc = 1;
  {
    RawVideoInput video(0, width, -height, fps);
    PcmAudioInput audio(16, 30);
    RecordingGraph graph;
    HRESULT hr = graph.Created();
    if (SUCCEEDED(hr))
      hr = graph.Build(video.Filter(), video.OutputPin(), withAudio ? audio.Filter() : nullptr,
                       withAudio ? audio.OutputPin() : nullptr, file);
    if (SUCCEEDED(hr)) hr = graph.Control()->Run();
    if (FAILED(hr)) {
      std::printf("graph failed: 0x%08lX\n", static_cast<unsigned long>(hr));
      return 1;
    }
    std::vector<BYTE> frame(static_cast<size_t>(width) * 3 * height);
    std::vector<BYTE> block(48000 / 30 * 4);
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<BYTE>(i * 7);

    // The first frames warm up allocators and file; measure after them.
    const int warmUp = frames > 30 ? 30 : 0;
    SIZE_T before = 0;
    double start = 0;
    for (int i = 0; i < frames && SUCCEEDED(hr); ++i) {
      if (i == warmUp) {
        before = CommittedBytes();
        start = Seconds();
      }
      frame[static_cast<size_t>(i) % frame.size()] ^= 0xFF;
      if (withAudio) hr = audio.Push(block.data(), static_cast<int>(block.size()), i * 333333ull, i + 1);
      if (SUCCEEDED(hr)) hr = video.Push(frame.data(), static_cast<int>(frame.size()), i * 333333ull, i + 1);
    }
    const double elapsed = Seconds() - start;
    const SIZE_T after = CommittedBytes();
    video.End();
    if (withAudio) audio.End();
    long code = 0;
    graph.Events()->WaitForCompletion(10000, &code);
    graph.Control()->Stop();
    const int measured = frames - warmUp;
    const double bytes = static_cast<double>(measured) * (frame.size() + (withAudio ? block.size() : 0));
    std::printf("frames %d (%ux%d RGB24%s), %.2f s: %.1f frames/s, %.1f MB/s to the file\n", measured, width, height,
                withAudio ? " + 16-bit stereo PCM" : "", elapsed, measured / elapsed, bytes / elapsed / 1e6);
    std::printf("committed bytes: %.1f MB before, %.1f MB after (%+.1f MB)\n", before / 1e6, after / 1e6,
                (static_cast<double>(after) - static_cast<double>(before)) / 1e6);
    std::printf("result 0x%08lX, stream error 0x%08lX\n", static_cast<unsigned long>(hr),
                static_cast<unsigned long>(video.StreamError()));
    rc = SUCCEEDED(hr) ? 0 : 1;
  }
  DeleteFileW(file.c_str());
  return rc;
}
