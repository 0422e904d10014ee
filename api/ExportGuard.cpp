#include "api/ExportGuard.h"

#include "log/Trace.h"

void LogExportException(const char* exportName, HRESULT hr) {
  TAV_LOG(L".\\TavMovieMaker", exportName, LOG_SEV_ERROR, static_cast<int>(hr), L"%hs -> exception 0x%08X",
          exportName, static_cast<unsigned>(hr));
}
