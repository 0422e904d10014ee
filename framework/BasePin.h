// CBasePin: a pin of either direction (IPin, IQualityControl). It keeps the
// connection (the peer pin and the agreed media type) and drives connecting
// from the output side (Connect) and the input side (ReceiveConnection).
// Derived pins decide which types they take and offer through the hooks
// CheckMediaType / GetMediaType and react to connection changes through
// CheckConnect / CompleteConnect / BreakConnect.
//
// Ownership: a pin belongs to its filter and has no reference count of its
// own: AddRef/Release on the pin count on the filter, so a pin lives as long
// as its filter. m_pFilter is therefore a weak back-pointer.
//
// Threads: the graph calls the IPin methods; connection changes run under
// the lock given to the constructor (normally the filter lock). Active and
// Inactive are called by the filter's Pause and Stop, under the filter lock.
#pragma once

#include <windows.h>
#include <strmif.h>

#include "framework/CritSec.h"
#include "framework/MediaType.h"
#include "framework/NonThrowingComPtr.h"
#include "framework/Unknown.h"

class CBaseFilter;

class CBasePin : public CUnknown, public IPin, public IQualityControl {
 public:
  // pPinName is copied; it is both the pin's name and its id.
  CBasePin(const wchar_t* pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, const wchar_t* pPinName,
           PIN_DIRECTION dir);
  ~CBasePin() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;   // the filter's count
  ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;  // the filter's count

  // IPin
  HRESULT STDMETHODCALLTYPE Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** ppPin) override;
  HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* pInfo) override;
  HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* pPinDir) override;
  HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* Id) override;
  HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** ppEnum) override;
  HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin** apPin, ULONG* nPin) override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override;  // S_OK
  HRESULT STDMETHODCALLTYPE BeginFlush() override;   // S_OK
  HRESULT STDMETHODCALLTYPE EndFlush() override;     // S_OK
  HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

  // IQualityControl
  HRESULT STDMETHODCALLTYPE Notify(IBaseFilter* pSelf, Quality q) override;  // E_NOTIMPL
  HRESULT STDMETHODCALLTYPE SetSink(IQualityControl* piqc) override;

  // Hooks for derived pins.
  // S_OK when the pin takes this type, anything else when not.
  virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
  // The type at iPosition (0, 1, ...); VFW_S_NO_MORE_ITEMS after the last.
  virtual HRESULT GetMediaType(int iPosition, CMediaType* pmt);
  // Grows when the list of offered types changes; enumerators compare it.
  virtual LONG GetMediaTypeVersion() { return m_TypeVersion; }
  void IncrementTypeVersion() { InterlockedIncrement(&m_TypeVersion); }
  // Stores the agreed type as the connection type.
  virtual HRESULT SetMediaType(const CMediaType* pmt);
  // Checks the peer before a type is tried: the directions must differ.
  virtual HRESULT CheckConnect(IPin* pPin);
  // The connection is made (peer and type set); failure undoes it.
  virtual HRESULT CompleteConnect(IPin* pReceivePin);
  // The connection goes away; free what CheckConnect/CompleteConnect took.
  virtual HRESULT BreakConnect();
  // The filter goes from stopped to paused / back to stopped.
  virtual HRESULT Active() { return S_OK; }
  virtual HRESULT Inactive() { return S_OK; }
  // The filter starts running at stream time tStart.
  virtual HRESULT Run(REFERENCE_TIME tStart);

  bool IsConnected() const { return static_cast<bool>(m_Connected); }
  IPin* GetConnected() const { return m_Connected.Get(); }  // no reference added
  const CMediaType& CurrentMediaType() const { return m_mt; }
  PIN_DIRECTION Direction() const { return m_dir; }
  const WCHAR* Name() const { return m_pName; }
  bool IsStopped();  // the filter is stopped

 protected:
  // Tries one type with the peer (output side); undoes everything on failure.
  HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);
  // Tries our types and then the peer's, as constrained by a partial pmt.
  HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);
  HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);

  WCHAR* m_pName;                       // pin name and id, owned (new[])
  NonThrowingComPtr<IPin> m_Connected;  // the peer, null when unconnected
  PIN_DIRECTION m_dir;
  CMediaType m_mt;            // the connection type
  CBaseFilter* m_pFilter;     // weak: the filter owns the pin
  CCritSec* m_pLock;          // the filter lock; not owned
  IQualityControl* m_pQSink;  // weak, as set by SetSink
  REFERENCE_TIME m_tStart;    // from NewSegment
  REFERENCE_TIME m_tStop;
  double m_dRate;
  volatile LONG m_TypeVersion;
};
