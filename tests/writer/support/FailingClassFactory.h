// Makes CoCreateInstance of chosen classes fail in this process only: a
// class object registered with CoRegisterClassObject whose CreateInstance
// returns the given error. Registration lasts for the object's lifetime, on
// the registering thread's apartment.
#pragma once

#include <windows.h>
#include <objbase.h>

#include <vector>

namespace tavtest {

class FailingClasses {
 public:
  explicit FailingClasses(HRESULT result) : m_result(result) {}
  ~FailingClasses();
  FailingClasses(const FailingClasses&) = delete;
  FailingClasses& operator=(const FailingClasses&) = delete;
  // S_OK when registered.
  HRESULT Add(REFCLSID clsid);

 private:
  HRESULT m_result;
  std::vector<DWORD> m_cookies;
};

}  // namespace tavtest
