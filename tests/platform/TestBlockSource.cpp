#include "tests/platform/TestBlockSource.h"

#include "tests/platform/TestBlockPin.h"

namespace platformtest {

// Any class id will do: the filter is never created through COM.
static const CLSID kTestBlockSourceClsid = {
    0x5a1f3c20, 0x77e1, 0x4c55, {0x9d, 0x3a, 0x10, 0x22, 0x33, 0x44, 0x55, 0x66}};

CTestBlockSource* CTestBlockSource::Create(const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks) {
  auto* filter = new CTestBlockSource(type, std::move(blocks));
  filter->NonDelegatingAddRef();
  return filter;
}

CTestBlockSource::CTestBlockSource(const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks)
    : CSource(L"Test block source", nullptr, kTestBlockSourceClsid) {
  HRESULT hr = S_OK;
  m_pin = new CTestBlockPin(this, &hr, type, std::move(blocks));
}

CTestBlockSource::~CTestBlockSource() { delete m_pin; }

}  // namespace platformtest
