#include "CallError.h"

#include <stdio.h>

/* The library's own results; the public header names the timeout
 * TAVMM_E_TIMEOUT. */
#define LIBRARY_TIMEOUT ((HRESULT)-1234)

static int FromTable(DWORD flags, HMODULE module, DWORD code, wchar_t* text, size_t capacity) {
  DWORD n = FormatMessageW(flags | FORMAT_MESSAGE_IGNORE_INSERTS, module, code, 0, text,
                           capacity > 0xFFFF ? 0xFFFF : (DWORD)capacity, NULL);
  /* Without the line break and the full stop, so it fits inside brackets. */
  while (n > 0 && (text[n - 1] == L'\r' || text[n - 1] == L'\n' || text[n - 1] == L' ' || text[n - 1] == L'.'))
    text[--n] = 0;
  return n > 0;
}

int TavSystemText(HRESULT hr, wchar_t* text, size_t capacity) {
  if (capacity == 0) return 0;
  text[0] = 0;
  if (FromTable(FORMAT_MESSAGE_FROM_SYSTEM, NULL, (DWORD)hr, text, capacity)) return 1;
  if (HRESULT_FACILITY(hr) == FACILITY_WIN32 &&
      FromTable(FORMAT_MESSAGE_FROM_SYSTEM, NULL, HRESULT_CODE(hr), text, capacity))
    return 1;
  HMODULE quartz = GetModuleHandleW(L"quartz.dll");
  if (quartz && FromTable(FORMAT_MESSAGE_FROM_HMODULE, quartz, (DWORD)hr, text, capacity)) return 1;
  _snwprintf(text, capacity, L"%s", L"no system text");
  text[capacity - 1] = 0;
  return 0;
}

const wchar_t* TavLibraryMeaning(HRESULT hr) {
  if (hr == E_FAIL)
    return L"the library refused a bad argument or a call in the wrong state; its log has an ERROR line "
           L"saying which";
  if (hr == LIBRARY_TIMEOUT)
    return L"a hand-over waited 10 s for the streaming thread in vain; the calling thread still owns the "
           L"\"AviWrt_MainMutex\" mutex";
  return NULL;
}

int TavFormatCallError(const char* exportName, HRESULT hr, wchar_t* text, size_t capacity) {
  if (capacity == 0) return 0;
  wchar_t system[512];
  TavSystemText(hr, system, sizeof system / sizeof system[0]);
  const wchar_t* meaning = TavLibraryMeaning(hr);
  /* The Microsoft C runtime: %hs is a narrow string, %s a wide one. */
  int n = _snwprintf(text, capacity, L"%hs failed: 0x%08lX (%s)%s%s", exportName ? exportName : "?", (unsigned long)hr,
                     system, meaning ? L": " : L"", meaning ? meaning : L"");
  if (n < 0 || (size_t)n >= capacity) n = (int)capacity - 1;
  text[n] = 0;
  return n;
}
