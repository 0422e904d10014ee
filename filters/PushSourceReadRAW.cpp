#include "filters/PushSourceReadRAW.h"

#include <cwchar>
#include <new>

#include <uuids.h>

#include "filters/FrameGeometry.h"
#include "filters/PushPinReadRAW.h"
#include "log/Trace.h"

#define READRAW_FILE L".\\ReadRAW"

namespace {

WCHAR g_szOutputPinName[] = L"Output";

// Sets biBitCount (and for YUY2 the compression) for a pixel-format code.
// Unknown codes leave biBitCount as it is.
void ApplyPixelFormat(BITMAPINFOHEADER* pbmi, UINT code) {
  switch (code) {
    case 0:
      pbmi->biBitCount = 24;
      break;
    case 1:
      pbmi->biBitCount = 32;
      break;
    case 2:
      pbmi->biBitCount = 8;
      break;
    case 3:
      pbmi->biBitCount = 16;
      pbmi->biCompression = MAKEFOURCC('Y', 'U', 'Y', '2');
      break;
    default:
      break;
  }
}

}  // namespace

const AMOVIESETUP_MEDIATYPE CPushSourceReadRAW::s_PinTypes = {&MEDIATYPE_Video, &GUID_NULL};

const AMOVIESETUP_PIN CPushSourceReadRAW::s_Pin = {
    g_szOutputPinName, FALSE /* rendered */, TRUE /* output */, FALSE /* zero */,
    FALSE /* many */,  &CLSID_NULL,          nullptr,           1,
    &s_PinTypes};

const AMOVIESETUP_FILTER CPushSourceReadRAW::s_FilterSetup = {&CLSID_PushSourceReadRAW, L"TavDSMovieWriter",
                                                              MERIT_DO_NOT_USE, 1, &s_Pin};

const CFactoryTemplate CPushSourceReadRAW::s_FactoryTemplate = {L"TavDSMovieWriter", &CLSID_PushSourceReadRAW,
                                                                CPushSourceReadRAW::CreateInstance, nullptr,
                                                                &CPushSourceReadRAW::s_FilterSetup};

CUnknown* WINAPI CPushSourceReadRAW::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) {
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::CreateInstance", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::CreateInstance -> Enter");
  CPushSourceReadRAW* pNewFilter = new (std::nothrow) CPushSourceReadRAW(pUnk, phr);
  // Deliberately overwrites what the constructor reported.
  if (phr != nullptr) *phr = pNewFilter != nullptr ? S_OK : E_OUTOFMEMORY;
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::CreateInstance", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::CreateInstance -> Leave");
  return pNewFilter;
}

CPushSourceReadRAW::CPushSourceReadRAW(LPUNKNOWN pUnk, HRESULT* phr)
    : CSource(nullptr, pUnk, CLSID_PushSourceReadRAW),
      m_pPin(nullptr),
      m_uFrameDuration(0),
      m_uFirstFrameTime(0),
      m_uLastFrameNumber(0),
      m_bBreakPending(false) {
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::CPushSourceReadRAW", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::CPushSourceReadRAW -> Enter");
  m_pPin = new (std::nothrow) CPushPinReadRAW(phr, this);
  if (phr != nullptr) *phr = m_pPin != nullptr ? S_OK : E_OUTOFMEMORY;
  m_bBreakPending = false;
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::CPushSourceReadRAW", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::CPushSourceReadRAW -> Leave");
}

