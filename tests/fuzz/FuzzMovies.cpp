#include "tests/fuzz/FuzzMovies.h"

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace tavfuzz {

std::string Judge(const MovieToCheck& movie, const tavtest::ProbedMovie& probed) {
  const std::string started = "the movie started at step " + std::to_string(movie.startStep);
  // At least one frame was acknowledged: no packet means ffprobe failed.
  if (probed.packets.empty())
    return "ffprobe cannot read the movie started at step " + std::to_string(movie.startStep) + ": " + probed.error;
  // ffprobe lists the frames with their slots as time stamps.
  long long nonEmpty = 0, lastSlot = -1;
  for (const tavtest::Packet& p : probed.packets) {
    if (p.size <= 0) continue;
    ++nonEmpty;
    lastSlot = p.pts;
  }
  if (nonEmpty != movie.frames)
    return started + " holds " + std::to_string(nonEmpty) + " frames, " + std::to_string(movie.frames) +
           " were acknowledged";
  if (movie.slotsKnown && lastSlot + 1 != movie.slots)
    return started + " holds " + std::to_string(lastSlot + 1) + " slots, " + std::to_string(movie.slots) + " expected";
  return std::string();
}

// "seed step startStep frames slotsKnown slots path" (the path last: our
// temporary paths hold no line breaks).
bool AppendToManifest(const std::wstring& manifest, const MovieToCheck& movie) {
  FILE* file = _wfopen(manifest.c_str(), L"ab");
  if (!file) return false;
  const std::string path(movie.file.begin(), movie.file.end());
  const bool written = fprintf(file, "%llu %d %d %lld %d %lld %s\n", movie.seed, movie.step, movie.startStep,
                               movie.frames, movie.slotsKnown ? 1 : 0, movie.slots, path.c_str()) > 0;
  return fclose(file) == 0 && written;
}

std::vector<MovieToCheck> ReadManifest(const std::wstring& manifest) {
  std::vector<MovieToCheck> movies;
  std::ifstream in(manifest.c_str(), std::ios::binary);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    MovieToCheck movie;
    int slotsKnown = 0;
    std::string path;
    if (!(fields >> movie.seed >> movie.step >> movie.startStep >> movie.frames >> slotsKnown >> movie.slots)) continue;
    std::getline(fields >> std::ws, path);
    movie.slotsKnown = slotsKnown != 0;
    movie.file.assign(path.begin(), path.end());
    movies.push_back(movie);
  }
  return movies;
}

MovieFailure CheckMovies(const std::vector<MovieToCheck>& movies) {
  std::vector<std::wstring> files;
  for (const MovieToCheck& movie : movies) files.push_back(movie.file);
  const std::vector<tavtest::ProbedMovie> probed = tavtest::ProbePacketsOfEach(files, "v:0");
  MovieFailure failure;
  for (std::size_t i = 0; i < movies.size(); ++i) {
    std::string message = Judge(movies[i], probed[i]);
    if (message.empty()) {
      DeleteFileW(movies[i].file.c_str());
    } else if (!failure.found || movies[i].seed < failure.movie.seed) {
      failure = {true, movies[i], message};
    }
  }
  return failure;
}

}  // namespace tavfuzz
