// Encodes frames of one geometry and pixel format as baseline JPEG
// (SOI, DQT, SOF0, DHT, DRI, SOS, entropy-coded data, EOI): 4:2:0 for RGB,
// 4:2:2 for YUY2, a single grey component for 8-bit grey.
//
// The frame is cut into horizontal bands of whole MCU rows. Every band is
// one restart interval, so the bands are encoded independently on the
// worker pool and joined with RSTn markers in between.
//
// Memory: the band buffers and the per-worker sample strips grow to the
// largest frame seen and are reused; nothing grows with the number of
// frames.
//
// Threads: one thread at a time calls Configure and Encode (the filter's
// streaming thread); Encode spreads the bands over the pool.
#pragma once

#include "wine/mjpeg/BandWorkers.h"
#include "wine/mjpeg/ForwardDct.h"
#include "wine/mjpeg/FrameSamples.h"
#include "wine/mjpeg/JpegTables.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tavmjpeg {

// Largest width and height a baseline frame header can carry.
constexpr int kMaxJpegSide = 65535;

class JpegFrameEncoder {
 public:
  explicit JpegFrameEncoder(int threads);

  // Sets geometry and format for the following frames (frame.data is not
  // read here). False when the size cannot be encoded.
  bool Configure(const InputFrame& frame);

  // Encodes frame data laid out as configured, at quality 1-100, into
  // `out`. Returns the JPEG's size, or 0 when it needs more than
  // `capacity` bytes.
  size_t Encode(const uint8_t* data, int quality, uint8_t* out, size_t capacity);

  int Threads() const { return m_workers.Count(); }
  int Bands() const { return m_bandCount; }

 private:
  struct WorkerScratch {
    std::vector<float> luma, cb, cr, rows;
  };

  void PrepareTables(int quality);
  void EncodeBand(int band, int worker);

  BandWorkers m_workers;
  InputFrame m_frame;
  int m_mcuColumns = 0;
  int m_mcuRows = 0;
  int m_rowsPerBand = 1;
  int m_bandCount = 0;
  int m_paddedWidth = 0;

  int m_quality = -1;
  std::vector<uint8_t> m_header;
  Quantiser m_lumaQuant{};
  Quantiser m_chromaQuant{};
  HuffmanCodes m_lumaDc, m_lumaAc, m_chromaDc, m_chromaAc;

  std::vector<std::vector<uint8_t>> m_bandBytes;
  std::vector<WorkerScratch> m_scratch;
};

}  // namespace tavmjpeg
