// Listing of the pack's audio compressors in CLSID_AudioCompressorCategory.
//
// The pack's DllRegisterServer calls AcmRegisterCompressorCategory after it
// has registered its classes; DllUnregisterServer calls
// AcmUnregisterCompressorCategory. Both run on the registering thread with
// COM initialised; they touch only the registry and ACM.
#pragma once

#include <windows.h>

// Writes one entry under the audio compressor category for every installed
// ACM format tag that can be produced from 16-bit PCM. Each entry names the
// format tag (FriendlyName), the pack's ACM compressor class (CLSID) and the
// format tag (AcmId). modulePath is the pack DLL's own path.
HRESULT AcmRegisterCompressorCategory(const wchar_t* modulePath);

// Removes every entry AcmRegisterCompressorCategory wrote. Succeeds when
// there is nothing to remove.
HRESULT AcmUnregisterCompressorCategory();
