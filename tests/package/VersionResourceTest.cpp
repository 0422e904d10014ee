// The version resources of both DLLs, read back as Windows reads them, equal
// the public header's TAVMM_VERSION_* and the project's version; the stripped
// copies that the package ships keep them.
#include <TavMovieMaker.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::wstring Widen(const char* text) { return std::wstring(text, text + strlen(text)); }

struct VersionResource {
  bool found = false;
  VS_FIXEDFILEINFO fixed{};
  std::vector<char> block;

  explicit VersionResource(const std::wstring& path) {
    DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
    if (size == 0) return;
    block.resize(size);
    if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return;
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), L"\\", &value, &length) || length < sizeof fixed) return;
    fixed = *static_cast<VS_FIXEDFILEINFO*>(value);
    found = true;
  }

  std::wstring Text(const wchar_t* name) {
    void* value = nullptr;
    UINT length = 0;
    std::wstring key = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
    if (!VerQueryValueW(block.data(), key.c_str(), &value, &length)) return L"<none>";
    return static_cast<const wchar_t*>(value);
  }
};

// The test runs in build/bin; the stripped copies are in build/stripped.
void ExpectVersion(const std::wstring& path, const std::wstring& fileName) {
  SCOPED_TRACE(std::string(path.begin(), path.end()));
  VersionResource resource(path);
  ASSERT_TRUE(resource.found);
  EXPECT_EQ(HIWORD(resource.fixed.dwFileVersionMS), TAVMM_VERSION_MAJOR);
  EXPECT_EQ(LOWORD(resource.fixed.dwFileVersionMS), TAVMM_VERSION_MINOR);
  EXPECT_EQ(HIWORD(resource.fixed.dwFileVersionLS), TAVMM_VERSION_PATCH);
  EXPECT_EQ(LOWORD(resource.fixed.dwFileVersionLS), 0);
  EXPECT_EQ(resource.fixed.dwProductVersionMS, resource.fixed.dwFileVersionMS);
  EXPECT_EQ(resource.fixed.dwProductVersionLS, resource.fixed.dwFileVersionLS);
  EXPECT_EQ(resource.Text(L"FileVersion"), Widen(TAVMM_VERSION_STRING));
  EXPECT_EQ(resource.Text(L"ProductVersion"), Widen(TAVMM_VERSION_STRING));
  EXPECT_EQ(resource.Text(L"ProductName"), L"TavMovieMaker");
  EXPECT_EQ(resource.Text(L"OriginalFilename"), fileName);
  EXPECT_FALSE(resource.Text(L"FileDescription").empty());
}

TEST(VersionResource, HeaderMacrosAreTheProjectVersion) {
  EXPECT_STREQ(TAVMM_VERSION_STRING, TAV_PROJECT_VERSION);
  const std::string numbers = std::to_string(TAVMM_VERSION_MAJOR) + "." + std::to_string(TAVMM_VERSION_MINOR) + "." +
                              std::to_string(TAVMM_VERSION_PATCH);
  EXPECT_EQ(numbers, TAV_PROJECT_VERSION);
}

TEST(VersionResource, MovieMakerDll) {
  ExpectVersion(L"TavMovieMaker.dll", L"TavMovieMaker.dll");
  ExpectVersion(L"..\\stripped\\bin\\TavMovieMaker.dll", L"TavMovieMaker.dll");
}

TEST(VersionResource, PlatformPackDll) {
  ExpectVersion(L"TavPlatformPack.dll", L"TavPlatformPack.dll");
  ExpectVersion(L"..\\stripped\\wine\\TavPlatformPack.dll", L"TavPlatformPack.dll");
}

}  // namespace
