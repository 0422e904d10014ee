// The compressor exports and the process-wide compressor choices.
//
// Called from the host's control thread only. The exports never let a C++
// exception out: a _com_error becomes its HRESULT (with an ERROR line naming
// the function), std::bad_alloc becomes E_OUTOFMEMORY.
#pragma once

#include <windows.h>
#include <mmreg.h>

extern "C" {

// Two-call protocol. First call (*count == 0): enumerates the category into
// the loaded writer's table (and the record of writerId), returns the number
// of names in *count and the buffer length each needs in *maxLength. Second
// call (*count != 0): copies *count names into names[i], each a buffer of
// *maxLength characters.
HRESULT TavMovieMakerGetCompressors(int writerId, wchar_t** names, int* count, int* maxLength);
// The same for audio compressors; S_FALSE when the loaded writer has no
// audio source filter.
HRESULT TavMovieMakerGetAudioCompressors(int writerId, wchar_t** names, int* count, int* maxLength);

// Chooses the video compressor by friendly name ("Uncompressed" for none).
// Writer ID 0 also sets the default compressor for writers made later.
HRESULT TavMovieMakerSetCompressor(int writerId, const wchar_t* name, bool* pHasDialog);
// Chooses the audio compressor by friendly name.
HRESULT TavMovieMakerSetAudioCompressor(int writerId, const wchar_t* name);

}  // extern "C"

// Default video compressor name, applied to new writers.
extern wchar_t g_szDefaultCompressor[260];
// The audio format picked in the format dialog (an 18-byte WAVEFORMATEX
// header, heap block from new BYTE[18]), or null.
extern WAVEFORMATEX* g_pSelectedAudioFormat;
