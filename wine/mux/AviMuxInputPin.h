// CAviMuxInputPin: one "Input NN" pin of the AVI Mux. Takes video with
// FORMAT_VideoInfo and audio with FORMAT_WaveFormatEx (QueryAccept looks at
// the major and format types only) and hands every sample to its filter,
// which writes it into the file.
//
// IPropertyBag: "name" (a string) becomes the stream's name ('strn');
// Write is refused with VFW_E_WRONG_STATE unless the filter is stopped.
//
// Allocator: GetAllocator offers a MuxAllocator, which grants upstream
// several buffers, so that the source runs ahead while the mux writes.
//
// Threads: as CPackInputPin. The stream fields (stream number, next frame
// slot, frame duration) are set by the filter's Pause under the filter lock
// while no sample flows, and used by the filter's write path under its write
// lock.
#pragma once

#include <ocidl.h>

#include <string>

#include "common/PackInputPin.h"

class CAviMux;

class CAviMuxInputPin : public CPackInputPin, public IPropertyBag {
 public:
  CAviMuxInputPin(CAviMux* pFilter, CCritSec* pLock, HRESULT* phr, const wchar_t* pName);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IPropertyBag
  HRESULT STDMETHODCALLTYPE Read(LPCOLESTR pszPropName, VARIANT* pVar, IErrorLog* pErrorLog) override;
  HRESULT STDMETHODCALLTYPE Write(LPCOLESTR pszPropName, VARIANT* pVar) override;
  // The stream name set through the bag (filter lock held by the caller).
  const std::wstring& StreamName() const { return m_name; }

  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT CompleteConnect(IPin* pReceivePin) override;
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;  // S_OK: waits while the write queue is full
  // The notified allocator, or a new MuxAllocator (kept) when none.
  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** ppAllocator) override;

  bool IsVideo() const;

  // Set when the pin connects: streams are numbered in this order.
  LONG m_nConnectionOrder = 0;
  // Set by the filter when writing starts.
  int m_nStream = -1;
  LONGLONG m_nNextSlot = 0;
  REFERENCE_TIME m_rtFrameDuration = 0;
  bool m_bDurationKnown = false;
  bool m_bTemporalCompression = false;

 protected:
  HRESULT OnReceive(IMediaSample* pSample) override;
  HRESULT OnEndOfStream() override;

 private:
  CAviMux* m_pMux;  // weak: the filter owns the pin
  std::wstring m_name;
};
