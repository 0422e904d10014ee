#include "server/PackRegistry.h"

#include "framework/UniqueHandle.h"
#include "server/PackClasses.h"

#include <string>

namespace tavpack {
namespace {

const wchar_t kSavedRoot[] = L"Software\\TavPlatformPack\\Saved";

std::wstring ClsidString(REFCLSID clsid) {
  wchar_t text[40] = {};
  StringFromGUID2(clsid, text, 40);
  return text;
}

std::wstring ClassKeyPath(REFCLSID clsid) { return L"Software\\Classes\\CLSID\\" + ClsidString(clsid); }

// Reads a string value; false when it is absent or not a string.
bool ReadString(HKEY key, const wchar_t* name, std::wstring* value, DWORD* type) {
  DWORD size = 0;
  DWORD valueType = 0;
  if (RegQueryValueExW(key, name, nullptr, &valueType, nullptr, &size) != ERROR_SUCCESS) return false;
  if (valueType != REG_SZ && valueType != REG_EXPAND_SZ) return false;
  std::wstring buffer(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
  if (RegQueryValueExW(key, name, nullptr, &valueType, reinterpret_cast<BYTE*>(&buffer[0]), &size) != ERROR_SUCCESS)
    return false;
  buffer.resize(wcsnlen(buffer.c_str(), buffer.size()));
  *value = buffer;
  if (type != nullptr) *type = valueType;
  return true;
}

LONG WriteString(HKEY key, const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ) {
  return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LONG WriteDword(HKEY key, const wchar_t* name, DWORD value) {
  return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

DWORD ReadDword(HKEY key, const wchar_t* name, DWORD fallback) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  DWORD type = 0;
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != ERROR_SUCCESS ||
      type != REG_DWORD)
    return fallback;
  return value;
}

// Saves what Wine had for the class, unless a record exists already (then
// the class is registered to the pack and the record holds Wine's values).
LONG SaveOriginal(REFCLSID clsid) {
  const std::wstring savedPath = std::wstring(kSavedRoot) + L"\\" + ClsidString(clsid);
  UniqueRegistryKey saved;
  DWORD disposition = 0;
  LONG status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, savedPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                saved.Put(), &disposition);
  if (status != ERROR_SUCCESS) return status;
  if (disposition == REG_OPENED_EXISTING_KEY && ReadDword(saved.Get(), L"Recorded", 0) == 1) return ERROR_SUCCESS;

  UniqueRegistryKey classKey;
  const bool classExisted =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, ClassKeyPath(clsid).c_str(), 0, KEY_READ, classKey.Put()) == ERROR_SUCCESS;
  UniqueRegistryKey server;
  const bool serverExisted =
      classExisted && RegOpenKeyExW(classKey.Get(), L"InprocServer32", 0, KEY_READ, server.Put()) == ERROR_SUCCESS;
  WriteDword(saved.Get(), L"ClassExisted", classExisted ? 1 : 0);
  WriteDword(saved.Get(), L"ServerExisted", serverExisted ? 1 : 0);
  if (serverExisted) {
    std::wstring path;
    DWORD type = REG_SZ;
    if (ReadString(server.Get(), nullptr, &path, &type)) {
      WriteString(saved.Get(), L"InprocServer32", path, type);
    }
    std::wstring model;
    if (ReadString(server.Get(), L"ThreadingModel", &model, nullptr))
      WriteString(saved.Get(), L"ThreadingModel", model);
  }
  return WriteDword(saved.Get(), L"Recorded", 1);
}

LONG RegisterClass(const PackClass& entry, const wchar_t* modulePath) {
  LONG status = SaveOriginal(*entry.clsid);
  if (status != ERROR_SUCCESS) return status;
  UniqueRegistryKey classKey;
  status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, ClassKeyPath(*entry.clsid).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                           nullptr, classKey.Put(), nullptr);
  if (status != ERROR_SUCCESS) return status;
  std::wstring name;
  if (!ReadString(classKey.Get(), nullptr, &name, nullptr) && entry.name != nullptr)
    WriteString(classKey.Get(), nullptr, entry.name);
  UniqueRegistryKey server;
  status =
      RegCreateKeyExW(classKey.Get(), L"InprocServer32", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, server.Put(), nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = WriteString(server.Get(), nullptr, modulePath);
  if (status == ERROR_SUCCESS) status = WriteString(server.Get(), L"ThreadingModel", L"Both");
  return status;
}

LONG UnregisterClass(const PackClass& entry) {
  const std::wstring savedPath = std::wstring(kSavedRoot) + L"\\" + ClsidString(*entry.clsid);
  UniqueRegistryKey saved;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, savedPath.c_str(), 0, KEY_READ, saved.Put()) != ERROR_SUCCESS)
    return ERROR_SUCCESS;  // never registered, or already put back
  if (ReadDword(saved.Get(), L"Recorded", 0) != 1) {
    saved.Close();
    return RegDeleteTreeW(HKEY_LOCAL_MACHINE, savedPath.c_str());
  }
  const std::wstring classPath = ClassKeyPath(*entry.clsid);
  LONG status = ERROR_SUCCESS;
  if (ReadDword(saved.Get(), L"ClassExisted", 0) == 0) {
    status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, classPath.c_str());
    if (status == ERROR_FILE_NOT_FOUND) status = ERROR_SUCCESS;
  } else if (ReadDword(saved.Get(), L"ServerExisted", 0) == 0) {
    status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classPath + L"\\InprocServer32").c_str());
    if (status == ERROR_FILE_NOT_FOUND) status = ERROR_SUCCESS;
  } else {
    UniqueRegistryKey server;
    status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (classPath + L"\\InprocServer32").c_str(), 0, nullptr, 0,
                             KEY_ALL_ACCESS, nullptr, server.Put(), nullptr);
    if (status == ERROR_SUCCESS) {
      std::wstring path;
      DWORD type = REG_SZ;
      if (ReadString(saved.Get(), L"InprocServer32", &path, &type))
        status = WriteString(server.Get(), nullptr, path, type);
      else RegDeleteValueW(server.Get(), nullptr);
      std::wstring model;
      if (ReadString(saved.Get(), L"ThreadingModel", &model, nullptr))
        WriteString(server.Get(), L"ThreadingModel", model);
      else RegDeleteValueW(server.Get(), L"ThreadingModel");
    }
  }
  saved.Close();
  if (status == ERROR_SUCCESS) status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, savedPath.c_str());
  return status;
}

}  // namespace

HRESULT RegisterPackClasses(const wchar_t* modulePath) {
  if (modulePath == nullptr || *modulePath == L'\0') return E_INVALIDARG;
  for (std::size_t i = 0; i < PackClassCount(); ++i) {
    const LONG status = RegisterClass(*PackClassAt(i), modulePath);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  }
  return S_OK;
}

HRESULT UnregisterPackClasses() {
  HRESULT result = S_OK;
  for (std::size_t i = 0; i < PackClassCount(); ++i) {
    const LONG status = UnregisterClass(*PackClassAt(i));
    if (status != ERROR_SUCCESS && SUCCEEDED(result)) result = HRESULT_FROM_WIN32(status);
  }
  // The "Saved" parent keys go once they are empty.
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, kSavedRoot);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software\\TavPlatformPack");
  return result;
}

}  // namespace tavpack
