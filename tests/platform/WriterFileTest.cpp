// The File Writer's file: positional writes and reads, open modes, sizes.

#include "filewriter/WriterFile.h"

#include "tests/common/UnixTools.h"
#include "tests/platform/GraphTestHelpers.h"

#include <dshow.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using platformtest::ReadWholeFile;
using tavpack::WriterFile;

namespace {

void WriteWholeFile(const std::wstring& path, const std::string& text) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD done = 0;
  WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr);
  CloseHandle(file);
}

}  // namespace

TEST(WriterFile, WritesAtOffsetsInAnyOrder) {
  const std::wstring path = tavtest::MakeTempDir() + L"out.bin";
  WriterFile file;
  ASSERT_EQ(file.Open(path, 0), S_OK);
  ULONG written = 0;
  EXPECT_EQ(file.WriteAt(4, "EFGH", 4, &written), S_OK);
  EXPECT_EQ(written, 4u);
  EXPECT_EQ(file.WriteAt(0, "ABCD", 4, &written), S_OK);
  EXPECT_EQ(file.WriteAt(10, "XY", 2, nullptr), S_OK);
  ULONGLONG size = 0;
  EXPECT_EQ(file.GetSize(&size), S_OK);
  EXPECT_EQ(size, 12u);
  char back[8] = {};
  ULONG read = 0;
  EXPECT_EQ(file.ReadAt(2, back, 8, &read), S_OK);
  EXPECT_EQ(read, 8u);
  EXPECT_EQ(std::string(back, 6), "CDEFGH");
  EXPECT_EQ(file.Close(), S_OK);

  const std::vector<char> bytes = ReadWholeFile(path);
  ASSERT_EQ(bytes.size(), 12u);
  EXPECT_EQ(std::string(bytes.data(), 8), "ABCDEFGH");
  EXPECT_EQ(bytes[8], 0);
  EXPECT_EQ(bytes[9], 0);
  EXPECT_EQ(std::string(bytes.data() + 10, 2), "XY");
}

TEST(WriterFile, ReadPastTheEndGivesFewerBytes) {
  const std::wstring path = tavtest::MakeTempDir() + L"short.bin";
  WriterFile file;
  ASSERT_EQ(file.Open(path, 0), S_OK);
  ASSERT_EQ(file.WriteAt(0, "abc", 3, nullptr), S_OK);
  char back[16] = {};
  ULONG read = 99;
  EXPECT_EQ(file.ReadAt(1, back, 16, &read), S_OK);
  EXPECT_EQ(read, 2u);
  EXPECT_EQ(file.ReadAt(100, back, 16, &read), S_OK);
  EXPECT_EQ(read, 0u);
}

TEST(WriterFile, DefaultModeReusesTheFileAndCutsItToTheNewContent) {
  const std::wstring path = tavtest::MakeTempDir() + L"old.bin";
  WriteWholeFile(path, "0123456789");
  WriterFile file;
  ASSERT_EQ(file.Open(path, 0), S_OK);
  ULONGLONG size = 0;
  ASSERT_EQ(file.GetSize(&size), S_OK);
  EXPECT_EQ(size, 10u) << "the old file is not destroyed when it is opened";
  ASSERT_EQ(file.WriteAt(0, "new", 3, nullptr), S_OK);
  EXPECT_EQ(file.Close(), S_OK);
  const std::vector<char> bytes = ReadWholeFile(path);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "new");
}

TEST(WriterFile, OverwriteModeDestroysTheOldFileAtOpen) {
  const std::wstring path = tavtest::MakeTempDir() + L"old.bin";
  WriteWholeFile(path, "0123456789");
  WriterFile file;
  ASSERT_EQ(file.Open(path, AM_FILE_OVERWRITE), S_OK);
  ULONGLONG size = 99;
  ASSERT_EQ(file.GetSize(&size), S_OK);
  EXPECT_EQ(size, 0u);
  ASSERT_EQ(file.WriteAt(2, "zz", 2, nullptr), S_OK);
  EXPECT_EQ(file.Close(), S_OK);
  const std::vector<char> bytes = ReadWholeFile(path);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string("\0\0zz", 4));
}

TEST(WriterFile, SetSizeExtendsAndCuts) {
  const std::wstring path = tavtest::MakeTempDir() + L"sized.bin";
  WriterFile file;
  ASSERT_EQ(file.Open(path, 0), S_OK);
  ASSERT_EQ(file.WriteAt(0, "abcdef", 6, nullptr), S_OK);
  EXPECT_EQ(file.SetSize(3), S_OK);
  ULONGLONG size = 0;
  EXPECT_EQ(file.GetSize(&size), S_OK);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(file.SetSize(4096), S_OK);
  EXPECT_EQ(file.GetSize(&size), S_OK);
  EXPECT_EQ(size, 4096u);
  EXPECT_EQ(file.Close(), S_OK);
  EXPECT_EQ(ReadWholeFile(path).size(), 4096u) << "SetSize sets the extent kept on close";
}

TEST(WriterFile, MissingFolderFailsWithPathNotFound) {
  const std::wstring path = tavtest::MakeTempDir() + L"no-such-folder\\out.avi";
  WriterFile file;
  EXPECT_EQ(file.Open(path, 0), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.WriteAt(0, "a", 1, nullptr), E_UNEXPECTED);
  EXPECT_EQ(file.Close(), S_FALSE);
}

TEST(WriterFile, OffsetsBeyondFourGigabytesStayExact) {
  const std::wstring path = tavtest::MakeTempDir() + L"large.bin";
  const ULONGLONG offset = (5ull << 30) + 3;  // past 4 GB and past the 32-bit wrap
  {
    WriterFile file;
    ASSERT_EQ(file.Open(path, 0), S_OK);
    ASSERT_EQ(file.WriteAt(0, "head", 4, nullptr), S_OK);
    ASSERT_EQ(file.WriteAt(offset, "tail", 4, nullptr), S_OK);
    ULONGLONG size = 0;
    ASSERT_EQ(file.GetSize(&size), S_OK);
    EXPECT_EQ(size, offset + 4);
    char back[8] = {};
    ULONG read = 0;
    ASSERT_EQ(file.ReadAt(offset - 4, back, 8, &read), S_OK);
    EXPECT_EQ(read, 8u);
    EXPECT_EQ(std::string(back, 8), std::string("\0\0\0\0tail", 8));
    // The same offset modulo 4 GB holds nothing.
    ASSERT_EQ(file.ReadAt(offset & 0xFFFFFFFFull, back, 4, &read), S_OK);
    EXPECT_EQ(std::string(back, 4), std::string(4, '\0'));
    EXPECT_EQ(file.Close(), S_OK);
  }
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  ASSERT_TRUE(GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ((static_cast<ULONGLONG>(data.nFileSizeHigh) << 32) | data.nFileSizeLow, offset + 4);
  DeleteFileW(path.c_str());
}
