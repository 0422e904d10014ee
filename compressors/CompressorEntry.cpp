#include "compressors/CompressorEntry.h"

void FreeCompressorTable(CompressorEntry* table) { delete[] table; }
