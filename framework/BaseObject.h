// The root of every framework object: a virtual destructor and an object
// name kept for diagnostics. It also keeps a process-wide count of live
// objects, so tests can prove that every filter, pin and enumerator went away.
#pragma once

#include <windows.h>

class CBaseObject {
 public:
  // pName is not copied: pass a literal or null.
  explicit CBaseObject(const wchar_t* pName);
  virtual ~CBaseObject();
  CBaseObject(const CBaseObject&) = delete;
  CBaseObject& operator=(const CBaseObject&) = delete;

  const wchar_t* ObjectName() const { return m_pName; }

  // Number of framework objects alive in the process (any thread).
  static LONG ObjectsActive();

 private:
  const wchar_t* m_pName;
  static volatile LONG s_cActiveObjects;
};
