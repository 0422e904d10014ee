#include "Options.h"

#include <TavMovieMaker.h>

#include <cmath>
#include <cwchar>
#include <functional>
#include <map>

#include "Console.h"

namespace tavrec {
namespace {

bool ParseWhole(const std::wstring& text, long long minimum, long long maximum, long long& value) {
  if (text.empty()) return false;
  wchar_t* end = nullptr;
  errno = 0;
  const long long v = std::wcstoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != L'\0' || v < minimum || v > maximum) return false;
  value = v;
  return true;
}

bool ParseNumber(const std::wstring& text, double minimumExclusive, double maximum, double& value) {
  if (text.empty()) return false;
  wchar_t* end = nullptr;
  const double v = std::wcstod(text.c_str(), &end);
  if (*end != L'\0' || !std::isfinite(v) || v <= minimumExclusive || v > maximum) return false;
  value = v;
  return true;
}

bool ParseSize(const std::wstring& text, int& width, int& height) {
  const size_t x = text.find_first_of(L"xX");
  long long w = 0, h = 0;
  if (x == std::wstring::npos || !ParseWhole(text.substr(0, x), 1, 16384, w) ||
      !ParseWhole(text.substr(x + 1), 1, 16384, h))
    return false;
  width = static_cast<int>(w);
  height = static_cast<int>(h);
  return true;
}

bool ParseSeverity(const std::wstring& text, unsigned& severity) {
  static const wchar_t* const names[] = {L"debug", L"trace", L"notice", L"warning", L"error"};
  for (unsigned i = 0; i < 5; ++i)
    if (_wcsicmp(text.c_str(), names[i]) == 0) return severity = i, true;
  long long value = 0;
  if (!ParseWhole(text, 0, 4, value)) return false;
  severity = static_cast<unsigned>(value);
  return true;
}

}  // namespace

long long Options::FrameLimit() const {
  if (frames >= 0) return frames;
  if (seconds > 0) return std::llround(seconds * fps);
  return input.empty() ? std::llround(5 * fps) : -1;
}

