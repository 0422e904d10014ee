// Owners for the kernel handles the DLL and the platform pack keep (events,
// mutexes, threads, files, registry keys).
//
// The rule: a handle we make goes into one of these at the call that makes it
// (or through Put() when the call fills an out parameter), and raw handles are
// only borrowed from it with Get(). The owner closes its handle when it is
// destroyed or given another one; it moves and never copies. Where a close
// must be checked or traced, or must happen at a given point (between two
// trace lines), call Close() there and look at its result: false means the
// system refused, and GetLastError() still tells why.
#pragma once

#include <windows.h>

template <class Traits>
class UniqueHandleOf {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandleOf() noexcept = default;
  explicit UniqueHandleOf(Handle handle) noexcept : m_handle(handle) {}
  ~UniqueHandleOf() { Close(); }

  UniqueHandleOf(UniqueHandleOf&& other) noexcept : m_handle(other.Release()) {}
  UniqueHandleOf& operator=(UniqueHandleOf&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  UniqueHandleOf(const UniqueHandleOf&) = delete;
  UniqueHandleOf& operator=(const UniqueHandleOf&) = delete;

  Handle Get() const noexcept { return m_handle; }
  bool IsValid() const noexcept { return m_handle != Traits::Invalid(); }
  explicit operator bool() const noexcept { return IsValid(); }

  // Gives the handle up without closing it.
  Handle Release() noexcept {
    Handle handle = m_handle;
    m_handle = Traits::Invalid();
    return handle;
  }
  // Gives the handle up with one atomic exchange, for an owner that two
  // threads may empty at once: only one of them gets the handle.
  Handle ReleaseAtomically() noexcept {
    return static_cast<Handle>(InterlockedExchangePointer(reinterpret_cast<PVOID volatile*>(&m_handle),
                                                          reinterpret_cast<PVOID>(Traits::Invalid())));
  }
  // Closes the handle held and takes `handle`.
  void Reset(Handle handle = Traits::Invalid()) noexcept {
    Close();
    m_handle = handle;
  }
  // Closes the handle now. True when none was held or the system closed it.
  bool Close() noexcept {
    if (!IsValid()) return true;
    return Traits::Close(Release());
  }
  // For a call that returns a new handle through an out parameter: closes
  // the one held and gives the address to fill.
  Handle* Put() noexcept {
    Close();
    return &m_handle;
  }

 private:
  Handle m_handle = Traits::Invalid();
};

// Events, mutexes, threads: null when there is none.
struct KernelHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() noexcept { return nullptr; }
  static bool Close(Handle handle) noexcept { return CloseHandle(handle) != FALSE; }
};

// Files from CreateFileW: INVALID_HANDLE_VALUE when there is none.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static bool Close(Handle handle) noexcept { return CloseHandle(handle) != FALSE; }
};

struct RegistryKeyTraits {
  using Handle = HKEY;
  static Handle Invalid() noexcept { return nullptr; }
  static bool Close(Handle key) noexcept { return RegCloseKey(key) == ERROR_SUCCESS; }
};

using UniqueHandle = UniqueHandleOf<KernelHandleTraits>;
using UniqueFileHandle = UniqueHandleOf<FileHandleTraits>;
using UniqueRegistryKey = UniqueHandleOf<RegistryKeyTraits>;
