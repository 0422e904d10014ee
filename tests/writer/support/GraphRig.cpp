#include "tests/writer/support/GraphRig.h"

#include <algorithm>
#include <cwchar>
#include <new>

#include "api/WriterRegistry.h"
#include "filters/AudioSource.h"
#include "filters/PushSourceReadRAW.h"
#include "framework/MediaType.h"
#include "framework/Source.h"

namespace tavtest {

namespace {

const DWORD kHandOverWaitMs = 10000;
const int kWriterId = 1;

HRESULT AttachBaseFilter(CUnknown* object, ThrowingComPtr<IBaseFilter>& filter) {
  IBaseFilter* base = nullptr;
  HRESULT hr = object->NonDelegatingQueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&base));
  if (FAILED(hr)) {
    delete object;
    return hr;
  }
  filter.Attach(base);
  return S_OK;
}

std::wstring FilterName(IBaseFilter* filter) {
  FILTER_INFO info = {};
  if (FAILED(filter->QueryFilterInfo(&info))) return L"?";
  if (info.pGraph) info.pGraph->Release();
  return info.achName;
}

std::wstring PinLabel(IPin* pin) {
  PIN_INFO info = {};
  if (FAILED(pin->QueryPinInfo(&info))) return L"?";
  std::wstring label = (info.pFilter ? FilterName(info.pFilter) : std::wstring(L"?")) + L"/" + info.achName;
  if (info.pFilter) info.pFilter->Release();
  return label;
}

}  // namespace

GraphRig::GraphRig() {
  m_pWriter = new CAviWriter();
  g_pAviWriter = m_pWriter;
  g_plistAviID = new std::list<AviWriterParam>();
}

GraphRig::~GraphRig() {
  if (m_pWriter->m_pGraph) {
    ThrowingComPtr<IMediaControl> control(m_pWriter->m_pGraph);
    if (control) control->Stop();
  }
  m_pWriter->m_hEventFrameReady.Close();
  m_pWriter->m_hEventBufferReady.Close();
  m_pWriter->m_hEventBufferDone.Close();
  m_pWriter->m_hEventSampleReady.Close();
  m_pWriter->m_hEventAudioBufferReady.Close();
  m_pWriter->m_hEventAudioBufferDone.Close();
  m_pWriter->m_hMainMutex.Close();
  m_pWriter->EmptyGraph();
  delete g_plistAviID;
  g_plistAviID = nullptr;
  g_pAviWriter = nullptr;
  delete m_pWriter;
}

HRESULT GraphRig::Setup(const RigSettings& settings) {
  m_settings = settings;
  CAviWriter& w = *m_pWriter;
  if (w.EmptyGraph() != 0) return E_FAIL;
  w.m_hEventFrameReady.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  w.m_hEventBufferReady.Reset(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  w.m_hEventBufferDone.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  w.m_hEventSampleReady.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  w.m_hEventAudioBufferReady.Reset(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  w.m_hEventAudioBufferDone.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  w.m_hMainMutex.Reset(CreateMutexW(nullptr, FALSE, L"AviWrt_MainMutex"));
  if (!w.m_hMainMutex) return HRESULT_FROM_WIN32(GetLastError());

  HRESULT hr = S_OK;
  CUnknown* raw = CPushSourceReadRAW::CreateInstance(nullptr, &hr);
  if (!raw) return E_OUTOFMEMORY;
  hr = AttachBaseFilter(raw, w.m_pRawFilter);
  if (FAILED(hr)) return hr;
  hr = w.m_pAviMux.CreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER);
  if (FAILED(hr)) return hr;
  hr = w.m_pFileWriter.CreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER);
  if (FAILED(hr)) return hr;
  if (!w.SetFrameData(&m_settings.pixelFormat)) return E_FAIL;

  w.m_nWidth = settings.width;
  w.m_nHeight = static_cast<UINT>(settings.height);
  w.m_dFrameRate = settings.fps;
  if (settings.audio) {
    hr = S_OK;
    CAudioSource* audio = new (std::nothrow) CAudioSource(nullptr, &hr);
    if (!audio) return E_OUTOFMEMORY;
    hr = AttachBaseFilter(audio, w.m_pAudioSource);
    if (FAILED(hr)) return hr;
    if (!w.InitAudio(settings.audioFormat, kWriterId, static_cast<UINT>(settings.fps))) return E_FAIL;
  }
  if (!w.InitParam2(settings.width, settings.height, settings.fps, static_cast<UINT>(w.m_bCompressed), kWriterId))
    return E_FAIL;

  // Record 1 holds what LoadParam brings back for writer 1.
  AviWriterParam record;
  record.nID = kWriterId;
  record.pGraph = w.m_pGraph;
  record.pBuilder = w.m_pBuilder;
  record.nWidth = static_cast<int>(settings.width);
  record.nHeight = settings.height;
  record.dFps = settings.fps;
  g_plistAviID->push_back(record);
  return S_OK;
}

