// Loads TavMovieMaker.dll the way a host does and checks its export table
// against the .def file: every listed name is found by GetProcAddress, and the
// DLL exports nothing else.
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> NamesInDefFile() {
  std::ifstream def(TAV_DEF_FILE);
  std::set<std::string> names;
  std::string line;
  bool inExports = false;
  while (std::getline(def, line)) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word[0] == ';') continue;
    if (word == "EXPORTS") {
      inExports = true;
      continue;
    }
    if (inExports) names.insert(word);
  }
  return names;
}

std::set<std::string> NamesExportedBy(HMODULE module) {
  auto* base = reinterpret_cast<const BYTE*>(module);
  auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  std::set<std::string> names;
  if (dir.Size == 0) return names;
  auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
  auto* nameRvas = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
  for (DWORD i = 0; i < exports->NumberOfNames; ++i) names.insert(reinterpret_cast<const char*>(base + nameRvas[i]));
  return names;
}

TEST(DllExports, EveryNameInTheDefFileIsFoundByGetProcAddress) {
  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  ASSERT_NE(dll, nullptr) << "LoadLibraryW failed: " << GetLastError();
  const std::set<std::string> expected = NamesInDefFile();
  ASSERT_FALSE(expected.empty());
  for (const std::string& name : expected) EXPECT_NE(GetProcAddress(dll, name.c_str()), nullptr) << name;
  FreeLibrary(dll);
}

TEST(DllExports, ExportsExactlyTheDefFileNames) {
  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  ASSERT_NE(dll, nullptr);
  EXPECT_EQ(NamesExportedBy(dll), NamesInDefFile());
  FreeLibrary(dll);
}

}  // namespace
