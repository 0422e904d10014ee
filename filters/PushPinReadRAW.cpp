#include "filters/PushPinReadRAW.h"

#include <cstring>
#include <new>

#include <uuids.h>
#include <vfwmsgs.h>

#include "filters/CapturePinProperties.h"
#include "filters/FrameGeometry.h"
#include "filters/PushSourceReadRAW.h"
#include "log/Trace.h"

#define READRAW_FILE L".\\ReadRAW"

static_assert(sizeof(VIDEOINFO) == 1128, "VIDEOINFO is 1,128 bytes");
static_assert(sizeof(VIDEO_STREAM_CONFIG_CAPS) == 128, "VIDEO_STREAM_CONFIG_CAPS is 128 bytes");

namespace {

// The frame header lives in a 44-byte block (a BITMAPINFOHEADER and room
// for one colour entry).
constexpr size_t kFrameHeaderBytes = 44;

}  // namespace

RGBQUAD CPushPinReadRAW::s_GreyPalette[256];

CPushPinReadRAW::CPushPinReadRAW(HRESULT* phr, CPushSourceReadRAW* pFilter)
    : CSourceStream(nullptr, phr, pFilter, L"Out"),
      m_pbmi(nullptr),
      m_pFrameData(nullptr),
      m_iFrameSize(0),
      m_uWriterId(0),
      m_bStop(FALSE),
      m_uReserved(0),
      m_bBottomUp(FALSE),
      m_cDrop(0),
      m_cFramesTotal(0),
      m_iUnused(0),
      m_cDroppedTotal(0),
      m_iSampleNumber(0),
      m_uPixelFormat(0),
      m_uTimeOffset(0),
      m_rtFrameLength(10000000) {  // one frame per second until InitParam2
  for (int i = 0; i < 256; ++i) {
    s_GreyPalette[i].rgbBlue = static_cast<BYTE>(i);
    s_GreyPalette[i].rgbGreen = static_cast<BYTE>(i);
    s_GreyPalette[i].rgbRed = static_cast<BYTE>(i);
    s_GreyPalette[i].rgbReserved = 0;
  }
  TAV_LOG(READRAW_FILE, "CPushPinReadRAW::CPushPinReadRAW", LOG_SEV_TRACE, 0,
          L"CPushPinReadRAW::CPushPinReadRAW -> Enter");
  // Aligned storage for the 44-byte header block.
  m_pbmi = reinterpret_cast<BITMAPINFOHEADER*>(new (std::nothrow) DWORD[kFrameHeaderBytes / sizeof(DWORD)]());
  if (m_pbmi != nullptr) {
    m_pbmi->biSize = sizeof(BITMAPINFOHEADER);
    m_pbmi->biWidth = 500;
    m_pbmi->biHeight = 500;
    m_pbmi->biPlanes = 1;
    m_pbmi->biBitCount = 24;
    m_pbmi->biCompression = BI_RGB;
    m_pbmi->biClrUsed = 0;
    m_pbmi->biClrImportant = 0;
    m_pbmi->biXPelsPerMeter = 0;
    m_pbmi->biYPelsPerMeter = 0;
    UpdateImageSize();
  } else if (phr != nullptr) {
    *phr = E_OUTOFMEMORY;
  }
  TAV_LOG(READRAW_FILE, "CPushPinReadRAW::CPushPinReadRAW", LOG_SEV_TRACE, 0,
          L"CPushPinReadRAW::CPushPinReadRAW -> Leave");
}

CPushPinReadRAW::~CPushPinReadRAW() {
  TAV_LOG(READRAW_FILE, "CPushPinReadRAW::~CPushPinReadRAW", LOG_SEV_TRACE, 0,
          L"CPushPinReadRAW::~CPushPinReadRAW -> Enter");
  delete[] reinterpret_cast<DWORD*>(m_pbmi);
  m_pbmi = nullptr;
  m_hEventBufferDone.Close();
  m_hEventBufferReady.Close();
  m_hEventFrameReady.Close();
  TAV_LOG(READRAW_FILE, "CPushPinReadRAW::~CPushPinReadRAW", LOG_SEV_TRACE, 0,
          L"CPushPinReadRAW::~CPushPinReadRAW -> Leave");
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IKsPropertySet) return GetInterface(static_cast<IKsPropertySet*>(this), ppv);
  if (riid == IID_IAMStreamConfig) return GetInterface(static_cast<IAMStreamConfig*>(this), ppv);
  return CSourceStream::NonDelegatingQueryInterface(riid, ppv);
}

