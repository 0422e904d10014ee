// A source filter for the mux tests: one output pin with one fixed media type;
// the test thread pushes samples itself (Push), with the time stamps and
// sync-point flag it chooses. Buffers come from the allocator agreed with the
// mux input (2 buffers of the size given).
#pragma once

#include <windows.h>
#include <strmif.h>

#include <cstdint>
#include <vector>

#include "framework/BaseFilter.h"
#include "framework/BaseOutputPin.h"

class TestPushSource;

class TestPushPin : public CBaseOutputPin {
 public:
  TestPushPin(TestPushSource* pFilter, CCritSec* pLock, HRESULT* phr, const CMediaType& mt, long bufferSize);
  HRESULT CheckMediaType(const CMediaType* pmt) override;
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;
  HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProperties) override;

 private:
  CMediaType m_type;
  long m_bufferSize;
};

class TestPushSource : public CBaseFilter {
 public:
  // Returns the filter with one reference.
  static TestPushSource* Create(const AM_MEDIA_TYPE& mt, long bufferSize);

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override;
  IPin* OutputPin() { return &m_pin; }

  // One sample: data copied into a buffer; start/stop null for no time stamps.
  HRESULT Push(const void* data, long size, const REFERENCE_TIME* start, const REFERENCE_TIME* stop,
               bool syncPoint = true, const LONGLONG* mediaStart = nullptr);
  HRESULT PushEndOfStream() { return m_pin.DeliverEndOfStream(); }

 private:
  TestPushSource(const AM_MEDIA_TYPE& mt, long bufferSize, HRESULT* phr);
  CCritSec m_lock;
  TestPushPin m_pin;
};

// Media types for the tests.
CMediaType VideoType(int width, int height, int bits, DWORD compression, REFERENCE_TIME frame, bool temporal = false);
CMediaType AudioType(const std::vector<std::uint8_t>& wave);
