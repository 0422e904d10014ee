// Setup descriptions of a filter: the data a registration step would use.
// The library registers nothing; its filters keep this data as a description
// of themselves.
#pragma once

#include <windows.h>
#include <strmif.h>

class CUnknown;

typedef REGPINTYPES AMOVIESETUP_MEDIATYPE;
typedef REGFILTERPINS AMOVIESETUP_PIN;

struct AMOVIESETUP_FILTER {
  const CLSID* clsID;
  const WCHAR* strName;
  DWORD dwMerit;
  UINT nPins;
  const AMOVIESETUP_PIN* lpPin;
};

typedef CUnknown* (*LPFNNewCOMObject)(LPUNKNOWN pUnkOuter, HRESULT* phr);

// One entry of a factory table: a class, its name and how to make it.
struct CFactoryTemplate {
  const WCHAR* m_Name;
  const CLSID* m_ClsID;
  LPFNNewCOMObject m_lpfnNew;
  void (*m_lpfnInit)(BOOL bLoading, const CLSID* rclsid);
  const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;
};
