// Preview: the latest camera frame, stored by the camera thread and painted
// by the UI thread with StretchDIBits, scaled to fit and letter-boxed.
#pragma once

#include <windows.h>

#include <mutex>
#include <vector>

#include "tools/tavcam/FrameFormat.h"

class Preview {
 public:
  // The window the frames are painted in (the preview control).
  void SetWindow(HWND window) { window_ = window; }
  // Camera thread: keeps a copy of the frame and asks for a repaint.
  void Store(const unsigned char* frame, const FrameFormat& format);
  // UI thread, from WM_PAINT of the preview control.
  void Paint(HDC dc, const RECT& area);

 private:
  HWND window_ = nullptr;
  std::mutex lock_;
  FrameFormat format_;
  std::vector<unsigned char> frame_;
  std::vector<unsigned char> rgb_;  // YUY2 turned into 32-bit RGB for GDI
};
