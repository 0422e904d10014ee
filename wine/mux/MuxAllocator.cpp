#include "mux/MuxAllocator.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <new>

#include "server/PackClasses.h"

HRESULT MuxAllocator::Create(IMemAllocator** ppAllocator) {
  if (ppAllocator == nullptr) return E_POINTER;
  *ppAllocator = new (std::nothrow) MuxAllocator();
  return *ppAllocator != nullptr ? S_OK : E_OUTOFMEMORY;
}

long MuxAllocator::GrantedBuffers(long count, long size) {
  long fitting = size > 0 ? static_cast<long>(std::min<long long>(kMaxBuffers, kBufferBudget / size)) : kMaxBuffers;
  return std::max({count, kMinBuffers, fitting});
}

MuxAllocator::MuxAllocator() {
  InitializeCriticalSection(&m_cs);
  InitializeConditionVariable(&m_changed);
  tavpack::PackObjectCreated();
}

MuxAllocator::~MuxAllocator() {
  FreeMemory();  // every sample out holds a reference: none is out now
  DeleteCriticalSection(&m_cs);
  tavpack::PackObjectDestroyed();
}

HRESULT STDMETHODCALLTYPE MuxAllocator::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IMemAllocator) {
    *ppv = static_cast<IMemAllocator*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE MuxAllocator::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

ULONG STDMETHODCALLTYPE MuxAllocator::Release() {
  LONG count = InterlockedDecrement(&m_cRef);
  if (count == 0) delete this;
  return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE MuxAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) {
  if (pRequest == nullptr || pActual == nullptr) return E_POINTER;
  EnterCriticalSection(&m_cs);
  HRESULT hr = S_OK;
  if (m_bCommitted) {
    hr = VFW_E_ALREADY_COMMITTED;
  } else if (m_nOut > 0) {
    hr = VFW_E_BUFFERS_OUTSTANDING;
  } else {
    FreeMemory();  // sizes change: the next Commit allocates anew
    m_props = *pRequest;
    m_props.cBuffers = GrantedBuffers(pRequest->cBuffers, pRequest->cbBuffer);
    *pActual = m_props;
  }
  LeaveCriticalSection(&m_cs);
  return hr;
}

HRESULT STDMETHODCALLTYPE MuxAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps) {
  if (pProps == nullptr) return E_POINTER;
  EnterCriticalSection(&m_cs);
  *pProps = m_props;
  LeaveCriticalSection(&m_cs);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxAllocator::Commit() {
  EnterCriticalSection(&m_cs);
  HRESULT hr = S_OK;
  if (m_props.cbAlign <= 0) hr = VFW_E_BADALIGN;
  else if (m_props.cbBuffer <= 0) hr = VFW_E_SIZENOTSET;
  else if (m_props.cBuffers <= 0) hr = VFW_E_BUFFER_NOTSET;
  else if (m_pMemory == nullptr) hr = Allocate();  // else the samples of before are still there
  if (SUCCEEDED(hr)) m_bCommitted = true;
  LeaveCriticalSection(&m_cs);
  return hr;
}

HRESULT MuxAllocator::Allocate() {
  const long long stride = (static_cast<long long>(m_props.cbPrefix) + m_props.cbBuffer + m_props.cbAlign - 1) /
                           m_props.cbAlign * m_props.cbAlign;
  const long long total = stride * m_props.cBuffers;
  m_pMemory =
      static_cast<BYTE*>(VirtualAlloc(nullptr, static_cast<SIZE_T>(total), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
  if (m_pMemory == nullptr) return E_OUTOFMEMORY;
  try {
    // Room for every sample, so that Recycle never grows the free list.
    m_samples.reserve(m_props.cBuffers);
    m_free.reserve(m_props.cBuffers);
  } catch (const std::bad_alloc&) {
    FreeMemory();
    return E_OUTOFMEMORY;
  }
  for (long i = 0; i < m_props.cBuffers; ++i) {
    BYTE* buffer = m_pMemory + i * stride + m_props.cbPrefix;
    std::unique_ptr<MuxSample> sample(new (std::nothrow) MuxSample(this, buffer, m_props.cbBuffer));
    if (!sample) {
      FreeMemory();
      return E_OUTOFMEMORY;
    }
    m_free.push_back(sample.get());  // reserved below: never throws
    m_samples.push_back(std::move(sample));
  }
  return S_OK;
}

void MuxAllocator::FreeMemory() {
  m_free.clear();
  m_samples.clear();
  if (m_pMemory != nullptr) VirtualFree(m_pMemory, 0, MEM_RELEASE);
  m_pMemory = nullptr;
}

HRESULT STDMETHODCALLTYPE MuxAllocator::Decommit() {
  EnterCriticalSection(&m_cs);
  m_bCommitted = false;
  if (m_nOut == 0) FreeMemory();  // else the last sample back frees it
  LeaveCriticalSection(&m_cs);
  WakeAllConditionVariable(&m_changed);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE MuxAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*,
                                                  DWORD dwFlags) {
  if (ppBuffer == nullptr) return E_POINTER;
  *ppBuffer = nullptr;
  EnterCriticalSection(&m_cs);
  HRESULT hr = S_OK;
  for (;;) {
    if (!m_bCommitted) {
      hr = VFW_E_NOT_COMMITTED;
      break;
    }
    if (!m_free.empty()) {
      MuxSample* sample = m_free.back();
      m_free.pop_back();
      ++m_nOut;
      AddRef();  // for the sample while it is out
      sample->HandOut();
      *ppBuffer = sample;
      break;
    }
    if (dwFlags & AM_GBF_NOWAIT) {
      hr = VFW_E_TIMEOUT;
      break;
    }
    SleepConditionVariableCS(&m_changed, &m_cs, INFINITE);
  }
  LeaveCriticalSection(&m_cs);
  return hr;
}

HRESULT STDMETHODCALLTYPE MuxAllocator::ReleaseBuffer(IMediaSample*) { return S_OK; }

void MuxAllocator::Recycle(MuxSample* pSample) {
  EnterCriticalSection(&m_cs);
  --m_nOut;
  if (m_bCommitted || m_nOut > 0) m_free.push_back(pSample);
  else FreeMemory();  // decommitted and the last one is back
  LeaveCriticalSection(&m_cs);
  WakeAllConditionVariable(&m_changed);
  Release();  // the sample's reference, taken in GetBuffer
}
