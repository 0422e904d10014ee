#include "mux/RiffBytes.h"

#include <cstring>

void RiffBytes::Put16(std::uint16_t v) {
  Put8(static_cast<std::uint8_t>(v));
  Put8(static_cast<std::uint8_t>(v >> 8));
}

void RiffBytes::Put32(std::uint32_t v) {
  Put16(static_cast<std::uint16_t>(v));
  Put16(static_cast<std::uint16_t>(v >> 16));
}

void RiffBytes::Put64(std::uint64_t v) {
  Put32(static_cast<std::uint32_t>(v));
  Put32(static_cast<std::uint32_t>(v >> 32));
}

void RiffBytes::PutBytes(const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  bytes_.insert(bytes_.end(), p, p + size);
}

std::size_t RiffBytes::BeginChunk(std::uint32_t fourcc) {
  std::size_t start = bytes_.size();
  Put32(fourcc);
  Put32(0);
  return start;
}

std::size_t RiffBytes::BeginList(std::uint32_t listType) {
  std::size_t start = BeginChunk(MakeFourCC('L', 'I', 'S', 'T'));
  Put32(listType);
  return start;
}

void RiffBytes::EndChunk(std::size_t start) {
  std::size_t dataSize = bytes_.size() - start - 8;
  Patch32(start + 4, static_cast<std::uint32_t>(dataSize));
  if (dataSize & 1) Put8(0);
}

void RiffBytes::Patch32(std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) bytes_[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}
