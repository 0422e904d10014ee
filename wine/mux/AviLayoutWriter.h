// Turns stream formats and samples into an AVI 2.0 (OpenDML) file through a
// PositionalWriter:
//
//   RIFF 'AVI '  hdrl (avih, one strl per stream with strh/strf/[strn]/indx,
//                odml/dmlh), JUNK, LIST 'movi' (chunks, ix## per stream), idx1
//   RIFF 'AVIX'  LIST 'movi' (chunks, ix## per stream)      ... as needed
//
// Chunks go out in the order they are handed in (capture interleaving). The
// header block has a fixed size, known once the streams are added: it is
// written by Begin and written again, with the final counts, by Finish. Each
// RIFF closes when the next chunk and its index entries would pass the RIFF
// size limit; its standard indexes (and for the first RIFF the legacy idx1)
// are written then and forgotten, so memory holds only one RIFF's index
// entries plus the super index entries.
//
// Small pieces are gathered in one write buffer and written in large
// sequential blocks; a sample at least half the buffer's size is written
// straight from the caller's memory. So every byte is copied at most once.
//
// Not thread-safe: the caller serialises every call (the mux holds its write
// lock). Every method returns the sink's failure unchanged; after a failure the
// writer refuses further work with that same HRESULT. Nothing throws: running
// out of memory is such a failure, E_OUTOFMEMORY.
#pragma once

#include "mux/PositionalWriter.h"
#include "mux/RiffBytes.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct AviStreamFormat {
  bool isVideo = true;
  // strf contents: BITMAPINFOHEADER (+ colour table) or WAVEFORMATEX (+ cbSize bytes).
  std::vector<std::uint8_t> format;
  // Video: the duration of one frame slot in 100-ns units (> 0).
  std::int64_t frameDuration = 0;
  // Video: key frames come from the caller; otherwise each chunk is a key frame.
  bool temporalCompression = false;
  // Optional stream name ('strn').
  std::string name;
};

struct AviLayoutOptions {
  // Largest size of one RIFF (bytes from "RIFF" to the end of its last chunk).
  std::uint64_t riffLimit = 1024ull * 1024 * 1024;
  // Entries reserved in each stream's super index ('indx').
  std::uint32_t superIndexEntries = 256;
  // Size of the write buffer.
  std::size_t bufferSize = 1024 * 1024;
  // Write the legacy 'idx1' for the first RIFF.
  bool legacyIndex = true;
};

class AviLayoutWriter {
 public:
  AviLayoutWriter(PositionalWriter& sink, const AviLayoutOptions& options);
  AviLayoutWriter(const AviLayoutWriter&) = delete;
  AviLayoutWriter& operator=(const AviLayoutWriter&) = delete;

  // Chunk ids carry the stream number in two decimal digits ("00dc" ... "98wb").
  static constexpr std::size_t kMaxStreams = 99;

  // Before Begin: adds a stream; returns its number (0, 1, ...).
  int AddStream(const AviStreamFormat& format);

  // Writes the header block and opens the first RIFF's movi list;
  // E_INVALIDARG with more than kMaxStreams streams.
  HRESULT Begin();

  // Appends one chunk for the stream; keyFrame counts only for video with
  // temporal compression.
  HRESULT WriteSample(int stream, const void* data, std::uint32_t size, bool keyFrame);

  // The most empty slots one gap leaves: at 25 frames per second a little
  // more than an hour. A frame number or time stamp far ahead would otherwise
  // cost an index entry per slot, gigabytes of file and minutes of writing.
  static constexpr std::uint32_t kMaxGapSlots = 100000;

  // Appends count zero-length chunks (dropped frame slots) for the stream;
  // more than kMaxGapSlots are recorded as kMaxGapSlots, with a WARNING line
  // (common/PackLog.h).
  HRESULT WriteEmptySlots(int stream, std::uint32_t count);

  // Video: changes the frame slot duration (before Finish), for a stream
  // whose duration was learnt from its first sample.
  void SetFrameDuration(int stream, std::int64_t duration);

  // Closes the last RIFF, writes the final headers and flushes. Idempotent.
  HRESULT Finish();

