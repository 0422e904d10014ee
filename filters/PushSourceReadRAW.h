// CPushSourceReadRAW: the raw frame source filter. The movie writer creates
// it (CreateInstance), configures it and hands it frames through IMovie2; its
// one output pin (CPushPinReadRAW) turns each frame into one media sample.
// The filter does the frame bookkeeping (first frame time, drops, breaks);
// the pin copies and time-stamps.
//
// Threads: the IMovie/IMovie2 methods run on the host's thread and take no
// lock; they write pin fields that the pin's streaming thread reads after the
// hand-over events (frame ready / buffer ready / buffer done) have ordered
// the two threads. The IBaseFilter side is called by the graph.
#pragma once

#include "filters/MovieInterfaces.h"
#include "framework/SetupData.h"
#include "framework/Source.h"

class CPushPinReadRAW;

class CPushSourceReadRAW : public CSource, public IMovie2 {
 public:
  // A new filter with a reference count of 0 (take the first reference with
  // QueryInterface), or null when memory runs out. *phr (if given) becomes
  // S_OK or E_OUTOFMEMORY. The result is a CPushSourceReadRAW
  // (static_cast it back when the class is needed).
  static CUnknown* WINAPI CreateInstance(LPUNKNOWN pUnk, HRESULT* phr);

  CPushSourceReadRAW(LPUNKNOWN pUnk, HRESULT* phr);
  ~CPushSourceReadRAW() override;

  DECLARE_IUNKNOWN
  // IID_IMovie and IID_IMovie2 give the IMovie2 face; the rest goes to CSource.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IMovie
  HRESULT STDMETHODCALLTYPE InitParam(UINT width, UINT height, int fps, UINT reserved, UINT id) override;
  HRESULT STDMETHODCALLTYPE AddFrame(BYTE* pData, int size, unsigned __int64 time) override;
  HRESULT STDMETHODCALLTYPE ReleaseFilterData() override;
  HRESULT STDMETHODCALLTYPE SetEventHandles(HANDLE hFrameReady, HANDLE hBufferReady, HANDLE hBufferDone) override;
  // IMovie2
  HRESULT STDMETHODCALLTYPE InitParam2(UINT width, int height, double fps, UINT reserved, UINT id) override;
  HRESULT STDMETHODCALLTYPE AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                      unsigned __int64 frameNumber) override;
  HRESULT STDMETHODCALLTYPE SetFrameData(UINT* pFormat) override;

  // Setup description (kept as data; nothing registers it).
  static const AMOVIESETUP_MEDIATYPE s_PinTypes;
  static const AMOVIESETUP_PIN s_Pin;
  static const AMOVIESETUP_FILTER s_FilterSetup;
  static const CFactoryTemplate s_FactoryTemplate;

  // Frame bookkeeping, written by the host's thread.
  CPushPinReadRAW* m_pPin;              // the one output pin, owned
  unsigned __int64 m_uFrameDuration;    // 100-ns units per frame
  unsigned __int64 m_uFirstFrameTime;   // capture time of the movie's first frame
  unsigned __int64 m_uLastFrameNumber;  // frame number of the previous AddFrame2
  bool m_bBreakPending;                 // a break frame came; the next gap is no drop

 private:
  // AddFrame and AddFrame2 share everything but their gap test and texts.
  HRESULT AddFrameCommon(const char* pFunction, BYTE* pData, int size, unsigned __int64 time, bool bByNumber,
                         unsigned __int64 frameNumber);
};
