// Test stand-in for the diagnostic log: test programs that link it (instead
// of tav_log) record every trace line of the filters with its file literal,
// function name and severity, formatted as the log would format it.
// Any thread may write; tests read after the code under test is quiet.
#pragma once

#include <string>
#include <vector>

namespace tavtest {

struct TraceLine {
  std::wstring file;
  std::string function;
  unsigned int severity = 0;
  std::wstring message;
};

class TraceRecorder {
 public:
  static void Clear();
  static std::vector<TraceLine> Lines();
  // Lines whose function matches (all when function is empty).
  static std::vector<std::wstring> Messages(const std::string& function = "");
  // True when a line with exactly these four parts was written.
  static bool Has(const std::wstring& file, const std::string& function, unsigned int severity,
                  const std::wstring& message);
  // Number of lines with this message (any file, function, severity).
  static int Count(const std::wstring& message);
};

}  // namespace tavtest
