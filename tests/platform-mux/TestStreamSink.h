// A sink filter for the mux tests, standing in for a file writer: one input
// pin "in" that takes MEDIATYPE_Stream and offers IStream over a Win32 file
// (or, with offerStream false, no IStream at all). Options: leave blocks of
// zeros unwritten (holes read back as zeros, so a >4 GB file is quick), fail
// writes once a byte budget is spent (disk full). Counts Commit calls.
#pragma once

#include <windows.h>
#include <objidl.h>
#include <strmif.h>

#include <string>

#include "common/PackInputPin.h"
#include "framework/BaseFilter.h"

class TestStreamSink;

class TestSinkPin : public CPackInputPin, public IStream {
 public:
  TestSinkPin(TestStreamSink* pFilter, CCritSec* pLock, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  HRESULT CheckMediaType(const CMediaType* pmt) override;

  // IStream
  HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

 protected:
  HRESULT OnReceive(IMediaSample*) override { return S_OK; }
  HRESULT OnEndOfStream() override;

 private:
  TestStreamSink* m_pSink;
};

class TestStreamSink : public CBaseFilter {
 public:
  // Returns the filter with one reference. The file opens on Pause.
  static TestStreamSink* Create(const std::wstring& path, bool offerStream = true);

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }
  IPin* InputPin() { return &m_pin; }

  HRESULT STDMETHODCALLTYPE Pause() override;

  bool m_bOfferStream;
  bool m_bSkipZeroBlocks = false;
  LONGLONG m_nByteBudget = -1;  // writes fail with STG_E_MEDIUMFULL beyond it
  volatile LONG m_nCommits = 0;
  volatile LONG m_nEndOfStreams = 0;
  // When set, the next write signals m_hWriteStarted and then sleeps this long.
  volatile LONG m_nNextWriteDelayMs = 0;
  HANDLE m_hWriteStarted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  // When set, every write signals m_hWriteStarted and waits (up to 30 s)
  // until this event is set: a disk that does not answer.
  HANDLE m_hWriteGate = nullptr;
  LONGLONG m_nBytesWritten = 0;

  HANDLE m_hFile = INVALID_HANDLE_VALUE;
  ULONGLONG m_nPosition = 0;
  ~TestStreamSink() override;

 private:
  TestStreamSink(const std::wstring& path, bool offerStream, HRESULT* phr);
  CCritSec m_lock;
  TestSinkPin m_pin;
  std::wstring m_path;
};
