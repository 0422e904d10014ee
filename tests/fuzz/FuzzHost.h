// The host side of the fuzz run: TavMovieMaker.dll loaded with LoadLibraryW
// and every export found by name through the public header, one sequence of
// steps run on this one thread (as the header asks), and the movies of clean
// recordings read back with ffprobe.
//
// A clean recording: StartMovieRecord(id, a fresh file) returned S_OK for an
// ID the library's registry still holds (a call naming an unknown ID makes
// it forget every writer), with no Release since the last Init* that
// succeeded (Release closes the writer object's hand-over events), then
// only hand-overs, break frames, compressor lists and log calls for the same
// ID, every hand-over S_OK, and StopMovieRecord(id) S_OK. Its file must be
// readable, hold one non-empty video packet per acknowledged frame and, when
// the frames came numbered in order at a sane rate, one packet per slot.
//
// Calls that would only wait out the 10 s hand-over time-out (a frame with no
// recording running) are left out, except in the sequences asked to keep
// them; calls that reach a known hang can be left out too (see Options).
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzMovies.h"
#include "tests/fuzz/FuzzSequence.h"

namespace tavfuzz {

struct Options {
  // Keep Init* and StartMovieRecord while a recording runs (they hung the
  // host before the writer learnt to end its pins' waits first).
  bool controlWhileRecording = false;
  // Keep one hand-over with no recording running (it waits 10 s).
  bool idleHandOver = false;
  // Print every call and its result (replays).
  bool print = false;
  // Takes a clean recording's movie to be checked later (a copy of it, since
  // later steps may write the file again); when unset or when it returns
  // false, the movie is read back at once.
  std::function<bool(MovieToCheck& movie)> checkLater;
};

struct Outcome {
  bool ok = true;
  int step = -1;        // the step whose recording failed the check
  std::string message;  // what the check found
  // Where the sequence's time went, for the totals: hand-overs that waited
  // out the 10 s time-out, and the movies read back with ffprobe here (not
  // those taken by Options::checkLater).
  int timeOuts = 0;
  ULONGLONG timeOutMs = 0;
  int moviesRead = 0;
  ULONGLONG readMs = 0;
};

// Called before and after each call (steps past the sequence's end are the
// clean-up: stop and release every writer, delete the log engines).
using StepObserver = std::function<void(int step)>;

class FuzzHost {
 public:
  // Loads the DLL at `dllPath` (by default the one beside the program).
  explicit FuzzHost(const wchar_t* dllPath = L"TavMovieMaker.dll");
  ~FuzzHost();
  bool Loaded() const { return loaded_; }

  // Runs the steps whose indexes are in `keep` (all when empty).
  Outcome Run(const std::vector<Step>& steps, const std::vector<int>& keep, const Options& options,
              const StepObserver& observe);
  // Whether the library still holds its writer object after a Run's
  // clean-up (records under IDs the host was never given keep it).
  bool WriterRemains();

 private:
  struct Exports;
  struct State;
  HMODULE dll_ = nullptr;
  bool loaded_ = false;
  Exports* x_ = nullptr;
  std::vector<unsigned char> buffer_;
};

}  // namespace tavfuzz
