// MuxAllocator: the allocator the AVI Mux's input pins hand upstream. It is
// the platform's memory allocator (CLSID_MemoryAllocator) with one change:
// SetProperties grants more buffers than asked, so that a source that asks
// for one buffer can fill the next frame while the mux's writer thread still
// holds the previous ones (see MuxWriteQueue). The grant is at least
// kMinBuffers and otherwise as many as fit in kBufferBudget bytes, at most
// kMaxBuffers (one being filled, one waiting in Receive, two in the mux's
// queue), and never fewer than asked; the buffer size, alignment and prefix
// are left as asked.
//
// Samples come from (and return to) the inner allocator; every other method
// is passed through. Any thread, as the inner allocator.
#pragma once

#include <windows.h>
#include <strmif.h>

class MuxAllocator final : public IMemAllocator {
public:
    static constexpr long kMinBuffers = 3;
    static constexpr long kMaxBuffers = 4;
    static constexpr long long kBufferBudget = 32ll * 1024 * 1024;

    // A new allocator with one reference, or the failure of creating the inner one.
    static HRESULT Create(IMemAllocator** ppAllocator);

    // How many buffers are granted when count buffers of size bytes are asked for.
    static long GrantedBuffers(long count, long size);

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IMemAllocator
    HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
    HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
    HRESULT STDMETHODCALLTYPE Commit() override;
    HRESULT STDMETHODCALLTYPE Decommit() override;
    HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime,
                                        REFERENCE_TIME* pEndTime, DWORD dwFlags) override;
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample* pBuffer) override;

private:
    explicit MuxAllocator(IMemAllocator* pInner);
    ~MuxAllocator();

    LONG m_cRef = 1;
    IMemAllocator* m_pInner;  // counted reference
};