CPushSourceReadRAW::~CPushSourceReadRAW() {
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::~CPushSourceReadRAW", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::~CPushSourceReadRAW -> Enter");
  delete m_pPin;
  m_pPin = nullptr;
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::~CPushSourceReadRAW", LOG_SEV_TRACE, 0,
          L"CPushSourceReadRAW::~CPushSourceReadRAW -> Leave");
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMovie || riid == IID_IMovie2) {
    return GetInterface(static_cast<IMovie2*>(this), ppv);
  }
  return CSource::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::InitParam(UINT width, UINT height, int fps, UINT reserved, UINT id) {
  TAV_LOG(READRAW_FILE, "CPushSourceReadRAW::InitParam", LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::InitParam -> Enter");
  IMovie2* pMovie = this;
  return pMovie->InitParam2(width, static_cast<int>(height), static_cast<double>(fps), reserved, id);
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::InitParam2(UINT width, int height, double fps, UINT reserved, UINT id) {
  static const char kFn[] = "CPushSourceReadRAW::InitParam2";
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::InitParam2 -> Enter");
  if (m_pPin == nullptr) {
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin == NULL");
    return S_FALSE;
  }

  // 10,000,000 / fps, in a defined way for any rate (see FrameDurationFromRate).
  LONGLONG duration = framegeometry::FrameDurationFromRate(fps);
  m_uFrameDuration = static_cast<unsigned __int64>(duration);
  m_uFirstFrameTime = 0;
  m_bBreakPending = false;

  CPushPinReadRAW* pPin = m_pPin;
  pPin->m_cFramesTotal = 0;
  pPin->m_cDroppedTotal = 0;
  pPin->m_iSampleNumber = 0;
  pPin->m_iUnused = 0;
  pPin->m_rtFrameLength = duration;
  pPin->m_bStop = FALSE;
  pPin->m_uReserved = reserved;
  pPin->m_uWriterId = id;

  BITMAPINFOHEADER* pbmi = pPin->m_pbmi;
  pbmi->biCompression = BI_RGB;
  pbmi->biBitCount = 24;
  ApplyPixelFormat(pbmi, pPin->m_uPixelFormat);
  pbmi->biSize = sizeof(BITMAPINFOHEADER);
  // Width and height are clamped to 16,384 pixels (FrameGeometry.h).
  pbmi->biWidth = framegeometry::ClampWidth(width);
  pbmi->biHeight = framegeometry::ClampHeight(height);
  pbmi->biPlanes = 1;
  pbmi->biClrImportant = 0;
  pbmi->biClrUsed = 0;
  pPin->UpdateImageSize();
  pPin->m_bBottomUp = height < 0;
  if (pPin->m_uPixelFormat == 2) {
    pbmi->biClrImportant = 256;
    pbmi->biClrUsed = 256;
  }

  // Offer the new type through the pin's own stream configuration. The
  // results are not examined (index 1 yields an empty type that SetFormat
  // refuses); the type handed out is freed here.
  AM_MEDIA_TYPE* pmt = nullptr;
  BYTE caps[sizeof(VIDEO_STREAM_CONFIG_CAPS)] = {};
  IAMStreamConfig* pConfig = pPin;
  pConfig->GetStreamCaps(pPin->m_uPixelFormat == 3 ? 1 : 0, &pmt, caps);
  pConfig->SetFormat(pmt);
  DeleteMediaType(pmt);

  WCHAR szName[260];
  if (!pPin->m_hEventFrameReady) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Frame Ready %d", id);
    pPin->m_hEventFrameReady.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventFrameReady) {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventFrameReady == NULL");
      return S_FALSE;
    }
  }
  if (!pPin->m_hEventBufferReady) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Buffer Ready %d", id);
    pPin->m_hEventBufferReady.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventBufferReady) {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventBufferReady == NULL");
      return S_FALSE;
    }
  }
  if (!pPin->m_hEventBufferDone) {
    std::wmemset(szName, 0, 260);
    swprintf_s(szName, 260, L"Buffer Done %d", id);
    pPin->m_hEventBufferDone.Reset(OpenEventW(EVENT_ALL_ACCESS, TRUE, szName));
    if (!pPin->m_hEventBufferDone) {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"m_pPin->m_hEventBufferDone == NULL");
      return S_FALSE;
    }
  }

  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::InitParam2 -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::SetEventHandles(HANDLE hFrameReady, HANDLE hBufferReady,
                                                              HANDLE hBufferDone) {
  HANDLE hProcess = GetCurrentProcess();
  UniqueHandle* targets[3] = {&m_pPin->m_hEventFrameReady, &m_pPin->m_hEventBufferReady, &m_pPin->m_hEventBufferDone};
  HANDLE sources[3] = {hFrameReady, hBufferReady, hBufferDone};
  for (int i = 0; i < 3; ++i) {
    DuplicateHandle(hProcess, sources[i], hProcess, targets[i]->Put(), 0, FALSE, DUPLICATE_SAME_ACCESS);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::SetFrameData(UINT* pFormat) {
  static const char kFn[] = "CPushSourceReadRAW::SetFrameData";
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::SetFrameData -> Enter");
  // A null pointer is refused rather than read.
  if (pFormat == nullptr) return S_FALSE;
  BITMAPINFOHEADER* pbmi = m_pPin->m_pbmi;
  pbmi->biBitCount = 24;
  ApplyPixelFormat(pbmi, *pFormat);
  // The test is on the code before this call, on purpose: switching to 8
  // bits from another code does not fill the colour counts.
  if (m_pPin->m_uPixelFormat == 2) {
    pbmi->biClrImportant = 256;
    pbmi->biClrUsed = 256;
  }
  m_pPin->m_uPixelFormat = *pFormat;
  m_pPin->UpdateImageSize();
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::SetFrameData -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::AddFrame(BYTE* pData, int size, unsigned __int64 time) {
  return AddFrameCommon("CPushSourceReadRAW::AddFrame", pData, size, time, false, 0);
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::AddFrame2(BYTE* pData, int size, unsigned __int64 time,
                                                        unsigned __int64 frameNumber) {
  return AddFrameCommon("CPushSourceReadRAW::AddFrame2", pData, size, time, true, frameNumber);
}

HRESULT CPushSourceReadRAW::AddFrameCommon(const char* kFn, BYTE* pData, int size, unsigned __int64 time,
                                           bool bByNumber, unsigned __int64 frameNumber) {
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0,
          bByNumber ? L"CPushSourceReadRAW::AddFrame2 -> Enter" : L"CPushSourceReadRAW::AddFrame -> Enter");

  bool isBreak = pData == nullptr && size == 0 && time == 0 && (!bByNumber || frameNumber == 0);
  if (isBreak) {
    m_bBreakPending = true;
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0,
            bByNumber ? L"CPushSourceReadRAW::AddFrame2, BreakFrame -> Leave"
                      : L"CPushSourceReadRAW::AddFrame, BreakFrame -> Leave");
    return S_OK;
  }

  CPushPinReadRAW* pPin = m_pPin;
  unsigned __int64 offset = time - m_uFirstFrameTime;
  if (pPin->m_cFramesTotal != 0) {
    const unsigned __int64 D = m_uFrameDuration;
    const unsigned __int64 N = pPin->m_cFramesTotal;
    if (bByNumber) {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0,
              L"m_cFramesTotal=%i, frame_time=%i, curr_frame_time=%i, frame_num=%i", pPin->m_cFramesTotal,
              static_cast<UINT>(D * N), static_cast<UINT>(offset), static_cast<UINT>(frameNumber));
    } else {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"m_cFramesTotal=%i, frame_time=%i, curr_frame_time=%i",
              pPin->m_cFramesTotal, static_cast<UINT>(D * N), static_cast<UINT>(offset));
    }

    bool gap;
    if (bByNumber) {
      gap = frameNumber - m_uLastFrameNumber > 1;
      if (gap) pPin->m_cDrop = static_cast<UINT>(frameNumber - m_uLastFrameNumber) - 1;
    } else {
      // D is at least 1 (InitParam2), so this never divides by zero. The
      // count is one more than the slots skipped, as the movie's time line
      // requires.
      gap = offset > D / 2 + N * D;
      if (gap) pPin->m_cDrop = static_cast<UINT>((offset + D / 2 - N * D) / D + 1);
    }
    if (gap) {
      pPin->m_cFramesTotal += pPin->m_cDrop;
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"Frame dropped: m_pPin->m_cDrop=%i", pPin->m_cDrop);
      if (m_bBreakPending) {
        pPin->m_cDrop = 0;
        m_bBreakPending = false;
        TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"Break Frame! m_pPin->m_cDrop=0");
      }
    }
  } else {
    m_uFirstFrameTime = time;
    offset = 0;
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"First frame");
  }
  if (bByNumber) m_uLastFrameNumber = frameNumber;

  pPin->m_cFramesTotal += 1;
  if (pData == nullptr) {
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"pData == NULL");
    return S_FALSE;
  }
  pPin->m_pFrameData = pData;
  pPin->m_iFrameSize = size;
  pPin->m_uTimeOffset = offset;
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0,
          bByNumber ? L"CPushSourceReadRAW::AddFrame2 -> Leave" : L"CPushSourceReadRAW::AddFrame -> Leave");
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushSourceReadRAW::ReleaseFilterData() {
  static const char kFn[] = "CPushSourceReadRAW::ReleaseFilterData";
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::ReleaseFilterData -> Enter");
  m_pPin->m_bStop = TRUE;
  // Wakes a streaming thread that waits for a frame; it ends the stream.
  SetEvent(m_pPin->m_hEventFrameReady.Get());
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushSourceReadRAW::ReleaseFilterData -> Leave");
  return S_OK;
}
