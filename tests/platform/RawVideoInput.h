#pragma once
// The project's raw frame source filter (CPushSourceReadRAW) as a movie
// writer drives it: configured through IMovie2, fed frame by frame through
// the hand-over events. One test thread.

#include "filters/MovieInterfaces.h"
#include "tests/filters/HostHandOver.h"

#include <strmif.h>

class CSource;

namespace platformtest {

class RawVideoInput {
 public:
  // pixelFormat: 0 RGB24, 1 RGB32, 2 grey 8-bit, 3 YUY2. A negative height
  // means bottom-up rows, as the host passes it.
  RawVideoInput(UINT pixelFormat, UINT width, int height, double fps);
  ~RawVideoInput();
  RawVideoInput(const RawVideoInput&) = delete;
  RawVideoInput& operator=(const RawVideoInput&) = delete;

  IBaseFilter* Filter() const { return m_filter; }
  IPin* OutputPin() const;  // no reference added
  HRESULT InitResult() const { return m_init; }

  // One frame with its capture time and frame number (AddFrame2).
  HRESULT Push(const void* data, int size, unsigned __int64 time, unsigned __int64 frameNumber);
  // Ends the stream (IMovie::ReleaseFilterData).
  void End();
  // The filter's stream error code: why its last delivery failed (S_OK if none).
  HRESULT StreamError() const;

 private:
  CSource* m_source = nullptr;  // the same object as m_filter
  IBaseFilter* m_filter = nullptr;
  IMovie2* m_movie = nullptr;
  IPin* m_pin = nullptr;
  HRESULT m_init = E_FAIL;
  tavtest::HostHandOver m_host;
};

}  // namespace platformtest
