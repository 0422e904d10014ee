// What the C++ bench programs share: a whole-number argument, the clock and
// the process's committed bytes.
#pragma once

#include <windows.h>
#include <psapi.h>

#include <cstdlib>

namespace bench {

// argv[index] as a whole number, or fallback when it is not given.
inline int IntArgument(int argc, char** argv, int index, int fallback) {
  return argc > index ? std::atoi(argv[index]) : fallback;
}

// Seconds on the performance counter.
inline double Seconds() {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return static_cast<double>(t.QuadPart) / static_cast<double>(f.QuadPart);
}

// The process's committed bytes now.
inline SIZE_T CommittedBytes() {
  PROCESS_MEMORY_COUNTERS_EX pmc = {};
  pmc.cb = sizeof(pmc);
  GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&pmc), sizeof(pmc));
  // Wine leaves PrivateUsage at 0; the committed bytes are in PagefileUsage.
  return pmc.PrivateUsage != 0 ? pmc.PrivateUsage : pmc.PagefileUsage;
}

}  // namespace bench
