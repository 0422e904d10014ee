// Identity of the pack's MJPEG video compressor and its property page, and
// the name under which the video compressor category lists it.
#pragma once

#include <windows.h>

// {5719ED0D-6AA4-41BE-BF57-4559C2B1F71C}
inline constexpr CLSID CLSID_TavMjpegCompressor = {
    0x5719ed0d, 0x6aa4, 0x41be, {0xbf, 0x57, 0x45, 0x59, 0xc2, 0xb1, 0xf7, 0x1c}};

// {48E3E824-FB28-40E6-BE1A-4AB9D64F9F53}
inline constexpr CLSID CLSID_TavMjpegPropertyPage = {
    0x48e3e824, 0xfb28, 0x40e6, {0xbe, 0x1a, 0x4a, 0xb9, 0xd6, 0x4f, 0x9f, 0x53}};

inline constexpr wchar_t kMjpegFriendlyName[] = L"Tav MJPEG";

// Quality 1-100 of a new filter.
inline constexpr int kMjpegDefaultQuality = 85;
