#include "tests/filters/TraceRecorder.h"

#include <windows.h>

#include <cstdarg>
#include <mutex>

#include "log/Trace.h"

namespace {

std::mutex& RecorderMutex() {
  static std::mutex m;
  return m;
}

std::vector<tavtest::TraceLine>& RecordedLines() {
  static std::vector<tavtest::TraceLine> lines;
  return lines;
}

}  // namespace

namespace tavlog {

bool LibraryIsEnabled(unsigned int) { return true; }

void LibraryWrite(const wchar_t* file, const char* function, int, unsigned int severity, int, const wchar_t* format,
                  ...) {
  wchar_t text[2048];
  va_list args;
  va_start(args, format);
  _vsnwprintf_s(text, 2048, _TRUNCATE, format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(RecorderMutex());
  RecordedLines().push_back({file, function, severity, text});
}

}  // namespace tavlog

namespace tavtest {

void TraceRecorder::Clear() {
  std::lock_guard<std::mutex> lock(RecorderMutex());
  RecordedLines().clear();
}

std::vector<TraceLine> TraceRecorder::Lines() {
  std::lock_guard<std::mutex> lock(RecorderMutex());
  return RecordedLines();
}

std::vector<std::wstring> TraceRecorder::Messages(const std::string& function) {
  std::vector<std::wstring> result;
  for (const TraceLine& line : Lines()) {
    if (function.empty() || line.function == function) result.push_back(line.message);
  }
  return result;
}

bool TraceRecorder::Has(const std::wstring& file, const std::string& function, unsigned int severity,
                        const std::wstring& message) {
  for (const TraceLine& line : Lines()) {
    if (line.file == file && line.function == function && line.severity == severity && line.message == message) {
      return true;
    }
  }
  return false;
}

int TraceRecorder::Count(const std::wstring& message) {
  int n = 0;
  for (const TraceLine& line : Lines()) {
    if (line.message == message) ++n;
  }
  return n;
}

}  // namespace tavtest
