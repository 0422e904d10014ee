#include "mux/AviLayoutWriter.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "common/ComBarrier.h"
#include "common/PackLog.h"

namespace {

constexpr std::uint32_t kAvifHasIndex = 0x10;
constexpr std::uint32_t kAvifIsInterleaved = 0x100;
constexpr std::uint32_t kAvifTrustCkType = 0x800;
constexpr std::uint32_t kAviifKeyFrame = 0x10;
constexpr std::uint32_t kNotKeyFrameBit = 0x80000000u;
constexpr std::uint8_t kIndexOfIndexes = 0;
constexpr std::uint8_t kIndexOfChunks = 1;
constexpr std::uint64_t kUnitsPerSecond = 10000000;  // 100-ns units
constexpr std::uint32_t kDefaultQuality = 0xFFFFFFFFu;
constexpr std::size_t kChunkHeaderBytes = 8;  // fourcc, size
constexpr std::size_t kListHeaderBytes = 12;  // "LIST", size, list type
constexpr std::size_t kMainHeaderReservedBytes = 16;
constexpr std::size_t kOpenDmlHeaderReservedBytes = 244;
constexpr std::size_t kStandardIndexHeader = 24;
constexpr std::size_t kSuperIndexEntryBytes = 16;
constexpr std::size_t kStandardIndexEntryBytes = 8;
constexpr std::size_t kLegacyIndexEntryBytes = 16;
constexpr std::uint32_t kMoviAlignment = 512;

std::uint32_t StreamTag(int stream, char c, char d) {
  return MakeFourCC(static_cast<char>('0' + stream / 10), static_cast<char>('0' + stream % 10), c, d);
}

std::uint32_t IndexTag(int stream) {
  return MakeFourCC('i', 'x', static_cast<char>('0' + stream / 10), static_cast<char>('0' + stream % 10));
}

std::uint32_t ReadLE32(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  if (bytes.size() < at + 4) return 0;
  return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

std::uint16_t ReadLE16(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  if (bytes.size() < at + 2) return 0;
  return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

std::uint32_t Clamp32(std::uint64_t v) { return v > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(v); }

// BITMAPINFOHEADER fields used in the headers.
std::int32_t BitmapWidth(const AviStreamFormat& f) { return static_cast<std::int32_t>(ReadLE32(f.format, 4)); }
std::int32_t BitmapHeight(const AviStreamFormat& f) {
  std::int32_t h = static_cast<std::int32_t>(ReadLE32(f.format, 8));
  return h < 0 ? -h : h;
}
std::uint32_t BitmapCompression(const AviStreamFormat& f) { return ReadLE32(f.format, 16); }

}  // namespace

AviLayoutWriter::AviLayoutWriter(PositionalWriter& sink, const AviLayoutOptions& options)
    : sink_(sink), options_(options) {
  if (options_.bufferSize < 4096) options_.bufferSize = 4096;
  if (options_.superIndexEntries == 0) options_.superIndexEntries = 1;
  buffer_.reserve(options_.bufferSize);
}

int AviLayoutWriter::AddStream(const AviStreamFormat& format) {
  Stream s;
  s.format = format;
  int number = static_cast<int>(streams_.size());
  if (format.isVideo) {
    s.chunkId = StreamTag(number, 'd', BitmapCompression(format) == BI_RGB ? 'b' : 'c');
    if (s.format.frameDuration <= 0) s.format.frameDuration = 1;
  } else {
    s.chunkId = StreamTag(number, 'w', 'b');
    s.blockAlign = std::max<std::uint32_t>(1, ReadLE16(format.format, 12));
    s.avgBytesPerSec = ReadLE32(format.format, 8);
  }
  streams_.push_back(std::move(s));
  return number;
}

template <typename Work>
HRESULT AviLayoutWriter::Guarded(Work&& work) {
  return tavpack::CallWithoutThrowing(work, [this](HRESULT thrown) { Fail(thrown); });
}

HRESULT AviLayoutWriter::Begin() {
  if (begun_) return E_UNEXPECTED;
  if (streams_.size() > kMaxStreams) return E_INVALIDARG;
  begun_ = true;
  return Guarded([&] {
    RiffBytes header;
    BuildHeaders(header);
    headerSize_ = header.Size();
    riffStart_ = 0;
    moviStart_ = headerSize_ - kListHeaderBytes;
    riffCount_ = 1;
    HRESULT hr = Append(header.Data(), header.Size());
    if (FAILED(hr)) return hr;
    // The header goes out at once so a sink that cannot write fails the start.
    return Flush();
  });
}

void AviLayoutWriter::BuildHeaders(RiffBytes& out) const {
  out.Put32(MakeFourCC('R', 'I', 'F', 'F'));
  out.Put32(firstRiffSize_);
  out.Put32(MakeFourCC('A', 'V', 'I', ' '));
  std::size_t hdrl = out.BeginList(MakeFourCC('h', 'd', 'r', 'l'));
  PutMainHeader(out);
  for (const Stream& s : streams_) PutStreamList(out, s);
  PutOpenDmlHeader(out);
  out.EndChunk(hdrl);
  PutJunkUpToSector(out);
  out.Put32(MakeFourCC('L', 'I', 'S', 'T'));
  out.Put32(firstMoviSize_);
  out.Put32(MakeFourCC('m', 'o', 'v', 'i'));
}

const AviLayoutWriter::Stream* AviLayoutWriter::FirstVideoStream() const {
  for (const Stream& s : streams_) {
    if (s.format.isVideo) return &s;
  }
  return nullptr;
}

// avih (MainAVIHeader). The frame counts are those of the first video stream;
// dwTotalFrames counts the first RIFF's frames once it has closed (the whole
// length is in dmlh).
void AviLayoutWriter::PutMainHeader(RiffBytes& out) const {
  const Stream* video = FirstVideoStream();
  std::uint64_t bytesPerSec = 0;
  std::uint32_t largest = 0;
  for (const Stream& s : streams_) {
    largest = std::max(largest, s.largestChunk);
    if (s.format.isVideo)
      bytesPerSec += static_cast<std::uint64_t>(s.largestChunk) * kUnitsPerSecond / s.format.frameDuration;
    else bytesPerSec += s.avgBytesPerSec;
  }
  const bool firstRiffClosed = riffCount_ > 1 || finished_;
  std::size_t avih = out.BeginChunk(MakeFourCC('a', 'v', 'i', 'h'));
  out.Put32(video ? Clamp32(video->format.frameDuration / 10) : 0);                          // dwMicroSecPerFrame
  out.Put32(Clamp32(bytesPerSec));                                                           // dwMaxBytesPerSec
  out.Put32(0);                                                                              // dwPaddingGranularity
  out.Put32(kAvifHasIndex | kAvifIsInterleaved | kAvifTrustCkType);                          // dwFlags
  out.Put32(video ? Clamp32(firstRiffClosed ? video->lengthFirstRiff : video->length) : 0);  // dwTotalFrames
  out.Put32(0);                                                                              // dwInitialFrames
  out.Put32(static_cast<std::uint32_t>(streams_.size()));                                    // dwStreams
  out.Put32(largest + kChunkHeaderBytes);                                                    // dwSuggestedBufferSize
  out.Put32(video ? static_cast<std::uint32_t>(BitmapWidth(video->format)) : 0);             // dwWidth
  out.Put32(video ? static_cast<std::uint32_t>(BitmapHeight(video->format)) : 0);            // dwHeight
  out.PutZeros(kMainHeaderReservedBytes);                                                    // dwReserved[4]
  out.EndChunk(avih);
}

// strl: strh, strf, strn (when named) and the stream's super index.
void AviLayoutWriter::PutStreamList(RiffBytes& out, const Stream& s) const {
  std::size_t strl = out.BeginList(MakeFourCC('s', 't', 'r', 'l'));
  if (s.format.isVideo) PutVideoStreamHeader(out, s);
  else PutAudioStreamHeader(out, s);
  PutStreamFormat(out, s);
  if (!s.format.name.empty()) PutStreamName(out, s);
  PutSuperIndex(out, s);
  out.EndChunk(strl);
}

// strh (AVIStreamHeader) of a video stream: the frame rate as the reduced
// fraction of the frame slot duration.
void AviLayoutWriter::PutVideoStreamHeader(RiffBytes& out, const Stream& s) const {
  std::uint64_t scale = static_cast<std::uint64_t>(s.format.frameDuration);
  std::uint64_t rate = kUnitsPerSecond;
  std::uint64_t g = std::gcd(scale, rate);
  std::uint32_t compression = BitmapCompression(s.format);
  std::size_t strh = out.BeginChunk(MakeFourCC('s', 't', 'r', 'h'));
  out.Put32(MakeFourCC('v', 'i', 'd', 's'));                      // fccType
  out.Put32(compression == BI_RGB ? 0 : compression);             // fccHandler
  out.Put32(0);                                                   // dwFlags
  out.Put16(0);                                                   // wPriority
  out.Put16(0);                                                   // wLanguage
  out.Put32(0);                                                   // dwInitialFrames
  out.Put32(Clamp32(scale / g));                                  // dwScale
  out.Put32(Clamp32(rate / g));                                   // dwRate
  out.Put32(0);                                                   // dwStart
  out.Put32(Clamp32(s.length));                                   // dwLength: frame slots
  out.Put32(s.largestChunk);                                      // dwSuggestedBufferSize
  out.Put32(kDefaultQuality);                                     // dwQuality
  out.Put32(0);                                                   // dwSampleSize: varies
  out.Put16(0);                                                   // rcFrame.left
  out.Put16(0);                                                   // rcFrame.top
  out.Put16(static_cast<std::uint16_t>(BitmapWidth(s.format)));   // rcFrame.right
  out.Put16(static_cast<std::uint16_t>(BitmapHeight(s.format)));  // rcFrame.bottom
  out.EndChunk(strh);
}

// strh (AVIStreamHeader) of an audio stream: one sample is one block.
void AviLayoutWriter::PutAudioStreamHeader(RiffBytes& out, const Stream& s) const {
  std::size_t strh = out.BeginChunk(MakeFourCC('s', 't', 'r', 'h'));
  out.Put32(MakeFourCC('a', 'u', 'd', 's'));   // fccType
  out.Put32(0);                                // fccHandler
  out.Put32(0);                                // dwFlags
  out.Put16(0);                                // wPriority
  out.Put16(0);                                // wLanguage
  out.Put32(0);                                // dwInitialFrames
  out.Put32(s.blockAlign);                     // dwScale: nBlockAlign
  out.Put32(s.avgBytesPerSec);                 // dwRate: nAvgBytesPerSec
  out.Put32(0);                                // dwStart
  out.Put32(Clamp32(s.bytes / s.blockAlign));  // dwLength: blocks
  out.Put32(s.largestChunk);                   // dwSuggestedBufferSize
  out.Put32(kDefaultQuality);                  // dwQuality
  out.Put32(s.blockAlign);                     // dwSampleSize
  out.Put16(0);                                // rcFrame.left
  out.Put16(0);                                // rcFrame.top
  out.Put16(0);                                // rcFrame.right
  out.Put16(0);                                // rcFrame.bottom
  out.EndChunk(strh);
}

// strf: the BITMAPINFOHEADER or WAVEFORMATEX as the stream was added.
void AviLayoutWriter::PutStreamFormat(RiffBytes& out, const Stream& s) const {
  std::size_t strf = out.BeginChunk(MakeFourCC('s', 't', 'r', 'f'));
  out.PutBytes(s.format.format.data(), s.format.format.size());
  out.EndChunk(strf);
}

// strn: the stream's name, with its terminating zero.
void AviLayoutWriter::PutStreamName(RiffBytes& out, const Stream& s) const {
  std::size_t strn = out.BeginChunk(MakeFourCC('s', 't', 'r', 'n'));
  out.PutBytes(s.format.name.c_str(), s.format.name.size() + 1);
  out.EndChunk(strn);
}

// indx (AVISUPERINDEX): one entry per standard index written so far, the
// rest of the reserved entries zero, so the header keeps its size.
void AviLayoutWriter::PutSuperIndex(RiffBytes& out, const Stream& s) const {
  std::size_t indx = out.BeginChunk(MakeFourCC('i', 'n', 'd', 'x'));
  out.Put16(kSuperIndexEntryBytes / 4);                          // wLongsPerEntry
  out.Put8(0);                                                   // bIndexSubType
  out.Put8(kIndexOfIndexes);                                     // bIndexType
  out.Put32(static_cast<std::uint32_t>(s.superEntries.size()));  // nEntriesInUse
  out.Put32(s.chunkId);                                          // dwChunkId
  out.Put32(0);                                                  // dwReserved[0]
  out.Put32(0);                                                  // dwReserved[1]
  out.Put32(0);                                                  // dwReserved[2]
  for (const SuperEntry& e : s.superEntries) {
    out.Put64(e.offset);    // qwOffset
    out.Put32(e.size);      // dwSize
    out.Put32(e.duration);  // dwDuration
  }
  out.PutZeros(kSuperIndexEntryBytes * (options_.superIndexEntries - s.superEntries.size()));
  out.EndChunk(indx);
}

// odml/dmlh (ODMLExtendedAVIHeader): the first video stream's whole length.
void AviLayoutWriter::PutOpenDmlHeader(RiffBytes& out) const {
  const Stream* video = FirstVideoStream();
  std::size_t odml = out.BeginList(MakeFourCC('o', 'd', 'm', 'l'));
  std::size_t dmlh = out.BeginChunk(MakeFourCC('d', 'm', 'l', 'h'));
  out.Put32(video ? Clamp32(video->length) : 0);  // dwTotalFrames
  out.PutZeros(kOpenDmlHeaderReservedBytes);      // dwFuture[61]
  out.EndChunk(dmlh);
  out.EndChunk(odml);
}

// JUNK so that the first chunk of the movi list starts on a sector boundary.
void AviLayoutWriter::PutJunkUpToSector(RiffBytes& out) const {
  std::size_t used = out.Size() + kChunkHeaderBytes + kListHeaderBytes;
  std::size_t junk = (kMoviAlignment - used % kMoviAlignment) % kMoviAlignment;
  std::size_t junkChunk = out.BeginChunk(MakeFourCC('J', 'U', 'N', 'K'));
  out.PutZeros(junk);
  out.EndChunk(junkChunk);
}

HRESULT AviLayoutWriter::WriteSample(int stream, const void* data, std::uint32_t size, bool keyFrame) {
  if (stream < 0 || stream >= StreamCount()) return E_INVALIDARG;
  const Stream& s = streams_[stream];
  bool key = s.format.isVideo && s.format.temporalCompression ? keyFrame : true;
  return Guarded([&] { return AppendChunk(stream, data, size, key); });
}

HRESULT AviLayoutWriter::WriteEmptySlots(int stream, std::uint32_t count) {
  if (stream < 0 || stream >= StreamCount()) return E_INVALIDARG;
  if (count > kMaxGapSlots) {
    tavpack::LogWarning("AviLayoutWriter::WriteEmptySlots", L"Gap of %u frame slots in stream %d recorded as %u", count,
                        stream, kMaxGapSlots);
    count = kMaxGapSlots;
  }
  return Guarded([&] {
    for (std::uint32_t i = 0; i < count; ++i) {
      HRESULT hr = AppendChunk(stream, nullptr, 0, false);
      if (FAILED(hr)) return hr;
    }
    return S_OK;
  });
}

HRESULT AviLayoutWriter::AppendChunk(int stream, const void* data, std::uint32_t size, bool keyFrame) {
  if (FAILED(failure_)) return failure_;
  if (!begun_ || finished_) return E_UNEXPECTED;
  HRESULT hr = MakeRoomFor(size);
  if (FAILED(hr)) return hr;

  Stream& s = streams_[stream];
  s.riffEntries.push_back({pos_, size, keyFrame});
  if (riffCount_ == 1 && options_.legacyIndex) {
    legacy_.push_back({s.chunkId, keyFrame && size ? kAviifKeyFrame : 0u,
                       static_cast<std::uint32_t>(pos_ - (moviStart_ + kChunkHeaderBytes)), size});
  }
  std::uint8_t header[8];
  std::memcpy(header, &s.chunkId, 4);
  std::memcpy(header + 4, &size, 4);
  hr = Append(header, sizeof header);
  if (SUCCEEDED(hr) && size) hr = Append(data, size);
  if (SUCCEEDED(hr) && (size & 1)) {
    static const std::uint8_t pad = 0;
    hr = Append(&pad, 1);
  }
  if (FAILED(hr)) return hr;

  s.bytes += size;
  s.length = s.format.isVideo ? s.length + 1 : s.bytes / s.blockAlign;
  s.largestChunk = std::max(s.largestChunk, size);
  return S_OK;
}

std::uint64_t AviLayoutWriter::IndexBytesPending(std::size_t extraEntries) const {
  std::uint64_t total = 0;
  for (const Stream& s : streams_) {
    if (!s.riffEntries.empty())
      total += kChunkHeaderBytes + kStandardIndexHeader + kStandardIndexEntryBytes * s.riffEntries.size();
  }
  // the next chunk may open a new one
  total += kChunkHeaderBytes + kStandardIndexHeader + kStandardIndexEntryBytes * extraEntries;
  if (riffCount_ == 1 && options_.legacyIndex)
    total += kChunkHeaderBytes + kLegacyIndexEntryBytes * (legacy_.size() + extraEntries);
  return total;
}

HRESULT AviLayoutWriter::MakeRoomFor(std::uint32_t size) {
  std::uint64_t chunkBytes = kChunkHeaderBytes + static_cast<std::uint64_t>(size) + (size & 1);
  bool anyEntries = false;
  for (const Stream& s : streams_) anyEntries = anyEntries || !s.riffEntries.empty();
  if (!anyEntries) return S_OK;
  if (pos_ - riffStart_ + chunkBytes + IndexBytesPending(1) <= options_.riffLimit) return S_OK;
  HRESULT hr = CloseRiff();
  if (FAILED(hr)) return hr;
  return OpenAvix();
}

HRESULT AviLayoutWriter::CloseRiff() {
  HRESULT hr = S_OK;
  for (std::size_t i = 0; i < streams_.size() && SUCCEEDED(hr); ++i) {
    Stream& s = streams_[i];
    if (s.riffEntries.empty()) continue;
    if (s.superEntries.size() >= options_.superIndexEntries) return Fail(HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE));
    RiffBytes ix;
    PutStandardIndex(ix, static_cast<int>(i));
    s.superEntries.push_back({pos_, static_cast<std::uint32_t>(ix.Size()), Clamp32(RiffDuration(s))});
    std::vector<IndexEntry>().swap(s.riffEntries);
    hr = Append(ix.Data(), ix.Size());
  }
  if (FAILED(hr)) return hr;

  std::uint64_t moviSize = pos_ - moviStart_ - kChunkHeaderBytes;
  if (riffCount_ == 1) {
    for (Stream& s : streams_) s.lengthFirstRiff = s.length;
    firstMoviSize_ = static_cast<std::uint32_t>(moviSize);
    if (options_.legacyIndex) {
      RiffBytes idx1;
      PutLegacyIndex(idx1);
      std::vector<LegacyEntry>().swap(legacy_);
      hr = Append(idx1.Data(), idx1.Size());
      if (FAILED(hr)) return hr;
    }
    firstRiffSize_ = static_cast<std::uint32_t>(pos_ - riffStart_ - kChunkHeaderBytes);
  }
  std::uint64_t riffSize = pos_ - riffStart_ - kChunkHeaderBytes;
  hr = Flush();
  if (SUCCEEDED(hr)) hr = PatchAt(moviStart_ + 4, static_cast<std::uint32_t>(moviSize));
  if (SUCCEEDED(hr)) hr = PatchAt(riffStart_ + 4, static_cast<std::uint32_t>(riffSize));
  return hr;
}

// ix## (AVISTDINDEX) of one stream: its chunks in the open RIFF, offsets
// from the movi list's "LIST" to each chunk's data.
void AviLayoutWriter::PutStandardIndex(RiffBytes& out, int stream) const {
  const Stream& s = streams_[stream];
  std::size_t chunk = out.BeginChunk(IndexTag(stream));
  out.Put16(kStandardIndexEntryBytes / 4);                      // wLongsPerEntry
  out.Put8(0);                                                  // bIndexSubType
  out.Put8(kIndexOfChunks);                                     // bIndexType
  out.Put32(static_cast<std::uint32_t>(s.riffEntries.size()));  // nEntriesInUse
  out.Put32(s.chunkId);                                         // dwChunkId
  out.Put64(moviStart_);                                        // qwBaseOffset
  out.Put32(0);                                                 // dwReserved3
  for (const IndexEntry& e : s.riffEntries) {
    out.Put32(static_cast<std::uint32_t>(e.offset + kChunkHeaderBytes - moviStart_));  // dwOffset
    out.Put32(e.size | (e.keyFrame || e.size == 0 ? 0u : kNotKeyFrameBit));            // dwSize
  }
  out.EndChunk(chunk);
}

// The duration the open RIFF's chunks of a stream cover: frame slots or blocks.
std::uint64_t AviLayoutWriter::RiffDuration(const Stream& s) {
  if (s.format.isVideo) return s.riffEntries.size();
  std::uint64_t bytes = 0;
  for (const IndexEntry& e : s.riffEntries) bytes += e.size;
  return bytes / s.blockAlign;
}

// idx1 (AVIINDEXENTRY each): the first RIFF's chunks, offsets from the
// 'movi' fourcc.
void AviLayoutWriter::PutLegacyIndex(RiffBytes& out) const {
  std::size_t chunk = out.BeginChunk(MakeFourCC('i', 'd', 'x', '1'));
  for (const LegacyEntry& e : legacy_) {
    out.Put32(e.chunkId);  // ckid
    out.Put32(e.flags);    // dwFlags
    out.Put32(e.offset);   // dwChunkOffset
    out.Put32(e.size);     // dwChunkLength
  }
  out.EndChunk(chunk);
}

HRESULT AviLayoutWriter::OpenAvix() {
  ++riffCount_;
  riffStart_ = pos_;
  RiffBytes head;
  head.Put32(MakeFourCC('R', 'I', 'F', 'F'));
  head.Put32(0);
  head.Put32(MakeFourCC('A', 'V', 'I', 'X'));
  moviStart_ = pos_ + head.Size();
  head.Put32(MakeFourCC('L', 'I', 'S', 'T'));
  head.Put32(0);
  head.Put32(MakeFourCC('m', 'o', 'v', 'i'));
  return Append(head.Data(), head.Size());
}

HRESULT AviLayoutWriter::Finish() {
  if (finished_ || !begun_) return S_OK;
  if (FAILED(failure_)) return failure_;
  return Guarded([&] {
    HRESULT hr = CloseRiff();
    if (FAILED(hr)) return hr;
    finished_ = true;
    RiffBytes header;
    BuildHeaders(header);
    if (header.Size() != headerSize_) return Fail(E_UNEXPECTED);
    hr = sink_.WriteAt(0, header.Data(), header.Size());
    if (FAILED(hr)) return Fail(hr);
    return S_OK;
  });
}

HRESULT AviLayoutWriter::Checkpoint() {
  if (FAILED(failure_)) return failure_;
  if (!begun_ || finished_) return S_OK;
  HRESULT hr = Flush();
  if (FAILED(hr)) return hr;
  RiffBytes header;
  BuildHeaders(header);
  if (header.Size() != headerSize_) return Fail(E_UNEXPECTED);
  hr = sink_.WriteAt(0, header.Data(), header.Size());
  if (FAILED(hr)) return Fail(hr);
  // The open RIFF and its movi list, as far as they go now.
  const std::uint64_t moviSize = pos_ - moviStart_ - kChunkHeaderBytes;
  const std::uint64_t riffSize = pos_ - riffStart_ - kChunkHeaderBytes;
  hr = PatchAt(moviStart_ + 4, static_cast<std::uint32_t>(moviSize));
  if (SUCCEEDED(hr)) hr = PatchAt(riffStart_ + 4, static_cast<std::uint32_t>(riffSize));
  return hr;
}

void AviLayoutWriter::SetFrameDuration(int stream, std::int64_t duration) {
  if (stream < 0 || stream >= StreamCount() || duration <= 0) return;
  streams_[stream].format.frameDuration = duration;
}

std::uint64_t AviLayoutWriter::StreamLength(int stream) const {
  if (stream < 0 || stream >= StreamCount()) return 0;
  return streams_[stream].length;
}

HRESULT AviLayoutWriter::Append(const void* data, std::size_t size) {
  if (size >= options_.bufferSize / 2) {
    HRESULT hr = Flush();
    if (FAILED(hr)) return hr;
    hr = sink_.WriteAt(pos_, data, size);
    if (FAILED(hr)) return Fail(hr);
    pos_ += size;
    bufferBase_ = pos_;
    return S_OK;
  }
  if (buffer_.size() + size > options_.bufferSize) {
    HRESULT hr = Flush();
    if (FAILED(hr)) return hr;
  }
  const auto* p = static_cast<const std::uint8_t*>(data);
  buffer_.insert(buffer_.end(), p, p + size);
  pos_ += size;
  return S_OK;
}

HRESULT AviLayoutWriter::Flush() {
  if (buffer_.empty()) return S_OK;
  HRESULT hr = sink_.WriteAt(bufferBase_, buffer_.data(), buffer_.size());
  if (FAILED(hr)) return Fail(hr);
  bufferBase_ += buffer_.size();
  buffer_.clear();
  return S_OK;
}

HRESULT AviLayoutWriter::PatchAt(std::uint64_t offset, std::uint32_t value) {
  std::uint8_t bytes[4];
  std::memcpy(bytes, &value, 4);
  HRESULT hr = sink_.WriteAt(offset, bytes, 4);
  return FAILED(hr) ? Fail(hr) : S_OK;
}

HRESULT AviLayoutWriter::Fail(HRESULT hr) {
  if (SUCCEEDED(failure_)) failure_ = hr;
  return hr;
}
