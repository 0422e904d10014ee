#pragma once
// CFileWriterInputPin: the File Writer's one input pin, name and id "in".
//
// - IMemInputPin (from CPackInputPin): a sample's start time is the file
//   offset it goes to, and (stop - start) bytes of its buffer are written,
//   whatever its actual data length says. A sample without time stamps is
//   written, actual length, right after the previous one.
//   Upstream must bring its own allocator (GetAllocator is E_INVALIDARG);
//   buffers are asked to be 512-byte aligned.
// - IStream: positional access to the same file for a multiplexer, which
//   writes its headers and indexes through it, also after the graph has
//   stopped; Commit after stop closes the file (see FileWriter.h).
// - Media types: none offered. Before a file name is set every type is
//   accepted; after it only MEDIATYPE_Stream (any subtype and format).
//
// Threads: connection on the graph's threads under the filter lock;
// Receive/EndOfStream on the upstream streaming thread (never taking the
// filter lock); IStream from any thread, serialised by the stream lock (the
// seek pointer) and the filter's file lock.

#include "common/PackInputPin.h"

#include <objidl.h>

namespace tavpack {

class CFileWriter;

class CFileWriterInputPin : public CPackInputPin, public IStream {
 public:
  CFileWriterInputPin(CFileWriter* filter, CCritSec* lock, HRESULT* phr);

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  // CBasePin
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT BreakConnect() override;

  // IMemInputPin
  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** ppAllocator) override;
  HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

  // ISequentialStream
  HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  // IStream
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) override;
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) override;
  HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                                   ULARGE_INTEGER* pcbWritten) override;  // E_NOTIMPL
  HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) override;
  HRESULT STDMETHODCALLTYPE Revert() override;  // E_NOTIMPL: writes go straight to the file
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) override;
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) override;
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;
  HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) override;  // E_NOTIMPL

 protected:
  HRESULT OnReceive(IMediaSample* pSample) override;
  HRESULT OnEndOfStream() override;

 private:
  CFileWriter* m_writer;       // weak: the filter owns the pin
  CCritSec m_streamLock;       // guards m_position
  ULONGLONG m_position = 0;    // IStream seek pointer
  ULONGLONG m_nextSample = 0;  // where an untimed sample goes
};

}  // namespace tavpack
