#include "wine/acm/AcmFormats.h"

#include <ks.h>
#include <ksmedia.h>
#include <msacm.h>

#include <algorithm>
#include <cstring>
#include <tuple>

namespace tavacm {
namespace {

// KSDATAFORMAT_SUBTYPE_PCM, spelt out so that no GUID library is needed.
constexpr GUID kSubtypePcm = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

DWORD MaxFormatSize() {
  DWORD size = 0;
  if (acmMetrics(nullptr, ACM_METRIC_MAX_SIZE_FORMAT, &size) != MMSYSERR_NOERROR || size < sizeof(WAVEFORMATEX))
    size = sizeof(WAVEFORMATEX);
  return std::max<DWORD>(size, sizeof(WAVEFORMATEXTENSIBLE));
}

size_t FormatSize(const WAVEFORMATEX& format) {
  return sizeof(WAVEFORMATEX) + (format.wFormatTag == WAVE_FORMAT_PCM ? 0 : format.cbSize);
}

BOOL CALLBACK CollectTag(HACMDRIVERID, LPACMFORMATTAGDETAILSW details, DWORD_PTR context, DWORD) {
  auto* tags = reinterpret_cast<std::vector<AcmFormatTag>*>(context);
  const WORD tag = static_cast<WORD>(details->dwFormatTag);
  for (const AcmFormatTag& known : *tags) {
    if (known.tag == tag) return TRUE;
  }
  tags->push_back({tag, details->szFormatTag});
  return TRUE;
}

std::vector<AcmFormatTag> AllFormatTags() {
  std::vector<AcmFormatTag> tags;
  ACMFORMATTAGDETAILSW details = {};
  details.cbStruct = sizeof(details);
  acmFormatTagEnumW(nullptr, &details, CollectTag, reinterpret_cast<DWORD_PTR>(&tags), 0);
  return tags;
}

struct OpenDriver {
  HACMDRIVER handle;
  std::vector<DWORD> tags;  // the format tags it knows

  bool Knows(DWORD tag) const { return std::find(tags.begin(), tags.end(), tag) != tags.end(); }
};

BOOL CALLBACK AddDriver(HACMDRIVERID id, DWORD_PTR context, DWORD) {
  OpenDriver driver = {nullptr, {}};
  ACMDRIVERDETAILSW details = {};
  details.cbStruct = sizeof(details);
  if (acmDriverDetailsW(id, &details, 0) != MMSYSERR_NOERROR ||
      acmDriverOpen(&driver.handle, id, 0) != MMSYSERR_NOERROR)
    return TRUE;
  for (DWORD index = 0; index < details.cFormatTags; ++index) {
    ACMFORMATTAGDETAILSW tag = {};
    tag.cbStruct = sizeof(tag);
    tag.dwFormatTagIndex = index;
    if (acmFormatTagDetailsW(driver.handle, &tag, ACM_FORMATTAGDETAILSF_INDEX) == MMSYSERR_NOERROR)
      driver.tags.push_back(tag.dwFormatTag);
  }
  reinterpret_cast<std::vector<OpenDriver>*>(context)->push_back(std::move(driver));
  return TRUE;
}

// Every enabled ACM driver with its format tags, opened once for the process
// and never closed. Asking an open driver is immediate, while ACM's own
// search for a driver opens and closes each of them on every question (tens
// of milliseconds a question under Wine, and building a compressor's list
// asks hundreds).
const std::vector<OpenDriver>& OpenDrivers() {
  static const std::vector<OpenDriver>* const drivers = [] {
    auto* opened = new std::vector<OpenDriver>;
    acmDriverEnum(AddDriver, reinterpret_cast<DWORD_PTR>(opened), 0);
    return opened;
  }();
  return *drivers;
}

// Collects every enumerated format once (several drivers enumerate the same
// PCM formats).
BOOL CALLBACK CollectFormat(HACMDRIVERID, LPACMFORMATDETAILSW details, DWORD_PTR context, DWORD) {
  auto* formats = reinterpret_cast<std::vector<WaveFormatBytes>*>(context);
  WaveFormatBytes format = CopyFormat(*details->pwfx, details->cbwfx);
  if (std::find(formats->begin(), formats->end(), format) == formats->end()) formats->push_back(std::move(format));
  return TRUE;
}

const WAVEFORMATEX& Header(const WaveFormatBytes& format) {
  return *reinterpret_cast<const WAVEFORMATEX*>(format.data());
}

}  // namespace

HACMDRIVER ConvertingDriver(const WAVEFORMATEX& input, const WAVEFORMATEX& output) {
  // As ACM's own search does, only drivers that know both format tags are
  // asked: Wine's PCM converter, for one, does not check them itself.
  for (const OpenDriver& driver : OpenDrivers()) {
    if (driver.Knows(input.wFormatTag) && driver.Knows(output.wFormatTag) &&
        acmStreamOpen(nullptr, driver.handle, const_cast<WAVEFORMATEX*>(&input), const_cast<WAVEFORMATEX*>(&output),
                      nullptr, 0, 0, ACM_STREAMOPENF_QUERY | ACM_STREAMOPENF_NONREALTIME) == MMSYSERR_NOERROR)
      return driver.handle;
  }
  return nullptr;
}

bool CanConvert(const WAVEFORMATEX& input, const WAVEFORMATEX& output) {
  return ConvertingDriver(input, output) != nullptr;
}

WaveFormatBytes CopyFormat(const WAVEFORMATEX& format, size_t availableBytes) {
  WaveFormatBytes bytes(std::max(FormatSize(format), sizeof(WAVEFORMATEX)), 0);
  std::memcpy(bytes.data(), &format, std::min(bytes.size(), availableBytes));
  auto* copy = reinterpret_cast<WAVEFORMATEX*>(bytes.data());
  if (copy->wFormatTag == WAVE_FORMAT_PCM) copy->cbSize = 0;
  return bytes;
}

bool IsIntegerPcm(const WAVEFORMATEX& format, size_t availableBytes, bool allowWide) {
  if (availableBytes < sizeof(WAVEFORMAT) + sizeof(WORD)) return false;
  bool pcm = format.wFormatTag == WAVE_FORMAT_PCM;
  WORD containerBits = format.wBitsPerSample;
  if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
    if (availableBytes < sizeof(WAVEFORMATEXTENSIBLE) || format.cbSize < 22) return false;
    const auto& extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
    pcm = IsEqualGUID(extensible.SubFormat, kSubtypePcm) && extensible.Samples.wValidBitsPerSample == containerBits;
  }
  if (!pcm || format.nChannels == 0 || format.nSamplesPerSec == 0) return false;
  if (format.nBlockAlign != format.nChannels * (containerBits / 8)) return false;
  if (containerBits == 16) return true;
  return allowWide && (containerBits == 8 || containerBits == 24 || containerBits == 32);
}

