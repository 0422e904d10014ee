#include "tests/common/UnixTools.h"

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

namespace tavtest {
namespace {

std::string ReadWholeFile(const std::wstring& path) {
  std::ifstream in(path.c_str(), std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::wstring Widen(const std::string& text) {
  int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  std::wstring wide(n > 0 ? n - 1 : 0, L'\0');
  if (n > 1) MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &wide[0], n);
  return wide;
}

}  // namespace

std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') quoted += "'\\''";
    else quoted += c;
  }
  return quoted + "'";
}

std::string UnixPathOf(const std::wstring& windowsPath) {
  using Fn = char*(__cdecl*)(const wchar_t*);
  static Fn toUnix = reinterpret_cast<Fn>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
  if (!toUnix) return std::string();
  char* unixPath = toUnix(windowsPath.c_str());
  if (!unixPath) return std::string();
  std::string result(unixPath);
  HeapFree(GetProcessHeap(), 0, unixPath);
  return result;
}

std::wstring MakeTempDir() {
  static LONG counter = 0;
  wchar_t path[MAX_PATH];
  swprintf_s(path, MAX_PATH, L"Z:\\tmp\\tavtest-%lu-%ld-%lu", GetCurrentProcessId(), InterlockedIncrement(&counter),
             GetTickCount());
  CreateDirectoryW(path, nullptr);
  return std::wstring(path) + L"\\";
}

UnixResult RunUnixCommand(const std::string& command, unsigned timeoutMs) {
  const std::wstring dir = MakeTempDir();
  const std::string unixDir = UnixPathOf(dir);
  UnixResult result;
  if (unixDir.empty()) return result;
  const std::string out = unixDir + "/out", rc = unixDir + "/rc";
  // The status is written under another name and renamed, so a poller never
  // reads half a file.
  const std::string script = "(" + command + ") >" + ShellQuote(out) + " 2>&1; echo $? >" + ShellQuote(rc + ".tmp") +
                             "; mv " + ShellQuote(rc + ".tmp") + " " + ShellQuote(rc);
  // Wine hands a Unix program its command line split on blanks, so the
  // script goes into a file and the command line stays free of quoting.
  const std::wstring scriptPath = dir + L"script.sh";
  {
    std::ofstream file(scriptPath.c_str(), std::ios::binary);
    file << script << "\n";
  }
  std::wstring escaped = L"/bin/sh " + Widen(unixDir) + L"/script.sh";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  std::vector<wchar_t> buffer(escaped.begin(), escaped.end());
  buffer.push_back(L'\0');
  if (!CreateProcessW(nullptr, buffer.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
    return result;
  if (process.hThread) CloseHandle(process.hThread);
  if (process.hProcess) CloseHandle(process.hProcess);

  const std::wstring rcPath = dir + L"rc";
  for (unsigned waited = 0; waited < timeoutMs; waited += 10) {
    if (GetFileAttributesW(rcPath.c_str()) != INVALID_FILE_ATTRIBUTES) {
      result.exitCode = std::atoi(ReadWholeFile(rcPath).c_str());
      result.output = ReadWholeFile(dir + L"out");
      break;
    }
    Sleep(10);
  }
  DeleteFileW((dir + L"out").c_str());
  DeleteFileW(rcPath.c_str());
  DeleteFileW(scriptPath.c_str());
  RemoveDirectoryW(dir.c_str());
  return result;
}

}  // namespace tavtest
