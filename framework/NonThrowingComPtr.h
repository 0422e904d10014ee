// NonThrowingComPtr: the owning COM pointer of the framework, the DLL's
// source filters built on it and the platform pack, whose COM methods and
// streaming threads must never let an exception out. It holds one counted reference
// and releases it when it is destroyed, reset or moved onto; it moves and
// never copies. It never throws: a null pointer is tested by the caller, as
// with a raw pointer, and a failing call reports its HRESULT.
//
// The writer, the exports and the compressor code hold COM in
// ThrowingComPtr instead (writer/ThrowingComPtr.h), which raises a _com_error on a
// null use. docs/architecture.md says which layer holds what.
//
// Not for the COM protocol itself: an object's own reference count and an
// interface handed out through an out parameter keep their AddRef.
#pragma once

#include <windows.h>
#include <unknwn.h>

template <class T>
class NonThrowingComPtr {
 public:
  NonThrowingComPtr() noexcept = default;
  // Takes a reference of its own to `p` (AddRef).
  explicit NonThrowingComPtr(T* p) noexcept : m_p(p) {
    if (m_p != nullptr) m_p->AddRef();
  }
  ~NonThrowingComPtr() { Reset(); }

  // Takes over a reference the caller already holds (no AddRef).
  static NonThrowingComPtr Adopt(T* p) noexcept {
    NonThrowingComPtr held;
    held.m_p = p;
    return held;
  }
  // Holds a reference of its own to `p` (AddRef unless null).
  static NonThrowingComPtr Share(T* p) noexcept { return NonThrowingComPtr(p); }

  NonThrowingComPtr(NonThrowingComPtr&& other) noexcept : m_p(other.Detach()) {}
  NonThrowingComPtr& operator=(NonThrowingComPtr&& other) noexcept {
    if (this != &other) Attach(other.Detach());
    return *this;
  }
  NonThrowingComPtr(const NonThrowingComPtr&) = delete;
  NonThrowingComPtr& operator=(const NonThrowingComPtr&) = delete;

  T* Get() const noexcept { return m_p; }
  T* operator->() const noexcept { return m_p; }
  explicit operator bool() const noexcept { return m_p != nullptr; }

  // Holds `p` with a reference of its own (AddRef first, then the old one is
  // released, so holding the same object again is safe).
  void Reset(T* p = nullptr) noexcept {
    if (p != nullptr) p->AddRef();
    Attach(p);
  }
  // Takes over the reference the caller owned on `p` (no AddRef) and
  // releases the old one.
  void Attach(T* p) noexcept {
    T* old = m_p;
    m_p = p;
    if (old != nullptr) old->Release();
  }
  // Gives the reference up to the caller without releasing it.
  T* Detach() noexcept {
    T* p = m_p;
    m_p = nullptr;
    return p;
  }
  // For a call that returns a new reference through an out parameter:
  // releases the one held and gives the address to fill.
  T** Put() noexcept {
    Reset();
    return &m_p;
  }
  // Put() for QueryInterface and CoCreateInstance.
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }
  // Hands out a reference of the caller's own (AddRef); *out is null when
  // none is held. E_POINTER when out is null.
  HRESULT CopyTo(T** out) const noexcept {
    if (out == nullptr) return E_POINTER;
    if (m_p != nullptr) m_p->AddRef();
    *out = m_p;
    return S_OK;
  }

 private:
  T* m_p = nullptr;
};
