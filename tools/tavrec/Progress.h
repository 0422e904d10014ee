// The figures of a recording so far, the progress line that shows them on a
// terminal, and the summary at the end. Used from tavrec's one thread.
#pragma once

#include <chrono>
#include <string>

namespace tavrec {

struct Figures {
  long long handed = 0;  // frames handed to the DLL
  long long slots = 0;   // slots in the movie's time line, empty ones included
  long long emptySlots = 0;
  long long drops = 0;   // frames left out as drops
  long long breaks = 0;  // frames left out after a planned break
  long long audioBlocks = 0;
  long long handedBytes = 0;  // video and audio bytes handed to the DLL
  long long fileBytes = 0;    // the movie file's size
  double elapsedSeconds = 0;
};

class Progress {
 public:
  // show: whether to draw the line at all (a terminal, and not --quiet).
  explicit Progress(bool show) : show_(show), start_(std::chrono::steady_clock::now()) {}
  double ElapsedSeconds() const;
  // Redraws the line in place, at most every quarter second.
  void Update(const Figures& figures);
  // Removes the line, so the summary starts on a clean line.
  void Clear();

 private:
  bool show_;
  std::chrono::steady_clock::time_point start_, lastDraw_{};
  size_t drawnLength_ = 0;
};

// The summary: one "name: value" line each.
std::wstring Summary(const std::wstring& movie, const Figures& figures, double fps);

// The movie file's current size, 0 when it does not exist yet.
long long FileBytes(const std::wstring& path);

}  // namespace tavrec
