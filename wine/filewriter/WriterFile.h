#pragma once
// The file behind the File Writer filter: opened when the filter pauses,
// written at explicit byte offsets (samples and the mux's IStream both say
// where their bytes go), closed after the mux has finished.
//
// Open modes (IFileSinkFilter2::SetMode):
//  - 0 (the default): an existing file is reused in place, not deleted first
//    (its identity and attributes stay); on Close it is cut to the end of the
//    bytes written in this session, so nothing of the old content remains
//    after the new data.
//  - AM_FILE_OVERWRITE: an existing file is destroyed and created anew.
//
// Not thread-safe by itself: the filter serialises calls with its own lock.

#include <windows.h>

#include <string>

#include "framework/UniqueHandle.h"

namespace tavpack {

class WriterFile {
 public:
  WriterFile() = default;
  ~WriterFile();
  WriterFile(const WriterFile&) = delete;
  WriterFile& operator=(const WriterFile&) = delete;

  // Opens or creates path for reading and writing. Fails with the system
  // error as an HRESULT (for example HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)).
  HRESULT Open(const std::wstring& path, DWORD mode);
  bool IsOpen() const { return m_file.IsValid(); }

  // Writes size bytes at offset; *written (optional) gets what was written.
  // A short write (disk full) fails with HRESULT_FROM_WIN32(ERROR_DISK_FULL).
  // Sets the file position first (no OVERLAPPED: under Wine, a write given
  // one costs a wineserver request), so calls must not interleave.
  HRESULT WriteAt(ULONGLONG offset, const void* data, ULONG size, ULONG* written);
  // Reads up to size bytes at offset; reading past the end gives fewer bytes.
  HRESULT ReadAt(ULONGLONG offset, void* data, ULONG size, ULONG* read);
  // Sets the file's length (extends with zeros or cuts).
  HRESULT SetSize(ULONGLONG size);
  HRESULT GetSize(ULONGLONG* size) const;
  HRESULT Flush();
  // Cuts the file to the written extent (mode 0) and closes it. S_FALSE
  // when nothing was open.
  HRESULT Close();

 private:
  UniqueFileHandle m_file;
  bool m_cutOnClose = false;
  // End of the furthest byte written or the last SetSize in this session.
  ULONGLONG m_extent = 0;
};

}  // namespace tavpack
