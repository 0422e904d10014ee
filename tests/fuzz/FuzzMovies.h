// The movies of clean recordings (see FuzzHost.h) and what each must hold,
// checked one at a time (a replay) or many with one Unix process: a child
// copies each movie aside when its recording stops and lists it in a
// manifest file, and the watching parent reads them all back when the child
// has ended, however it ended.
#pragma once

#include <string>
#include <vector>

#include "tests/api/MovieCheck.h"

namespace tavfuzz {

struct MovieToCheck {
  unsigned long long seed = 0;
  int step = -1;       // the StopMovieRecord that ended the recording
  int startStep = -1;  // its StartMovieRecord
  std::wstring file;
  long long frames = 0;    // frames acknowledged with S_OK
  bool slotsKnown = true;  // frames numbered in order at a sane rate
  long long slots = 0;     // slots the mux writes (gaps capped)
};

// What is wrong with the movie, given ffprobe's reading of its video stream;
// empty when nothing is.
std::string Judge(const MovieToCheck& movie, const tavtest::ProbedMovie& probed);

// One manifest line per movie, appended (and on disk) at once, so a child
// that dies later still leaves its earlier movies listed.
bool AppendToManifest(const std::wstring& manifest, const MovieToCheck& movie);
std::vector<MovieToCheck> ReadManifest(const std::wstring& manifest);

struct MovieFailure {
  bool found = false;
  MovieToCheck movie;  // the failing movie of the lowest seed
  std::string message;
};
// Reads every movie back with one Unix process; deletes the movies that pass.
MovieFailure CheckMovies(const std::vector<MovieToCheck>& movies);

}  // namespace tavfuzz
