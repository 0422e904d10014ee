// CAcmInputPin: the compressor's input pin "Input" (id "In"). It takes
// integer PCM (8/16/24/32-bit, plain or extensible) from which the filter's
// chain reaches at least one of the codec's formats, and hands every sample
// to the filter.
//
// Threads: connection calls come from the graph under the filter lock;
// Receive, EndOfStream and the flush calls come from the upstream streaming
// thread and reach the filter under the pin's receive lock (CPackInputPin),
// which Stop waits for.
#pragma once

#include "wine/common/PackInputPin.h"

class CAcmCompressorFilter;

class CAcmInputPin : public CPackInputPin {
public:
    CAcmInputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr);

    // CBasePin
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    // A sample that brings another format while streaming is refused
    // (VFW_E_TYPE_NOT_ACCEPTED): the codec was opened for the connected one.
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT BreakConnect() override;
    HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    // IMemInputPin: delivery downstream may wait for a free buffer.
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override { return S_OK; }

protected:
    HRESULT OnReceive(IMediaSample* sample) override;
    HRESULT OnEndOfStream() override;
    HRESULT OnBeginFlush() override;
    HRESULT OnEndFlush() override;

private:
    CAcmCompressorFilter* m_acmFilter;  // weak: the filter owns the pin
};
