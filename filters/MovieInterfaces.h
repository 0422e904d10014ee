// The COM interfaces of the library's two source filters, their interface
// identifiers and the filters' class identifiers. Slot order is fixed.
//
// IMovie / IMovie2: the raw frame source filter (CPushSourceReadRAW).
// IAudio: the audio source filter (CAudioSource).
// Times are 100-nanosecond units. Methods report their own failures with
// S_FALSE (1).
#pragma once

#include <windows.h>
#include <unknwn.h>

extern "C" {
extern const CLSID CLSID_PushSourceReadRAW;  // {BD19D5F4-4828-40F4-B17F-346AEE152BF3}
extern const CLSID CLSID_AudioSource;        // {72457924-1DB8-4142-B281-6BCE7487848D}
extern const IID IID_IMovie;                 // {8F821966-CAC4-45E9-8677-7CBBBCF6DF8D}
extern const IID IID_IMovie2;                // {8F821967-CAC4-45E9-8677-7CBBBCF6DF8D}
extern const IID IID_IAudio;                 // {68B04166-FCDD-48A4-8CF8-D7CC89806AD2}
}

struct IMovie : public IUnknown {
  // The integer-rate form of IMovie2::InitParam2.
  virtual HRESULT STDMETHODCALLTYPE InitParam(UINT width, UINT height, int fps, UINT reserved, UINT id) = 0;
  // Hands over one frame (the buffer must stay valid until the pin signals
  // "buffer done"); null data, size 0 and time 0 mark a break.
  virtual HRESULT STDMETHODCALLTYPE AddFrame(BYTE* pData, int size, unsigned __int64 time) = 0;
  // Ends the stream: the pin's next (or current) FillBuffer returns S_FALSE.
  virtual HRESULT STDMETHODCALLTYPE ReleaseFilterData() = 0;
  // Gives the pin duplicates of the three hand-over events.
  virtual HRESULT STDMETHODCALLTYPE SetEventHandles(HANDLE hFrameReady, HANDLE hBufferReady, HANDLE hBufferDone) = 0;
};

struct IMovie2 : public IMovie {
  // Geometry (a negative height means bottom-up rows), rate, counters, and
  // opens still-missing events by name.
  virtual HRESULT STDMETHODCALLTYPE InitParam2(UINT width, int height, double fps, UINT reserved, UINT id) = 0;
  // Like AddFrame, with gap detection by frame number; all four null/0 is a break.
  virtual HRESULT STDMETHODCALLTYPE AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                              unsigned __int64 frameNumber) = 0;
  // Pixel-format code: 0 RGB24, 1 RGB32, 2 8-bit grey, 3 YUY2.
  virtual HRESULT STDMETHODCALLTYPE SetFrameData(UINT* pFormat) = 0;
};

struct IAudio : public IUnknown {
  // 16 bits selects 16-bit PCM, anything else 24-bit extensible PCM;
  // buffersPerSecond sets the buffer size and the sample duration.
  virtual HRESULT STDMETHODCALLTYPE InitParam2(int bitsPerSample, UINT id, UINT buffersPerSecond) = 0;
  virtual HRESULT STDMETHODCALLTYPE AddFrame(BYTE* pData, int size, unsigned __int64 time) = 0;
  virtual HRESULT STDMETHODCALLTYPE AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                              unsigned __int64 frameNumber) = 0;
  virtual HRESULT STDMETHODCALLTYPE ReleaseFilterData() = 0;
  virtual HRESULT STDMETHODCALLTYPE SetEventHandles(HANDLE hSampleReady, HANDLE hAudioBufferReady,
                                                    HANDLE hAudioBufferDone) = 0;
};

__CRT_UUID_DECL(IMovie, 0x8F821966, 0xCAC4, 0x45E9, 0x86, 0x77, 0x7C, 0xBB, 0xBC, 0xF6, 0xDF, 0x8D)
__CRT_UUID_DECL(IMovie2, 0x8F821967, 0xCAC4, 0x45E9, 0x86, 0x77, 0x7C, 0xBB, 0xBC, 0xF6, 0xDF, 0x8D)
__CRT_UUID_DECL(IAudio, 0x68B04166, 0xFCDD, 0x48A4, 0x8C, 0xF8, 0xD7, 0xCC, 0x89, 0x80, 0x6A, 0xD2)
