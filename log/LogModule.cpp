#include "log/LogModule.h"

#include <windows.h>

#include <cstdio>

namespace tavlog {

namespace {
int32_t g_nEngineId;  // never assigned: the library writes to engine 0
}  // namespace

const char* ModuleName1() { return "MovieMaker"; }
const char* ModuleName2() { return "TavMovieMaker"; }

uint64_t ModuleKey() {
  static const HMODULE s_hModule = GetModuleHandleW(L"TavMovieMaker.dll");
  return reinterpret_cast<uint64_t>(s_hModule);
}

int32_t EngineId() { return g_nEngineId; }

uint32_t ModuleHash(uint64_t moduleKey) {
  char narrow[24];
  sprintf_s(narrow, sizeof(narrow), "%x%x", static_cast<unsigned int>(moduleKey >> 32),
            static_cast<unsigned int>(moduleKey & 0xFFFFFFFFu));
  wchar_t wide[24];
  const int units = MultiByteToWideChar(CP_ACP, 0, narrow, -1, wide, 24);
  uint32_t hash = 0;
  for (int i = 0; i < units && wide[i] != L'\0'; ++i) hash = hash * 31u + static_cast<uint32_t>(wide[i]);
  return hash;
}

}  // namespace tavlog
