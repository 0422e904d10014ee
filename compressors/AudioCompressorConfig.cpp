// Applies the audio format picked in the format dialog to the output pin of
// an audio compressor.
#include "compressors/AudioCompressorConfig.h"

#include <cstring>

#include "compressors/CompressorChoices.h"
#include "framework/MediaType.h"
#include "log/Trace.h"
#include "writer/ThrowingComPtr.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";
const char kFunction[] = "AudioCompressorConfig";

// Whole kilobytes per second, a remainder counting as one more, times 8.
DWORD TargetRate(DWORD averageBytesPerSecond) { return ((averageBytesPerSecond + 1023) / 1024) * 8; }

const WAVEFORMATEX* WaveFormatOf(const AM_MEDIA_TYPE* type) {
  if (type->formattype != FORMAT_WaveFormatEx || type->pbFormat == nullptr || type->cbFormat < sizeof(WAVEFORMATEX))
    return nullptr;
  return reinterpret_cast<const WAVEFORMATEX*>(type->pbFormat);
}

}  // namespace

void AudioCompressorConfig(IBaseFilter* pCompressor) {
  TAV_LOG(kFile, kFunction, LOG_SEV_TRACE, 0, L"AudioCompressorConfig -> Enter");
  ThrowingComPtr<IEnumPins> pins;
  HRESULT hr = pCompressor->EnumPins(&pins);
  if (FAILED(hr)) {
    TAV_LOG(kFile, kFunction, LOG_SEV_TRACE, 0, L"AudioCompressorConfig -> EnumPins faled err=%08X", hr);
    return;
  }

  // Every pin is visited; the configuration of the last pin that answers
  // (for a compressor, its output pin) is the one used.
  ThrowingComPtr<IAMStreamConfig> config;
  int count = 0;
  int size = 0;
  ThrowingComPtr<IPin> pin;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    ThrowingComPtr<IAMStreamConfig> pinConfig(pin);
    if (!pinConfig) continue;
    config = pinConfig;
    config->GetNumberOfCapabilities(&count, &size);
    if (size != sizeof(AUDIO_STREAM_CONFIG_CAPS)) {
      TAV_LOG(kFile, kFunction, LOG_SEV_TRACE, 0, L"AudioCompressorConfig -> AUDIO_STREAM_CONFIG_CAPS not equal scc");
      return;
    }
  }
  if (!config) return;

  const WAVEFORMATEX* target = g_pSelectedAudioFormat;
  const DWORD targetRate = target ? TargetRate(target->nAvgBytesPerSec) : 0;
  for (int i = 0; i < count; ++i) {
    AM_MEDIA_TYPE* type = nullptr;
    AUDIO_STREAM_CONFIG_CAPS caps;
    if (config->GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&caps)) != S_OK || type == nullptr) {
      DeleteMediaType(type);
      continue;
    }
    const WAVEFORMATEX* offered = WaveFormatOf(type);
    if (offered != nullptr) {
      if (target == nullptr) {
        // Nothing picked: the compressor keeps its own default.
        DeleteMediaType(type);
        return;
      }
      if (TargetRate(offered->nAvgBytesPerSec) == targetRate && offered->nChannels == target->nChannels &&
          offered->nSamplesPerSec == target->nSamplesPerSec) {
        config->SetFormat(type);
        DeleteMediaType(type);
        TAV_LOG(kFile, kFunction, LOG_SEV_TRACE, 0, L"AudioCompressorConfig -> found a suitable format");
        return;
      }
    }
    DeleteMediaType(type);
  }

  TAV_LOG(kFile, kFunction, LOG_SEV_TRACE, 0, L"AudioCompressorConfig -> suitable format can not be found");
  if (target == nullptr) return;
  // Fall back on capability 0 with the picked header written over its own.
  AM_MEDIA_TYPE* type = nullptr;
  AUDIO_STREAM_CONFIG_CAPS caps;
  if (SUCCEEDED(config->GetStreamCaps(0, &type, reinterpret_cast<BYTE*>(&caps))) && type != nullptr &&
      type->pbFormat != nullptr && type->cbFormat >= sizeof(WAVEFORMATEX)) {
    memcpy(type->pbFormat, target, sizeof(WAVEFORMATEX));
    config->SetFormat(type);
  }
  DeleteMediaType(type);
}
