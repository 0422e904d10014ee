// CAcmCompressorFilter: an audio compressor that wraps one ACM format tag
// (CLSID_TavAcmCompressor). The system device enumerator creates it for an
// entry of the audio compressor category and hands it the entry's property
// bag (IPersistPropertyBag::Load), whose "AcmId" names the format tag; made
// directly it converts to PCM.
//
// Pins: "Input" (integer PCM from which the codec can be reached) and
// "Output" (the codec's format, chosen through the output pin's
// IAMStreamConfig; by default the best quality the input can give). Wine's
// codecs take only 16-bit PCM at their own rates, so samples go through a
// chain of ACM streams: Wine's PCM converter changes bit depth, rate and
// channels, then the codec encodes. Output samples carry the input's times;
// end of stream flushes the converter and the codec.
//
// Threads: those of CCompressorFilter (common/CompressorFilter.h); format
// choices run under the filter lock too.
#pragma once

#include "wine/common/CompressorFilter.h"
#include "wine/acm/AcmChain.h"
#include "wine/acm/AcmFormats.h"

#include <ocidl.h>

#include <vector>

// Creates the filter for the pack's class factory.
HRESULT CreateAcmCompressor(IUnknown* outer, REFIID riid, void** object);

class CAcmCompressorFilter : public CCompressorFilter, public IPersistPropertyBag {
 public:
  explicit CAcmCompressorFilter(IUnknown* outer);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // IPersist / IPersistPropertyBag
  HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
  HRESULT STDMETHODCALLTYPE InitNew() override;
  HRESULT STDMETHODCALLTYPE Load(IPropertyBag* bag, IErrorLog* log) override;
  HRESULT STDMETHODCALLTYPE Save(IPropertyBag* bag, BOOL clearDirty, BOOL saveAll) override;

  WORD FormatTag() const { return m_formatTag; }

  // --- Formats (filter lock held by the caller) ---
  // S_OK when the input pin may take this format; otherwise the reason.
  HRESULT CheckInputType(const CMediaType& type) override;
  // The input was connected / disconnected: the offered formats follow it.
  HRESULT OnInputConnected(const CMediaType& type) override;
  void OnInputDisconnected() override;
  bool HasInput() const override { return !m_input.empty(); }
  // The codec was opened for the connected format: only the format counts.
  bool InputTypeChanges(const CMediaType& next, const CMediaType& connected) const override;
  // Formats offered, best quality first: those reachable from the
  // connected input, or, before the input is connected, every format of
  // the codec's tag that some PCM input reaches (so a host can let the
  // user pick one first).
  const std::vector<tavacm::WaveFormatBytes>& Capabilities();
  // S_OK when the chain can produce this format from the current input.
  HRESULT CanProduce(const tavacm::WaveFormatBytes& output);
  // S_OK when the output may carry this format now: the codec can produce
  // it and it is the chosen format, if one was chosen.
  HRESULT CheckOutputFormat(const tavacm::WaveFormatBytes& output);
  // The output format: the one chosen by SetFormat, else the first (best)
  // capability; empty when there is none.
  tavacm::WaveFormatBytes OutputFormat();
  // Chooses the output format (IAMStreamConfig::SetFormat); an empty
  // format goes back to the default.
  void ChooseOutputFormat(const tavacm::WaveFormatBytes& output) { m_chosen = output; }
  bool HasChosenFormat() const { return !m_chosen.empty(); }

  // --- Streaming (CCompressorFilter's hooks) ---
  // Opens the chain from the connected input to the output's format.
  HRESULT StartStreaming() override;
  void StopStreaming() override { m_chain.Close(); }
  HRESULT Receive(IMediaSample* sample) override;
  // Every step's held input is converted and ended, the codec's last block
  // completed with silence.
  void OnEndOfStream() override;
  void OnFlushed() override;

 private:
  // Delivers converted bytes in samples of the output allocator's size,
  // stamped with the times of the input they came from, which lasted
  // `duration` from m_nextStart on.
  HRESULT DeliverConverted(const std::vector<BYTE>& output, REFERENCE_TIME duration);
  REFERENCE_TIME InputDuration(size_t bytes) const;

  WORD m_formatTag = WAVE_FORMAT_PCM;
  tavacm::WaveFormatBytes m_input;                      // connected input (ACM's view: plain PCM)
  std::vector<tavacm::WaveFormatBytes> m_capabilities;  // for the connected input
  std::vector<tavacm::WaveFormatBytes> m_tagFormats;    // all of the tag's, made when first asked
  tavacm::WaveFormatBytes m_chosen;                     // from SetFormat, may be empty

  // Stream state (the input pin's receive lock).
  tavacm::CAcmChain m_chain;
  REFERENCE_TIME m_nextStart = 0;  // time of the first input byte not yet delivered
  bool m_haveTime = false;
  bool m_discontinuity = true;
};
