// Soak: many recordings in a row on one writer, as a camera viewer makes them
// over hours, through the public header. Every N cycles the process's handle
// count and committed bytes are sampled; a least-squares line through the
// samples (after the first tenth, the warm-up) gives the growth per cycle,
// which must stay below one handle per ten cycles and 4 KB per cycle. Every
// movie is read back at the end: each holds every frame that was acknowledged.
// Then (reported, not judged: Wine's own objects may grow there) the same
// figures for whole Init/Release cycles.
//
//   tav_soak [--cycles N] [--sample-every K] [--frames F] [--init-release M]
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/soak/ProcessFigures.h"

namespace {

using tavsoak::Measure;
using tavsoak::Sample;
using tavsoak::Slope;

// Reads every movie back in one shell run ("soakN.avi frames" per line) and
// compares with what was acknowledged; returns the number of movies that differ.
int CountMissingFrames(const std::wstring& dir, const std::vector<int>& acknowledged) {
  const std::string unixDir = tavtest::UnixPathOf(dir);
  tavtest::UnixResult r = tavtest::RunUnixCommand(
      "cd " + tavtest::ShellQuote(unixDir) +
          " && for f in soak*.avi; do echo \"$f $(ffprobe -v error "
          "-select_streams v:0 -show_entries packet=size -of csv=p=0 \"$f\" | grep -vc '^0$')\"; done",
      600000);
  std::vector<int> found(acknowledged.size(), -1);
  char name[64];
  int frames = 0;
  for (const char* line = r.output.c_str(); *line;) {
    unsigned cycle = 0;
    if (sscanf(line, "%63s %d", name, &frames) == 2 && sscanf(name, "soak%u.avi", &cycle) == 1 && cycle < found.size())
      found[cycle] = frames;
    const char* end = strchr(line, '\n');
    if (!end) break;
    line = end + 1;
  }
  int differing = 0;
  for (std::size_t c = 0; c < acknowledged.size(); ++c) {
    if (found[c] != acknowledged[c]) {
      printf("cycle %zu: the movie holds %d frames, %d were acknowledged\n", c, found[c], acknowledged[c]);
      ++differing;
    }
  }
  printf("%zu movies read back, %d differ from what was acknowledged\n", acknowledged.size(), differing);
  return differing;
}

void PrintSamples(const char* title, const std::vector<Sample>& samples) {
  printf("%s\n  cycle  handles  committed KB\n", title);
  for (const Sample& s : samples) printf("  %5.0f  %7.0f  %12.0f\n", s.cycle, s.handles, s.committed / 1024);
}

}  // namespace

int main(int argc, char** argv) {
  int cycles = 60, every = 6, frames = 5, initRelease = 10;
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string arg = argv[i];
    int value = atoi(argv[i + 1]);
    if (arg == "--cycles") cycles = value;
    else if (arg == "--sample-every") every = value;
    else if (arg == "--frames") frames = value;
    else if (arg == "--init-release") initRelease = value;
  }
  tavtest::MovieMakerDll dll;
  if (!dll.ok()) {
    printf("TavMovieMaker.dll or one of its exports was not found\n");
    return 2;
  }
  const std::wstring dir = tavtest::MakeTempDir();
  const int width = 64, height = 48;
  std::string frame(width * height * 3, '\x40');
  int id = 0;
  HRESULT hr = dll.InitEx(width, height, 25.0, nullptr, &id);
  if (hr != S_OK) {
    printf("TavMovieMakerInitEx: 0x%08lX\n", hr);
    return 1;
  }
  int failures = 0;
  std::vector<Sample> samples;
  std::vector<int> acknowledged(static_cast<size_t>(cycles), 0);
  for (int c = 0; c < cycles; ++c) {
    std::wstring movie = dir + L"soak" + std::to_wstring(c) + L".avi";
    if ((hr = dll.StartMovieRecord(id, movie.c_str())) != S_OK) {
      printf("cycle %d: TavMovieMakerStartMovieRecord: 0x%08lX\n", c, hr);
      return 1;
    }
    for (int f = 0; f < frames; ++f) {
      frame[0] = static_cast<char>(f);
      hr = dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), f * 400000LL, f);
      if (hr == S_OK) ++acknowledged[static_cast<size_t>(c)];
      else printf("cycle %d frame %d: TavMovieMakerAddMovieFrame2: 0x%08lX\n", c, f, hr), ++failures;
    }
    if ((hr = dll.StopMovieRecord(id)) != S_OK) {
      printf("cycle %d: TavMovieMakerStopMovieRecord: 0x%08lX\n", c, hr);
      return 1;
    }
    if ((c + 1) % every == 0) samples.push_back(Measure(c + 1));
  }
  dll.Release(id);
  failures += CountMissingFrames(dir, acknowledged);

  const double handleSlope = Slope(samples, &Sample::handles);
  const double memorySlope = Slope(samples, &Sample::committed);
  PrintSamples("start/stop cycles on one writer:", samples);
  printf("growth per cycle: %.3f handles, %.0f bytes committed\n", handleSlope, memorySlope);
  if (handleSlope >= 0.1) printf("FAIL: handles grow with every recording\n"), ++failures;
  if (memorySlope >= 4096) printf("FAIL: committed memory grows with every recording\n"), ++failures;

  // Whole writers: Init, one short recording, Release (the writer object goes).
  std::vector<Sample> writerSamples;
  for (int c = 0; c < initRelease; ++c) {
    int wid = 0;
    if (dll.InitEx(width, height, 25.0, nullptr, &wid) == S_OK) {
      std::wstring movie = dir + L"writer.avi";
      dll.StartMovieRecord(wid, movie.c_str());
      dll.AddMovieFrame2(wid, &frame[0], static_cast<unsigned>(frame.size()), 0, 0);
      dll.StopMovieRecord(wid);
      dll.Release(wid);
    }
    if ((c + 1) % every == 0) writerSamples.push_back(Measure(c + 1));
  }
  if (!writerSamples.empty()) {
    PrintSamples("Init/Release cycles (reported only):", writerSamples);
    printf("growth per Init/Release: %.3f handles, %.0f bytes committed\n", Slope(writerSamples, &Sample::handles),
           Slope(writerSamples, &Sample::committed));
  }
  printf("%s\n", failures == 0 ? "soak passed" : "soak FAILED");
  return failures == 0 ? 0 : 1;
}
