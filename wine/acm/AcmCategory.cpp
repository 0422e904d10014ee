#include "wine/acm/AcmCategory.h"

HRESULT AcmRegisterCompressorCategory(const wchar_t* modulePath)
{
    (void)modulePath;
    return S_OK;
}

HRESULT AcmUnregisterCompressorCategory()
{
    return S_OK;
}
