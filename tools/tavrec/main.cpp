// tavrec: records an AVI movie through TavMovieMaker.dll from the command
// line, from a synthetic camera or from raw frames. tavrec --help for more.
#include "Console.h"
#include "Options.h"
#include "Recorder.h"

int wmain(int argc, wchar_t** argv) {
  using namespace tavrec;
  SetUpConsole();
  Options options;
  const std::wstring problem = ParseOptions(argc, argv, options);
  if (!problem.empty()) {
    Print(stderr, L"tavrec: " + problem + L"\n" + UsageLine());
    return kUsage;
  }
  if (options.help) return Print(stdout, HelpText()), kDone;
  if (options.listCompressors) return ListCompressors();
  return Record(options);
}
