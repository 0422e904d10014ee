#include "wine/mjpeg/MjpegInputPin.h"

#include "wine/mjpeg/MjpegCompressorFilter.h"
#include "wine/mjpeg/MjpegFormats.h"

#include <cstring>

CMjpegInputPin::CMjpegInputPin(CMjpegCompressorFilter* filter, CCritSec* lock, HRESULT* hr)
    : CPackInputPin(L"MJPEG compressor input", filter, lock, hr, L"Input"), m_mjpegFilter(filter)
{
}

HRESULT STDMETHODCALLTYPE CMjpegInputPin::QueryId(LPWSTR* id)
{
    if (id == nullptr)
        return E_POINTER;
    *id = static_cast<LPWSTR>(CoTaskMemAlloc(sizeof(L"In")));
    if (*id == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(*id, L"In", sizeof(L"In"));
    return S_OK;
}

HRESULT CMjpegInputPin::CheckMediaType(const CMediaType* type)
{
    return tavmjpeg::ParseInputType(*type, nullptr);
}

HRESULT CMjpegInputPin::CompleteConnect(IPin* receivePin)
{
    HRESULT hr = CPackInputPin::CompleteConnect(receivePin);
    if (SUCCEEDED(hr)) {
        tavmjpeg::InputFormat format;
        hr = tavmjpeg::ParseInputType(m_mt, &format);
        if (SUCCEEDED(hr))
            m_mjpegFilter->InputConnected(format);
    }
    return hr;
}

HRESULT CMjpegInputPin::SetMediaType(const CMediaType* type)
{
    if (IsConnected() && !IsStopped() && *type != m_mt)
        return VFW_E_TYPE_NOT_ACCEPTED;
    return CPackInputPin::SetMediaType(type);
}

HRESULT CMjpegInputPin::BreakConnect()
{
    m_mjpegFilter->InputDisconnected();
    return CPackInputPin::BreakConnect();
}

HRESULT STDMETHODCALLTYPE CMjpegInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    CPackInputPin::NewSegment(start, stop, rate);
    return m_mjpegFilter->NewSegment(start, stop, rate);
}

HRESULT CMjpegInputPin::OnReceive(IMediaSample* sample)
{
    return m_mjpegFilter->Receive(sample);
}

HRESULT CMjpegInputPin::OnEndOfStream()
{
    return m_mjpegFilter->EndOfStream();
}

HRESULT CMjpegInputPin::OnBeginFlush()
{
    return m_mjpegFilter->BeginFlush();
}

HRESULT CMjpegInputPin::OnEndFlush()
{
    return m_mjpegFilter->EndFlush();
}
