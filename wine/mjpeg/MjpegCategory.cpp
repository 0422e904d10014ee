#include "wine/mjpeg/MjpegCategory.h"

#include "framework/UniqueHandle.h"
#include "wine/mjpeg/MjpegClsid.h"

#include <objbase.h>
#include <uuids.h>

#include <string>

namespace {

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring EntryKeyPath() {
  return L"Software\\Classes\\CLSID\\" + GuidText(CLSID_VideoCompressorCategory) + L"\\Instance\\" + kMjpegFriendlyName;
}

LSTATUS WriteString(HKEY key, const wchar_t* name, const std::wstring& value) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

HRESULT MjpegRegisterCompressorCategory() {
  UniqueRegistryKey entry;
  LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, EntryKeyPath().c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                                   entry.Put(), nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  status = WriteString(entry.Get(), L"FriendlyName", kMjpegFriendlyName);
  if (status == ERROR_SUCCESS) status = WriteString(entry.Get(), L"CLSID", GuidText(CLSID_TavMjpegCompressor));
  return HRESULT_FROM_WIN32(status);
}

HRESULT MjpegUnregisterCompressorCategory() {
  const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, EntryKeyPath().c_str());
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return HRESULT_FROM_WIN32(status);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, EntryKeyPath().c_str());
  return S_OK;
}
