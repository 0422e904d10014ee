// The fuzz host: random call sequences against TavMovieMaker.dll, each made
// from a seed and so replayable.
//
//   tav_fuzz --run FIRST COUNT [--batch N] [--hang-seconds S] [--idle-every K]
//            [--control-while-recording] [--shrink-trials T]
//       runs seeds FIRST .. FIRST+COUNT-1, up to N sequences per child
//       process (a sequence that leaves the library's writer object behind
//       ends its child's batch, so none inherits an earlier one's writer),
//       watched from here: a child that dies is a crash, one that makes no
//       progress for S seconds (more than any documented wait) is a hang, one
//       that reports a clean recording whose movie does not read back is a
//       bad file. A failure is run again alone, shrunk to a minimal sequence
//       and printed with its seed. Prints the totals and where the time went
//       (hand-over time-outs, movies read back, processes started); exit
//       status 1 when anything failed.
//   tav_fuzz --replay SEED [--keep I,J,...] [options]
//       runs one sequence (or the listed steps of it) and prints every call.
//
// K: every K-th seed keeps one hand-over with no recording running (a 10 s
// wait); 0 keeps none.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/fuzz/FuzzHost.h"
#include "tests/fuzz/FuzzMovies.h"
#include "tests/fuzz/FuzzSequence.h"

namespace {

using tavfuzz::FuzzHost;
using tavfuzz::Options;
using tavfuzz::Outcome;

// What a child shares with the watching parent.
struct Progress {
  volatile LONGLONG seed;
  volatile LONG step;
  volatile LONG beat;
  volatile LONG badFile;
  volatile LONG badStep;
  // Where the child's time went (see Outcome), summed over its sequences.
  volatile LONG timeOuts;
  volatile LONGLONG timeOutMs;
  volatile LONG moviesRead;
  volatile LONGLONG readMs;
  volatile LONGLONG sequenceMs;
  // The first seed a child did not run (it ends its batch early when a
  // sequence leaves the library's writer object behind, see RunChild).
  volatile LONGLONG nextSeed;
  char message[1024];
};

struct Settings {
  unsigned long long first = 1, count = 1;
  unsigned batch = 50;
  unsigned hangSeconds = 45;
  unsigned idleEvery = 0;
  unsigned shrinkTrials = 40;
  bool controlWhileRecording = false;
  bool quickWait = false;
  std::vector<int> keep;
  std::wstring checkDir;  // a child's: where its movies go to be checked
  std::wstring progressName;
  bool print = false;
};

std::vector<int> ParseList(const char* text) {
  std::vector<int> list;
  for (const char* p = text; *p;) {
    list.push_back(atoi(p));
    const char* comma = strchr(p, ',');
    if (!comma) break;
    p = comma + 1;
  }
  return list;
}

std::string ListText(const std::vector<int>& list) {
  std::string text;
  for (int i : list) text += (text.empty() ? "" : ",") + std::to_string(i);
  return text;
}

Options OptionsFor(const Settings& settings, unsigned long long seed) {
  Options options;
  options.controlWhileRecording = settings.controlWhileRecording;
  options.idleHandOver = settings.idleEvery != 0 && seed % settings.idleEvery == 0;
  options.print = settings.print;
  return options;
}

// The list of the movies a child took to be checked (see FuzzMovies.h).
std::wstring ManifestIn(const std::wstring& checkDir) { return checkDir + L"movies.txt"; }

// ---- Child: runs the sequences, reports progress through shared memory ----

int RunChild(const Settings& settings) {
  HANDLE mapping = OpenFileMappingW(FILE_MAP_WRITE, FALSE, settings.progressName.c_str());
  Progress local = {};
  Progress* progress = &local;
  if (mapping) progress = static_cast<Progress*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(Progress)));
  FuzzHost host(settings.quickWait ? tavtest::QuickWaitDllPath().c_str() : L"TavMovieMaker.dll");
  if (!host.Loaded()) {
    printf("TavMovieMaker.dll or one of its exports was not found\n");
    return 3;
  }
  unsigned moviesTaken = 0;
  for (unsigned long long seed = settings.first; seed < settings.first + settings.count; ++seed) {
    progress->seed = static_cast<LONGLONG>(seed);
    std::vector<tavfuzz::Step> steps = tavfuzz::GenerateSequence(seed);
    const ULONGLONG start = GetTickCount64();
    Options options = OptionsFor(settings, seed);
    if (!settings.checkDir.empty()) {
      options.checkLater = [&](tavfuzz::MovieToCheck& movie) {
        const std::wstring copy = settings.checkDir + L"movie" + std::to_wstring(++moviesTaken) + L".avi";
        if (!CopyFileW(movie.file.c_str(), copy.c_str(), TRUE)) return false;
        movie.seed = seed;
        movie.file = copy;
        if (tavfuzz::AppendToManifest(ManifestIn(settings.checkDir), movie)) return true;
        DeleteFileW(copy.c_str());
        return false;
      };
    }
    Outcome outcome = host.Run(steps, settings.keep, options, [&](int step) {
      progress->step = step;
      InterlockedIncrement(&progress->beat);
    });
    progress->sequenceMs += static_cast<LONGLONG>(GetTickCount64() - start);
    progress->timeOuts += outcome.timeOuts;
    progress->timeOutMs += static_cast<LONGLONG>(outcome.timeOutMs);
    progress->moviesRead += outcome.moviesRead;
    progress->readMs += static_cast<LONGLONG>(outcome.readMs);
    if (!outcome.ok) {
      progress->badStep = outcome.step;
      snprintf(progress->message, sizeof progress->message, "%s", outcome.message.c_str());
      progress->badFile = 1;
      if (settings.print) printf("bad file at step %d: %s\n", outcome.step, outcome.message.c_str());
      return 2;
    }
    // Records under IDs the host was never given keep the writer object,
    // with its audio source, alive past the clean-up; the next sequence
    // would not start as a fresh host does (a recording of its video alone
    // would then wait out the hand-over time-out). A new process takes it.
    const bool remains = host.WriterRemains();
    if (settings.print) printf("the library's writer object %s\n", remains ? "remains" : "is gone");
    if (remains) {
      progress->nextSeed = static_cast<LONGLONG>(seed + 1);
      return 0;
    }
  }
  progress->nextSeed = static_cast<LONGLONG>(settings.first + settings.count);
  return 0;
}

