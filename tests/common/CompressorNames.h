// The compressor names a writer lists, read as a host reads them.
#pragma once

#include <TavMovieMaker.h>

#include <string>
#include <vector>

namespace tavtest {

// The names a GetCompressors-style export lists for writer `id` (asked for
// the count and longest name first); empty when either call fails.
std::vector<std::wstring> CompressorNames(TavMovieMakerGetCompressorsFn get, int id);

}  // namespace tavtest
