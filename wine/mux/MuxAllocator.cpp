#include "mux/MuxAllocator.h"

#include <uuids.h>

#include <algorithm>
#include <new>

#include "server/PackClasses.h"

HRESULT MuxAllocator::Create(IMemAllocator** ppAllocator) {
    if (ppAllocator == nullptr) return E_POINTER;
    *ppAllocator = nullptr;
    IMemAllocator* pInner = nullptr;
    HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                  reinterpret_cast<void**>(&pInner));
    if (FAILED(hr)) return hr;
    auto* pAllocator = new (std::nothrow) MuxAllocator(pInner);
    pInner->Release();
    if (pAllocator == nullptr) return E_OUTOFMEMORY;
    *ppAllocator = pAllocator;
    return S_OK;
}

long MuxAllocator::GrantedBuffers(long count, long size) {
    long fitting = size > 0 ? static_cast<long>(std::min<long long>(kMaxBuffers, kBufferBudget / size)) : kMaxBuffers;
    return std::max({count, kMinBuffers, fitting});
}

MuxAllocator::MuxAllocator(IMemAllocator* pInner) : m_pInner(pInner) {
    m_pInner->AddRef();
    tavpack::PackObjectCreated();
}

MuxAllocator::~MuxAllocator() {
    m_pInner->Release();
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

HRESULT STDMETHODCALLTYPE MuxAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                                      ALLOCATOR_PROPERTIES* pActual) {
    if (pRequest == nullptr || pActual == nullptr) return E_POINTER;
    ALLOCATOR_PROPERTIES request = *pRequest;
    request.cBuffers = GrantedBuffers(request.cBuffers, request.cbBuffer);
    return m_pInner->SetProperties(&request, pActual);
}

HRESULT STDMETHODCALLTYPE MuxAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps) {
    return m_pInner->GetProperties(pProps);
}

HRESULT STDMETHODCALLTYPE MuxAllocator::Commit() { return m_pInner->Commit(); }

HRESULT STDMETHODCALLTYPE MuxAllocator::Decommit() { return m_pInner->Decommit(); }

HRESULT STDMETHODCALLTYPE MuxAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime,
                                                  REFERENCE_TIME* pEndTime, DWORD dwFlags) {
    return m_pInner->GetBuffer(ppBuffer, pStartTime, pEndTime, dwFlags);
}

HRESULT STDMETHODCALLTYPE MuxAllocator::ReleaseBuffer(IMediaSample* pBuffer) {
    return m_pInner->ReleaseBuffer(pBuffer);
}
