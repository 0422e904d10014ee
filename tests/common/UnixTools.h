// Test helpers that reach the Linux side from a test program under Wine:
// run a shell command (ffprobe, ffmpeg) and map Windows paths to Unix paths.
//
// Wine starts Unix programs without a process handle or pipes, so the command
// runs under /bin/sh with its output and exit status sent to files that the
// caller polls for.
#pragma once

#include <string>

namespace tavtest {

struct UnixResult {
  int exitCode = -1;   // -1: the command did not finish in time
  std::string output;  // standard output and standard error together
};

// Runs `/bin/sh -c command` on the Unix side and waits up to timeoutMs.
UnixResult RunUnixCommand(const std::string& command, unsigned timeoutMs = 60000);

// The Unix path of a Windows path ("Z:\\tmp\\a.avi" -> "/tmp/a.avi"), through
// Wine's wine_get_unix_file_name. Empty when it cannot be mapped.
std::string UnixPathOf(const std::wstring& windowsPath);

// A fresh empty Unix directory for a test's files, as a Windows path
// ("Z:\\tmp\\tavtest-<pid>-<n>\\"); removed by the caller if it wants.
std::wstring MakeTempDir();

// Quotes a string for /bin/sh.
std::string ShellQuote(const std::string& text);

}  // namespace tavtest
