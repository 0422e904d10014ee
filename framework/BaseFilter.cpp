#include "framework/BaseFilter.h"

#include <cwchar>
#include <new>

#include <control.h>
#include <evcode.h>

#include "framework/BasePin.h"
#include "framework/EnumPins.h"

CBaseFilter::CBaseFilter(const wchar_t* pName, IUnknown* pUnk, CCritSec* pLock, REFCLSID clsid)
    : CUnknown(pName, pUnk),
      m_State(State_Stopped),
      m_tStart(0),
      m_clsid(clsid),
      m_pLock(pLock),
      m_pName(nullptr),
      m_pGraph(nullptr),
      m_pSink(nullptr),
      m_PinVersion(1) {}

CBaseFilter::~CBaseFilter() {
  delete[] m_pName;
  m_pClock.Reset();
}

HRESULT STDMETHODCALLTYPE CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IBaseFilter || riid == IID_IMediaFilter || riid == IID_IPersist) {
    return GetInterface(static_cast<IBaseFilter*>(this), ppv);
  }
  if (riid == IID_IAMovieSetup) return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetClassID(CLSID* pClsID) {
  if (pClsID == nullptr) return E_POINTER;
  *pClsID = m_clsid;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Stop() {
  CAutoLock lock(m_pLock);
  HRESULT hrResult = S_OK;
  if (m_State != State_Stopped) {
    for (int i = 0; i < GetPinCount(); ++i) {
      CBasePin* pPin = GetPin(i);
      if (pPin != nullptr && pPin->IsConnected()) {
        HRESULT hr = pPin->Inactive();
        if (FAILED(hr) && SUCCEEDED(hrResult)) hrResult = hr;
      }
    }
  }
  m_State = State_Stopped;
  return hrResult;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Pause() {
  CAutoLock lock(m_pLock);
  if (m_State == State_Stopped) {
    for (int i = 0; i < GetPinCount(); ++i) {
      CBasePin* pPin = GetPin(i);
      if (pPin != nullptr && pPin->IsConnected()) {
        HRESULT hr = pPin->Active();
        if (FAILED(hr)) return hr;
      }
    }
  }
  m_State = State_Paused;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Run(REFERENCE_TIME tStart) {
  CAutoLock lock(m_pLock);
  m_tStart = tStart;
  if (m_State == State_Stopped) {
    HRESULT hr = Pause();
    if (FAILED(hr)) return hr;
  }
  if (m_State != State_Running) {
    for (int i = 0; i < GetPinCount(); ++i) {
      CBasePin* pPin = GetPin(i);
      if (pPin != nullptr && pPin->IsConnected()) {
        HRESULT hr = pPin->Run(tStart);
        if (FAILED(hr)) return hr;
      }
    }
  }
  m_State = State_Running;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetState(DWORD, FILTER_STATE* State) {
  if (State == nullptr) return E_POINTER;
  *State = m_State;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::SetSyncSource(IReferenceClock* pClock) {
  CAutoLock lock(m_pLock);
  m_pClock.Reset(pClock);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetSyncSource(IReferenceClock** pClock) {
  if (pClock == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  *pClock = m_pClock.Get();
  if (m_pClock) m_pClock->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::EnumPins(IEnumPins** ppEnum) {
  if (ppEnum == nullptr) return E_POINTER;
  auto* pEnum = new (std::nothrow) CEnumPins(this, nullptr);
  if (pEnum == nullptr) {
    *ppEnum = nullptr;
    return E_OUTOFMEMORY;
  }
  return GetInterface(static_cast<IEnumPins*>(pEnum), reinterpret_cast<void**>(ppEnum));
}

HRESULT STDMETHODCALLTYPE CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
  if (Id == nullptr || ppPin == nullptr) return E_POINTER;
  CAutoLock lock(m_pLock);
  for (int i = 0; i < GetPinCount(); ++i) {
    CBasePin* pPin = GetPin(i);
    if (pPin != nullptr && std::wcscmp(pPin->Name(), Id) == 0) {
      return GetInterface(static_cast<IPin*>(pPin), reinterpret_cast<void**>(ppPin));
    }
  }
  *ppPin = nullptr;
  return VFW_E_NOT_FOUND;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo) {
  if (pInfo == nullptr) return E_POINTER;
  if (m_pName != nullptr) {
    wcsncpy_s(pInfo->achName, MAX_FILTER_NAME, m_pName, _TRUNCATE);
  } else {
    pInfo->achName[0] = L'\0';
  }
  pInfo->pGraph = m_pGraph;
  if (m_pGraph != nullptr) m_pGraph->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) {
  CAutoLock lock(m_pLock);
  // Both are weak: the graph holds a reference to us, so holding one to it
  // would make a cycle. The graph tells us when it lets go (pGraph null).
  m_pGraph = pGraph;
  m_pSink = nullptr;
  if (pGraph != nullptr) {
    NonThrowingComPtr<IMediaEventSink> pSink;
    if (SUCCEEDED(pGraph->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(pSink.Put())))) {
      m_pSink = pSink.Get();  // weak, as the graph is
    }
  }
  delete[] m_pName;
  m_pName = nullptr;
  if (pName != nullptr) {
    size_t cch = std::wcslen(pName) + 1;
    m_pName = new (std::nothrow) WCHAR[cch];
    if (m_pName == nullptr) return E_OUTOFMEMORY;
    wcscpy_s(m_pName, cch, pName);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::QueryVendorInfo(LPWSTR*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CBaseFilter::Register() { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CBaseFilter::Unregister() { return E_NOTIMPL; }

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) {
  IMediaEventSink* pSink = m_pSink;
  if (pSink == nullptr) return E_NOTIMPL;
  // The graph counts EC_COMPLETE per renderer: it wants the filter with it.
  if (EventCode == EC_COMPLETE) EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
  return pSink->Notify(EventCode, EventParam1, EventParam2);
}

HRESULT CBaseFilter::ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt) {
  if (m_pGraph == nullptr) return VFW_E_NOT_IN_GRAPH;
  NonThrowingComPtr<IFilterGraph2> pGraph2;
  if (SUCCEEDED(m_pGraph->QueryInterface(IID_IFilterGraph2, reinterpret_cast<void**>(pGraph2.Put())))) {
    return pGraph2->ReconnectEx(pPin, pmt);
  }
  return m_pGraph->Reconnect(pPin);
}

bool CBaseFilter::IsActive() {
  CAutoLock lock(m_pLock);
  return m_State != State_Stopped;
}

bool CBaseFilter::IsStopped() { return m_State == State_Stopped; }
