#include "server/ClassFactory.h"

#include "common/ComBarrier.h"

namespace tavpack {

ClassFactory::ClassFactory(const PackClass* entry) : m_entry(entry) { PackObjectCreated(); }

ClassFactory::~ClassFactory() { PackObjectDestroyed(); }

STDMETHODIMP ClassFactory::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) ClassFactory::AddRef() { return ++m_refs; }

STDMETHODIMP_(ULONG) ClassFactory::Release() {
  const ULONG refs = --m_refs;
  if (refs == 0) delete this;
  return refs;
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  // COM aggregation: the outer object may only ask for our IUnknown.
  if (outer != nullptr && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
  return CallWithoutThrowing([&] { return m_entry->create(outer, riid, object); });
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
  PackLockServer(lock != FALSE);
  return S_OK;
}

}  // namespace tavpack
