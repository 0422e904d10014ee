// The AVI layout writer on its own: files written to disk and read back with
// ffprobe/ffmpeg.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FileSink.h"
#include "Formats.h"
#include "Probe.h"
#include "mux/AviLayoutWriter.h"
#include "tests/common/UnixTools.h"

using namespace muxtest;

namespace {

constexpr std::int64_t kFrame25 = 400000;  // 25 frames per second

AviStreamFormat Video(int width, int height, int bits, DWORD compression = BI_RGB, std::int64_t duration = kFrame25) {
  AviStreamFormat f;
  f.isVideo = true;
  f.format = BitmapFormat(width, height, bits, compression);
  f.frameDuration = duration;
  return f;
}

AviStreamFormat Audio(const std::vector<std::uint8_t>& wave) {
  AviStreamFormat f;
  f.isVideo = false;
  f.format = wave;
  return f;
}

std::vector<std::uint8_t> Pattern(std::size_t size, int seed) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + seed * 13);
  return bytes;
}

struct LegacyIndexEntry {
  std::string chunkId;
  std::uint32_t flags, offset, size;
};

std::uint32_t Le32(const std::vector<std::uint8_t>& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<std::uint32_t>(b[at + 3]) << 24);
}

// The entries of the first RIFF's 'idx1' chunk.
std::vector<LegacyIndexEntry> LegacyIndex(const std::vector<std::uint8_t>& b) {
  std::vector<LegacyIndexEntry> entries;
  std::size_t end = 8 + Le32(b, 4);
  for (std::size_t at = 12; at + 8 <= end && at + 8 <= b.size();) {
    std::uint32_t size = Le32(b, at + 4);
    if (std::string(reinterpret_cast<const char*>(&b[at]), 4) == "idx1") {
      for (std::size_t e = at + 8; e + 16 <= at + 8 + size; e += 16)
        entries.push_back(
            {std::string(reinterpret_cast<const char*>(&b[e]), 4), Le32(b, e + 4), Le32(b, e + 8), Le32(b, e + 12)});
    }
    at += 8 + size + (size & 1);
  }
  return entries;
}

// Every chunk with this fourcc, at any depth of RIFF and LIST nesting: the
// offsets of their data.
void FindChunks(const std::vector<std::uint8_t>& b, std::size_t begin, std::size_t end, const std::string& id,
                std::vector<std::size_t>* found) {
  for (std::size_t at = begin; at + 8 <= end;) {
    std::string tag(reinterpret_cast<const char*>(&b[at]), 4);
    std::uint32_t size = Le32(b, at + 4);
    if (tag == id) found->push_back(at + 8);
    if (tag == "RIFF" || tag == "LIST") FindChunks(b, at + 12, std::min<std::size_t>(end, at + 8 + size), id, found);
    at += 8 + size + (size & 1);
  }
}

// The entry sizes (key-frame bit removed) of every standard index of a stream.
std::vector<std::uint32_t> StandardIndexSizes(const std::vector<std::uint8_t>& b, const std::string& ixId) {
  std::vector<std::size_t> chunks;
  FindChunks(b, 0, b.size(), ixId, &chunks);
  std::vector<std::uint32_t> sizes;
  for (std::size_t data : chunks) {
    std::uint32_t entries = Le32(b, data + 4);
    for (std::uint32_t i = 0; i < entries; ++i) sizes.push_back(Le32(b, data + 24 + 8 * i + 4) & 0x7FFFFFFF);
  }
  return sizes;
}

class AviLayoutWriterTest : public ::testing::Test {
 protected:
  void SetUp() override { file_ = tavtest::MakeTempDir() + L"movie.avi"; }
  std::wstring file_;
};

