#include "server/PackRegistry.h"

#include "server/PackClasses.h"

#include <string>

namespace tavpack {
namespace {

const wchar_t kSavedRoot[] = L"Software\\TavPlatformPack\\Saved";

std::wstring ClsidString(REFCLSID clsid)
{
    wchar_t text[40] = {};
    StringFromGUID2(clsid, text, 40);
    return text;
}

std::wstring ClassKeyPath(REFCLSID clsid)
{
    return L"Software\\Classes\\CLSID\\" + ClsidString(clsid);
}

// Reads a string value; false when it is absent or not a string.
bool ReadString(HKEY key, const wchar_t* name, std::wstring* value, DWORD* type)
{
    DWORD size = 0;
    DWORD valueType = 0;
    if (RegQueryValueExW(key, name, nullptr, &valueType, nullptr, &size) != ERROR_SUCCESS)
        return false;
    if (valueType != REG_SZ && valueType != REG_EXPAND_SZ)
        return false;
    std::wstring buffer(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
    if (RegQueryValueExW(key, name, nullptr, &valueType, reinterpret_cast<BYTE*>(&buffer[0]), &size) !=
        ERROR_SUCCESS)
        return false;
    buffer.resize(wcsnlen(buffer.c_str(), buffer.size()));
    *value = buffer;
    if (type != nullptr)
        *type = valueType;
    return true;
}

LONG WriteString(HKEY key, const wchar_t* name, const std::wstring& value, DWORD type = REG_SZ)
{
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LONG WriteDword(HKEY key, const wchar_t* name, DWORD value)
{
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

DWORD ReadDword(HKEY key, const wchar_t* name, DWORD fallback)
{
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
LONG SaveOriginal(REFCLSID clsid)
{
    const std::wstring savedPath = std::wstring(kSavedRoot) + L"\\" + ClsidString(clsid);
    HKEY saved = nullptr;
    DWORD disposition = 0;
    LONG status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, savedPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  &saved, &disposition);
    if (status != ERROR_SUCCESS)
        return status;
    if (disposition == REG_OPENED_EXISTING_KEY && ReadDword(saved, L"Recorded", 0) == 1) {
        RegCloseKey(saved);
        return ERROR_SUCCESS;
    }

    HKEY classKey = nullptr;
    const bool classExisted =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, ClassKeyPath(clsid).c_str(), 0, KEY_READ, &classKey) == ERROR_SUCCESS;
    HKEY server = nullptr;
    const bool serverExisted =
        classExisted && RegOpenKeyExW(classKey, L"InprocServer32", 0, KEY_READ, &server) == ERROR_SUCCESS;
    WriteDword(saved, L"ClassExisted", classExisted ? 1 : 0);
    WriteDword(saved, L"ServerExisted", serverExisted ? 1 : 0);
    if (serverExisted) {
        std::wstring path;
        DWORD type = REG_SZ;
        if (ReadString(server, nullptr, &path, &type)) {
            WriteString(saved, L"InprocServer32", path, type);
        }
        std::wstring model;
        if (ReadString(server, L"ThreadingModel", &model, nullptr))
            WriteString(saved, L"ThreadingModel", model);
        RegCloseKey(server);
    }
    if (classKey != nullptr)
        RegCloseKey(classKey);
    status = WriteDword(saved, L"Recorded", 1);
    RegCloseKey(saved);
    return status;
}

LONG RegisterClass(const PackClass& entry, const wchar_t* modulePath)
{
    LONG status = SaveOriginal(*entry.clsid);
    if (status != ERROR_SUCCESS)
        return status;
    HKEY classKey = nullptr;
    status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, ClassKeyPath(*entry.clsid).c_str(), 0, nullptr, 0,
                             KEY_ALL_ACCESS, nullptr, &classKey, nullptr);
    if (status != ERROR_SUCCESS)
        return status;
    std::wstring name;
    if (!ReadString(classKey, nullptr, &name, nullptr) && entry.name != nullptr)
        WriteString(classKey, nullptr, entry.name);
    HKEY server = nullptr;
    status = RegCreateKeyExW(classKey, L"InprocServer32", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &server, nullptr);
    RegCloseKey(classKey);
    if (status != ERROR_SUCCESS)
        return status;
    status = WriteString(server, nullptr, modulePath);
    if (status == ERROR_SUCCESS)
        status = WriteString(server, L"ThreadingModel", L"Both");
    RegCloseKey(server);
    return status;
}

LONG UnregisterClass(const PackClass& entry)
{
    const std::wstring savedPath = std::wstring(kSavedRoot) + L"\\" + ClsidString(*entry.clsid);
    HKEY saved = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, savedPath.c_str(), 0, KEY_READ, &saved) != ERROR_SUCCESS)
        return ERROR_SUCCESS;  // never registered, or already put back
    if (ReadDword(saved, L"Recorded", 0) != 1) {
        RegCloseKey(saved);
        return RegDeleteTreeW(HKEY_LOCAL_MACHINE, savedPath.c_str());
    }
    const std::wstring classPath = ClassKeyPath(*entry.clsid);
    LONG status = ERROR_SUCCESS;
    if (ReadDword(saved, L"ClassExisted", 0) == 0) {
        status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, classPath.c_str());
        if (status == ERROR_FILE_NOT_FOUND)
            status = ERROR_SUCCESS;
    } else if (ReadDword(saved, L"ServerExisted", 0) == 0) {
        status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classPath + L"\\InprocServer32").c_str());
        if (status == ERROR_FILE_NOT_FOUND)
            status = ERROR_SUCCESS;
    } else {
        HKEY server = nullptr;
        status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (classPath + L"\\InprocServer32").c_str(), 0, nullptr, 0,
                                 KEY_ALL_ACCESS, nullptr, &server, nullptr);
        if (status == ERROR_SUCCESS) {
            std::wstring path;
            DWORD type = REG_SZ;
            if (ReadString(saved, L"InprocServer32", &path, &type))
                status = WriteString(server, nullptr, path, type);
            else
                RegDeleteValueW(server, nullptr);
            std::wstring model;
            if (ReadString(saved, L"ThreadingModel", &model, nullptr))
                WriteString(server, L"ThreadingModel", model);
            else
                RegDeleteValueW(server, L"ThreadingModel");
            RegCloseKey(server);
        }
    }
    RegCloseKey(saved);
    if (status == ERROR_SUCCESS)
        status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, savedPath.c_str());
    return status;
}

}  // namespace

HRESULT RegisterPackClasses(const wchar_t* modulePath)
{
    if (modulePath == nullptr || *modulePath == L'\0')
        return E_INVALIDARG;
    for (std::size_t i = 0; i < PackClassCount(); ++i) {
        const LONG status = RegisterClass(*PackClassAt(i), modulePath);
        if (status != ERROR_SUCCESS)
            return HRESULT_FROM_WIN32(status);
    }
    return S_OK;
}

HRESULT UnregisterPackClasses()
{
    HRESULT result = S_OK;
    for (std::size_t i = 0; i < PackClassCount(); ++i) {
        const LONG status = UnregisterClass(*PackClassAt(i));
        if (status != ERROR_SUCCESS && SUCCEEDED(result))
            result = HRESULT_FROM_WIN32(status);
    }
    // The "Saved" parent keys go once they are empty.
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kSavedRoot);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software\\TavPlatformPack");
    return result;
}

}  // namespace tavpack
