// CAviMux: the platform pack's AVI Mux (CLSID_AviDest). Input pins are made
// on demand ("Input 01", "Input 02", ...: a new free one whenever the last
// free one connects); the output "AVI Out" writes an AVI 2.0 (OpenDML) file
// through the downstream pin's IStream.
//
// Recording: Pause from stopped queries the output peer's IStream (when there
// is none, Run fails with that HRESULT and samples are refused), numbers the connected
// inputs in the order they connected (stream 0 = first connected), writes
// the header block and starts the writer thread (MuxWriteQueue). Receive
// queues the sample and returns; the writer thread writes the samples in
// arrival order (capture interleaving). A sample smaller than half the
// layout writer's buffer, arriving while nothing is queued, Receive writes
// itself (in arrival order all the same); a video sample whose media time
// (frame number) or, without one, time stamp lies whole frame slots after
// the previous one leaves zero-length entries for the missing slots. The
// input pins hand upstream a MuxAllocator, which grants the source enough
// buffers to fill the next frames while earlier ones are being written.
// End of stream waits until the queue is written before it is passed on.
// Stop waits for Receive calls in progress, lets the writer thread write
// everything queued, writes the indexes and final headers, and calls
// IStream::Commit. A failed write is returned from the next Receive (and
// from Stop), sent as EC_ERRORABORT once, and refuses every later sample.
//
// A killed host: while samples arrive, the writer thread brings the file on
// disk up to date at least once a second (buffered bytes out, header counts
// and RIFF sizes patched: AviLayoutWriter::Checkpoint), so a recording whose
// Stop never comes still reads (ffmpeg) up to its last checkpoint.
//
// Interfaces: IBaseFilter, IConfigAviMux, IConfigInterleaving (all modes are
// accepted and recorded; samples are always written in arrival order),
// IMediaSeeking (progress only: current position and duration).
//
// No exception leaves a method (common/ComBarrier.h): a throw while the
// filter changes state (out of memory while a recording starts) is that
// call's HRESULT; at the start it is the recording's failure, as above.
//
// Threads: the graph calls the filter and pin methods under the filter lock;
// the upstream streaming threads call Receive/EndOfStream, which queue (never
// taking the filter lock); the writer thread writes under the write lock.
// Stop holds the filter lock, lets the inputs wait for their Receive calls,
// stops the writer thread, then finishes the file under the write lock.
#pragma once

#include <windows.h>
#include <strmif.h>

#include <memory>
#include <vector>

#include "framework/BaseFilter.h"
#include "framework/CritSec.h"
#include "mux/AviLayoutWriter.h"
#include "mux/AviMuxInputPin.h"
#include "mux/AviMuxOutputPin.h"
#include "mux/MuxWriteQueue.h"
#include "mux/StreamSink.h"

