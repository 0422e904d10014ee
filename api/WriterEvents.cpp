#include "api/WriterEvents.h"

#include <windows.h>
#include <cstdint>
#include <cwchar>

#include "log/Trace.h"
#include "writer/CAviWriter.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

struct EventSlot {
  UniqueHandle CAviWriter::*field;
  const wchar_t* fieldName;
  const wchar_t* nameFormat;  // formatted with the writer ID; never given to the system
  BOOL initiallySignalled;
};

const EventSlot kEvents[] = {
    {&CAviWriter::m_hEventFrameReady, L"m_hEventFrameReady", L"Frame Ready %d", FALSE},
    {&CAviWriter::m_hEventBufferReady, L"m_hEventBufferReady", L"Buffer Ready %d", TRUE},
    {&CAviWriter::m_hEventBufferDone, L"m_hEventBufferDone", L"Buffer Done %d", FALSE},
    {&CAviWriter::m_hEventSampleReady, L"m_hEventSampleReady", L"Sample Ready %d", FALSE},
    {&CAviWriter::m_hEventAudioBufferReady, L"m_hEventAudioBufferReady", L"Audio Buffer Ready %d", TRUE},
    {&CAviWriter::m_hEventAudioBufferDone, L"m_hEventAudioBufferDone", L"Audio Buffer Done %d", FALSE},
};

unsigned HandleBits(HANDLE h) { return static_cast<unsigned>(reinterpret_cast<uintptr_t>(h)); }

// Closes the handle now (nothing when empty); a refused close is logged.
void CloseLogged(const char* function, UniqueHandle& handle, const wchar_t* fieldName) {
  if (!handle.Close())
    TAV_LOG(kFile, function, LOG_SEV_ERROR, 0, L"CloseHandle failed for %s, last_err=%08X ", fieldName,
            static_cast<unsigned>(GetLastError()));
}

}  // namespace

bool RecreateHandOverEvents(CAviWriter* writer, int id) {
  const char* function = "TavMovieMakerInitEx";
  for (const EventSlot& slot : kEvents) {
    wchar_t name[260] = {};
    swprintf_s(name, 260, slot.nameFormat, id);
    UniqueHandle& handle = writer->*slot.field;
    if (handle) {
      TAV_LOG(kFile, function, LOG_SEV_TRACE, 0, L"Closing %08x %s", HandleBits(handle.Get()), slot.fieldName);
      CloseLogged(function, handle, slot.fieldName);
    }
    handle.Reset(CreateEventW(nullptr, FALSE, slot.initiallySignalled, nullptr));
    if (!handle) {
      TAV_LOG(kFile, function, LOG_SEV_ERROR, 0, L"CreateEvent");
      return false;
    }
  }
  return true;
}

bool RecreateMainMutex(CAviWriter* writer) {
  const char* function = "TavMovieMakerInitEx";
  if (writer->m_hMainMutex) {
    TAV_LOG(kFile, function, LOG_SEV_TRACE, 0, L"Closing %08X m_hMainMutex ", HandleBits(writer->m_hMainMutex.Get()));
    CloseLogged(function, writer->m_hMainMutex, L"m_hMainMutex");
  }
  writer->m_hMainMutex.Reset(CreateMutexW(nullptr, FALSE, L"AviWrt_MainMutex"));
  if (!writer->m_hMainMutex) {
    TAV_LOG(kFile, function, LOG_SEV_ERROR, 0, L"CreateMutex");
    return false;
  }
  return true;
}

void CloseWriterHandles(CAviWriter* writer) {
  const char* function = "TavMovieMakerRelease";
  for (const EventSlot& slot : kEvents) CloseLogged(function, writer->*slot.field, slot.fieldName);
  CloseLogged(function, writer->m_hMainMutex, L"m_hMainMutex");
}

void ResetHandOverEvents(CAviWriter* writer) {
  if (writer->m_hEventBufferDone) ResetEvent(writer->m_hEventBufferDone.Get());
  if (writer->m_hEventBufferReady) ResetEvent(writer->m_hEventBufferReady.Get());
  if (writer->m_hEventFrameReady) ResetEvent(writer->m_hEventFrameReady.Get());
  if (writer->m_hEventAudioBufferDone) ResetEvent(writer->m_hEventAudioBufferDone.Get());
  if (writer->m_hEventAudioBufferReady) ResetEvent(writer->m_hEventAudioBufferReady.Get());
  if (writer->m_hEventSampleReady) ResetEvent(writer->m_hEventFrameReady.Get());  // not SampleReady: kept so
}
