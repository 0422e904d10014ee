// Where tavrec's frames come from: the test card, or raw frames read from a
// file or standard input. Both give frames as the DLL takes them: rows padded
// to 4 bytes. Used from tavrec's one thread.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Options.h"

namespace tavrec {

class FrameInput {
 public:
  enum class Result { Frame, End, Error };

  virtual ~FrameInput() = default;
  // Fills frame (DLL layout, FrameBytes() long) with source frame number
  // `number`, captured at timeMs. End when the input has no more frames,
  // Error (see Problem()) when it cannot be read.
  virtual Result Next(long long number, long long timeMs, std::vector<unsigned char>& frame) = 0;
  // Why the last Next returned Error.
  const std::wstring& Problem() const { return problem_; }

 protected:
  std::wstring problem_;
};

// The test card of tools/common for the options' size and pixel format.
std::unique_ptr<FrameInput> OpenTestCard(const Options& options);

// Raw frames from options.input ("-" for standard input). Null, with the
// reason in problem, when the file cannot be opened.
std::unique_ptr<FrameInput> OpenRawInput(const Options& options, std::wstring& problem);

}  // namespace tavrec
