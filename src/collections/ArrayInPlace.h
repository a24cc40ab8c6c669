// TArrayInPlace<T>: values of T kept in the cells of a TCellSequence.
#pragma once

#include <new>

#include "collections/CellSequence.h"

// The sequence moves cells as bytes when it grows, shuffles or cuts, so T must be a type
// that survives being moved by memcpy (String, plain values). The whole-sequence operations
// of TCellSequence that would copy or drop values as bytes are hidden; the ones kept here
// build and destroy the values.
template <class T>
class TArrayInPlace : public TCellSequence {
public:
    explicit TArrayInPlace(int initialNumCells = 20, int expansionSize = 20, NH_Heap* heap = nullptr)
        : TCellSequence(static_cast<int>(sizeof(T)), initialNumCells, expansionSize, 0, heap)
    {
    }
    TArrayInPlace(const TArrayInPlace& source) : TCellSequence(source, 0)
    {
        try {
            CopyFrom(source);
        } catch (...) {
            Clear();
            throw;
        }
    }
    TArrayInPlace& operator=(const TArrayInPlace& source)
    {
        if (&source != this) {
            Clear();
            CopyFrom(source);
        }
        return *this;
    }
    ~TArrayInPlace() override { Clear(); }

    // A copy of value at the end; its address, or null if no cell could be made.
    T* Add(const T& value)
    {
        void* cell = InsertCell(nullptr, GetCount());
        if (!cell)
            return nullptr;
        try {
            return ::new (cell) T(value);
        } catch (...) {
            DecNumBusyCells();
            throw;
        }
    }

    T& operator[](int index) const { return *static_cast<T*>(GetCellPtr(index)); }

    // Destroys the values from index 0 upward, then gives the buffer back.
    void Clear()
    {
        T* values = static_cast<T*>(GetFirstCell());
        for (int i = 0; i < GetCount(); ++i)
            values[i].~T();
        SetNumBusyCells(0);
        FreeMemory();
    }

    // Destroys the values of the range, clamped to the busy cells, and closes the gap.
    void CutCells(int index, int number)
    {
        if (number <= 0 || index < 0 || index >= GetCount())
            return;
        if (number > GetCount() - index)
            number = GetCount() - index;
        for (int i = index; i < index + number; ++i)
            (*this)[i].~T();
        TCellSequence::CutCells(index, number);
    }

    void Assign(const TCellSequence&, int) = delete;
    void Insert(const TCellSequence&, int, int) = delete;
    void Append(const TCellSequence&) = delete;
    TCellSequence& operator+=(const TCellSequence&) = delete;
    void ClearAll() = delete;
    void* FillCell(int, const void*) = delete;
    void AllocateBusyCells(int) = delete;

private:
    void CopyFrom(const TArrayInPlace& source)
    {
        EnsureNumCells(source.GetCount());
        for (int i = 0; i < source.GetCount(); ++i)
            Add(source[i]);
    }
};
