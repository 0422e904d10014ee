// CPinAudioStream: the audio source filter's output pin, "Capture". It offers
// 16-bit PCM (position 0) and 24-bit extensible PCM (position 1), 48,000 Hz
// stereo, keeps the type chosen through IAMStreamConfig::SetFormat, agrees a
// one-buffer allocator sized for 1/buffers-per-second of a second, and turns
// each handed-over PCM block into one sample.
//
// Threads: as CPushPinReadRAW. FillBuffer on the streaming thread (state lock
// held while copying), public fields written by the filter on the host's
// thread and ordered by the audio hand-over events.
#pragma once

#include <windows.h>
#include <strmif.h>

#include "framework/SourceStream.h"
#include "framework/UniqueHandle.h"

class CAudioSource;

class CPinAudioStream : public CSourceStream, public IKsPropertySet, public IAMStreamConfig {
 public:
  CPinAudioStream(HRESULT* phr, CAudioSource* pFilter);
  ~CPinAudioStream() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // CSourceStream / CBaseOutputPin
  HRESULT FillBuffer(IMediaSample* pSample) override;
  using CSourceStream::GetMediaType;
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) override;
  // The framework's activation, with the sample number reset to 0 just
  // before the worker is told to initialise.
  HRESULT Active() override;

  // IQualityControl: E_NOTIMPL (the base's answer).

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

  // Buffers per second as used for sizes and durations: at least 1.
  int EffectiveBuffersPerSecond() const;

  // Fields shared with the filter (see the thread note above).
  BYTE* m_pSampleData;                    // the pending block: the host's memory
  UINT m_uSampleSize;                     // bytes the host passed with it
  unsigned __int64 m_uTimeOffset;         // the block's offset from the first one (not used for stamps)
  BOOL m_bStop;                           // end of stream requested
  UniqueHandle m_hEventSampleReady;       // set by the host: a block is stored
  UniqueHandle m_hEventAudioBufferReady;  // set by the pin: it wants a block
  UniqueHandle m_hEventAudioBufferDone;   // set by the pin: the host's block is free again
  LONGLONG m_iSampleNumber;               // the next sample's slot
  LONGLONG m_cFramesTotal;                // blocks counted, drops included
  LONGLONG m_cDrop;                       // slots dropped before the pending block
  UINT m_uWriterId;                       // the number in the event names
  int m_iBuffersPerSecond;                // from InitParam2
  CMediaType m_mtStored;                  // the type from SetFormat (empty until then)
  BYTE m_bFormatSet;                      // SetFormat has stored a type
};
