// TavMovieMaker.dll as tavrec uses it: loaded with LoadLibraryW, each
// function found with GetProcAddress through the public header's types.
#pragma once

#include <TavMovieMaker.h>

#include <string>
#include <vector>

namespace tavrec {

struct MovieMaker {
  TavMovieMakerInitExFn InitEx = nullptr;
  TavMovieMakerReleaseFn Release = nullptr;
  TavMovieMakerSetAudioStreamFn SetAudioStream = nullptr;
  TavMovieMakerStartMovieRecordFn StartMovieRecord = nullptr;
  TavMovieMakerStopMovieRecordFn StopMovieRecord = nullptr;
  TavMovieMakerAddMovieFrame2Fn AddMovieFrame2 = nullptr;
  TavMovieMakerAddAudioSample2Fn AddAudioSample2 = nullptr;
  TavMovieMakerAddBreakFrameFn AddBreakFrame = nullptr;
  TavMovieMakerGetCompressorsFn GetCompressors = nullptr;
  TavMovieMakerGetAudioCompressorsFn GetAudioCompressors = nullptr;
  TavMovieMakerSetCompressorFn SetCompressor = nullptr;
  TavMovieMakerSetAudioCompressorFn SetAudioCompressor = nullptr;
  decltype(&TavLogCreateEngine) LogCreateEngine = nullptr;
  decltype(&TavLogAttachFile) LogAttachFile = nullptr;
  decltype(&TavLogListen) LogListen = nullptr;
  decltype(&TavLogModuleKey) LogModuleKey = nullptr;

  // Loads the DLL beside the program (or on the search path). Empty on
  // success, else why not.
  std::wstring Load();
};

// The names a compressor lister gives (GetCompressors or
// GetAudioCompressors), without the empty spare. S_OK or the failing result.
HRESULT ListCompressors(TavMovieMakerGetCompressorsFn list, int id, std::vector<std::wstring>& names);

}  // namespace tavrec
