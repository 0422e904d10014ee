#include "wine/acm/WaveMediaType.h"

#include <uuids.h>

#include <algorithm>
#include <cstring>

static_assert(sizeof(AUDIO_STREAM_CONFIG_CAPS) == 52, "the caps structure hosts expect");

namespace tavacm {

GUID WaveSubtype(WORD formatTag) {
  GUID subtype = MEDIASUBTYPE_PCM;
  subtype.Data1 = formatTag;
  return subtype;
}

void MakeWaveMediaType(const WaveFormatBytes& format, CMediaType* type) {
  const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(format.data());
  type->InitMediaType();
  type->SetType(&MEDIATYPE_Audio);
  const GUID subtype = WaveSubtype(header.wFormatTag == WAVE_FORMAT_EXTENSIBLE ? WAVE_FORMAT_PCM : header.wFormatTag);
  type->SetSubtype(&subtype);
  type->SetFormatType(&FORMAT_WaveFormatEx);
  type->SetTemporalCompression(FALSE);
  type->SetSampleSize(header.nBlockAlign);
  type->SetFormat(format.data(), static_cast<ULONG>(format.size()));
}

WaveFormatBytes WaveFormatOf(const AM_MEDIA_TYPE& type) {
  if (type.majortype != MEDIATYPE_Audio || type.formattype != FORMAT_WaveFormatEx || type.pbFormat == nullptr ||
      type.cbFormat < sizeof(WAVEFORMAT))
    return WaveFormatBytes();
  const auto& header = *reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
  if (header.wFormatTag != WAVE_FORMAT_PCM &&
      (type.cbFormat < sizeof(WAVEFORMATEX) || type.cbFormat < sizeof(WAVEFORMATEX) + header.cbSize))
    return WaveFormatBytes();
  return CopyFormat(header, type.cbFormat);
}

void MakeStreamCaps(const WAVEFORMATEX& format, AUDIO_STREAM_CONFIG_CAPS* caps) {
  std::memset(caps, 0, sizeof(*caps));
  caps->guid = MEDIATYPE_Audio;
  caps->MinimumChannels = caps->MaximumChannels = format.nChannels;
  caps->ChannelsGranularity = 1;
  caps->MinimumBitsPerSample = caps->MaximumBitsPerSample = format.wBitsPerSample;
  caps->BitsPerSampleGranularity = 1;
  caps->MinimumSampleFrequency = caps->MaximumSampleFrequency = format.nSamplesPerSec;
  caps->SampleFrequencyGranularity = 1;
}

}  // namespace tavacm
