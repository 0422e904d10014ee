// Listing of the MJPEG compressor in CLSID_VideoCompressorCategory.
//
// Wine's system device enumerator lists a category's entries from
// HKCR\CLSID\{category}\Instance\<key> (before the VfW codecs it finds
// itself); the key's values make the moniker's property bag:
//   FriendlyName = "Tav MJPEG"
//   CLSID        = CLSID_TavMjpegCompressor
// Binding the moniker creates the filter through the pack's class factory.
//
// The pack's DllRegisterServer / DllUnregisterServer call these on the
// registering thread; they touch only the registry.
#pragma once

#include <windows.h>

// Writes the entry (again, when it is there already).
HRESULT MjpegRegisterCompressorCategory();

// Removes the entry; succeeds when there is none.
HRESULT MjpegUnregisterCompressorCategory();
