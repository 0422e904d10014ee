// The two-call protocol over the system's video and audio compressor
// categories, without an exception catch: a _com_error or std::bad_alloc
// leaves these (the exports in api/ end them). The compressor selection calls
// them to build a missing table. Host's control thread only.
//
// First call (*count == 0): enumerates the category into the loaded writer's
// table (and the record of writerId), returns the number of names in *count
// and the buffer length each needs in *maxLength. Second call (*count != 0):
// copies *count names into names[i], each a buffer of *maxLength characters.
#pragma once

#include <windows.h>

#include "compressors/CompressorTableRecords.h"

HRESULT GetVideoCompressors(CompressorTableRecords& records, int writerId, wchar_t** names, int* count, int* maxLength);
// S_FALSE when the loaded writer has no audio source filter.
HRESULT GetAudioCompressors(CompressorTableRecords& records, int writerId, wchar_t** names, int* count, int* maxLength);
