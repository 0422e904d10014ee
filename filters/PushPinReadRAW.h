// CPushPinReadRAW: the raw frame source filter's output pin. It offers one
// uncompressed video type built from the frame header and pixel-format code,
// agrees a one-buffer allocator, and on its streaming thread turns each
// handed-over frame into one sample stamped with its frame slot. It answers
// IAMStreamConfig and IKsPropertySet (a capture pin).
//
// Threads: FillBuffer runs on the streaming thread, holding the filter's
// state lock while it copies and time-stamps but not while it waits for a
// frame. The public fields are written by the filter's IMovie methods on the
// host's thread without a lock, ordered against FillBuffer by the three
// hand-over events. The media-type and stream-config methods run on the
// graph's or the caller's thread under the state lock.
#pragma once

#include <windows.h>
#include <strmif.h>

#include "framework/SourceStream.h"
#include "framework/UniqueHandle.h"

class CPushSourceReadRAW;

class CPushPinReadRAW : public CSourceStream, public IKsPropertySet, public IAMStreamConfig {
 public:
  CPushPinReadRAW(HRESULT* phr, CPushSourceReadRAW* pFilter);
  ~CPushPinReadRAW() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // CSourceStream / CBaseOutputPin
  HRESULT FillBuffer(IMediaSample* pSample) override;
  using CSourceStream::GetMediaType;
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) override;

  // IQualityControl: E_FAIL.
  HRESULT STDMETHODCALLTYPE Notify(IBaseFilter* pSelf, Quality q) override;

  // IAMStreamConfig
  HRESULT STDMETHODCALLTYPE SetFormat(AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE GetFormat(AM_MEDIA_TYPE** ppmt) override;
  HRESULT STDMETHODCALLTYPE GetNumberOfCapabilities(int* piCount, int* piSize) override;
  HRESULT STDMETHODCALLTYPE GetStreamCaps(int iIndex, AM_MEDIA_TYPE** ppmt, BYTE* pSCC) override;

  // IKsPropertySet: the pin category (capture) only.
  HRESULT STDMETHODCALLTYPE Set(REFGUID guidPropSet, DWORD dwPropID, LPVOID pInstanceData, DWORD cbInstanceData,
                                LPVOID pPropData, DWORD cbPropData) override;
  HRESULT STDMETHODCALLTYPE Get(REFGUID guidPropSet, DWORD dwPropID, LPVOID pInstanceData, DWORD cbInstanceData,
                                LPVOID pPropData, DWORD cbPropData, DWORD* pcbReturned) override;
  HRESULT STDMETHODCALLTYPE QuerySupported(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport) override;

  // Recomputes the frame header's biSizeImage (DIB size) after a change.
  void UpdateImageSize();

  // The grey ramp: entry i is (i, i, i, 0). Filled by every pin constructor.
  static RGBQUAD s_GreyPalette[256];

  // Fields shared with the filter (see the thread note above).
  BITMAPINFOHEADER* m_pbmi;          // the frame header (a 44-byte block), owned
  BYTE* m_pFrameData;                // the pending frame: the host's memory
  int m_iFrameSize;                  // bytes the host passed with it
  UINT m_uWriterId;                  // the number in the event names
  UniqueHandle m_hEventFrameReady;   // set by the host: a frame is stored
  UniqueHandle m_hEventBufferReady;  // set by the pin: it wants a frame
  UniqueHandle m_hEventBufferDone;   // set by the pin: the host's frame is free again
  BOOL m_bStop;                      // end of stream requested
  UINT m_uReserved;                  // from InitParam2, read nowhere
  BOOL m_bBottomUp;                  // negative height: copy rows in reverse order
  UINT m_cDrop;                      // frame slots dropped before the pending frame
  UINT m_cFramesTotal;               // frame slots counted so far, drops included
  int m_iUnused;                     // zeroed, never used
  int m_cDroppedTotal;               // zeroed, never incremented ("dropped" in the totals line)
  int m_iSampleNumber;               // the next sample's frame slot
  UINT m_uPixelFormat;               // pixel-format code
  unsigned __int64 m_uTimeOffset;    // the pending frame's offset from the first frame
  LONGLONG m_rtFrameLength;          // 100-ns units per frame (at least 1)

 private:
  // Copies the pending frame into pDst (cbDst bytes available).
  void CopyFrame(BYTE* pDst, long cbDst);
};
