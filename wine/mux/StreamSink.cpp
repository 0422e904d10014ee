#include "mux/StreamSink.h"

StreamSink::StreamSink(IStream* stream) : stream_(stream) {
  if (stream_ != nullptr) stream_->AddRef();
}

StreamSink::~StreamSink() { Release(); }

void StreamSink::Release() {
  if (stream_ != nullptr) stream_->Release();
  stream_ = nullptr;
}

HRESULT StreamSink::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  if (stream_ == nullptr) return E_UNEXPECTED;
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

HRESULT StreamSink::Commit() { return stream_ != nullptr ? stream_->Commit(STGC_DEFAULT) : S_OK; }
