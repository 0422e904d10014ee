#include "tests/writer/support/LogCapture.h"

#include <windows.h>

#include <cwctype>

extern "C" {
HRESULT TavLogCreateEngine(int engineId, unsigned int minSeverity);
HRESULT TavLogDeleteEngine(int engineId);
HRESULT TavLogAttachCallback(int engineId, unsigned int layoutKind, unsigned int minSeverity,
                             int (*fn)(void*, const wchar_t*, int, unsigned int), void* context, int* sinkIndex);
}

namespace tavtest {

namespace {
const int kEngine = 0;
const unsigned int kLayoutFileFunctionLine = 3;

// "F=file,function,123; SV=" -> "F=file,function; SV="
std::wstring WithoutLineNumber(const std::wstring& line) {
  const size_t sv = line.find(L"; SV=");
  if (sv == std::wstring::npos) return line;
  size_t comma = line.rfind(L',', sv);
  if (comma == std::wstring::npos) return line;
  for (size_t i = comma + 1; i < sv; ++i) {
    if (!iswdigit(line[i]) && line[i] != L'-') return line;
  }
  return line.substr(0, comma) + line.substr(sv);
}
}  // namespace

LogCapture::LogCapture() {
  TavLogDeleteEngine(kEngine);
  TavLogCreateEngine(kEngine, 0);
  TavLogAttachCallback(kEngine, kLayoutFileFunctionLine, 0, &LogCapture::OnLine, this, nullptr);
}

LogCapture::~LogCapture() { TavLogDeleteEngine(kEngine); }

int LogCapture::OnLine(void* context, const wchar_t* line, int length, unsigned int) {
  auto* self = static_cast<LogCapture*>(context);
  std::lock_guard<std::mutex> lock(self->m_mutex);
  self->m_lines.push_back(WithoutLineNumber(std::wstring(line, static_cast<size_t>(length))));
  return 0;
}

std::vector<std::wstring> LogCapture::Lines() const {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_lines;
}

std::vector<std::wstring> LogCapture::LinesOf(const std::wstring& file) const {
  const std::wstring prefix = L"F=" + file + L",";
  std::vector<std::wstring> result;
  for (const std::wstring& line : Lines()) {
    if (line.compare(0, prefix.size(), prefix) == 0) result.push_back(line);
  }
  return result;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_lines.clear();
}

std::wstring LogCapture::Line(const std::wstring& function, const std::wstring& severity, int code,
                              const std::wstring& message) {
  return L"F=.\\TavMovieMaker," + function + L"; SV=" + severity + L"; CD=" + std::to_wstring(code) + L"; MSG=" +
         message;
}

std::wstring LogCapture::Trace(const std::wstring& function, const std::wstring& message) {
  return Line(function, L"TRACE", 0, message);
}

}  // namespace tavtest
