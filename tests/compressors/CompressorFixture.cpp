#include "tests/compressors/CompressorFixture.h"

#include "TavMovieMaker.h"

namespace tavtest {

void CompressorFixture::SetUp() {
  CoInitialize(nullptr);
  g_pAviWriter = new CAviWriter();
  g_plistAviID = new std::list<AviWriterParam>();
  AviWriterParam record;
  g_plistAviID->push_back(record);
  record.nID = 1;
  g_plistAviID->push_back(record);
  g_nAviIDCounter = 1;
  m_log.Clear();
}

void CompressorFixture::TearDown() {
  delete g_pAviWriter;
  g_pAviWriter = nullptr;
  delete g_plistAviID;
  g_plistAviID = nullptr;
  if (m_pAudio) m_pAudio->Release();
}

void CompressorFixture::AttachAudioSource() {
  m_pAudio = FakeAudioFilter::Create();
  g_pAviWriter->m_pAudioSource = static_cast<IBaseFilter*>(m_pAudio);
}

void CompressorFixture::Names(bool audio, int count, int maxLength, std::vector<std::wstring>* names, HRESULT* result) {
  std::vector<std::vector<wchar_t>> buffers(static_cast<size_t>(count),
                                            std::vector<wchar_t>(static_cast<size_t>(maxLength) + 1, L'#'));
  std::vector<wchar_t*> hostBuffers;
  for (auto& buffer : buffers) {
    buffer[static_cast<size_t>(maxLength)] = L'\x7F';  // canary just past the host's buffer
    hostBuffers.push_back(buffer.data());
  }
  int n = count;
  int length = maxLength;
  HRESULT hr = audio ? TavMovieMakerGetAudioCompressors(1, hostBuffers.data(), &n, &length)
                     : TavMovieMakerGetCompressors(1, hostBuffers.data(), &n, &length);
  if (result) *result = hr;
  names->clear();
  for (auto& buffer : buffers) {
    ASSERT_EQ(buffer[static_cast<size_t>(maxLength)], L'\x7F') << "written past the buffer";
    names->push_back(std::wstring(buffer.data(), wcsnlen(buffer.data(), static_cast<size_t>(maxLength))));
  }
}

}  // namespace tavtest
