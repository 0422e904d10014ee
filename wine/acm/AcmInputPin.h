// CAcmInputPin: the compressor's input pin "Input" (id "In"). It takes
// 16-bit PCM (and, for the PCM entry, 8/24/32-bit PCM, plain or extensible)
// that the filter's codec can encode, and hands every sample to the filter.
//
// Threads: connection calls come from the graph under the filter lock;
// Receive, EndOfStream, NewSegment and the flush calls come from the upstream
// streaming thread and are passed on to the filter, which serialises them
// with its stream lock.
#pragma once

#include "framework/BasePin.h"

class CAcmCompressorFilter;

class CAcmInputPin : public CBasePin, public IMemInputPin {
public:
    CAcmInputPin(CAcmCompressorFilter* filter, CCritSec* lock, HRESULT* hr);
    ~CAcmInputPin() override;

    DECLARE_IUNKNOWN
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // CBasePin
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT BreakConnect() override;
    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;
    HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    // IMemInputPin
    HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) override;
    HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, long count, long* processed) override;
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

    // True between Pause and Stop, outside a flush (streaming thread).
    bool AcceptsSamples() const { return m_active && !m_flushing; }

private:
    CAcmCompressorFilter* m_acmFilter;  // weak: the filter owns the pin
    IMemAllocator* m_allocator = nullptr;  // counted, from NotifyAllocator
    volatile bool m_active = false;
    volatile bool m_flushing = false;
};
