// tavrec's command line: the options, their checks and the manual page.
#pragma once

#include <string>

namespace tavrec {

enum class DropBy { Number, Time };

struct Options {
  std::wstring output;  // the movie to write
  std::wstring input;   // raw frames from this file, "-" for standard input; empty: the test card
  int width = 640, height = 480;
  bool sizeGiven = false;
  double fps = 25;
  unsigned pixelFormat = 0;  // TAVMM_PIXEL_*
  bool bottomUp = false;     // raw input rows run bottom-up
  double seconds = 0;        // 0: not given
  long long frames = -1;     // -1: not given
  bool tone = false;
  unsigned audioBits = 16;
  long long dropEvery = 0;  // leave out every Nth frame; 0: none
  DropBy dropBy = DropBy::Number;
  long long breakEvery = 0;  // a planned break instead of every Nth frame; 0: none
  std::wstring videoCompressor, audioCompressor;
  std::wstring logPath;
  unsigned logLayout = 3, logSeverity = 1;
  bool quiet = false;
  bool listCompressors = false;
  bool help = false;

  // Frames to record: from --frames or --duration; -1 for "until the input
  // ends" (raw input without either).
  long long FrameLimit() const;
};

// Reads argv into options. Empty on success, else the problem in one line
// ("unknown option --foo").
std::wstring ParseOptions(int argc, wchar_t** argv, Options& options);

// "usage: tavrec [OPTIONS] OUTPUT.avi (tavrec --help for more)"
const wchar_t* UsageLine();

// The manual page that --help prints.
const wchar_t* HelpText();

}  // namespace tavrec
