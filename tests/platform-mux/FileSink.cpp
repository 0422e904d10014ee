#include "FileSink.h"

FileSink::FileSink(const std::wstring& path, const void* skipSource) : skipSource_(skipSource) {
  file_ =
      CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

FileSink::~FileSink() { Close(); }

void FileSink::Close() {
  if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
  file_ = INVALID_HANDLE_VALUE;
}

HRESULT FileSink::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  if (failAfter_ >= 0 && writes_ >= failAfter_) return failure_;
  ++writes_;
  if (skipSource_ && data == skipSource_) return S_OK;
  LARGE_INTEGER at;
  at.QuadPart = static_cast<LONGLONG>(offset);
  if (!SetFilePointerEx(file_, at, nullptr, FILE_BEGIN)) return HRESULT_FROM_WIN32(GetLastError());
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    DWORD written = 0;
    if (!WriteFile(file_, p, chunk, &written, nullptr)) return HRESULT_FROM_WIN32(GetLastError());
    if (written != chunk) return HRESULT_FROM_WIN32(ERROR_HANDLE_DISK_FULL);
    p += chunk;
    size -= chunk;
  }
  return S_OK;
}
