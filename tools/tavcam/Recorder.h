// Recorder: everything tavcam asks of TavMovieMaker.dll, in one place.
//
// Threads, as docs/host-guide.md asks of a host:
//  - the UI thread calls Setup, the compressor functions, the dialogs, Start,
//    Stop and Shutdown (the control thread);
//  - the camera thread calls HandOver for every frame it takes (the
//    acquisition thread).
// The DLL does not lock its writer registry, so a control call must never
// overlap a hand-over. HandOver holds `gate_` while it is inside the DLL, and
// Start / Stop open and close the gate under the same lock: once Stop holds
// it, no hand-over is running and none can start.
#pragma once

#include <windows.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

// What the camera produces; a new set needs a new writer (Setup).
struct CameraSettings {
  int width = 640;
  int height = 480;
  double fps = 25.0;
  unsigned pixelFormat = 0;  // TAVMM_PIXEL_*
  int audioBits = 16;        // 0: no audio, 16 or 24
};

// What the status bar shows.
struct RecorderStats {
  bool recording = false;
  bool paused = false;
  long long framesHandedIn = 0;
  long long framesDropped = 0;  // empty slots the camera's skipped frames left in the movie
  double elapsedSeconds = 0;
  std::wstring lastError;  // empty: none
};

class Recorder {
 public:
  Recorder();
  ~Recorder();

  // ---- UI thread ----------------------------------------------------------
  // Sets up a fresh writer for these settings: releases the old one (which
  // also detaches the old audio stream), InitEx, and SetAudioStream when the
  // camera has a tone. Compressor choices start over.
  bool Setup(const CameraSettings& settings);
  // The names exactly as the DLL lists them ("Uncompressed" first for video;
  // for audio without the spare empty name at the end). Empty on failure.
  std::vector<std::wstring> VideoCompressors();
  std::vector<std::wstring> AudioCompressors();
  // SetCompressor by name; *hasDialog tells whether Configure has anything to
  // show.
  bool ChooseVideoCompressor(const std::wstring& name, bool* hasDialog);
  bool ChooseAudioCompressor(const std::wstring& name);
  // The compressors' own dialogs, modal on the UI thread.
  void ShowVideoCompressorDialog(HWND parent);
  void ShowAudioCompressorDialog(HWND parent);
  // StartMovieRecord, then lets the camera thread hand frames in.
  bool Start(const std::wstring& fileName);
  // Closes the gate (waiting for a running hand-over), then StopMovieRecord,
  // which completes the file. Also right after a failed hand-over.
  bool Stop();
  // Stop if need be, then Release: the DLL is left with no writer.
  void Shutdown();
  // Asks the camera thread to send a break frame and hold back frames until
  // Resume; the DLL then does not count the gap as dropped frames.
  void Pause();
  void Resume();
  // A hand-over failed and the recording ended (the UI then calls Stop).
  bool Broken() const { return broken_; }
  RecorderStats Stats();

  // ---- camera thread ------------------------------------------------------
  // Hands in one camera tick: the frame (nullptr when the camera dropped it)
  // and one block of audio (nullptr without audio). Does nothing unless
  // recording. `number` counts camera frames, dropped ones included, so the
  // DLL leaves a dropped frame's slot empty.
  void HandOver(void* frame, unsigned frameBytes, void* audio, unsigned audioBytes, long long captureTime,
                long long number);

 private:
  // Remembers "<export> failed: 0x%08X <system text>" for the status bar.
  void Fail(const char* exportName, HRESULT hr);

  int id_ = 0;  // the writer ID InitEx stored last; 0: none
  bool hasAudio_ = false;

  std::mutex gate_;            // held by HandOver while it is inside the DLL
  bool open_ = false;          // under gate_: hand-overs may run
  bool breakPending_ = false;  // under gate_: send a break frame first
  bool paused_ = false;        // under gate_
  std::atomic<bool> broken_{false};

  std::atomic<long long> handedIn_{0};
  std::atomic<long long> dropped_{0};
  long long droppedSinceLastFrame_ = 0;  // under gate_
  std::atomic<ULONGLONG> startTick_{0};
  std::atomic<ULONGLONG> stopTick_{0};
  std::atomic<bool> recording_{false};  // changed under gate_, read anywhere

  std::mutex errorLock_;
  std::wstring lastError_;
};
