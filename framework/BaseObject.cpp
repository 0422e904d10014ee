#include "framework/BaseObject.h"

volatile LONG CBaseObject::s_cActiveObjects = 0;

CBaseObject::CBaseObject(const wchar_t* pName) : m_pName(pName) { InterlockedIncrement(&s_cActiveObjects); }

CBaseObject::~CBaseObject() { InterlockedDecrement(&s_cActiveObjects); }

LONG CBaseObject::ObjectsActive() { return s_cActiveObjects; }
