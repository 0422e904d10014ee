// TavPlatformPack.dll as a COM server, loaded directly: the class objects it
// hands out, aggregation rules and when it may be unloaded.

#include "tests/platform/GraphTestHelpers.h"

#include <dshow.h>
#include <gtest/gtest.h>
#include <uuids.h>

using namespace platformtest;

namespace {

using GetClassObjectFn = HRESULT(__stdcall*)(REFCLSID, REFIID, void**);
using CanUnloadNowFn = HRESULT(__stdcall*)();

// {1C531EDF-CC14-4B27-8143-D99931EB054D}: the pack's ACM compressor class.
const CLSID kAcmCompressor = {0x1c531edf, 0xcc14, 0x4b27, {0x81, 0x43, 0xd9, 0x99, 0x31, 0xeb, 0x05, 0x4d}};

class ComServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    module = LoadLibraryW(L"TavPlatformPack.dll");
    ASSERT_NE(module, nullptr) << GetLastError();
    getClassObject = reinterpret_cast<GetClassObjectFn>(Export("DllGetClassObject"));
    canUnloadNow = reinterpret_cast<CanUnloadNowFn>(Export("DllCanUnloadNow"));
    ASSERT_NE(getClassObject, nullptr);
    ASSERT_NE(canUnloadNow, nullptr);
  }
  // An export as a plain function pointer, to be cast to its real type.
  void (*Export(const char* name))() { return reinterpret_cast<void (*)()>(GetProcAddress(module, name)); }
  void TearDown() override {
    if (module != nullptr) FreeLibrary(module);
  }

  ComScope com;
  HMODULE module = nullptr;
  GetClassObjectFn getClassObject = nullptr;
  CanUnloadNowFn canUnloadNow = nullptr;
};

}  // namespace

TEST_F(ComServerTest, ServesTheMuxTheFileWriterAndTheAcmCompressor) {
  for (const CLSID* clsid : {&CLSID_AviDest, &CLSID_FileWriter, &kAcmCompressor}) {
    Ref<IClassFactory> factory;
    ASSERT_EQ(getClassObject(*clsid, IID_IClassFactory, factory.OutVoid()), S_OK);
    Ref<IBaseFilter> filter;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.OutVoid()), S_OK);
    CLSID back = {};
    EXPECT_EQ(filter->GetClassID(&back), S_OK);
    EXPECT_TRUE(IsEqualCLSID(back, *clsid));
  }
}

TEST_F(ComServerTest, UnknownClassesAndInterfacesAreRefused) {
  Ref<IUnknown> unknown;
  EXPECT_EQ(getClassObject(CLSID_FilterGraph, IID_IClassFactory, unknown.OutVoid()), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(unknown.Get(), nullptr);
  EXPECT_EQ(getClassObject(CLSID_FileWriter, IID_IBaseFilter, unknown.OutVoid()), E_NOINTERFACE);
  EXPECT_EQ(getClassObject(CLSID_FileWriter, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(ComServerTest, AggregationAsksForIUnknownOnly) {
  Ref<IClassFactory> factory;
  ASSERT_EQ(getClassObject(CLSID_FileWriter, IID_IClassFactory, factory.OutVoid()), S_OK);
  Ref<IUnknown> outer;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, outer.OutVoid()), S_OK);
  Ref<IBaseFilter> filter;
  EXPECT_EQ(factory->CreateInstance(outer.Get(), IID_IBaseFilter, filter.OutVoid()), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(filter.Get(), nullptr);
}

TEST_F(ComServerTest, CanUnloadOnlyWhenNothingIsAliveOrLocked) {
  EXPECT_EQ(canUnloadNow(), S_OK);
  Ref<IClassFactory> factory;
  ASSERT_EQ(getClassObject(CLSID_FileWriter, IID_IClassFactory, factory.OutVoid()), S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE) << "a class factory is alive";
  Ref<IBaseFilter> filter;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, filter.OutVoid()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory.Reset();
  EXPECT_EQ(canUnloadNow(), S_FALSE) << "a filter is alive and the server is locked";
  filter.Reset();
  EXPECT_EQ(canUnloadNow(), S_FALSE) << "the server is locked";
  ASSERT_EQ(getClassObject(CLSID_FileWriter, IID_IClassFactory, factory.OutVoid()), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(canUnloadNow(), S_OK);
}
