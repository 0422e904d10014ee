#include "tests/platform/GraphTestHelpers.h"

#include "tests/common/GraphEvents.h"

#include <gtest/gtest.h>

namespace platformtest {

void CreateMuxWriterGraph(Ref<IGraphBuilder>& graph, Ref<IMediaControl>& control, Ref<IBaseFilter>& mux,
                          Ref<IBaseFilter>& writer) {
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder, graph.OutVoid()),
            S_OK);
  ASSERT_EQ(graph->QueryInterface(IID_IMediaControl, control.OutVoid()), S_OK);
  ASSERT_EQ(CoCreateInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, mux.OutVoid()), S_OK);
  ASSERT_EQ(CoCreateInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, writer.OutVoid()), S_OK);
}

IPin* FindPin(IBaseFilter* filter, PIN_DIRECTION direction, int index) {
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return nullptr;
  IPin* pin = nullptr;
  IPin* found = nullptr;
  while (found == nullptr && pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION dir;
    if (SUCCEEDED(pin->QueryDirection(&dir)) && dir == direction && index-- == 0) found = pin;
    else pin->Release();
  }
  pins->Release();
  return found;
}

bool WaitForEvent(IMediaEvent* events, long code, DWORD timeoutMs, LONG_PTR* param1, std::vector<long>* others) {
  const DWORD start = GetTickCount();
  for (;;) {
    const DWORD spent = GetTickCount() - start;
    long got = 0;
    LONG_PTR p1 = 0;
    LONG_PTR p2 = 0;
    if (tavtest::NextGraphEvent(events, &got, &p1, &p2, spent < timeoutMs ? timeoutMs - spent : 0) != S_OK)
      return false;
    if (got == code) {
      if (param1 != nullptr) *param1 = p1;
      return true;
    }
    if (others != nullptr) others->push_back(got);
  }
}

std::vector<char> ReadWholeFile(const std::wstring& path) {
  std::vector<char> bytes;
  HANDLE file =
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return bytes;
  char buffer[65536];
  DWORD done = 0;
  while (ReadFile(file, buffer, sizeof(buffer), &done, nullptr) && done > 0)
    bytes.insert(bytes.end(), buffer, buffer + done);
  CloseHandle(file);
  return bytes;
}

bool FileExists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool FileIsClosed(const std::wstring& path) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  CloseHandle(file);
  return true;
}

}  // namespace platformtest
