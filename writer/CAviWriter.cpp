// CAviWriter: construction, destruction and the forwarders to the filters.
#include "writer/CAviWriter.h"

#include <cwchar>

#include "log/Trace.h"
#include "filters/MovieInterfaces.h"
#include "writer/ThrowingComPtr.h"

namespace {

const wchar_t kFile[] = L".\\TavMovieMaker";

// The frame rate truncated toward zero, as the audio filter takes it.
UINT WholeFramesPerSecond(double dFrameRate) {
  if (!(dFrameRate > 0.0) || dFrameRate >= 4294967296.0) return 0;
  return static_cast<UINT>(dFrameRate);
}

}  // namespace

CAviWriter::CAviWriter() {
  // The eight interface members and the seven handles start null (they own
  // what they hold).
  TAV_LOG(kFile, "CAviWriter::CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::CAviWriter -> Enter");
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
  FreeCompressorTable(m_pVideoCompressors);
  m_pVideoCompressors = nullptr;
  FreeCompressorTable(m_pAudioCompressors);
  m_pAudioCompressors = nullptr;
  TAV_LOG(kFile, "CAviWriter::~CAviWriter", LOG_SEV_TRACE, 0, L"CAviWriter::~CAviWriter -> Leave");
  // The interface members are released now, in reverse declared order:
  // audio compressor first, builder last.
}

bool CAviWriter::InitParam2(UINT nWidth, int nHeight, double dFrameRate, UINT bCompressed, UINT nWriterId) {
  TAV_LOG(kFile, "CAviWriter::InitParam2", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Enter");
  ThrowingComPtr<IMovie2> movie(m_pRawFilter);
  if (!movie) return false;
  movie->SetEventHandles(m_hEventFrameReady.Get(), m_hEventBufferReady.Get(), m_hEventBufferDone.Get());
  // The filters report failure with exactly 1; anything else counts as done.
  if (movie->InitParam2(nWidth, nHeight, dFrameRate, bCompressed, nWriterId) == 1) return false;

  if (m_pAudioSource) {
    ThrowingComPtr<IAudio> audio(m_pAudioSource);
    if (!audio) return false;
    if (audio->SetEventHandles(m_hEventSampleReady.Get(), m_hEventAudioBufferReady.Get(),
                               m_hEventAudioBufferDone.Get()) != 0)
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
    ThrowingComPtr<IAudio> audio(m_pAudioSource);
    if (!audio) return false;
    if (audio->SetEventHandles(m_hEventSampleReady.Get(), m_hEventAudioBufferReady.Get(),
                               m_hEventAudioBufferDone.Get()) != 0)
      return false;
    if (audio->InitParam2(static_cast<int>(nFormat), nWriterId, nFramesPerSecond) == 1) return false;
  }
  TAV_LOG(kFile, "CAviWriter::InitAudio", LOG_SEV_TRACE, 0, L"CAviWriter::InitParam2 -> Leave");
  return true;
}

bool CAviWriter::SetFrameData(UINT* pFormat) {
  TAV_LOG(kFile, "CAviWriter::SetFrameData", LOG_SEV_TRACE, 0, L"CAviWriter::SetFrameData -> Enter");
  ThrowingComPtr<IMovie2> movie(m_pRawFilter);
  if (!movie) return false;
  if (movie->SetFrameData(pFormat) == 1) return false;
  TAV_LOG(kFile, "CAviWriter::SetFrameData", LOG_SEV_TRACE, 0, L"CAviWriter::SetFrameData -> Leave");
  return true;
}

void CAviWriter::ReleaseFilterData() {
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0, L"CAviWriter::ReleaseFilterData -> Enter");
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Enter m_hMainMutex ReleaseFilterData()");
  WaitForSingleObject(m_hMainMutex.Get(), INFINITE);
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0,
          L"WaitForSingleObject->Leave m_hMainMutex ReleaseFilterData()");
  // Both filters are asked to end; their results are not looked at.
  try {
    ThrowingComPtr<IMovie> movie(m_pRawFilter);
    if (movie) movie->ReleaseFilterData();
    if (m_pAudioSource) {
      ThrowingComPtr<IAudio> audio(m_pAudioSource);
      if (audio) audio->ReleaseFilterData();
    }
  } catch (...) {
    ReleaseMutex(m_hMainMutex.Get());
    throw;
  }
  ReleaseMutex(m_hMainMutex.Get());
  TAV_LOG(kFile, "CAviWriter::ReleaseFilterData", LOG_SEV_TRACE, 0, L"CAviWriter::ReleaseFilterData -> Leave");
}

HRESULT CAviWriter::AddMovieFrame(BYTE* pData, int nSize, ULONGLONG nTime) {
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame -> Enter");
  ThrowingComPtr<IMovie> movie(m_pRawFilter);
  if (!movie) return E_FAIL;
  HRESULT hr = movie->AddFrame(pData, nSize, nTime);
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame -> Leave");
  return hr;
}

HRESULT CAviWriter::AddMovieFrame2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber) {
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame2", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame2 -> Enter");
  ThrowingComPtr<IMovie2> movie(m_pRawFilter);
  if (!movie) return E_FAIL;
  HRESULT hr = movie->AddFrame2(pData, nSize, nTime, nFrameNumber);
  TAV_LOG(kFile, "CAviWriter::AddMovieFrame2", LOG_SEV_TRACE, 0, L"CAviWriter::AddMovieFrame2 -> Leave");
  return hr;
}

HRESULT CAviWriter::AddAudioSample(BYTE* pData, int nSize, ULONGLONG nTime) {
  TAV_LOG(kFile, "CAviWriter::AddAudioSample", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample -> Enter");
  ThrowingComPtr<IAudio> audio(m_pAudioSource);
  if (!audio) return E_FAIL;
  HRESULT hr = audio->AddFrame(pData, nSize, nTime);
  TAV_LOG(kFile, "CAviWriter::AddAudioSample", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample -> Leave");
  return hr;
}

HRESULT CAviWriter::AddAudioSample2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber) {
  TAV_LOG(kFile, "CAviWriter::AddAudioSample2", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample2 -> Enter");
  ThrowingComPtr<IAudio> audio(m_pAudioSource);
  if (!audio) return E_FAIL;
  HRESULT hr = audio->AddFrame2(pData, nSize, nTime, nFrameNumber);
  TAV_LOG(kFile, "CAviWriter::AddAudioSample2", LOG_SEV_TRACE, 0, L"CAviWriter::AddAudioSample2 -> Leave");
  return hr;
}
