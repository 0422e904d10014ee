// A random call sequence for the fuzz host: generated from a seed alone, so a
// seed replays the same sequence, and made of steps that name their arguments
// as choices (an issued writer ID, "the next frame number", a file in a
// missing folder), resolved when the step runs. So any subset of a sequence's
// steps is still a valid sequence: that is how a failure is shrunk.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tavfuzz {

enum class Call {
  InitEx,
  Init2,
  Init,
  Release,
  Start,
  Stop,
  SetAudioStream,
  AddFrame2,
  AddFrame,
  AddAudio2,
  AddAudio,
  AddBreak,
  GetCompressors,
  GetAudioCompressors,
  SetCompressor,
  SetAudioCompressor,
  ShowCompressorDlg,
  ShowAudioCompressorDlg,
  LogCreateEngine,
  LogDeleteEngine,
  LogAttachCallback,
  LogAttachFile,
  LogAttachDebugger,
  LogSetSink,
  LogDetachSink,
  LogListen,
  LogModuleKey,
  LogWrite,
  Count
};

const char* CallName(Call call);

// Each argument is a choice: 0 asks for the ordinary value (a valid ID, the
// next frame, a fresh file), any other number picks from the argument's list
// of odd values (taken modulo its length).
struct Step {
  Call call;
  std::uint32_t arg[6];
};

// Twenty to fifty steps: recording blocks (set up, start, frames, stop) with
// mostly ordinary arguments between single calls with mostly odd ones.
std::vector<Step> GenerateSequence(std::uint64_t seed);

}  // namespace tavfuzz
