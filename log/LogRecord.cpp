#include "log/LogRecord.h"

#include <cstring>

void ResetLogRecord(LogRecord* record) {
  std::memset(record, 0, sizeof(*record));
  record->severity = 5;
  record->code = -1;
  record->day = -1;
}
