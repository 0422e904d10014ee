// The writer records that share compressor tables with the loaded writer.
// compressors/ never reaches the records itself: whoever keeps them (the DLL's
// writer registry) hands this in, and each question is answered when it is
// asked (the records may change between two questions, LoadParam can replace
// them). Host's control thread only.
#pragma once

#include "compressors/CompressorEntry.h"

class CompressorTableRecords {
 public:
  // True when a record other than writerId's still holds `table`: a table in
  // use there must not be freed.
  virtual bool HeldByAnotherRecord(int writerId, const CompressorEntry* table) const = 0;
  // Gives writerId's record, when there is one, the new table and its count.
  virtual void StoreVideoTable(int writerId, CompressorEntry* table, int count) = 0;
  virtual void StoreAudioTable(int writerId, CompressorEntry* table, int count) = 0;

 protected:
  ~CompressorTableRecords() = default;
};