// ---- Parent: starts children and watches them ----

enum class Kind { Ok, Crash, Hang, BadFile };
const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::Ok:
      return "ok";
    case Kind::Crash:
      return "CRASH";
    case Kind::Hang:
      return "HANG";
    default:
      return "BAD FILE";
  }
}

// Where the run's time went.
struct TimeSpent {
  unsigned long long processes = 0, timeOuts = 0, moviesRead = 0, readRuns = 0;
  double sequenceSeconds = 0, timeOutSeconds = 0, readSeconds = 0, checkSeconds = 0;
  void Add(const TimeSpent& other) {
    processes += other.processes, timeOuts += other.timeOuts, moviesRead += other.moviesRead;
    readRuns += other.readRuns, sequenceSeconds += other.sequenceSeconds, timeOutSeconds += other.timeOutSeconds;
    readSeconds += other.readSeconds, checkSeconds += other.checkSeconds;
  }
};

struct ChildResult {
  Kind kind = Kind::Ok;
  unsigned long long seed = 0;
  int step = -1;
  DWORD exitCode = 0;
  std::string message;
  unsigned long long nextSeed = 0;  // after a clean exit: the first seed not run
  TimeSpent spent;
};

std::wstring OwnPath() {
  wchar_t path[MAX_PATH * 2] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH * 2);
  return path;
}

// Whether the seed runs against the DLL itself rather than the build with the
// short hand-over wait (see --quick-wait).
bool RunsRealWait(const Settings& settings, unsigned long long seed) {
  return !settings.quickWait || (settings.idleEvery != 0 && seed % settings.idleEvery == 0);
}

// Reads back the movies the child listed, all with one Unix process; a bad
// one is the child's result unless the child failed on an earlier seed or on
// the same one (a crash or hang outranks its own sequence's earlier movies).
void CheckChildMovies(const std::wstring& checkDir, ChildResult& result) {
  const std::vector<tavfuzz::MovieToCheck> movies = tavfuzz::ReadManifest(ManifestIn(checkDir));
  if (!movies.empty()) {
    const auto start = std::chrono::steady_clock::now();
    const tavfuzz::MovieFailure failure = tavfuzz::CheckMovies(movies);
    result.spent.moviesRead += movies.size();
    result.spent.readRuns += 1;
    result.spent.checkSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failure.found && (result.kind == Kind::Ok || failure.movie.seed < result.seed)) {
      result.kind = Kind::BadFile;
      result.seed = failure.movie.seed;
      result.step = failure.movie.step;
      result.message = failure.message;
    }
  }
  DeleteFileW(ManifestIn(checkDir).c_str());
  RemoveDirectoryW(checkDir.c_str());  // stays when it keeps a bad movie
}

