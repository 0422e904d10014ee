#pragma once
// The list of COM classes TavPlatformPack.dll serves.
//
// Each filter registers itself once, at load time, from its own .cpp:
//
//   TAV_PACK_CLASS(g_fileWriterClass, CLSID_FileWriter, CreateFileWriter, L"File writer");
//
// DllGetClassObject hands out a class factory for every registered class and
// DllRegisterServer points every registered CLSID's InprocServer32 at this
// DLL. Registration happens during static initialisation (loader lock held),
// so the list never allocates and never calls into other DLLs.
//
// DllCanUnloadNow answers S_OK only when no object of the pack is alive:
// framework objects (CBaseObject: filters, pins, enumerators) are counted by
// the framework; anything else the pack hands out counts itself with
// PackObjectCreated()/PackObjectDestroyed() (constructor/destructor).

#include <windows.h>
#include <unknwn.h>

#include <cstddef>

struct PackClass {
  const CLSID* clsid;
  // Creates the object (outer is the aggregating IUnknown or nullptr) and
  // returns interface riid in *object.
  HRESULT (*create)(IUnknown* outer, REFIID riid, void** object);
  const wchar_t* name;
};

namespace tavpack {

// Adds one class to the list; called by TAV_PACK_CLASS at load time.
// Returns false when the list is full (kMaxPackClasses).
bool RegisterPackClass(const PackClass* entry);

constexpr std::size_t kMaxPackClasses = 64;

// Registered classes, in registration order. Any thread, after load.
std::size_t PackClassCount();
const PackClass* PackClassAt(std::size_t index);
// nullptr when clsid is not served by the pack.
const PackClass* FindPackClass(REFCLSID clsid);

// Count of live objects and server locks, for DllCanUnloadNow. Any thread.
void PackObjectCreated();
void PackObjectDestroyed();
void PackLockServer(bool lock);
bool PackCanUnload();

// The pack DLL's module handle (set by DllMain; nullptr in unit tests that
// link the classes directly).
HMODULE PackModule();
void SetPackModule(HMODULE module);

class PackClassRegistrar {
 public:
  explicit PackClassRegistrar(const PackClass* entry) { RegisterPackClass(entry); }
};

}  // namespace tavpack

#define TAV_PACK_CLASS(variableName, clsid, createFn, name)             \
  static const PackClass variableName = {&(clsid), (createFn), (name)}; \
  static const ::tavpack::PackClassRegistrar variableName##Registrar(&variableName)
