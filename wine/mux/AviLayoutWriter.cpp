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
constexpr std::size_t kSuperIndexHeader = 24;
constexpr std::size_t kStandardIndexHeader = 24;
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
    if (streams_.size() > 99) return E_INVALIDARG;
    begun_ = true;
    return Guarded([&] {
        RiffBytes header;
        BuildHeaders(header);
        headerSize_ = header.Size();
        riffStart_ = 0;
        moviStart_ = headerSize_ - 12;
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

    const Stream* video = nullptr;
    for (const Stream& s : streams_) {
        if (s.format.isVideo) {
            video = &s;
            break;
        }
    }
    std::uint64_t bytesPerSec = 0;
    std::uint32_t largest = 0;
    for (const Stream& s : streams_) {
        largest = std::max(largest, s.largestChunk);
        if (s.format.isVideo)
            bytesPerSec += static_cast<std::uint64_t>(s.largestChunk) * 10000000ull / s.format.frameDuration;
        else
            bytesPerSec += s.avgBytesPerSec;
    }

    std::size_t hdrl = out.BeginList(MakeFourCC('h', 'd', 'r', 'l'));
    std::size_t avih = out.BeginChunk(MakeFourCC('a', 'v', 'i', 'h'));
    out.Put32(video ? Clamp32(video->format.frameDuration / 10) : 0);
    out.Put32(Clamp32(bytesPerSec));
    out.Put32(0);  // padding granularity
    out.Put32(kAvifHasIndex | kAvifIsInterleaved | kAvifTrustCkType);
    out.Put32(video ? Clamp32(riffCount_ > 1 || finished_ ? video->lengthFirstRiff : video->length) : 0);
    out.Put32(0);  // initial frames
    out.Put32(static_cast<std::uint32_t>(streams_.size()));
    out.Put32(largest + 8);
    out.Put32(video ? static_cast<std::uint32_t>(BitmapWidth(video->format)) : 0);
    out.Put32(video ? static_cast<std::uint32_t>(BitmapHeight(video->format)) : 0);
    out.PutZeros(16);
    out.EndChunk(avih);

    for (std::size_t i = 0; i < streams_.size(); ++i) {
        const Stream& s = streams_[i];
        std::size_t strl = out.BeginList(MakeFourCC('s', 't', 'r', 'l'));
        std::size_t strh = out.BeginChunk(MakeFourCC('s', 't', 'r', 'h'));
        if (s.format.isVideo) {
            std::uint64_t scale = static_cast<std::uint64_t>(s.format.frameDuration);
            std::uint64_t rate = 10000000ull;
            std::uint64_t g = std::gcd(scale, rate);
            out.Put32(MakeFourCC('v', 'i', 'd', 's'));
            std::uint32_t compression = BitmapCompression(s.format);
            out.Put32(compression == BI_RGB ? 0 : compression);
            out.Put32(0);  // flags
            out.Put16(0);  // priority
            out.Put16(0);  // language
            out.Put32(0);  // initial frames
            out.Put32(Clamp32(scale / g));
            out.Put32(Clamp32(rate / g));
            out.Put32(0);  // start
            out.Put32(Clamp32(s.length));
            out.Put32(s.largestChunk);
            out.Put32(0xFFFFFFFFu);  // quality: default
            out.Put32(0);            // sample size: varies
            out.Put16(0);
            out.Put16(0);
            out.Put16(static_cast<std::uint16_t>(BitmapWidth(s.format)));
            out.Put16(static_cast<std::uint16_t>(BitmapHeight(s.format)));
        } else {
            out.Put32(MakeFourCC('a', 'u', 'd', 's'));
            out.Put32(0);
            out.Put32(0);
            out.Put16(0);
            out.Put16(0);
            out.Put32(0);
            out.Put32(s.blockAlign);
            out.Put32(s.avgBytesPerSec);
            out.Put32(0);
            out.Put32(Clamp32(s.bytes / s.blockAlign));
            out.Put32(s.largestChunk);
            out.Put32(0xFFFFFFFFu);
            out.Put32(s.blockAlign);
            out.PutZeros(8);
        }
        out.EndChunk(strh);

        std::size_t strf = out.BeginChunk(MakeFourCC('s', 't', 'r', 'f'));
        out.PutBytes(s.format.format.data(), s.format.format.size());
        out.EndChunk(strf);

        if (!s.format.name.empty()) {
            std::size_t strn = out.BeginChunk(MakeFourCC('s', 't', 'r', 'n'));
            out.PutBytes(s.format.name.c_str(), s.format.name.size() + 1);
            out.EndChunk(strn);
        }

        std::size_t indx = out.BeginChunk(MakeFourCC('i', 'n', 'd', 'x'));
        out.Put16(4);  // longs per entry
        out.Put8(0);   // sub type
        out.Put8(kIndexOfIndexes);
        out.Put32(static_cast<std::uint32_t>(s.superEntries.size()));
        out.Put32(s.chunkId);
        out.PutZeros(12);
        for (const SuperEntry& e : s.superEntries) {
            out.Put64(e.offset);
            out.Put32(e.size);
            out.Put32(e.duration);
        }
        out.PutZeros(16 * (options_.superIndexEntries - s.superEntries.size()));
        out.EndChunk(indx);
        out.EndChunk(strl);
    }

    std::size_t odml = out.BeginList(MakeFourCC('o', 'd', 'm', 'l'));
    std::size_t dmlh = out.BeginChunk(MakeFourCC('d', 'm', 'l', 'h'));
    out.Put32(video ? Clamp32(video->length) : 0);
    out.PutZeros(244);
    out.EndChunk(dmlh);
    out.EndChunk(odml);
    out.EndChunk(hdrl);

    // JUNK so that the first chunk of the movi list starts on a sector boundary.
    std::size_t used = out.Size() + 8 + 12;
    std::size_t junk = (kMoviAlignment - used % kMoviAlignment) % kMoviAlignment;
    std::size_t junkChunk = out.BeginChunk(MakeFourCC('J', 'U', 'N', 'K'));
    out.PutZeros(junk);
    out.EndChunk(junkChunk);

    out.Put32(MakeFourCC('L', 'I', 'S', 'T'));
    out.Put32(firstMoviSize_);
    out.Put32(MakeFourCC('m', 'o', 'v', 'i'));
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
        tavpack::LogWarning("AviLayoutWriter::WriteEmptySlots",
                            L"Gap of %u frame slots in stream %d recorded as %u", count, stream, kMaxGapSlots);
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
                           static_cast<std::uint32_t>(pos_ - (moviStart_ + 8)), size});
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
        if (!s.riffEntries.empty()) total += 8 + kStandardIndexHeader + 8 * s.riffEntries.size();
    }
    total += 8 + kStandardIndexHeader + 8 * extraEntries;  // the next chunk may open a new one
    if (riffCount_ == 1 && options_.legacyIndex) total += 8 + 16 * (legacy_.size() + extraEntries);
    return total;
}

