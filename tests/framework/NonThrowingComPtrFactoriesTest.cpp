// NonThrowingComPtr's factories and out-parameter members, as the platform
// pack uses them, against a fake that counts AddRef and Release.
#include <gtest/gtest.h>
#include <windows.h>

#include <utility>

#include "framework/NonThrowingComPtr.h"

namespace {

class CountingUnknown : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid != IID_IUnknown) {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    *ppv = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++addRefs - releases); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(addRefs - ++releases); }
  int Held() const { return addRefs - releases; }

  int addRefs = 0;
  int releases = 0;
};

using UnknownPtr = NonThrowingComPtr<IUnknown>;

TEST(NonThrowingComPtrTest, AdoptTakesTheReferenceAndReleasesItOnce) {
  CountingUnknown object;
  {
    UnknownPtr held = UnknownPtr::Adopt(&object);
    EXPECT_EQ(held.Get(), &object);
    EXPECT_EQ(object.addRefs, 0);
    EXPECT_EQ(object.releases, 0);
  }
  EXPECT_EQ(object.addRefs, 0);
  EXPECT_EQ(object.releases, 1);
}

TEST(NonThrowingComPtrTest, ShareAddsAReferenceOfItsOwn) {
  CountingUnknown object;
  {
    UnknownPtr held = UnknownPtr::Share(&object);
    EXPECT_EQ(object.addRefs, 1);
    EXPECT_EQ(object.releases, 0);
  }
  EXPECT_EQ(object.Held(), 0);
  EXPECT_EQ(object.releases, 1);
}

TEST(NonThrowingComPtrTest, PutVoidReleasesTheOldReferenceAndAdoptsTheOutParameter) {
  CountingUnknown old, filled;
  UnknownPtr held = UnknownPtr::Share(&old);
  ASSERT_EQ(filled.QueryInterface(IID_IUnknown, held.PutVoid()), S_OK);
  EXPECT_EQ(old.Held(), 0);
  EXPECT_EQ(held.Get(), &filled);
  EXPECT_EQ(filled.Held(), 1);
  held.Reset();
  EXPECT_EQ(filled.Held(), 0);
}

TEST(NonThrowingComPtrTest, CopyToHandsOutAReferenceOfTheCallersOwn) {
  CountingUnknown object;
  UnknownPtr held = UnknownPtr::Share(&object);
  IUnknown* out = nullptr;
  ASSERT_EQ(held.CopyTo(&out), S_OK);
  EXPECT_EQ(out, &object);
  EXPECT_EQ(object.Held(), 2);
  out->Release();

  UnknownPtr empty;
  out = &object;
  EXPECT_EQ(empty.CopyTo(&out), S_OK);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(held.CopyTo(nullptr), E_POINTER);
  EXPECT_EQ(object.Held(), 1);
}

}  // namespace
