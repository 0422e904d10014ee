#include "compressors/CompressorEntry.h"

void FreeCompressorTable(CompressorEntry* table, int count) {
  if (table == nullptr) return;
  for (int i = 0; i < count; ++i) {
    if (table[i].pMoniker != nullptr) table[i].pMoniker->Release();
  }
  delete[] table;
}
