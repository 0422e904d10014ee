// A sink that appends each line to a file as UTF-8 followed by CR LF. Every
// line goes to the system in its own WriteFile call, nothing is buffered in
// the process, so a crash loses no line already written. The file is opened
// for appending (created when missing, shared for reading and writing) and
// closed when the last reference goes.
//
// Threads: Write may be called from several threads at once; a critical
// section keeps lines whole and in one piece each.
#pragma once

#include <windows.h>

#include "framework/UniqueHandle.h"
#include "log/LogSink.h"

namespace tavlog {

class FileSink : public LogSink {
 public:
  // Opens path; on failure returns the Win32 error as an HRESULT and no sink.
  static HRESULT Open(const wchar_t* path, unsigned int layoutKind, unsigned int minSeverity, FileSink** sink);

  int Write(const wchar_t* line, int length, const LogRecord& record) override;

 protected:
  ~FileSink() override;

 private:
  FileSink(UniqueFileHandle file, unsigned int layoutKind, unsigned int minSeverity);

  UniqueFileHandle m_hFile;
  CRITICAL_SECTION m_csWrite;
};

}  // namespace tavlog
