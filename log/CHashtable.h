// A hash table of 32-bit keys to untyped value pointers: a fixed number of
// buckets (151 unless told), each a chain of nodes searched from its head.
// The bucket of a key is (key AND 0x7FFFFFFF) modulo the bucket count. The
// load factor (0.75) is recorded with the table; the table never rehashes.
//
// CHashtable does not own its values; THashtable<T> does. Not locked: the
// owner (the log registry) serialises access.
#pragma once

#include <cstdint>

class CHashtable {
 public:
  static constexpr int kDefaultBuckets = 151;
  static constexpr float kDefaultLoadFactor = 0.75f;

  explicit CHashtable(int buckets = kDefaultBuckets, float loadFactor = kDefaultLoadFactor);
  virtual ~CHashtable();  // frees the nodes, not the values
  CHashtable(const CHashtable&) = delete;
  CHashtable& operator=(const CHashtable&) = delete;

  int BucketCount() const { return m_nBuckets; }
  float LoadFactor() const { return m_fLoadFactor; }
  int Count() const { return m_nCount; }
  int BucketOf(int32_t key) const;
  // Number of nodes chained in one bucket.
  int ChainLength(int bucket) const;

  // The value of the first node with this key, or null.
  void* Get(int32_t key) const;
  // Replaces the value of an existing key (returning the old one in *previous)
  // or chains a new node at the bucket's head. False when out of memory.
  bool Put(int32_t key, void* value, void** previous = nullptr);
  // Unchains the key's node and returns its value (null when absent).
  void* Remove(int32_t key);

  // Calls fn(key, value, context) for every node, bucket by bucket.
  void ForEach(void (*fn)(int32_t key, void* value, void* context), void* context) const;

 protected:
  // Unchains every node, handing each value to release (may be null).
  void Clear(void (*release)(void* value));

 private:
  struct Node {
    int32_t key;
    void* value;
    Node* next;
  };

  Node** m_ppBuckets;
  int m_nBuckets;
  float m_fLoadFactor;
  int m_nCount = 0;
};
