#pragma once
// One media sample a test source delivers: its bytes and time stamps.

#include <windows.h>

#include <string>

namespace platformtest {

struct TestBlock {
  std::string bytes;
  bool hasTime = true;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  // Actual data length to report; -1: the size of bytes.
  long validBytes = -1;
};

}  // namespace platformtest
