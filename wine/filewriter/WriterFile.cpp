#include "filewriter/WriterFile.h"

#include <dshow.h>

namespace tavpack {
namespace {

HRESULT LastError() {
  const DWORD error = GetLastError();
  return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error);
}

OVERLAPPED At(ULONGLONG offset) {
  OVERLAPPED position = {};
  position.Offset = static_cast<DWORD>(offset);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return position;
}

}  // namespace

WriterFile::~WriterFile() { Close(); }

HRESULT WriterFile::Open(const std::wstring& path, DWORD mode) {
  Close();
  const bool destroy = (mode & AM_FILE_OVERWRITE) != 0;
  m_file.Reset(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                           destroy ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!m_file.IsValid()) return LastError();
  m_cutOnClose = !destroy;
  m_extent = 0;
  return S_OK;
}

HRESULT WriterFile::WriteAt(ULONGLONG offset, const void* data, ULONG size, ULONG* written) {
  if (written != nullptr) *written = 0;
  if (!IsOpen()) return E_UNEXPECTED;
  // The position, then a plain write: under Wine a write given an
  // OVERLAPPED costs a wineserver round trip (its completion is posted).
  LARGE_INTEGER position;
  position.QuadPart = static_cast<LONGLONG>(offset);
  if (!SetFilePointerEx(m_file.Get(), position, nullptr, FILE_BEGIN)) return LastError();
  DWORD done = 0;
  const BOOL ok = WriteFile(m_file.Get(), data, size, &done, nullptr);
  if (written != nullptr) *written = done;
  if (done > 0 && offset + done > m_extent) m_extent = offset + done;
  if (!ok) return LastError();
  if (done < size) return HRESULT_FROM_WIN32(ERROR_DISK_FULL);
  return S_OK;
}

HRESULT WriterFile::ReadAt(ULONGLONG offset, void* data, ULONG size, ULONG* read) {
  if (read != nullptr) *read = 0;
  if (!IsOpen()) return E_UNEXPECTED;
  OVERLAPPED position = At(offset);
  DWORD done = 0;
  if (!ReadFile(m_file.Get(), data, size, &done, &position) && GetLastError() != ERROR_HANDLE_EOF) return LastError();
  if (read != nullptr) *read = done;
  return S_OK;
}

HRESULT WriterFile::SetSize(ULONGLONG size) {
  if (!IsOpen()) return E_UNEXPECTED;
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  if (!SetFilePointerEx(m_file.Get(), end, nullptr, FILE_BEGIN) || !SetEndOfFile(m_file.Get())) return LastError();
  m_extent = size;
  return S_OK;
}

HRESULT WriterFile::GetSize(ULONGLONG* size) const {
  if (!IsOpen()) return E_UNEXPECTED;
  LARGE_INTEGER length;
  if (!GetFileSizeEx(m_file.Get(), &length)) return LastError();
  *size = static_cast<ULONGLONG>(length.QuadPart);
  return S_OK;
}

HRESULT WriterFile::Flush() {
  if (!IsOpen()) return E_UNEXPECTED;
  return FlushFileBuffers(m_file.Get()) ? S_OK : LastError();
}

HRESULT WriterFile::Close() {
  if (!IsOpen()) return S_FALSE;
  HRESULT hr = S_OK;
  ULONGLONG length = 0;
  if (m_cutOnClose && SUCCEEDED(GetSize(&length)) && length > m_extent) hr = SetSize(m_extent);
  if (!m_file.Close() && SUCCEEDED(hr)) hr = LastError();
  return hr;
}

}  // namespace tavpack
