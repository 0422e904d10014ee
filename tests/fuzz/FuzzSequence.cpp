#include "tests/fuzz/FuzzSequence.h"

#include <random>

namespace tavfuzz {

const char* CallName(Call call) {
  static const char* const names[] = {"TavMovieMakerInitEx",
                                      "TavMovieMakerInit2",
                                      "TavMovieMakerInit",
                                      "TavMovieMakerRelease",
                                      "TavMovieMakerStartMovieRecord",
                                      "TavMovieMakerStopMovieRecord",
                                      "TavMovieMakerSetAudioStream",
                                      "TavMovieMakerAddMovieFrame2",
                                      "TavMovieMakerAddMovieFrame",
                                      "TavMovieMakerAddAudioSample2",
                                      "TavMovieMakerAddAudioSample",
                                      "TavMovieMakerAddBreakFrame",
                                      "TavMovieMakerGetCompressors",
                                      "TavMovieMakerGetAudioCompressors",
                                      "TavMovieMakerSetCompressor",
                                      "TavMovieMakerSetAudioCompressor",
                                      "TavMovieMakerShowCompressorDlg",
                                      "TavMovieMakerShowAudioCompressorDlg",
                                      "TavLogCreateEngine",
                                      "TavLogDeleteEngine",
                                      "TavLogAttachCallback",
                                      "TavLogAttachFile",
                                      "TavLogAttachDebugger",
                                      "TavLogSetSink",
                                      "TavLogDetachSink",
                                      "TavLogListen",
                                      "TavLogModuleKey",
                                      "TavLogWrite"};
  return names[static_cast<int>(call)];
}

namespace {

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : rng_(seed) {}

  std::vector<Step> Sequence() {
    const std::size_t length = 20 + Below(31);
    while (steps_.size() < length) {
      if (Below(100) < 40) RecordingBlock();
      else Single(static_cast<Call>(Below(static_cast<std::uint32_t>(Call::Count))), 30);
    }
    return steps_;
  }

 private:
  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(rng_() % n); }

  // An argument choice: ordinary with `ordinaryPercent`, else an odd value.
  std::uint32_t Choice(int ordinaryPercent) {
    return static_cast<int>(Below(100)) < ordinaryPercent ? 0 : 1 + Below(1u << 30);
  }

  void Single(Call call, int ordinaryPercent) {
    Step step{call, {}};
    for (std::uint32_t& a : step.arg) a = Choice(ordinaryPercent);
    steps_.push_back(step);
  }

  // What a host does for one movie, with a few odd arguments among them.
  void RecordingBlock() {
    Single(Below(4) == 0 ? Call::Init2 : Call::InitEx, 85);
    const bool audio = Below(3) == 0;
    if (audio) Single(Call::SetAudioStream, 85);
    if (Below(4) == 0) {
      Single(Call::GetCompressors, 90);
      Single(Call::GetCompressors, 90);
      Single(Call::SetCompressor, 70);
    }
    if (audio && Below(3) == 0) {
      Single(Call::GetAudioCompressors, 90);
      Single(Call::GetAudioCompressors, 90);
      Single(Call::SetAudioCompressor, 70);
    }
    Single(Call::Start, 90);
    const std::uint32_t frames = 1 + Below(8);
    for (std::uint32_t i = 0; i < frames; ++i) {
      Single(Below(3) == 0 ? Call::AddFrame : Call::AddFrame2, 85);
      if (audio) Single(Below(2) == 0 ? Call::AddAudio2 : Call::AddAudio, 85);
      if (Below(20) == 0) Single(Call::AddBreak, 90);
    }
    Single(Call::Stop, 95);
  }

  std::mt19937_64 rng_;
  std::vector<Step> steps_;
};

}  // namespace

std::vector<Step> GenerateSequence(std::uint64_t seed) { return Generator(seed).Sequence(); }

}  // namespace tavfuzz
