// TavMovieMakerRelease: ends a writer ID. Control thread only.
#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "api/WriterEvents.h"
#include "api/WriterRegistry.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const char kRelease[] = "TavMovieMakerRelease";

// Closes the kernel objects (whichever writer they were made for), counts the
// ID back and drops its records; with the last record the writer goes too.
// It neither stops a recording nor empties the graph.
HRESULT Release(int id) {
  TAV_LOG(L".\\TavMovieMaker", kRelease, LOG_SEV_TRACE, 0, L"TavMovieMakerRelease -> Enter");
  if (g_pAviWriter) {
    CloseWriterHandles(g_pAviWriter);
    --g_nAviIDCounter;
    if (g_plistAviID) {
      g_plistAviID->remove_if([id](const AviWriterParam& record) { return record.nID == id; });
      if (g_plistAviID->empty()) {
        delete g_plistAviID;
        g_plistAviID = nullptr;
        delete g_pAviWriter;
        g_pAviWriter = nullptr;
      }
    }
  }
  TAV_LOG(L".\\TavMovieMaker", kRelease, LOG_SEV_TRACE, 0, L"TavMovieMakerRelease -> Leave");
  return S_OK;
}

}  // namespace

extern "C" void TavMovieMakerRelease(int id) {
  GuardExport(kRelease, [&] { return Release(id); });
}