HRESULT GraphRig::Start(const std::wstring& fileName) {
  CAviWriter& w = *m_pWriter;
  wcsncpy_s(w.m_szFileName, 260, fileName.c_str(), _TRUNCATE);
  if (AviWriterParam* record = FindWriterRecord(kWriterId)) {
    wcsncpy_s(record->szFileName, 260, fileName.c_str(), _TRUNCATE);
    record->pVideoCompressors = w.m_pVideoCompressors;
    record->nVideoCompressors = w.m_nVideoCompressors;
    record->pAudioCompressors = w.m_pAudioCompressors;
    record->nAudioCompressors = w.m_nAudioCompressors;
  }
  ResetEvent(w.m_hEventBufferDone.Get());
  ResetEvent(w.m_hEventBufferReady.Get());
  ResetEvent(w.m_hEventFrameReady.Get());
  ResetEvent(w.m_hEventAudioBufferDone.Get());
  ResetEvent(w.m_hEventAudioBufferReady.Get());
  w.m_bStartPending = true;
  if (!w.InitParam2(w.m_nWidth, static_cast<int>(w.m_nHeight), w.m_dFrameRate, static_cast<UINT>(w.m_bCompressed),
                    kWriterId))
    return E_FAIL;
  w.m_bStarted = true;

  ThrowingComPtr<IMediaControl> control(w.m_pGraph);
  if (!control) return E_NOINTERFACE;
  HRESULT hr = control->Stop();
  if (FAILED(hr)) return hr;
  hr = w.MakeCaptureGraph();
  if (FAILED(hr)) return hr;
  hr = control->Run();
  if (FAILED(hr)) return hr;
  w.m_bStartPending = false;
  return S_OK;
}

HRESULT GraphRig::PushBlock(bool audio, const void* data, int size, ULONGLONG time, ULONGLONG number) {
  CAviWriter& w = *m_pWriter;
  HANDLE ready = audio ? w.m_hEventAudioBufferReady.Get() : w.m_hEventBufferReady.Get();
  HANDLE go = audio ? w.m_hEventSampleReady.Get() : w.m_hEventFrameReady.Get();
  HANDLE done = audio ? w.m_hEventAudioBufferDone.Get() : w.m_hEventBufferDone.Get();
  WaitForSingleObject(w.m_hMainMutex.Get(), INFINITE);
  if (WaitForSingleObject(ready, kHandOverWaitMs) == WAIT_TIMEOUT) {
    ReleaseMutex(w.m_hMainMutex.Get());
    return static_cast<HRESULT>(0xFFFFFB2E);
  }
  BYTE* bytes = static_cast<BYTE*>(const_cast<void*>(data));
  if (audio) w.AddAudioSample2(bytes, size, time, number);
  else w.AddMovieFrame2(bytes, size, time, number);
  SetEvent(go);
  DWORD waited = WaitForSingleObject(done, kHandOverWaitMs);
  ReleaseMutex(w.m_hMainMutex.Get());
  return waited == WAIT_TIMEOUT ? static_cast<HRESULT>(0xFFFFFB2E) : S_OK;
}

HRESULT GraphRig::PushFrame(const void* data, int size, ULONGLONG time, ULONGLONG frameNumber) {
  return PushBlock(false, data, size, time, frameNumber);
}

HRESULT GraphRig::PushAudio(const void* data, int size, ULONGLONG time, ULONGLONG number) {
  return PushBlock(true, data, size, time, number);
}

void GraphRig::PushBreak() {
  m_pWriter->AddMovieFrame2(nullptr, 0, 0, 0);
  if (m_pWriter->m_pAudioSource) m_pWriter->AddAudioSample2(nullptr, 0, 0, 0);
}

HRESULT GraphRig::Stop() {
  CAviWriter& w = *m_pWriter;
  w.ReleaseFilterData();
  HRESULT hr = w.StopRecord();
  w.m_bStarted = false;
  w.EmptyGraph();
  return hr;
}

std::vector<std::wstring> GraphRig::FilterNames() const {
  std::vector<std::wstring> names;
  ThrowingComPtr<IEnumFilters> filters;
  if (FAILED(m_pWriter->m_pGraph->EnumFilters(&filters))) return names;
  ThrowingComPtr<IBaseFilter> filter;
  while (filters->Next(1, &filter, nullptr) == S_OK) names.push_back(FilterName(filter));
  std::sort(names.begin(), names.end());
  return names;
}

Connections GraphRig::ConnectionList() const {
  Connections connections;
  ThrowingComPtr<IEnumFilters> filters;
  if (FAILED(m_pWriter->m_pGraph->EnumFilters(&filters))) return connections;
  ThrowingComPtr<IBaseFilter> filter;
  while (filters->Next(1, &filter, nullptr) == S_OK) {
    ThrowingComPtr<IEnumPins> pins;
    if (FAILED(filter->EnumPins(&pins))) continue;
    ThrowingComPtr<IPin> pin;
    while (pins->Next(1, &pin, nullptr) == S_OK) {
      PIN_DIRECTION direction;
      if (FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_OUTPUT) continue;
      ThrowingComPtr<IPin> peer;
      if (pin->ConnectedTo(&peer) != S_OK || !peer) continue;
      connections.push_back(PinLabel(pin) + L" -> " + PinLabel(peer));
    }
  }
  std::sort(connections.begin(), connections.end());
  return connections;
}

bool GraphRig::ConnectionType(const std::wstring& filterName, const std::wstring& pinName, AM_MEDIA_TYPE* type) const {
  ThrowingComPtr<IBaseFilter> filter;
  if (FAILED(m_pWriter->m_pGraph->FindFilterByName(filterName.c_str(), &filter)) || !filter) return false;
  ThrowingComPtr<IPin> pin;
  if (FAILED(filter->FindPin(pinName.c_str(), &pin)) || !pin) return false;
  return pin->ConnectionMediaType(type) == S_OK;
}

}  // namespace tavtest
