#include "filewriter/FileWriter.h"

#include "common/PackLog.h"
#include "filewriter/FileWriterInputPin.h"
#include "server/PackClasses.h"

#include <dshow.h>
#include <uuids.h>

#include <new>

namespace tavpack {

namespace {

HRESULT CreateFileWriter(IUnknown* outer, REFIID riid, void** object) {
  return CFileWriter::Create(outer, riid, object);
}

}  // namespace

TAV_PACK_CLASS(g_fileWriterClass, CLSID_FileWriter, CreateFileWriter, L"File writer");

HRESULT CFileWriter::Create(IUnknown* outer, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
  auto* filter = new (std::nothrow) CFileWriter(outer);
  if (filter == nullptr) return E_OUTOFMEMORY;
  if (!filter->m_pin) {
    delete filter;
    return E_OUTOFMEMORY;
  }
  // The new object starts at a count of 0: take one while asking.
  filter->NonDelegatingAddRef();
  const HRESULT hr = filter->NonDelegatingQueryInterface(riid, object);
  filter->NonDelegatingRelease();
  return hr;
}

CFileWriter::CFileWriter(IUnknown* outer) : CBaseFilter(L"File writer", outer, &m_filterLock, CLSID_FileWriter) {
  HRESULT hr = S_OK;
  m_pin.reset(new (std::nothrow) CFileWriterInputPin(this, &m_filterLock, &hr));
  if (m_pin && FAILED(hr)) m_pin.reset();
}

CFileWriter::~CFileWriter() {
  // The pin goes first: it may still hold the peer's references.
  m_pin.reset();
  CloseFile();
}

HRESULT STDMETHODCALLTYPE CFileWriter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IFileSinkFilter))
    return GetInterface(static_cast<IFileSinkFilter*>(static_cast<IFileSinkFilter2*>(this)), ppv);
  if (IsEqualIID(riid, IID_IFileSinkFilter2)) return GetInterface(static_cast<IFileSinkFilter2*>(this), ppv);
  if (IsEqualIID(riid, IID_IAMFilterMiscFlags)) return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
  return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

int CFileWriter::GetPinCount() { return 1; }

CBasePin* CFileWriter::GetPin(int n) { return n == 0 ? m_pin.get() : nullptr; }

HRESULT STDMETHODCALLTYPE CFileWriter::Pause() {
  CAutoLock lock(&m_filterLock);
  if (m_State == State_Stopped) {
    {
      CAutoLock eventLock(&m_eventLock);
      m_endOfStream = false;
      m_completeSent = false;
    }
    CAutoLock fileLock(&m_fileLock);
    m_errorSent = false;
    m_openError = S_OK;
    // A file still open from the last run (no Commit came) ends now.
    m_file.Close();
    if (m_hasFileName) m_openError = m_file.Open(m_fileName, m_mode);
    if (FAILED(m_openError)) LogFailure("CFileWriter::Pause", m_openError, L"Opening %s", m_fileName.c_str());
  }
  const HRESULT hr = CBaseFilter::Pause();
  if (SUCCEEDED(hr)) {
    CAutoLock eventLock(&m_eventLock);
    m_active = true;
    m_running = false;
  }
  return hr;
}

HRESULT STDMETHODCALLTYPE CFileWriter::Run(REFERENCE_TIME tStart) {
  CAutoLock lock(&m_filterLock);
  const HRESULT hr = CBaseFilter::Run(tStart);
  if (FAILED(hr)) return hr;
  {
    CAutoLock fileLock(&m_fileLock);
    if (FAILED(m_openError)) {
      ReportError(m_openError);
      return m_openError;
    }
  }
  CAutoLock eventLock(&m_eventLock);
  m_active = true;
  m_running = true;
  if (m_endOfStream && !m_completeSent) {
    m_completeSent = true;
    NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
  }
  return hr;
}

HRESULT STDMETHODCALLTYPE CFileWriter::Stop() {
  CAutoLock lock(&m_filterLock);
  {
    CAutoLock eventLock(&m_eventLock);
    m_active = false;
    m_running = false;
  }
  const HRESULT hr = CBaseFilter::Stop();
  CAutoLock fileLock(&m_fileLock);
  // Without an IStream user nobody will Commit: the run's file ends here.
  if (!m_streamUser) m_file.Close();
  return hr;
}

