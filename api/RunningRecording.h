// Ending a recording whose graph still runs, for the control exports that
// would otherwise stop or empty that graph underneath its source pins:
// InitEx (and Init, Init2) and StartMovieRecord on a recording writer, and
// Release of the last record. The pins' streaming threads wait for data
// without a time-out, so stopping the graph under them waits for ever; the
// recording is ended first, as StopMovieRecord ends it, and its file
// completed. Control thread only.
#pragma once

class CAviWriter;

// Whether the writer's graph is paused or running, so that its source pins
// may be waiting for a frame or an audio block.
bool GraphMayHoldWaitingPins(CAviWriter* writer);

// Logs "<exportName> -> recording still running, stopped" at WARNING, then
// does what StopMovieRecord does with every trace line of it: wakes the pins
// to end their streams, stops the graph (completing the file), clears
// m_bStarted and the stream errors, and empties the graph. Waits for the main
// mutex like StopMovieRecord.
void EndRunningRecording(CAviWriter* writer, const char* exportName);
