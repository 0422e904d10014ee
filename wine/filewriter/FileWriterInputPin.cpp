#include "filewriter/FileWriterInputPin.h"

#include "filewriter/FileWriter.h"

#include <dshow.h>
#include <uuids.h>

#include <cstring>

namespace tavpack {

CFileWriterInputPin::CFileWriterInputPin(CFileWriter* filter, CCritSec* lock, HRESULT* phr)
    : CPackInputPin(L"File writer input", filter, lock, phr, L"in"), m_writer(filter) {}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IStream) || IsEqualIID(riid, IID_ISequentialStream)) {
    m_writer->StreamInterfaceTaken();
    return GetInterface(static_cast<IStream*>(this), ppv);
  }
  return CPackInputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CFileWriterInputPin::CheckMediaType(const CMediaType* pmt) {
  if (!m_writer->HasFileName()) return S_OK;
  return IsEqualGUID(pmt->majortype, MEDIATYPE_Stream) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CFileWriterInputPin::BreakConnect() {
  if (IsConnected()) m_writer->PinDisconnected();
  return CPackInputPin::BreakConnect();
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::GetAllocator(IMemAllocator** ppAllocator) {
  if (ppAllocator == nullptr) return E_POINTER;
  *ppAllocator = nullptr;
  return E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) {
  if (pProps == nullptr) return E_POINTER;
  pProps->cBuffers = 0;
  pProps->cbBuffer = 0;
  pProps->cbAlign = 512;
  pProps->cbPrefix = 0;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::ReceiveCanBlock() { return S_OK; }

HRESULT CFileWriterInputPin::OnReceive(IMediaSample* pSample) {
  BYTE* data = nullptr;
  HRESULT hr = pSample->GetPointer(&data);
  if (FAILED(hr)) return hr;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  ULONGLONG offset = m_nextSample;
  ULONG length = static_cast<ULONG>(pSample->GetActualDataLength());
  if (SUCCEEDED(pSample->GetTime(&start, &stop))) {
    if (start < 0 || stop < start) return E_INVALIDARG;
    offset = static_cast<ULONGLONG>(start);
    // The time stamps say how many bytes, within the buffer.
    const ULONGLONG span = static_cast<ULONGLONG>(stop - start);
    const ULONG capacity = static_cast<ULONG>(pSample->GetSize());
    length = span < capacity ? static_cast<ULONG>(span) : capacity;
  }
  hr = m_writer->WriteAt(offset, data, length, nullptr);
  if (SUCCEEDED(hr)) m_nextSample = offset + length;
  return hr;
}

HRESULT CFileWriterInputPin::OnEndOfStream() {
  m_writer->EndOfStreamReceived();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  if (pv == nullptr) return STG_E_INVALIDPOINTER;
  CAutoLock lock(&m_streamLock);
  ULONG done = 0;
  const HRESULT hr = m_writer->ReadAt(m_position, pv, cb, &done);
  m_position += done;
  if (pcbRead != nullptr) *pcbRead = done;
  if (FAILED(hr)) return hr;
  return done < cb ? S_FALSE : S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
  if (pv == nullptr) return STG_E_INVALIDPOINTER;
  CAutoLock lock(&m_streamLock);
  ULONG done = 0;
  const HRESULT hr = m_writer->WriteAt(m_position, pv, cb, &done);
  m_position += done;
  if (pcbWritten != nullptr) *pcbWritten = done;
  return hr;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                                    ULARGE_INTEGER* plibNewPosition) {
  CAutoLock lock(&m_streamLock);
  LONGLONG base = 0;
  switch (dwOrigin) {
    case STREAM_SEEK_SET:
      break;
    case STREAM_SEEK_CUR:
      base = static_cast<LONGLONG>(m_position);
      break;
    case STREAM_SEEK_END: {
      ULONGLONG size = 0;
      const HRESULT hr = m_writer->GetFileSize(&size);
      if (FAILED(hr)) return hr;
      base = static_cast<LONGLONG>(size);
      break;
    }
    default:
      return STG_E_INVALIDFUNCTION;
  }
  const LONGLONG target = base + dlibMove.QuadPart;
  if (target < 0) return STG_E_INVALIDFUNCTION;
  m_position = static_cast<ULONGLONG>(target);
  if (plibNewPosition != nullptr) plibNewPosition->QuadPart = m_position;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::SetSize(ULARGE_INTEGER libNewSize) {
  return m_writer->SetFileSize(libNewSize.QuadPart);
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) {
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Commit(DWORD) { return m_writer->CommitFile(); }

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Revert() { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
  return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
  return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
  if (pstatstg == nullptr) return STG_E_INVALIDPOINTER;
  memset(pstatstg, 0, sizeof(*pstatstg));
  ULONGLONG size = 0;
  const HRESULT hr = m_writer->GetFileSize(&size);
  if (FAILED(hr)) return hr;
  pstatstg->type = STGTY_STREAM;
  pstatstg->cbSize.QuadPart = size;
  pstatstg->grfMode = STGM_READWRITE;
  if ((grfStatFlag & STATFLAG_NONAME) == 0) {
    const std::wstring name = m_writer->FileName();
    const size_t bytes = (name.size() + 1) * sizeof(wchar_t);
    pstatstg->pwcsName = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    if (pstatstg->pwcsName == nullptr) return E_OUTOFMEMORY;
    memcpy(pstatstg->pwcsName, name.c_str(), bytes);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriterInputPin::Clone(IStream** ppstm) {
  if (ppstm != nullptr) *ppstm = nullptr;
  return E_NOTIMPL;
}

}  // namespace tavpack
