// A PositionalWriter over the downstream pin's IStream: Seek to the offset,
// then Write. Holds a reference to the stream while it lives.
// Used by the mux under its write lock (one caller at a time).
#pragma once

#include <objidl.h>

#include "framework/NonThrowingComPtr.h"
#include "mux/PositionalWriter.h"

class StreamSink : public PositionalWriter {
 public:
  explicit StreamSink(NonThrowingComPtr<IStream> stream);
  StreamSink(const StreamSink&) = delete;
  StreamSink& operator=(const StreamSink&) = delete;

  HRESULT WriteAt(std::uint64_t offset, const void* data, std::size_t size) override;
  // IStream::Commit(STGC_DEFAULT): tells the writer the file is complete.
  HRESULT Commit();

 private:
  NonThrowingComPtr<IStream> stream_;
};
