// Figures of the running process that a soak judges by their growth: the
// open handle count and the committed private bytes, and the least-squares
// growth per cycle of a series of samples.
#pragma once

#include <vector>

namespace tavsoak {

struct Sample {
  double cycle, handles, committed;
};

// Open handles, counted by asking the system about every possible handle value
// up to 2048 handles (the process handle-count query is not filled in by
// every platform).
int CountHandles();
// Bytes of private memory committed to the process, from its address space.
double CommittedBytes();
// Both figures, labelled with the cycle they were taken after.
Sample Measure(int cycle);
// Least-squares slope of value over cycle, from the first tenth of the
// samples on (the warm-up is left out).
double Slope(const std::vector<Sample>& samples, double Sample::*value);

}  // namespace tavsoak
