#pragma once
// Small helpers for tests that drive Wine's filter graph manager.

#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

namespace platformtest {

// Holds COM for the test's thread (apartment threaded, as hosts do).
class ComScope {
 public:
  ComScope() { CoInitialize(nullptr); }
  ~ComScope() { CoUninitialize(); }
};

// Releases a COM pointer at scope end.
template <typename T>
class Ref {
 public:
  Ref() = default;
  explicit Ref(T* p) : m_p(p) {}
  ~Ref() { Reset(); }
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  T* operator->() const { return m_p; }
  T* Get() const { return m_p; }
  T** Out() {
    Reset();
    return &m_p;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  void Reset() {
    if (m_p) m_p->Release();
    m_p = nullptr;
  }
  explicit operator bool() const { return m_p != nullptr; }

 private:
  T* m_p = nullptr;
};

// Wine's filter graph manager with its IMediaControl, and an AVI Mux and a
// File Writer made by class ID (the pack's where it is registered, else
// Wine's own), not yet added to the graph. Stops the test when one cannot be
// made: call it through ASSERT_NO_FATAL_FAILURE, which names the caller's line.
void CreateMuxWriterGraph(Ref<IGraphBuilder>& graph, Ref<IMediaControl>& control, Ref<IBaseFilter>& mux,
                          Ref<IBaseFilter>& writer);

// The pin of a filter with that direction and index among such pins.
IPin* FindPin(IBaseFilter* filter, PIN_DIRECTION direction, int index = 0);

// Waits up to timeoutMs for the event code; other events are skipped and
// their codes collected in *others (optional). False on time-out.
bool WaitForEvent(IMediaEvent* events, long code, DWORD timeoutMs, LONG_PTR* param1 = nullptr,
                  std::vector<long>* others = nullptr);

// The whole file, or empty when it cannot be opened.
std::vector<char> ReadWholeFile(const std::wstring& path);
bool FileExists(const std::wstring& path);
// True when the file can be opened with no sharing at all (nobody holds it).
bool FileIsClosed(const std::wstring& path);

}  // namespace platformtest
