#include "Recorder.h"

#include <CallError.h>
#include <TestCard.h>
#include <Tone.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "Console.h"
#include "FrameInput.h"
#include "MovieMaker.h"
#include "PackCheck.h"
#include "Progress.h"
#include "SlotCounter.h"

namespace tavrec {
namespace {

// StartMovieRecord keeps file names of up to 259 characters.
const size_t kLongestFileName = 259;

void PrintError(const std::wstring& message) { Print(stderr, L"tavrec: " + message + L"\n"); }

// The first failed call of a run: which export and what it returned.
struct Failure {
  const char* exportName = nullptr;
  HRESULT hr = S_OK;
  explicit operator bool() const { return exportName != nullptr; }
};

bool Call(Failure& failure, const char* exportName, HRESULT hr) {
  if (hr == S_OK) return true;
  if (!failure) failure = {exportName, hr};
  return false;
}

// A usage error found only once the DLL is loaded: the line and the usage.
int UsageError(const std::wstring& message) {
  Print(stderr, L"tavrec: " + message + L"\n" + UsageLine());
  return kUsage;
}

void PrintFailure(const Failure& failure, const Options& options) {
  wchar_t line[1024];
  TavFormatCallError(failure.exportName, failure.hr, line, 1024);
  PrintError(line);
  if (std::strncmp(failure.exportName, "TavLog", 6) == 0) return;  // the log itself failed
  PrintError(options.logPath.empty() ? L"the DLL's log was off; run again with --log FILE to see its lines"
                                     : L"the DLL's log is in " + options.logPath);
}

std::wstring FullPath(const std::wstring& path) {
  std::vector<wchar_t> full(32768);
  const DWORD n = GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  return n > 0 && n < full.size() ? std::wstring(full.data(), n) : path;
}

// Chooses the named compressor after checking that the DLL lists it.
int ChooseCompressor(const MovieMaker& mm, int id, bool audio, const std::wstring& name, Failure& failure) {
  std::vector<std::wstring> names;
  const char* lister = audio ? "TavMovieMakerGetAudioCompressors" : "TavMovieMakerGetCompressors";
  if (!Call(failure, lister, ListCompressors(audio ? mm.GetAudioCompressors : mm.GetCompressors, id, names)))
    return kLibraryFailed;
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    return UsageError(Format(L"there is no %s compressor named \"%s\" (tavrec --list-compressors lists them)",
                             audio ? L"audio" : L"video", name.c_str()));
  }
  bool hasDialog = false;
  const bool ok = audio ? Call(failure, "TavMovieMakerSetAudioCompressor", mm.SetAudioCompressor(id, name.c_str()))
                        : Call(failure, "TavMovieMakerSetCompressor", mm.SetCompressor(id, name.c_str(), &hasDialog));
  return ok ? kDone : kLibraryFailed;
}

bool StartLog(const MovieMaker& mm, const Options& o, Failure& failure) {
  if (o.logPath.empty()) return true;
  const int engine = 1;
  HRESULT hr = mm.LogCreateEngine(engine, o.logSeverity);
  if (FAILED(hr)) return Call(failure, "TavLogCreateEngine", hr);
  return Call(failure, "TavLogAttachFile",
              mm.LogAttachFile(engine, o.logLayout, o.logSeverity, FullPath(o.logPath).c_str(), nullptr)) &&
         Call(failure, "TavLogListen", mm.LogListen(engine, mm.LogModuleKey()));
}

}  // namespace

int ListCompressors() {
  MovieMaker mm;
  if (std::wstring problem = mm.Load(); !problem.empty()) return PrintError(problem), kLibraryFailed;
  int id = 0;
  Failure failure;
  std::vector<std::wstring> video, audio;
  Call(failure, "TavMovieMakerInitEx", mm.InitEx(320, 240, 25, nullptr, &id)) &&
      Call(failure, "TavMovieMakerGetCompressors", tavrec::ListCompressors(mm.GetCompressors, id, video)) &&
      Call(failure, "TavMovieMakerSetAudioStream", mm.SetAudioStream(id, 16)) &&
      Call(failure, "TavMovieMakerGetAudioCompressors", tavrec::ListCompressors(mm.GetAudioCompressors, id, audio));
  if (id != 0) mm.Release(id);
  if (failure) return PrintFailure(failure, Options()), kLibraryFailed;
  std::wstring text = L"video compressors:\n";
  for (const auto& name : video) text += L"  " + name + L"\n";
  text += L"audio compressors:\n";
  for (const auto& name : audio) text += L"  " + name + L"\n";
  Print(stdout, text);
  return kDone;
}

