#include "log/CHashtable.h"

#include <new>

CHashtable::CHashtable(int buckets, float loadFactor)
    : m_ppBuckets(nullptr), m_nBuckets(buckets > 0 ? buckets : kDefaultBuckets), m_fLoadFactor(loadFactor) {
  m_ppBuckets = new (std::nothrow) Node*[m_nBuckets]();
  if (m_ppBuckets == nullptr) m_nBuckets = 0;
}

CHashtable::~CHashtable() {
  Clear(nullptr);
  delete[] m_ppBuckets;
}

int CHashtable::BucketOf(int32_t key) const {
  if (m_nBuckets == 0) return -1;
  return static_cast<int>((static_cast<uint32_t>(key) & 0x7FFFFFFFu) % static_cast<uint32_t>(m_nBuckets));
}

int CHashtable::ChainLength(int bucket) const {
  if (bucket < 0 || bucket >= m_nBuckets) return 0;
  int length = 0;
  for (const Node* node = m_ppBuckets[bucket]; node != nullptr; node = node->next) ++length;
  return length;
}

void* CHashtable::Get(int32_t key) const {
  const int bucket = BucketOf(key);
  if (bucket < 0) return nullptr;
  for (const Node* node = m_ppBuckets[bucket]; node != nullptr; node = node->next)
    if (node->key == key) return node->value;
  return nullptr;
}

bool CHashtable::Put(int32_t key, void* value, void** previous) {
  if (previous != nullptr) *previous = nullptr;
  const int bucket = BucketOf(key);
  if (bucket < 0) return false;
  for (Node* node = m_ppBuckets[bucket]; node != nullptr; node = node->next) {
    if (node->key == key) {
      if (previous != nullptr) *previous = node->value;
      node->value = value;
      return true;
    }
  }
  Node* node = new (std::nothrow) Node{key, value, m_ppBuckets[bucket]};
  if (node == nullptr) return false;
  m_ppBuckets[bucket] = node;
  ++m_nCount;
  return true;
}

void* CHashtable::Remove(int32_t key) {
  const int bucket = BucketOf(key);
  if (bucket < 0) return nullptr;
  for (Node** link = &m_ppBuckets[bucket]; *link != nullptr; link = &(*link)->next) {
    Node* node = *link;
    if (node->key == key) {
      *link = node->next;
      void* value = node->value;
      delete node;
      --m_nCount;
      return value;
    }
  }
  return nullptr;
}

void CHashtable::ForEach(void (*fn)(int32_t key, void* value, void* context), void* context) const {
  for (int bucket = 0; bucket < m_nBuckets; ++bucket)
    for (const Node* node = m_ppBuckets[bucket]; node != nullptr; node = node->next)
      fn(node->key, node->value, context);
}

void CHashtable::Clear(void (*release)(void* value)) {
  for (int bucket = 0; bucket < m_nBuckets; ++bucket) {
    Node* node = m_ppBuckets[bucket];
    m_ppBuckets[bucket] = nullptr;
    while (node != nullptr) {
      Node* next = node->next;
      if (release != nullptr) release(node->value);
      delete node;
      node = next;
    }
  }
  m_nCount = 0;
}
