#include "api/ExportGuard.h"

#include <cwchar>

#include "log/Trace.h"
#include "writer/ComErrorText.h"

void LogExportException(const char* exportName, HRESULT hr, ExportErrorLine line) {
  if (line == ExportErrorLine::kComErrorText) {
    wchar_t step[128];
    _snwprintf(step, 127, L"%hs()", exportName);
    step[127] = L'\0';
    LogComError(exportName, step, hr, static_cast<int>(hr));
    return;
  }
  TAV_LOG(L".\\TavMovieMaker", exportName, LOG_SEV_ERROR, static_cast<int>(hr), L"%hs -> exception 0x%08X", exportName,
          static_cast<unsigned>(hr));
}
