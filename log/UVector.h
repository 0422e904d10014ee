// A growable array with a capacity, a last index (-1 when empty) and a growth
// factor. Storage is made on the first append; when the last index reaches
// capacity - 1, the next append grows the capacity to
// capacity + (int)(capacity * growth), copies the old cells and zeroes the new.
//
// UVector holds 32-bit values (the per-thread first-line times, the engine IDs
// of a module list); the engine's sink array is a BasicUVector of pointers.
// Not locked: the owner (the log registry) serialises access.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

template <typename T>
class BasicUVector {
  static_assert(std::is_trivially_copyable<T>::value, "cells are copied bytewise");

 public:
  static constexpr int kDefaultCapacity = 16;
  static constexpr double kDefaultGrowth = 0.5;

  explicit BasicUVector(int capacity = kDefaultCapacity, double growth = kDefaultGrowth)
      : m_nCapacity(capacity > 0 ? capacity : 1), m_dGrowth(growth) {}
  ~BasicUVector() { delete[] m_pCells; }
  BasicUVector(const BasicUVector&) = delete;
  BasicUVector& operator=(const BasicUVector&) = delete;

  int Capacity() const { return m_nCapacity; }
  int LastIndex() const { return m_nLast; }
  int Count() const { return m_nLast + 1; }
  double Growth() const { return m_dGrowth; }
  bool HasStorage() const { return m_pCells != nullptr; }

  // The cell at index; index must be within 0..Capacity()-1 of made storage.
  T At(int index) const { return m_pCells[index]; }
  void Set(int index, T value) { m_pCells[index] = value; }

  // Appends one value; false (vector unchanged) when storage cannot be made.
  bool Append(T value) {
    if (m_pCells == nullptr) {
      m_pCells = new (std::nothrow) T[m_nCapacity];
      if (m_pCells == nullptr) return false;
      std::memset(static_cast<void*>(m_pCells), 0, sizeof(T) * m_nCapacity);
    } else if (m_nLast >= m_nCapacity - 1) {
      int grown = m_nCapacity + static_cast<int>(m_nCapacity * m_dGrowth);
      if (grown <= m_nCapacity) grown = m_nCapacity + 1;  // a factor too small to add a cell
      T* cells = new (std::nothrow) T[grown];
      if (cells == nullptr) return false;
      std::memcpy(static_cast<void*>(cells), m_pCells, sizeof(T) * m_nCapacity);
      std::memset(static_cast<void*>(cells + m_nCapacity), 0, sizeof(T) * (grown - m_nCapacity));
      delete[] m_pCells;
      m_pCells = cells;
      m_nCapacity = grown;
    }
    m_pCells[++m_nLast] = value;
    return true;
  }

  // Removes the cell at index, moving the later cells down by one.
  void RemoveAt(int index) {
    if (index < 0 || index > m_nLast) return;
    for (int i = index; i < m_nLast; ++i) m_pCells[i] = m_pCells[i + 1];
    m_pCells[m_nLast--] = T();
  }

 private:
  T* m_pCells = nullptr;
  int m_nCapacity;
  int m_nLast = -1;
  double m_dGrowth;
};

using UVector = BasicUVector<int32_t>;
