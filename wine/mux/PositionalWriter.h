// Where the AVI layout writer puts its bytes: a sink that writes at any
// offset. The mux's sink is the downstream pin's IStream; tests use a file.
// Called from whichever thread drives the layout writer, one at a time.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

class PositionalWriter {
 public:
  virtual ~PositionalWriter() = default;
  // Writes size bytes at offset; S_OK only when all were written.
  virtual HRESULT WriteAt(std::uint64_t offset, const void* data, std::size_t size) = 0;
};
