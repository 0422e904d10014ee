#include "api/RunningRecording.h"

#include <string>

#include "api/SourceFilters.h"
#include "log/Trace.h"
#include "writer/CAviWriter.h"

bool GraphMayHoldWaitingPins(CAviWriter* writer) {
  if (writer == nullptr || writer->m_pGraph == nullptr) return false;
  ThrowingComPtr<IMediaControl> control(writer->m_pGraph);
  if (control == nullptr) return false;
  OAFilterState state = State_Stopped;
  // A state still in transition is reported with it; only "stopped" is safe.
  if (FAILED(control->GetState(0, &state))) return true;
  return state != State_Stopped;
}

void EndRunningRecording(CAviWriter* writer, const char* exportName) {
  std::wstring warning(exportName, exportName + std::char_traits<char>::length(exportName));
  warning += L" -> recording still running, stopped";
  TAV_LOG(L".\\TavMovieMaker", exportName, LOG_SEV_WARNING, 0, L"%s", warning.c_str());
  writer->ReleaseFilterData();
  writer->StopRecord();
  writer->m_bStarted = false;
  ClearStreamErrors(writer);
  writer->EmptyGraph();
}
