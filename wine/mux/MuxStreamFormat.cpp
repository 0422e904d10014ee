#include "mux/MuxStreamFormat.h"

#include <mmreg.h>

#include <algorithm>
#include <cstring>

// strf for a video input: the bitmap header as the upstream pin gave it, and
// the colour table or bit masks the header calls for.
std::vector<std::uint8_t> VideoStreamFormat(const CMediaType& mt) {
  const BYTE* base = mt.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader);
  std::size_t available = mt.cbFormat - offsetof(VIDEOINFOHEADER, bmiHeader);
  BITMAPINFOHEADER bmi;
  std::memcpy(&bmi, base, sizeof bmi);
  std::size_t size = std::max<std::size_t>(bmi.biSize, sizeof bmi);
  if (bmi.biSize == sizeof bmi) {
    if (bmi.biBitCount <= 8 && bmi.biBitCount > 0) size += 4 * (bmi.biClrUsed ? bmi.biClrUsed : (1u << bmi.biBitCount));
    else if (bmi.biCompression == BI_BITFIELDS) size += 12;
  }
  size = std::min(size, available);
  std::vector<std::uint8_t> bytes(base, base + size);
  if (bytes.size() >= sizeof bmi) {
    // A colour table cut short by the format block: say what is there.
    BITMAPINFOHEADER* h = reinterpret_cast<BITMAPINFOHEADER*>(bytes.data());
    if (h->biBitCount <= 8 && h->biBitCount > 0 && h->biSize == sizeof bmi)
      h->biClrUsed = static_cast<DWORD>((bytes.size() - sizeof bmi) / 4);
  }
  return bytes;
}

// strf for an audio input: WAVEFORMATEX and its cbSize extra bytes.
std::vector<std::uint8_t> AudioStreamFormat(const CMediaType& mt) {
  std::vector<std::uint8_t> bytes(mt.pbFormat, mt.pbFormat + mt.cbFormat);
  if (bytes.size() < sizeof(WAVEFORMATEX)) bytes.resize(sizeof(WAVEFORMATEX), 0);  // PCMWAVEFORMAT
  WAVEFORMATEX wfx;
  std::memcpy(&wfx, bytes.data(), sizeof wfx);
  std::size_t size = std::min<std::size_t>(bytes.size(), sizeof(WAVEFORMATEX) + wfx.cbSize);
  bytes.resize(size);
  reinterpret_cast<WAVEFORMATEX*>(bytes.data())->cbSize = static_cast<WORD>(size - sizeof(WAVEFORMATEX));
  return bytes;
}
