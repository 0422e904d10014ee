// The one exception barrier of the DLL's exports: a host written in C, Delphi
// or C# must never see a C++ exception. Each export runs its body through
// GuardExport:
//   _com_error            -> its HRESULT
//   std::bad_alloc        -> E_OUTOFMEMORY
//   std::length_error     -> E_FAIL (the registry list grew too long)
//   anything else         -> E_UNEXPECTED
// with one ERROR line naming the export, the HRESULT as its code. Most
// exports write "<export> -> exception 0x%08X"; the compressor exports write
// the COM error's text, "<export>() error: <system text>". Runs on the
// caller's thread.
#pragma once

#include <windows.h>
#include <comdef.h>

#include <new>
#include <stdexcept>

// The text of the ERROR line an export writes for an exception.
enum class ExportErrorLine {
  kExceptionCode,  // "<export> -> exception 0x%08X"
  kComErrorText,   // "<export>() error: <system text>"
};

// Writes the ERROR line for `hr` under `exportName`.
void LogExportException(const char* exportName, HRESULT hr, ExportErrorLine line = ExportErrorLine::kExceptionCode);

template <class Body>
HRESULT GuardExport(const char* exportName, Body&& body,
                    ExportErrorLine line = ExportErrorLine::kExceptionCode) noexcept {
  HRESULT hr;
  try {
    return body();
  } catch (const _com_error& e) {
    hr = e.Error();
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (const std::length_error&) {
    hr = E_FAIL;
  } catch (...) {
    hr = E_UNEXPECTED;
  }
  LogExportException(exportName, hr, line);
  return hr;
}