HRESULT STDMETHODCALLTYPE CFileWriter::SetFileName(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) {
  if (pszFileName == nullptr) return E_POINTER;
  if (*pszFileName == L'\0') return E_INVALIDARG;
  CAutoLock lock(&m_filterLock);
  m_fileName = pszFileName;
  m_hasFileName = true;
  if (pmt != nullptr) m_fileType = *pmt;
  else m_fileType.InitMediaType();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriter::GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) {
  if (ppszFileName == nullptr) return E_POINTER;
  *ppszFileName = nullptr;
  CAutoLock lock(&m_filterLock);
  if (!m_hasFileName) return E_FAIL;
  const size_t bytes = (m_fileName.size() + 1) * sizeof(wchar_t);
  *ppszFileName = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
  if (*ppszFileName == nullptr) return E_OUTOFMEMORY;
  memcpy(*ppszFileName, m_fileName.c_str(), bytes);
  if (pmt != nullptr && FAILED(CopyMediaType(pmt, &m_fileType))) {
    CoTaskMemFree(*ppszFileName);
    *ppszFileName = nullptr;
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriter::SetMode(DWORD dwFlags) {
  if ((dwFlags & ~static_cast<DWORD>(AM_FILE_OVERWRITE)) != 0) return E_INVALIDARG;
  CAutoLock lock(&m_filterLock);
  m_mode = dwFlags;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CFileWriter::GetMode(DWORD* pdwFlags) {
  if (pdwFlags == nullptr) return E_POINTER;
  CAutoLock lock(&m_filterLock);
  *pdwFlags = m_mode;
  return S_OK;
}

ULONG STDMETHODCALLTYPE CFileWriter::GetMiscFlags() { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

bool CFileWriter::HasFileName() {
  CAutoLock lock(&m_filterLock);
  return m_hasFileName;
}

HRESULT CFileWriter::WriteAt(ULONGLONG offset, const void* data, ULONG size, ULONG* written) {
  CAutoLock fileLock(&m_fileLock);
  if (FAILED(m_openError)) {
    if (written != nullptr) *written = 0;
    ReportError(m_openError);
    return m_openError;
  }
  const HRESULT hr = m_file.WriteAt(offset, data, size, written);
  if (FAILED(hr)) {
    if (!m_errorSent) LogFailure("CFileWriter::WriteAt", hr, L"Writing %lu bytes at %I64u", size, offset);
    ReportError(hr);
  }
  return hr;
}

HRESULT CFileWriter::ReadAt(ULONGLONG offset, void* data, ULONG size, ULONG* read) {
  CAutoLock fileLock(&m_fileLock);
  return m_file.ReadAt(offset, data, size, read);
}

HRESULT CFileWriter::SetFileSize(ULONGLONG size) {
  CAutoLock fileLock(&m_fileLock);
  return m_file.SetSize(size);
}

HRESULT CFileWriter::GetFileSize(ULONGLONG* size) {
  CAutoLock fileLock(&m_fileLock);
  return m_file.GetSize(size);
}

HRESULT CFileWriter::CommitFile() {
  CAutoLock lock(&m_filterLock);
  CAutoLock fileLock(&m_fileLock);
  if (!m_file.IsOpen()) return S_OK;
  if (m_State != State_Stopped) return m_file.Flush();
  const HRESULT hr = m_file.Close();
  if (FAILED(hr)) LogFailure("CFileWriter::CommitFile", hr, L"Closing %s", m_fileName.c_str());
  return hr == S_FALSE ? S_OK : hr;
}

void CFileWriter::StreamInterfaceTaken() {
  CAutoLock fileLock(&m_fileLock);
  m_streamUser = true;
}

void CFileWriter::PinDisconnected() {
  CAutoLock fileLock(&m_fileLock);
  m_streamUser = false;
  m_file.Close();
}

void CFileWriter::EndOfStreamReceived() {
  CAutoLock eventLock(&m_eventLock);
  if (!m_active || m_endOfStream) return;
  m_endOfStream = true;
  if (m_running && !m_completeSent) {
    m_completeSent = true;
    NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
  }
}

std::wstring CFileWriter::FileName() {
  CAutoLock lock(&m_filterLock);
  return m_fileName;
}

void CFileWriter::ReportError(HRESULT hr) {
  if (m_errorSent) return;
  m_errorSent = true;
  NotifyEvent(EC_ERRORABORT, hr, 0);
}

HRESULT CFileWriter::CloseFile() {
  CAutoLock fileLock(&m_fileLock);
  return m_file.Close();
}

}  // namespace tavpack
