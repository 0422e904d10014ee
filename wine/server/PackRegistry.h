#pragma once
// Writes and removes the registry entries that make Wine load the pack's
// classes instead of its built-in ones.
//
// Register: for every class of the pack's list, the key
// HKLM\Software\Classes\CLSID\{clsid}\InprocServer32 gets the pack's path (default value) and
// ThreadingModel "Both". What was there before (Wine's own qcap.dll entry) is
// saved once under HKLM\Software\TavPlatformPack\Saved\{clsid}, so registering
// twice never loses it.
// Unregister: puts the saved values back; a class that had no entry before is
// removed. Both are idempotent. Called from DllRegisterServer /
// DllUnregisterServer (regsvr32's thread).

#include <windows.h>

namespace tavpack {

HRESULT RegisterPackClasses(const wchar_t* modulePath);
HRESULT UnregisterPackClasses();

}  // namespace tavpack
