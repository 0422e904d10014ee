#include "MovieMaker.h"

#include "Console.h"

namespace tavrec {
namespace {

// GetProcAddress returns a generic function pointer; each is cast to its own
// type, through void (*)(void), which matches every function type.
template <typename Fn>
bool Find(HMODULE dll, const char* name, Fn& fn, std::wstring& missing) {
  fn = reinterpret_cast<Fn>(reinterpret_cast<void (*)(void)>(GetProcAddress(dll, name)));
  if (!fn && missing.empty()) missing = Format(L"TavMovieMaker.dll has no export %hs", name);
  return fn != nullptr;
}

}  // namespace

std::wstring MovieMaker::Load() {
  HMODULE dll = LoadLibraryW(L"TavMovieMaker.dll");
  if (!dll) return Format(L"cannot load TavMovieMaker.dll (error %lu)", GetLastError());
  std::wstring missing;
  Find(dll, "TavMovieMakerInitEx", InitEx, missing);
  Find(dll, "TavMovieMakerRelease", Release, missing);
  Find(dll, "TavMovieMakerSetAudioStream", SetAudioStream, missing);
  Find(dll, "TavMovieMakerStartMovieRecord", StartMovieRecord, missing);
  Find(dll, "TavMovieMakerStopMovieRecord", StopMovieRecord, missing);
  Find(dll, "TavMovieMakerAddMovieFrame2", AddMovieFrame2, missing);
  Find(dll, "TavMovieMakerAddAudioSample2", AddAudioSample2, missing);
  Find(dll, "TavMovieMakerAddBreakFrame", AddBreakFrame, missing);
  Find(dll, "TavMovieMakerGetCompressors", GetCompressors, missing);
  Find(dll, "TavMovieMakerGetAudioCompressors", GetAudioCompressors, missing);
  Find(dll, "TavMovieMakerSetCompressor", SetCompressor, missing);
  Find(dll, "TavMovieMakerSetAudioCompressor", SetAudioCompressor, missing);
  Find(dll, "TavLogCreateEngine", LogCreateEngine, missing);
  Find(dll, "TavLogAttachFile", LogAttachFile, missing);
  Find(dll, "TavLogListen", LogListen, missing);
  Find(dll, "TavLogModuleKey", LogModuleKey, missing);
  return missing;
}

HRESULT ListCompressors(TavMovieMakerGetCompressorsFn list, int id, std::vector<std::wstring>& names) {
  names.clear();
  int count = 0, maxLength = 0;
  HRESULT hr = list(id, nullptr, &count, &maxLength);
  if (hr != S_OK || count <= 0 || maxLength <= 0) return hr;
  std::vector<std::vector<wchar_t>> buffers(count, std::vector<wchar_t>(maxLength + 1, L'\0'));
  std::vector<wchar_t*> pointers;
  for (auto& buffer : buffers) pointers.push_back(buffer.data());
  hr = list(id, pointers.data(), &count, &maxLength);
  if (hr != S_OK) return hr;
  for (int i = 0; i < count && i < static_cast<int>(buffers.size()); ++i)
    if (buffers[i][0] != L'\0') names.emplace_back(buffers[i].data());
  return S_OK;
}

}  // namespace tavrec
