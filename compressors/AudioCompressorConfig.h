// Sets the output format of an audio compressor in the graph to the format
// picked in the audio format dialog (g_pSelectedAudioFormat), if any.
// Called by CAviWriter::MakeCaptureGraph on the thread that builds the graph.
#pragma once

#include "writer/ThrowingComPtr.h"

void AudioCompressorConfig(IBaseFilter* pCompressor);
