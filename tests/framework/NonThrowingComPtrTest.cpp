// The framework's COM pointer: the references it takes and gives back,
// counted on a fake object, through construction, moves, resets and the out
// parameter of a call.
#include <gtest/gtest.h>

#include <windows.h>
#include <unknwn.h>

#include <type_traits>
#include <utility>

#include "framework/NonThrowingComPtr.h"

namespace {

// An object that only counts; it starts with the one reference the test owns.
class CountingObject : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    ++addRefs;
    return static_cast<ULONG>(++refs);
  }
  ULONG STDMETHODCALLTYPE Release() override {
    ++releases;
    return static_cast<ULONG>(--refs);
  }
  LONG refs = 1;
  int addRefs = 0;
  int releases = 0;
};

using Ptr = NonThrowingComPtr<CountingObject>;

static_assert(std::is_nothrow_move_constructible<Ptr>::value && std::is_nothrow_move_assignable<Ptr>::value,
              "moves never throw");
static_assert(!std::is_copy_constructible<Ptr>::value && !std::is_copy_assignable<Ptr>::value, "no copies");

TEST(NonThrowingComPtrTest, HoldsItsOwnReferenceUntilDestroyed) {
  CountingObject object;
  {
    Ptr held(&object);
    EXPECT_EQ(2, object.refs);
    EXPECT_EQ(&object, held.Get());
    EXPECT_TRUE(held);
  }
  EXPECT_EQ(1, object.refs);
  EXPECT_EQ(1, object.addRefs);
  EXPECT_EQ(1, object.releases);
}

TEST(NonThrowingComPtrTest, EmptyPointerCountsNothing) {
  Ptr empty;
  EXPECT_FALSE(empty);
  EXPECT_EQ(nullptr, empty.Get());
  empty.Reset();
  EXPECT_EQ(nullptr, empty.Detach());
}

TEST(NonThrowingComPtrTest, MoveHandsTheReferenceOnAndLeavesTheSourceEmpty) {
  CountingObject object;
  {
    Ptr source(&object);
    Ptr target(std::move(source));
    EXPECT_FALSE(source);
    EXPECT_EQ(&object, target.Get());
    Ptr assigned;
    assigned = std::move(target);
    EXPECT_FALSE(target);
    EXPECT_EQ(&object, assigned.Get());
    EXPECT_EQ(2, object.refs);
    EXPECT_EQ(1, object.addRefs);
  }
  EXPECT_EQ(1, object.refs);
  EXPECT_EQ(1, object.releases);
}

TEST(NonThrowingComPtrTest, MoveOntoAHeldObjectReleasesIt) {
  CountingObject first;
  CountingObject second;
  Ptr kept(&first);
  Ptr incoming(&second);
  kept = std::move(incoming);
  EXPECT_EQ(1, first.refs);
  EXPECT_EQ(2, second.refs);
  EXPECT_EQ(&second, kept.Get());
}

TEST(NonThrowingComPtrTest, ResetTakesTheNewReferenceBeforeReleasingTheOld) {
  CountingObject first;
  CountingObject second;
  Ptr held(&first);
  held.Reset(&second);
  EXPECT_EQ(1, first.refs);
  EXPECT_EQ(2, second.refs);
  held.Reset(&second);  // the same object again: still exactly one reference
  EXPECT_EQ(2, second.refs);
  EXPECT_EQ(2, second.addRefs);
  EXPECT_EQ(1, second.releases);
  held.Reset();
  EXPECT_EQ(1, second.refs);
  EXPECT_FALSE(held);
}

TEST(NonThrowingComPtrTest, AttachAndDetachMoveAReferenceWithoutCounting) {
  CountingObject object;
  object.AddRef();  // the reference a call handed out
  {
    Ptr held;
    held.Attach(&object);
    EXPECT_EQ(2, object.refs);
    EXPECT_EQ(1, object.addRefs);
    EXPECT_EQ(&object, held.Detach());
    EXPECT_FALSE(held);
  }
  EXPECT_EQ(2, object.refs);  // the detached reference is the caller's
  object.Release();
  EXPECT_EQ(1, object.refs);
}

TEST(NonThrowingComPtrTest, PutReleasesTheHeldObjectAndTakesTheOneFilledIn) {
  CountingObject first;
  CountingObject second;
  Ptr held(&first);
  CountingObject** slot = held.Put();
  EXPECT_EQ(1, first.refs);
  EXPECT_EQ(nullptr, *slot);
  second.AddRef();  // as a call filling an out parameter does
  *slot = &second;
  EXPECT_EQ(&second, held.Get());
  held.Reset();
  EXPECT_EQ(1, second.refs);
}

}  // namespace
