// TavMovieMaker.hpp: a header-only C++17 layer over TavMovieMaker.h.
//
//   tav::Recorder movie(640, -480, 25.0);             // 24-bit RGB, rows top-down
//   movie.start(L"take1.avi");
//   for (long long n = 0; n < 250; ++n)
//     movie.add_frame(frame.data(), frame.size(), n);
//   movie.stop();                                      // or let ~Recorder do it
//
// Every call that fails throws tav::Error, which names the library function,
// its HRESULT and what that result means. Threads follow TavMovieMaker.h:
// construction, the compressor and audio set-up, start(), stop() and
// destruction belong to one control thread, never overlapping another call
// that names a writer; add_frame*, add_audio* and add_break() belong to the
// acquisition thread(s). The log helpers may be used from any thread.
#ifndef TAVMOVIEMAKER_HPP
#define TAVMOVIEMAKER_HPP

#include "TavMovieMaker.h"

#include <climits>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#if (defined(_MSVC_LANG) && _MSVC_LANG < 201703L) || (!defined(_MSVC_LANG) && __cplusplus < 201703L)
#error "TavMovieMaker.hpp needs C++17 or later; TavMovieMaker.h serves older compilers"
#endif

namespace tav {

namespace detail {

// The system's text for an HRESULT, without the trailing line break; empty
// when the system has none. DirectShow's own results are looked up in
// quartz.dll's table when that DLL is loaded.
inline std::wstring system_text(HRESULT result) {
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;
  wchar_t* buffer = nullptr;
  DWORD length = FormatMessageW(flags | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(result), 0,
                                reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (length == 0 && HRESULT_FACILITY(result) == FACILITY_WIN32)
    length = FormatMessageW(flags | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, HRESULT_CODE(result), 0,
                            reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (length == 0) {
    if (HMODULE quartz = GetModuleHandleW(L"quartz.dll"))
      length = FormatMessageW(flags | FORMAT_MESSAGE_FROM_HMODULE, quartz, static_cast<DWORD>(result), 0,
                              reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  }
  std::wstring text = length != 0 ? std::wstring(buffer, length) : std::wstring();
  if (buffer != nullptr) LocalFree(buffer);
  while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n' || text.back() == L' ')) text.pop_back();
  return text;
}

// What TavMovieMaker itself means by the two results it makes up.
inline std::wstring library_meaning(HRESULT result) {
  if (result == E_FAIL)
    return L"TavMovieMaker refused an argument or the writer's state; its log has an ERROR line saying which";
  if (result == TAVMM_E_TIMEOUT)
    return L"a hand-over waited 10 s for the streaming thread in vain; this thread still owns the "
           L"\"AviWrt_MainMutex\" mutex";
  return std::wstring();
}

// "<function>: 0x80070003 The system cannot find the path specified."
inline std::wstring describe(const char* function, HRESULT result) {
  wchar_t code[16];
  std::swprintf(code, sizeof code / sizeof code[0], L"0x%08lX", static_cast<unsigned long>(result));
  std::wstring text;
  for (const char* c = function; *c != '\0'; ++c) text += static_cast<wchar_t>(*c);
  text += L": ";
  text += code;
  const std::wstring system = system_text(result);
  if (!system.empty()) text += L" " + system;
  const std::wstring meaning = library_meaning(result);
  if (!meaning.empty()) text += L" (" + meaning + L")";
  return text;
}

inline std::string utf8(const std::wstring& text) {
  if (text.empty()) return std::string();
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &bytes[0], size, nullptr, nullptr);
  return bytes;
}

}  // namespace detail

// A failed call: the library function's name, its HRESULT and the text that
// explains it (the system's text, and TavMovieMaker's own meaning of E_FAIL
// and TAVMM_E_TIMEOUT). what() is that text in UTF-8, wide_what() in UTF-16.
class Error : public std::runtime_error {
 public:
  Error(const char* function, HRESULT result) : Error(function, result, detail::describe(function, result)) {}

  const char* function() const noexcept { return function_; }
  HRESULT result() const noexcept { return result_; }
  const std::wstring& wide_what() const noexcept { return *text_; }

 private:
  Error(const char* function, HRESULT result, const std::wstring& text)
      : std::runtime_error(detail::utf8(text)),
        function_(function),
        result_(result),
        text_(std::make_shared<const std::wstring>(text)) {}

  const char* function_;  // a string literal: the library function's name
  HRESULT result_;
  std::shared_ptr<const std::wstring> text_;  // shared, so copying never throws
};

namespace detail {

// Throws on a negative result; S_OK and S_FALSE pass.
inline HRESULT check(const char* function, HRESULT result) {
  if (FAILED(result)) throw Error(function, result);
  return result;
}

inline unsigned int byte_count(const char* function, std::size_t bytes) {
  if (bytes > UINT_MAX) throw Error(function, E_INVALIDARG);
  return static_cast<unsigned int>(bytes);
}

using ListFn = HRESULT (*)(int, wchar_t**, int*, int*);

// The two-call protocol. The buffers are made max(maxLength,
// TAVMM_MIN_NAME_LENGTH) long, since maxLength leaves out the lists' fixed
// names, and the audio list's spare empty name is dropped.
inline std::vector<std::wstring> compressor_names(const char* function, ListFn list, int id) {
  int count = 0;
  int maxLength = 0;
  if (check(function, list(id, nullptr, &count, &maxLength)) == S_FALSE || count <= 0) return {};
  int length = maxLength > TAVMM_MIN_NAME_LENGTH ? maxLength : TAVMM_MIN_NAME_LENGTH;
  std::vector<std::wstring> names(static_cast<std::size_t>(count),
                                  std::wstring(static_cast<std::size_t>(length), L'\0'));
  std::vector<wchar_t*> buffers;
  for (std::wstring& name : names) buffers.push_back(&name[0]);
  check(function, list(id, buffers.data(), &count, &length));
  for (std::wstring& name : names) name.resize(std::wcslen(name.c_str()));
  while (!names.empty() && names.back().empty()) names.pop_back();
  return names;
}

}  // namespace detail

// The installed video compressors' names, "Uncompressed" first, for
// Recorder::set_video_compressor. Control thread.
inline std::vector<std::wstring> video_compressors(int id) {
  return detail::compressor_names("TavMovieMakerGetCompressors", &TavMovieMakerGetCompressors, id);
}

// The audio compressors' names ("PCM (Uncompressed)" among them), for
// Recorder::set_audio_compressor. Empty before Recorder::set_audio, when the
// library has no audio stream to offer them for. Control thread.
inline std::vector<std::wstring> audio_compressors(int id) {
  return detail::compressor_names("TavMovieMakerGetAudioCompressors", &TavMovieMakerGetAudioCompressors, id);
}

// One writer: set up by the constructor, released by the destructor (which
// first stops a recording still running, so the file is completed). Move-only.
class Recorder {
 public:
  // Sets up a new writer (TavMovieMakerInitEx). width and height must not be
  // 0; a negative height takes the first row of a frame as the top. fps must
  // not be 0. pixelFormat is a TAVMM_PIXEL_* code. Control thread.
  Recorder(int width, int height, double fps, unsigned int pixelFormat = TAVMM_PIXEL_RGB24) : fps_(fps) {
    unsigned int format = pixelFormat;
    int id = 0;
    detail::check("TavMovieMakerInitEx", TavMovieMakerInitEx(width, height, fps, &format, &id));
    id_ = id;
  }

  // Stops a recording still running, then releases the writer. Control thread.
  ~Recorder() { close(); }

  Recorder(Recorder&& other) noexcept
      : id_(std::exchange(other.id_, 0)), fps_(other.fps_), recording_(std::exchange(other.recording_, false)) {}
  Recorder& operator=(Recorder&& other) noexcept {
    if (this != &other) {
      close();
      id_ = std::exchange(other.id_, 0);
      fps_ = other.fps_;
      recording_ = std::exchange(other.recording_, false);
    }
    return *this;
  }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // The writer ID, for the C functions (0 after a move). Any thread.
  int id() const noexcept { return id_; }
  // Between start() and stop(). Any thread.
  bool recording() const noexcept { return recording_; }

  // Adds the 48 kHz stereo PCM audio stream, 16- or 24-bit; before start().
  // Control thread.
  void set_audio(unsigned int bitsPerSample = 16) {
    detail::check("TavMovieMakerSetAudioStream", TavMovieMakerSetAudioStream(id_, bitsPerSample));
  }
  // Chooses a name from video_compressors(); true when it has a settings
  // dialog. Control thread, not while recording.
  bool set_video_compressor(const std::wstring& name) {
    bool hasDialog = false;
    detail::check("TavMovieMakerSetCompressor", TavMovieMakerSetCompressor(id_, name.c_str(), &hasDialog));
    return hasDialog;
  }
  // Chooses a name from audio_compressors(). Control thread, not while recording.
  void set_audio_compressor(const std::wstring& name) {
    detail::check("TavMovieMakerSetAudioCompressor", TavMovieMakerSetAudioCompressor(id_, name.c_str()));
  }
  // The chosen video compressor's settings (nothing for "Uncompressed"),
  // modal on the calling thread: the control thread, which runs your UI.
  void show_video_compressor_dialog(HWND parent = nullptr) {
    detail::check("TavMovieMakerShowCompressorDlg", TavMovieMakerShowCompressorDlg(id_, parent));
  }
  // "Select Audio Compress Format" for the chosen audio compressor (nothing
  // before set_audio_compressor), modal on the control thread.
  void show_audio_compressor_dialog(HWND parent = nullptr) {
    detail::check("TavMovieMakerShowAudioCompressorDlg", TavMovieMakerShowAudioCompressorDlg(id_, parent));
  }

  // Records into path (an existing file is overwritten). The file is created
  // by the first frame or audio block, so a folder that does not exist makes
  // that add_* throw. Control thread.
  void start(const std::wstring& path) {
    detail::check("TavMovieMakerStartMovieRecord", TavMovieMakerStartMovieRecord(id_, path.c_str()));
    recording_ = true;
  }
  // Completes the file. Control thread (it waits for a running add_*).
  void stop() {
    recording_ = false;
    detail::check("TavMovieMakerStopMovieRecord", TavMovieMakerStopMovieRecord(id_));
  }

  // Hands one frame in, numbered from 0 (a gap in the numbers leaves empty
  // frame slots); captureTime, in 100 ns units, defaults to the number's
  // slot. Returns once the frame has been copied. Acquisition thread.
  void add_frame(const void* data, std::size_t bytes, long long frameNumber, long long captureTime = -1) {
    const char* function = "TavMovieMakerAddMovieFrame2";
    detail::check(function,
                  TavMovieMakerAddMovieFrame2(id_, const_cast<void*>(data), detail::byte_count(function, bytes),
                                              time_of(frameNumber, captureTime), frameNumber));
  }
  // Hands one frame in by capture time alone (100 ns units; a frame later
  // than its slot leaves the skipped slots empty). Acquisition thread.
  void add_frame_at(const void* data, std::size_t bytes, long long captureTime) {
    const char* function = "TavMovieMakerAddMovieFrame";
    detail::check(function, TavMovieMakerAddMovieFrame(id_, const_cast<void*>(data),
                                                       detail::byte_count(function, bytes), captureTime));
  }
  // Hands one audio block in (48000 / fps sample frames, after set_audio()),
  // numbered like the frames. Acquisition thread.
  void add_audio(const void* data, std::size_t bytes, long long blockNumber, long long captureTime = -1) {
    const char* function = "TavMovieMakerAddAudioSample2";
    detail::check(function,
                  TavMovieMakerAddAudioSample2(id_, const_cast<void*>(data), detail::byte_count(function, bytes),
                                               time_of(blockNumber, captureTime), blockNumber));
  }
  // Hands one audio block in by capture time alone. Acquisition thread.
  void add_audio_at(const void* data, std::size_t bytes, long long captureTime) {
    const char* function = "TavMovieMakerAddAudioSample";
    detail::check(function, TavMovieMakerAddAudioSample(id_, const_cast<void*>(data),
                                                        detail::byte_count(function, bytes), captureTime));
  }
  // A planned pause: the next gap is not counted as dropped frames. Does not
  // wait. Acquisition thread.
  void add_break() { detail::check("TavMovieMakerAddBreakFrame", TavMovieMakerAddBreakFrame(id_)); }

 private:
  long long time_of(long long number, long long captureTime) const {
    return captureTime >= 0 ? captureTime : std::llround(static_cast<double>(number) * 10000000.0 / fps_);
  }

  void close() noexcept {
    if (id_ == 0) return;
    if (recording_) TavMovieMakerStopMovieRecord(id_);
    TavMovieMakerRelease(id_);
    id_ = 0;
    recording_ = false;
  }

  int id_ = 0;
  double fps_ = 0.0;
  bool recording_ = false;
};

// Switching the library's log on. Each helper attaches one sink to the
// helpers' own engine (engine_id), which listens to the library, and returns
// a Sink that detaches it when destroyed. Any thread.
namespace log {

constexpr int engine_id = 0x7461764C;

// Severities: 0 DEBUG, 1 TRACE (every Enter/Leave line), 2 NOTICE, 3 WARNING,
// 4 ERROR. Layouts 1 ("TRACE: 0; message") to 5 (the full line with time,
// thread and source position); see docs/logging.md.
class Sink {
 public:
  Sink() = default;
  ~Sink() { detach(); }
  Sink(Sink&& other) noexcept
      : index_(std::exchange(other.index_, -1)), callback_(std::exchange(other.callback_, nullptr)) {}
  Sink& operator=(Sink&& other) noexcept {
    if (this != &other) {
      detach();
      index_ = std::exchange(other.index_, -1);
      callback_ = std::exchange(other.callback_, nullptr);
    }
    return *this;
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  // Detaches the sink (a file is closed). A callback is not called once this
  // returns. Not from inside the sink's own callback.
  void detach() noexcept {
    if (index_ < 0) return;
    TavLogDetachSink(engine_id, index_);
    index_ = -1;
    if (callback_ != nullptr) callback_->disable();
    callback_ = nullptr;
  }

 private:
  // A callback's state. A line already on its way when the sink is detached
  // may still arrive, so the state outlives the sink: disable() drops the
  // function and waits for calls in progress, and the few bytes of the state
  // stay behind.
  struct Callback {
    std::function<void(const std::wstring&, unsigned int)> function;
    std::mutex mutex;
    std::condition_variable idle;
    int running = 0;

    static int deliver(void* context, const wchar_t* line, int length, unsigned int severity) {
      Callback* self = static_cast<Callback*>(context);
      std::function<void(const std::wstring&, unsigned int)>* function = nullptr;
      {
        std::lock_guard<std::mutex> lock(self->mutex);
        if (!self->function) return 0;
        function = &self->function;
        ++self->running;
      }
      try {
        (*function)(std::wstring(line, static_cast<std::size_t>(length)), severity);
      } catch (...) {
        // An exception must not cross the library's frames.
      }
      std::lock_guard<std::mutex> lock(self->mutex);
      if (--self->running == 0) self->idle.notify_all();
      return 0;
    }
    void disable() {
      std::unique_lock<std::mutex> lock(mutex);
      idle.wait(lock, [this] { return running == 0; });
      function = nullptr;
    }
  };

  friend Sink to_file(const std::wstring&, unsigned int, unsigned int);
  friend Sink to_callback(std::function<void(const std::wstring&, unsigned int)>, unsigned int, unsigned int);

  // The helpers' engine, listening to the library, with its minimum at the
  // lowest any helper asked for.
  static void open_engine(unsigned int minSeverity) {
    static std::mutex mutex;
    static unsigned int lowest = UINT_MAX;
    std::lock_guard<std::mutex> lock(mutex);
    if (minSeverity < lowest) lowest = minSeverity;
    detail::check("TavLogCreateEngine", TavLogCreateEngine(engine_id, lowest));
    detail::check("TavLogListen", TavLogListen(engine_id, TavLogModuleKey()));
  }

  int index_ = -1;
  Callback* callback_ = nullptr;
};

// Appends every library line from minSeverity up to a UTF-8 file.
[[nodiscard]] inline Sink to_file(const std::wstring& path, unsigned int minSeverity = 1, unsigned int layout = 3) {
  Sink::open_engine(minSeverity);
  Sink sink;
  detail::check("TavLogAttachFile", TavLogAttachFile(engine_id, layout, minSeverity, path.c_str(), &sink.index_));
  return sink;
}

// Calls function(line, severity) for every library line from minSeverity up,
// on the thread that logs. The function must not attach or detach sinks.
[[nodiscard]] inline Sink to_callback(std::function<void(const std::wstring&, unsigned int)> function,
                                      unsigned int minSeverity = 1, unsigned int layout = 2) {
  Sink::open_engine(minSeverity);
  std::unique_ptr<Sink::Callback> callback(new Sink::Callback);
  callback->function = std::move(function);
  int index = -1;
  detail::check("TavLogAttachCallback",
                TavLogAttachCallback(engine_id, layout, minSeverity, &Sink::Callback::deliver, callback.get(), &index));
  Sink sink;
  sink.index_ = index;
  sink.callback_ = callback.release();
  return sink;
}

}  // namespace log

}  // namespace tav

#endif  // TAVMOVIEMAKER_HPP
