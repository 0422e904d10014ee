#include "wine/common/CompressorFilter.h"

#include "wine/common/ComBarrier.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>

namespace {

// A pin id in memory the caller frees with CoTaskMemFree.
template <size_t Length>
HRESULT CopyPinId(const wchar_t (&text)[Length], LPWSTR* id) {
  if (id == nullptr) return E_POINTER;
  *id = static_cast<LPWSTR>(CoTaskMemAlloc(sizeof(text)));
  if (*id == nullptr) return E_OUTOFMEMORY;
  std::memcpy(*id, text, sizeof(text));
  return S_OK;
}

}  // namespace

// --- Input pin ---

CCompressorInputPin::CCompressorInputPin(const wchar_t* objectName, CCompressorFilter* filter, CCritSec* lock,
                                         HRESULT* hr)
    : CPackInputPin(objectName, filter, lock, hr, L"Input"), m_compressor(filter) {}

HRESULT STDMETHODCALLTYPE CCompressorInputPin::QueryId(LPWSTR* id) { return CopyPinId(L"In", id); }

HRESULT CCompressorInputPin::CheckMediaType(const CMediaType* type) { return m_compressor->CheckInputType(*type); }

HRESULT CCompressorInputPin::CompleteConnect(IPin* receivePin) {
  HRESULT hr = CPackInputPin::CompleteConnect(receivePin);
  if (SUCCEEDED(hr)) hr = m_compressor->OnInputConnected(m_mt);
  return hr;
}

HRESULT CCompressorInputPin::SetMediaType(const CMediaType* type) {
  // The stream was set up for the connected type.
  if (IsConnected() && !IsStopped() && m_compressor->InputTypeChanges(*type, m_mt)) return VFW_E_TYPE_NOT_ACCEPTED;
  return CPackInputPin::SetMediaType(type);
}

HRESULT CCompressorInputPin::BreakConnect() {
  m_compressor->OnInputDisconnected();
  return CPackInputPin::BreakConnect();
}

HRESULT STDMETHODCALLTYPE CCompressorInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  CPackInputPin::NewSegment(start, stop, rate);
  return m_compressor->NewSegment(start, stop, rate);
}

HRESULT CCompressorInputPin::OnReceive(IMediaSample* sample) { return m_compressor->Receive(sample); }

HRESULT CCompressorInputPin::OnEndOfStream() { return m_compressor->EndOfStream(); }

HRESULT CCompressorInputPin::OnBeginFlush() { return m_compressor->BeginFlush(); }

HRESULT CCompressorInputPin::OnEndFlush() { return m_compressor->EndFlush(); }

// --- Output pin ---

CCompressorOutputPin::CCompressorOutputPin(const wchar_t* objectName, CCompressorFilter* filter, CCritSec* lock,
                                           HRESULT* hr)
    : CBaseOutputPin(objectName, filter, lock, hr, L"Output"), m_compressor(filter) {}

HRESULT STDMETHODCALLTYPE CCompressorOutputPin::QueryId(LPWSTR* id) { return CopyPinId(L"Out", id); }

HRESULT STDMETHODCALLTYPE CCompressorOutputPin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
  {
    CAutoLock lock(m_pLock);
    if (!m_compressor->HasInput()) return VFW_E_NOT_CONNECTED;
  }
  return CBaseOutputPin::Connect(receivePin, type);
}

HRESULT CCompressorOutputPin::CheckConnect(IPin* pin) {
  // The types follow the input: nothing to offer before it is connected.
  if (!m_compressor->HasInput()) return VFW_E_NOT_CONNECTED;
  return CBaseOutputPin::CheckConnect(pin);
}

HRESULT CCompressorOutputPin::SetBuffers(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties, long count,
                                         long size, long usable) {
  properties->cBuffers = std::max(properties->cBuffers, count);
  properties->cbBuffer = std::max(properties->cbBuffer, size);
  properties->cbAlign = std::max(properties->cbAlign, 1L);
  ALLOCATOR_PROPERTIES actual = {};
  const HRESULT hr = allocator->SetProperties(properties, &actual);
  if (FAILED(hr)) return hr;
  if (actual.cbBuffer < usable || actual.cBuffers < 1) return E_FAIL;
  return S_OK;
}

// --- Filter ---

CCompressorFilter::CCompressorFilter(const wchar_t* name, IUnknown* outer, REFCLSID clsid,
                                     const wchar_t* inputObjectName)
    : CBaseFilter(name, outer, &m_filterLock, clsid) {
  HRESULT hr = S_OK;
  m_inputPin.reset(new CCompressorInputPin(inputObjectName, this, &m_filterLock, &hr));
}

CCompressorFilter::~CCompressorFilter() {
  m_outputPin.reset();
  m_inputPin.reset();
}

CBasePin* CCompressorFilter::GetPin(int n) {
  if (n == 0) return m_inputPin.get();
  if (n == 1) return m_outputPin.get();
  return nullptr;
}

HRESULT STDMETHODCALLTYPE CCompressorFilter::FindPin(LPCWSTR id, IPin** pin) {
  if (id == nullptr || pin == nullptr) return E_POINTER;
  if (wcscmp(id, L"In") == 0) return GetInterface(static_cast<IPin*>(m_inputPin.get()), reinterpret_cast<void**>(pin));
  if (wcscmp(id, L"Out") == 0)
    return GetInterface(static_cast<IPin*>(m_outputPin.get()), reinterpret_cast<void**>(pin));
  return CBaseFilter::FindPin(id, pin);
}

HRESULT STDMETHODCALLTYPE CCompressorFilter::Pause() {
  CAutoLock lock(&m_filterLock);
  if (m_State == State_Stopped && m_inputPin->IsConnected() && m_outputPin->IsConnected()) {
    CAutoLock stream(m_inputPin->ReceiveLock());
    // The stream's threads and buffers are made here: no exception may leave.
    const HRESULT hr = tavpack::CallWithoutThrowing([&] { return StartStreaming(); });
    if (FAILED(hr)) return hr;
  }
  return CBaseFilter::Pause();
}

HRESULT STDMETHODCALLTYPE CCompressorFilter::Stop() {
  CAutoLock lock(&m_filterLock);
  // Decommitting the output allocator first releases a Receive that waits
  // for a buffer; the input pin's Inactive then waits for it to return.
  if (m_State != State_Stopped && m_outputPin->IsConnected()) m_outputPin->Inactive();
  const HRESULT hr = CBaseFilter::Stop();
  CAutoLock stream(m_inputPin->ReceiveLock());
  StopStreaming();
  return hr;
}

HRESULT CCompressorFilter::EndOfStream() {
  OnEndOfStream();
  return m_outputPin->DeliverEndOfStream();
}

HRESULT CCompressorFilter::BeginFlush() {
  // Not under the receive lock: the flush must release a Receive blocked
  // downstream first.
  if (!m_outputPin->IsConnected()) return S_OK;
  return m_outputPin->GetConnected()->BeginFlush();
}

HRESULT CCompressorFilter::EndFlush() {
  OnFlushed();
  if (!m_outputPin->IsConnected()) return S_OK;
  return m_outputPin->GetConnected()->EndFlush();
}

HRESULT CCompressorFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  if (!m_outputPin->IsConnected()) return S_OK;
  return m_outputPin->GetConnected()->NewSegment(start, stop, rate);
}
