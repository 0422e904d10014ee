#include "framework/Source.h"

#include <cwchar>
#include <new>

#include "framework/SourceStream.h"

CSource::CSource(const wchar_t* pName, IUnknown* pUnk, REFCLSID clsid, HRESULT* phr)
    : CBaseFilter(pName, pUnk, &m_cStateLock, clsid), m_hrStreamError(0), m_iPins(0), m_paStreams(nullptr) {
  (void)phr;  // nothing here can fail; the pins report through phr
}

CSource::~CSource() {
  // The derived filter deletes its pins, which unregister themselves; what
  // is left is the array.
  delete[] m_paStreams;
}

HRESULT CSource::AddPin(CSourceStream* pStream) {
  CAutoLock lock(&m_cStateLock);
  auto** paStreams = new (std::nothrow) CSourceStream*[m_iPins + 1];
  if (paStreams == nullptr) return E_OUTOFMEMORY;
  for (int i = 0; i < m_iPins; ++i) paStreams[i] = m_paStreams[i];
  paStreams[m_iPins] = pStream;
  delete[] m_paStreams;
  m_paStreams = paStreams;
  ++m_iPins;
  IncrementPinVersion();
  return S_OK;
}

HRESULT CSource::RemovePin(CSourceStream* pStream) {
  CAutoLock lock(&m_cStateLock);
  for (int i = 0; i < m_iPins; ++i) {
    if (m_paStreams[i] == pStream) {
      for (int j = i + 1; j < m_iPins; ++j) m_paStreams[j - 1] = m_paStreams[j];
      --m_iPins;
      if (m_iPins == 0) {
        delete[] m_paStreams;
        m_paStreams = nullptr;
      }
      IncrementPinVersion();
      return S_OK;
    }
  }
  return S_FALSE;
}

int CSource::GetPinCount() {
  CAutoLock lock(&m_cStateLock);
  return m_iPins;
}

CBasePin* CSource::GetPin(int n) {
  CAutoLock lock(&m_cStateLock);
  if (n >= 0 && n < m_iPins) return m_paStreams[n];
  return nullptr;
}

HRESULT STDMETHODCALLTYPE CSource::FindPin(LPCWSTR Id, IPin** ppPin) {
  if (ppPin == nullptr) return E_POINTER;
  *ppPin = nullptr;
  if (Id == nullptr) return E_POINTER;
  CAutoLock lock(&m_cStateLock);
  for (int i = 0; i < m_iPins; ++i) {
    if (std::wcscmp(m_paStreams[i]->Name(), Id) == 0) {
      return GetInterface(static_cast<IPin*>(m_paStreams[i]), reinterpret_cast<void**>(ppPin));
    }
  }
  return VFW_E_NOT_FOUND;
}

bool CSource::WaitForStreamsIdle(DWORD ms) {
  const ULONGLONG deadline = GetTickCount64() + ms;
  for (int i = 0; i < m_iPins; ++i) {
    ULONGLONG now = GetTickCount64();
    DWORD left = now < deadline ? static_cast<DWORD>(deadline - now) : 0;
    if (!m_paStreams[i]->WaitForLoopIdle(left)) return false;
  }
  return true;
}
