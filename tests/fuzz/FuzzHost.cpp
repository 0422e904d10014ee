#include "tests/fuzz/FuzzHost.h"

#include <TavMovieMaker.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>
#include <thread>

#include "tests/api/MovieCheck.h"
#include "tests/common/UnixTools.h"

namespace tavfuzz {

struct FuzzHost::Exports {
  TavMovieMakerInitExFn InitEx;
  TavMovieMakerInit2Fn Init2;
  TavMovieMakerInitFn Init;
  TavMovieMakerReleaseFn Release;
  TavMovieMakerStartMovieRecordFn Start;
  TavMovieMakerStopMovieRecordFn Stop;
  TavMovieMakerSetAudioStreamFn SetAudioStream;
  TavMovieMakerAddMovieFrame2Fn AddFrame2;
  TavMovieMakerAddMovieFrameFn AddFrame;
  TavMovieMakerAddAudioSample2Fn AddAudio2;
  TavMovieMakerAddAudioSampleFn AddAudio;
  TavMovieMakerAddBreakFrameFn AddBreak;
  TavMovieMakerGetCompressorsFn GetCompressors;
  TavMovieMakerGetAudioCompressorsFn GetAudioCompressors;
  TavMovieMakerSetCompressorFn SetCompressor;
  TavMovieMakerSetAudioCompressorFn SetAudioCompressor;
  TavMovieMakerShowCompressorDlgFn ShowCompressorDlg;
  TavMovieMakerShowAudioCompressorDlgFn ShowAudioCompressorDlg;
  decltype(&TavLogCreateEngine) LogCreateEngine;
  decltype(&TavLogDeleteEngine) LogDeleteEngine;
  decltype(&TavLogAttachCallback) LogAttachCallback;
  decltype(&TavLogAttachFile) LogAttachFile;
  decltype(&TavLogAttachDebugger) LogAttachDebugger;
  decltype(&TavLogSetSink) LogSetSink;
  decltype(&TavLogDetachSink) LogDetachSink;
  decltype(&TavLogListen) LogListen;
  decltype(&TavLogModuleKey) LogModuleKey;
  decltype(&TavLogWrite) LogWrite;
};

namespace {

// Large enough for any frame the sequences can ask for: 1024 x 1024 pixels
// of 4 bytes (rows already padded), and for any audio block handed in.
constexpr std::size_t kBufferSize = 4u * 1024 * 1024 + 65536;
constexpr std::uint32_t kMaxGapSlots = 100000;  // the mux's limit for one gap

template <class Fn>
bool Find(HMODULE dll, const char* name, Fn& fn) {
  fn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
  return fn != nullptr;
}

template <class T, std::size_t N>
T Pick(const T (&values)[N], std::uint32_t choice) {
  return values[(choice - 1) % N];
}

std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::string Text(const wchar_t* text) {
  if (text == nullptr) return "NULL";
  std::wstring t(text);
  if (t.size() > 40) return "L\"" + Narrow(t.substr(0, 20)) + "...\"(" + std::to_string(t.size()) + " chars)";
  return "L\"" + Narrow(t) + "\"";
}

std::string Decimal(long long v) {
  char text[32];
  snprintf(text, sizeof text, "%lld", v);
  return text;
}

int CountLine(void* context, const wchar_t*, int, unsigned int) {
  ++*static_cast<long long*>(context);
  return 0;
}

// Closes whatever window of this process is shown while a dialog export runs,
// as a user pressing Cancel would.
BOOL CALLBACK CloseOwnWindow(HWND window, LPARAM) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  if (process == GetCurrentProcessId() && IsWindowVisible(window)) {
    PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    PostMessageW(window, WM_CLOSE, 0, 0);
  }
  return TRUE;
}

class DialogCloser {
 public:
  DialogCloser()
      : thread_([this] {
          while (!done_) {
            Sleep(50);
            EnumWindows(CloseOwnWindow, 0);
          }
        }) {}
  ~DialogCloser() {
    done_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

struct Writer {
  int width = 0, height = 0;
  unsigned bytesPerPixel = 3;
  double fps = 25;
  std::size_t FrameBytes() const {
    std::size_t row = (static_cast<std::size_t>(std::abs(width)) * bytesPerPixel + 3) & ~std::size_t(3);
    return row * static_cast<std::size_t>(std::abs(height));
  }
};

// A recording that may turn out clean (see the header).
struct Recording {
  bool open = false;
  int id = 0;
  int startStep = 0;
  std::wstring file;
  int framesAcknowledged = 0;
  bool everyCallOk = true;
  bool slotsKnown = true;  // frames numbered in order at a sane rate
  long long slots = 0;     // slots the mux writes (gaps capped)
  long long uncappedSlots = 0;
  long long lastNumber = 0;
};

}  // namespace

struct FuzzHost::State {
  std::wstring dir;
  int fileCounter = 0;
  std::vector<int> issued;
  std::vector<int> released;
  std::map<int, Writer> writers;
  // The IDs whose records the library's registry still holds. Any export
  // that loads a writer's record, given an ID the registry does not hold,
  // makes the library drop the whole registry for a fresh one (whose only
  // record has an ID the host was never given): every ID issued so far is
  // unknown from then on, and a recording started on one goes into the file
  // of the writer's last recording. Such recordings are not judged.
  std::set<int> registered;
  // Release closes the hand-over's events of the one writer object, which
  // stays while records remain; until the next Init* sets them up again, a
  // hand-over neither waits for the source pin nor hands the frame over
  // reliably. Recordings started then are not judged either.
  bool eventsClosed = false;
  bool running = false;      // a recording has been started and not stopped
  bool audioStream = false;  // SetAudioStream succeeded
  bool timedOut = false;     // a hand-over waited in vain: leave the rest out
  bool idleUsed = false;
  long long videoTime = 0, videoNumber = -1, audioTime = 0, audioNumber = -1;
  std::vector<std::wstring> videoNames, audioNames;
  long long logLines = 0;
  Recording rec;
};

FuzzHost::FuzzHost(const wchar_t* dllPath) : x_(new Exports()), buffer_(kBufferSize) {
  for (std::size_t i = 0; i < buffer_.size(); ++i) buffer_[i] = static_cast<unsigned char>(i * 7);
  dll_ = LoadLibraryW(dllPath);
  if (!dll_) return;
  Exports& x = *x_;
  loaded_ =
      Find(dll_, "TavMovieMakerInitEx", x.InitEx) && Find(dll_, "TavMovieMakerInit2", x.Init2) &&
      Find(dll_, "TavMovieMakerInit", x.Init) && Find(dll_, "TavMovieMakerRelease", x.Release) &&
      Find(dll_, "TavMovieMakerStartMovieRecord", x.Start) && Find(dll_, "TavMovieMakerStopMovieRecord", x.Stop) &&
      Find(dll_, "TavMovieMakerSetAudioStream", x.SetAudioStream) &&
      Find(dll_, "TavMovieMakerAddMovieFrame2", x.AddFrame2) && Find(dll_, "TavMovieMakerAddMovieFrame", x.AddFrame) &&
      Find(dll_, "TavMovieMakerAddAudioSample2", x.AddAudio2) &&
      Find(dll_, "TavMovieMakerAddAudioSample", x.AddAudio) && Find(dll_, "TavMovieMakerAddBreakFrame", x.AddBreak) &&
      Find(dll_, "TavMovieMakerGetCompressors", x.GetCompressors) &&
      Find(dll_, "TavMovieMakerGetAudioCompressors", x.GetAudioCompressors) &&
      Find(dll_, "TavMovieMakerSetCompressor", x.SetCompressor) &&
      Find(dll_, "TavMovieMakerSetAudioCompressor", x.SetAudioCompressor) &&
      Find(dll_, "TavMovieMakerShowCompressorDlg", x.ShowCompressorDlg) &&
      Find(dll_, "TavMovieMakerShowAudioCompressorDlg", x.ShowAudioCompressorDlg) &&
      Find(dll_, "TavLogCreateEngine", x.LogCreateEngine) && Find(dll_, "TavLogDeleteEngine", x.LogDeleteEngine) &&
      Find(dll_, "TavLogAttachCallback", x.LogAttachCallback) && Find(dll_, "TavLogAttachFile", x.LogAttachFile) &&
      Find(dll_, "TavLogAttachDebugger", x.LogAttachDebugger) && Find(dll_, "TavLogSetSink", x.LogSetSink) &&
      Find(dll_, "TavLogDetachSink", x.LogDetachSink) && Find(dll_, "TavLogListen", x.LogListen) &&
      Find(dll_, "TavLogModuleKey", x.LogModuleKey) && Find(dll_, "TavLogWrite", x.LogWrite);
}

FuzzHost::~FuzzHost() { delete x_; }

// SetAudioStream answers E_POINTER before anything else when there is no
// writer object; with one it refuses ID 0 or finds its audio source, either
// way changing nothing.
bool FuzzHost::WriterRemains() { return x_->SetAudioStream(0, 16) != E_POINTER; }

namespace {

const int kEngines[] = {0, -1, 1, 7, 99, INT_MIN};

std::wstring LongName(wchar_t c, std::size_t length) { return std::wstring(length, c); }

// The sequence's folder and the files in it (it has no subfolders).
void RemoveFolder(const std::wstring& dir) {
  WIN32_FIND_DATAW found;
  HANDLE find = FindFirstFileW((dir + L"*").c_str(), &found);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileW((dir + found.cFileName).c_str());
    } while (FindNextFileW(find, &found));
    FindClose(find);
  }
  RemoveDirectoryW(dir.c_str());
}

}  // namespace

