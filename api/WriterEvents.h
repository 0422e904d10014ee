// The writer's six hand-over events and its main mutex: made by InitEx,
// reset by StartMovieRecord, closed by Release. Control thread only: never
// while a hand-over may run.
#pragma once

class CAviWriter;

// Closes (with a closing trace each) and re-creates the six events, unnamed
// and auto-reset; the two BufferReady events start signalled. False after a
// "CreateEvent" ERROR line; events made before stay in the writer.
bool RecreateHandOverEvents(CAviWriter* writer, int id);

// Closes and re-creates m_hMainMutex, named "AviWrt_MainMutex" and not owned.
// False after a "CreateMutex" ERROR line.
bool RecreateMainMutex(CAviWriter* writer);

// Closes the six events and the mutex (no closing traces) and clears the
// fields; a failed close is logged and the rest still closed.
void CloseWriterHandles(CAviWriter* writer);

// Resets BufferDone, BufferReady, FrameReady, the two audio buffer events and,
// when SampleReady exists, FrameReady once more; SampleReady keeps its state.
void ResetHandOverEvents(CAviWriter* writer);
