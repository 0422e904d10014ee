// CBaseFilter: a DirectShow filter with any number of pins (IBaseFilter,
// IMediaFilter, IPersist, IAMovieSetup). Derived classes say how many pins
// they have (GetPinCount) and hand them out (GetPin).
//
// Threads: the graph calls every IBaseFilter/IMediaFilter method from its
// own threads; state changes run under the filter lock given to the
// constructor (the same lock the pins share). NotifyEvent may be called from
// any thread, a streaming thread included.
#pragma once

#include <windows.h>
#include <strmif.h>
#include <vfwmsgs.h>

#include "framework/CritSec.h"
#include "framework/NonThrowingComPtr.h"
#include "framework/Unknown.h"

class CBasePin;

class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  // pLock: the filter lock; not owned, it must outlive the filter.
  CBaseFilter(const wchar_t* pName, IUnknown* pUnk, CCritSec* pLock, REFCLSID clsid);
  ~CBaseFilter() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // Pins: n from 0 to GetPinCount() - 1; a pin is owned by its filter and
  // shares the filter's reference count. Out of range gives null.
  virtual int GetPinCount() = 0;
  virtual CBasePin* GetPin(int n) = 0;
  // Grows whenever the set of pins changes; enumerators compare it.
  virtual LONG GetPinVersion() { return m_PinVersion; }
  void IncrementPinVersion() { InterlockedIncrement(&m_PinVersion); }

  // IPersist
  HRESULT STDMETHODCALLTYPE GetClassID(CLSID* pClsID) override;

  // IMediaFilter. Pause from stopped activates every connected pin
  // (CBasePin::Active), Stop deactivates them (CBasePin::Inactive); the
  // filter state changes after the pins have answered.
  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME tStart) override;
  HRESULT STDMETHODCALLTYPE GetState(DWORD dwMSecs, FILTER_STATE* State) override;
  HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* pClock) override;
  HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** pClock) override;

  // IBaseFilter
  HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** ppEnum) override;
  HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR Id, IPin** ppPin) override;  // by pin id
  HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* pInfo) override;
  HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
  HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* pVendorInfo) override;  // E_NOTIMPL

  // IAMovieSetup: the library registers nothing; both return E_NOTIMPL.
  HRESULT STDMETHODCALLTYPE Register() override;
  HRESULT STDMETHODCALLTYPE Unregister() override;

  // Sends an event to the graph's event sink; E_NOTIMPL when not in a graph.
  HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);

  // Asks the graph to reconnect pPin with pmt (null: any type).
  // VFW_E_NOT_IN_GRAPH when the filter is in no graph.
  HRESULT ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt);

  // True when paused or running.
  bool IsActive();
  bool IsStopped();
  FILTER_STATE State() const { return m_State; }
  CCritSec* FilterLock() const { return m_pLock; }
  IFilterGraph* Graph() const { return m_pGraph; }

 protected:
  FILTER_STATE m_State;                         // stopped 0, paused 1, running 2
  NonThrowingComPtr<IReferenceClock> m_pClock;  // may be null
  REFERENCE_TIME m_tStart;                      // stream start time given to Run
  CLSID m_clsid;
  CCritSec* m_pLock;         // the filter lock; not owned
  WCHAR* m_pName;            // name in the graph, owned (new[])
  IFilterGraph* m_pGraph;    // weak: the graph owns us
  IMediaEventSink* m_pSink;  // weak: part of the graph
  volatile LONG m_PinVersion;
};
