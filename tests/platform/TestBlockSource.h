#pragma once
// A source filter for the platform tests: one output pin "Out" that delivers
// a fixed list of samples (TestBlock) of one media type, then end of stream.
// Made and configured on the test's thread, before it joins a graph.

#include "framework/Source.h"

#include "tests/platform/TestBlock.h"

#include <vector>

namespace platformtest {

class CTestBlockPin;

class CTestBlockSource : public CSource {
 public:
  // A new filter holding one reference (release it with Release()).
  static CTestBlockSource* Create(const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks);

  DECLARE_IUNKNOWN

  CTestBlockPin* Pin() const { return m_pin; }
  ~CTestBlockSource() override;

 private:
  CTestBlockSource(const AM_MEDIA_TYPE& type, std::vector<TestBlock> blocks);

  CTestBlockPin* m_pin;
};

}  // namespace platformtest
