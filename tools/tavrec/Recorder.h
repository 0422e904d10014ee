// One tavrec run: checks the platform, opens the input, sets up the DLL,
// records and reports. Used from tavrec's one thread.
#pragma once

#include "Options.h"

namespace tavrec {

enum ExitCode { kDone = 0, kUsage = 1, kLibraryFailed = 2, kInputError = 3 };

// Records the movie the options describe; returns the exit code.
int Record(const Options& options);

// Prints the compressors the DLL lists; returns the exit code.
int ListCompressors();

}  // namespace tavrec