TEST_F(AviLayoutWriterTest, VideoOnlyFileHoldsEveryFrameByteExact) {
  std::vector<std::uint8_t> expected;
  {
    FileSink sink(file_);
    ASSERT_TRUE(sink.IsOpen());
    AviLayoutWriter writer(sink, AviLayoutOptions());
    EXPECT_EQ(writer.AddStream(Video(64, 48, 24)), 0);
    ASSERT_EQ(writer.Begin(), S_OK);
    for (int i = 0; i < 10; ++i) {
      std::vector<std::uint8_t> frame = Pattern(DibSize(64, 48, 24), i);
      ASSERT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
      expected.insert(expected.end(), frame.begin(), frame.end());
    }
    ASSERT_EQ(writer.Finish(), S_OK);
    EXPECT_EQ(writer.StreamLength(0), 10u);
  }
  EXPECT_EQ(
      Ffprobe("-show_entries stream=codec_type,codec_name,width,height,nb_frames,r_frame_rate -of csv=p=0", file_),
      "rawvideo,video,64,48,25/1,10\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 10u);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(packets[i].pts, i);
    EXPECT_EQ(packets[i].size, DibSize(64, 48, 24));
    EXPECT_TRUE(packets[i].key);
  }
  EXPECT_EQ(StreamBytes(file_, "v:0"), expected);
}

TEST_F(AviLayoutWriterTest, DroppedSlotsBecomeZeroLengthEntries) {
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    writer.AddStream(Video(32, 16, 32));
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> frame = Pattern(DibSize(32, 16, 32), 1);
    auto size = static_cast<std::uint32_t>(frame.size());
    ASSERT_EQ(writer.WriteSample(0, frame.data(), size, true), S_OK);
    ASSERT_EQ(writer.WriteSample(0, frame.data(), size, true), S_OK);
    ASSERT_EQ(writer.WriteEmptySlots(0, 2), S_OK);
    ASSERT_EQ(writer.WriteSample(0, frame.data(), size, true), S_OK);
    ASSERT_EQ(writer.Finish(), S_OK);
    EXPECT_EQ(writer.StreamLength(0), 5u);
  }
  // ffmpeg skips the empty chunks; the missing slots show as the jump in pts.
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 3u);
  EXPECT_EQ(packets[0].pts, 0);
  EXPECT_EQ(packets[1].pts, 1);
  EXPECT_EQ(packets[2].pts, 4);
  for (const Packet& p : packets) EXPECT_EQ(p.size, 2048);
  EXPECT_EQ(Ffprobe("-show_entries stream=nb_frames -of csv=p=0", file_), "5\n");
  // The legacy index lists all five slots, the dropped ones with length 0.
  std::vector<LegacyIndexEntry> idx1 = LegacyIndex(ReadFileBytes(file_));
  ASSERT_EQ(idx1.size(), 5u);
  const std::uint32_t sizes[] = {2048, 2048, 0, 0, 2048};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(idx1[i].chunkId, "00db");
    EXPECT_EQ(idx1[i].size, sizes[i]) << i;
    EXPECT_EQ(idx1[i].flags, sizes[i] ? 0x10u : 0u) << i;
  }
}

