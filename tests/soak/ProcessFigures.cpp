#include "tests/soak/ProcessFigures.h"

#include <windows.h>

namespace tavsoak {

int CountHandles() {
  int count = 0;
  DWORD flags = 0;
  for (ULONG_PTR value = 4; value < 0x2000; value += 4)
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
  return count;
}

double CommittedBytes() {
  double total = 0;
  MEMORY_BASIC_INFORMATION info;
  for (const char* at = nullptr; VirtualQuery(at, &info, sizeof info) == sizeof info;
       at = static_cast<const char*>(info.BaseAddress) + info.RegionSize) {
    if (info.State == MEM_COMMIT && info.Type == MEM_PRIVATE) total += static_cast<double>(info.RegionSize);
    if (info.RegionSize == 0) break;
  }
  return total;
}

Sample Measure(int cycle) {
  return {static_cast<double>(cycle), static_cast<double>(CountHandles()), CommittedBytes()};
}

double Slope(const std::vector<Sample>& samples, double Sample::*value) {
  const std::size_t from = samples.size() / 10;
  double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
  for (std::size_t i = from; i < samples.size(); ++i) {
    const double x = samples[i].cycle, y = samples[i].*value;
    n += 1, sx += x, sy += y, sxx += x * x, sxy += x * y;
  }
  const double d = n * sxx - sx * sx;
  return d == 0 ? 0 : (n * sxy - sx * sy) / d;
}

}  // namespace tavsoak
