// TavMovieMaker.dll as a host sees it: loaded with LoadLibraryW, every
// function found with GetProcAddress through the types of the public header,
// and the library's log caught by a callback sink (layout 2,
// "SV=<severity>; CD=<code>; MSG=<message>"). Each test case runs in its own
// process, so each gets the DLL freshly loaded.
#pragma once

#include <TavMovieMaker.h>

#include <mutex>
#include <string>
#include <vector>

namespace tavtest {

class MovieMakerDll {
 public:
  // Loads the DLL (ok() tells whether it and every function were found):
  // the shipped one, or the build of it at `path`.
  explicit MovieMakerDll(const std::wstring& path = L"TavMovieMaker.dll");
  bool ok() const { return ok_; }

  // Catches every library line from `minSeverity` up, from now on.
  void CatchLog(unsigned minSeverity = 0);
  // The caught lines so far, in order, and clears them.
  std::vector<std::wstring> TakeLines();
  // The caught lines so far, kept.
  std::vector<std::wstring> Lines();

  TavMovieMakerInitExFn InitEx = nullptr;
  TavMovieMakerInit2Fn Init2 = nullptr;
  TavMovieMakerInitFn Init = nullptr;
  TavMovieMakerReleaseFn Release = nullptr;
  TavMovieMakerStartMovieRecordFn StartMovieRecord = nullptr;
  TavMovieMakerStopMovieRecordFn StopMovieRecord = nullptr;
  TavMovieMakerSetAudioStreamFn SetAudioStream = nullptr;
  TavMovieMakerAddMovieFrame2Fn AddMovieFrame2 = nullptr;
  TavMovieMakerAddMovieFrameFn AddMovieFrame = nullptr;
  TavMovieMakerAddAudioSample2Fn AddAudioSample2 = nullptr;
  TavMovieMakerAddAudioSampleFn AddAudioSample = nullptr;
  TavMovieMakerAddBreakFrameFn AddBreakFrame = nullptr;
  TavMovieMakerGetCompressorsFn GetCompressors = nullptr;
  TavMovieMakerGetAudioCompressorsFn GetAudioCompressors = nullptr;
  TavMovieMakerSetCompressorFn SetCompressor = nullptr;
  TavMovieMakerSetAudioCompressorFn SetAudioCompressor = nullptr;
  TavMovieMakerShowCompressorDlgFn ShowCompressorDlg = nullptr;
  TavMovieMakerShowAudioCompressorDlgFn ShowAudioCompressorDlg = nullptr;

 private:
  static int OnLine(void* self, const wchar_t* line, int length, unsigned int severity);

  HMODULE dll_ = nullptr;
  bool ok_ = false;
  std::mutex mutex_;
  std::vector<std::wstring> lines_;
};

// The DLL built for the time-out tests, whose hand-overs wait 200 ms for the
// pin instead of 10 s (bin/quick-wait/, beside the test programs).
std::wstring QuickWaitDllPath();
const unsigned kQuickWaitMs = 200;

// Lines as the layout-2 sink prints them.
std::wstring Trace(const std::wstring& message);  // "SV=TRACE; CD=0; MSG=<message>"
std::wstring Error(const std::wstring& message);  // "SV=ERROR; CD=0; MSG=<message>"

// The lines from the first one equal to `from` on (empty when none is).
std::vector<std::wstring> From(const std::vector<std::wstring>& lines, const std::wstring& from);
// Whether `lines` holds `wanted` in this order (other lines may come between).
bool InOrder(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& wanted);
// How often `line` occurs.
int Count(const std::vector<std::wstring>& lines, const std::wstring& line);
// All lines joined with line breaks, for failure messages.
std::string Dump(const std::vector<std::wstring>& lines);

}  // namespace tavtest
