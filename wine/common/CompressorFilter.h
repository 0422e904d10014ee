// CCompressorFilter: the base of the pack's compressor filters (one input pin
// "Input", id "In"; one output pin "Output", id "Out"). It holds the filter
// lock and both pins, and does the plumbing every compressor shares:
// - connection: the input's type is checked and handed to the filter; the
//   output connects only while the input is connected (its types follow the
//   input), otherwise VFW_E_NOT_CONNECTED; a sample that brings another input
//   type while streaming is refused (VFW_E_TYPE_NOT_ACCEPTED);
// - state: Pause from stopped (both pins connected) starts the stream; Stop
//   decommits the output allocator first (a Receive waiting for a buffer is
//   released), the input pin then waits for the Receive, and the stream is
//   stopped;
// - flushing, new segments and end of stream are passed downstream.
//
// A compressor derives from CCompressorFilter and CCompressorOutputPin
// (media types, buffer sizes and its own interfaces) and implements:
//   CheckInputType, OnInputConnected, OnInputDisconnected, HasInput  (formats)
//   StartStreaming, Receive                                          (stream)
// and may override InputTypeChanges, StopStreaming, OnEndOfStream and
// OnFlushed. Its constructor makes its output pin and hands it to
// SetOutputPin.
//
// Threads and locks:
// - Format hooks (CheckInputType, OnInputConnected, OnInputDisconnected,
//   HasInput) and the output pin's media type calls run on the graph's or
//   the host's threads under the filter lock.
// - StartStreaming runs in Pause and StopStreaming in Stop, under the filter
//   lock and the input pin's receive lock, so no sample is in progress.
//   StartStreaming is behind the exception barrier (common/ComBarrier.h):
//   what it throws becomes Pause's HRESULT.
// - Receive, OnEndOfStream and OnFlushed run on the upstream streaming thread
//   under the input pin's receive lock (CPackInputPin) and must NOT take the
//   filter lock: Stop holds it while it waits for the receive lock.
// - BeginFlush is passed downstream without the receive lock: it must
//   release a Receive blocked downstream first.
#pragma once

#include "framework/BaseFilter.h"
#include "framework/BaseOutputPin.h"
#include "wine/common/PackInputPin.h"

#include <memory>
#include <new>

class CCompressorFilter;

// The input pin: every call goes to the filter's hooks.
class CCompressorInputPin : public CPackInputPin {
 public:
  CCompressorInputPin(const wchar_t* objectName, CCompressorFilter* filter, CCritSec* lock, HRESULT* hr);

  // CBasePin
  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT CompleteConnect(IPin* receivePin) override;
  HRESULT SetMediaType(const CMediaType* type) override;
  HRESULT BreakConnect() override;
  HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;  // "In"
  HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

  // IMemInputPin: delivery downstream may wait for a free buffer.
  HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override { return S_OK; }

 protected:
  HRESULT OnReceive(IMediaSample* sample) override;
  HRESULT OnEndOfStream() override;
  HRESULT OnBeginFlush() override;
  HRESULT OnEndFlush() override;

 private:
  CCompressorFilter* m_compressor;  // weak: the filter owns the pin
};

// The output pin's shared part; the compressor's pin adds the media types
// (CheckMediaType, GetMediaType, DecideBufferSize) and its interfaces.
class CCompressorOutputPin : public CBaseOutputPin {
 public:
  CCompressorOutputPin(const wchar_t* objectName, CCompressorFilter* filter, CCritSec* lock, HRESULT* hr);

  // VFW_E_NOT_CONNECTED while the input is not connected.
  HRESULT STDMETHODCALLTYPE Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
  HRESULT CheckConnect(IPin* pin) override;
  HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;  // "Out"

 protected:
  // For DecideBufferSize: at least `count` buffers of `size` bytes (more
  // when the input pin asked for more); E_FAIL when the allocator gives
  // none or buffers smaller than `usable` bytes.
  static HRESULT SetBuffers(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties, long count, long size,
                            long usable);

  CCompressorFilter* m_compressor;  // weak: the filter owns the pin
};

class CCompressorFilter : public CBaseFilter {
 public:
  CCompressorFilter(const wchar_t* name, IUnknown* outer, REFCLSID clsid, const wchar_t* inputObjectName);
  ~CCompressorFilter() override;

  // CBaseFilter
  int GetPinCount() override { return 2; }
  CBasePin* GetPin(int n) override;
  HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) override;  // "In", "Out" or the pin names
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Stop() override;

  // --- Format hooks (filter lock held by the caller) ---
  // S_OK when the input pin may take this type; otherwise the reason.
  virtual HRESULT CheckInputType(const CMediaType& type) = 0;
  // The input pin was connected with this type; a failure fails the connection.
  virtual HRESULT OnInputConnected(const CMediaType& type) = 0;
  virtual void OnInputDisconnected() = 0;
  // True while the input's format is known (the output may connect).
  virtual bool HasInput() const = 0;
  // True when a sample's type differs from the connected one in what the
  // stream was set up for; by default any difference.
  virtual bool InputTypeChanges(const CMediaType& next, const CMediaType& connected) const { return next != connected; }

  // --- Streaming hooks (see the thread notes above) ---
  // Sets the stream up for the connected types (Pause from stopped).
  virtual HRESULT StartStreaming() = 0;
  virtual void StopStreaming() {}
  // One input sample; what it makes goes out through OutputPin().
  virtual HRESULT Receive(IMediaSample* sample) = 0;
  // Delivers what the stream still holds before end of stream goes downstream.
  virtual void OnEndOfStream() {}
  // Drops what the stream holds (the flush has ended).
  virtual void OnFlushed() {}

  // --- Called by the input pin ---
  HRESULT EndOfStream();
  HRESULT BeginFlush();
  HRESULT EndFlush();
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

 protected:
  void SetOutputPin(CCompressorOutputPin* pin) { m_outputPin.reset(pin); }
  CCompressorInputPin* InputPin() const { return m_inputPin.get(); }
  CCompressorOutputPin* OutputPin() const { return m_outputPin.get(); }
  CCritSec* FilterLock() { return &m_filterLock; }

 private:
  CCritSec m_filterLock;
  std::unique_ptr<CCompressorInputPin> m_inputPin;
  std::unique_ptr<CCompressorOutputPin> m_outputPin;
};

// The class factory's creation function for a compressor filter that is made
// from its outer unknown.
template <class Filter>
HRESULT CreateCompressorFilter(IUnknown* outer, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr && riid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  auto* filter = new (std::nothrow) Filter(outer);
  if (filter == nullptr) return E_OUTOFMEMORY;
  filter->NonDelegatingAddRef();
  const HRESULT hr = filter->NonDelegatingQueryInterface(riid, object);
  filter->NonDelegatingRelease();
  return hr;
}
