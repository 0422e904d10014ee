// ThrowingComPtr: the counted COM pointer of the writer, the exports and the
// compressor code (_com_ptr_t). A failing QueryInterface other than
// E_NOINTERFACE and any use of a null pointer raise the HRESULT as a
// _com_error, which CAviWriter::EmptyGraph and the exports' barrier catch.
// The framework and the source filters hold COM in NonThrowingComPtr
// instead (framework/NonThrowingComPtr.h); docs/architecture.md says which
// layer holds what.
#pragma once

// <dshow.h> pulls in <strsafe.h>, whose deprecation macros break the C++
// library's string headers included after it.
#ifndef STRSAFE_NO_DEPRECATE
#define STRSAFE_NO_DEPRECATE
#endif

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <dshow.h>
#include <comdef.h>

// ThrowingComPtr<I>: a counted pointer to I that throws. Interfaces the
// compiler knows no identifier for name it: ThrowingComPtr<IAMVfwCompressDialogs,
// &IID_IAMVfwCompressDialogs>.
template <class I, const IID* kIid = &__uuidof(I)>
using ThrowingComPtr = _com_ptr_t<_com_IIID<I, kIid>>;
