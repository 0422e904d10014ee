// The process-wide registry of writers. None of it is locked: the host calls
// every export that names a writer from one control thread at a time.
//
//   g_pAviWriter     the one CAviWriter (declared in writer/CAviWriter.h)
//   g_plistAviID     the writer records, in order of creation; null after the
//                    last writer was released
//   g_nAviIDCounter  the counter writer IDs are issued from
#pragma once

#include <list>

#include "api/AviWriterParam.h"

extern std::list<AviWriterParam>* g_plistAviID;
extern unsigned int g_nAviIDCounter;

// The first record whose nID is `id`, or null (also when there is no list).
AviWriterParam* FindWriterRecord(int id);
