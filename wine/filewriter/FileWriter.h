#pragma once
// CFileWriter: the File Writer filter (CLSID_FileWriter) of the platform
// pack. It writes what arrives on its one input pin "in" into the file named
// through IFileSinkFilter::SetFileName.
//
// Interfaces: IBaseFilter (IMediaFilter, IPersist), IFileSinkFilter,
// IFileSinkFilter2 (SetMode/GetMode: 0 or AM_FILE_OVERWRITE) and
// IAMFilterMiscFlags (a renderer: it sends EC_COMPLETE at end of stream).
//
// The file's life:
//  - SetFileName only records the name; the file is created (or reused, see
//    WriterFile.h for the modes) when the filter pauses from stopped. A
//    failure to open fails Run (not Pause) with the system error as an
//    HRESULT and sends EC_ERRORABORT; every write of that run fails with the
//    same HRESULT. Pause does not fail, because Wine's filter graph leaves
//    the other filters paused and unstoppable when a Pause fails (its Stop
//    is then a no-op and releasing the graph never ends), whereas after a
//    failed Run the graph counts as running and stops normally.
//  - Samples (IMemInputPin) and the pin's IStream write at byte offsets.
//    A failed write returns its HRESULT to the caller and sends
//    EC_ERRORABORT (once per run).
//  - Stop does NOT close the file when the upstream filter uses the pin's
//    IStream (an AVI multiplexer): graphs stop downstream filters first, and
//    the multiplexer writes its headers and indexes through IStream during
//    its own Stop, after ours. It then calls IStream::Commit, which closes
//    the file. Whatever comes first of Commit after stop, the next Pause, a
//    disconnection and the filter's release closes it. When nobody took the
//    pin's IStream, Stop closes the file itself.
//
// Threads: the graph calls the filter and pin methods from its threads; the
// upstream streaming thread calls Receive/EndOfStream and the IStream
// methods. State changes run under the filter lock; every file operation runs
// under a separate file lock, so a write in progress never holds up the
// graph's state changes and vice versa.

#include "framework/BaseFilter.h"
#include "framework/CritSec.h"
#include "framework/MediaType.h"

#include "filewriter/WriterFile.h"

#include <memory>
#include <string>

namespace tavpack {

class CFileWriterInputPin;

class CFileWriter : public CBaseFilter, public IFileSinkFilter2, public IAMFilterMiscFlags {
 public:
  // The class factory's creator (PackClasses.h).
  static HRESULT Create(IUnknown* outer, REFIID riid, void** object);

  explicit CFileWriter(IUnknown* outer);
  ~CFileWriter() override;

  DECLARE_IUNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  int GetPinCount() override;
  CBasePin* GetPin(int n) override;

  // IMediaFilter: Pause from stopped opens the file; Stop ends the run.
  HRESULT STDMETHODCALLTYPE Stop() override;
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME tStart) override;

  // IFileSinkFilter
  HRESULT STDMETHODCALLTYPE SetFileName(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) override;
  HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) override;
  // IFileSinkFilter2
  HRESULT STDMETHODCALLTYPE SetMode(DWORD dwFlags) override;
  HRESULT STDMETHODCALLTYPE GetMode(DWORD* pdwFlags) override;
  // IAMFilterMiscFlags: AM_FILTER_MISC_FLAGS_IS_RENDERER.
  ULONG STDMETHODCALLTYPE GetMiscFlags() override;

  // For the input pin.
  // True once a file name is set (the pin then takes only MEDIATYPE_Stream).
  bool HasFileName();
  // Writes at offset; a failure is returned and reported as EC_ERRORABORT.
  HRESULT WriteAt(ULONGLONG offset, const void* data, ULONG size, ULONG* written);
  HRESULT ReadAt(ULONGLONG offset, void* data, ULONG size, ULONG* read);
  HRESULT SetFileSize(ULONGLONG size);
  HRESULT GetFileSize(ULONGLONG* size);
  // IStream::Commit: closes the file once the filter has stopped,
  // otherwise flushes it.
  HRESULT CommitFile();
  // The upstream filter took the pin's IStream: keep the file open after
  // Stop until Commit.
  void StreamInterfaceTaken();
  // The pin was disconnected: close the file, forget the IStream user.
  void PinDisconnected();
  // End of stream on the pin: EC_COMPLETE now when running, at Run when
  // paused, once per run.
  void EndOfStreamReceived();
  // A copy of the file name (for IStream::Stat).
  std::wstring FileName();

 private:
  HRESULT CloseFile();
  // Sends EC_ERRORABORT(hr) once per run; under the file lock.
  void ReportError(HRESULT hr);

  CCritSec m_filterLock;
  CCritSec m_fileLock;   // guards m_file and the flags below it
  CCritSec m_eventLock;  // guards the end-of-stream flags (taken after the filter lock)
  std::unique_ptr<CFileWriterInputPin> m_pin;

  // Under the filter lock.
  std::wstring m_fileName;
  CMediaType m_fileType;
  bool m_hasFileName = false;
  DWORD m_mode = 0;

  // Under the event lock: the streaming thread's end of stream must not
  // wait for the filter lock (Stop holds it while it waits for Receive).
  bool m_running = false;
  bool m_active = false;
  bool m_endOfStream = false;  // EndOfStream arrived in this run
  bool m_completeSent = false;

  // Under the file lock.
  WriterFile m_file;
  bool m_streamUser = false;   // someone took the pin's IStream
  bool m_errorSent = false;    // EC_ERRORABORT sent in this run
  HRESULT m_openError = S_OK;  // why this run's file could not be opened
};

}  // namespace tavpack
