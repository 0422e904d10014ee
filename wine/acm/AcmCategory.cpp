#include "wine/acm/AcmCategory.h"

#include "wine/acm/AcmCompressorClsid.h"
#include "framework/UniqueHandle.h"
#include "wine/acm/AcmFormats.h"

#include <objbase.h>
#include <strmif.h>
#include <uuids.h>

#include <string>
#include <vector>

namespace {

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring InstanceKeyPath() {
  return L"Software\\Classes\\CLSID\\" + GuidText(CLSID_AudioCompressorCategory) + L"\\Instance";
}

// A key name may hold no backslash.
std::wstring KeyNameOf(const std::wstring& friendlyName) {
  std::wstring name = friendlyName;
  for (wchar_t& c : name) {
    if (c == L'\\') c = L'_';
  }
  return name;
}

bool IsOurEntry(HKEY instance, const wchar_t* keyName) {
  wchar_t clsid[64] = {};
  DWORD size = sizeof(clsid);
  if (RegGetValueW(instance, keyName, L"CLSID", RRF_RT_REG_SZ, nullptr, clsid, &size) != ERROR_SUCCESS) return false;
  return _wcsicmp(clsid, GuidText(CLSID_TavAcmCompressor).c_str()) == 0;
}

LSTATUS WriteString(HKEY key, const wchar_t* name, const std::wstring& value) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

HRESULT AcmUnregisterCompressorCategory() {
  UniqueRegistryKey instance;
  LSTATUS status =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, InstanceKeyPath().c_str(), 0, KEY_READ | KEY_WRITE, instance.Put());
  if (status == ERROR_FILE_NOT_FOUND) return S_OK;
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);

  std::vector<std::wstring> ours;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    DWORD length = 256;
    if (RegEnumKeyExW(instance.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    if (IsOurEntry(instance.Get(), name)) ours.push_back(name);
  }
  HRESULT hr = S_OK;
  for (const std::wstring& name : ours) {
    status = RegDeleteTreeW(instance.Get(), name.c_str());
    if (status == ERROR_SUCCESS) status = RegDeleteKeyW(instance.Get(), name.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) hr = HRESULT_FROM_WIN32(status);
  }
  return hr;
}

HRESULT AcmRegisterCompressorCategory(const wchar_t* /*modulePath*/) {
  HRESULT hr = AcmUnregisterCompressorCategory();
  if (FAILED(hr)) return hr;

  UniqueRegistryKey instance;
  LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, InstanceKeyPath().c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE,
                                   nullptr, instance.Put(), nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);

  const std::wstring clsid = GuidText(CLSID_TavAcmCompressor);
  for (const tavacm::AcmFormatTag& tag : tavacm::EncodableFormatTags()) {
    UniqueRegistryKey entry;
    status = RegCreateKeyExW(instance.Get(), KeyNameOf(tag.name).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                             entry.Put(), nullptr);
    if (status == ERROR_SUCCESS) {
      const DWORD acmId = tag.tag;
      status = WriteString(entry.Get(), L"FriendlyName", tag.name);
      if (status == ERROR_SUCCESS) status = WriteString(entry.Get(), L"CLSID", clsid);
      if (status == ERROR_SUCCESS)
        status = RegSetValueExW(entry.Get(), kAcmIdValueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&acmId),
                                sizeof(acmId));
    }
    if (status != ERROR_SUCCESS) {
      hr = HRESULT_FROM_WIN32(status);
      break;
    }
  }
  return hr;
}
