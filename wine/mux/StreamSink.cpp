#include "mux/StreamSink.h"

#include <utility>

StreamSink::StreamSink(NonThrowingComPtr<IStream> stream) : stream_(std::move(stream)) {}

HRESULT StreamSink::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  if (!stream_) return E_UNEXPECTED;
  LARGE_INTEGER move;
  move.QuadPart = static_cast<LONGLONG>(offset);
  HRESULT hr = stream_->Seek(move, STREAM_SEEK_SET, nullptr);
  if (FAILED(hr)) return hr;
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    ULONG chunk = size > 0x40000000 ? 0x40000000 : static_cast<ULONG>(size);
    ULONG written = 0;
    hr = stream_->Write(p, chunk, &written);
    if (FAILED(hr)) return hr;
    if (written != chunk) return STG_E_MEDIUMFULL;
    p += chunk;
    size -= chunk;
  }
  return S_OK;
}

HRESULT StreamSink::Commit() { return stream_ ? stream_->Commit(STGC_DEFAULT) : S_OK; }
