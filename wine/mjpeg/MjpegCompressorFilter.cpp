#include "wine/mjpeg/MjpegCompressorFilter.h"

#include "wine/mjpeg/MjpegClsid.h"
#include "wine/mjpeg/MjpegInputPin.h"
#include "wine/mjpeg/MjpegOutputPin.h"
#include "wine/server/PackClasses.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>

TAV_PACK_CLASS(g_mjpegCompressorClass, CLSID_TavMjpegCompressor, CreateMjpegCompressor, L"Tav MJPEG");

namespace {

// Band threads per encoder: the machine's cores, at most four.
int EncoderThreads()
{
    const unsigned cores = std::thread::hardware_concurrency();
    return static_cast<int>(std::clamp(cores, 1u, 4u));
}

}  // namespace

HRESULT CreateMjpegCompressor(IUnknown* outer, REFIID riid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (outer != nullptr && riid != IID_IUnknown)
        return CLASS_E_NOAGGREGATION;
    auto* filter = new (std::nothrow) CMjpegCompressorFilter(outer);
    if (filter == nullptr)
        return E_OUTOFMEMORY;
    filter->NonDelegatingAddRef();
    const HRESULT hr = filter->NonDelegatingQueryInterface(riid, object);
    filter->NonDelegatingRelease();
    return hr;
}

CMjpegCompressorFilter::CMjpegCompressorFilter(IUnknown* outer)
    : CBaseFilter(L"Tav MJPEG", outer, &m_filterLock, CLSID_TavMjpegCompressor)
{
    m_quality = kMjpegDefaultQuality;
    HRESULT hr = S_OK;
    m_inputPin.reset(new CMjpegInputPin(this, &m_filterLock, &hr));
    m_outputPin.reset(new CMjpegOutputPin(this, &m_filterLock, &hr));
}

CMjpegCompressorFilter::~CMjpegCompressorFilter()
{
    m_outputPin.reset();
    m_inputPin.reset();
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (riid == IID_ISpecifyPropertyPages)
        return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

CBasePin* CMjpegCompressorFilter::GetPin(int n)
{
    if (n == 0)
        return m_inputPin.get();
    if (n == 1)
        return m_outputPin.get();
    return nullptr;
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::FindPin(LPCWSTR id, IPin** pin)
{
    if (id == nullptr || pin == nullptr)
        return E_POINTER;
    if (wcscmp(id, L"In") == 0)
        return GetInterface(static_cast<IPin*>(m_inputPin.get()), reinterpret_cast<void**>(pin));
    if (wcscmp(id, L"Out") == 0)
        return GetInterface(static_cast<IPin*>(m_outputPin.get()), reinterpret_cast<void**>(pin));
    return CBaseFilter::FindPin(id, pin);
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::GetPages(CAUUID* pages)
{
    if (pages == nullptr)
        return E_POINTER;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    if (pages->pElems == nullptr) {
        pages->cElems = 0;
        return E_OUTOFMEMORY;
    }
    pages->cElems = 1;
    pages->pElems[0] = CLSID_TavMjpegPropertyPage;
    return S_OK;
}

void CMjpegCompressorFilter::InputConnected(const tavmjpeg::InputFormat& format)
{
    m_input = format;
    m_hasInput = true;
}

// --- State ---

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::Pause()
{
    CAutoLock lock(&m_filterLock);
    if (m_State == State_Stopped && m_inputPin->IsConnected() && m_outputPin->IsConnected()) {
        CAutoLock stream(m_inputPin->ReceiveLock());
        if (!m_encoder) {
            m_encoder.reset(new (std::nothrow) tavmjpeg::JpegFrameEncoder(EncoderThreads()));
            if (!m_encoder)
                return E_OUTOFMEMORY;
        }
        tavmjpeg::InputFrame frame = m_input.frame;
        frame.greyLevels = m_input.greyLevels.data();
        if (!m_encoder->Configure(frame))
            return VFW_E_TYPE_NOT_ACCEPTED;
    }
    return CBaseFilter::Pause();
}

HRESULT STDMETHODCALLTYPE CMjpegCompressorFilter::Stop()
{
    CAutoLock lock(&m_filterLock);
    // Decommitting the output allocator first releases a Receive that waits
    // for a buffer; the input pin's Inactive then waits for it to return.
    if (m_State != State_Stopped && m_outputPin->IsConnected())
        m_outputPin->Inactive();
    return CBaseFilter::Stop();
}

// --- Streaming ---

HRESULT CMjpegCompressorFilter::Receive(IMediaSample* sample)
{
    BYTE* data = nullptr;
    HRESULT hr = sample->GetPointer(&data);
    if (FAILED(hr))
        return hr;
    const long length = sample->GetActualDataLength();
    if (data == nullptr || length < 0 || static_cast<size_t>(length) < m_input.frameBytes)
        return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);  // a sample shorter than the frame
    if (!m_encoder || !m_outputPin->IsConnected())
        return VFW_E_NOT_CONNECTED;  // the output was not connected when the graph paused

    IMediaSample* out = nullptr;
    hr = m_outputPin->GetDeliveryBuffer(&out, nullptr, nullptr, 0);
    if (FAILED(hr))
        return hr;
    BYTE* buffer = nullptr;
    hr = out->GetPointer(&buffer);
    size_t bytes = 0;
    if (SUCCEEDED(hr)) {
        // A frame that does not fit is encoded again, coarser each time.
        for (int quality = Quality(); bytes == 0 && quality >= 1; quality = quality > 10 ? quality - 10 : quality - 1)
            bytes = m_encoder->Encode(data, quality, buffer, static_cast<size_t>(out->GetSize()));
        if (bytes == 0)
            hr = VFW_E_BUFFER_OVERFLOW;
    }
    if (SUCCEEDED(hr)) {
        out->SetActualDataLength(static_cast<long>(bytes));
        REFERENCE_TIME start = 0, stop = 0;
        const HRESULT timed = sample->GetTime(&start, &stop);
        if (timed == S_OK || timed == VFW_S_NO_STOP_TIME)
            out->SetTime(&start, timed == S_OK ? &stop : nullptr);
        out->SetSyncPoint(TRUE);
        out->SetDiscontinuity(sample->IsDiscontinuity() == S_OK ? TRUE : FALSE);
        out->SetPreroll(sample->IsPreroll() == S_OK ? TRUE : FALSE);
        hr = m_outputPin->Deliver(out);
    }
    out->Release();
    return hr;
}

HRESULT CMjpegCompressorFilter::EndOfStream()
{
    return m_outputPin->DeliverEndOfStream();
}

HRESULT CMjpegCompressorFilter::BeginFlush()
{
    // Not under the stream lock: the flush must release a Receive blocked
    // downstream first.
    if (!m_outputPin->IsConnected())
        return S_OK;
    return m_outputPin->GetConnected()->BeginFlush();
}

HRESULT CMjpegCompressorFilter::EndFlush()
{
    if (!m_outputPin->IsConnected())
        return S_OK;
    return m_outputPin->GetConnected()->EndFlush();
}

HRESULT CMjpegCompressorFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    if (!m_outputPin->IsConnected())
        return S_OK;
    return m_outputPin->GetConnected()->NewSegment(start, stop, rate);
}
