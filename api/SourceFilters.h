// The library's own source filters as the exports need them: made and
// queried for IBaseFilter, and the raw frame filter's stream error code.
// Called from the host's threads (control thread to make them, any hand-over
// thread for the stream error).
#pragma once

#include "writer/ComPtrs.h"

class CAviWriter;
class CSource;

// Makes the raw frame source filter through its factory into `filter`
// (releasing what it held). S_OK, E_OUTOFMEMORY, or the query's HRESULT.
HRESULT MakeRawFrameFilter(IBaseFilterPtr& filter);

// Makes the audio source filter (no outer object) into `filter` (releasing
// what it held and clearing it first). E_OUTOFMEMORY when the object cannot
// be made, in which case `filter` is left untouched; the query's HRESULT when
// it has no IBaseFilter (logged by the caller).
HRESULT MakeAudioSourceFilter(IBaseFilterPtr& filter);

// g_pAviWriter's raw frame filter as the framework's source filter; raises
// E_POINTER as a _com_error when there is no writer or no raw filter.
CSource* RawFrameSource();

// Sets the stream error code of the writer's source filters (raw frame and,
// when there is one, audio) to 0; a missing filter is skipped.
void ClearStreamErrors(CAviWriter* writer);
