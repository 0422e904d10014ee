// Counted COM pointers for the DirectShow interfaces the writer and the
// compressor code hold. A failing QueryInterface other than E_NOINTERFACE and
// any use of a null pointer raise the HRESULT as a _com_error.
// MinGW's <comdef.h> defines no pointer typedefs of its own (USE___UUIDOF is
// 0). Include this header rather than typedef'ing these pointers again: a
// second _COM_SMARTPTR_TYPEDEF of one interface does not compile.
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

_COM_SMARTPTR_TYPEDEF(IBaseFilter, __uuidof(IBaseFilter));
_COM_SMARTPTR_TYPEDEF(IGraphBuilder, __uuidof(IGraphBuilder));
_COM_SMARTPTR_TYPEDEF(ICaptureGraphBuilder2, __uuidof(ICaptureGraphBuilder2));
_COM_SMARTPTR_TYPEDEF(IMediaControl, __uuidof(IMediaControl));
_COM_SMARTPTR_TYPEDEF(IPin, __uuidof(IPin));
_COM_SMARTPTR_TYPEDEF(IEnumPins, __uuidof(IEnumPins));
_COM_SMARTPTR_TYPEDEF(IEnumFilters, __uuidof(IEnumFilters));
_COM_SMARTPTR_TYPEDEF(IFileSinkFilter, __uuidof(IFileSinkFilter));
_COM_SMARTPTR_TYPEDEF(IMoniker, __uuidof(IMoniker));
_COM_SMARTPTR_TYPEDEF(IEnumMoniker, __uuidof(IEnumMoniker));
_COM_SMARTPTR_TYPEDEF(IPropertyBag, __uuidof(IPropertyBag));
_COM_SMARTPTR_TYPEDEF(ISpecifyPropertyPages, __uuidof(ISpecifyPropertyPages));
_COM_SMARTPTR_TYPEDEF(ICreateDevEnum, __uuidof(ICreateDevEnum));
_COM_SMARTPTR_TYPEDEF(IAMStreamConfig, __uuidof(IAMStreamConfig));
_COM_SMARTPTR_TYPEDEF(IAMVfwCompressDialogs, IID_IAMVfwCompressDialogs);
