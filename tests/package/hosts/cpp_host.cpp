// A C++17 host of the installed package: records 8 frames with audio into
// the file named by its argument through TavMovieMaker.hpp, its log in a file
// beside the movie.
#include <TavMovieMaker.hpp>

#include <cstdio>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) {
    std::printf("usage: cpp_host <movie.avi>\n");
    return 2;
  }
  const std::wstring movie = argv[1];
  try {
    tav::log::Sink log = tav::log::to_file(movie + L".log", 4, 1);
    tav::Recorder recorder(48, -32, 25.0, TAVMM_PIXEL_RGB32);
    for (const std::wstring& name : tav::video_compressors(recorder.id()))
      std::printf("video compressor: %ls\n", name.c_str());
    recorder.set_audio(16);
    for (const std::wstring& name : tav::audio_compressors(recorder.id()))
      std::printf("audio compressor: %ls\n", name.c_str());
    recorder.start(movie);
    std::vector<unsigned char> frame(48 * 32 * 4);
    std::vector<short> audio(1920 * 2);
    for (long long n = 0; n < 8; ++n) {
      frame.assign(frame.size(), static_cast<unsigned char>(n * 30));
      recorder.add_frame(frame.data(), frame.size(), n);
      recorder.add_audio(audio.data(), audio.size() * sizeof(short), n);
    }
    recorder.stop();
  } catch (const tav::Error& e) {
    std::printf("%s\n", e.what());
    return 1;
  }
  std::printf("recorded 8 frames with audio\n");
  return 0;
}