Outcome FuzzHost::Run(const std::vector<Step>& steps, const std::vector<int>& keep, const Options& options,
                      const StepObserver& observe) {
  Exports& x = *x_;
  State s;
  s.dir = tavtest::MakeTempDir();
  Outcome outcome;
  unsigned char* data = buffer_.data();

  ULONGLONG callStart = 0;
  auto print = [&](int index, const std::string& call) {
    callStart = GetTickCount64();
    if (options.print) {
      printf("#%d %s\n", index, call.c_str());
      fflush(stdout);
    }
  };
  auto printResult = [&](long long result) {
    if (options.print) {
      printf("    -> 0x%08llX (%llu ms)\n", static_cast<unsigned long long>(result) & 0xFFFFFFFFull,
             GetTickCount64() - callStart);
      fflush(stdout);
    }
  };

  auto resolveId = [&](std::uint32_t choice) -> int {
    if (choice == 0) return s.issued.empty() ? 0 : s.issued.back();
    switch (choice % 7) {
      case 0:
        return 0;
      case 1:
        return -1;
      case 2:
        return INT_MIN;
      case 3:
        return 424242;
      case 4:
        return s.issued.empty() ? 1 : s.issued[choice / 7 % s.issued.size()];
      case 5:
        return s.released.empty() ? 2 : s.released[choice / 7 % s.released.size()];
      default:
        return INT_MAX;
    }
  };
  auto freshFile = [&]() { return s.dir + L"m" + std::to_wstring(++s.fileCounter) + L".avi"; };
  auto writerOf = [&](int id) -> Writer {
    auto it = s.writers.find(id);
    return it == s.writers.end() ? Writer() : it->second;
  };
  auto loadRecord = [&](Call call, int id) {
    switch (call) {
      case Call::Start:
      case Call::Stop:
      case Call::SetAudioStream:
      case Call::AddFrame2:
      case Call::AddFrame:
      case Call::AddAudio2:
      case Call::AddAudio:
      case Call::AddBreak:
      case Call::SetCompressor:
      case Call::SetAudioCompressor:
      case Call::ShowCompressorDlg:
      case Call::ShowAudioCompressorDlg:
        if (s.registered.count(id) == 0) s.registered.clear();
        break;
      default:
        break;
    }
  };
  // A recording stays clean only through the calls listed in the header.
  auto touch = [&](Call call, int id) {
    loadRecord(call, id);
    if (!s.rec.open) return;
    switch (call) {
      case Call::GetCompressors:
      case Call::GetAudioCompressors:
      case Call::LogCreateEngine:
      case Call::LogDeleteEngine:
      case Call::LogAttachCallback:
      case Call::LogAttachFile:
      case Call::LogAttachDebugger:
      case Call::LogSetSink:
      case Call::LogDetachSink:
      case Call::LogListen:
      case Call::LogModuleKey:
      case Call::LogWrite:
        return;
      case Call::AddFrame2:
      case Call::AddFrame:
      case Call::AddAudio2:
      case Call::AddAudio:
      case Call::AddBreak:
      case Call::Stop:
        if (id == s.rec.id) return;
        break;
      default:
        break;
    }
    s.rec.open = false;
  };
  auto issue = [&](HRESULT hr, int id, const Writer& w) {
    if (hr != S_OK) return;
    bool known = false;
    for (int i : s.issued) known = known || i == id;
    if (!known) s.issued.push_back(id);
    s.registered.insert(id);
    s.writers[id] = w;
    s.running = false;
  };
  auto checkRecording = [&](int stepIndex) {
    Recording& r = s.rec;
    r.open = false;
    if (!r.everyCallOk || r.framesAcknowledged == 0 || !outcome.ok) return;
    MovieToCheck movie;
    movie.step = stepIndex;
    movie.startStep = r.startStep;
    movie.file = r.file;
    movie.frames = r.framesAcknowledged;
    movie.slotsKnown = r.slotsKnown;
    movie.slots = r.slots;
    if (options.checkLater && options.checkLater(movie)) return;
    observe(stepIndex);  // reading back takes a while: still making progress
    const ULONGLONG readStart = GetTickCount64();
    const std::vector<tavtest::ProbedMovie> probed = tavtest::ProbePacketsOfEach({r.file}, "v:0");
    ++outcome.moviesRead;
    outcome.readMs += GetTickCount64() - readStart;
    const std::string message = Judge(movie, probed[0]);
    if (!message.empty()) outcome = {false, stepIndex, message};
  };

  auto runStep = [&](int index, const Step& step) {
    const std::uint32_t* a = step.arg;
    const char* name = CallName(step.call);
    switch (step.call) {
      case Call::InitEx:
      case Call::Init2:
      case Call::Init: {
        if (s.running && !options.controlWhileRecording) return;
        static const int widths[] = {0, -1, 1, 2, 3, 17, 33, 64, 100, -7, 1024, -1024, 640};
        static const int heights[] = {0, -1, 1, 2, -3, 5, 16, -16, 240, 1024, -1024};
        static const double fpsList[] = {0.0,
                                         std::numeric_limits<double>::quiet_NaN(),
                                         -25.0,
                                         -0.5,
                                         1e300,
                                         -1e300,
                                         std::numeric_limits<double>::infinity(),
                                         1e-3,
                                         0.5,
                                         1.0,
                                         29.97,
                                         1000.0,
                                         1e6};
        static const int intFps[] = {0, -1, 1, 30, 1000, INT_MAX, INT_MIN};
        static const unsigned pixels[] = {0u, 1u, 2u, 3u, 4u, 255u, 0xFFFFFFFFu, 0x80000000u};
        Writer w;
        w.width = a[0] ? Pick(widths, a[0]) : 32;
        w.height = a[1] ? Pick(heights, a[1]) : 16;
        int fpsInt = a[2] ? Pick(intFps, a[2]) : 25;
        w.fps = step.call == Call::Init ? fpsInt : (a[2] ? Pick(fpsList, a[2]) : 25.0);
        unsigned pixel = a[3] ? Pick(pixels, a[3]) : 0;
        static const unsigned bytes[] = {3, 4, 1, 2};
        w.bytesPerPixel = pixel < 4 ? bytes[pixel] : 3;
        int id = 0;
        if (a[4]) {
          switch (a[4] % 5) {
            case 0:
              id = resolveId(a[4] / 5 * 7 + 4);
              break;
            case 1:
              id = resolveId(a[4] / 5 * 7 + 5);
              break;
            case 2:
              id = -1;
              break;
            case 3:
              id = 777777;
              break;
            default:
              id = s.issued.empty() ? 0 : s.issued.back();
              break;
          }
        }
        const bool nullId = a[4] % 11 == 10;
        const bool withPixel = step.call == Call::InitEx && a[3] != 0 && a[3] % 9 != 0;
        char text[200];
        snprintf(text, sizeof text, "%s(%d, %d, %g, %s%u, %s%d)", name, w.width, w.height, w.fps,
                 withPixel ? "&" : "NULL/", pixel, nullId ? "NULL/" : "&", id);
        print(index, text);
        touch(step.call, id);
        HRESULT hr;
        int* pId = nullId ? nullptr : &id;
        if (step.call == Call::InitEx) hr = x.InitEx(w.width, w.height, w.fps, withPixel ? &pixel : nullptr, pId);
        else if (step.call == Call::Init2) hr = x.Init2(w.width, w.height, w.fps, pId);
        else hr = x.Init(w.width, w.height, fpsInt, pId);
        if (!withPixel) w.bytesPerPixel = 3;
        printResult(hr);
        if (!nullId) issue(hr, id, w);
        if (hr == S_OK) s.eventsClosed = false;
        s.timedOut = false;
        return;
      }
      case Call::Release: {
        int id = resolveId(a[0]);
        print(index, std::string(name) + "(" + std::to_string(id) + ")");
        touch(step.call, id);
        x.Release(id);
        printResult(0);
        s.eventsClosed = true;
        s.registered.erase(id);
        s.running = false;
        for (std::size_t i = 0; i < s.issued.size(); ++i) {
          if (s.issued[i] == id) {
            s.issued.erase(s.issued.begin() + static_cast<long>(i));
            s.released.push_back(id);
            break;
          }
        }
        if (s.issued.empty()) s.audioStream = false;
        return;
      }
      case Call::Start: {
        if (s.running && !options.controlWhileRecording) return;
        int id = resolveId(a[0]);
        std::wstring file;
        const wchar_t* fileName = nullptr;
        if (a[1] == 0) {
          file = freshFile();
          fileName = file.c_str();
        } else {
          switch (a[1] % 6) {
            case 0:
              break;
            case 1:
              file = L"";
              fileName = file.c_str();
              break;
            case 2:
              file = s.dir + L"missing\\folder\\m.avi";
              fileName = file.c_str();
              break;
            case 3:
              file = s.dir + LongName(L'n', 300) + L".avi";
              fileName = file.c_str();
              break;
            case 4:
              file = s.dir;
              fileName = file.c_str();
              break;
            default:
              file = s.dir + L"m" + std::to_wstring(s.fileCounter) + L".avi";
              fileName = file.c_str();
              break;
          }
        }
        print(index, std::string(name) + "(" + std::to_string(id) + ", " + Text(fileName) + ")");
        touch(step.call, id);
        HRESULT hr = x.Start(id, fileName);
        printResult(hr);
        if (hr == S_OK) {
          s.running = true;
          s.timedOut = false;
          s.videoTime = s.audioTime = 0;
          s.videoNumber = s.audioNumber = -1;
          Writer w = writerOf(id);
          s.rec = Recording();
          s.rec.open = a[1] == 0 && s.writers.count(id) != 0 && s.registered.count(id) != 0 && !s.eventsClosed;
          s.rec.id = id;
          s.rec.startStep = index;
          s.rec.file = file;
          s.rec.slotsKnown = w.fps >= 0.5 && w.fps <= 1000;
        }
        return;
      }
      case Call::Stop: {
        int id = resolveId(a[0]);
        print(index, std::string(name) + "(" + std::to_string(id) + ")");
        touch(step.call, id);
        HRESULT hr = x.Stop(id);
        printResult(hr);
        if (hr == S_OK) s.running = false;
        if (s.rec.open && id == s.rec.id) {
          if (hr == S_OK) checkRecording(index);
          else s.rec.open = false;
        }
        return;
      }
      case Call::SetAudioStream: {
        static const unsigned bits[] = {24u, 0u, 8u, 32u, 0xFFFFFFFFu};
        int id = resolveId(a[0]);
        unsigned b = a[1] ? Pick(bits, a[1]) : 16u;
        print(index, std::string(name) + "(" + std::to_string(id) + ", " + std::to_string(b) + ")");
        touch(step.call, id);
        HRESULT hr = x.SetAudioStream(id, b);
        printResult(hr);
        if (hr == S_OK) s.audioStream = true;
        return;
      }
      case Call::AddFrame2:
      case Call::AddFrame:
      case Call::AddAudio2:
      case Call::AddAudio: {
        const bool video = step.call == Call::AddFrame2 || step.call == Call::AddFrame;
        const bool numbered = step.call == Call::AddFrame2 || step.call == Call::AddAudio2;
        if (s.timedOut) return;
        if (!s.running || (!video && !s.audioStream)) {
          if (!options.idleHandOver || s.idleUsed) return;
          s.idleUsed = true;
        }
        int id = resolveId(a[0]);
        Writer w = writerOf(id);
        const long long frame = w.fps > 0 && w.fps < 1e7 ? static_cast<long long>(10000000.0 / w.fps) : 400000;
        void* pData = a[1] && a[1] % 3 == 0 ? nullptr : data;
        static const unsigned sizes[] = {0u, 1u, 3u, 0xFFFFFFFFu, 0x80000000u, 12345u, kBufferSize, 4u, 7u};
        unsigned size;
        if (video) {
          size = a[2] ? Pick(sizes, a[2]) : static_cast<unsigned>(w.FrameBytes());
        } else {
          size = a[2] ? Pick(sizes, a[2])
                      : static_cast<unsigned>(std::min<double>(kBufferSize, 192000.0 / std::max(w.fps, 1.0)));
          if (size > kBufferSize) size = kBufferSize;  // the buffer passed holds it all
        }
        long long& lastTime = video ? s.videoTime : s.audioTime;
        long long& lastNumber = video ? s.videoNumber : s.audioNumber;
        static const long long timeJumps[] = {0, -5, 1000000000LL, 3, LLONG_MAX / 2};
        long long time;
        if (a[3] == 0) time = lastNumber < 0 && lastTime == 0 ? 0 : lastTime + frame;
        else if (a[3] % 7 == 5) time = -1;
        else if (a[3] % 7 == 6) time = LLONG_MAX;
        else time = lastTime + Pick(timeJumps, a[3]) * frame;
        static const long long numberJumps[] = {0, -3, 2, 1000000000LL, 1000000000000LL, 5};
        long long number;
        if (!numbered) number = -1;
        else if (a[4] == 0) number = lastNumber + 1;
        else if (a[4] % 9 == 7) number = -1;
        else if (a[4] % 9 == 8) number = 0;
        else number = lastNumber + Pick(numberJumps, a[4]);
        char text[200];
        snprintf(text, sizeof text, "%s(%d, %s, %u, %lld%s)", name, id, pData ? "buffer" : "NULL", size, time,
                 numbered ? (", " + Decimal(number)).c_str() : "");
        print(index, text);
        touch(step.call, id);
        HRESULT hr;
        if (step.call == Call::AddFrame2) hr = x.AddFrame2(id, pData, size, time, number);
        else if (step.call == Call::AddFrame) hr = x.AddFrame(id, pData, size, time);
        else if (step.call == Call::AddAudio2) hr = x.AddAudio2(id, pData, size, time, number);
        else hr = x.AddAudio(id, pData, size, time);
        printResult(hr);
        if (hr == TAVMM_E_TIMEOUT) {
          s.timedOut = true;
          ++outcome.timeOuts;
          outcome.timeOutMs += GetTickCount64() - callStart;
        }
        lastTime = time;
        if (numbered && number != -1) lastNumber = number;
        Recording& r = s.rec;
        if (r.open && id == r.id) {
          if (hr != S_OK) {
            r.everyCallOk = false;
          } else if (video) {
            if (number == -1) {  // drops found by capture time are not modelled
              r.slotsKnown = false;
            } else if (r.framesAcknowledged == 0) {
              r.slots = r.uncappedSlots = 1;
            } else {
              long long d = number - r.lastNumber;
              if (d < 0) {
                r.slotsKnown = false;
              } else {
                long long gap = d > 1 ? d - 1 : 0;
                r.uncappedSlots += gap + 1;
                r.slots += std::min<long long>(gap, kMaxGapSlots) + 1;
                if (r.uncappedSlots > INT_MAX / 2) r.slotsKnown = false;
              }
            }
            r.lastNumber = number;
            ++r.framesAcknowledged;
          }
        }
        return;
      }
      case Call::AddBreak: {
        if (!s.running) return;
        int id = resolveId(a[0]);
        print(index, std::string(name) + "(" + std::to_string(id) + ")");
        touch(step.call, id);
        HRESULT hr = x.AddBreak(id);
        printResult(hr);
        if (s.rec.open && id == s.rec.id) s.rec.slotsKnown = false;
        return;
      }
      case Call::GetCompressors:
      case Call::GetAudioCompressors: {
        const bool video = step.call == Call::GetCompressors;
        int id = resolveId(a[0]);
        std::vector<std::wstring>& listed = video ? s.videoNames : s.audioNames;
        // The first call (count 0), or the second with buffers of the sizes
        // the first reported, or odd sizes; never more than is passed.
        int count = 0, maxLength = 0;
        int lastCount = static_cast<int>(listed.size());
        bool second = a[1] == 0 ? lastCount > 0 : a[1] % 5 >= 2;
        std::vector<std::wstring> buffers;
        std::vector<wchar_t*> names;
        if (second) {
          count = a[1] == 0 || a[1] % 5 == 2 ? std::max(lastCount, 1) : (a[1] % 5 == 3 ? 1 : 64);
          maxLength = a[1] == 0 || a[1] % 5 == 2 ? 262 : (a[1] % 5 == 3 ? 1 : 300);
          buffers.assign(static_cast<std::size_t>(count), std::wstring(static_cast<std::size_t>(maxLength), L'\0'));
          for (std::wstring& b : buffers) names.push_back(&b[0]);
        }
        const bool nullCount = a[2] % 7 == 1, nullLength = a[2] % 7 == 2, nullNames = second && a[2] % 7 == 3;
        char text[200];
        snprintf(text, sizeof text, "%s(%d, %s, %s%d, %s%d)", name, id, second && !nullNames ? "names" : "NULL",
                 nullCount ? "NULL/" : "&", count, nullLength ? "NULL/" : "&", maxLength);
        print(index, text);
        touch(step.call, id);
        HRESULT hr = (video ? x.GetCompressors : x.GetAudioCompressors)(
            id, nullNames || !second ? nullptr : names.data(), nullCount ? nullptr : &count,
            nullLength ? nullptr : &maxLength);
        printResult(hr);
        if (hr == S_OK && !second && !nullCount && count > 0 && count < 64 && maxLength <= 262)
          listed.assign(static_cast<std::size_t>(count), L"");
        if (hr == S_OK && second && !nullNames) {
          listed.clear();
          for (const std::wstring& b : buffers) listed.push_back(b.c_str());
        }
        return;
      }
      case Call::SetCompressor:
      case Call::SetAudioCompressor: {
        const bool video = step.call == Call::SetCompressor;
        int id = resolveId(a[0]);
        const std::vector<std::wstring>& listed = video ? s.videoNames : s.audioNames;
        std::wstring nameText;
        const wchar_t* nameArg = nullptr;
        if (a[1] == 0) {
          nameArg = video ? L"Uncompressed" : L"PCM (Uncompressed)";
        } else {
          switch (a[1] % 7) {
            case 0:
              break;
            case 1:
              nameArg = L"";
              break;
            case 2:
              nameArg = L"No Such Codec";
              break;
            case 3:
              nameText = LongName(L'c', 300);
              nameArg = nameText.c_str();
              break;
            case 4:
              nameArg = video ? L"Uncompressed" : L"PCM (Uncompressed)";
              break;
            case 5:
              nameArg = video ? L"Microsoft RLE" : L"GSM 6.10";
              break;
            default:
              nameText = listed.empty() ? L"A-Law" : listed[a[1] / 7 % listed.size()];
              nameArg = nameText.c_str();
              break;
          }
        }
        bool hasDialog = false;
        const bool nullDialog = a[2] % 4 == 1;
        print(index, std::string(name) + "(" + std::to_string(id) + ", " + Text(nameArg) +
                         (video ? (nullDialog ? ", NULL)" : ", &hasDialog)") : ")"));
        touch(step.call, id);
        HRESULT hr =
            video ? x.SetCompressor(id, nameArg, nullDialog ? nullptr : &hasDialog) : x.SetAudioCompressor(id, nameArg);
        printResult(hr);
        return;
      }
      case Call::ShowCompressorDlg:
      case Call::ShowAudioCompressorDlg: {
        int id = resolveId(a[0]);
        print(index, std::string(name) + "(" + std::to_string(id) + ", NULL)");
        touch(step.call, id);
        DialogCloser closer;
        HRESULT hr = step.call == Call::ShowCompressorDlg ? x.ShowCompressorDlg(id, nullptr)
                                                          : x.ShowAudioCompressorDlg(id, nullptr);
        printResult(hr);
        return;
      }
      default:
        break;
    }
    // The log's registration side.
    static const unsigned severities[] = {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 0xFFFFFFFFu};
    static const unsigned layouts[] = {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFFFFFu};
    const int engine = a[0] ? Pick(kEngines, a[0]) : 0;
    const unsigned severity = a[1] ? Pick(severities, a[1]) : 1u;
    const unsigned layout = a[2] ? Pick(layouts, a[2]) : 2u;
    int sinkIndex = -1;
    int* pSink = a[3] % 5 == 1 ? nullptr : &sinkIndex;
    touch(step.call, 0);
    HRESULT hr = S_OK;
    std::string args = std::to_string(engine);
    switch (step.call) {
      case Call::LogCreateEngine:
        print(index, std::string(name) + "(" + args + ", " + std::to_string(severity) + ")");
        hr = x.LogCreateEngine(engine, severity);
        break;
      case Call::LogDeleteEngine:
        print(index, std::string(name) + "(" + args + ")");
        hr = x.LogDeleteEngine(engine);
        break;
      case Call::LogAttachCallback: {
        TavLogLineFn fn = a[4] % 4 == 1 ? nullptr : CountLine;
        print(index, std::string(name) + "(" + args + ", " + std::to_string(layout) + ", " + std::to_string(severity) +
                         (fn ? ", fn" : ", NULL") + ", ctx, &index)");
        hr = x.LogAttachCallback(engine, layout, severity, fn, &s.logLines, pSink);
        break;
      }
      case Call::LogAttachFile: {
        std::wstring path = s.dir + L"log" + std::to_wstring(index) + L".txt";
        const wchar_t* p = path.c_str();
        if (a[4] % 4 == 1) p = nullptr;
        if (a[4] % 4 == 2) path = s.dir + L"missing\\log.txt", p = path.c_str();
        print(index, std::string(name) + "(" + args + ", " + std::to_string(layout) + ", " + std::to_string(severity) +
                         ", " + Text(p) + ", &index)");
        hr = x.LogAttachFile(engine, layout, severity, p, pSink);
        break;
      }
      case Call::LogAttachDebugger:
        print(index, std::string(name) + "(" + args + ", " + std::to_string(layout) + ", " + std::to_string(severity) +
                         ", &index)");
        hr = x.LogAttachDebugger(engine, layout, severity, pSink);
        break;
      case Call::LogSetSink:
      case Call::LogDetachSink: {
        static const int indexes[] = {1, -1, 100, INT_MAX, INT_MIN};
        int sink = a[4] ? Pick(indexes, a[4]) : 0;
        print(index, std::string(name) + "(" + args + ", " + std::to_string(sink) + ")");
        hr = step.call == Call::LogSetSink ? x.LogSetSink(engine, sink, layout, severity)
                                           : x.LogDetachSink(engine, sink);
        break;
      }
      case Call::LogListen: {
        static const unsigned long long keys[] = {0ull, 1ull, ~0ull};
        unsigned long long key = a[4] ? Pick(keys, a[4]) : x.LogModuleKey();
        print(index, std::string(name) + "(" + args + ", " + std::to_string(key) + ")");
        hr = x.LogListen(engine, key);
        break;
      }
      case Call::LogModuleKey:
        print(index, std::string(name) + "()");
        hr = static_cast<HRESULT>(x.LogModuleKey() != 0 ? S_OK : S_FALSE);
        break;
      case Call::LogWrite: {
        std::string function = a[4] % 3 == 1 ? std::string(300, 'f') : "Host::Fuzz";
        std::wstring message = a[5] % 3 == 1 ? LongName(L'm', 1000) : L"fuzz marker";
        const char* f = a[4] % 3 == 2 ? nullptr : function.c_str();
        const wchar_t* m = a[5] % 3 == 2 ? nullptr : message.c_str();
        print(index, std::string(name) + "(" + args + ", " + std::to_string(severity) + ", 0, " +
                         (f ? "\"...\"" : "NULL") + ", " + Text(m) + ")");
        hr = x.LogWrite(engine, severity, 0, f, m);
        break;
      }
      default:
        break;
    }
    printResult(hr);
  };

  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!keep.empty() && std::find(keep.begin(), keep.end(), static_cast<int>(i)) == keep.end()) continue;
    observe(static_cast<int>(i));
    runStep(static_cast<int>(i), steps[i]);
  }
  // Clean-up, so the next sequence starts as a fresh host would: every writer
  // stopped and released, every log engine deleted.
  int index = static_cast<int>(steps.size());
  observe(index);
  std::vector<int> ids = s.issued;
  for (int id : ids) {
    print(index, "TavMovieMakerStopMovieRecord(" + std::to_string(id) + ")");
    printResult(x.Stop(id));
    if (s.rec.open && id == s.rec.id) s.rec.open = false;
  }
  for (int id : ids) {
    print(index, "TavMovieMakerRelease(" + std::to_string(id) + ")");
    x.Release(id);
  }
  for (int engine : kEngines) x.LogDeleteEngine(engine);
  // Records under IDs the host was never given (see State::registered) keep
  // the writer object. The only one left is the newest; which ID it has is
  // found without changing the ID counter (each Init counts up, each Release
  // with a writer counts down, each unknown ID makes a fresh registry whose
  // record counts up): a new writer shows the counter, releasing it counts
  // back; when the writer still remains, an unknown ID replaces the registry
  // by a record with the ID just seen, and releasing that takes the writer.
  if (WriterRemains()) {
    int id = INT_MIN;
    print(index, "TavMovieMakerInit2(32, 16, 25, &" + std::to_string(id) + ")");
    HRESULT hr = x.Init2(32, 16, 25.0, &id);
    printResult(hr);
    if (hr == S_OK) {
      print(index, "TavMovieMakerRelease(" + std::to_string(id) + ")");
      x.Release(id);
      if (WriterRemains()) {
        print(index, "TavMovieMakerStopMovieRecord(" + std::to_string(INT_MAX) + ")");
        printResult(x.Stop(INT_MAX));
        print(index, "TavMovieMakerRelease(" + std::to_string(id) + ")");
        x.Release(id);
      }
    }
  }
  observe(index + 1);
  if (outcome.ok) RemoveFolder(s.dir);
  return outcome;
}

}  // namespace tavfuzz
