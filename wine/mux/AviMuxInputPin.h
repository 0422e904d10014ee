// CAviMuxInputPin: one "Input NN" pin of the AVI Mux. Takes video with
// FORMAT_VideoInfo and audio with FORMAT_WaveFormatEx (QueryAccept looks at
// the major and format types only) and hands every sample to its filter,
// which writes it into the file.
//
// Threads: as CPackInputPin. The stream fields (stream number, next frame
// slot, frame duration) are set by the filter's Pause under the filter lock
// while no sample flows, and used by the filter's write path under its write
// lock.
#pragma once

#include "common/PackInputPin.h"

class CAviMux;

class CAviMuxInputPin : public CPackInputPin {
public:
    CAviMuxInputPin(CAviMux* pFilter, CCritSec* pLock, HRESULT* phr, const wchar_t* pName);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;  // S_OK: writes go to disk

    bool IsVideo() const;

    // Set when the pin connects: streams are numbered in this order.
    LONG m_nConnectionOrder = 0;
    // Set by the filter when writing starts.
    int m_nStream = -1;
    LONGLONG m_nNextSlot = 0;
    REFERENCE_TIME m_rtFrameDuration = 0;
    bool m_bDurationKnown = false;
    bool m_bTemporalCompression = false;

protected:
    HRESULT OnReceive(IMediaSample* pSample) override;
    HRESULT OnEndOfStream() override;

private:
    CAviMux* m_pMux;  // weak: the filter owns the pin
};
