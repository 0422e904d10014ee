// One entry of a compressor table: the friendly name the host sees and the
// device moniker it came from. A table is a heap array of entries (new[]) with
// a separate 32-bit count; the loaded writer owns it and frees it with
// FreeCompressorTable, which also releases the monikers.
#pragma once

#include "writer/ThrowingComPtr.h"

struct CompressorEntry {
  wchar_t szName[260];                // zero-terminated friendly name
  ThrowingComPtr<IMoniker> pMoniker;  // null for the fixed "Uncompressed" entry
};

// Frees the array, releasing its monikers. Null is allowed.
void FreeCompressorTable(CompressorEntry* table);
