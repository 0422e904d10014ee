#include "framework/MediaType.h"

#include <cstring>

#include <uuids.h>

HRESULT CopyMediaType(AM_MEDIA_TYPE* pDst, const AM_MEDIA_TYPE* pSrc) {
  *pDst = *pSrc;
  if (pSrc->cbFormat != 0 && pSrc->pbFormat != nullptr) {
    pDst->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(pSrc->cbFormat));
    if (pDst->pbFormat == nullptr) {
      std::memset(pDst, 0, sizeof(*pDst));
      return E_OUTOFMEMORY;
    }
    std::memcpy(pDst->pbFormat, pSrc->pbFormat, pSrc->cbFormat);
  } else {
    pDst->pbFormat = nullptr;
    pDst->cbFormat = 0;
  }
  if (pDst->pUnk != nullptr) pDst->pUnk->AddRef();
  return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& mt) {
  if (mt.pbFormat != nullptr) CoTaskMemFree(mt.pbFormat);
  mt.pbFormat = nullptr;
  mt.cbFormat = 0;
  if (mt.pUnk != nullptr) {
    mt.pUnk->Release();
    mt.pUnk = nullptr;
  }
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSrc) {
  auto* pmt = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
  if (pmt == nullptr) return nullptr;
  if (FAILED(CopyMediaType(pmt, pSrc))) {
    CoTaskMemFree(pmt);
    return nullptr;
  }
  return pmt;
}

void DeleteMediaType(AM_MEDIA_TYPE* pmt) {
  if (pmt == nullptr) return;
  FreeMediaType(*pmt);
  CoTaskMemFree(pmt);
}

bool MediaTypesEqual(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b) {
  if (a.majortype != b.majortype || a.subtype != b.subtype || a.formattype != b.formattype) {
    return false;
  }
  if (a.cbFormat != b.cbFormat) return false;
  if (a.cbFormat == 0) return true;
  if (a.pbFormat == nullptr || b.pbFormat == nullptr) return a.pbFormat == b.pbFormat;
  return std::memcmp(a.pbFormat, b.pbFormat, a.cbFormat) == 0;
}

GUID GetBitmapSubtype(const BITMAPINFOHEADER* pbmi) {
  if (pbmi == nullptr) return GUID_NULL;
  if (pbmi->biCompression == BI_RGB || pbmi->biCompression == BI_BITFIELDS) {
    switch (pbmi->biBitCount) {
      case 1:
        return MEDIASUBTYPE_RGB1;
      case 4:
        return MEDIASUBTYPE_RGB4;
      case 8:
        return MEDIASUBTYPE_RGB8;
      case 16:
        // BI_RGB 16-bit is 5-5-5; bit fields are taken as 5-6-5.
        return pbmi->biCompression == BI_RGB ? MEDIASUBTYPE_RGB555 : MEDIASUBTYPE_RGB565;
      case 24:
        return MEDIASUBTYPE_RGB24;
      case 32:
        return MEDIASUBTYPE_RGB32;
      default:
        return GUID_NULL;
    }
  }
  // A FOURCC subtype: the FOURCC in the first field of the base GUID
  // {xxxxxxxx-0000-0010-8000-00AA00389B71}.
  GUID g = {pbmi->biCompression, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
  return g;
}

DWORD GetDibSize(const BITMAPINFOHEADER& bmi) {
  DWORD widthBytes = ((static_cast<DWORD>(bmi.biWidth) * bmi.biBitCount + 31) / 32) * 4;
  DWORD height = bmi.biHeight < 0 ? 0u - static_cast<DWORD>(bmi.biHeight) : static_cast<DWORD>(bmi.biHeight);
  return widthBytes * height;
}

CMediaType::CMediaType() : AM_MEDIA_TYPE() { InitMediaType(); }

CMediaType::CMediaType(const GUID* pMajorType) : AM_MEDIA_TYPE() {
  InitMediaType();
  majortype = *pMajorType;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& mt) : AM_MEDIA_TYPE() {
  InitMediaType();
  Set(mt);
}

CMediaType::CMediaType(const CMediaType& mt) : AM_MEDIA_TYPE() {
  InitMediaType();
  Set(mt);
}

CMediaType::~CMediaType() { FreeMediaType(*this); }

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& mt) {
  Set(mt);
  return *this;
}

CMediaType& CMediaType::operator=(const CMediaType& mt) {
  Set(mt);
  return *this;
}

bool CMediaType::Set(const AM_MEDIA_TYPE& mt) {
  if (&mt == this) return true;
  FreeMediaType(*this);
  if (FAILED(CopyMediaType(this, &mt))) {
    InitMediaType();
    return false;
  }
  return true;
}

void CMediaType::InitMediaType() {
  FreeMediaType(*this);
  std::memset(static_cast<AM_MEDIA_TYPE*>(this), 0, sizeof(AM_MEDIA_TYPE));
  lSampleSize = 1;
  bFixedSizeSamples = TRUE;
}

bool CMediaType::IsFullySpecified() const {
  return majortype != GUID_NULL && subtype != GUID_NULL && formattype != GUID_NULL;
}

bool CMediaType::MatchesPartial(const AM_MEDIA_TYPE* pPartial) const {
  if (pPartial->majortype != GUID_NULL && pPartial->majortype != majortype) return false;
  if (pPartial->subtype != GUID_NULL && pPartial->subtype != subtype) return false;
  if (pPartial->formattype != GUID_NULL) {
    if (pPartial->formattype != formattype) return false;
    if (pPartial->cbFormat != cbFormat) return false;
    if (cbFormat != 0 && std::memcmp(pPartial->pbFormat, pbFormat, cbFormat) != 0) return false;
  }
  return true;
}

void CMediaType::SetSampleSize(ULONG cb) {
  if (cb == 0) {
    SetVariableSize();
  } else {
    bFixedSizeSamples = TRUE;
    lSampleSize = cb;
  }
}

void CMediaType::SetVariableSize() { bFixedSizeSamples = FALSE; }

BYTE* CMediaType::AllocFormatBuffer(ULONG cb) {
  ResetFormatBuffer();
  if (cb == 0) return nullptr;
  pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(cb));
  if (pbFormat == nullptr) return nullptr;
  std::memset(pbFormat, 0, cb);
  cbFormat = cb;
  return pbFormat;
}

bool CMediaType::SetFormat(const BYTE* pFormat, ULONG cb) {
  if (AllocFormatBuffer(cb) == nullptr) return cb == 0;
  std::memcpy(pbFormat, pFormat, cb);
  return true;
}

void CMediaType::ResetFormatBuffer() {
  if (pbFormat != nullptr) CoTaskMemFree(pbFormat);
  pbFormat = nullptr;
  cbFormat = 0;
}
