#include "tests/tavcam/TavCamApp.h"

#include <commctrl.h>

#include <cwchar>

#include "tests/common/UnixTools.h"
#include "tools/tavcam/ControlIds.h"

namespace tavtest {
namespace {

struct Search {
  DWORD processId;
  const wchar_t* cls;    // or nullptr
  const wchar_t* title;  // or nullptr
  HWND found;
};

BOOL CALLBACK FindOwnWindow(HWND window, LPARAM param) {
  Search* search = reinterpret_cast<Search*>(param);
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  if (processId != search->processId || !IsWindowVisible(window)) return TRUE;
  wchar_t text[256] = {};
  if (search->cls && (!GetClassNameW(window, text, 256) || wcscmp(text, search->cls) != 0)) return TRUE;
  if (search->title && (!GetWindowTextW(window, text, 256) || wcscmp(text, search->title) != 0)) return TRUE;
  search->found = window;
  return FALSE;
}

std::wstring Field(const std::wstring& text, const std::wstring& label) {
  return text.compare(0, label.size(), label) == 0 ? text.substr(label.size()) : std::wstring();
}

long long Number(const std::wstring& text) { return text.empty() ? -1 : _wtoi64(text.c_str()); }

}  // namespace

bool WaitUntil(const std::function<bool()>& done, DWORD timeoutMs) {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  for (;;) {
    if (done()) return true;
    if (GetTickCount64() >= deadline) return false;
    Sleep(50);
  }
}

TavCamApp::~TavCamApp() {
  if (process_.hProcess) {
    if (WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT) TerminateProcess(process_.hProcess, 99);
    CloseHandle(process_.hProcess);
    CloseHandle(process_.hThread);
  }
}

bool TavCamApp::Launch(const std::wstring& movie) {
  wchar_t exe[MAX_PATH];
  GetModuleFileNameW(nullptr, exe, MAX_PATH);
  *(wcsrchr(exe, L'\\') + 1) = L'\0';
  wcscat(exe, L"tavcam.exe");
  std::wstring commandLine = L"\"" + std::wstring(exe) + L"\" \"" + movie + L"\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  if (!CreateProcessW(exe, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process_))
    return false;
  WaitForInputIdle(process_.hProcess, 60000);
  Search search = {process_.dwProcessId, TAVCAM_WINDOW_CLASS, nullptr, nullptr};
  if (!WaitUntil(
          [&] {
            EnumWindows(FindOwnWindow, reinterpret_cast<LPARAM>(&search));
            return search.found != nullptr;
          },
          60000))
    return false;
  window_ = search.found;
  return WaitUntil([&] { return Status().state == L"Ready"; }, 30000);
}

bool TavCamApp::Click(int id) const {
  DWORD_PTR result = 0;
  return SendMessageTimeoutW(Control(id), BM_CLICK, 0, 0, SMTO_NORMAL, 60000, &result) != 0;
}

void TavCamApp::ClickWithoutWaiting(int id) const { PostMessageW(Control(id), BM_CLICK, 0, 0); }

bool TavCamApp::Choose(int id, int index) const {
  HWND combo = Control(id);
  DWORD_PTR result = 0;
  return SendMessageTimeoutW(combo, CB_SETCURSEL, index, 0, SMTO_NORMAL, 30000, &result) &&
         static_cast<int>(result) == index &&
         SendMessageTimeoutW(window_, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo),
                             SMTO_NORMAL, 60000, &result);
}

std::vector<std::wstring> TavCamApp::ComboItems(int id) const {
  // CB_GETLBTEXT is one of the messages Windows copies across processes.
  HWND combo = Control(id);
  std::vector<std::wstring> items;
  const LRESULT count = SendMessageW(combo, CB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    wchar_t text[512] = {};
    if (SendMessageW(combo, CB_GETLBTEXTLEN, i, 0) < 512)
      SendMessageW(combo, CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(text));
    items.emplace_back(text);
  }
  return items;
}

std::wstring TavCamApp::StatusPart(int part) const {
  // SB_GETTEXT is not copied across processes: the text goes into memory of
  // tavcam's own and is read from there.
  const SIZE_T bytes = 4096 * sizeof(wchar_t);
  void* remote = VirtualAllocEx(process_.hProcess, nullptr, bytes, MEM_COMMIT, PAGE_READWRITE);
  if (!remote) return std::wstring();
  std::wstring text;
  DWORD_PTR result = 0;
  if (SendMessageTimeoutW(Control(CTL_STATUS), SB_GETTEXTW, part, reinterpret_cast<LPARAM>(remote), SMTO_NORMAL, 10000,
                          &result)) {
    std::wstring buffer(4096, L'\0');
    if (ReadProcessMemory(process_.hProcess, remote, &buffer[0], bytes - sizeof(wchar_t), nullptr))
      text = buffer.c_str();
  }
  VirtualFreeEx(process_.hProcess, remote, 0, MEM_RELEASE);
  return text;
}

TavCamStatus TavCamApp::Status() const {
  TavCamStatus status;
  status.state = StatusPart(kStatusState);
  status.frames = Number(Field(StatusPart(kStatusFrames), L"Frames: "));
  status.drops = Number(Field(StatusPart(kStatusDrops), L"Drops: "));
  int minutes = 0;
  double seconds = 0;
  if (swscanf(Field(StatusPart(kStatusElapsed), L"Elapsed: ").c_str(), L"%d:%lf", &minutes, &seconds) == 2)
    status.elapsedSeconds = minutes * 60 + seconds;
  status.lastError = Field(StatusPart(kStatusError), L"Last error: ");
  return status;
}

int TavCamApp::Close(DWORD timeoutMs) {
  PostMessageW(window_, WM_CLOSE, 0, 0);
  DWORD code = 0;
  if (WaitForSingleObject(process_.hProcess, timeoutMs) != WAIT_OBJECT_0 ||
      !GetExitCodeProcess(process_.hProcess, &code))
    return -1;
  return static_cast<int>(code);
}

HWND TavCamApp::WaitForWindow(const std::wstring& title, DWORD timeoutMs) const {
  Search search = {process_.dwProcessId, nullptr, title.c_str(), nullptr};
  WaitUntil(
      [&] {
        EnumWindows(FindOwnWindow, reinterpret_cast<LPARAM>(&search));
        return search.found != nullptr;
      },
      timeoutMs);
  return search.found;
}

bool SaveScreenshot(HWND window, const std::string& unixPath) {
  RECT r;
  if (!GetWindowRect(window, &r)) return false;
  char crop[96];
  snprintf(crop, sizeof(crop), "%ldx%ld+%ld+%ld", r.right - r.left, r.bottom - r.top, r.left, r.top);
  return RunUnixCommand("import -window root -crop " + std::string(crop) + " +repage " + ShellQuote(unixPath))
             .exitCode == 0;
}

}  // namespace tavtest
