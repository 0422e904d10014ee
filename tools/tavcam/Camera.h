// Camera: a synthetic camera on its own thread, the host's acquisition thread.
// At the chosen rate it paints a test card with the frame number and time
// burnt in, fills one block of tone per frame, shows the frame in the preview
// and hands both to the recorder (which does nothing unless recording).
#pragma once

#include <windows.h>

#include <atomic>
#include <thread>

#include "tools/tavcam/Recorder.h"

class Preview;

class Camera {
 public:
  ~Camera() { Stop(); }
  // Starts the thread; Stop first when it runs.
  void Start(const CameraSettings& settings, Recorder* recorder, Preview* preview);
  // Ends the thread and waits for it.
  void Stop();
  // Skip a frame now and then (one in every kDropEvery), as a busy camera
  // does: the recorded movie shows the gaps.
  void SetDropFrames(bool on) { dropFrames_ = on; }
  static const int kDropEvery = 20;

 private:
  void Run(CameraSettings settings, Recorder* recorder, Preview* preview);

  std::thread thread_;
  HANDLE stop_ = nullptr;  // manual-reset event: the thread ends when set
  std::atomic<bool> dropFrames_{false};
};
