#include "tools/tavcam/Recorder.h"

#include <TavMovieMaker.h>

#include <CallError.h>

namespace {

// The two-call protocol of Get(Audio)Compressors: sizes first, then the names
// into buffers of that size (at least TAVMM_MIN_NAME_LENGTH, which the fixed
// names need). Empty names (the audio list's spare) are left out.
std::vector<std::wstring> ListNames(TavMovieMakerGetCompressorsFn get, int id) {
  int count = 0, maxLength = 0;
  if (get(id, nullptr, &count, &maxLength) != S_OK || count <= 0) return {};
  if (maxLength < TAVMM_MIN_NAME_LENGTH) maxLength = TAVMM_MIN_NAME_LENGTH;
  std::vector<std::wstring> buffers(count, std::wstring(maxLength, L'\0'));
  std::vector<wchar_t*> pointers;
  for (std::wstring& buffer : buffers) pointers.push_back(&buffer[0]);
  if (get(id, pointers.data(), &count, &maxLength) != S_OK) return {};
  std::vector<std::wstring> names;
  for (wchar_t* name : pointers)
    if (name[0] != L'\0') names.emplace_back(name);
  return names;
}

}  // namespace

Recorder::Recorder() = default;

Recorder::~Recorder() { Shutdown(); }

void Recorder::Fail(const char* exportName, HRESULT hr) {
  wchar_t text[512];
  TavFormatCallError(exportName, hr, text, 512);  // name, HRESULT, system text
  std::lock_guard<std::mutex> lock(errorLock_);
  lastError_ = text;
}

bool Recorder::Setup(const CameraSettings& settings) {
  Shutdown();
  // A positive height: the camera's first row is the bottom of the picture.
  unsigned pixelFormat = settings.pixelFormat;
  HRESULT hr = TavMovieMakerInitEx(settings.width, settings.height, settings.fps, &pixelFormat, &id_);
  if (hr != S_OK) {
    Fail("TavMovieMakerInitEx", hr);
    id_ = 0;
    return false;
  }
  hasAudio_ = settings.audioBits != 0;
  if (hasAudio_) {
    hr = TavMovieMakerSetAudioStream(id_, static_cast<unsigned>(settings.audioBits));
    if (hr != S_OK) {
      Fail("TavMovieMakerSetAudioStream", hr);
      return false;
    }
  }
  return true;
}

std::vector<std::wstring> Recorder::VideoCompressors() {
  return id_ != 0 ? ListNames(TavMovieMakerGetCompressors, id_) : std::vector<std::wstring>();
}

std::vector<std::wstring> Recorder::AudioCompressors() {
  return id_ != 0 && hasAudio_ ? ListNames(TavMovieMakerGetAudioCompressors, id_) : std::vector<std::wstring>();
}

bool Recorder::ChooseVideoCompressor(const std::wstring& name, bool* hasDialog) {
  *hasDialog = false;
  HRESULT hr = TavMovieMakerSetCompressor(id_, name.c_str(), hasDialog);
  if (hr != S_OK) Fail("TavMovieMakerSetCompressor", hr);
  return hr == S_OK;
}

bool Recorder::ChooseAudioCompressor(const std::wstring& name) {
  HRESULT hr = TavMovieMakerSetAudioCompressor(id_, name.c_str());
  if (hr != S_OK) Fail("TavMovieMakerSetAudioCompressor", hr);
  return hr == S_OK;
}

void Recorder::ShowVideoCompressorDialog(HWND parent) {
  HRESULT hr = TavMovieMakerShowCompressorDlg(id_, parent);
  if (hr != S_OK) Fail("TavMovieMakerShowCompressorDlg", hr);
}

void Recorder::ShowAudioCompressorDialog(HWND parent) {
  HRESULT hr = TavMovieMakerShowAudioCompressorDlg(id_, parent);
  if (hr != S_OK) Fail("TavMovieMakerShowAudioCompressorDlg", hr);
}