WaveFormatBytes PlainPcm(const WaveFormatBytes& format) {
  const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
  if (format.size() < sizeof(WAVEFORMATEX) || header.wFormatTag != WAVE_FORMAT_EXTENSIBLE) return format;
  WaveFormatBytes plain(sizeof(WAVEFORMATEX), 0);
  auto* pcm = reinterpret_cast<WAVEFORMATEX*>(plain.data());
  *pcm = header;
  pcm->wFormatTag = WAVE_FORMAT_PCM;
  pcm->cbSize = 0;
  return plain;
}

std::wstring FormatTagName(WORD tag) {
  for (const AcmFormatTag& known : AllFormatTags()) {
    if (known.tag == tag) return known.name;
  }
  return std::wstring();
}

WaveFormatBytes Pcm16Format(DWORD rate, WORD channels) {
  const WORD align = static_cast<WORD>(2 * channels);
  const WAVEFORMATEX header = {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
  return CopyFormat(header, sizeof(header));
}

std::vector<WaveFormatBytes> ConversionChain(const WAVEFORMATEX& input, const WAVEFORMATEX& output) {
  const WaveFormatBytes from = CopyFormat(input, FormatSize(input));
  const WaveFormatBytes to = CopyFormat(output, FormatSize(output));
  const WaveFormatBytes outputLayout = Pcm16Format(output.nSamplesPerSec, output.nChannels);
  const WaveFormatBytes inputLayout = Pcm16Format(input.nSamplesPerSec, input.nChannels);
  const std::vector<WaveFormatBytes> chains[] = {
      {from, to},
      {from, outputLayout, to},
      {from, inputLayout, to},
      {from, inputLayout, outputLayout, to},
  };
  for (const std::vector<WaveFormatBytes>& chain : chains) {
    // A step to the same format is needless inside a longer chain.
    bool opens = true;
    for (size_t i = 1; i < chain.size() && opens; ++i)
      opens = (chain.size() == 2 || chain[i - 1] != chain[i]) && CanConvert(Header(chain[i - 1]), Header(chain[i]));
    if (opens) return chain;
  }
  return {};
}

void SortBestFirst(std::vector<WaveFormatBytes>& formats, const WAVEFORMATEX* input) {
  const DWORD rate = input != nullptr ? input->nSamplesPerSec : 0xFFFFFFFF;
  const DWORD channels = input != nullptr ? input->nChannels : 0xFFFF;
  const DWORD bits = input != nullptr ? input->wBitsPerSample : 0xFFFF;
  auto key = [&](const WaveFormatBytes& format) {
    const WAVEFORMATEX& h = Header(format);
    const DWORD excessRate = h.nSamplesPerSec > rate ? h.nSamplesPerSec - rate : 0;
    const DWORD excessChannels = h.nChannels > channels ? h.nChannels - channels : 0;
    // Larger is better in every place.
    return std::make_tuple(std::min<DWORD>(h.nSamplesPerSec, rate), std::min<DWORD>(h.nChannels, channels),
                           0xFFFFFFFF - excessRate, 0xFFFFFFFF - excessChannels,
                           std::min<DWORD>(h.wBitsPerSample, bits), h.nAvgBytesPerSec);
  };
  std::stable_sort(formats.begin(), formats.end(),
                   [&](const WaveFormatBytes& a, const WaveFormatBytes& b) { return key(a) > key(b); });
}

namespace {

// Every format the codec enumerates for the tag.
std::vector<WaveFormatBytes> EnumeratedFormats(WORD tag) {
  std::vector<WaveFormatBytes> formats;
  const DWORD maxSize = MaxFormatSize();
  WaveFormatBytes buffer(maxSize, 0);
  auto* enumerated = reinterpret_cast<WAVEFORMATEX*>(buffer.data());
  enumerated->wFormatTag = tag;
  ACMFORMATDETAILSW details = {};
  details.cbStruct = sizeof(details);
  details.dwFormatTag = tag;
  details.pwfx = enumerated;
  details.cbwfx = maxSize;
  acmFormatEnumW(nullptr, &details, CollectFormat, reinterpret_cast<DWORD_PTR>(&formats), ACM_FORMATENUMF_WFORMATTAG);
  return formats;
}

// What the codec suggests for the input, then what it enumerates.
std::vector<WaveFormatBytes> CandidateFormats(WORD tag, const WAVEFORMATEX& input) {
  std::vector<WaveFormatBytes> formats;
  const DWORD maxSize = MaxFormatSize();
  WaveFormatBytes buffer(maxSize, 0);
  auto* suggested = reinterpret_cast<WAVEFORMATEX*>(buffer.data());
  suggested->wFormatTag = tag;
  for (const OpenDriver& driver : OpenDrivers()) {
    if (driver.Knows(input.wFormatTag) && driver.Knows(tag) &&
        acmFormatSuggest(driver.handle, const_cast<WAVEFORMATEX*>(&input), suggested, maxSize,
                         ACM_FORMATSUGGESTF_WFORMATTAG) == MMSYSERR_NOERROR) {
      formats.push_back(CopyFormat(*suggested, maxSize));
      break;
    }
    std::fill(buffer.begin(), buffer.end(), 0);
    suggested->wFormatTag = tag;
  }
  for (WaveFormatBytes& format : EnumeratedFormats(tag)) {
    if (std::find(formats.begin(), formats.end(), format) == formats.end()) formats.push_back(std::move(format));
  }
  return formats;
}

bool Reaches(const WAVEFORMATEX& input, const WaveFormatBytes& output) {
  return Header(output).wFormatTag != WAVE_FORMAT_UNKNOWN && !ConversionChain(input, Header(output)).empty();
}

}  // namespace

std::vector<WaveFormatBytes> TagFormats(WORD tag) {
  std::vector<WaveFormatBytes> formats;
  for (WaveFormatBytes& format : EnumeratedFormats(tag)) {
    const WAVEFORMATEX& h = Header(format);
    if (Reaches(Header(Pcm16Format(h.nSamplesPerSec, h.nChannels)), format)) formats.push_back(std::move(format));
  }
  SortBestFirst(formats, nullptr);
  return formats;
}

std::vector<WaveFormatBytes> OutputFormats(WORD tag, const WAVEFORMATEX& input) {
  std::vector<WaveFormatBytes> formats;
  for (WaveFormatBytes& format : CandidateFormats(tag, input)) {
    if (Reaches(input, format)) formats.push_back(std::move(format));
  }
  SortBestFirst(formats, &input);
  return formats;
}

bool CanEncode(WORD tag, const WAVEFORMATEX& input) {
  const std::vector<WaveFormatBytes> candidates = CandidateFormats(tag, input);
  return std::any_of(candidates.begin(), candidates.end(),
                     [&input](const WaveFormatBytes& format) { return Reaches(input, format); });
}

std::vector<AcmFormatTag> EncodableFormatTags() {
  std::vector<AcmFormatTag> encodable;
  for (const AcmFormatTag& tag : AllFormatTags()) {
    if (!TagFormats(tag.tag).empty()) encodable.push_back(tag);
  }
  return encodable;
}

}  // namespace tavacm
