// MuxSample: one buffer of a MuxAllocator, handed out as an IMediaSample2.
// It holds the sample properties (times, media times, flags, media type,
// data length) over a piece of the allocator's memory it does not own. When
// its count falls to zero its properties are cleared and it goes back to
// the allocator (MuxAllocator::Recycle), which AddRef'd it out.
//
// Threads: whoever holds the sample sets and reads its properties (one at a
// time, as DirectShow samples are used); AddRef/Release from any thread.
#pragma once

#include <windows.h>
#include <strmif.h>

class MuxAllocator;

class MuxSample final : public IMediaSample2 {
 public:
  MuxSample(MuxAllocator* pAllocator, BYTE* pBuffer, long cbBuffer);
  ~MuxSample();
  MuxSample(const MuxSample&) = delete;
  MuxSample& operator=(const MuxSample&) = delete;

  // Handed out by the allocator: one reference, the data length the whole buffer.
  void HandOut();

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IMediaSample
  HRESULT STDMETHODCALLTYPE GetPointer(BYTE** ppBuffer) override;
  long STDMETHODCALLTYPE GetSize() override;
  HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
  HRESULT STDMETHODCALLTYPE IsSyncPoint() override;
  HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL bIsSyncPoint) override;
  HRESULT STDMETHODCALLTYPE IsPreroll() override;
  HRESULT STDMETHODCALLTYPE SetPreroll(BOOL bIsPreroll) override;
  long STDMETHODCALLTYPE GetActualDataLength() override;
  HRESULT STDMETHODCALLTYPE SetActualDataLength(long length) override;
  HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
  HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
  HRESULT STDMETHODCALLTYPE IsDiscontinuity() override;
  HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL bDiscontinuity) override;
  HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
  HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;

  // IMediaSample2
  HRESULT STDMETHODCALLTYPE GetProperties(DWORD cbProperties, BYTE* pbProperties) override;
  HRESULT STDMETHODCALLTYPE SetProperties(DWORD cbProperties, const BYTE* pbProperties) override;

 private:
  void SetFlag(DWORD flag, BOOL on);
  void ClearProperties();

  MuxAllocator* m_pAllocator;  // weak: the allocator owns the sample
  LONG m_cRef = 0;
  AM_SAMPLE2_PROPERTIES m_props;
  bool m_bMediaTimeValid = false;
  LONGLONG m_llMediaStart = 0;
  LONGLONG m_llMediaEnd = 0;
};
