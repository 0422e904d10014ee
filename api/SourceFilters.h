// The library's own source filters as the exports need them: made and
// queried for IBaseFilter, and the raw frame filter's stream error code.
// Called from the host's threads (control thread to make them, any hand-over
// thread for the stream error).
#pragma once

#include "writer/ThrowingComPtr.h"

class CAviWriter;
class CSource;

// Makes the raw frame source filter through its factory into `filter`
// (releasing what it held). S_OK, E_OUTOFMEMORY, or the query's HRESULT.
HRESULT MakeRawFrameFilter(ThrowingComPtr<IBaseFilter>& filter);

// Makes the audio source filter (no outer object) into `filter` (releasing
// what it held and clearing it first). E_OUTOFMEMORY when the object cannot
// be made, in which case `filter` is left untouched; the query's HRESULT when
// it has no IBaseFilter (logged by the caller).
HRESULT MakeAudioSourceFilter(ThrowingComPtr<IBaseFilter>& filter);

// g_pAviWriter's raw frame filter as the framework's source filter; raises
// E_POINTER as a _com_error when there is no writer or no raw filter.
CSource* RawFrameSource();

// The stored stream error the hand-over reports: the raw frame filter's when
// negative, else the audio filter's (a failed audio delivery ends only the
// audio stream). It stays stored until StartMovieRecord or StopMovieRecord
// clears it, so every hand-over after a stream error returns it at once.
// Raises E_POINTER like RawFrameSource when there is no raw filter.
HRESULT StoredStreamError(CAviWriter* writer);

// Whether the video (audio) pin was told to end its stream by
// ReleaseFilterData and has not been initialised for a new recording since.
bool VideoStreamEnding(CAviWriter* writer);
bool AudioStreamEnding(CAviWriter* writer);

// Whether the frame (audio block) last handed to the filter has not been
// copied by its pin: the pin clears it when it copies.
bool VideoFramePending(CAviWriter* writer);
bool AudioBlockPending(CAviWriter* writer);

// Sets the stream error code of the writer's source filters (raw frame and,
// when there is one, audio) to 0; a missing filter is skipped.
void ClearStreamErrors(CAviWriter* writer);
