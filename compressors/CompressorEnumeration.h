// The bodies of the two enumeration exports, without their exception catch:
// a _com_error or std::bad_alloc leaves them. The compressor selection calls
// them to build a missing table. Host's control thread only.
#pragma once

#include <windows.h>

HRESULT GetVideoCompressors(int writerId, wchar_t** names, int* count, int* maxLength);
HRESULT GetAudioCompressors(int writerId, wchar_t** names, int* count, int* maxLength);