TEST_F(AviLayoutWriterTest, AudioFirstThenVideoKeepsStreamOrderAndBytes) {
  std::vector<std::uint8_t> audioBytes, videoBytes;
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    EXPECT_EQ(writer.AddStream(Audio(PcmFormat(2, 44100, 16))), 0);
    EXPECT_EQ(writer.AddStream(Video(16, 16, 16, MakeFourCC('Y', 'U', 'Y', '2'))), 1);
    ASSERT_EQ(writer.Begin(), S_OK);
    for (int i = 0; i < 5; ++i) {
      std::vector<std::uint8_t> pcm = Pattern(4 * 1764, i);
      std::vector<std::uint8_t> frame = Pattern(DibSize(16, 16, 16), 100 + i);
      ASSERT_EQ(writer.WriteSample(0, pcm.data(), static_cast<std::uint32_t>(pcm.size()), true), S_OK);
      ASSERT_EQ(writer.WriteSample(1, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
      audioBytes.insert(audioBytes.end(), pcm.begin(), pcm.end());
      videoBytes.insert(videoBytes.end(), frame.begin(), frame.end());
    }
    ASSERT_EQ(writer.Finish(), S_OK);
    EXPECT_EQ(writer.StreamLength(0), 5u * 1764);
  }
  EXPECT_EQ(Ffprobe("-show_entries stream=index,codec_type,codec_name,sample_rate,channels -of csv=p=0", file_),
            "0,pcm_s16le,audio,44100,2\n1,rawvideo,video\n");
  EXPECT_EQ(Ffprobe("-select_streams v:0 -show_entries stream=codec_tag_string -of csv=p=0", file_), "YUY2\n");
  EXPECT_EQ(StreamBytes(file_, "a:0"), audioBytes);
  EXPECT_EQ(StreamBytes(file_, "v:0"), videoBytes);
}

TEST_F(AviLayoutWriterTest, ExtensibleTwentyFourBitAudioAndOddChunks) {
  std::vector<std::uint8_t> audioBytes;
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    writer.AddStream(Audio(ExtensiblePcmFormat(1, 48000, 24)));
    ASSERT_EQ(writer.Begin(), S_OK);
    for (int i = 0; i < 4; ++i) {
      std::vector<std::uint8_t> pcm = Pattern(3 * 1601, i);  // odd length: padded chunk
      ASSERT_EQ(writer.WriteSample(0, pcm.data(), static_cast<std::uint32_t>(pcm.size()), true), S_OK);
      audioBytes.insert(audioBytes.end(), pcm.begin(), pcm.end());
    }
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name,sample_rate,channels,bits_per_sample -of csv=p=0", file_),
            "pcm_s24le,48000,1,24\n");
  EXPECT_EQ(StreamBytes(file_, "a:0"), audioBytes);
}

TEST_F(AviLayoutWriterTest, CompressedAudioTagKeepsItsFormatExtension) {
  // IMA ADPCM, mono 22050 Hz: 512-byte blocks of 1017 samples.
  IMAADPCMWAVEFORMAT ima = {};
  ima.wfx.wFormatTag = WAVE_FORMAT_IMA_ADPCM;
  ima.wfx.nChannels = 1;
  ima.wfx.nSamplesPerSec = 22050;
  ima.wfx.nBlockAlign = 512;
  ima.wfx.wBitsPerSample = 4;
  ima.wfx.nAvgBytesPerSec = 11100;
  ima.wfx.cbSize = 2;
  ima.wSamplesPerBlock = 1017;
  AviStreamFormat f;
  f.isVideo = false;
  const auto* p = reinterpret_cast<const std::uint8_t*>(&ima);
  f.format.assign(p, p + sizeof ima);
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    writer.AddStream(f);
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> blocks = Pattern(3 * 512, 1);
    ASSERT_EQ(writer.WriteSample(0, blocks.data(), 3 * 512, true), S_OK);
    ASSERT_EQ(writer.Finish(), S_OK);
    EXPECT_EQ(writer.StreamLength(0), 3u);
  }
  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name,sample_rate,channels,block_align -of csv=p=0", file_),
            "adpcm_ima_wav,22050,1\n");
  EXPECT_EQ(StreamBytes(file_, "a:0"), Pattern(3 * 512, 1));
}

TEST_F(AviLayoutWriterTest, TemporalCompressionTakesKeyFramesFromTheCaller) {
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    AviStreamFormat f = Video(16, 16, 8, BI_RLE8);
    f.temporalCompression = true;
    writer.AddStream(f);
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> data = Pattern(100, 3);
    for (int i = 0; i < 4; ++i) ASSERT_EQ(writer.WriteSample(0, data.data(), 100, i % 2 == 0), S_OK);
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  EXPECT_EQ(Ffprobe("-show_entries stream=codec_name -of csv=p=0", file_), "msrle\n");
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_TRUE(packets[0].key);
  EXPECT_FALSE(packets[1].key);
  EXPECT_TRUE(packets[2].key);
  EXPECT_FALSE(packets[3].key);
}

