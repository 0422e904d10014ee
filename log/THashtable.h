// A CHashtable that owns values of type T: destroying the table (or removing
// with Delete) deletes them. Not locked; see CHashtable.
#pragma once

#include "log/CHashtable.h"

template <typename T>
class THashtable : public CHashtable {
 public:
  using CHashtable::CHashtable;
  ~THashtable() override { Clear(&DeleteValue); }

  T* Get(int32_t key) const { return static_cast<T*>(CHashtable::Get(key)); }
  // Chains value under key; an older value of that key is deleted.
  bool Put(int32_t key, T* value) {
    void* previous = nullptr;
    if (!CHashtable::Put(key, value, &previous)) return false;
    if (previous != value) delete static_cast<T*>(previous);
    return true;
  }
  // Unchains the key and hands its value to the caller (null when absent).
  T* Take(int32_t key) { return static_cast<T*>(CHashtable::Remove(key)); }
  // Unchains the key and deletes its value; false when absent.
  bool Delete(int32_t key) {
    T* value = Take(key);
    delete value;
    return value != nullptr;
  }

 private:
  static void DeleteValue(void* value) { delete static_cast<T*>(value); }
};
