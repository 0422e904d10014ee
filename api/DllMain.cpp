// Load and unload of TavMovieMaker.dll. Process attach initialises COM on the
// loading thread, makes the one writer object and a registry holding the
// default record (ID 0). Process detach only uninitialises COM: the writer and
// the registry are left to the process.
#include <windows.h>
#include <objbase.h>

#include "api/WriterRegistry.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

HMODULE g_hTavMovieMakerModule = nullptr;

namespace {

void ProcessAttach(HINSTANCE instance) {
  g_hTavMovieMakerModule = instance;
  TAV_LOG(L".\\TavMovieMaker", "DllMain", LOG_SEV_TRACE, 0, L"MovieMaker: DllMain -> Enter");
  CoInitialize(nullptr);
  g_pAviWriter = new CAviWriter();
  g_nAviIDCounter = 0;
  g_plistAviID = new std::list<AviWriterParam>();
  g_plistAviID->push_back(AviWriterParam());
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    try {
      ProcessAttach(instance);
    } catch (...) {
      // Out of memory while loading: the exports then find no writer and
      // answer with errors instead of crashing.
    }
  } else if (reason == DLL_PROCESS_DETACH) {
    CoUninitialize();
  }
  return TRUE;
}
