#include "wine/acm/AcmFormats.h"

#include <ks.h>
#include <ksmedia.h>
#include <msacm.h>

#include <algorithm>
#include <cstring>

namespace tavacm {
namespace {

// KSDATAFORMAT_SUBTYPE_PCM, spelt out so that no GUID library is needed.
constexpr GUID kSubtypePcm = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

DWORD MaxFormatSize()
{
    DWORD size = 0;
    if (acmMetrics(nullptr, ACM_METRIC_MAX_SIZE_FORMAT, &size) != MMSYSERR_NOERROR || size < sizeof(WAVEFORMATEX))
        size = sizeof(WAVEFORMATEX);
    return std::max<DWORD>(size, sizeof(WAVEFORMATEXTENSIBLE));
}

size_t FormatSize(const WAVEFORMATEX& format)
{
    return sizeof(WAVEFORMATEX) + (format.wFormatTag == WAVE_FORMAT_PCM ? 0 : format.cbSize);
}

BOOL CALLBACK CollectTag(HACMDRIVERID, LPACMFORMATTAGDETAILSW details, DWORD_PTR context, DWORD)
{
    auto* tags = reinterpret_cast<std::vector<AcmFormatTag>*>(context);
    const WORD tag = static_cast<WORD>(details->dwFormatTag);
    for (const AcmFormatTag& known : *tags) {
        if (known.tag == tag)
            return TRUE;
    }
    tags->push_back({tag, details->szFormatTag});
    return TRUE;
}

std::vector<AcmFormatTag> AllFormatTags()
{
    std::vector<AcmFormatTag> tags;
    ACMFORMATTAGDETAILSW details = {};
    details.cbStruct = sizeof(details);
    acmFormatTagEnumW(nullptr, &details, CollectTag, reinterpret_cast<DWORD_PTR>(&tags), 0);
    return tags;
}

struct EnumContext {
    const WAVEFORMATEX* input;  // null: take every format
    std::vector<WaveFormatBytes>* formats;
    std::vector<WaveFormatBytes> refused;  // asked already, not convertible
    bool stopAtFirst;
};

BOOL CALLBACK CollectFormat(HACMDRIVERID, LPACMFORMATDETAILSW details, DWORD_PTR context, DWORD)
{
    auto* enumContext = reinterpret_cast<EnumContext*>(context);
    WaveFormatBytes format = CopyFormat(*details->pwfx, details->cbwfx);
    // Several drivers enumerate the same PCM formats: ask ACM once each.
    auto& formats = *enumContext->formats;
    auto& refused = enumContext->refused;
    if (std::find(formats.begin(), formats.end(), format) != formats.end() ||
        std::find(refused.begin(), refused.end(), format) != refused.end())
        return TRUE;
    if (enumContext->input == nullptr ||
        CanConvert(*enumContext->input, *reinterpret_cast<const WAVEFORMATEX*>(format.data()))) {
        formats.push_back(std::move(format));
        return enumContext->stopAtFirst ? FALSE : TRUE;
    }
    refused.push_back(std::move(format));
    return TRUE;
}

}  // namespace

bool CanConvert(const WAVEFORMATEX& input, const WAVEFORMATEX& output)
{
    return acmStreamOpen(nullptr, nullptr, const_cast<WAVEFORMATEX*>(&input), const_cast<WAVEFORMATEX*>(&output),
                         nullptr, 0, 0, ACM_STREAMOPENF_QUERY | ACM_STREAMOPENF_NONREALTIME) == MMSYSERR_NOERROR;
}

WaveFormatBytes CopyFormat(const WAVEFORMATEX& format, size_t availableBytes)
{
    WaveFormatBytes bytes(std::max(FormatSize(format), sizeof(WAVEFORMATEX)), 0);
    std::memcpy(bytes.data(), &format, std::min(bytes.size(), availableBytes));
    auto* copy = reinterpret_cast<WAVEFORMATEX*>(bytes.data());
    if (copy->wFormatTag == WAVE_FORMAT_PCM)
        copy->cbSize = 0;
    return bytes;
}

bool IsIntegerPcm(const WAVEFORMATEX& format, size_t availableBytes, bool allowWide)
{
    if (availableBytes < sizeof(WAVEFORMAT) + sizeof(WORD))
        return false;
    bool pcm = format.wFormatTag == WAVE_FORMAT_PCM;
    WORD containerBits = format.wBitsPerSample;
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
        if (availableBytes < sizeof(WAVEFORMATEXTENSIBLE) || format.cbSize < 22)
            return false;
        const auto& extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
        pcm = IsEqualGUID(extensible.SubFormat, kSubtypePcm) &&
              extensible.Samples.wValidBitsPerSample == containerBits;
    }
    if (!pcm || format.nChannels == 0 || format.nSamplesPerSec == 0)
        return false;
    if (format.nBlockAlign != format.nChannels * (containerBits / 8))
        return false;
    if (containerBits == 16)
        return true;
    return allowWide && (containerBits == 8 || containerBits == 24 || containerBits == 32);
}

