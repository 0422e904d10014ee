// A log callback for tests: keeps every line it is given, with its length and
// severity. Safe to call from several threads.
#pragma once

#include <mutex>
#include <string>
#include <vector>

struct CollectedLine {
  std::wstring text;
  int length;
  unsigned int severity;
};

class LineCollector {
 public:
  static int Callback(void* context, const wchar_t* line, int length, unsigned int severity) {
    auto* self = static_cast<LineCollector*>(context);
    std::lock_guard<std::mutex> guard(self->m_mutex);
    self->m_lines.push_back(CollectedLine{line != nullptr ? std::wstring(line) : std::wstring(), length, severity});
    return 0;
  }

  std::vector<CollectedLine> Lines() const {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines;
  }
  std::vector<std::wstring> Texts() const {
    std::vector<std::wstring> texts;
    for (const CollectedLine& line : Lines()) texts.push_back(line.text);
    return texts;
  }
  size_t Count() const {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines.size();
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<CollectedLine> m_lines;
};
