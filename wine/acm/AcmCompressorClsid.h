// The class of the pack's ACM audio compressor filter. It is the pack's own
// class (Wine's ACM Wrapper, CLSID_ACMWrapper, stays untouched); each entry of
// the audio compressor category names it together with its format tag.
#pragma once

#include <windows.h>

// {1C531EDF-CC14-4B27-8143-D99931EB054D}
inline constexpr CLSID CLSID_TavAcmCompressor = {
    0x1c531edf, 0xcc14, 0x4b27, {0x81, 0x43, 0xd9, 0x99, 0x31, 0xeb, 0x05, 0x4d}};

// Name of the integer value in a category entry that holds the format tag.
inline constexpr wchar_t kAcmIdValueName[] = L"AcmId";
