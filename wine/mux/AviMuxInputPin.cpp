#include "mux/AviMuxInputPin.h"

#include <mmreg.h>
#include <uuids.h>

#include "mux/AviMux.h"

CAviMuxInputPin::CAviMuxInputPin(CAviMux* pFilter, CCritSec* pLock, HRESULT* phr, const wchar_t* pName)
    : CPackInputPin(L"AVI Mux input pin", pFilter, pLock, phr, pName), m_pMux(pFilter) {}

HRESULT CAviMuxInputPin::CheckMediaType(const CMediaType* pmt) {
    if (pmt == nullptr) return E_POINTER;
    if (pmt->majortype == MEDIATYPE_Video && pmt->formattype == FORMAT_VideoInfo) {
        if (pmt->pbFormat != nullptr && pmt->cbFormat < sizeof(VIDEOINFOHEADER)) return VFW_E_INVALIDMEDIATYPE;
        return S_OK;
    }
    if (pmt->majortype == MEDIATYPE_Audio && pmt->formattype == FORMAT_WaveFormatEx) {
        if (pmt->pbFormat != nullptr && pmt->cbFormat < sizeof(PCMWAVEFORMAT)) return VFW_E_INVALIDMEDIATYPE;
        return S_OK;
    }
    return S_FALSE;
}

HRESULT CAviMuxInputPin::CompleteConnect(IPin* pReceivePin) {
    // A connection needs a format block to write the stream header from.
    if (m_mt.pbFormat == nullptr) return VFW_E_INVALIDMEDIATYPE;
    HRESULT hr = CPackInputPin::CompleteConnect(pReceivePin);
    if (FAILED(hr)) return hr;
    m_pMux->OnInputConnected(this);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CAviMuxInputPin::ReceiveCanBlock() { return S_OK; }

bool CAviMuxInputPin::IsVideo() const { return m_mt.majortype == MEDIATYPE_Video; }

HRESULT CAviMuxInputPin::OnReceive(IMediaSample* pSample) { return m_pMux->WriteSample(this, pSample); }

HRESULT CAviMuxInputPin::OnEndOfStream() { return m_pMux->InputEndOfStream(); }
