// One log line as the call site fills it, before any sink lays it out.
// The time text and the message belong to the record: the call site makes them
// (MakeTimeText, FormatLogMessage) and releases them after Write
// (FreeRecordTexts). All other texts are constants that outlive the record.
#pragma once

#include <cstdint>

struct LogRecord {
  uint32_t processId;
  uint32_t threadId;
  char* timeText;
  const char* moduleName1;  // "MovieMaker"
  uint64_t moduleKey;       // the library's module handle
  const char* moduleName2;  // "TavMovieMaker"
  const wchar_t* file;      // a literal such as L".\\ReadRAW"
  const char* function;     // the qualified name, "CPushPinReadRAW::FillBuffer"
  int32_t line;
  uint32_t severity;
  int32_t code;
  wchar_t* message;
  int32_t day;
  int32_t month;
  int32_t year;
};

// Zeroes the record and sets its starting values: severity 5, code -1, day -1.
void ResetLogRecord(LogRecord* record);
