#include "wine/acm/AcmInputPin.h"

#include "wine/acm/AcmCompressorFilter.h"
#include "wine/acm/WaveMediaType.h"

#include <vfwmsgs.h>

#include <cstring>

CAcmInputPin::CAcmInputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr)
    : CPackInputPin(L"ACM compressor input", filter, lock, hr, L"Input"), m_acmFilter(filter)
{
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
    HRESULT hr = CPackInputPin::CompleteConnect(receivePin);
    if (SUCCEEDED(hr))
        m_acmFilter->InputConnected(tavacm::WaveFormatOf(m_mt));
    return hr;
}

HRESULT CAcmInputPin::SetMediaType(const CMediaType* type)
{
    if (IsConnected() && !IsStopped() && tavacm::WaveFormatOf(*type) != tavacm::WaveFormatOf(m_mt))
        return VFW_E_TYPE_NOT_ACCEPTED;
    return CPackInputPin::SetMediaType(type);
}

HRESULT CAcmInputPin::BreakConnect()
{
    m_acmFilter->InputDisconnected();
    return CPackInputPin::BreakConnect();
}

HRESULT STDMETHODCALLTYPE CAcmInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    CPackInputPin::NewSegment(start, stop, rate);
    return m_acmFilter->NewSegment(start, stop, rate);
}

HRESULT CAcmInputPin::OnReceive(IMediaSample* sample)
{
    return m_acmFilter->Receive(sample);
}

HRESULT CAcmInputPin::OnEndOfStream()
{
    return m_acmFilter->EndOfStream();
}

HRESULT CAcmInputPin::OnBeginFlush()
{
    return m_acmFilter->BeginFlush();
}

HRESULT CAcmInputPin::OnEndFlush()
{
    return m_acmFilter->EndFlush();
}
