// A stand-in video compressor or converter built on the filter framework:
// its input takes only one uncompressed subtype (FORMAT_VideoInfo) and its
// output offers the input's connection type again, or that type turned into
// another RGB subtype and bit count (a converter). It connects like a real
// filter but passes nothing on (Receive drops the samples). Created with
// CreateInstance holding one reference; the graph's threads may call it.
#pragma once

#include "framework/BaseFilter.h"
#include "framework/BaseOutputPin.h"
#include "framework/BasePin.h"
#include "framework/CritSec.h"

namespace tavtest {

class FakeCompressor;

class FakeCompressorInput : public CBasePin, public IMemInputPin {
 public:
  FakeCompressorInput(FakeCompressor* filter, CCritSec* lock, HRESULT* phr, const GUID& subtype);
  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  HRESULT CheckMediaType(const CMediaType* pmt) override;

  HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) override;
  HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
  HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
  HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, long count, long* processed) override;
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override;

 private:
  GUID m_subtype;
};

struct FakeOutputFormat {
  GUID subtype;  // GUID_NULL: the input's type unchanged
  WORD bitCount;
};

class FakeCompressorOutput : public CBaseOutputPin {
 public:
  FakeCompressorOutput(FakeCompressor* filter, CCritSec* lock, HRESULT* phr, const FakeOutputFormat& format);
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT GetMediaType(int position, CMediaType* pmt) override;
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) override;

 private:
  FakeCompressor* m_pOwner;
  FakeOutputFormat m_format;
};

class FakeCompressor : public CBaseFilter {
 public:
  // A new filter as IBaseFilter with one reference, taking `subtype` only
  // and giving it on unchanged, or as `output` when that is set.
  static IBaseFilter* CreateInstance(const GUID& subtype, const FakeOutputFormat& output = {GUID_NULL, 0});
  ~FakeCompressor() override;
  int GetPinCount() override { return 2; }
  CBasePin* GetPin(int n) override;
  FakeCompressorInput* Input() { return m_pInput; }

 private:
  FakeCompressor(const GUID& subtype, const FakeOutputFormat& output);
  CCritSec m_lock;
  FakeCompressorInput* m_pInput = nullptr;
  FakeCompressorOutput* m_pOutput = nullptr;
};

}  // namespace tavtest
