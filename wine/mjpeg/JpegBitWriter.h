// Writes the entropy-coded bits of one band: codes most significant bit
// first, a zero byte stuffed after every 0xFF, the last byte padded with
// one-bits. The caller keeps enough room (Reserve) before each block.
// One band per writer; not shared between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavmjpeg {

class JpegBitWriter {
 public:
  explicit JpegBitWriter(std::vector<uint8_t>& out) : m_out(out) { m_out.clear(); }

  // Makes room for at least `bytes` more output bytes.
  void Reserve(size_t bytes) {
    if (m_out.size() < m_used + bytes) m_out.resize((m_used + bytes) * 2);
  }

  // Appends the low `length` (0-16) bits of `bits`.
  void Put(uint32_t bits, int length) {
    m_accumulator = (m_accumulator << length) | (bits & ((1u << length) - 1));
    m_count += length;
    if (m_count >= 32) Drain();
  }

  // Pads to a whole byte with one-bits and writes what is left; returns the
  // bytes written in all.
  size_t Finish() {
    const int pad = (8 - m_count % 8) % 8;
    Put((1u << pad) - 1, pad);
    Drain();
    m_out.resize(m_used);
    return m_used;
  }

 private:
  void Drain() {
    uint8_t* out = m_out.data() + m_used;
    while (m_count >= 8) {
      m_count -= 8;
      const auto byte = static_cast<uint8_t>(m_accumulator >> m_count);
      *out++ = byte;
      if (byte == 0xFF) *out++ = 0;
    }
    m_used = static_cast<size_t>(out - m_out.data());
  }

  std::vector<uint8_t>& m_out;
  size_t m_used = 0;
  uint64_t m_accumulator = 0;
  int m_count = 0;
};

}  // namespace tavmjpeg