int Record(const Options& o) {
  if (std::wstring refusal = CheckPlatformPack(); !refusal.empty()) return PrintError(refusal), kLibraryFailed;

  std::wstring problem;
  std::unique_ptr<FrameInput> input = o.input.empty() ? OpenTestCard(o) : OpenRawInput(o, problem);
  if (!input) return PrintError(problem), kInputError;

  MovieMaker mm;
  if (problem = mm.Load(); !problem.empty()) return PrintError(problem), kLibraryFailed;
  Failure failure;
  if (!StartLog(mm, o, failure)) return PrintFailure(failure, o), kLibraryFailed;

  // With a positive height the DLL copies rows as they are, and a movie holds
  // RGB and grey rows bottom-up but YUY2 rows top-down; a negative height
  // reverses them. The test card comes in the movie's order; raw input runs
  // top-down unless --bottom-up says otherwise.
  const bool inMovieOrder = o.input.empty() || o.bottomUp == (o.pixelFormat != TAVMM_PIXEL_YUY2);
  unsigned pixelFormat = o.pixelFormat;
  int id = 0;
  int code = kDone;
  if (!Call(failure, "TavMovieMakerInitEx",
            mm.InitEx(o.width, inMovieOrder ? o.height : -o.height, o.fps, &pixelFormat, &id)))
    return PrintFailure(failure, o), kLibraryFailed;
  if (o.tone && !Call(failure, "TavMovieMakerSetAudioStream", mm.SetAudioStream(id, o.audioBits)))
    code = kLibraryFailed;
  if (code == kDone && !o.videoCompressor.empty()) code = ChooseCompressor(mm, id, false, o.videoCompressor, failure);
  if (code == kDone && !o.audioCompressor.empty()) code = ChooseCompressor(mm, id, true, o.audioCompressor, failure);
  const std::wstring movie = FullPath(o.output);
  if (code == kDone && movie.size() > kLongestFileName) {
    code = UsageError(Format(L"the output's full path has %zu characters; the DLL takes at most %zu", movie.size(),
                             kLongestFileName));
  }
  if (code == kDone && !Call(failure, "TavMovieMakerStartMovieRecord", mm.StartMovieRecord(id, movie.c_str())))
    code = kLibraryFailed;
  if (code != kDone) {
    mm.Release(id);
    if (failure) PrintFailure(failure, o);
    return code;
  }

  std::vector<unsigned char> frame(TavTestCardFrameBytes(o.width, o.height, o.pixelFormat));
  std::vector<unsigned char> block(TavToneBlockBytes(o.fps, o.audioBits));
  const bool byNumber = o.dropBy == DropBy::Number;
  SlotCounter slots(static_cast<long long>(10000000.0 / o.fps));
  Progress progress(!o.quiet && IsTerminal(stderr));
  Figures figures;
  const long long limit = o.FrameLimit();
  for (long long k = 0; limit < 0 || k < limit; ++k) {
    const long long timeMs = std::llround(k * 1000.0 / o.fps), time = std::llround(k * 1e7 / o.fps);
    const FrameInput::Result got = input->Next(k, timeMs, frame);
    if (got == FrameInput::Result::End) break;
    if (got == FrameInput::Result::Error) {
      PrintError(input->Problem());
      code = kInputError;
      break;
    }
    const bool isBreak = o.breakEvery > 0 && (k + 1) % o.breakEvery == 0;
    const bool isDrop = !isBreak && o.dropEvery > 0 && (k + 1) % o.dropEvery == 0;
    if (isBreak) {
      if (!Call(failure, "TavMovieMakerAddBreakFrame", mm.AddBreakFrame(id))) break;
      slots.Break();
      ++figures.breaks;
    } else if (isDrop) {
      ++figures.drops;
    } else {
      if (!Call(failure, "TavMovieMakerAddMovieFrame2",
                mm.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), time, byNumber ? k : -1)))
        break;
      slots.Frame(byNumber, k, time);
      figures.handedBytes += static_cast<long long>(frame.size());
    }
    // The microphone goes on while the camera drops frames.
    if (o.tone) {
      TavTonePaint(block.data(), o.fps, o.audioBits, k);
      if (!Call(failure, "TavMovieMakerAddAudioSample2",
                mm.AddAudioSample2(id, block.data(), static_cast<unsigned>(block.size()), time, k)))
        break;
      ++figures.audioBlocks;
      figures.handedBytes += static_cast<long long>(block.size());
    }
    figures.handed = slots.handed();
    figures.elapsedSeconds = progress.ElapsedSeconds();
    figures.fileBytes = FileBytes(movie);
    progress.Update(figures);
  }
  // Whatever went wrong, the frames handed in so far make a complete movie.
  Call(failure, "TavMovieMakerStopMovieRecord", mm.StopMovieRecord(id));
  mm.Release(id);
  progress.Clear();
  figures.handed = slots.handed();
  figures.slots = slots.slots();
  figures.emptySlots = slots.emptySlots();
  figures.elapsedSeconds = progress.ElapsedSeconds();
  figures.fileBytes = FileBytes(movie);
  if (failure) return PrintFailure(failure, o), kLibraryFailed;
  if (figures.handed > 0 && figures.fileBytes == 0) {
    PrintError(
        L"every call returned S_OK, but the DLL wrote nothing into " + movie +
        (o.logPath.empty() ? L" (run again with --log FILE to see why)" : L" (its log is in " + o.logPath + L")"));
    return kLibraryFailed;
  }
  if (!o.quiet && figures.handed > 0) Print(stdout, Summary(movie, figures, o.fps));
  return code;
}

}  // namespace tavrec
