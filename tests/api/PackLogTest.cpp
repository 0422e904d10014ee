// The platform pack's failures in the host's log: when its File Writer cannot
// open the movie's file, a host listening to the log sees the pack's own
// module, the failed step, the HRESULT and the system's text.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"

namespace tavtest {
namespace {

const long long kFrame25 = 400000;
const HRESULT kPathNotFound = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);

// Engine 0 with a callback sink in the full layout (module names included),
// every severity.
class FullLog {
 public:
  explicit FullLog(HMODULE dll) {
    auto create =
        reinterpret_cast<TavLogCreateEngineFn>(reinterpret_cast<void*>(GetProcAddress(dll, "TavLogCreateEngine")));
    auto attach =
        reinterpret_cast<TavLogAttachCallbackFn>(reinterpret_cast<void*>(GetProcAddress(dll, "TavLogAttachCallback")));
    ok_ = create != nullptr && attach != nullptr && create(0, 0) == S_OK &&
          attach(0, 5, 0, &OnLine, this, nullptr) == S_OK;
  }
  bool ok() const { return ok_; }
  // The first line that contains `text`, or empty.
  std::wstring LineWith(const std::wstring& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const std::wstring& line : lines_)
      if (line.find(text) != std::wstring::npos) return line;
    return std::wstring();
  }

 private:
  static int OnLine(void* self, const wchar_t* line, int length, unsigned int) {
    auto* log = static_cast<FullLog*>(self);
    std::lock_guard<std::mutex> lock(log->mutex_);
    log->lines_.emplace_back(line, static_cast<size_t>(length));
    return 0;
  }
  bool ok_ = false;
  std::mutex mutex_;
  std::vector<std::wstring> lines_;
};

std::wstring SystemText(HRESULT hr) {
  wchar_t text[512] = {};
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, 512, nullptr);
  while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' || text[length - 1] == L' ')) --length;
  return std::wstring(text, length);
}

TEST(PackLog, AFileWriterThatCannotOpenItsFileSaysWhyUnderThePacksModule) {
  MovieMakerDll dll;
  ASSERT_TRUE(dll.ok());
  FullLog log(GetModuleHandleW(L"TavMovieMaker.dll"));
  ASSERT_TRUE(log.ok());
  int id = 0;
  ASSERT_EQ(dll.InitEx(64, 64, 25.0, nullptr, &id), S_OK);
  const std::wstring movie = MakeTempDir() + L"no-such-folder\\movie.avi";
  ASSERT_EQ(dll.StartMovieRecord(id, movie.c_str()), S_OK);
  std::vector<unsigned char> frame(64 * 64 * 3, 0x33);
  EXPECT_EQ(dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), 0, 0), kPathNotFound);
  EXPECT_EQ(dll.StopMovieRecord(id), S_OK);
  dll.Release(id);

  const std::wstring text = SystemText(kPathNotFound);
  ASSERT_FALSE(text.empty());
  const std::wstring line = log.LineWith(L"CFileWriter::Pause");
  EXPECT_NE(line.find(L"; MN=PlatformPack,TavPlatformPack; F=.\\TavPlatformPack,CFileWriter::Pause,0; SV=ERROR; "
                      L"CD=-2147024893; MSG=Opening " +
                      movie + L" failed: 0x80070003 " + text),
            std::wstring::npos)
      << "line: " << std::string(line.begin(), line.end());
  // The library's own lines keep its module.
  EXPECT_NE(log.LineWith(L"; MN=MovieMaker,TavMovieMaker; F=.\\TavMovieMaker,"), L"");
}

}  // namespace
}  // namespace tavtest