std::wstring ParseOptions(int argc, wchar_t** argv, Options& o) {
  // Each option that takes a value reads it with its own check; the check
  // returns false for a bad value.
  using Reader = std::function<bool(const std::wstring&)>;
  const std::map<std::wstring, Reader> valued = {
      {L"--input", [&](const std::wstring& v) { return o.input = v, true; }},
      {L"--size", [&](const std::wstring& v) { return o.sizeGiven = ParseSize(v, o.width, o.height); }},
      {L"--fps", [&](const std::wstring& v) { return ParseNumber(v, 0, 1000, o.fps); }},
      {L"--pixel-format",
       [&](const std::wstring& v) {
         long long code = 0;
         return ParseWhole(v, 0, 3, code) && (o.pixelFormat = static_cast<unsigned>(code), true);
       }},
      {L"--duration", [&](const std::wstring& v) { return ParseNumber(v, 0, 86400.0 * 365, o.seconds); }},
      {L"--frames", [&](const std::wstring& v) { return ParseWhole(v, 1, 1LL << 40, o.frames); }},
      {L"--audio-bits",
       [&](const std::wstring& v) {
         return (v == L"16" || v == L"24") && (o.tone = true, o.audioBits = v == L"16" ? 16 : 24, true);
       }},
      {L"--drop-every", [&](const std::wstring& v) { return ParseWhole(v, 2, 1LL << 40, o.dropEvery); }},
      {L"--drop-by",
       [&](const std::wstring& v) {
         if (v == L"number") return o.dropBy = DropBy::Number, true;
         if (v == L"time") return o.dropBy = DropBy::Time, true;
         return false;
       }},
      {L"--break-every", [&](const std::wstring& v) { return ParseWhole(v, 2, 1LL << 40, o.breakEvery); }},
      {L"--video-compressor", [&](const std::wstring& v) { return o.videoCompressor = v, !v.empty(); }},
      {L"--audio-compressor", [&](const std::wstring& v) { return o.audioCompressor = v, !v.empty(); }},
      {L"--log", [&](const std::wstring& v) { return o.logPath = v, !v.empty(); }},
      {L"--log-layout",
       [&](const std::wstring& v) {
         long long layout = 0;
         return ParseWhole(v, 1, 5, layout) && (o.logLayout = static_cast<unsigned>(layout), true);
       }},
      {L"--log-severity", [&](const std::wstring& v) { return ParseSeverity(v, o.logSeverity); }},
  };
  const std::map<std::wstring, bool*> flags = {{L"--tone", &o.tone},   {L"--bottom-up", &o.bottomUp},
                                               {L"--quiet", &o.quiet}, {L"--list-compressors", &o.listCompressors},
                                               {L"--help", &o.help},   {L"-h", &o.help}};

  bool seenLogOption = false;
  for (int i = 1; i < argc; ++i) {
    std::wstring arg = argv[i], value;
    const bool isOption = arg.size() > 1 && arg[0] == L'-';
    if (!isOption) {
      if (!o.output.empty()) return L"more than one output file: " + o.output + L" and " + arg;
      o.output = arg;
      continue;
    }
    const size_t equals = arg.find(L'=');
    bool inlineValue = arg.rfind(L"--", 0) == 0 && equals != std::wstring::npos;
    if (inlineValue) value = arg.substr(equals + 1), arg = arg.substr(0, equals);
    if (auto flag = flags.find(arg); flag != flags.end() && !inlineValue) {
      *flag->second = true;
      continue;
    }
    auto reader = valued.find(arg);
    if (reader == valued.end()) return L"unknown option " + arg;
    if (!inlineValue) {
      if (i + 1 >= argc) return arg + L" needs a value";
      value = argv[++i];
    }
    if (!reader->second(value)) return L"bad value for " + arg + L": \"" + value + L"\"";
    if (arg.rfind(L"--log-", 0) == 0) seenLogOption = true;
  }

  if (o.help || o.listCompressors) return L"";
  if (o.output.empty()) return L"no output file";
  if (!o.input.empty() && !o.sizeGiven) return L"--input needs --size WxH";
  if (o.input.empty() && o.bottomUp) return L"--bottom-up is for --input";
  if (!o.audioCompressor.empty() && !o.tone) return L"--audio-compressor needs --tone";
  if (seenLogOption && o.logPath.empty()) return L"--log-layout and --log-severity need --log FILE";
  if (o.pixelFormat == TAVMM_PIXEL_YUY2 && o.width % 2 != 0) return L"--pixel-format 3 (YUY2) needs an even width";
  return L"";
}

const wchar_t* UsageLine() { return L"usage: tavrec [OPTIONS] OUTPUT.avi (tavrec --help for more)\n"; }

