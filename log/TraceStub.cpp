// Temporary: replaced by the log library.
#include <windows.h>
#include "log/Trace.h"
namespace tavlog {
bool LibraryIsEnabled(unsigned int) { return false; }
void LibraryWrite(const wchar_t*, const char*, int, unsigned int, int, const wchar_t*, ...) {}
}  // namespace tavlog
extern "C" {
HRESULT TavLogCreateEngine(int, unsigned int) { return E_NOTIMPL; }
HRESULT TavLogDeleteEngine(int) { return E_NOTIMPL; }
HRESULT TavLogAttachCallback(int, unsigned int, unsigned int, void*, void*, int*) { return E_NOTIMPL; }
HRESULT TavLogAttachFile(int, unsigned int, unsigned int, const wchar_t*, int*) { return E_NOTIMPL; }
HRESULT TavLogAttachDebugger(int, unsigned int, unsigned int, int*) { return E_NOTIMPL; }
HRESULT TavLogSetSink(int, int, unsigned int, unsigned int) { return E_NOTIMPL; }
HRESULT TavLogDetachSink(int, int) { return E_NOTIMPL; }
HRESULT TavLogListen(int, unsigned long long) { return E_NOTIMPL; }
unsigned long long TavLogModuleKey(void) { return 0; }
HRESULT TavLogWrite(int, unsigned int, int, const char*, const wchar_t*) { return E_NOTIMPL; }
}
