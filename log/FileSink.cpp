#include "log/FileSink.h"

#include <new>
#include <utility>

namespace tavlog {

HRESULT FileSink::Open(const wchar_t* path, unsigned int layoutKind, unsigned int minSeverity, FileSink** sink) {
  *sink = nullptr;
  UniqueFileHandle file(CreateFileW(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return HRESULT_FROM_WIN32(GetLastError());
  *sink = new (std::nothrow) FileSink(std::move(file), layoutKind, minSeverity);
  return *sink != nullptr ? S_OK : E_OUTOFMEMORY;
}

FileSink::FileSink(UniqueFileHandle file, unsigned int layoutKind, unsigned int minSeverity)
    : LogSink(layoutKind, minSeverity), m_hFile(std::move(file)) {
  InitializeCriticalSection(&m_csWrite);
}

FileSink::~FileSink() { DeleteCriticalSection(&m_csWrite); }

int FileSink::Write(const wchar_t* line, int length, const LogRecord&) {
  // Each UTF-16 unit needs at most three UTF-8 bytes; then CR LF.
  const int capacity = length * 3 + 2;
  char* bytes = new (std::nothrow) char[capacity];
  if (bytes == nullptr) return -1;
  int count = length > 0 ? WideCharToMultiByte(CP_UTF8, 0, line, length, bytes, capacity - 2, nullptr, nullptr) : 0;
  bytes[count++] = '\r';
  bytes[count++] = '\n';
  DWORD written = 0;
  EnterCriticalSection(&m_csWrite);
  const BOOL ok = WriteFile(m_hFile.Get(), bytes, static_cast<DWORD>(count), &written, nullptr);
  LeaveCriticalSection(&m_csWrite);
  delete[] bytes;
  return ok && written == static_cast<DWORD>(count) ? 0 : -1;
}

}  // namespace tavlog
