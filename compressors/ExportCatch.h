// Keeps C++ exceptions inside the compressor exports: a _com_error becomes
// its HRESULT, std::bad_alloc E_OUTOFMEMORY, anything else E_UNEXPECTED, each with one ERROR line
// "<step> error: <system text>" under the export's name and the HRESULT as
// code.
#pragma once

#include <windows.h>
#include <comdef.h>

#include <new>

#include "writer/ComErrorText.h"

template <class Body>
HRESULT CatchAtExport(const char* function, const wchar_t* step, Body&& body) noexcept {
  HRESULT hr;
  try {
    return body();
  } catch (const _com_error& error) {
    hr = error.Error();
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (...) {
    hr = E_UNEXPECTED;
  }
  LogComError(function, step, hr, static_cast<int>(hr));
  return hr;
}
