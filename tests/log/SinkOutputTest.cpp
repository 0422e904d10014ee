// The concrete sinks' output: the file sink's bytes and the debugger sink's
// OutputDebugStringW calls.
#define TAVMOVIEMAKER_EXPORTS  // the log is linked in statically
#include "TavMovieMaker.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "tests/common/UnixTools.h"

namespace {

std::string ReadWhileOpen(const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return "<cannot open>";
  std::string bytes;
  char buffer[4096];
  DWORD got = 0;
  while (ReadFile(file, buffer, sizeof(buffer), &got, nullptr) && got > 0) bytes.append(buffer, got);
  CloseHandle(file);
  return bytes;
}

void WriteBytes(const std::wstring& path, const std::string& bytes) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

TEST(FileSink, AppendsEachLineAsUtf8WithCrLfAndFlushesIt) {
  const std::wstring path = tavtest::MakeTempDir() + L"log.txt";
  WriteBytes(path, "earlier\r\n");
  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  int index = -1;
  ASSERT_EQ(TavLogAttachFile(1, 1, 0, path.c_str(), &index), S_OK);
  EXPECT_EQ(index, 0);
  ASSERT_EQ(TavLogWrite(1, 4, 3, "F", L"Gr\u00fc\u00dfe \u20ac \U0001F600"), S_OK);
  const std::string firstLine =
      "ERROR: 3; Gr\xC3\xBC\xC3\x9F"
      "e \xE2\x82\xAC \xF0\x9F\x98\x80\r\n";
  // Read back while the sink is still attached: the line is already in the file.
  EXPECT_EQ(ReadWhileOpen(path), "earlier\r\n" + firstLine);
  ASSERT_EQ(TavLogWrite(1, 1, 0, "F", L"second"), S_OK);
  const std::string expected = "earlier\r\n" + firstLine + "TRACE: 0; second\r\n";
  EXPECT_EQ(ReadWhileOpen(path), expected);
  // The same bytes seen from the Unix side.
  const auto od =
      tavtest::RunUnixCommand("od -An -v -tx1 " + tavtest::ShellQuote(tavtest::UnixPathOf(path)) + " | tr -d ' \\n'");
  EXPECT_EQ(od.exitCode, 0);
  std::string hex;
  for (unsigned char byte : expected) {
    char pair[3];
    snprintf(pair, sizeof(pair), "%02x", byte);
    hex += pair;
  }
  EXPECT_EQ(od.output, hex);
}

TEST(FileSink, IsClosedWhenDetachedOrItsEngineIsDeleted) {
  const std::wstring dir = tavtest::MakeTempDir();
  const std::wstring path = dir + L"closed.txt";
  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  ASSERT_EQ(TavLogAttachFile(1, 2, 0, path.c_str(), nullptr), S_OK);
  auto openExclusive = [&] {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return static_cast<DWORD>(ERROR_SUCCESS);
  };
  EXPECT_EQ(openExclusive(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  ASSERT_EQ(TavLogDetachSink(1, 0), S_OK);
  EXPECT_EQ(openExclusive(), static_cast<DWORD>(ERROR_SUCCESS));

  ASSERT_EQ(TavLogAttachFile(1, 2, 0, path.c_str(), nullptr), S_OK);
  EXPECT_EQ(openExclusive(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  ASSERT_EQ(TavLogDeleteEngine(1), S_OK);
  EXPECT_EQ(openExclusive(), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST(FileSink, AFileThatCannotBeOpenedReturnsItsWin32Error) {
  const std::wstring path = tavtest::MakeTempDir() + L"missing-folder\\log.txt";
  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  int index = 55;
  EXPECT_EQ(TavLogAttachFile(1, 1, 0, path.c_str(), &index), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(index, 55);
  // Nothing was attached: the engine still has no slot.
  EXPECT_EQ(TavLogWrite(1, 5, 0, "F", L"x"), S_FALSE);
}

// OutputDebugStringW raises a debug-print exception that a vectored handler
// sees before the system handles it.
std::wstring g_debugText;

LONG CALLBACK CatchDebugPrint(EXCEPTION_POINTERS* info) {
  const EXCEPTION_RECORD* record = info->ExceptionRecord;
  if (record->ExceptionCode == DBG_PRINTEXCEPTION_WIDE_C && record->NumberParameters >= 2) {
    g_debugText += reinterpret_cast<const wchar_t*>(record->ExceptionInformation[1]);
    g_debugText += L'|';
  } else if (record->ExceptionCode == DBG_PRINTEXCEPTION_C && record->NumberParameters >= 2) {
    const char* text = reinterpret_cast<const char*>(record->ExceptionInformation[1]);
    g_debugText += std::wstring(text, text + strlen(text));
    g_debugText += L'|';
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(DebuggerSink, SendsEachLineToOutputDebugStringW) {
  void* handler = AddVectoredExceptionHandler(1, &CatchDebugPrint);
  ASSERT_NE(handler, nullptr);
  OutputDebugStringW(L"probe");
  const bool seen = g_debugText.find(L"probe") != std::wstring::npos;
  g_debugText.clear();
  if (!seen) {
    RemoveVectoredExceptionHandler(handler);
    GTEST_SKIP() << "this platform's OutputDebugStringW raises no exception to observe";
  }
  ASSERT_EQ(TavLogCreateEngine(1, 0), S_OK);
  int index = -1;
  ASSERT_EQ(TavLogAttachDebugger(1, 2, 3, &index), S_OK);
  EXPECT_EQ(index, 0);
  TavLogWrite(1, 4, 9, "F", L"to the debugger");
  TavLogWrite(1, 2, 9, "F", L"below the sink's minimum");
  RemoveVectoredExceptionHandler(handler);
  EXPECT_EQ(g_debugText, L"SV=ERROR; CD=9; MSG=to the debugger|");
}

}  // namespace