void CPushPinReadRAW::UpdateImageSize() { m_pbmi->biSizeImage = GetDibSize(*m_pbmi); }

HRESULT CPushPinReadRAW::GetMediaType(int iPosition, CMediaType* pmt) {
  if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (pmt == nullptr) return E_POINTER;
  auto* pvi = reinterpret_cast<VIDEOINFO*>(pmt->AllocFormatBuffer(sizeof(VIDEOINFO)));
  if (pvi == nullptr) return E_OUTOFMEMORY;

  // The buffer comes zeroed: rcSource, rcTarget, bit rates stay 0.
  pvi->AvgTimePerFrame = m_rtFrameLength;
  BITMAPINFOHEADER& bmi = pvi->bmiHeader;
  bmi.biSize = sizeof(BITMAPINFOHEADER);
  bmi.biWidth = m_pbmi->biWidth;
  bmi.biHeight = m_pbmi->biHeight;
  bmi.biPlanes = 1;
  bmi.biClrImportant = 0;
  switch (m_uPixelFormat) {
    case 0:
      bmi.biBitCount = 24;
      bmi.biCompression = BI_RGB;
      break;
    case 1:
      bmi.biBitCount = 32;
      bmi.biCompression = BI_RGB;
      break;
    case 2:
    case 1242:  // an extra code recognised only here: the same as 2
      bmi.biBitCount = 8;
      bmi.biClrUsed = 256;
      bmi.biClrImportant = 256;
      bmi.biCompression = BI_RGB;
      break;
    case 3:
      bmi.biBitCount = 16;
      bmi.biCompression = MAKEFOURCC('Y', 'U', 'Y', '2');
      break;
    default:  // biBitCount stays 0
      break;
  }
  if (m_pbmi->biBitCount == 8) {
    std::memcpy(pvi->bmiColors, s_GreyPalette, sizeof(s_GreyPalette));
  }
  bmi.biSizeImage = GetDibSize(bmi);

  pmt->SetType(&MEDIATYPE_Video);
  pmt->SetFormatType(&FORMAT_VideoInfo);
  pmt->SetTemporalCompression(FALSE);
  GUID subtype = GetBitmapSubtype(&bmi);
  pmt->SetSubtype(&subtype);
  pmt->bFixedSizeSamples = TRUE;
  pmt->lSampleSize = bmi.biSizeImage;
  return S_OK;
}

HRESULT CPushPinReadRAW::CheckMediaType(const CMediaType* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  if (pmt == nullptr) return E_POINTER;
  for (int position = 0;; ++position) {
    CMediaType offered;
    if (GetMediaType(position, &offered) != S_OK) return E_FAIL;
    if (pmt->majortype == offered.majortype && (pmt->subtype == GUID_NULL || pmt->subtype == offered.subtype)) {
      return S_OK;
    }
  }
}

HRESULT CPushPinReadRAW::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) {
  static const char kFn[] = "CPushPinReadRAW::DecideBufferSize";
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushPinReadRAW::DecideBufferSize -> Enter");
  if (pAlloc == nullptr || pProperties == nullptr) return E_POINTER;
  CAutoLock lock(m_pSourceFilter->pStateLock());
  // A connection type without a video header cannot be sized.
  if (m_mt.pbFormat == nullptr || m_mt.cbFormat < sizeof(VIDEOINFOHEADER)) return E_FAIL;
  const auto* pvih = reinterpret_cast<const VIDEOINFOHEADER*>(m_mt.pbFormat);
  pProperties->cBuffers = 1;
  pProperties->cbBuffer = static_cast<long>(pvih->bmiHeader.biSizeImage);

  ALLOCATOR_PROPERTIES Actual = {};
  HRESULT hr = pAlloc->SetProperties(pProperties, &Actual);
  if (FAILED(hr)) {
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"pAlloc->SetProperties(pProperties,&Actual) failed");
    return hr;
  }
  if (Actual.cbBuffer < pProperties->cbBuffer) {
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_ERROR, 0, L"Actual.cbBuffer < pProperties->cbBuffer");
    return E_FAIL;
  }
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushPinReadRAW::DecideBufferSize -> Leave");
  return S_OK;
}