bool Recorder::Start(const std::wstring& fileName) {
  if (id_ == 0 || recording_) return false;
  // StartMovieRecord only marks the writer: the camera thread's first
  // hand-over builds the graph and creates the file.
  HRESULT hr = TavMovieMakerStartMovieRecord(id_, fileName.c_str());
  if (hr != S_OK) {
    Fail("TavMovieMakerStartMovieRecord", hr);
    return false;
  }
  {
    std::lock_guard<std::mutex> lock(errorLock_);
    lastError_.clear();
  }
  handedIn_ = 0;
  dropped_ = 0;
  droppedSinceLastFrame_ = 0;
  broken_ = false;
  startTick_ = GetTickCount64();
  std::lock_guard<std::mutex> lock(gate_);
  recording_ = open_ = true;
  paused_ = breakPending_ = false;
  return true;
}

bool Recorder::Stop() {
  {
    // Waits for a hand-over in progress; afterwards none can start.
    std::lock_guard<std::mutex> lock(gate_);
    open_ = false;
    if (!recording_) return true;  // not started, or stopped after a time-out
    recording_ = false;
  }
  stopTick_ = GetTickCount64();
  HRESULT hr = TavMovieMakerStopMovieRecord(id_);
  // After a failed hand-over Stop often repeats its error: keep the first.
  if (hr != S_OK && !broken_) Fail("TavMovieMakerStopMovieRecord", hr);
  return hr == S_OK;
}

void Recorder::Shutdown() {
  Stop();
  if (id_ != 0) TavMovieMakerRelease(id_);
  id_ = 0;
  hasAudio_ = false;
}

void Recorder::Pause() {
  std::lock_guard<std::mutex> lock(gate_);
  if (!open_ || paused_) return;
  paused_ = breakPending_ = true;
}

void Recorder::Resume() {
  std::lock_guard<std::mutex> lock(gate_);
  paused_ = false;
}

RecorderStats Recorder::Stats() {
  RecorderStats stats;
  stats.recording = recording_;
  {
    std::lock_guard<std::mutex> lock(gate_);
    stats.paused = paused_;
  }
  stats.framesHandedIn = handedIn_;
  stats.framesDropped = dropped_;
  const ULONGLONG start = startTick_, end = recording_ ? GetTickCount64() : stopTick_.load();
  stats.elapsedSeconds = start != 0 && end >= start ? (end - start) / 1000.0 : 0.0;
  std::lock_guard<std::mutex> lock(errorLock_);
  stats.lastError = lastError_;
  return stats;
}

void Recorder::HandOver(void* frame, unsigned frameBytes, void* audio, unsigned audioBytes, long long captureTime,
                        long long number) {
  std::lock_guard<std::mutex> lock(gate_);
  if (!open_ || (paused_ && !breakPending_)) return;
  HRESULT hr = S_OK;
  const char* call = "";
  if (breakPending_) {
    // A planned pause: the gap before the next frame is not counted as
    // dropped frames.
    breakPending_ = false;
    call = "TavMovieMakerAddBreakFrame";
    hr = TavMovieMakerAddBreakFrame(id_);
  } else {
    if (frame) {
      call = "TavMovieMakerAddMovieFrame2";
      hr = TavMovieMakerAddMovieFrame2(id_, frame, frameBytes, captureTime, number);
      if (hr == S_OK) {
        // The DLL has seen the gap in the frame numbers: the movie now has
        // an empty slot for each frame skipped since the last one (a gap
        // before the first frame leaves none).
        if (handedIn_ > 0) dropped_ += droppedSinceLastFrame_;
        droppedSinceLastFrame_ = 0;
        ++handedIn_;
      }
    } else {
      ++droppedSinceLastFrame_;
    }
    if (hr == S_OK && audio) {
      // The sound card goes on while the camera drops a frame.
      call = "TavMovieMakerAddAudioSample2";
      hr = TavMovieMakerAddAudioSample2(id_, audio, audioBytes, captureTime, number);
    }
  }
  if (hr == S_OK) return;
  Fail(call, hr);
  open_ = false;
  broken_ = true;
  // After a time-out this thread still owns the DLL's main mutex, so the
  // recording must be stopped from here (Stop on the UI thread would wait
  // for the mutex for good). Any other failure is stopped by the UI thread.
  if (hr == TAVMM_E_TIMEOUT) {
    recording_ = false;
    stopTick_ = GetTickCount64();
    TavMovieMakerStopMovieRecord(id_);
  }
}