const wchar_t* HelpText() {
  return LR"(NAME
    tavrec - record an AVI movie through TavMovieMaker.dll

SYNOPSIS
    tavrec [OPTIONS] OUTPUT.avi
    tavrec --input FILE|- --size WxH [OPTIONS] OUTPUT.avi
    tavrec --list-compressors
    tavrec --help

DESCRIPTION
    Records a movie the way a camera program does: it hands frames (and, with
    --tone, audio blocks) one at a time to TavMovieMaker.dll, which writes the
    AVI file. Without --input the frames come from a synthetic camera: a
    moving test card with the frame number and the time burnt in, so a
    dropped frame shows as a skipped number. With --input they are raw frames
    read from a file or from standard input, one after another, rows packed
    without padding, top row first (as ffmpeg's rawvideo writes them).

    The DLL is loaded from beside tavrec.exe. Under Wine the platform pack
    must be registered in the prefix (wine/register-pack.sh): tavrec refuses
    to record with Wine's own AVI Mux, which cannot record.

    On a terminal a progress line on standard error is rewritten in place
    (frames, frames per second, MB/s handed in, drops, elapsed time, file
    size); it is left out when standard error is not a terminal. At the end
    a summary goes to standard output: the frames handed in, the slots in
    the movie's time line, drops and the empty slots they left, breaks,
    audio blocks, the file's bytes, the movie's duration and the average
    rate.

INPUT
    --input FILE|-
        Raw frames from FILE, or from standard input with "-". Needs --size.
        Recording ends at the end of the input; a partial frame at the end
        of standard input (or a pipe) ends it too, a partial frame at the
        end of a file is an input error (exit code 3) after the frames
        before it are recorded.
    --size WxH
        Frame size in pixels, 1 to 16384 each (default 640x480).
    --fps RATE
        Frames per second, above 0 and up to 1000, fractions allowed
        (default 25).
    --pixel-format N
        0 = 24-bit RGB (bytes B G R, ffmpeg's bgr24; the default),
        1 = 32-bit RGB (B G R x, ffmpeg's bgr0), 2 = 8-bit grey (gray),
        3 = YUY2 (Y0 U Y1 V, yuyv422; even widths only).
    --bottom-up
        The input's first row is the bottom of the picture (a Windows DIB).
    --duration SECONDS
        Record SECONDS seconds of frames (SECONDS times RATE frames).
    --frames N
        Record N frames. Without --duration and --frames the test card runs
        for 5 seconds and --input runs to its end.

AUDIO
    --tone
        Add a 440 Hz tone, 48 kHz stereo PCM, one block per frame (its first
        50 ms of every second are an octave higher).
    --audio-bits 16|24
        Sample size of the tone (default 16); implies --tone.

SIMULATED FAULTS
    --drop-every N
        Leave out every Nth frame (frames N-1, 2N-1, ... counted from 0), as
        a camera that drops a frame does. The movie keeps the frame's slot
        empty.
    --drop-by number|time
        How the DLL is told about the gap: by frame number (the default) or
        by capture time alone. By capture time the DLL leaves one slot more
        empty than the frames left out.
    --break-every N
        Leave out every Nth frame but announce it first as a planned break
        (TavMovieMakerAddBreakFrame): no slot stays empty.

COMPRESSORS
    --list-compressors
        Print the video and the audio compressors, exactly as the DLL names
        them, and exit.
    --video-compressor NAME
        Compress the video with NAME (default "Uncompressed").
    --audio-compressor NAME
        Compress the tone with NAME (needs --tone).

LOG
    --log FILE
        Write the DLL's log to FILE (UTF-8, one line each).
    --log-layout 1-5
        Line layout, from "SEVERITY: code; message" (1) to the full line
        with time, thread and source position (5); default 3.
    --log-severity LEVEL
        Lowest severity written: debug, trace (the default), notice,
        warning, error, or 0-4.

OTHER
    --quiet
        No progress line and no summary; errors are still printed.
    --help, -h
        Print this page and exit.

    Options may also be written --option=VALUE.

EXAMPLES
    Five seconds of test card with a tone and one dropped frame:
        tavrec --duration 5 --tone --drop-every 100 demo.avi
    Any video, through ffmpeg:
        ffmpeg -i any.mp4 -f rawvideo -pix_fmt bgr24 - |
            tavrec --input - --size 1280x720 --fps 30 out.avi
    Grey frames from a file, with the log:
        tavrec --input frames.raw --size 640x480 --pixel-format 2 \
            --log tav.log --log-layout 5 out.avi

EXIT CODES
    0   the movie was recorded
    1   usage error: unknown option, bad value, missing input or output
    2   the DLL refused or failed (the export's name, its HRESULT, the
        system's text and what the library means by it are printed), or
        under Wine the platform pack is not registered
    3   input error: the input file cannot be read, or ends inside a frame
)";
}

}  // namespace tavrec