HRESULT CPushPinReadRAW::FillBuffer(IMediaSample* pSample) {
  static const char kFn[] = "CPushPinReadRAW::FillBuffer";
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushPinReadRAW::FillBuffer -> Enter");
  if (pSample == nullptr) {
    // Delivery failed downstream: free a host thread waiting in the hand-over.
    SetEvent(m_hEventBufferReady.Get());
    SetEvent(m_hEventBufferDone.Get());
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_WARNING, 0, L"pSample==NULL");
    return S_OK;
  }

  // A dynamic format change is ignored.
  AM_MEDIA_TYPE* pmtChanged = nullptr;
  if (pSample->GetMediaType(&pmtChanged) == S_OK) DeleteMediaType(pmtChanged);

  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventBufferReady");
  SetEvent(m_hEventBufferReady.Get());
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventBufferReady");

  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"WaitForSingleObject->Enter m_hEventFrameReady");
  WaitForSingleObject(m_hEventFrameReady.Get(), INFINITE);
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"WaitForSingleObject->Leave m_hEventFrameReady");

  if (m_bStop) {
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventBufferDone with m_bStop");
    SetEvent(m_hEventBufferDone.Get());
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventBufferDone with m_bStop");
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"Total frames written: %d, dropped: %d", m_cFramesTotal,
            m_cDroppedTotal);
    TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushPinReadRAW::FillBuffer -> Return 2");
    return S_FALSE;
  }

  CAutoLock lock(m_pSourceFilter->pStateLock());
  BYTE* pDst = nullptr;
  if (SUCCEEDED(pSample->GetPointer(&pDst))) {
    long cbDst = pSample->GetSize();
    pSample->SetActualDataLength(cbDst);
    if (m_pFrameData != nullptr) {
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CopyMemory->Enter");
      CopyFrame(pDst, cbDst);
      TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CopyMemory->Leave");
    }
  }
  // The host's buffer is only ours until "buffer done": forget it, so a
  // later wake-up without a new frame cannot read it again.
  m_pFrameData = nullptr;

  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Enter m_hEventBufferDone");
  SetEvent(m_hEventBufferDone.Get());
  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"SetEvent->Leave m_hEventBufferDone");

  // Frame slots: the sample after a gap is a discontinuity and no sync point.
  BOOL bDiscontinuity = FALSE;
  BOOL bSyncPoint = TRUE;
  if (m_cDrop != 0) {
    m_iSampleNumber = static_cast<int>(static_cast<UINT>(m_iSampleNumber) + m_cDrop);
    m_cDrop = 0;
    bDiscontinuity = TRUE;
    bSyncPoint = FALSE;
  }
  pSample->SetDiscontinuity(bDiscontinuity);
  // Unsigned multiplication: an absurd slot count wraps instead of overflowing.
  REFERENCE_TIME rtStart =
      static_cast<REFERENCE_TIME>(static_cast<unsigned __int64>(static_cast<__int64>(m_iSampleNumber)) *
                                  static_cast<unsigned __int64>(m_rtFrameLength));
  REFERENCE_TIME rtStop = static_cast<REFERENCE_TIME>(static_cast<unsigned __int64>(rtStart) +
                                                      static_cast<unsigned __int64>(m_rtFrameLength));
  pSample->SetTime(&rtStart, &rtStop);
  pSample->SetSyncPoint(bSyncPoint);
  m_iSampleNumber = static_cast<int>(static_cast<UINT>(m_iSampleNumber) + 1u);

  TAV_LOG(READRAW_FILE, kFn, LOG_SEV_TRACE, 0, L"CPushPinReadRAW::FillBuffer -> Leave");
  return S_OK;
}

