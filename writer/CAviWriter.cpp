// CAviWriter: construction, destruction and the forwarders to the filters.
#include "writer/CAviWriter.h"

#include <cwchar>

#include "log/Trace.h"
#include "writer/FilterPtrs.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

// The frame rate truncated toward zero, as the audio filter takes it.
UINT WholeFramesPerSecond(double dFrameRate) {
  if (!(dFrameRate > 0.0) || dFrameRate >= 4294967296.0) return 0;
  return static_cast<UINT>(dFrameRate);
}

}  // namespace

CAviWriter::CAviWriter() {
  // The eight interface members start null (smart pointers).
  TAV_LOG(kFile, "CAviWriter::CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::CAviWriter -> Enter");
  m_hEventFrameReady = nullptr;
  m_hEventBufferReady = nullptr;
  m_hEventBufferDone = nullptr;
  m_hEventSampleReady = nullptr;
  m_hEventAudioBufferReady = nullptr;
  m_hEventAudioBufferDone = nullptr;
  m_hMainMutex = nullptr;
  m_pVideoCompressors = nullptr;
  m_pAudioCompressors = nullptr;
  wmemset(m_szFileName, 0, 260);
  m_nWidth = 0;
  m_nHeight = 0;
  m_dFrameRate = 0.0;
  m_bCompressed = 0;
  m_bStartPending = false;
  m_bStarted = false;
  m_nVideoCompressors = 0;
  m_nAudioCompressors = 0;
  m_iVideoCompressor = 0;
  // m_iAudioCompressor and m_nAudioFormat are written before they are read.
  m_bAudioCompressed = 0;
  TAV_LOG(kFile, "CAviWriter::CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::CAviWriter -> Leave");
}

CAviWriter::~CAviWriter() {
  TAV_LOG(kFile, "CAviWriter::~CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::~CAviWriter -> Enter");
  FreeCompressorTable(m_pVideoCompressors, m_nVideoCompressors);
  m_pVideoCompressors = nullptr;
  FreeCompressorTable(m_pAudioCompressors, m_nAudioCompressors);
  m_pAudioCompressors = nullptr;
  TAV_LOG(kFile, "CAviWriter::~CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::~CAviWriter -> Leave");
  // The interface members are released now, in reverse declared order:
  // audio compressor first, builder last.
}

bool CAviWriter::InitParam2(UINT nWidth, int nHeight, double dFrameRate, UINT bCompressed, UINT nWriterId) {
  TAV_LOG(kFile, "CAviWriter::InitParam2", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Enter");
  IMovie2Ptr movie(m_pRawFilter);
  if (!movie) return false;
  movie->SetEventHandles(m_hEventFrameReady, m_hEventBufferReady, m_hEventBufferDone);
  // The filters report failure with exactly 1; anything else counts as done.
  if (movie->InitParam2(nWidth, nHeight, dFrameRate, bCompressed, nWriterId) == 1) return false;

  if (m_pAudioSource) {
    IAudioPtr audio(m_pAudioSource);
    if (!audio) return false;
    if (audio->SetEventHandles(m_hEventSampleReady, m_hEventAudioBufferReady, m_hEventAudioBufferDone) != 0)
      return false;
    if (audio->InitParam2(static_cast<int>(m_nAudioFormat), nWriterId, WholeFramesPerSecond(dFrameRate)) == 1)
      return false;
  }
  TAV_LOG(kFile, "CAviWriter::InitParam2", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Leave");
  return true;
}

bool CAviWriter::InitAudio(UINT nFormat, UINT nWriterId, UINT nFramesPerSecond) {
  // InitAudio writes InitParam2's texts under its own function name.
  TAV_LOG(kFile, "CAviWriter::InitAudio", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Enter");
  m_nAudioFormat = nFormat;
  if (m_pAudioSource) {
    IAudioPtr audio(m_pAudioSource);
    if (!audio) return false;
    if (audio->SetEventHandles(m_hEventSampleReady, m_hEventAudioBufferReady, m_hEventAudioBufferDone) != 0)
      return false;
    if (audio->InitParam2(static_cast<int>(nFormat), nWriterId, nFramesPerSecond) == 1) return false;
  }
  TAV_LOG(kFile, "CAviWriter::InitAudio", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Leave");
  return true;
}

bool CAviWriter::SetFrameData(UINT* pFormat) {
  TAV_LOG(kFile, "CAviWriter::SetFrameData", LOG_SEV_TRACE, 0, L"CAviWriter::SetFrameData -> Enter");
  IMovie2Ptr movie(m_pRawFilter);
  if (!movie) return false;
  if (movie->SetFrameData(pFormat) == 1) return false;
  TAV_LOG(kFile, "CAviWriter::SetFrameData", LOG_SEV_TRACE, 0, L"CAviWriter::SetFrameData -> Leave");
  return true;
}

void CAviWriter::ReleaseFilterData() {
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0, L"CAviWriter::ReleaseFilterData -> Enter");
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Enter m_hMainMutex ReleaseFilterData()");
  WaitForSingleObject(m_hMainMutex, INFINITE);
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Leave m_hMainMutex ReleaseFilterData()");
  // Both filters are asked to end; their results are not looked at.
  try {
    IMoviePtr movie(m_pRawFilter);
    if (movie) movie->ReleaseFilterData();
    if (m_pAudioSource) {
      IAudioPtr audio(m_pAudioSource);
      if (audio) audio->ReleaseFilterData();
    }
  } catch (...) {
    ReleaseMutex(m_hMainMutex);
    throw;
  }
  ReleaseMutex(m_hMainMutex);
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0, L"CAviWriter::ReleaseFilterData -> Leave");
}

HRESULT CAviWriter::AddMovieFrame(BYTE* pData, int nSize, ULONGLONG nTime) {
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame -> Enter");
  IMoviePtr movie(m_pRawFilter);
  if (!movie) return E_FAIL;
  HRESULT hr = movie->AddFrame(pData, nSize, nTime);
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame -> Leave");
  return hr;
}

HRESULT CAviWriter::AddMovieFrame2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber) {
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame2", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame2 -> Enter");
  IMovie2Ptr movie(m_pRawFilter);
  if (!movie) return E_FAIL;
  HRESULT hr = movie->AddFrame2(pData, nSize, nTime, nFrameNumber);
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame2", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame2 -> Leave");
  return hr;
}

HRESULT CAviWriter::AddAudioSample(BYTE* pData, int nSize, ULONGLONG nTime) {
  TAV_LOG(kFile, "CAviWriter::AddAudioSample", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample -> Enter");
  IAudioPtr audio(m_pAudioSource);
  if (!audio) return E_FAIL;
  HRESULT hr = audio->AddFrame(pData, nSize, nTime);
  TAV_LOG(kFile, "CAviWriter::AddAudioSample", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample -> Leave");
  return hr;
}

HRESULT CAviWriter::AddAudioSample2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber) {
  TAV_LOG(kFile, "CAviWriter::AddAudioSample2", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample2 -> Enter");
  IAudioPtr audio(m_pAudioSource);
  if (!audio) return E_FAIL;
  HRESULT hr = audio->AddFrame2(pData, nSize, nTime, nFrameNumber);
  TAV_LOG(kFile, "CAviWriter::AddAudioSample2", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample2 -> Leave");
  return hr;
}
