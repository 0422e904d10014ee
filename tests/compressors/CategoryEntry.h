// A compressor entry a test adds to a device category of the Wine prefix
// (HKLM\Software\Classes\CLSID\{category}\Instance\<key>) and removes again
// when it goes out of scope. The system device enumerator lists such
// entries; binding one creates the class named by its CLSID value.
// Tests that use it hold the CTest resource lock "compressor-registry".
#pragma once

#include <windows.h>

#include <string>

namespace tavtest {

class CategoryEntry {
 public:
  // friendlyName null: the entry has no "FriendlyName" value.
  CategoryEntry(REFCLSID category, const std::wstring& keyName, const wchar_t* friendlyName, REFCLSID clsid);
  ~CategoryEntry();
  CategoryEntry(const CategoryEntry&) = delete;
  CategoryEntry& operator=(const CategoryEntry&) = delete;
  bool Created() const { return m_bCreated; }

 private:
  std::wstring m_instancePath;
  std::wstring m_keyName;
  bool m_bCreated = false;
};

}  // namespace tavtest
