#include "tools/tavcam/Camera.h"

#include <vector>

#include <TestCard.h>
#include <Tone.h>

#include "tools/tavcam/FrameFormat.h"
#include "tools/tavcam/Preview.h"

void Camera::Start(const CameraSettings& settings, Recorder* recorder, Preview* preview) {
  Stop();
  stop_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  thread_ = std::thread(&Camera::Run, this, settings, recorder, preview);
}

void Camera::Stop() {
  if (!thread_.joinable()) return;
  SetEvent(stop_);
  thread_.join();
  CloseHandle(stop_);
  stop_ = nullptr;
}

void Camera::Run(CameraSettings settings, Recorder* recorder, Preview* preview) {
  FrameFormat format;
  format.width = settings.width;
  format.height = settings.height;
  format.pixelFormat = settings.pixelFormat;
  std::vector<unsigned char> frame(format.Bytes());
  // One block of tone per frame (48000 / fps stereo sample frames).
  const unsigned audioBits = static_cast<unsigned>(settings.audioBits);
  std::vector<unsigned char> audio(audioBits != 0 ? TavToneBlockBytes(settings.fps, audioBits) : 0);

  LARGE_INTEGER frequency, start, now;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  for (long long number = 0;; ++number) {
    // Frame `number` is due at number / fps seconds after the start. A late
    // thread catches up without waiting: only the drop switch loses frames.
    const double due = number / settings.fps;
    QueryPerformanceCounter(&now);
    const double elapsed = static_cast<double>(now.QuadPart - start.QuadPart) / frequency.QuadPart;
    const DWORD wait = due > elapsed ? static_cast<DWORD>((due - elapsed) * 1000.0) : 0;
    if (WaitForSingleObject(stop_, wait) == WAIT_OBJECT_0) break;
    const long long captureTime = static_cast<long long>(due * 1e7);  // 100 ns units

    const bool dropped = dropFrames_ && number % kDropEvery == kDropEvery / 2;
    if (!dropped) {
      TavTestCardPaint(frame.data(), format.width, format.height, format.pixelFormat, number, captureTime / 10000);
      preview->Store(frame.data(), format);
    }
    if (!audio.empty()) TavTonePaint(audio.data(), settings.fps, audioBits, number);
    recorder->HandOver(dropped ? nullptr : frame.data(), format.Bytes(), audio.empty() ? nullptr : audio.data(),
                       static_cast<unsigned>(audio.size()), captureTime, number);
  }
}
