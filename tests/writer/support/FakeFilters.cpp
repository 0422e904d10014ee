#include "tests/writer/support/FakeFilters.h"

namespace tavtest {

STDMETHODIMP_(ULONG) FakeFilterBase::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&m_cRef)); }

STDMETHODIMP_(ULONG) FakeFilterBase::Release() {
  if (releaseTrace) releaseTrace->push_back(this);
  LONG left = InterlockedDecrement(&m_cRef);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

STDMETHODIMP FakeFilterBase::GetState(DWORD, FILTER_STATE* state) {
  if (!state) return E_POINTER;
  *state = State_Stopped;
  return S_OK;
}

STDMETHODIMP FakeFilterBase::GetSyncSource(IReferenceClock** clock) {
  if (!clock) return E_POINTER;
  *clock = nullptr;
  return S_OK;
}

STDMETHODIMP FakeFilterBase::EnumPins(IEnumPins** pins) {
  if (pins) *pins = nullptr;
  return E_NOTIMPL;
}

STDMETHODIMP FakeFilterBase::FindPin(LPCWSTR, IPin** pin) {
  if (pin) *pin = nullptr;
  return VFW_E_NOT_FOUND;
}

STDMETHODIMP FakeFilterBase::QueryFilterInfo(FILTER_INFO* info) {
  if (!info) return E_POINTER;
  wcsncpy_s(info->achName, MAX_FILTER_NAME, m_name.c_str(), _TRUNCATE);
  info->pGraph = nullptr;
  return S_OK;
}

STDMETHODIMP FakeFilterBase::JoinFilterGraph(IFilterGraph*, LPCWSTR name) {
  m_name = name ? name : L"";
  return S_OK;
}

HRESULT FakeFilterBase::QueryBase(REFIID riid, void** object) {
  if (riid == IID_IUnknown || riid == IID_IPersist || riid == IID_IMediaFilter || riid == IID_IBaseFilter) {
    *object = static_cast<IBaseFilter*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP FakeVideoFilter::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (riid == IID_IMovie || riid == IID_IMovie2) {
    *object = nullptr;
    if (qiResult != S_OK) return qiResult;
    *object = static_cast<IMovie2*>(this);
    AddRef();
    return S_OK;
  }
  return QueryBase(riid, object);
}

STDMETHODIMP FakeVideoFilter::AddFrame(BYTE* data, int size, unsigned __int64 time) {
  ++addFrameCalls;
  lastData = data;
  lastSize = size;
  lastTime = time;
  return addFrameResult;
}

STDMETHODIMP FakeVideoFilter::ReleaseFilterData() {
  ++releaseFilterDataCalls;
  return S_OK;
}

STDMETHODIMP FakeVideoFilter::SetEventHandles(HANDLE frameReady, HANDLE bufferReady, HANDLE bufferDone) {
  ++setEventHandlesCalls;
  eventHandles[0] = frameReady;
  eventHandles[1] = bufferReady;
  eventHandles[2] = bufferDone;
  return S_OK;
}

STDMETHODIMP FakeVideoFilter::InitParam2(UINT width, int height, double fps, UINT reserved, UINT id) {
  ++initParam2Calls;
  lastWidth = width;
  lastHeight = height;
  lastFps = fps;
  lastReserved = reserved;
  lastId = id;
  return initParam2Result;
}

STDMETHODIMP FakeVideoFilter::AddFrame2(BYTE* data, int size, unsigned __int64 time, unsigned __int64 frameNumber) {
  ++addFrame2Calls;
  lastData = data;
  lastSize = size;
  lastTime = time;
  lastFrameNumber = frameNumber;
  return addFrameResult;
}

STDMETHODIMP FakeVideoFilter::SetFrameData(UINT* format) {
  ++setFrameDataCalls;
  lastFormat = format;
  return setFrameDataResult;
}

STDMETHODIMP FakeAudioFilter::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (riid == IID_IAudio) {
    *object = nullptr;
    if (qiResult != S_OK) return qiResult;
    *object = static_cast<IAudio*>(this);
    AddRef();
    return S_OK;
  }
  return QueryBase(riid, object);
}

STDMETHODIMP FakeAudioFilter::InitParam2(int bitsPerSample, UINT id, UINT buffersPerSecond) {
  ++initParam2Calls;
  lastBits = bitsPerSample;
  lastId = id;
  lastBuffersPerSecond = buffersPerSecond;
  return initParam2Result;
}

STDMETHODIMP FakeAudioFilter::AddFrame(BYTE* data, int size, unsigned __int64 time) {
  ++addFrameCalls;
  lastData = data;
  lastSize = size;
  lastTime = time;
  return addFrameResult;
}

STDMETHODIMP FakeAudioFilter::AddFrame2(BYTE* data, int size, unsigned __int64 time, unsigned __int64 frameNumber) {
  ++addFrame2Calls;
  lastData = data;
  lastSize = size;
  lastTime = time;
  lastFrameNumber = frameNumber;
  return addFrameResult;
}

STDMETHODIMP FakeAudioFilter::ReleaseFilterData() {
  ++releaseFilterDataCalls;
  return S_OK;
}

STDMETHODIMP FakeAudioFilter::SetEventHandles(HANDLE sampleReady, HANDLE bufferReady, HANDLE bufferDone) {
  ++setEventHandlesCalls;
  eventHandles[0] = sampleReady;
  eventHandles[1] = bufferReady;
  eventHandles[2] = bufferDone;
  return setEventHandlesResult;
}

}  // namespace tavtest
