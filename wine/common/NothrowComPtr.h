// NothrowComPtr<T>: the one owning COM pointer of the platform pack. It never
// throws (every member is noexcept), so it can be used inside the pack's COM
// methods and on streaming and writer threads, where an exception would end
// the host process. (The DLL's _com_ptr_t pointers throw _com_error; the pack
// does not use them.)
//
// The rule: every COM reference the pack keeps (a member, a queued sample, a
// local held across calls) lives in one of these. It holds exactly one
// reference to what it points to and releases it when destroyed, reset or
// given another pointer. It moves and never copies, so every extra reference
// is written out: Share() or CopyTo() AddRef, Adopt() and Put() take a
// reference the caller or an out parameter already counted.
//
//   NothrowComPtr<IStream> stream;
//   hr = pin->QueryInterface(IID_IStream, stream.PutVoid());   // adopted
//   m_allocator = NothrowComPtr<IMemAllocator>::Share(pAllocator);  // AddRef
//   return m_allocator.CopyTo(ppAllocator);                    // out: AddRef
//
// An object's own IUnknown (AddRef in its QueryInterface, the first Release
// after creation) stays written out by hand: that is the COM protocol itself.
//
// Threads: like a raw pointer; the owner's lock guards it.
#pragma once

#include <windows.h>
#include <unknwn.h>

template <class T>
class NothrowComPtr {
 public:
  NothrowComPtr() noexcept = default;
  ~NothrowComPtr() { Reset(); }

  // Takes over a reference the caller already holds (no AddRef).
  static NothrowComPtr Adopt(T* pointer) noexcept {
    NothrowComPtr held;
    held.m_pointer = pointer;
    return held;
  }
  // Holds a reference of its own to pointer (AddRef unless null).
  static NothrowComPtr Share(T* pointer) noexcept {
    if (pointer != nullptr) pointer->AddRef();
    return Adopt(pointer);
  }

  NothrowComPtr(NothrowComPtr&& other) noexcept : m_pointer(other.Detach()) {}
  // Takes other's reference first, then releases the one held.
  NothrowComPtr& operator=(NothrowComPtr&& other) noexcept {
    T* taken = other.Detach();
    T* old = m_pointer;
    m_pointer = taken;
    if (old != nullptr) old->Release();
    return *this;
  }
  NothrowComPtr(const NothrowComPtr&) = delete;
  NothrowComPtr& operator=(const NothrowComPtr&) = delete;

  T* Get() const noexcept { return m_pointer; }
  T* operator->() const noexcept { return m_pointer; }
  explicit operator bool() const noexcept { return m_pointer != nullptr; }

  // Releases the reference held (if any); null afterwards.
  void Reset() noexcept {
    T* old = m_pointer;
    m_pointer = nullptr;
    if (old != nullptr) old->Release();
  }
  // Gives the reference up without releasing it.
  T* Detach() noexcept {
    T* pointer = m_pointer;
    m_pointer = nullptr;
    return pointer;
  }
  // For a call that returns a counted reference through an out parameter:
  // releases the one held and gives the address to fill.
  T** Put() noexcept {
    Reset();
    return &m_pointer;
  }
  // Put() for QueryInterface and CoCreateInstance.
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }
  // Hands a reference of the caller's own out (AddRef); *out is null when
  // none is held. E_POINTER when out is null.
  HRESULT CopyTo(T** out) const noexcept {
    if (out == nullptr) return E_POINTER;
    if (m_pointer != nullptr) m_pointer->AddRef();
    *out = m_pointer;
    return S_OK;
  }

 private:
  T* m_pointer = nullptr;
};
