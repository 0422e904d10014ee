#pragma once
// IClassFactory for one class of the pack's list. DllGetClassObject creates
// one per request; any thread may call it (ThreadingModel Both).

#include "server/PackClasses.h"

#include <atomic>

namespace tavpack {

class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(const PackClass* entry);

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** object) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  ~ClassFactory();

  std::atomic<ULONG> m_refs{1};
  const PackClass* m_entry;
};

}  // namespace tavpack
