// The writer's seven kernel handles as the registry exports close and
// re-create them: every handle closed, a close the system refuses logged
// with its field's name and error, and the closing traces of re-creation.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>

#include "api/WriterEvents.h"
#include "tests/writer/support/LogCapture.h"
#include "writer/CAviWriter.h"

using tavtest::LogCapture;
using Lines = std::vector<std::wstring>;

namespace {

// A value that names no handle: closing it fails with ERROR_INVALID_HANDLE.
HANDLE NoHandle() { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FFFFFF0)); }

UniqueHandle NewEvent() { return UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr)); }

class WriterHandlesTest : public ::testing::Test {
 protected:
  void SetUp() override { m_log.Clear(); }

  LogCapture m_log;
  CAviWriter m_writer;
  UniqueHandle* m_handles[7] = {
      &m_writer.m_hEventFrameReady,  &m_writer.m_hEventBufferReady,      &m_writer.m_hEventBufferDone,
      &m_writer.m_hEventSampleReady, &m_writer.m_hEventAudioBufferReady, &m_writer.m_hEventAudioBufferDone,
      &m_writer.m_hMainMutex};
};

TEST_F(WriterHandlesTest, ReleaseClosesEveryHandleAndLogsTheOneTheSystemRefuses) {
  for (UniqueHandle* handle : m_handles) *handle = NewEvent();
  m_writer.m_hEventBufferDone.Reset(NoHandle());
  m_log.Clear();

  CloseWriterHandles(&m_writer);

  EXPECT_EQ(m_log.Lines(), (Lines{LogCapture::Line(L"TavMovieMakerRelease", L"ERROR", 0,
                                                   L"CloseHandle failed for m_hEventBufferDone, last_err=00000006 ")}));
  for (UniqueHandle* handle : m_handles) EXPECT_FALSE(*handle);
}

TEST_F(WriterHandlesTest, RecreatingTracesEachCloseAndLogsARefusedOne) {
  m_writer.m_hEventFrameReady.Reset(NoHandle());
  m_writer.m_hMainMutex.Reset(NoHandle());
  m_log.Clear();

  ASSERT_TRUE(RecreateHandOverEvents(&m_writer, 3));
  ASSERT_TRUE(RecreateMainMutex(&m_writer));

  EXPECT_EQ(m_log.Lines(), (Lines{LogCapture::Trace(L"TavMovieMakerInitEx", L"Closing 7ffffff0 m_hEventFrameReady"),
                                  LogCapture::Line(L"TavMovieMakerInitEx", L"ERROR", 0,
                                                   L"CloseHandle failed for m_hEventFrameReady, last_err=00000006 "),
                                  LogCapture::Trace(L"TavMovieMakerInitEx", L"Closing 7FFFFFF0 m_hMainMutex "),
                                  LogCapture::Line(L"TavMovieMakerInitEx", L"ERROR", 0,
                                                   L"CloseHandle failed for m_hMainMutex, last_err=00000006 ")}));
  for (UniqueHandle* handle : m_handles) EXPECT_TRUE(*handle);
  CloseWriterHandles(&m_writer);
}

}  // namespace
