#include "tests/reliability/MovieCounts.h"

#include <sstream>

#include "tests/common/UnixTools.h"

namespace tavtest {

std::vector<std::string> StreamCounts(const std::vector<std::wstring>& movies) {
  // One line per movie, "=" and the stream lines (nothing when ffprobe fails).
  std::string script;
  for (const std::wstring& movie : movies) {
    script +=
        "echo =$(ffprobe -v error -count_packets -show_entries stream=codec_type,nb_frames,nb_read_packets "
        "-of csv=p=0 " +
        ShellQuote(UnixPathOf(movie)) + " 2>/dev/null); ";
  }
  UnixResult result = RunUnixCommand(script, 600000);
  std::vector<std::string> counts;
  std::istringstream lines(result.output);
  std::string line;
  while (std::getline(lines, line))
    if (!line.empty() && line[0] == '=') counts.push_back(line.substr(1));
  return counts;
}

}  // namespace tavtest
