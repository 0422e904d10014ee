// COM identity for framework objects: the non-delegating IUnknown, the
// reference-counted CUnknown, and the macro that routes an object's public
// IUnknown faces to its owner (itself, or the outer object that aggregates it).
#pragma once

#include <windows.h>
#include <unknwn.h>

#include "framework/BaseObject.h"

// The inner IUnknown of an aggregatable object. Its three slots sit where
// IUnknown's do, so a pointer to it can stand in for the object's own
// IUnknown when nobody aggregates it.
struct INonDelegatingUnknown {
  virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;
};

// Hands out pUnk as the interface asked for, adding a reference. Returns
// E_POINTER for a null ppv.
HRESULT GetInterface(IUnknown* pUnk, void** ppv);

// A COM object with an interlocked reference count. A new object starts at
// a count of 0: whoever creates it takes the first reference through
// QueryInterface or AddRef, and the last Release deletes it.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
 public:
  // pUnk: the outer unknown when aggregated, else null. It is a weak
  // pointer: the outer object owns us, not the other way round.
  CUnknown(const wchar_t* pName, IUnknown* pUnk);
  ~CUnknown() override = default;

  // The IUnknown that answers for this object (outer or our own inner one).
  IUnknown* GetOwner() const { return m_pUnknown; }

  // Answers IID_IUnknown with the inner unknown; derived classes add their
  // interfaces and call this last.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;
  ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;

 protected:
  volatile LONG m_cRef;

 private:
  IUnknown* const m_pUnknown;  // weak: the outer object or ourselves
};

// Put this in the public part of every class that implements COM interfaces
// on top of CUnknown: the interfaces' IUnknown slots go to the owner.
#define DECLARE_IUNKNOWN                                                       \
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override { \
    return GetOwner()->QueryInterface(riid, ppv);                              \
  }                                                                            \
  ULONG STDMETHODCALLTYPE AddRef() override { return GetOwner()->AddRef(); }   \
  ULONG STDMETHODCALLTYPE Release() override { return GetOwner()->Release(); }
