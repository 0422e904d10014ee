// Stand-ins for the two source filters, for tests of the writer object's
// forwarding rules: each is an IBaseFilter (whose own methods do nothing)
// that answers IMovie/IMovie2 or IAudio with results the test chooses and
// counts the calls it gets. Single-threaded use.
#pragma once

#include "filters/MovieInterfaces.h"
#include "writer/ThrowingComPtr.h"

#include <string>
#include <vector>

namespace tavtest {

class FakeFilterBase : public IBaseFilter {
 public:
  // Result of QueryInterface for the filter's own interface (IMovie/IMovie2
  // or IAudio): S_OK answers, anything else is returned with a null pointer.
  HRESULT qiResult = S_OK;
  // When set, every Release appends this filter's address (release order).
  std::vector<const void*>* releaseTrace = nullptr;

  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  LONG RefCount() const { return m_cRef; }

  STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
  STDMETHODIMP Stop() override { return S_OK; }
  STDMETHODIMP Pause() override { return S_OK; }
  STDMETHODIMP Run(REFERENCE_TIME) override { return S_OK; }
  STDMETHODIMP GetState(DWORD, FILTER_STATE* state) override;
  STDMETHODIMP SetSyncSource(IReferenceClock*) override { return S_OK; }
  STDMETHODIMP GetSyncSource(IReferenceClock** clock) override;
  STDMETHODIMP EnumPins(IEnumPins** pins) override;
  STDMETHODIMP FindPin(LPCWSTR, IPin** pin) override;
  STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
  STDMETHODIMP JoinFilterGraph(IFilterGraph*, LPCWSTR name) override;
  STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }

 protected:
  FakeFilterBase() = default;
  virtual ~FakeFilterBase() = default;
  // Answers IUnknown, IPersist, IMediaFilter and IBaseFilter.
  HRESULT QueryBase(REFIID riid, void** object);

 private:
  LONG m_cRef = 1;
  std::wstring m_name;  // as the graph named it
};

// Answers IMovie and IMovie2. Created with one reference.
class FakeVideoFilter : public FakeFilterBase, public IMovie2 {
 public:
  HRESULT initParam2Result = S_OK;
  HRESULT setFrameDataResult = S_OK;
  HRESULT addFrameResult = S_OK;
  int setEventHandlesCalls = 0;
  int initParam2Calls = 0;
  int setFrameDataCalls = 0;
  int addFrameCalls = 0;
  int addFrame2Calls = 0;
  int releaseFilterDataCalls = 0;
  HANDLE eventHandles[3] = {};
  UINT lastWidth = 0;
  int lastHeight = 0;
  double lastFps = 0.0;
  UINT lastReserved = 0;
  UINT lastId = 0;
  UINT* lastFormat = nullptr;
  BYTE* lastData = nullptr;
  int lastSize = 0;
  unsigned __int64 lastTime = 0;
  unsigned __int64 lastFrameNumber = 0;

  static FakeVideoFilter* Create() { return new FakeVideoFilter(); }

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return FakeFilterBase::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return FakeFilterBase::Release(); }

  STDMETHODIMP InitParam(UINT, UINT, int, UINT, UINT) override { return E_NOTIMPL; }
  STDMETHODIMP AddFrame(BYTE* data, int size, unsigned __int64 time) override;
  STDMETHODIMP ReleaseFilterData() override;
  STDMETHODIMP SetEventHandles(HANDLE frameReady, HANDLE bufferReady, HANDLE bufferDone) override;
  STDMETHODIMP InitParam2(UINT width, int height, double fps, UINT reserved, UINT id) override;
  STDMETHODIMP AddFrame2(BYTE* data, int size, unsigned __int64 time, unsigned __int64 frameNumber) override;
  STDMETHODIMP SetFrameData(UINT* format) override;
};

// Answers IAudio. Created with one reference.
class FakeAudioFilter : public FakeFilterBase, public IAudio {
 public:
  HRESULT initParam2Result = S_OK;
  HRESULT setEventHandlesResult = S_OK;
  HRESULT addFrameResult = S_OK;
  int setEventHandlesCalls = 0;
  int initParam2Calls = 0;
  int addFrameCalls = 0;
  int addFrame2Calls = 0;
  int releaseFilterDataCalls = 0;
  HANDLE eventHandles[3] = {};
  int lastBits = 0;
  UINT lastId = 0;
  UINT lastBuffersPerSecond = 0;
  BYTE* lastData = nullptr;
  int lastSize = 0;
  unsigned __int64 lastTime = 0;
  unsigned __int64 lastFrameNumber = 0;

  static FakeAudioFilter* Create() { return new FakeAudioFilter(); }

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return FakeFilterBase::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return FakeFilterBase::Release(); }

  STDMETHODIMP InitParam2(int bitsPerSample, UINT id, UINT buffersPerSecond) override;
  STDMETHODIMP AddFrame(BYTE* data, int size, unsigned __int64 time) override;
  STDMETHODIMP AddFrame2(BYTE* data, int size, unsigned __int64 time, unsigned __int64 frameNumber) override;
  STDMETHODIMP ReleaseFilterData() override;
  STDMETHODIMP SetEventHandles(HANDLE sampleReady, HANDLE bufferReady, HANDLE bufferDone) override;
};

}  // namespace tavtest
