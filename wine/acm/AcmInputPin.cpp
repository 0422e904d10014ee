#include "wine/acm/AcmInputPin.h"

#include "wine/acm/AcmCompressorFilter.h"
#include "wine/acm/WaveMediaType.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <cstring>

CAcmInputPin::CAcmInputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr)
    : CBasePin(L"ACM compressor input", filter, lock, hr, L"Input", PINDIR_INPUT), m_acmFilter(filter)
{
}

CAcmInputPin::~CAcmInputPin()
{
    if (m_allocator != nullptr)
        m_allocator->Release();
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_IMemInputPin)
        return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::QueryId(LPWSTR* id)
{
    if (id == nullptr)
        return E_POINTER;
    *id = static_cast<LPWSTR>(CoTaskMemAlloc(sizeof(L"In")));
    if (*id == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(*id, L"In", sizeof(L"In"));
    return S_OK;
}

HRESULT CAcmInputPin::CheckMediaType(const CMediaType* type)
{
    return m_acmFilter->CheckInputFormat(tavacm::WaveFormatOf(*type));
}

HRESULT CAcmInputPin::CompleteConnect(IPin* receivePin)
{
    HRESULT hr = CBasePin::CompleteConnect(receivePin);
    if (SUCCEEDED(hr))
        m_acmFilter->InputConnected(tavacm::WaveFormatOf(m_mt));
    return hr;
}

HRESULT CAcmInputPin::BreakConnect()
{
    m_acmFilter->InputDisconnected();
    if (m_allocator != nullptr) {
        m_allocator->Release();
        m_allocator = nullptr;
    }
    return CBasePin::BreakConnect();
}

HRESULT CAcmInputPin::Active()
{
    m_flushing = false;
    m_active = true;
    return S_OK;
}

HRESULT CAcmInputPin::Inactive()
{
    m_active = false;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::EndOfStream()
{
    return m_acmFilter->EndOfStream();
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::BeginFlush()
{
    m_flushing = true;
    return m_acmFilter->BeginFlush();
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::EndFlush()
{
    const HRESULT hr = m_acmFilter->EndFlush();
    m_flushing = false;
    return hr;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    CBasePin::NewSegment(start, stop, rate);
    return m_acmFilter->NewSegment(start, stop, rate);
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::GetAllocator(IMemAllocator** allocator)
{
    if (allocator == nullptr)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    if (m_allocator == nullptr) {
        const HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                            reinterpret_cast<void**>(&m_allocator));
        if (FAILED(hr)) {
            *allocator = nullptr;
            return hr;
        }
    }
    m_allocator->AddRef();
    *allocator = m_allocator;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL /*readOnly*/)
{
    if (allocator == nullptr)
        return E_POINTER;
    CAutoLock lock(m_pLock);
    allocator->AddRef();
    if (m_allocator != nullptr)
        m_allocator->Release();
    m_allocator = allocator;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* /*properties*/)
{
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::Receive(IMediaSample* sample)
{
    if (sample == nullptr)
        return E_POINTER;
    if (!m_active)
        return VFW_E_WRONG_STATE;
    if (m_flushing)
        return S_FALSE;
    return m_acmFilter->Receive(sample);
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::ReceiveMultiple(IMediaSample** samples, long count, long* processed)
{
    if (samples == nullptr || processed == nullptr)
        return E_POINTER;
    HRESULT hr = S_OK;
    *processed = 0;
    while (*processed < count) {
        hr = Receive(samples[*processed]);
        if (hr != S_OK)
            break;
        ++*processed;
    }
    return hr;
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::ReceiveCanBlock()
{
    // Delivery downstream may wait for a free buffer.
    return S_OK;
}
