// A loaded writer for the compressor exports: g_pAviWriter made fresh and a
// registry holding records 0 and 1, with the log captured. COM is set up on
// the test's thread.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/WriterRegistry.h"
#include "tests/writer/support/FakeFilters.h"
#include "tests/writer/support/LogCapture.h"
#include "writer/CAviWriter.h"

namespace tavtest {

class CompressorFixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Gives the writer a stand-in audio source filter (the audio enumeration
  // needs one).
  void AttachAudioSource();
  // The record of writer `id` in the registry, or null.
  AviWriterParam* Record(int id) { return FindWriterRecord(id); }

  // Second call of the two-call protocol with `count` buffers of `maxLength`
  // characters each; the names as the host reads them. A name written past
  // the host's buffer stops the test: call it through ASSERT_NO_FATAL_FAILURE.
  void Names(bool audio, int count, int maxLength, std::vector<std::wstring>* names, HRESULT* result = nullptr);

  static std::wstring T(const wchar_t* function, const wchar_t* message) {
    return LogCapture::Trace(function, message);
  }

  LogCapture m_log;
  FakeAudioFilter* m_pAudio = nullptr;
};

}  // namespace tavtest
