#include "log/LogTexts.h"

#include <sys/timeb.h>
#include <time.h>
#include <wchar.h>

#include <cstdio>
#include <cstring>
#include <new>

namespace tavlog {

const char kTimeTextError[] = "error_data error_time";
const wchar_t kMessageError[] = L"Can't prepare error message";

namespace {
constexpr int kTimeTextSize = 32;
constexpr int kMessageSize = 512;
}  // namespace

char* MakeTimeText(LogRecord* record) {
  char* text = new (std::nothrow) char[kTimeTextSize];
  if (text == nullptr) return const_cast<char*>(kTimeTextError);
  __timeb64 now;
  struct tm local;
  if (_ftime64_s(&now) != 0 || _localtime64_s(&local, &now.time) != 0) {
    delete[] text;
    return const_cast<char*>(kTimeTextError);
  }
  record->day = local.tm_mday;
  record->month = local.tm_mon + 1;
  record->year = local.tm_year + 1900;
  sprintf_s(text, kTimeTextSize, "%02d.%02d.%d %02d:%02d:%02d.%hu", record->day, record->month, record->year,
            local.tm_hour, local.tm_min, local.tm_sec, now.millitm);
  return text;
}

wchar_t* FormatLogMessageV(const wchar_t* format, va_list args) {
  wchar_t* message = new (std::nothrow) wchar_t[kMessageSize];
  if (message == nullptr) return const_cast<wchar_t*>(kMessageError);
  message[0] = L'\0';
  if (format != nullptr) _vsnwprintf_s(message, kMessageSize, _TRUNCATE, format, args);
  message[kMessageSize - 1] = L'\0';
  return message;
}

wchar_t* FormatLogMessage(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  wchar_t* message = FormatLogMessageV(format, args);
  va_end(args);
  return message;
}

wchar_t* CopyLogMessage(const wchar_t* text) {
  wchar_t* message = new (std::nothrow) wchar_t[kMessageSize];
  if (message == nullptr) return const_cast<wchar_t*>(kMessageError);
  int length = 0;
  if (text != nullptr)
    for (; length < kMessageSize - 1 && text[length] != L'\0'; ++length) message[length] = text[length];
  message[length] = L'\0';
  return message;
}

void FreeRecordTexts(char** timeText, wchar_t** message) {
  if (timeText != nullptr) {
    char* text = *timeText;
    if (text != kTimeTextError) delete[] text;
    *timeText = nullptr;
  }
  if (message != nullptr) {
    wchar_t* text = *message;
    if (text != kMessageError) delete[] text;
    *message = nullptr;
  }
}

}  // namespace tavlog
