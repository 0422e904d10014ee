// Entry points of TavPlatformPack.dll: the four COM server exports.

#include "common/ComBarrier.h"
#include "framework/BaseObject.h"
#include "server/ClassFactory.h"
#include "server/PackClasses.h"
#include "server/PackRegistry.h"

#if __has_include("acm/AcmCategory.h")
#include "acm/AcmCategory.h"
#define TAV_PACK_HAS_ACM 1
#else
#define TAV_PACK_HAS_ACM 0
#endif

#if __has_include("mjpeg/MjpegCategory.h")
#include "mjpeg/MjpegCategory.h"
#define TAV_PACK_HAS_MJPEG 1
#else
#define TAV_PACK_HAS_MJPEG 0
#endif

#include <new>
#include <string>

namespace {

std::wstring ModulePath() {
  wchar_t path[MAX_PATH * 2] = {};
  const DWORD length = GetModuleFileNameW(tavpack::PackModule(), path, MAX_PATH * 2);
  return std::wstring(path, length);
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    tavpack::SetPackModule(instance);
    DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}

extern "C" HRESULT __stdcall DllGetClassObject(REFCLSID clsid, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  const PackClass* entry = tavpack::FindPackClass(clsid);
  if (entry == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  auto* factory = new (std::nothrow) tavpack::ClassFactory(entry);
  if (factory == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = factory->QueryInterface(riid, object);
  factory->Release();
  return hr;
}

extern "C" HRESULT __stdcall DllCanUnloadNow() {
  // Filters, pins and enumerators count themselves as framework objects;
  // class factories and LockServer count in the pack's own counter.
  return tavpack::PackCanUnload() && CBaseObject::ObjectsActive() == 0 ? S_OK : S_FALSE;
}

extern "C" HRESULT __stdcall DllRegisterServer() {
  return tavpack::CallWithoutThrowing([] {
    const std::wstring path = ModulePath();
    HRESULT hr = tavpack::RegisterPackClasses(path.c_str());
#if TAV_PACK_HAS_ACM
    if (SUCCEEDED(hr)) hr = AcmRegisterCompressorCategory(path.c_str());
#endif
#if TAV_PACK_HAS_MJPEG
    if (SUCCEEDED(hr)) hr = MjpegRegisterCompressorCategory();
#endif
    return hr;
  });
}

extern "C" HRESULT __stdcall DllUnregisterServer() {
  return tavpack::CallWithoutThrowing([] {
    HRESULT hr = tavpack::UnregisterPackClasses();
#if TAV_PACK_HAS_ACM
    const HRESULT acm = AcmUnregisterCompressorCategory();
    if (SUCCEEDED(hr)) hr = acm;
#endif
#if TAV_PACK_HAS_MJPEG
    const HRESULT mjpeg = MjpegUnregisterCompressorCategory();
    if (SUCCEEDED(hr)) hr = mjpeg;
#endif
    return hr;
  });
}
