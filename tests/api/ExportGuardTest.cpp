// The guard every export runs its body through: whatever C++ exception the
// body raises becomes an HRESULT and one ERROR line naming the export, and
// nothing escapes to the host.
#define TAVMOVIEMAKER_EXPORTS
#include <gtest/gtest.h>
#include <windows.h>

#include <comdef.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "TavMovieMaker.h"
#include "api/ExportGuard.h"
#include "log/Trace.h"

namespace {

struct Line {
  std::wstring text;
  unsigned severity;
};

int Collect(void* context, const wchar_t* line, int, unsigned int severity) {
  static_cast<std::vector<Line>*>(context)->push_back(Line{line, severity});
  return 0;
}

class ExportGuard : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TavLogCreateEngine(0, 0), S_OK);
    ASSERT_EQ(TavLogAttachCallback(0, 1, 0, &Collect, &lines, nullptr), S_OK);
  }
  void TearDown() override { TavLogDeleteEngine(0); }

  std::vector<Line> lines;
};

TEST_F(ExportGuard, ANormalReturnPassesThroughWithoutALine) {
  EXPECT_EQ(GuardExport("TavMovieMakerInit", [] { return HRESULT(S_FALSE); }), S_FALSE);
  EXPECT_TRUE(lines.empty());
}

TEST_F(ExportGuard, AComErrorBecomesItsHResult) {
  HRESULT hr = GuardExport("TavMovieMakerSetAudioStream", []() -> HRESULT { throw _com_error(E_NOINTERFACE); });
  EXPECT_EQ(hr, E_NOINTERFACE);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, L"ERROR: -2147467262; TavMovieMakerSetAudioStream -> exception 0x80004002");
  EXPECT_EQ(lines[0].severity, LOG_SEV_ERROR);
}

TEST_F(ExportGuard, OutOfMemoryBecomesEOutOfMemory) {
  HRESULT hr = GuardExport("TavMovieMakerInitEx", []() -> HRESULT { throw std::bad_alloc(); });
  EXPECT_EQ(hr, E_OUTOFMEMORY);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, L"ERROR: -2147024882; TavMovieMakerInitEx -> exception 0x8007000E");
}

TEST_F(ExportGuard, AListThatCannotGrowBecomesEFail) {
  HRESULT hr = GuardExport("TavMovieMakerInit2", []() -> HRESULT {
    std::vector<int> list;
    list.reserve(list.max_size() + 1);  // throws std::length_error
    return S_OK;
  });
  EXPECT_EQ(hr, E_FAIL);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, L"ERROR: -2147467259; TavMovieMakerInit2 -> exception 0x80004005");
}

TEST_F(ExportGuard, AnyOtherExceptionBecomesEUnexpected) {
  HRESULT hr = GuardExport("TavMovieMakerRelease", []() -> HRESULT { throw 42; });
  EXPECT_EQ(hr, E_UNEXPECTED);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, L"ERROR: -2147418113; TavMovieMakerRelease -> exception 0x8000FFFF");
}

}  // namespace
