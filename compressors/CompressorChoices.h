// The process-wide compressor choices. Host's control thread only.
#pragma once

#include <windows.h>
#include <mmreg.h>

// Default video compressor name, applied to new writers.
extern wchar_t g_szDefaultCompressor[260];
// The audio format picked in the format dialog (an 18-byte WAVEFORMATEX
// header, heap block from new BYTE[18]), or null.
extern WAVEFORMATEX* g_pSelectedAudioFormat;
