#include "framework/SourceStream.h"

#include <evcode.h>

#include "framework/NonThrowingComPtr.h"
#include "framework/Source.h"

CSourceStream::CSourceStream(const wchar_t* pObjectName, HRESULT* phr, CSource* pms, const wchar_t* pPinName)
    : CAMThread(phr),
      CBaseOutputPin(pObjectName, pms, pms->pStateLock(), phr, pPinName),
      m_pSourceFilter(pms),
      m_hLoopIdle(CreateEventW(nullptr, TRUE, TRUE, nullptr)) {
  HRESULT hr = m_pSourceFilter->AddPin(this);
  if (phr != nullptr) *phr = hr;
}

CSourceStream::~CSourceStream() { m_pSourceFilter->RemovePin(this); }

HRESULT CSourceStream::GetMediaType(CMediaType*) { return E_UNEXPECTED; }

HRESULT CSourceStream::CheckFormatChange(const AM_MEDIA_TYPE* pmt) {
  if (pmt == nullptr) return E_POINTER;
  if (m_pSourceFilter->IsActive()) return VFW_E_NOT_STOPPED;
  CMediaType proposed;
  if (!proposed.Set(*pmt)) return E_OUTOFMEMORY;
  return CheckMediaType(&proposed) == S_OK ? S_OK : VFW_E_INVALIDMEDIATYPE;
}

HRESULT CSourceStream::ReconnectWithFormat(const CMediaType& mt) {
  if (!IsConnected()) return S_OK;
  return FAILED(m_pSourceFilter->ReconnectPin(static_cast<IPin*>(this), &mt)) ? VFW_E_INVALIDMEDIATYPE : S_OK;
}

HRESULT CSourceStream::CopyCurrentFormat(AM_MEDIA_TYPE** ppmt) {
  if (ppmt == nullptr) return E_POINTER;
  CMediaType mt;
  if (IsConnected()) {
    if (!mt.Set(m_mt)) return E_OUTOFMEMORY;
  } else {
    GetMediaType(0, &mt);
  }
  *ppmt = CreateMediaType(&mt);
  return *ppmt != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CSourceStream::GetMediaType(int iPosition, CMediaType* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (iPosition < 0) return E_INVALIDARG;
  if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
  return GetMediaType(pmt);
}

HRESULT CSourceStream::CheckMediaType(const CMediaType* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  CMediaType mt;
  GetMediaType(&mt);
  return mt == *pmt ? S_OK : E_FAIL;
}

HRESULT CSourceStream::Active() {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (m_pSourceFilter->IsActive()) return S_FALSE;
  if (!IsConnected()) return S_OK;
  HRESULT hr = CBaseOutputPin::Active();
  if (FAILED(hr)) return hr;
  if (!Create()) return E_FAIL;
  hr = Init();
  if (FAILED(hr)) return hr;
  return Pause();
}

HRESULT CSourceStream::Inactive() {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (!IsConnected()) return S_OK;
  HRESULT hr = CBaseOutputPin::Inactive();
  if (FAILED(hr)) return hr;
  if (ThreadExists()) {
    if (ThreadIsRunning()) {
      hr = Stop();
      if (FAILED(hr)) return hr;
      hr = Exit();
      if (FAILED(hr)) return hr;
      Close();
    } else {
      // The thread has already ended: nothing to tell it.
      m_hThread.Close();
    }
  }
  return S_OK;
}

BOOL CSourceStream::CheckRequestCommand(Command* pCom) {
  DWORD param = 0;
  if (!CheckRequest(&param)) return FALSE;
  *pCom = static_cast<Command>(param);
  return TRUE;
}

DWORD CSourceStream::ThreadProc() {
  Command com;
  for (;;) {
    com = GetRequestCommand();
    if (com == CMD_INIT) break;
    Reply(static_cast<DWORD>(E_UNEXPECTED));
  }

  HRESULT hr = OnThreadCreate();
  if (FAILED(hr)) {
    OnThreadDestroy();
    Reply(static_cast<DWORD>(hr));
    return 1;
  }
  Reply(S_OK);

  for (bool running = true; running;) {
    com = GetRequestCommand();
    switch (com) {
      case CMD_PAUSE:
      case CMD_RUN:
        ResetEvent(m_hLoopIdle.Get());  // before the reply: the caller sees the loop running
        Reply(S_OK);
        DoBufferProcessingLoop();
        SetEvent(m_hLoopIdle.Get());
        break;
      case CMD_STOP:
        Reply(S_OK);
        break;
      case CMD_EXIT:
        Reply(S_OK);
        running = false;
        break;
      default:
        Reply(static_cast<DWORD>(E_NOTIMPL));
        break;
    }
  }

  hr = OnThreadDestroy();
  return FAILED(hr) ? 1 : 0;
}

HRESULT CSourceStream::DoBufferProcessingLoop() {
  OnThreadStartPlay();
  Command com;
  for (;;) {
    while (!CheckRequestCommand(&com)) {
      NonThrowingComPtr<IMediaSample> pSample;
      HRESULT hr = GetDeliveryBuffer(pSample.Put(), nullptr, nullptr, 0);
      if (FAILED(hr)) {
        // No buffer yet (all in use downstream, or the allocator is being
        // decommitted): try again unless a command has come.
        Sleep(1);
        continue;
      }

      hr = FillBuffer(pSample.Get());
      if (hr == S_FALSE) {
        pSample.Reset();
        DeliverEndOfStream();
        return S_OK;
      }
      if (hr != S_OK) {
        pSample.Reset();
        DeliverEndOfStream();
        m_pSourceFilter->NotifyEvent(EC_ERRORABORT, hr, 0);
        return hr;
      }

      hr = Deliver(pSample.Get());
      pSample.Reset();
      if (hr != S_OK) {
        // Downstream is broken: keep the reason for the host, and let the
        // pin free a host thread that waits in the hand-over.
        m_pSourceFilter->SetStreamError(hr);
        FillBuffer(nullptr);
        return S_OK;
      }
    }

    if (com == CMD_RUN || com == CMD_PAUSE) {
      Reply(S_OK);
    } else if (com == CMD_STOP) {
      // Left unanswered: the send event stays set, so ThreadProc reads
      // CMD_STOP again at once and replies to it.
      return S_FALSE;
    } else {
      Reply(static_cast<DWORD>(E_UNEXPECTED));
    }
  }
}