ChildResult Watch(const Settings& settings, unsigned long long first, unsigned long long count,
                  const std::vector<int>& keep, bool print) {
  static int serial = 0;
  std::wstring name =
      L"Local\\TavFuzzProgress-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++serial);
  HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Progress), name.c_str());
  auto* progress = static_cast<Progress*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(Progress)));
  ZeroMemory(progress, sizeof(Progress));
  progress->seed = static_cast<LONGLONG>(first);

  std::wstring command = L"\"" + OwnPath() + L"\" --child " + std::to_wstring(first) + L" " + std::to_wstring(count) +
                         L" --progress " + name + L" --idle-every " + std::to_wstring(settings.idleEvery);
  if (settings.controlWhileRecording) command += L" --control-while-recording";
  if (!RunsRealWait(settings, first)) command += L" --quick-wait";
  const std::wstring checkDir = tavtest::MakeTempDir();
  command += L" --check-dir " + checkDir;
  if (!keep.empty()) {
    std::string list = ListText(keep);
    command += L" --keep " + std::wstring(list.begin(), list.end());
  }
  if (print) command += L" --print";
  fflush(stdout);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  ChildResult result;
  if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
    result.kind = Kind::Crash;
    result.message = "CreateProcessW failed: " + std::to_string(GetLastError());
    return result;
  }
  LONG lastBeat = -1;
  auto lastChange = std::chrono::steady_clock::now();
  for (;;) {
    if (WaitForSingleObject(process.hProcess, 200) == WAIT_OBJECT_0) break;
    LONG beat = progress->beat;
    auto now = std::chrono::steady_clock::now();
    if (beat != lastBeat) {
      lastBeat = beat;
      lastChange = now;
    } else if (now - lastChange > std::chrono::seconds(settings.hangSeconds)) {
      TerminateProcess(process.hProcess, 0xDEAD);
      WaitForSingleObject(process.hProcess, INFINITE);
      result.kind = Kind::Hang;
      break;
    }
  }
  GetExitCodeProcess(process.hProcess, &result.exitCode);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  result.seed = static_cast<unsigned long long>(progress->seed);
  result.step = progress->step;
  result.nextSeed = static_cast<unsigned long long>(progress->nextSeed);
  result.spent.processes = 1;
  result.spent.timeOuts = static_cast<unsigned long long>(progress->timeOuts);
  result.spent.timeOutSeconds = progress->timeOutMs / 1000.0;
  result.spent.moviesRead = result.spent.readRuns = static_cast<unsigned long long>(progress->moviesRead);
  result.spent.sequenceSeconds = progress->sequenceMs / 1000.0;
  result.spent.readSeconds = progress->readMs / 1000.0;
  if (result.kind != Kind::Hang) {
    if (result.exitCode == 0) {
      result.kind = Kind::Ok;
    } else if (result.exitCode == 2 && progress->badFile) {
      result.kind = Kind::BadFile;
      result.step = progress->badStep;
      result.message = progress->message;
    } else {
      result.kind = Kind::Crash;
      char text[64];
      snprintf(text, sizeof text, "exit code 0x%08lX", result.exitCode);
      result.message = text;
    }
  }
  CheckChildMovies(checkDir, result);
  if (print && result.kind == Kind::BadFile) printf("bad file at step %d: %s\n", result.step, result.message.c_str());
  UnmapViewOfFile(progress);
  CloseHandle(mapping);
  return result;
}

// Fewest steps of the seed's sequence that still fail the same way (ddmin).
std::vector<int> Shrink(const Settings& settings, unsigned long long seed, Kind kind) {
  const std::size_t length = tavfuzz::GenerateSequence(seed).size();
  std::vector<int> keep;
  for (std::size_t i = 0; i < length; ++i) keep.push_back(static_cast<int>(i));
  std::size_t parts = 2;
  unsigned trials = 0;
  while (keep.size() >= 2 && trials < settings.shrinkTrials) {
    const std::size_t chunk = (keep.size() + parts - 1) / parts;
    bool reduced = false;
    for (std::size_t start = 0; start < keep.size() && trials < settings.shrinkTrials; start += chunk) {
      std::vector<int> rest(keep.begin(), keep.begin() + static_cast<long>(start));
      rest.insert(rest.end(), keep.begin() + static_cast<long>(std::min(keep.size(), start + chunk)), keep.end());
      if (rest.empty()) continue;
      ++trials;
      if (Watch(settings, seed, 1, rest, false).kind == kind) {
        keep = rest;
        parts = std::max<std::size_t>(parts - 1, 2);
        reduced = true;
        break;
      }
    }
    if (!reduced) {
      if (parts >= keep.size()) break;
      parts = std::min(keep.size(), parts * 2);
    }
  }
  return keep;
}

