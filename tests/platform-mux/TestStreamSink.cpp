#include "TestStreamSink.h"

#include <uuids.h>

TestSinkPin::TestSinkPin(TestStreamSink* pFilter, CCritSec* pLock, HRESULT* phr)
    : CPackInputPin(L"test sink pin", pFilter, pLock, phr, L"in"), m_pSink(pFilter) {}

HRESULT STDMETHODCALLTYPE TestSinkPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IStream || riid == IID_ISequentialStream) {
    if (!m_pSink->m_bOfferStream) {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    return GetInterface(static_cast<IStream*>(this), ppv);
  }
  return CPackInputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT TestSinkPin::CheckMediaType(const CMediaType* pmt) {
  return pmt->majortype == MEDIATYPE_Stream ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  LARGE_INTEGER at;
  at.QuadPart = static_cast<LONGLONG>(m_pSink->m_nPosition);
  SetFilePointerEx(m_pSink->m_hFile, at, nullptr, FILE_BEGIN);
  DWORD read = 0;
  if (!ReadFile(m_pSink->m_hFile, pv, cb, &read, nullptr)) return HRESULT_FROM_WIN32(GetLastError());
  m_pSink->m_nPosition += read;
  if (pcbRead) *pcbRead = read;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
  if (pcbWritten) *pcbWritten = 0;
  if (m_pSink->m_hFile == INVALID_HANDLE_VALUE) return E_UNEXPECTED;
  if (m_pSink->m_nByteBudget >= 0 && m_pSink->m_nBytesWritten + cb > m_pSink->m_nByteBudget) return STG_E_MEDIUMFULL;
  if (m_pSink->m_hWriteGate != nullptr) {
    SetEvent(m_pSink->m_hWriteStarted);
    WaitForSingleObject(m_pSink->m_hWriteGate, 30000);
  }
  LONG delay = InterlockedExchange(&m_pSink->m_nNextWriteDelayMs, 0);
  if (delay > 0) {
    SetEvent(m_pSink->m_hWriteStarted);
    Sleep(static_cast<DWORD>(delay));
  }
  // Pieces of 64 KB that hold only zeros are left as holes when asked.
  const char* bytes = static_cast<const char*>(pv);
  const ULONG piece = m_pSink->m_bSkipZeroBlocks ? 65536 : cb;
  for (ULONG done = 0; done < cb;) {
    ULONG n = cb - done < piece ? cb - done : piece;
    bool zeros = m_pSink->m_bSkipZeroBlocks && n == piece;
    for (ULONG i = 0; zeros && i < n / 8; ++i)
      zeros = reinterpret_cast<const unsigned long long*>(bytes + done)[i] == 0;
    if (!zeros) {
      LARGE_INTEGER at;
      at.QuadPart = static_cast<LONGLONG>(m_pSink->m_nPosition + done);
      if (!SetFilePointerEx(m_pSink->m_hFile, at, nullptr, FILE_BEGIN)) return HRESULT_FROM_WIN32(GetLastError());
      DWORD written = 0;
      if (!WriteFile(m_pSink->m_hFile, bytes + done, n, &written, nullptr)) return HRESULT_FROM_WIN32(GetLastError());
    }
    done += n;
  }
  m_pSink->m_nPosition += cb;
  m_pSink->m_nBytesWritten += cb;
  if (pcbWritten) *pcbWritten = cb;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) {
  if (origin == STREAM_SEEK_SET) m_pSink->m_nPosition = static_cast<ULONGLONG>(move.QuadPart);
  else if (origin == STREAM_SEEK_CUR) m_pSink->m_nPosition += move.QuadPart;
  else return E_NOTIMPL;
  if (newPosition) newPosition->QuadPart = m_pSink->m_nPosition;
  return S_OK;
}

HRESULT TestSinkPin::OnEndOfStream() {
  InterlockedIncrement(&m_pSink->m_nEndOfStreams);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE TestSinkPin::Commit(DWORD) {
  InterlockedIncrement(&m_pSink->m_nCommits);
  // The file is complete: close it.
  if (m_pSink->m_hFile != INVALID_HANDLE_VALUE) {
    CloseHandle(m_pSink->m_hFile);
    m_pSink->m_hFile = INVALID_HANDLE_VALUE;
  }
  return S_OK;
}

TestStreamSink::TestStreamSink(const std::wstring& path, bool offerStream, HRESULT* phr)
    : CBaseFilter(L"test stream sink", nullptr, &m_lock, GUID_NULL),
      m_bOfferStream(offerStream),
      m_pin(this, &m_lock, phr),
      m_path(path) {}

TestStreamSink::~TestStreamSink() {
  if (m_hFile != INVALID_HANDLE_VALUE) CloseHandle(m_hFile);
  CloseHandle(m_hWriteStarted);
}

TestStreamSink* TestStreamSink::Create(const std::wstring& path, bool offerStream) {
  HRESULT hr = S_OK;
  auto* p = new TestStreamSink(path, offerStream, &hr);
  p->NonDelegatingAddRef();
  return p;
}

HRESULT STDMETHODCALLTYPE TestStreamSink::Pause() {
  CAutoLock lock(&m_lock);
  if (m_State == State_Stopped && m_hFile == INVALID_HANDLE_VALUE) {
    m_hFile = CreateFileW(m_path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_hFile == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    m_nPosition = 0;
    m_nBytesWritten = 0;
  }
  return CBaseFilter::Pause();
}
