// A program that behaves like a Windows program which starts a process that
// outlives it (as Wine's desktop process does): the runner test uses it.
//   runner_lingering_child            starts "wait" with our handles, exits
//   runner_lingering_child wait       sleeps up to a minute, then exits
//   runner_lingering_child echo N     copies input to output, exits with N
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

static int StartLingeringChild(void) {
  wchar_t self[MAX_PATH];
  if (!GetModuleFileNameW(NULL, self, MAX_PATH)) return 2;
  wchar_t commandLine[MAX_PATH + 16];
  swprintf(commandLine, MAX_PATH + 16, L"\"%s\" wait", self);
  STARTUPINFOW startup = {sizeof startup};
  PROCESS_INFORMATION process;
  if (!CreateProcessW(self, commandLine, NULL, NULL, TRUE, 0, NULL, NULL, &startup, &process)) {
    fprintf(stderr, "CreateProcessW failed: %lu\n", GetLastError());
    return 2;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  printf("started the child\n");
  return 0;
}

static int Echo(int exitCode) {
  char buffer[4096];
  size_t count;
  while ((count = fread(buffer, 1, sizeof buffer, stdin)) > 0) fwrite(buffer, 1, count, stdout);
  fprintf(stderr, "to stderr\n");
  return exitCode;
}

int wmain(int argc, wchar_t **argv) {
  if (argc == 1) return StartLingeringChild();
  if (argc == 2 && wcscmp(argv[1], L"wait") == 0) {
    Sleep(60 * 1000);
    return 0;
  }
  if (argc == 3 && wcscmp(argv[1], L"echo") == 0) return Echo(_wtoi(argv[2]));
  fprintf(stderr, "usage: runner_lingering_child [wait | echo N]\n");
  return 2;
}