// A sequence's cost in wall time, what it went into, and what 10,000 would
// take at this rate.
void PrintTimeSpent(const TimeSpent& spent, unsigned long long sequences, double seconds) {
  if (sequences == 0) return;
  const double perSequence = seconds / static_cast<double>(sequences);
  printf(
      "time: %.2f s a sequence; inside the sequences %.0f s, of which %llu hand-over time-outs %.0f s and movies "
      "read back there %.0f s; %llu movies read back in %llu Unix processes, %.0f s after their children; %llu "
      "processes started, with the reading back and shrinking, %.0f s\n",
      perSequence, spent.sequenceSeconds, spent.timeOuts, spent.timeOutSeconds, spent.readSeconds, spent.moviesRead,
      spent.readRuns, spent.checkSeconds, spent.processes, seconds - spent.sequenceSeconds);
  printf("at this rate 10000 sequences take %.0f min\n", perSequence * 10000 / 60);
}

int RunParent(const Settings& settings) {
  const auto begin = std::chrono::steady_clock::now();
  unsigned long long ok = 0, crashes = 0, hangs = 0, badFiles = 0;
  TimeSpent spent;
  const unsigned long long end = settings.first + settings.count;
  for (unsigned long long seed = settings.first; seed < end;) {
    // A batch runs against one DLL: the seeds that run against the DLL itself
    // among those with the short wait run alone.
    unsigned long long count = std::min<unsigned long long>(settings.batch, end - seed);
    if (settings.quickWait && settings.idleEvery != 0) {
      count = RunsRealWait(settings, seed) ? 1 : std::min(count, settings.idleEvery - seed % settings.idleEvery);
    }
    ChildResult r = Watch(settings, seed, count, settings.keep, false);
    spent.Add(r.spent);
    if (r.kind == Kind::Ok) {
      const unsigned long long next = std::min(std::max(r.nextSeed, seed + 1), seed + count);
      ok += next - seed;
      seed = next;
      continue;
    }
    ok += r.seed - seed;
    (r.kind == Kind::Crash ? crashes : r.kind == Kind::Hang ? hangs : badFiles) += 1;
    printf("%s: seed %llu, step %d (%s)\n", KindName(r.kind), r.seed, r.step, r.message.c_str());
    ChildResult alone = Watch(settings, r.seed, 1, settings.keep, false);
    if (alone.kind != r.kind) {
      printf("  alone, seed %llu gives %s: the failure needs the seeds from %llu before it in one process\n", r.seed,
             KindName(alone.kind), seed);
    } else {
      std::vector<int> minimal = Shrink(settings, r.seed, r.kind);
      printf("  minimal sequence (replay: tav_fuzz --replay %llu --keep %s):\n", r.seed, ListText(minimal).c_str());
      Watch(settings, r.seed, 1, minimal, true);
    }
    seed = r.seed + 1;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  printf("sequences %llu: ok %llu, crashes %llu, hangs %llu, bad files %llu (%.0f s)\n", settings.count, ok, crashes,
         hangs, badFiles, seconds);
  PrintTimeSpent(spent, settings.count, seconds);
  return crashes + hangs + badFiles == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  enum { None, Run, Replay, Child } mode = None;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    auto next = [&]() -> const char* { return i + 1 < argc ? argv[++i] : ""; };
    if (arg == "--run" || arg == "--child") {
      mode = arg == "--run" ? Run : Child;
      settings.first = strtoull(next(), nullptr, 10);
      settings.count = strtoull(next(), nullptr, 10);
    } else if (arg == "--replay") {
      mode = Replay;
      settings.first = strtoull(next(), nullptr, 10);
      settings.count = 1;
      settings.print = true;
    } else if (arg == "--batch") {
      settings.batch = static_cast<unsigned>(std::max(1, atoi(next())));
    } else if (arg == "--hang-seconds") {
      settings.hangSeconds = static_cast<unsigned>(atoi(next()));
    } else if (arg == "--idle-every") {
      settings.idleEvery = static_cast<unsigned>(atoi(next()));
    } else if (arg == "--shrink-trials") {
      settings.shrinkTrials = static_cast<unsigned>(atoi(next()));
    } else if (arg == "--quick-wait") {
      settings.quickWait = true;
    } else if (arg == "--check-dir") {
      std::string dir = next();
      settings.checkDir.assign(dir.begin(), dir.end());
    } else if (arg == "--control-while-recording") {
      settings.controlWhileRecording = true;
    } else if (arg == "--keep") {
      settings.keep = ParseList(next());
    } else if (arg == "--progress") {
      std::string name = next();
      settings.progressName.assign(name.begin(), name.end());
    } else if (arg == "--print") {
      settings.print = true;
    } else {
      printf("unknown argument %s\n", arg.c_str());
      return 64;
    }
  }
  switch (mode) {
    case Run:
      return RunParent(settings);
    case Child:
    case Replay:
      return RunChild(settings);
    default:
      printf("usage: tav_fuzz --run FIRST COUNT [options] | --replay SEED [--keep I,J,...]\n");
      return 64;
  }
}
