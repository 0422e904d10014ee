#include "mux/MuxSample.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>

#include "framework/MediaType.h"
#include "mux/MuxAllocator.h"

MuxSample::MuxSample(MuxAllocator* pAllocator, BYTE* pBuffer, long cbBuffer) : m_pAllocator(pAllocator) {
  std::memset(&m_props, 0, sizeof m_props);
  m_props.cbData = sizeof m_props;
  m_props.pbBuffer = pBuffer;
  m_props.cbBuffer = cbBuffer;
  m_props.lActual = cbBuffer;
}

MuxSample::~MuxSample() { ClearProperties(); }

void MuxSample::HandOut() {
  m_cRef = 1;
  m_props.lActual = m_props.cbBuffer;
}

void MuxSample::ClearProperties() {
  DeleteMediaType(m_props.pMediaType);
  m_props.pMediaType = nullptr;
  m_props.dwSampleFlags = 0;
  m_props.dwTypeSpecificFlags = 0;
  m_props.dwStreamId = 0;
  m_props.tStart = 0;
  m_props.tStop = 0;
  m_bMediaTimeValid = false;
}

void MuxSample::SetFlag(DWORD flag, BOOL on) {
  if (on) m_props.dwSampleFlags |= flag;
  else m_props.dwSampleFlags &= ~flag;
}

HRESULT STDMETHODCALLTYPE MuxSample::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IMediaSample || riid == IID_IMediaSample2) {
    *ppv = static_cast<IMediaSample2*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE MuxSample::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

ULONG STDMETHODCALLTYPE MuxSample::Release() {
  LONG count = InterlockedDecrement(&m_cRef);
  if (count == 0) {
    ClearProperties();
    m_pAllocator->Recycle(this);
  }
  return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE MuxSample::GetPointer(BYTE** ppBuffer) {
  if (ppBuffer == nullptr) return E_POINTER;
  *ppBuffer = m_props.pbBuffer;
  return S_OK;
}

long STDMETHODCALLTYPE MuxSample::GetSize() { return m_props.cbBuffer; }

HRESULT STDMETHODCALLTYPE MuxSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  if (pTimeStart == nullptr || pTimeEnd == nullptr) return E_POINTER;
  if (!(m_props.dwSampleFlags & AM_SAMPLE_TIMEVALID)) return VFW_E_SAMPLE_TIME_NOT_SET;
  *pTimeStart = m_props.tStart;
  if (!(m_props.dwSampleFlags & AM_SAMPLE_STOPVALID)) {
    *pTimeEnd = m_props.tStart + 1;
    return VFW_S_NO_STOP_TIME;
  }
  *pTimeEnd = m_props.tStop;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
  if (pTimeStart != nullptr) m_props.tStart = *pTimeStart;
  if (pTimeEnd != nullptr) m_props.tStop = *pTimeEnd;
  SetFlag(AM_SAMPLE_TIMEVALID, pTimeStart != nullptr);
  SetFlag(AM_SAMPLE_STOPVALID, pTimeStart != nullptr && pTimeEnd != nullptr);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::IsSyncPoint() {
  return (m_props.dwSampleFlags & AM_SAMPLE_SPLICEPOINT) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetSyncPoint(BOOL bIsSyncPoint) {
  SetFlag(AM_SAMPLE_SPLICEPOINT, bIsSyncPoint);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::IsPreroll() {
  return (m_props.dwSampleFlags & AM_SAMPLE_PREROLL) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetPreroll(BOOL bIsPreroll) {
  SetFlag(AM_SAMPLE_PREROLL, bIsPreroll);
  return S_OK;
}

long STDMETHODCALLTYPE MuxSample::GetActualDataLength() { return m_props.lActual; }

HRESULT STDMETHODCALLTYPE MuxSample::SetActualDataLength(long length) {
  if (length < 0 || length > m_props.cbBuffer) return VFW_E_BUFFER_OVERFLOW;
  m_props.lActual = length;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType) {
  if (ppMediaType == nullptr) return E_POINTER;
  *ppMediaType = nullptr;
  if (m_props.pMediaType == nullptr) return S_FALSE;
  *ppMediaType = CreateMediaType(m_props.pMediaType);
  return *ppMediaType != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetMediaType(AM_MEDIA_TYPE* pMediaType) {
  DeleteMediaType(m_props.pMediaType);
  m_props.pMediaType = nullptr;
  SetFlag(AM_SAMPLE_TYPECHANGED, FALSE);
  if (pMediaType == nullptr) return S_OK;
  m_props.pMediaType = CreateMediaType(pMediaType);
  if (m_props.pMediaType == nullptr) return E_OUTOFMEMORY;
  SetFlag(AM_SAMPLE_TYPECHANGED, TRUE);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::IsDiscontinuity() {
  return (m_props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetDiscontinuity(BOOL bDiscontinuity) {
  SetFlag(AM_SAMPLE_DATADISCONTINUITY, bDiscontinuity);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  if (pTimeStart == nullptr || pTimeEnd == nullptr) return E_POINTER;
  if (!m_bMediaTimeValid) return VFW_E_MEDIA_TIME_NOT_SET;
  *pTimeStart = m_llMediaStart;
  *pTimeEnd = m_llMediaEnd;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
  if (pTimeStart == nullptr || pTimeEnd == nullptr) {
    m_bMediaTimeValid = false;
    return S_OK;
  }
  m_llMediaStart = *pTimeStart;
  m_llMediaEnd = *pTimeEnd;
  m_bMediaTimeValid = true;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::GetProperties(DWORD cbProperties, BYTE* pbProperties) {
  if (pbProperties == nullptr) return E_POINTER;
  std::memcpy(pbProperties, &m_props, std::min<DWORD>(cbProperties, sizeof m_props));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxSample::SetProperties(DWORD cbProperties, const BYTE* pbProperties) {
  if (pbProperties == nullptr) return E_POINTER;
  // The buffer, its size and the type are the sample's own; the rest may be set.
  AM_SAMPLE2_PROPERTIES wanted = m_props;
  std::memcpy(&wanted, pbProperties, std::min<DWORD>(cbProperties, sizeof wanted));
  if (wanted.lActual < 0 || wanted.lActual > m_props.cbBuffer) return VFW_E_BUFFER_OVERFLOW;
  m_props.dwTypeSpecificFlags = wanted.dwTypeSpecificFlags;
  m_props.dwSampleFlags =
      (wanted.dwSampleFlags & ~AM_SAMPLE_TYPECHANGED) | (m_props.dwSampleFlags & AM_SAMPLE_TYPECHANGED);
  m_props.lActual = wanted.lActual;
  m_props.tStart = wanted.tStart;
  m_props.tStop = wanted.tStop;
  m_props.dwStreamId = wanted.dwStreamId;
  return S_OK;
}