WaveFormatBytes PlainPcm(const WaveFormatBytes& format)
{
    const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
    if (format.size() < sizeof(WAVEFORMATEX) || header.wFormatTag != WAVE_FORMAT_EXTENSIBLE)
        return format;
    WaveFormatBytes plain(sizeof(WAVEFORMATEX), 0);
    auto* pcm = reinterpret_cast<WAVEFORMATEX*>(plain.data());
    *pcm = header;
    pcm->wFormatTag = WAVE_FORMAT_PCM;
    pcm->cbSize = 0;
    return plain;
}

std::wstring FormatTagName(WORD tag)
{
    for (const AcmFormatTag& known : AllFormatTags()) {
        if (known.tag == tag)
            return known.name;
    }
    return std::wstring();
}

namespace {

// The suggested format (when it converts), then the enumerated ones; with
// stopAtFirst, no more than one format in all.
std::vector<WaveFormatBytes> CollectOutputFormats(WORD tag, const WAVEFORMATEX& input, bool stopAtFirst)
{
    std::vector<WaveFormatBytes> formats;
    const DWORD maxSize = MaxFormatSize();
    WaveFormatBytes buffer(maxSize, 0);
    auto* suggested = reinterpret_cast<WAVEFORMATEX*>(buffer.data());
    suggested->wFormatTag = tag;
    if (acmFormatSuggest(nullptr, const_cast<WAVEFORMATEX*>(&input), suggested, maxSize,
                         ACM_FORMATSUGGESTF_WFORMATTAG) == MMSYSERR_NOERROR &&
        CanConvert(input, *suggested)) {
        formats.push_back(CopyFormat(*suggested, maxSize));
        if (stopAtFirst)
            return formats;
    }
    const size_t suggestedCount = formats.size();

    std::fill(buffer.begin(), buffer.end(), 0);
    auto* enumerated = reinterpret_cast<WAVEFORMATEX*>(buffer.data());
    enumerated->wFormatTag = tag;
    ACMFORMATDETAILSW details = {};
    details.cbStruct = sizeof(details);
    details.dwFormatTag = tag;
    details.pwfx = enumerated;
    details.cbwfx = maxSize;
    EnumContext context = {&input, &formats, {}, stopAtFirst};
    acmFormatEnumW(nullptr, &details, CollectFormat, reinterpret_cast<DWORD_PTR>(&context),
                   ACM_FORMATENUMF_WFORMATTAG);

    // Of the enumerated formats, those that keep the input's rate and
    // channels come first, more bits before fewer: the first one is the
    // default when the codec suggests nothing it can convert to.
    auto keepsLayout = [&input](const WaveFormatBytes& format) {
        const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
        return header.nSamplesPerSec == input.nSamplesPerSec && header.nChannels == input.nChannels;
    };
    const auto begin = formats.begin() + static_cast<std::ptrdiff_t>(suggestedCount);
    const auto middle = std::stable_partition(begin, formats.end(), keepsLayout);
    std::stable_sort(begin, middle, [](const WaveFormatBytes& a, const WaveFormatBytes& b) {
        return reinterpret_cast<const WAVEFORMATEX*>(a.data())->wBitsPerSample >
               reinterpret_cast<const WAVEFORMATEX*>(b.data())->wBitsPerSample;
    });
    return formats;
}

}  // namespace

std::vector<WaveFormatBytes> TagFormats(WORD tag)
{
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
    EnumContext context = {nullptr, &formats, {}, false};
    acmFormatEnumW(nullptr, &details, CollectFormat, reinterpret_cast<DWORD_PTR>(&context),
                   ACM_FORMATENUMF_WFORMATTAG);
    return formats;
}

std::vector<WaveFormatBytes> OutputFormats(WORD tag, const WAVEFORMATEX& input)
{
    return CollectOutputFormats(tag, input, false);
}

bool CanEncode(WORD tag, const WAVEFORMATEX& input)
{
    return !CollectOutputFormats(tag, input, true).empty();
}

std::vector<AcmFormatTag> EncodableFormatTags()
{
    static const DWORD kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};
    std::vector<AcmFormatTag> encodable;
    for (const AcmFormatTag& tag : AllFormatTags()) {
        bool found = false;
        for (DWORD rate : kRates) {
            for (WORD channels = 1; channels <= 2 && !found; ++channels) {
                const WORD align = static_cast<WORD>(2 * channels);
                const WAVEFORMATEX input = {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
                found = CanEncode(tag.tag, input);
            }
            if (found)
                break;
        }
        if (found)
            encodable.push_back(tag);
    }
    return encodable;
}

}  // namespace tavacm
