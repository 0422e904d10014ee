// Cost and memory of the AVI Mux's layout writer: raw 640x480 RGB24 frames
// with 44.1 kHz stereo audio, written (1) to a sink that discards the bytes
// and (2) to a real file. The discarding sink shows the writer's own
// bookkeeping (headers, index entries, buffer hand-over) as time per frame:
// large samples go to the sink straight from the caller's memory, so nothing
// is copied there and a bandwidth figure would mean nothing. The file run
// prints MB/s. Both print the number and mean size of the sink writes, and
// the process's peak working set after 1 GB and at the end, which stay
// level: only the indexes grow.
//
// Usage: mux_layout_bench.exe [output file]   (default: no file test)
#include <windows.h>
#include <mmreg.h>
#include <psapi.h>

#include <cstdio>
#include <vector>

#include "mux/AviLayoutWriter.h"

namespace {

class NullSink : public PositionalWriter {
 public:
  HRESULT WriteAt(std::uint64_t, const void*, std::size_t size) override {
    ++writes;
    bytes += size;
    return S_OK;
  }
  unsigned long long writes = 0, bytes = 0;
};

class Win32FileSink : public PositionalWriter {
 public:
  explicit Win32FileSink(const wchar_t* path)
      : file_(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~Win32FileSink() override {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
  }
  bool Ok() const { return file_ != INVALID_HANDLE_VALUE; }
  HRESULT WriteAt(std::uint64_t offset, const void* data, std::size_t size) override {
    ++writes;
    bytes += size;
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(offset);
    DWORD written = 0;
    if (!SetFilePointerEx(file_, at, nullptr, FILE_BEGIN) ||
        !WriteFile(file_, data, static_cast<DWORD>(size), &written, nullptr) || written != size)
      return HRESULT_FROM_WIN32(GetLastError());
    return S_OK;
  }
  unsigned long long writes = 0, bytes = 0;

 private:
  HANDLE file_;
};

double PeakMegabytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PeakWorkingSetSize / 1048576.0;
}

template <typename Sink>
void Run(const char* label, Sink& sink, unsigned long long totalBytes, bool bandwidth) {
  AviStreamFormat audio;
  audio.isVideo = false;
  WAVEFORMATEX wfx = {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  const auto* w = reinterpret_cast<const std::uint8_t*>(&wfx);
  audio.format.assign(w, w + sizeof wfx);
  AviStreamFormat video;
  BITMAPINFOHEADER bih = {sizeof bih, 640, 480, 1, 24, BI_RGB, 640 * 480 * 3, 0, 0, 0, 0};
  const auto* b = reinterpret_cast<const std::uint8_t*>(&bih);
  video.format.assign(b, b + sizeof bih);
  video.frameDuration = 400000;

  AviLayoutWriter writer(sink, AviLayoutOptions());
  writer.AddStream(audio);
  writer.AddStream(video);
  if (FAILED(writer.Begin())) {
    std::printf("%s: cannot start\n", label);
    return;
  }
  std::vector<std::uint8_t> frame(640 * 480 * 3, 0x5A), pcm(7056, 0x11);
  LARGE_INTEGER frequency, start, now;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  bool reported = false;
  while (writer.FileSize() < totalBytes) {
    if (FAILED(writer.WriteSample(0, pcm.data(), static_cast<std::uint32_t>(pcm.size()), true)) ||
        FAILED(writer.WriteSample(1, frame.data(), static_cast<std::uint32_t>(frame.size()), true))) {
      std::printf("%s: write failed\n", label);
      return;
    }
    if (!reported && writer.FileSize() >= (1ull << 30)) {
      std::printf("%s: peak working set after 1 GB: %.1f MB\n", label, PeakMegabytes());
      reported = true;
    }
  }
  writer.Finish();
  QueryPerformanceCounter(&now);
  double seconds = double(now.QuadPart - start.QuadPart) / frequency.QuadPart;
  const unsigned long long frames = writer.StreamLength(1);
  if (bandwidth)
    std::printf("%s: %.2f GB in %.3f s = %.0f MB/s, %llu frames, %llu sink writes of %.0f KB on average\n", label,
                writer.FileSize() / 1073741824.0, seconds, writer.FileSize() / 1048576.0 / seconds, frames, sink.writes,
                sink.bytes / 1024.0 / (sink.writes ? sink.writes : 1));
  else
    std::printf(
        "%s: %llu frames (each with an audio block) in %.3f s = %.2f us of bookkeeping per frame "
        "(nothing copied: not a bandwidth), %llu sink writes\n",
        label, frames, seconds, seconds * 1e6 / (frames ? frames : 1), sink.writes);
  std::printf("%s: peak working set after %.1f GB: %.1f MB\n", label, writer.FileSize() / 1073741824.0,
              PeakMegabytes());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  NullSink null;
  Run("discarding sink", null, 4ull << 30, false);
  if (argc > 1) {
    Win32FileSink file(argv[1]);
    if (!file.Ok()) {
      std::printf("cannot create the file\n");
      return 1;
    }
    Run("file", file, 1ull << 30, true);
    DeleteFileW(argv[1]);
  }
  return 0;
}
