// CMjpegCompressorFilter: the pack's MJPEG video compressor
// (CLSID_TavMjpegCompressor, listed as "Tav MJPEG" in the video compressor
// category). Every input frame becomes one baseline JPEG frame, a key frame,
// stamped with the input's times.
//
// Pins: "Input" (id "In"; the uncompressed types of MjpegFormats.h) and
// "Output" (id "Out"; MJPG, offered once the input is connected; answers
// IAMVideoCompression). The filter answers ISpecifyPropertyPages with the
// quality page (CLSID_TavMjpegPropertyPage).
//
// Quality 1-100 (default 85) may change at any time; it applies from the
// next frame on.
//
// Threads: state changes and connections run under the filter lock; Receive,
// EndOfStream and the flush calls run on the upstream streaming thread under
// the input pin's receive lock and never take the filter lock. Stop first
// releases a Receive waiting for an output buffer, then waits for it. The
// encoder's band threads live as long as the filter.
#pragma once

#include "framework/BaseFilter.h"
#include "wine/mjpeg/JpegFrameEncoder.h"
#include "wine/mjpeg/MjpegFormats.h"

#include <ocidl.h>

#include <atomic>
#include <memory>

class CMjpegInputPin;
class CMjpegOutputPin;

// Creates the filter for the pack's class factory.
HRESULT CreateMjpegCompressor(IUnknown* outer, REFIID riid, void** object);

class CMjpegCompressorFilter : public CBaseFilter, public ISpecifyPropertyPages {
public:
    explicit CMjpegCompressorFilter(IUnknown* outer);
    ~CMjpegCompressorFilter() override;

    DECLARE_IUNKNOWN
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // CBaseFilter
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;
    HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Stop() override;

    // ISpecifyPropertyPages
    HRESULT STDMETHODCALLTYPE GetPages(CAUUID* pages) override;

    // Quality 1-100, any thread.
    int Quality() const { return m_quality.load(); }
    void SetQuality(int quality) { m_quality.store(quality); }

    // --- Formats (filter lock held by the caller) ---
    void InputConnected(const tavmjpeg::InputFormat& format);
    void InputDisconnected() { m_hasInput = false; }
    bool HasInput() const { return m_hasInput; }
    const tavmjpeg::InputFormat& Input() const { return m_input; }

    // --- Streaming (input pin's streaming thread, receive lock held;
    // BeginFlush without it) ---
    HRESULT Receive(IMediaSample* sample);
    HRESULT EndOfStream();
    HRESULT BeginFlush();
    HRESULT EndFlush();
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

private:
    CCritSec m_filterLock;
    std::unique_ptr<CMjpegInputPin> m_inputPin;
    std::unique_ptr<CMjpegOutputPin> m_outputPin;

    std::atomic<int> m_quality{85};
    tavmjpeg::InputFormat m_input;
    bool m_hasInput = false;

    // Streaming state (receive lock): made on the first Pause.
    std::unique_ptr<tavmjpeg::JpegFrameEncoder> m_encoder;
};
