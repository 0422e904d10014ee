#include "PackCheck.h"

#include <windows.h>

#include <cwctype>

#include "Console.h"

namespace tavrec {
namespace {

const wchar_t kAviMuxServerKey[] = L"CLSID\\{E2510970-F137-11CE-8B67-00AA00A3F1A6}\\InprocServer32";

bool RunningUnderWine() {
  HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

std::wstring AviMuxServer() {
  wchar_t path[MAX_PATH] = L"";
  DWORD bytes = sizeof path - sizeof path[0];
  if (RegGetValueW(HKEY_CLASSES_ROOT, kAviMuxServerKey, nullptr, RRF_RT_REG_SZ, nullptr, path, &bytes) != ERROR_SUCCESS)
    return L"";
  return path;
}

std::wstring Lower(std::wstring text) {
  for (auto& c : text) c = static_cast<wchar_t>(std::towlower(c));
  return text;
}

}  // namespace

std::wstring CheckPlatformPack() {
  if (!RunningUnderWine()) return L"";
  const std::wstring server = AviMuxServer();
  const std::wstring name = Lower(server.substr(server.find_last_of(L"\\/") + 1));
  if (name == L"tavplatformpack.dll") return L"";
  const wchar_t* prefix = _wgetenv(L"WINEPREFIX");
  return Format(
      L"the AVI Mux registered in this Wine prefix is %s, not the platform pack's, and it cannot "
      L"record: register the pack first with WINEPREFIX=%s bash wine/register-pack.sh "
      L"build/bin/TavPlatformPack.dll",
      server.empty() ? L"missing" : (L"Wine's own (" + server + L")").c_str(), prefix ? prefix : L"~/.wine");
}

}  // namespace tavrec
