#include "tests/common/CompressorNames.h"

namespace tavtest {

std::vector<std::wstring> CompressorNames(TavMovieMakerGetCompressorsFn get, int id) {
  int count = 0, maxLength = 0;
  if (get(id, nullptr, &count, &maxLength) != S_OK || count <= 0 || maxLength <= 0) return {};
  std::vector<std::wstring> buffers(static_cast<size_t>(count), std::wstring(static_cast<size_t>(maxLength), L'\0'));
  std::vector<wchar_t*> names;
  for (std::wstring& b : buffers) names.push_back(&b[0]);
  if (get(id, names.data(), &count, &maxLength) != S_OK) return {};
  std::vector<std::wstring> result;
  for (wchar_t* n : names)
    if (n[0]) result.emplace_back(n);
  return result;
}

}  // namespace tavtest
