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
// Threads: those of CCompressorFilter (common/CompressorFilter.h). The
// encoder's band threads live as long as the filter.
#pragma once

#include "wine/common/CompressorFilter.h"
#include "wine/mjpeg/JpegFrameEncoder.h"
#include "wine/mjpeg/MjpegFormats.h"

#include <ocidl.h>

#include <atomic>
#include <memory>

// Creates the filter for the pack's class factory.
HRESULT CreateMjpegCompressor(IUnknown* outer, REFIID riid, void** object);

class CMjpegCompressorFilter : public CCompressorFilter, public ISpecifyPropertyPages {
 public:
  explicit CMjpegCompressorFilter(IUnknown* outer);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // ISpecifyPropertyPages
  HRESULT STDMETHODCALLTYPE GetPages(CAUUID* pages) override;

  // Quality 1-100, any thread.
  int Quality() const { return m_quality.load(); }
  void SetQuality(int quality) { m_quality.store(quality); }

  // --- Formats (filter lock held by the caller) ---
  // The uncompressed types of MjpegFormats.h.
  HRESULT CheckInputType(const CMediaType& type) override;
  HRESULT OnInputConnected(const CMediaType& type) override;
  void OnInputDisconnected() override { m_hasInput = false; }
  bool HasInput() const override { return m_hasInput; }
  const tavmjpeg::InputFormat& Input() const { return m_input; }

  // --- Streaming (CCompressorFilter's hooks) ---
  // Makes the encoder (first time) and sets it up for the input's frames.
  HRESULT StartStreaming() override;
  HRESULT Receive(IMediaSample* sample) override;

 private:
  std::atomic<int> m_quality{85};
  tavmjpeg::InputFormat m_input;
  bool m_hasInput = false;

  // Streaming state (receive lock): made on the first Pause.
  std::unique_ptr<tavmjpeg::JpegFrameEncoder> m_encoder;
};
