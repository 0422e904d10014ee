// Media types for wave formats: MEDIATYPE_Audio / FORMAT_WaveFormatEx with
// the format tag's subtype, and the stream caps that describe one format.
// Plain functions; any thread.
#pragma once

#include "framework/MediaType.h"
#include "wine/acm/AcmFormats.h"

#include <strmif.h>

namespace tavacm {

// The audio subtype of a format tag: MEDIASUBTYPE_PCM for PCM, otherwise
// the tag in the first field of the wave subtype GUID.
GUID WaveSubtype(WORD formatTag);

// A fully specified type for the format (fixed-size samples of nBlockAlign).
void MakeWaveMediaType(const WaveFormatBytes& format, CMediaType* type);

// The wave format a media type carries, or empty when the type is not
// MEDIATYPE_Audio / FORMAT_WaveFormatEx with a complete format block.
WaveFormatBytes WaveFormatOf(const AM_MEDIA_TYPE& type);

// The caps of exactly this one format.
void MakeStreamCaps(const WAVEFORMATEX& format, AUDIO_STREAM_CONFIG_CAPS* caps);

}  // namespace tavacm
