// Collects the library's log lines while a test runs.
//
// Registers log engine 0 (the library's own, so every line is enabled) with
// one callback sink in layout 3 ("F=file,function,line; SV=..; CD=..; MSG=..")
// and keeps each line with its source line number removed:
//   F=.\TavMovieMaker,CAviWriter::InitAudio; SV=TRACE; CD=0; MSG=CAviWriter::InitParam2 -> Enter
// Lines may arrive from any thread.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace tavtest {

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Every line so far, in order.
  std::vector<std::wstring> Lines() const;
  // Only the lines whose file is `file` (e.g. L".\\TavMovieMaker").
  std::vector<std::wstring> LinesOf(const std::wstring& file) const;
  void Clear();

  // "F=.\TavMovieMaker,<function>; SV=<severity>; CD=<code>; MSG=<message>"
  static std::wstring Line(const std::wstring& function, const std::wstring& severity, int code,
                           const std::wstring& message);
  // The same for TRACE, code 0.
  static std::wstring Trace(const std::wstring& function, const std::wstring& message);

 private:
  static int OnLine(void* context, const wchar_t* line, int length, unsigned int severity);

  mutable std::mutex m_mutex;
  std::vector<std::wstring> m_lines;
};

}  // namespace tavtest
