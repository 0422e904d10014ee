#include "tests/framework/TestSource.h"

#include <uuids.h>

namespace tavtest {

namespace {
const CLSID CLSID_TestSource = {0x5a1e0c12, 0x7d1c, 0x4a8e, {0x9b, 0x43, 0x11, 0x22, 0x33, 0x44, 0x55, 0x77}};
}

volatile LONG CTestStream::s_cDestroyed = 0;
volatile LONG CTestSource::s_cDestroyed = 0;

CTestStream::CTestStream(HRESULT* phr, CSource* pFilter, const wchar_t* pName)
    : CSourceStream(L"Test stream", phr, pFilter, pName) {}

CTestStream::~CTestStream() { InterlockedIncrement(&s_cDestroyed); }

LONG CTestStream::Destroyed() { return s_cDestroyed; }

HRESULT CTestStream::GetMediaType(CMediaType* pmt) {
  pmt->InitMediaType();
  pmt->SetType(&MEDIATYPE_Stream);
  pmt->SetSubtype(&MEDIASUBTYPE_Avi);
  pmt->SetFormatType(&FORMAT_None);
  return S_OK;
}

HRESULT CTestStream::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) {
  pProperties->cBuffers = 1;
  pProperties->cbBuffer = 16;
  ALLOCATOR_PROPERTIES actual = {};
  return pAlloc->SetProperties(pProperties, &actual);
}

HRESULT CTestStream::FillBuffer(IMediaSample* pSample) {
  if (pSample == nullptr) {
    InterlockedIncrement(&nullCalls);
    return S_OK;
  }
  LONG n = InterlockedIncrement(&fillCalls);
  if (n == endAfter) return S_FALSE;
  if (n == failAt) return failResult;
  BYTE* p = nullptr;
  pSample->GetPointer(&p);
  p[0] = static_cast<BYTE>(n);
  pSample->SetActualDataLength(1);
  return S_OK;
}

CTestSource::CTestSource() : CSource(L"Test source", nullptr, CLSID_TestSource), m_pStream(nullptr) {
  HRESULT hr = S_OK;
  m_pStream = new CTestStream(&hr, this);
}

CTestSource::~CTestSource() {
  delete m_pSecond;
  delete m_pStream;
  InterlockedIncrement(&s_cDestroyed);
}

CTestStream* CTestSource::AddSecondPin() {
  HRESULT hr = S_OK;
  m_pSecond = new CTestStream(&hr, this, L"Second");
  return m_pSecond;
}

LONG CTestSource::Destroyed() { return s_cDestroyed; }

}  // namespace tavtest