  // Puts out the buffered bytes and rewrites the header block with the
  // counts so far and the open RIFF's sizes up to here, so that a file
  // whose Finish never comes (the process was killed) still reads up to
  // this point. The indexes are written only by Finish (and as RIFFs close).
  HRESULT Checkpoint();

  // Frame slots (video) or blocks (audio) written to the stream so far.
  std::uint64_t StreamLength(int stream) const;
  // Bytes the file holds so far (including buffered ones).
  std::uint64_t FileSize() const { return pos_; }
  int StreamCount() const { return static_cast<int>(streams_.size()); }
  bool Finished() const { return finished_; }

 private:
  struct IndexEntry {
    std::uint64_t offset;  // of the chunk header in the file
    std::uint32_t size;    // data size
    bool keyFrame;
  };
  struct SuperEntry {
    std::uint64_t offset;  // of the ix## chunk
    std::uint32_t size;    // of the whole ix## chunk
    std::uint32_t duration;
  };
  struct Stream {
    AviStreamFormat format;
    std::uint32_t chunkId = 0;
    std::uint32_t blockAlign = 1;      // audio
    std::uint32_t avgBytesPerSec = 0;  // audio
    std::uint64_t length = 0;          // slots or blocks
    std::uint64_t lengthFirstRiff = 0;
    std::uint64_t bytes = 0;
    std::uint32_t largestChunk = 0;
    std::vector<IndexEntry> riffEntries;  // this RIFF's chunks
    std::vector<SuperEntry> superEntries;
  };
  struct LegacyEntry {
    std::uint32_t chunkId;
    std::uint32_t flags;
    std::uint32_t offset;  // from the 'movi' fourcc
    std::uint32_t size;
  };

  // Runs work behind the exception barrier; a throw is a failure (Fail).
  template <typename Work>
  HRESULT Guarded(Work&& work);
  HRESULT AppendChunk(int stream, const void* data, std::uint32_t size, bool keyFrame);
  HRESULT MakeRoomFor(std::uint32_t size);
  HRESULT CloseRiff();
  HRESULT OpenAvix();
  std::uint64_t IndexBytesPending(std::size_t extraEntries) const;

  // The header block, one structure per function, each field on a line of
  // its own with its name. Its size depends only on the streams and the
  // options, so Finish and Checkpoint write it again in place.
  void BuildHeaders(RiffBytes& out) const;
  const Stream* FirstVideoStream() const;
  void PutMainHeader(RiffBytes& out) const;
  void PutStreamList(RiffBytes& out, const Stream& s) const;
  void PutVideoStreamHeader(RiffBytes& out, const Stream& s) const;
  void PutAudioStreamHeader(RiffBytes& out, const Stream& s) const;
  void PutStreamFormat(RiffBytes& out, const Stream& s) const;
  void PutStreamName(RiffBytes& out, const Stream& s) const;
  void PutSuperIndex(RiffBytes& out, const Stream& s) const;
  void PutOpenDmlHeader(RiffBytes& out) const;
  void PutJunkUpToSector(RiffBytes& out) const;
  // The indexes written as a RIFF closes.
  void PutStandardIndex(RiffBytes& out, int stream) const;
  static std::uint64_t RiffDuration(const Stream& s);
  void PutLegacyIndex(RiffBytes& out) const;

  HRESULT Append(const void* data, std::size_t size);
  HRESULT Flush();
  HRESULT PatchAt(std::uint64_t offset, std::uint32_t value);
  HRESULT Fail(HRESULT hr);

  PositionalWriter& sink_;
  AviLayoutOptions options_;
  std::vector<Stream> streams_;
  std::vector<LegacyEntry> legacy_;

  std::vector<std::uint8_t> buffer_;
  std::uint64_t bufferBase_ = 0;  // file offset of buffer_[0]
  std::uint64_t pos_ = 0;         // end of the data handed in so far

  std::size_t headerSize_ = 0;
  std::uint32_t firstRiffSize_ = 0;  // known once the first RIFF closes
  std::uint32_t firstMoviSize_ = 0;
  std::uint64_t riffStart_ = 0;  // "RIFF" of the open RIFF
  std::uint64_t moviStart_ = 0;  // "LIST" of its movi list
  int riffCount_ = 0;
  bool begun_ = false;
  bool finished_ = false;
  HRESULT failure_ = S_OK;
};