class CAviMux : public CBaseFilter,
                public IConfigAviMux,
                public IConfigInterleaving,
                public IMediaSeeking,
                private MuxWriteQueue::Writer {
 public:
  // The class factory's entry (TAV_PACK_CLASS).
  static HRESULT Create(IUnknown* pOuter, REFIID riid, void** ppv);

  CAviMux(IUnknown* pOuter, HRESULT* phr);
  ~CAviMux() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  int GetPinCount() override;
  CBasePin* GetPin(int n) override;

  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  // Fails with the start's failure (see Pause) after running the pins.
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME tStart) override;

  // IConfigAviMux
  HRESULT STDMETHODCALLTYPE SetMasterStream(LONG iStream) override;
  HRESULT STDMETHODCALLTYPE GetMasterStream(LONG* pStream) override;
  HRESULT STDMETHODCALLTYPE SetOutputCompatibilityIndex(BOOL fOldIndex) override;
  HRESULT STDMETHODCALLTYPE GetOutputCompatibilityIndex(BOOL* pfOldIndex) override;

  // IConfigInterleaving
  HRESULT STDMETHODCALLTYPE put_Mode(InterleavingMode mode) override;
  HRESULT STDMETHODCALLTYPE get_Mode(InterleavingMode* pMode) override;
  HRESULT STDMETHODCALLTYPE put_Interleaving(const REFERENCE_TIME* prtInterleave,
                                             const REFERENCE_TIME* prtPreroll) override;
  HRESULT STDMETHODCALLTYPE get_Interleaving(REFERENCE_TIME* prtInterleave, REFERENCE_TIME* prtPreroll) override;

  // IMediaSeeking
  HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* pCapabilities) override;
  HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* pCapabilities) override;
  HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* pFormat) override;
  HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* pFormat) override;
  HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* pFormat) override;
  HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* pFormat) override;
  HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* pFormat) override;
  HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* pDuration) override;
  HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* pStop) override;
  HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* pCurrent) override;
  HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* pTarget, const GUID* pTargetFormat, LONGLONG Source,
                                              const GUID* pSourceFormat) override;
  HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* pCurrent, DWORD dwCurrentFlags, LONGLONG* pStop,
                                         DWORD dwStopFlags) override;
  HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* pCurrent, LONGLONG* pStop) override;
  HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* pEarliest, LONGLONG* pLatest) override;
  HRESULT STDMETHODCALLTYPE SetRate(double dRate) override;
  HRESULT STDMETHODCALLTYPE GetRate(double* pdRate) override;
  HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* pllPreroll) override;

  // From the input pins.
  void OnInputConnected(CAviMuxInputPin* pPin);                       // filter lock held
  HRESULT WriteSample(CAviMuxInputPin* pPin, IMediaSample* pSample);  // streaming thread: queues it
  HRESULT InputEndOfStream();                                         // streaming thread

  // Layout options for the next recording (tests use a small RIFF limit).
  void SetLayoutOptions(const AviLayoutOptions& options) { m_layoutOptions = options; }

 private:
  HRESULT PauseLocked();
  HRESULT RunLocked(REFERENCE_TIME tStart);
  // Starts a recording; a throw is its failure (filter lock held).
  HRESULT StartWriting();
  HRESULT StartWritingLocked();  // write lock held
  void ForgetStreams();          // the inputs lose their stream numbers
  HRESULT FinishWriting();
  // Once per recording: EC_ERRORABORT, the inputs refuse further samples,
  // and an ERROR line in the host's log naming the step (common/PackLog.h).
  void ReportError(HRESULT hr, const char* function, const wchar_t* step);
  // MuxWriteQueue::Writer, on the writer thread (or in Receive: MuxWriteQueue.h).
  HRESULT WriteQueued(CAviMuxInputPin* pPin, IMediaSample* pSample) override;
  void Tick() override;
  std::vector<CAviMuxInputPin*> ConnectedInputsInOrder();

  CCritSec m_csFilter;
  CCritSec m_csWrite;  // the layout writer, the sink and the progress fields
  std::unique_ptr<CAviMuxOutputPin> m_pOutput;
  std::vector<std::unique_ptr<CAviMuxInputPin>> m_inputs;
  LONG m_nConnections = 0;

  // Settings.
  LONG m_nMasterStream = -1;
  BOOL m_bCompatibilityIndex = TRUE;
  InterleavingMode m_mode = INTERLEAVE_CAPTURE;
  REFERENCE_TIME m_rtInterleave = 10000000;
  REFERENCE_TIME m_rtPreroll = 0;
  GUID m_timeFormat;
  AviLayoutOptions m_layoutOptions;

  // One recording, from Pause to Stop (under m_csWrite).
  std::unique_ptr<StreamSink> m_pSink;
  std::unique_ptr<AviLayoutWriter> m_pLayout;
  // Set and reset while the inputs are inactive (Pause from stopped, Stop).
  std::unique_ptr<MuxWriteQueue> m_pQueue;
  std::vector<CAviMuxInputPin*> m_streams;
  HRESULT m_hrStart = S_OK;  // why this recording could not start
  bool m_bErrorReported = false;
  bool m_bEndOfStreamSent = false;
  REFERENCE_TIME m_rtPosition = 0;
  bool m_bUnsaved = false;          // written since the last checkpoint
  ULONGLONG m_nLastCheckpoint = 0;  // GetTickCount64 of the last one
};
