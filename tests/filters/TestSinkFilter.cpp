#include "tests/filters/TestSinkFilter.h"

#include <uuids.h>

namespace tavtest {

namespace {
const CLSID CLSID_TestSink = {0x5a1e0c11, 0x7d1c, 0x4a8e, {0x9b, 0x43, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};
}

volatile LONG CTestSinkFilter::s_cDestroyed = 0;

CTestSinkPin::CTestSinkPin(CTestSinkFilter* pFilter, CCritSec* pLock, HRESULT* phr)
    : CBasePin(L"Test sink pin", pFilter, pLock, phr, L"In", PINDIR_INPUT), m_pSink(pFilter) {}

CTestSinkPin::~CTestSinkPin() = default;

HRESULT STDMETHODCALLTYPE CTestSinkPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CTestSinkPin::CheckMediaType(const CMediaType* pmt) {
  if (m_pSink->acceptMajorType == GUID_NULL) return S_OK;
  return pmt->majortype == m_pSink->acceptMajorType ? S_OK : S_FALSE;
}

HRESULT CTestSinkPin::BreakConnect() {
  m_pSink->DropAllocators();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::EndOfStream() {
  m_pSink->OnEndOfStream();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::GetAllocator(IMemAllocator** ppAllocator) {
  return m_pSink->GiveAllocator(ppAllocator);
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL) {
  m_pSink->OnNotifyAllocator(pAllocator);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) {
  return m_pSink->GiveRequirements(pProps);
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::Receive(IMediaSample* pSample) { return m_pSink->OnReceive(pSample); }

HRESULT STDMETHODCALLTYPE CTestSinkPin::ReceiveMultiple(IMediaSample** pSamples, long nSamples,
                                                        long* nSamplesProcessed) {
  long done = 0;
  HRESULT hr = S_OK;
  for (; done < nSamples; ++done) {
    hr = Receive(pSamples[done]);
    if (hr != S_OK) break;
  }
  if (nSamplesProcessed != nullptr) *nSamplesProcessed = done;
  return hr;
}

HRESULT STDMETHODCALLTYPE CTestSinkPin::ReceiveCanBlock() { return S_FALSE; }

CTestSinkFilter::CTestSinkFilter()
    : CBaseFilter(L"Test sink", nullptr, &m_Lock, CLSID_TestSink),
      m_pPin(nullptr),
      m_hReceived(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
  HRESULT hr = S_OK;
  m_pPin = new CTestSinkPin(this, &m_Lock, &hr);
}

CTestSinkFilter::~CTestSinkFilter() {
  ReleaseHeldSamples();
  delete m_pPin;
  DropAllocators();
  CloseHandle(m_hReceived);
  InterlockedIncrement(&s_cDestroyed);
}

LONG CTestSinkFilter::Destroyed() { return s_cDestroyed; }

CBasePin* CTestSinkFilter::GetPin(int n) { return n == 0 ? m_pPin : nullptr; }

HRESULT CTestSinkFilter::OnReceive(IMediaSample* pSample) {
  ReceivedSample rec;
  BYTE* p = nullptr;
  rec.actualLength = pSample->GetActualDataLength();
  rec.size = pSample->GetSize();
  if (recordBytes && SUCCEEDED(pSample->GetPointer(&p)) && p != nullptr && rec.actualLength > 0) {
    rec.bytes.assign(p, p + rec.actualLength);
  }
  rec.timeResult = pSample->GetTime(&rec.start, &rec.stop);
  rec.discontinuity = pSample->IsDiscontinuity() == S_OK;
  rec.syncPoint = pSample->IsSyncPoint() == S_OK;
  HRESULT hr = S_OK;
  {
    CAutoLock lock(&m_DataLock);
    if (receiveResult != S_OK && m_cReceived >= failAfter) {
      hr = receiveResult;
    } else {
      ++m_cReceived;
      if (recordSamples) m_samples.push_back(rec);
      if (holdSamples) {
        pSample->AddRef();
        m_held.push_back(pSample);
      }
    }
  }
  SetEvent(m_hReceived);
  return hr;
}

void CTestSinkFilter::OnEndOfStream() {
  {
    CAutoLock lock(&m_DataLock);
    ++m_cEndOfStream;
  }
  SetEvent(m_hReceived);
}

void CTestSinkFilter::OnNotifyAllocator(IMemAllocator* pAllocator) {
  CAutoLock lock(&m_DataLock);
  if (pAllocator != nullptr) pAllocator->AddRef();
  if (m_pNotified != nullptr) m_pNotified->Release();
  m_pNotified = pAllocator;
  m_notifiedProps = {};
  if (pAllocator != nullptr) pAllocator->GetProperties(&m_notifiedProps);
}

HRESULT CTestSinkFilter::GiveAllocator(IMemAllocator** ppAllocator) {
  if (ppAllocator == nullptr) return E_POINTER;
  *ppAllocator = nullptr;
  if (!offerAllocator) return VFW_E_NO_ALLOCATOR;
  if (m_pOwnAllocator == nullptr) {
    HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                  reinterpret_cast<void**>(&m_pOwnAllocator));
    if (FAILED(hr)) return hr;
  }
  m_pOwnAllocator->AddRef();
  *ppAllocator = m_pOwnAllocator;
  return S_OK;
}

HRESULT CTestSinkFilter::GiveRequirements(ALLOCATOR_PROPERTIES* pProps) {
  if (requiredAlign <= 0) return E_NOTIMPL;
  *pProps = {};
  pProps->cbAlign = requiredAlign;
  return S_OK;
}

void CTestSinkFilter::DropAllocators() {
  CAutoLock lock(&m_DataLock);
  if (m_pNotified != nullptr) {
    m_pNotified->Release();
    m_pNotified = nullptr;
  }
  if (m_pOwnAllocator != nullptr) {
    m_pOwnAllocator->Release();
    m_pOwnAllocator = nullptr;
  }
}

void CTestSinkFilter::ReleaseHeldSamples() {
  std::vector<IMediaSample*> held;
  {
    CAutoLock lock(&m_DataLock);
    held.swap(m_held);
  }
  for (IMediaSample* p : held) p->Release();
}

std::vector<ReceivedSample> CTestSinkFilter::Samples() {
  CAutoLock lock(&m_DataLock);
  return m_samples;
}

int CTestSinkFilter::SampleCount() {
  CAutoLock lock(&m_DataLock);
  return m_cReceived;
}

int CTestSinkFilter::EndOfStreamCount() {
  CAutoLock lock(&m_DataLock);
  return m_cEndOfStream;
}

bool CTestSinkFilter::WaitForSamples(int count, DWORD timeoutMs) {
  DWORD start = GetTickCount();
  while (SampleCount() < count) {
    DWORD elapsed = GetTickCount() - start;
    if (elapsed >= timeoutMs) return false;
    WaitForSingleObject(m_hReceived, timeoutMs - elapsed);
  }
  return true;
}

bool CTestSinkFilter::WaitForEndOfStream(DWORD timeoutMs) {
  DWORD start = GetTickCount();
  while (EndOfStreamCount() == 0) {
    DWORD elapsed = GetTickCount() - start;
    if (elapsed >= timeoutMs) return false;
    WaitForSingleObject(m_hReceived, timeoutMs - elapsed);
  }
  return true;
}

ALLOCATOR_PROPERTIES CTestSinkFilter::NotifiedProperties() {
  CAutoLock lock(&m_DataLock);
  return m_notifiedProps;
}

}  // namespace tavtest