TEST_F(AviLayoutWriterTest, UncompressedVideoIgnoresTheKeyFlag) {
  {
    FileSink sink(file_);
    AviLayoutWriter writer(sink, AviLayoutOptions());
    writer.AddStream(Video(8, 8, 24));
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> data = Pattern(DibSize(8, 8, 24), 3);
    for (int i = 0; i < 3; ++i)
      ASSERT_EQ(writer.WriteSample(0, data.data(), static_cast<std::uint32_t>(data.size()), false), S_OK);
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  for (const Packet& p : Packets(file_, "v:0")) EXPECT_TRUE(p.key);
}

TEST_F(AviLayoutWriterTest, SmallRiffLimitMakesOpenDmlExtensionRiffs) {
  const int frames = 200;
  std::vector<std::uint8_t> audioBytes, videoBytes;
  {
    FileSink sink(file_);
    AviLayoutOptions options;
    options.riffLimit = 64 * 1024;
    options.bufferSize = 16 * 1024;
    AviLayoutWriter writer(sink, options);
    writer.AddStream(Audio(PcmFormat(1, 8000, 16)));
    writer.AddStream(Video(40, 30, 24));
    ASSERT_EQ(writer.Begin(), S_OK);
    for (int i = 0; i < frames; ++i) {
      std::vector<std::uint8_t> pcm = Pattern(640, i);
      std::vector<std::uint8_t> frame = Pattern(DibSize(40, 30, 24), 7 * i);
      ASSERT_EQ(writer.WriteSample(0, pcm.data(), 640, true), S_OK);
      if (i % 10 == 5) {
        ASSERT_EQ(writer.WriteEmptySlots(1, 1), S_OK);
      } else {
        ASSERT_EQ(writer.WriteSample(1, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
        videoBytes.insert(videoBytes.end(), frame.begin(), frame.end());
      }
      audioBytes.insert(audioBytes.end(), pcm.begin(), pcm.end());
    }
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  // Many RIFFs, the first one 'AVI ', the rest 'AVIX', each within the limit.
  std::vector<std::uint8_t> bytes = ReadFileBytes(file_);
  std::size_t at = 0;
  int riffs = 0;
  while (at + 12 <= bytes.size()) {
    ASSERT_EQ(std::string(reinterpret_cast<const char*>(&bytes[at]), 4), "RIFF") << at;
    std::uint32_t size = bytes[at + 4] | (bytes[at + 5] << 8) | (bytes[at + 6] << 16) | (bytes[at + 7] << 24);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&bytes[at + 8]), 4), riffs == 0 ? "AVI " : "AVIX");
    EXPECT_LE(size + 8u, 64u * 1024);
    at += 8 + size;
    ++riffs;
  }
  EXPECT_EQ(at, bytes.size());
  EXPECT_GT(riffs, 10);

  // Every stored frame comes back at its slot; the dropped slots are missing.
  std::vector<Packet> video = Packets(file_, "v:0");
  ASSERT_EQ(video.size(), static_cast<std::size_t>(frames - frames / 10));
  std::size_t next = 0;
  for (int i = 0; i < frames; ++i) {
    if (i % 10 == 5) continue;
    EXPECT_EQ(video[next].pts, i);
    EXPECT_EQ(video[next].size, 3600) << i;
    ++next;
  }
  EXPECT_EQ(Ffprobe("-count_packets -show_entries stream=nb_frames,nb_read_packets -of csv=p=0", file_),
            "64000,200\n200,180\n");
  EXPECT_EQ(StreamBytes(file_, "a:0"), audioBytes);
  EXPECT_EQ(StreamBytes(file_, "v:0"), videoBytes);
  // The standard indexes list every slot, the dropped ones with length 0.
  std::vector<std::uint32_t> sizes = StandardIndexSizes(bytes, "ix01");
  ASSERT_EQ(sizes.size(), static_cast<std::size_t>(frames));
  for (int i = 0; i < frames; ++i) EXPECT_EQ(sizes[i], i % 10 == 5 ? 0u : 3600u) << i;
  EXPECT_EQ(StandardIndexSizes(bytes, "ix00").size(), static_cast<std::size_t>(frames));
}

TEST_F(AviLayoutWriterTest, WithoutTheLegacyIndexTheFileReadsThroughIndx) {
  {
    FileSink sink(file_);
    AviLayoutOptions options;
    options.legacyIndex = false;
    AviLayoutWriter writer(sink, options);
    writer.AddStream(Video(8, 8, 24));
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> frame = Pattern(DibSize(8, 8, 24), 2);
    for (int i = 0; i < 3; ++i)
      ASSERT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
    ASSERT_EQ(writer.WriteEmptySlots(0, 1), S_OK);
    ASSERT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  std::vector<std::uint8_t> bytes = ReadFileBytes(file_);
  EXPECT_TRUE(LegacyIndex(bytes).empty());
  std::vector<std::size_t> idx1;
  FindChunks(bytes, 0, bytes.size(), "idx1", &idx1);
  EXPECT_TRUE(idx1.empty());
  EXPECT_EQ(StandardIndexSizes(bytes, "ix00"), (std::vector<std::uint32_t>{192, 192, 192, 0, 192}));
  std::vector<Packet> packets = Packets(file_, "v:0");
  ASSERT_EQ(packets.size(), 4u);
  EXPECT_EQ(packets[3].pts, 4);
}

// Reads the fields of a file one after the other, as they were laid out.
class FieldReader {
 public:
  FieldReader(const std::vector<std::uint8_t>& bytes, std::size_t at) : b_(bytes), at_(at) {}
  std::string Fourcc() {
    std::string s(reinterpret_cast<const char*>(&b_.at(at_)), 4);
    at_ += 4;
    return s;
  }
  std::uint32_t U32() {
    std::uint32_t v = Le32(b_, at_);
    at_ += 4;
    return v;
  }
  std::uint16_t U16() {
    std::uint16_t v = static_cast<std::uint16_t>(b_.at(at_) | (b_.at(at_ + 1) << 8));
    at_ += 2;
    return v;
  }
  std::uint8_t U8() { return b_.at(at_++); }
  std::uint64_t U64() {
    std::uint64_t low = U32();
    return low | (static_cast<std::uint64_t>(U32()) << 32);
  }
  std::vector<std::uint8_t> Bytes(std::size_t n) {
    std::vector<std::uint8_t> v(b_.begin() + at_, b_.begin() + at_ + n);
    at_ += n;
    return v;
  }
  bool Zeros(std::size_t n) {
    std::vector<std::uint8_t> v = Bytes(n);
    return std::all_of(v.begin(), v.end(), [](std::uint8_t x) { return x == 0; });
  }
  std::size_t At() const { return at_; }

 private:
  const std::vector<std::uint8_t>& b_;
  std::size_t at_;
};

TEST_F(AviLayoutWriterTest, HeaderFieldsHoldTheRecordedValues) {
  const std::vector<std::uint8_t> bitmap = BitmapFormat(8, 6, 24, BI_RGB);
  const std::vector<std::uint8_t> wave = PcmFormat(1, 8000, 16);  // 2-byte blocks, 16000 bytes/s
  {
    FileSink sink(file_);
    ASSERT_TRUE(sink.IsOpen());
    AviLayoutOptions options;
    options.superIndexEntries = 3;
    AviLayoutWriter writer(sink, options);
    AviStreamFormat video = Video(8, 6, 24);
    video.name = "cam";
    ASSERT_EQ(writer.AddStream(video), 0);
    ASSERT_EQ(writer.AddStream(Audio(wave)), 1);
    ASSERT_EQ(writer.Begin(), S_OK);
    std::vector<std::uint8_t> frame = Pattern(DibSize(8, 6, 24), 1), block = Pattern(100, 2);
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), S_OK);
      if (i < 2) {
        ASSERT_EQ(writer.WriteSample(1, block.data(), 100, true), S_OK);
      }
    }
    ASSERT_EQ(writer.Finish(), S_OK);
  }
  const std::vector<std::uint8_t> b = ReadFileBytes(file_);
  ASSERT_GT(b.size(), 1024u);
  FieldReader r(b, 0);
  EXPECT_EQ(r.Fourcc(), "RIFF");
  EXPECT_EQ(r.U32(), Le32(b, 4));
  EXPECT_EQ(r.Fourcc(), "AVI ");
  EXPECT_EQ(r.Fourcc(), "LIST");
  const std::size_t hdrlEnd = r.At() + 4 + r.U32();
  EXPECT_EQ(r.Fourcc(), "hdrl");

  EXPECT_EQ(r.Fourcc(), "avih");
  EXPECT_EQ(r.U32(), 56u);
  EXPECT_EQ(r.U32(), 40000u) << "dwMicroSecPerFrame";
  EXPECT_EQ(r.U32(), 144u * 25 + 16000) << "dwMaxBytesPerSec: largest frame x rate + audio";
  EXPECT_EQ(r.U32(), 0u) << "dwPaddingGranularity";
  EXPECT_EQ(r.U32(), 0x910u) << "dwFlags: HASINDEX | ISINTERLEAVED | TRUSTCKTYPE";
  EXPECT_EQ(r.U32(), 3u) << "dwTotalFrames";
  EXPECT_EQ(r.U32(), 0u) << "dwInitialFrames";
  EXPECT_EQ(r.U32(), 2u) << "dwStreams";
  EXPECT_EQ(r.U32(), 144u + 8) << "dwSuggestedBufferSize";
  EXPECT_EQ(r.U32(), 8u) << "dwWidth";
  EXPECT_EQ(r.U32(), 6u) << "dwHeight";
  EXPECT_TRUE(r.Zeros(16)) << "dwReserved";

  EXPECT_EQ(r.Fourcc(), "LIST");
  r.U32();
  EXPECT_EQ(r.Fourcc(), "strl");
  EXPECT_EQ(r.Fourcc(), "strh");
  EXPECT_EQ(r.U32(), 56u);
  EXPECT_EQ(r.Fourcc(), "vids") << "fccType";
  EXPECT_EQ(r.U32(), 0u) << "fccHandler";
  EXPECT_EQ(r.U32(), 0u) << "dwFlags";
  EXPECT_EQ(r.U16(), 0u) << "wPriority";
  EXPECT_EQ(r.U16(), 0u) << "wLanguage";
  EXPECT_EQ(r.U32(), 0u) << "dwInitialFrames";
  EXPECT_EQ(r.U32(), 1u) << "dwScale";
  EXPECT_EQ(r.U32(), 25u) << "dwRate";
  EXPECT_EQ(r.U32(), 0u) << "dwStart";
  EXPECT_EQ(r.U32(), 3u) << "dwLength";
  EXPECT_EQ(r.U32(), 144u) << "dwSuggestedBufferSize";
  EXPECT_EQ(r.U32(), 0xFFFFFFFFu) << "dwQuality";
  EXPECT_EQ(r.U32(), 0u) << "dwSampleSize";
  EXPECT_EQ(r.U16(), 0u) << "rcFrame.left";
  EXPECT_EQ(r.U16(), 0u) << "rcFrame.top";
  EXPECT_EQ(r.U16(), 8u) << "rcFrame.right";
  EXPECT_EQ(r.U16(), 6u) << "rcFrame.bottom";
  EXPECT_EQ(r.Fourcc(), "strf");
  EXPECT_EQ(r.U32(), bitmap.size());
  EXPECT_EQ(r.Bytes(bitmap.size()), bitmap);
  EXPECT_EQ(r.Fourcc(), "strn");
  EXPECT_EQ(r.U32(), 4u);
  EXPECT_EQ(r.Bytes(4), std::vector<std::uint8_t>({'c', 'a', 'm', 0}));
  EXPECT_EQ(r.Fourcc(), "indx");
  EXPECT_EQ(r.U32(), 24u + 3 * 16);
  EXPECT_EQ(r.U16(), 4u) << "wLongsPerEntry";
  EXPECT_EQ(r.U8(), 0u) << "bIndexSubType";
  EXPECT_EQ(r.U8(), 0u) << "bIndexType: index of indexes";
  EXPECT_EQ(r.U32(), 1u) << "nEntriesInUse";
  EXPECT_EQ(r.Fourcc(), "00db") << "dwChunkId";
  EXPECT_TRUE(r.Zeros(12)) << "dwReserved";
  const std::uint64_t videoIx = r.U64();
  EXPECT_EQ(r.U32(), 8u + 24 + 3 * 8) << "dwSize of ix00";
  EXPECT_EQ(r.U32(), 3u) << "dwDuration: frames";
  EXPECT_TRUE(r.Zeros(2 * 16)) << "unused entries";

  EXPECT_EQ(r.Fourcc(), "LIST");
  r.U32();
  EXPECT_EQ(r.Fourcc(), "strl");
  EXPECT_EQ(r.Fourcc(), "strh");
  EXPECT_EQ(r.U32(), 56u);
  EXPECT_EQ(r.Fourcc(), "auds") << "fccType";
  EXPECT_EQ(r.U32(), 0u) << "fccHandler";
  EXPECT_EQ(r.U32(), 0u) << "dwFlags";
  EXPECT_EQ(r.U16(), 0u) << "wPriority";
  EXPECT_EQ(r.U16(), 0u) << "wLanguage";
  EXPECT_EQ(r.U32(), 0u) << "dwInitialFrames";
  EXPECT_EQ(r.U32(), 2u) << "dwScale: nBlockAlign";
  EXPECT_EQ(r.U32(), 16000u) << "dwRate: nAvgBytesPerSec";
  EXPECT_EQ(r.U32(), 0u) << "dwStart";
  EXPECT_EQ(r.U32(), 100u) << "dwLength: blocks";
  EXPECT_EQ(r.U32(), 100u) << "dwSuggestedBufferSize";
  EXPECT_EQ(r.U32(), 0xFFFFFFFFu) << "dwQuality";
  EXPECT_EQ(r.U32(), 2u) << "dwSampleSize";
  EXPECT_TRUE(r.Zeros(8)) << "rcFrame";
  EXPECT_EQ(r.Fourcc(), "strf");
  EXPECT_EQ(r.U32(), wave.size());
  EXPECT_EQ(r.Bytes(wave.size()), wave);
  EXPECT_EQ(r.Fourcc(), "indx");
  EXPECT_EQ(r.U32(), 24u + 3 * 16);
  EXPECT_EQ(r.U16(), 4u);
  EXPECT_EQ(r.U8(), 0u);
  EXPECT_EQ(r.U8(), 0u);
  EXPECT_EQ(r.U32(), 1u);
  EXPECT_EQ(r.Fourcc(), "01wb");
  EXPECT_TRUE(r.Zeros(12));
  const std::uint64_t audioIx = r.U64();
  EXPECT_EQ(r.U32(), 8u + 24 + 2 * 8) << "dwSize of ix01";
  EXPECT_EQ(r.U32(), 100u) << "dwDuration: blocks";
  EXPECT_TRUE(r.Zeros(2 * 16));

  EXPECT_EQ(r.Fourcc(), "LIST");
  EXPECT_EQ(r.U32(), 4u + 8 + 248);
  EXPECT_EQ(r.Fourcc(), "odml");
  EXPECT_EQ(r.Fourcc(), "dmlh");
  EXPECT_EQ(r.U32(), 248u);
  EXPECT_EQ(r.U32(), 3u) << "dwTotalFrames";
  EXPECT_TRUE(r.Zeros(244)) << "dwReserved";
  EXPECT_EQ(r.At(), hdrlEnd);

  EXPECT_EQ(r.Fourcc(), "JUNK");
  r.Bytes(r.U32());
  const std::size_t movi = r.At();
  EXPECT_EQ(r.Fourcc(), "LIST");
  r.U32();
  EXPECT_EQ(r.Fourcc(), "movi");
  EXPECT_EQ(r.At() % 512, 0u) << "the first chunk starts on a sector";

  // The video stream's standard index.
  FieldReader ix(b, static_cast<std::size_t>(videoIx));
  EXPECT_EQ(ix.Fourcc(), "ix00");
  EXPECT_EQ(ix.U32(), 24u + 3 * 8);
  EXPECT_EQ(ix.U16(), 2u) << "wLongsPerEntry";
  EXPECT_EQ(ix.U8(), 0u) << "bIndexSubType";
  EXPECT_EQ(ix.U8(), 1u) << "bIndexType: index of chunks";
  EXPECT_EQ(ix.U32(), 3u) << "nEntriesInUse";
  EXPECT_EQ(ix.Fourcc(), "00db") << "dwChunkId";
  EXPECT_EQ(ix.U64(), movi) << "qwBaseOffset";
  EXPECT_EQ(ix.U32(), 0u) << "dwReserved3";
  for (int i = 0; i < 3; ++i) {
    const std::uint32_t offset = ix.U32();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&b.at(movi + offset - 8)), 4), "00db");
    EXPECT_EQ(ix.U32(), 144u) << "a key frame's size, the top bit clear";
  }
  FieldReader ixAudio(b, static_cast<std::size_t>(audioIx));
  EXPECT_EQ(ixAudio.Fourcc(), "ix01");
  EXPECT_EQ(ixAudio.U32(), 24u + 2 * 8);
  EXPECT_EQ(ixAudio.U16(), 2u);
  EXPECT_EQ(ixAudio.U8(), 0u);
  EXPECT_EQ(ixAudio.U8(), 1u);
  EXPECT_EQ(ixAudio.U32(), 2u);
  EXPECT_EQ(ixAudio.Fourcc(), "01wb");
  EXPECT_EQ(ixAudio.U64(), movi);
}

TEST_F(AviLayoutWriterTest, SinkFailureIsReturnedAndSticks) {
  FileSink sink(file_);
  AviLayoutOptions options;
  options.bufferSize = 4096;
  AviLayoutWriter writer(sink, options);
  writer.AddStream(Video(64, 64, 24));
  ASSERT_EQ(writer.Begin(), S_OK);
  const HRESULT diskFull = HRESULT_FROM_WIN32(ERROR_DISK_FULL);
  sink.FailAfter(sink.Writes(), diskFull);
  std::vector<std::uint8_t> frame = Pattern(DibSize(64, 64, 24), 0);
  EXPECT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), diskFull);
  EXPECT_EQ(writer.WriteSample(0, frame.data(), static_cast<std::uint32_t>(frame.size()), true), diskFull);
  EXPECT_EQ(writer.Finish(), diskFull);
}

TEST_F(AviLayoutWriterTest, BeginFailsWhenTheSinkCannotWrite) {
  FileSink sink(file_);
  sink.FailAfter(0, E_ACCESSDENIED);
  AviLayoutWriter writer(sink, AviLayoutOptions());
  writer.AddStream(Video(8, 8, 24));
  EXPECT_EQ(writer.Begin(), E_ACCESSDENIED);
}

}  // namespace
