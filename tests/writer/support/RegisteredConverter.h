// A video converter (32-bit RGB in, 24-bit RGB out) that the filter graph's
// intelligent connect can find and insert: its class object is registered in
// this process (CoRegisterClassObject) and the filter in the DirectShow
// filter category of the prefix (IFilterMapper2) with normal merit, under
// the name "TavTest RGB Converter". Both registrations end with the object.
// Tests that use it hold the CTest lock "filter-registry".
#pragma once

#include <windows.h>

namespace tavtest {

class RegisteredConverter {
 public:
  RegisteredConverter();
  ~RegisteredConverter();
  RegisteredConverter(const RegisteredConverter&) = delete;
  RegisteredConverter& operator=(const RegisteredConverter&) = delete;
  // S_OK when both registrations worked.
  HRESULT Result() const { return m_result; }

 private:
  HRESULT m_result = E_FAIL;
  DWORD m_cookie = 0;
  bool m_bMapped = false;
};

}  // namespace tavtest
