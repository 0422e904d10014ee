// The log's containers: the growable vector and the chained hash tables.
#include <gtest/gtest.h>

#include "log/CHashtable.h"
#include "log/THashtable.h"
#include "log/UVector.h"

namespace {

TEST(UVector, StartsWithCapacity16GrowthHalfAndNoCells) {
  UVector vector;
  EXPECT_EQ(vector.Capacity(), 16);
  EXPECT_DOUBLE_EQ(vector.Growth(), 0.5);
  EXPECT_EQ(vector.LastIndex(), -1);
  EXPECT_FALSE(vector.HasStorage());
}

TEST(UVector, FirstAppendMakesZeroedStorageOfItsCapacity) {
  UVector vector;
  ASSERT_TRUE(vector.Append(42));
  EXPECT_TRUE(vector.HasStorage());
  EXPECT_EQ(vector.LastIndex(), 0);
  EXPECT_EQ(vector.At(0), 42);
  for (int i = 1; i < 16; ++i) EXPECT_EQ(vector.At(i), 0) << i;
}

TEST(UVector, GrowsByHalfItsCapacityWhenFull) {
  UVector vector;
  for (int i = 0; i < 16; ++i) ASSERT_TRUE(vector.Append(i + 1));
  EXPECT_EQ(vector.Capacity(), 16);  // last index 15 = capacity - 1: full, not grown yet
  ASSERT_TRUE(vector.Append(17));
  EXPECT_EQ(vector.Capacity(), 24);  // 16 + (int)(16 * 0.5)
  EXPECT_EQ(vector.LastIndex(), 16);
  for (int i = 0; i < 17; ++i) EXPECT_EQ(vector.At(i), i + 1) << i;
  for (int i = 17; i < 24; ++i) EXPECT_EQ(vector.At(i), 0) << i;  // new cells zeroed
  for (int i = 18; i <= 25; ++i) ASSERT_TRUE(vector.Append(i));
  EXPECT_EQ(vector.Capacity(), 36);  // 24 + 12
  for (int i = 26; i <= 37; ++i) ASSERT_TRUE(vector.Append(i));
  EXPECT_EQ(vector.Capacity(), 54);  // 36 + 18
  EXPECT_EQ(vector.LastIndex(), 36);
}

TEST(UVector, GrowthTruncatesTheFractionalPart) {
  UVector vector(5, 0.5);
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(vector.Append(i));
  EXPECT_EQ(vector.Capacity(), 7);  // 5 + (int)2.5
}

TEST(UVector, RemoveAtMovesLaterCellsDown) {
  UVector vector;
  for (int i = 0; i < 4; ++i) vector.Append(i * 10);
  vector.RemoveAt(1);
  EXPECT_EQ(vector.LastIndex(), 2);
  EXPECT_EQ(vector.At(0), 0);
  EXPECT_EQ(vector.At(1), 20);
  EXPECT_EQ(vector.At(2), 30);
}

TEST(CHashtable, Has151BucketsAndRecordsLoadFactor075) {
  CHashtable table;
  EXPECT_EQ(table.BucketCount(), 151);
  EXPECT_FLOAT_EQ(table.LoadFactor(), 0.75f);
  EXPECT_EQ(table.Count(), 0);
}

TEST(CHashtable, BucketIsKeyWithoutSignBitModuloCount) {
  CHashtable table;
  EXPECT_EQ(table.BucketOf(0), 0);
  EXPECT_EQ(table.BucketOf(150), 150);
  EXPECT_EQ(table.BucketOf(151), 0);
  EXPECT_EQ(table.BucketOf(1000), 1000 % 151);
  EXPECT_EQ(table.BucketOf(-1), 0x7FFFFFFF % 151);  // 1
  EXPECT_EQ(table.BucketOf(static_cast<int32_t>(0x80000005u)), 5);
}

TEST(CHashtable, KeysOfOneBucketAreChained) {
  CHashtable table;
  int a = 1, b = 2, c = 3;
  ASSERT_TRUE(table.Put(5, &a));
  ASSERT_TRUE(table.Put(5 + 151, &b));
  ASSERT_TRUE(table.Put(static_cast<int32_t>(0x80000005u), &c));  // same bucket without the sign bit
  EXPECT_EQ(table.ChainLength(5), 3);
  EXPECT_EQ(table.Count(), 3);
  EXPECT_EQ(table.Get(5), &a);
  EXPECT_EQ(table.Get(5 + 151), &b);
  EXPECT_EQ(table.Get(static_cast<int32_t>(0x80000005u)), &c);
  EXPECT_EQ(table.Get(5 + 302), nullptr);
}

TEST(CHashtable, PutOfAnExistingKeyReplacesItsValue) {
  CHashtable table;
  int a = 1, b = 2;
  ASSERT_TRUE(table.Put(9, &a));
  void* previous = nullptr;
  ASSERT_TRUE(table.Put(9, &b, &previous));
  EXPECT_EQ(previous, &a);
  EXPECT_EQ(table.Get(9), &b);
  EXPECT_EQ(table.ChainLength(9), 1);
}

TEST(CHashtable, RemoveUnchainsOnlyThatKey) {
  CHashtable table;
  int a = 1, b = 2;
  table.Put(7, &a);
  table.Put(7 + 151, &b);
  EXPECT_EQ(table.Remove(7), &a);
  EXPECT_EQ(table.Get(7), nullptr);
  EXPECT_EQ(table.Get(7 + 151), &b);
  EXPECT_EQ(table.ChainLength(7), 1);
  EXPECT_EQ(table.Remove(7), nullptr);
}

struct Counted {
  explicit Counted(int* deaths) : deaths(deaths) {}
  ~Counted() { ++*deaths; }
  int* deaths;
};

TEST(THashtable, DestroyingTheTableDeletesEveryValue) {
  int deaths = 0;
  {
    THashtable<Counted> table;
    for (int key = 0; key < 400; ++key) ASSERT_TRUE(table.Put(key, new Counted(&deaths)));
    EXPECT_EQ(table.Count(), 400);
    EXPECT_EQ(table.BucketCount(), 151);  // never rehashed: long chains instead
  }
  EXPECT_EQ(deaths, 400);
}

TEST(THashtable, ReplacingOrDeletingAValueDeletesTheOldOne) {
  int deaths = 0;
  THashtable<Counted> table;
  table.Put(1, new Counted(&deaths));
  table.Put(1, new Counted(&deaths));
  EXPECT_EQ(deaths, 1);
  EXPECT_TRUE(table.Delete(1));
  EXPECT_EQ(deaths, 2);
  EXPECT_FALSE(table.Delete(1));
}

}  // namespace
