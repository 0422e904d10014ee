#include "FrameInput.h"

#include <TestCard.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstring>

#include "Console.h"

namespace tavrec {
namespace {

class TestCardInput : public FrameInput {
 public:
  explicit TestCardInput(const Options& o) : o_(o) {}
  Result Next(long long number, long long timeMs, std::vector<unsigned char>& frame) override {
    TavTestCardPaint(frame.data(), o_.width, o_.height, o_.pixelFormat, number, timeMs);
    return Result::Frame;
  }

 private:
  Options o_;
};

int BitsPerPixel(unsigned pixelFormat) {
  static const int bits[] = {24, 32, 8, 16};
  return bits[pixelFormat];
}

// Reads packed rows and lays them out padded to 4 bytes.
class RawInput : public FrameInput {
 public:
  RawInput(const Options& o, std::FILE* file, bool isPipe, bool ownsFile)
      : file_(file),
        ownsFile_(ownsFile),
        isPipe_(isPipe),
        height_(o.height),
        packedRow_((static_cast<size_t>(o.width) * BitsPerPixel(o.pixelFormat) + 7) / 8),
        stride_(TavTestCardStride(o.width, o.pixelFormat)),
        packed_(packedRow_ * o.height) {}
  ~RawInput() override {
    if (ownsFile_) std::fclose(file_);
  }

  Result Next(long long, long long, std::vector<unsigned char>& frame) override {
    const size_t got = std::fread(packed_.data(), 1, packed_.size(), file_);
    if (got == packed_.size()) {
      for (int row = 0; row < height_; ++row)
        std::memcpy(frame.data() + row * stride_, packed_.data() + row * packedRow_, packedRow_);
      return Result::Frame;
    }
    if (std::ferror(file_)) {
      problem_ = Format(L"cannot read the input: %hs", std::strerror(errno));
      return Result::Error;
    }
    // The end of input. A pipe may end inside a frame when its writer stops;
    // a file that does is cut short.
    if (got == 0 || isPipe_) return Result::End;
    problem_ = Format(L"the input ends inside a frame (%zu of %zu bytes)", got, packed_.size());
    return Result::Error;
  }

 private:
  std::FILE* file_;
  bool ownsFile_, isPipe_;
  int height_;
  size_t packedRow_, stride_;
  std::vector<unsigned char> packed_;
};

bool IsPipe(std::FILE* file) {
  const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  return GetFileType(handle) == FILE_TYPE_PIPE;
}

}  // namespace

std::unique_ptr<FrameInput> OpenTestCard(const Options& options) { return std::make_unique<TestCardInput>(options); }

std::unique_ptr<FrameInput> OpenRawInput(const Options& options, std::wstring& problem) {
  if (options.input == L"-") {
    _setmode(_fileno(stdin), _O_BINARY);
    // Standard input is read as a stream whatever feeds it: its writer may
    // stop inside a frame (Wine does not report a Unix pipe as one).
    return std::make_unique<RawInput>(options, stdin, true, false);
  }
  std::FILE* file = _wfopen(options.input.c_str(), L"rb");
  if (!file) {
    problem = Format(L"cannot open %s: %hs", options.input.c_str(), std::strerror(errno));
    return nullptr;
  }
  return std::make_unique<RawInput>(options, file, IsPipe(file), true);
}

}  // namespace tavrec