HRESULT AviLayoutWriter::MakeRoomFor(std::uint32_t size) {
    std::uint64_t chunkBytes = 8 + static_cast<std::uint64_t>(size) + (size & 1);
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
        if (s.superEntries.size() >= options_.superIndexEntries)
            return Fail(HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE));
        RiffBytes ix;
        std::size_t chunk = ix.BeginChunk(IndexTag(static_cast<int>(i)));
        ix.Put16(2);
        ix.Put8(0);
        ix.Put8(kIndexOfChunks);
        ix.Put32(static_cast<std::uint32_t>(s.riffEntries.size()));
        ix.Put32(s.chunkId);
        ix.Put64(moviStart_);
        ix.Put32(0);
        std::uint64_t duration = 0;
        for (const IndexEntry& e : s.riffEntries) {
            ix.Put32(static_cast<std::uint32_t>(e.offset + 8 - moviStart_));
            ix.Put32(e.size | (e.keyFrame || e.size == 0 ? 0u : kNotKeyFrameBit));
            duration += s.format.isVideo ? 1 : e.size;
        }
        ix.EndChunk(chunk);
        if (!s.format.isVideo) duration /= s.blockAlign;
        s.superEntries.push_back({pos_, static_cast<std::uint32_t>(ix.Size()), Clamp32(duration)});
        std::vector<IndexEntry>().swap(s.riffEntries);
        hr = Append(ix.Data(), ix.Size());
    }
    if (FAILED(hr)) return hr;

    std::uint64_t moviSize = pos_ - moviStart_ - 8;
    if (riffCount_ == 1) {
        for (Stream& s : streams_) s.lengthFirstRiff = s.length;
        firstMoviSize_ = static_cast<std::uint32_t>(moviSize);
        if (options_.legacyIndex) {
            RiffBytes idx1;
            std::size_t chunk = idx1.BeginChunk(MakeFourCC('i', 'd', 'x', '1'));
            for (const LegacyEntry& e : legacy_) {
                idx1.Put32(e.chunkId);
                idx1.Put32(e.flags);
                idx1.Put32(e.offset);
                idx1.Put32(e.size);
            }
            idx1.EndChunk(chunk);
            std::vector<LegacyEntry>().swap(legacy_);
            hr = Append(idx1.Data(), idx1.Size());
            if (FAILED(hr)) return hr;
        }
        firstRiffSize_ = static_cast<std::uint32_t>(pos_ - riffStart_ - 8);
    }
    std::uint64_t riffSize = pos_ - riffStart_ - 8;
    hr = Flush();
    if (SUCCEEDED(hr)) hr = PatchAt(moviStart_ + 4, static_cast<std::uint32_t>(moviSize));
    if (SUCCEEDED(hr)) hr = PatchAt(riffStart_ + 4, static_cast<std::uint32_t>(riffSize));
    return hr;
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
    hr = PatchAt(moviStart_ + 4, static_cast<std::uint32_t>(pos_ - moviStart_ - 8));
    if (SUCCEEDED(hr)) hr = PatchAt(riffStart_ + 4, static_cast<std::uint32_t>(pos_ - riffStart_ - 8));
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
