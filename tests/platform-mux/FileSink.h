// A PositionalWriter over a Win32 file, for tests of the AVI layout writer.
// When skipSource is set, writes straight from that buffer are left out, so
// the file keeps a hole there (read back as zeros): the >4 GB test stays fast.
// Also counts writes, and can be told to fail from the n-th write on.
#pragma once

#include "mux/PositionalWriter.h"

#include <windows.h>

#include <string>

class FileSink : public PositionalWriter {
 public:
  explicit FileSink(const std::wstring& path, const void* skipSource = nullptr);
  ~FileSink() override;

  bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE; }
  HRESULT WriteAt(std::uint64_t offset, const void* data, std::size_t size) override;
  void Close();

  int Writes() const { return writes_; }
  // Writes after the first `count` fail with `hr`.
  void FailAfter(int count, HRESULT hr) {
    failAfter_ = count;
    failure_ = hr;
  }

 private:
  HANDLE file_ = INVALID_HANDLE_VALUE;
  const void* skipSource_;
  int writes_ = 0;
  int failAfter_ = -1;
  HRESULT failure_ = S_OK;
};