void CPushPinReadRAW::CopyFrame(BYTE* pDst, long cbDst) {
  // Reads at most the size the host passed; a shorter host buffer leaves
  // the rest of the sample zero. Writes at most the sample's size.
  const size_t cbSrc = m_iFrameSize > 0 ? static_cast<size_t>(m_iFrameSize) : 0;
  const size_t cbOut = cbDst > 0 ? static_cast<size_t>(cbDst) : 0;
  if (m_bBottomUp) {
    // Rows bottom-up: the last source row becomes the first sample row.
    const size_t stride = static_cast<size_t>(framegeometry::RowStride(*m_pbmi));
    const size_t rows = static_cast<size_t>(m_pbmi->biHeight);
    for (size_t r = 0; r < rows; ++r) {
      size_t dstOffset = r * stride;
      if (dstOffset >= cbOut) break;
      size_t rowBytes = stride < cbOut - dstOffset ? stride : cbOut - dstOffset;
      size_t srcOffset = (rows - 1 - r) * stride;
      size_t available = srcOffset < cbSrc ? cbSrc - srcOffset : 0;
      size_t n = available < rowBytes ? available : rowBytes;
      std::memcpy(pDst + dstOffset, m_pFrameData + srcOffset, n);
      std::memset(pDst + dstOffset + n, 0, rowBytes - n);
    }
  } else {
    size_t total = m_pbmi->biSizeImage < cbOut ? m_pbmi->biSizeImage : cbOut;
    size_t n = cbSrc < total ? cbSrc : total;
    std::memcpy(pDst, m_pFrameData, n);
    std::memset(pDst + n, 0, total - n);
  }
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::Notify(IBaseFilter*, Quality) { return E_FAIL; }

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::SetFormat(AM_MEDIA_TYPE* pmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  HRESULT hr = CheckFormatChange(pmt);
  if (hr != S_OK) return hr;
  if (!m_mt.Set(*pmt)) return E_OUTOFMEMORY;
  return ReconnectWithFormat(m_mt);
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::GetFormat(AM_MEDIA_TYPE** ppmt) {
  CAutoLock lock(m_pSourceFilter->pStateLock());
  return CopyCurrentFormat(ppmt);
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::GetNumberOfCapabilities(int* piCount, int* piSize) {
  if (piCount == nullptr || piSize == nullptr) return E_POINTER;
  *piCount = 2;
  *piSize = sizeof(VIDEO_STREAM_CONFIG_CAPS);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::GetStreamCaps(int iIndex, AM_MEDIA_TYPE** ppmt, BYTE* pSCC) {
  if (iIndex > 1) return S_FALSE;
  if (ppmt == nullptr || pSCC == nullptr) return E_POINTER;
  // Index 1 has no type and yields an empty one, on purpose.
  CMediaType mt;
  GetMediaType(iIndex, &mt);
  *ppmt = CreateMediaType(&mt);
  if (*ppmt == nullptr) return E_OUTOFMEMORY;

  VIDEO_STREAM_CONFIG_CAPS caps;
  std::memset(&caps, 0, sizeof(caps));
  caps.guid = FORMAT_VideoInfo;
  caps.InputSize.cx = m_pbmi->biWidth;
  caps.InputSize.cy = m_pbmi->biHeight;
  caps.MinCroppingSize = caps.InputSize;
  caps.MaxCroppingSize = caps.InputSize;
  caps.MinFrameInterval = m_rtFrameLength;
  caps.MaxFrameInterval = m_rtFrameLength;
  std::memcpy(pSCC, &caps, sizeof(caps));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::Set(REFGUID, DWORD, LPVOID, DWORD, LPVOID, DWORD) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::Get(REFGUID guidPropSet, DWORD dwPropID, LPVOID, DWORD, LPVOID pPropData,
                                               DWORD cbPropData, DWORD* pcbReturned) {
  return capturepin::Get(guidPropSet, dwPropID, pPropData, cbPropData, pcbReturned);
}

HRESULT STDMETHODCALLTYPE CPushPinReadRAW::QuerySupported(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport) {
  return capturepin::QuerySupported(guidPropSet, dwPropID, pTypeSupport);
}
