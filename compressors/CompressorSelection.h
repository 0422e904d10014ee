// Chooses a compressor of the loaded writer's table by friendly name and binds
// it, without an exception catch (the exports in api/ end a _com_error).
// Host's control thread only.
#pragma once

#include <windows.h>

#include "compressors/CompressorTableRecords.h"

// "Uncompressed" for none; writer ID 0 also sets the default compressor for
// writers made later.
HRESULT SetVideoCompressor(CompressorTableRecords& records, int writerId, const wchar_t* name, bool* pHasDialog);
HRESULT SetAudioCompressor(CompressorTableRecords& records, int writerId, const wchar_t* name);
