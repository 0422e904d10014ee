// Listing of the pack's audio compressors in CLSID_AudioCompressorCategory.
//
// Wine's system device enumerator lists a category's entries from
// HKCR\CLSID\{category}\Instance\<key>; each key's values make the moniker's
// property bag. For every format tag that ACM can produce from 16-bit PCM the
// pack writes one key there:
//   FriendlyName = ACM's name of the format tag ("PCM", "IMA ADPCM", ...)
//   CLSID        = CLSID_TavAcmCompressor (the pack's compressor filter)
//   AcmId        = the format tag (REG_DWORD)
// Binding the moniker creates the filter and hands it this bag through
// IPersistPropertyBag::Load, which is how it learns its format tag.
//
// The pack's DllRegisterServer calls AcmRegisterCompressorCategory after it
// has registered its classes; DllUnregisterServer calls
// AcmUnregisterCompressorCategory. Both run on the registering thread and
// touch only the registry and ACM.
#pragma once

#include <windows.h>

// Writes the entries (replacing ones an earlier registration wrote).
// modulePath is the pack DLL's own path; the entries do not need it.
HRESULT AcmRegisterCompressorCategory(const wchar_t* modulePath);

// Removes every entry whose CLSID is the pack's compressor. Succeeds when
// there is nothing to remove.
HRESULT AcmUnregisterCompressorCategory();
