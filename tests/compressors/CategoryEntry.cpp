#include "tests/compressors/CategoryEntry.h"

#include <objbase.h>

namespace tavtest {

namespace {
std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

LSTATUS WriteString(HKEY key, const wchar_t* name, const std::wstring& value) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}
}  // namespace

CategoryEntry::CategoryEntry(REFCLSID category, const std::wstring& keyName, const wchar_t* friendlyName,
                             REFCLSID clsid)
    : m_instancePath(L"Software\\Classes\\CLSID\\" + GuidText(category) + L"\\Instance"), m_keyName(keyName) {
  HKEY entry = nullptr;
  const std::wstring path = m_instancePath + L"\\" + keyName;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &entry, nullptr) !=
      ERROR_SUCCESS)
    return;
  m_bCreated = WriteString(entry, L"CLSID", GuidText(clsid)) == ERROR_SUCCESS;
  if (m_bCreated && friendlyName != nullptr)
    m_bCreated = WriteString(entry, L"FriendlyName", friendlyName) == ERROR_SUCCESS;
  RegCloseKey(entry);
}

CategoryEntry::~CategoryEntry() {
  HKEY instance = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, m_instancePath.c_str(), 0, KEY_READ | KEY_WRITE, &instance) != ERROR_SUCCESS)
    return;
  RegDeleteTreeW(instance, m_keyName.c_str());
  RegDeleteKeyW(instance, m_keyName.c_str());
  RegCloseKey(instance);
}

}  // namespace tavtest
