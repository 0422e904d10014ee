// The movie writer: the one working object behind every recording.
//
// It holds the recording graph's objects, the movie's settings, the compressor
// tables and the kernel objects of the frame and sample hand-over. The process
// has one of it, g_pAviWriter; LoadParam copies a writer ID's record into it
// before an export works on that writer.
//
// Threads: everything except the four Add* forwarders, ReleaseFilterData and
// StopRecord is called from the host's control thread. AddMovieFrame(2) and
// AddAudioSample(2) run on the host's acquisition thread(s), serialised by the
// hand-over protocol (they take no lock). ReleaseFilterData and StopRecord
// take m_hMainMutex.
//
// Errors: a QueryInterface that fails with anything but E_NOINTERFACE, or use
// of a null smart pointer, leaves these methods as a _com_error; only
// EmptyGraph catches it.
#pragma once

#include "writer/ThrowingComPtr.h"
#include "compressors/CompressorEntry.h"
#include "framework/UniqueHandle.h"

class CAviWriter {
 public:
  CAviWriter();
  ~CAviWriter();
  CAviWriter(const CAviWriter&) = delete;
  CAviWriter& operator=(const CAviWriter&) = delete;

  // Copies the record of writer `id` into g_pAviWriter (whatever `this` is).
  // Defined with the writer registry in api/.
  void LoadParam(int id);

  // Hands the video events, geometry and rate to the raw filter, then the
  // audio events and settings to the audio filter when there is one. False
  // when an interface is missing or a filter reports failure (exactly 1).
  bool InitParam2(UINT nWidth, int nHeight, double dFrameRate, UINT bCompressed, UINT nWriterId);
  // Stores the audio format selector (16: 16-bit, else 24-bit) and passes it
  // on to the audio filter when it exists.
  bool InitAudio(UINT nFormat, UINT nWriterId, UINT nFramesPerSecond);
  // Passes the host's pixel-format code (0 RGB24, 1 RGB32, 2 grey, 3 YUY2).
  bool SetFrameData(UINT* pFormat);
  // Ends both filters' streams, under m_hMainMutex.
  void ReleaseFilterData();

  // Forward one frame or audio block to the filters; E_FAIL when the filter
  // is missing, else the filter's result.
  HRESULT AddMovieFrame(BYTE* pData, int nSize, ULONGLONG nTime);
  HRESULT AddMovieFrame2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber);
  HRESULT AddAudioSample(BYTE* pData, int nSize, ULONGLONG nTime);
  HRESULT AddAudioSample2(BYTE* pData, int nSize, ULONGLONG nTime, ULONGLONG nFrameNumber);

  // Adds the filters to m_pGraph and connects them into the recording chain
  // (audio to the mux's first input), then sets the output file name.
  HRESULT MakeCaptureGraph();
  // Stops the graph under m_hMainMutex, which completes the AVI file.
  HRESULT StopRecord();
  // Creates builder and graph when missing, stops the graph and removes every
  // filter. 0, or -1 after a caught _com_error (logged at ERROR).
  HRESULT EmptyGraph();

  // Members, in this order.
  ThrowingComPtr<ICaptureGraphBuilder2> m_pBuilder;
  ThrowingComPtr<IGraphBuilder> m_pGraph;
  ThrowingComPtr<IBaseFilter> m_pRawFilter;        // "RAW Data Filter"
  ThrowingComPtr<IBaseFilter> m_pAviMux;           // "AVI Mux"
  ThrowingComPtr<IBaseFilter> m_pFileWriter;       // "File Writer"
  ThrowingComPtr<IBaseFilter> m_pVideoCompressor;  // null for "Uncompressed"
  ThrowingComPtr<IBaseFilter> m_pAudioSource;      // null while no audio stream is set
  ThrowingComPtr<IBaseFilter> m_pAudioCompressor;  // null when none is chosen
  wchar_t m_szFileName[260];
  UINT m_nWidth;
  UINT m_nHeight;
  double m_dFrameRate;
  int m_bCompressed;     // 0 for "Uncompressed", else 1
  bool m_bStartPending;  // the next frame or sample builds and runs the graph
  bool m_bStarted;       // between StartMovieRecord and StopMovieRecord
  // The hand-over events and the main mutex ("AviWrt_MainMutex"): made by
  // InitEx and closed by Release (api/WriterEvents.h), which empties them
  // before the writer goes.
  UniqueHandle m_hEventFrameReady;
  UniqueHandle m_hEventBufferReady;
  UniqueHandle m_hEventBufferDone;
  UniqueHandle m_hEventSampleReady;
  UniqueHandle m_hEventAudioBufferReady;
  UniqueHandle m_hEventAudioBufferDone;
  UniqueHandle m_hMainMutex;
  CompressorEntry* m_pVideoCompressors;
  int m_nVideoCompressors;
  CompressorEntry* m_pAudioCompressors;
  int m_nAudioCompressors;
  int m_iVideoCompressor;
  int m_iAudioCompressor;  // left unset by the constructor
  UINT m_nAudioFormat;     // left unset by the constructor
  int m_bAudioCompressed;  // 1 once an audio compressor entry was chosen, else 0

 private:
  // Waits (at most 2 s per pin) until the running source pins have delivered
  // the last sample handed over; called by StopRecord under m_hMainMutex.
  void WaitForLastDeliveries(IMediaControl* control);
};

// The one writer object of the process (defined with the registry in api/).
extern CAviWriter* g_pAviWriter;
