#include "framework/BasePin.h"

#include <cstring>
#include <cwchar>
#include <new>

#include "framework/BaseFilter.h"
#include "framework/EnumMediaTypes.h"

CBasePin::CBasePin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                   const wchar_t* pPinName, PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr),
      m_pName(nullptr),
      m_dir(dir),
      m_pFilter(pFilter),
      m_pLock(pLock),
      m_pQSink(nullptr),
      m_tStart(0),
      m_tStop(MAXLONGLONG),
      m_dRate(1.0),
      m_TypeVersion(1) {
  if (pPinName != nullptr) {
    size_t cch = std::wcslen(pPinName) + 1;
    m_pName = new (std::nothrow) WCHAR[cch];
    if (m_pName != nullptr) {
      wcscpy_s(m_pName, cch, pPinName);
    } else if (phr != nullptr) {
      *phr = E_OUTOFMEMORY;
    }
  }
}

CBasePin::~CBasePin() {
  m_Connected.Reset();
  delete[] m_pName;
}

HRESULT STDMETHODCALLTYPE CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IPin) return GetInterface(static_cast<IPin*>(this), ppv);
  if (riid == IID_IQualityControl) return GetInterface(static_cast<IQualityControl*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

ULONG STDMETHODCALLTYPE CBasePin::NonDelegatingAddRef() { return m_pFilter->AddRef(); }

ULONG STDMETHODCALLTYPE CBasePin::NonDelegatingRelease() { return m_pFilter->Release(); }

bool CBasePin::IsStopped() { return m_pFilter->IsStopped(); }

HRESULT STDMETHODCALLTYPE CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
  if (pReceivePin == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (m_Connected) return VFW_E_ALREADY_CONNECTED;
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  CMediaType partial;
  if (pmt != nullptr && !partial.Set(*pmt)) return E_OUTOFMEMORY;
  return AgreeMediaType(pReceivePin, pmt != nullptr ? &partial : nullptr);
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) {
  if (pmt != nullptr && pmt->IsFullySpecified()) return AttemptConnection(pReceivePin, pmt);

  HRESULT hrFailure = VFW_E_NO_ACCEPTABLE_TYPES;
  // Our own types first, then the peer's.
  for (int pass = 0; pass < 2; ++pass) {
    NonThrowingComPtr<IEnumMediaTypes> pEnum;
    HRESULT hr = pass == 0 ? EnumMediaTypes(pEnum.Put()) : pReceivePin->EnumMediaTypes(pEnum.Put());
    if (SUCCEEDED(hr) && pEnum) {
      hr = TryMediaTypes(pReceivePin, pmt, pEnum.Get());
      pEnum.Reset();
      if (SUCCEEDED(hr)) return S_OK;
      // Keep a specific reason over the generic one.
      if (hr != E_FAIL && hr != E_INVALIDARG && hr != VFW_E_TYPE_NOT_ACCEPTED) hrFailure = hr;
    }
  }
  return hrFailure;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) {
  HRESULT hrFailure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (;;) {
    AM_MEDIA_TYPE* pMediaType = nullptr;
    ULONG cFetched = 0;
    HRESULT hr = pEnum->Next(1, &pMediaType, &cFetched);
    if (hr != S_OK || cFetched != 1 || pMediaType == nullptr) {
      DeleteMediaType(pMediaType);
      return hrFailure;
    }
    CMediaType candidate;
    bool copied = candidate.Set(*pMediaType);
    DeleteMediaType(pMediaType);
    if (!copied) return E_OUTOFMEMORY;
    if (pmt != nullptr && !candidate.MatchesPartial(pmt)) continue;
    hr = AttemptConnection(pReceivePin, &candidate);
    if (SUCCEEDED(hr)) return S_OK;
    hrFailure = hr;
  }
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
  HRESULT hr = CheckConnect(pReceivePin);
  if (FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  hr = CheckMediaType(pmt);
  if (hr != S_OK) {
    BreakConnect();
    return SUCCEEDED(hr) ? VFW_E_TYPE_NOT_ACCEPTED : hr;
  }
  m_Connected.Reset(pReceivePin);
  hr = SetMediaType(pmt);
  if (SUCCEEDED(hr)) {
    hr = pReceivePin->ReceiveConnection(static_cast<IPin*>(this), pmt);
    if (SUCCEEDED(hr)) {
      hr = CompleteConnect(pReceivePin);
      if (SUCCEEDED(hr)) return S_OK;
      pReceivePin->Disconnect();
    }
  }
  BreakConnect();
  m_Connected.Reset();
  m_mt.InitMediaType();
  return FAILED(hr) ? hr : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT STDMETHODCALLTYPE CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
  if (pConnector == nullptr || pmt == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (m_Connected) return VFW_E_ALREADY_CONNECTED;
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  HRESULT hr = CheckConnect(pConnector);
  if (FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  CMediaType mt;
  if (!mt.Set(*pmt)) {
    BreakConnect();
    return E_OUTOFMEMORY;
  }
  hr = CheckMediaType(&mt);
  if (hr != S_OK) {
    BreakConnect();
    return VFW_E_TYPE_NOT_ACCEPTED;
  }
  m_Connected.Reset(pConnector);
  hr = SetMediaType(&mt);
  if (SUCCEEDED(hr)) {
    hr = CompleteConnect(pConnector);
    if (SUCCEEDED(hr)) return S_OK;
  }
  BreakConnect();
  m_Connected.Reset();
  m_mt.InitMediaType();
  return hr;
}

HRESULT STDMETHODCALLTYPE CBasePin::Disconnect() {
  CAutoLock lock(m_pLock);
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  if (!m_Connected) return S_FALSE;
  HRESULT hr = BreakConnect();
  if (FAILED(hr)) return hr;
  m_Connected.Reset();
  m_mt.InitMediaType();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::ConnectedTo(IPin** ppPin) {
  if (ppPin == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  *ppPin = m_Connected.Get();
  if (!m_Connected) return VFW_E_NOT_CONNECTED;
  m_Connected->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
  if (pmt == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  if (!m_Connected) {
    std::memset(pmt, 0, sizeof(*pmt));
    return VFW_E_NOT_CONNECTED;
  }
  return CopyMediaType(pmt, &m_mt);
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryPinInfo(PIN_INFO* pInfo) {
  if (pInfo == nullptr) return E_POINTER;
  pInfo->pFilter = m_pFilter;
  if (m_pFilter != nullptr) m_pFilter->AddRef();
  if (m_pName != nullptr) {
    wcsncpy_s(pInfo->achName, MAX_PIN_NAME, m_pName, _TRUNCATE);
  } else {
    pInfo->achName[0] = L'\0';
  }
  pInfo->dir = m_dir;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
  if (pPinDir == nullptr) return E_POINTER;
  *pPinDir = m_dir;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryId(LPWSTR* Id) {
  if (Id == nullptr) return E_POINTER;
  const WCHAR* pName = m_pName != nullptr ? m_pName : L"";
  size_t cb = (std::wcslen(pName) + 1) * sizeof(WCHAR);
  *Id = static_cast<LPWSTR>(CoTaskMemAlloc(cb));
  if (*Id == nullptr) return E_OUTOFMEMORY;
  std::memcpy(*Id, pName, cb);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
  if (pmt == nullptr) return E_POINTER;
  CMediaType mt;
  if (!mt.Set(*pmt)) return E_OUTOFMEMORY;
  HRESULT hr = CheckMediaType(&mt);
  return hr == S_OK ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  auto* pEnum = new (std::nothrow) CEnumMediaTypes(this, nullptr);
  if (pEnum == nullptr) {
    *ppEnum = nullptr;
    return E_OUTOFMEMORY;
  }
  return GetInterface(static_cast<IEnumMediaTypes*>(pEnum), reinterpret_cast<void**>(ppEnum));
}

HRESULT STDMETHODCALLTYPE CBasePin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CBasePin::EndOfStream() { return S_OK; }

HRESULT STDMETHODCALLTYPE CBasePin::BeginFlush() { return S_OK; }

HRESULT STDMETHODCALLTYPE CBasePin::EndFlush() { return S_OK; }

HRESULT STDMETHODCALLTYPE CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
  m_tStart = tStart;
  m_tStop = tStop;
  m_dRate = dRate;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePin::Notify(IBaseFilter*, Quality) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CBasePin::SetSink(IQualityControl* piqc) {
  m_pQSink = piqc;  // weak, as quality sinks are
  return S_OK;
}

HRESULT CBasePin::GetMediaType(int, CMediaType*) { return VFW_S_NO_MORE_ITEMS; }

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) { return m_mt.Set(*pmt) ? S_OK : E_OUTOFMEMORY; }

HRESULT CBasePin::CheckConnect(IPin* pPin) {
  PIN_DIRECTION dir;
  HRESULT hr = pPin->QueryDirection(&dir);
  if (FAILED(hr)) return hr;
  return dir == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) { return S_OK; }

HRESULT CBasePin::BreakConnect() { return S_OK; }

HRESULT CBasePin::Run(REFERENCE_TIME) { return S_OK; }
