#include "tests/api/MovieMakerDll.h"

#include <algorithm>

namespace tavtest {
namespace {

using CreateEngineFn = HRESULT (*)(int, unsigned int);
using AttachCallbackFn = HRESULT (*)(int, unsigned int, unsigned int, TavLogLineFn, void*, int*);
using ListenFn = HRESULT (*)(int, unsigned long long);
using ModuleKeyFn = unsigned long long (*)(void);

const int kEngine = 7;

template <class Fn>
bool Find(HMODULE dll, const char* name, Fn& fn) {
  fn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
  return fn != nullptr;
}

}  // namespace

MovieMakerDll::MovieMakerDll(const std::wstring& path) {
  dll_ = LoadLibraryW(path.c_str());
  if (!dll_) return;
  ok_ = Find(dll_, "TavMovieMakerInitEx", InitEx) && Find(dll_, "TavMovieMakerInit2", Init2) &&
        Find(dll_, "TavMovieMakerInit", Init) && Find(dll_, "TavMovieMakerRelease", Release) &&
        Find(dll_, "TavMovieMakerStartMovieRecord", StartMovieRecord) &&
        Find(dll_, "TavMovieMakerStopMovieRecord", StopMovieRecord) &&
        Find(dll_, "TavMovieMakerSetAudioStream", SetAudioStream) &&
        Find(dll_, "TavMovieMakerAddMovieFrame2", AddMovieFrame2) &&
        Find(dll_, "TavMovieMakerAddMovieFrame", AddMovieFrame) &&
        Find(dll_, "TavMovieMakerAddAudioSample2", AddAudioSample2) &&
        Find(dll_, "TavMovieMakerAddAudioSample", AddAudioSample) &&
        Find(dll_, "TavMovieMakerAddBreakFrame", AddBreakFrame) &&
        Find(dll_, "TavMovieMakerGetCompressors", GetCompressors) &&
        Find(dll_, "TavMovieMakerGetAudioCompressors", GetAudioCompressors) &&
        Find(dll_, "TavMovieMakerSetCompressor", SetCompressor) &&
        Find(dll_, "TavMovieMakerSetAudioCompressor", SetAudioCompressor) &&
        Find(dll_, "TavMovieMakerShowCompressorDlg", ShowCompressorDlg) &&
        Find(dll_, "TavMovieMakerShowAudioCompressorDlg", ShowAudioCompressorDlg);
}

void MovieMakerDll::CatchLog(unsigned minSeverity) {
  CreateEngineFn createEngine;
  AttachCallbackFn attachCallback;
  ListenFn listen;
  ModuleKeyFn moduleKey;
  if (!Find(dll_, "TavLogCreateEngine", createEngine) || !Find(dll_, "TavLogAttachCallback", attachCallback) ||
      !Find(dll_, "TavLogListen", listen) || !Find(dll_, "TavLogModuleKey", moduleKey)) {
    ok_ = false;
    return;
  }
  createEngine(kEngine, minSeverity);
  int sink = -1;
  attachCallback(kEngine, 2, minSeverity, &MovieMakerDll::OnLine, this, &sink);
  listen(kEngine, moduleKey());
}

int MovieMakerDll::OnLine(void* self, const wchar_t* line, int length, unsigned int) {
  auto* dll = static_cast<MovieMakerDll*>(self);
  std::lock_guard<std::mutex> lock(dll->mutex_);
  dll->lines_.emplace_back(line, static_cast<size_t>(length));
  return 0;
}

std::vector<std::wstring> MovieMakerDll::TakeLines() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::wstring> taken;
  taken.swap(lines_);
  return taken;
}

std::vector<std::wstring> MovieMakerDll::Lines() {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::wstring QuickWaitDllPath() {
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring path = program;
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"quick-wait\\TavMovieMaker.dll";
}

std::wstring Trace(const std::wstring& message) { return L"SV=TRACE; CD=0; MSG=" + message; }
std::wstring Error(const std::wstring& message) { return L"SV=ERROR; CD=0; MSG=" + message; }

std::vector<std::wstring> From(const std::vector<std::wstring>& lines, const std::wstring& from) {
  auto it = std::find(lines.begin(), lines.end(), from);
  return std::vector<std::wstring>(it, lines.end());
}

bool InOrder(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& wanted) {
  auto it = lines.begin();
  for (const std::wstring& line : wanted) {
    it = std::find(it, lines.end(), line);
    if (it == lines.end()) return false;
    ++it;
  }
  return true;
}

int Count(const std::vector<std::wstring>& lines, const std::wstring& line) {
  return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

std::string Dump(const std::vector<std::wstring>& lines) {
  std::string text;
  for (const std::wstring& line : lines) {
    int n = WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), &narrow[0], n, nullptr, nullptr);
    text += narrow + "\n";
  }
  return text;
}

}  // namespace tavtest
