// CSourceStream: the output pin of a CSource, with a worker thread that
// fills and delivers samples. Activating the pin (filter Pause) starts the
// thread and sends CMD_INIT and CMD_PAUSE; the thread then runs the buffer
// loop: get an empty sample, FillBuffer, deliver. Deactivating it (filter
// Stop) decommits the allocator, sends CMD_STOP and CMD_EXIT and joins it.
//
// A failed delivery ends the loop quietly: its HRESULT goes into the filter's
// stream error code and FillBuffer(NULL) is called once, so the derived pin
// can release a host thread waiting in its hand-over.
//
// Threads: FillBuffer, OnThread* and DoBufferProcessingLoop run on the worker
// thread; everything else on the graph's threads. The pin registers with its
// filter in the constructor and unregisters in the destructor.
#pragma once

#include "framework/AMThread.h"
#include "framework/BaseOutputPin.h"
#include "framework/UniqueHandle.h"

class CSource;

class CSourceStream : public CAMThread, public CBaseOutputPin {
 public:
  enum Command { CMD_INIT = 0, CMD_PAUSE = 1, CMD_RUN = 2, CMD_STOP = 3, CMD_EXIT = 4 };

  // Registers with pms (the filter's stream array grows by one); *phr
  // becomes E_OUTOFMEMORY if that fails, else S_OK.
  CSourceStream(const wchar_t* pObjectName, HRESULT* phr, CSource* pms, const wchar_t* pPinName);

  // Worker-side table, in this order.
  DWORD ThreadProc() override;
  ~CSourceStream() override;
  // Fills pSample; S_OK delivers it, S_FALSE ends the stream, any other
  // value aborts it (EC_ERRORABORT). Called once with null after a failed
  // delivery.
  virtual HRESULT FillBuffer(IMediaSample* pSample) = 0;
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay() { return S_OK; }
  virtual HRESULT DoBufferProcessingLoop();
  // The pin's single type; pins that offer one type override this.
  virtual HRESULT GetMediaType(CMediaType* pmt);

  // Pin side. Position 0 is GetMediaType(pmt); negative E_INVALIDARG,
  // higher VFW_S_NO_MORE_ITEMS. Both under the state lock.
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;
  // S_OK when pmt equals GetMediaType(pmt), else E_FAIL.
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  // Commands to the worker.
  HRESULT Init() { return static_cast<HRESULT>(CallWorker(CMD_INIT)); }
  HRESULT Exit() { return static_cast<HRESULT>(CallWorker(CMD_EXIT)); }
  HRESULT Run() { return static_cast<HRESULT>(CallWorker(CMD_RUN)); }
  HRESULT Pause() { return static_cast<HRESULT>(CallWorker(CMD_PAUSE)); }
  HRESULT Stop() { return static_cast<HRESULT>(CallWorker(CMD_STOP)); }
  using CBaseOutputPin::Run;

  CSource* SourceFilter() const { return m_pSourceFilter; }

  // Waits up to `ms` until the buffer loop is not running (never started,
  // or ended by end of stream, a failed delivery or CMD_STOP), so that the
  // last sample filled has been delivered. False at the time-out.
  bool WaitForLoopIdle(DWORD ms) { return WaitForSingleObject(m_hLoopIdle.Get(), ms) == WAIT_OBJECT_0; }

 protected:
  // The two halves of IAMStreamConfig::SetFormat and all of GetFormat that
  // every source pin shares; callers hold the filter's state lock.
  // E_POINTER, VFW_E_NOT_STOPPED while the filter runs, VFW_E_INVALIDMEDIATYPE
  // for a type the pin does not offer, else S_OK.
  HRESULT CheckFormatChange(const AM_MEDIA_TYPE* pmt);
  // Once the new type is stored: a connected pin reconnects with it.
  HRESULT ReconnectWithFormat(const CMediaType& mt);
  // The connection's type, or the offered one while unconnected.
  HRESULT CopyCurrentFormat(AM_MEDIA_TYPE** ppmt);

  Command GetRequestCommand() { return static_cast<Command>(GetRequest()); }
  BOOL CheckRequestCommand(Command* pCom);

  CSource* m_pSourceFilter;  // weak: the filter owns the pin
  UniqueHandle m_hLoopIdle;  // manual-reset; set while the buffer loop is not running
};
