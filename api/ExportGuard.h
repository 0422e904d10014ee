// Keeps every C++ exception inside the library: a host written in C, Delphi
// or C# must never see one. Each export runs its body through GuardExport:
//   _com_error            -> its HRESULT
//   std::bad_alloc        -> E_OUTOFMEMORY
//   std::length_error     -> E_FAIL (the registry list grew too long)
//   anything else         -> E_UNEXPECTED
// with one ERROR line naming the export and the result. Runs on the caller's
// thread.
#pragma once

#include <windows.h>
#include <comdef.h>

#include <new>
#include <stdexcept>

// Logs "<export> -> exception 0x%08X" at ERROR, the HRESULT also as the code.
void LogExportException(const char* exportName, HRESULT hr);

template <class Body>
HRESULT GuardExport(const char* exportName, Body&& body) noexcept {
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
  LogExportException(exportName, hr);
  return hr;
}
