// TArrayBase: a growable array of CollectionElement pointers that may own its elements,
// sorts them by their own Compare, and searches them linearly or, when sorted, by halving.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/CellSequence.h"
#include "collections/CollectionElement.h"

// Cells may hold null (a clone that gave null). Deleting passes over null cells, and so do
// the operations that visit elements one by one: ForEach, FindFirstThat, FindLastThat and the
// linear searches. The operations that order elements (Sort, IsSorted, the binary searches,
// InsertInSortedArray, AddUnique of a sorted array) need non-null cells.
class COMMONTARN_API TArrayBase : public TCellSequence {
public:
    // Growth in steps of expansionSize cells; owning unless told otherwise.
    TArrayBase(int initialNumCells = 20, int expansionSize = 20, int shouldDelete = 1);
    // Compare mode and flags of the source, and a clone of each of its elements.
    TArrayBase(const TArrayBase& source);
    ~TArrayBase() override;

    // Drops this array's elements by its ownership rule, takes the source's flags and sizes
    // and stores a clone of each source element; the compare mode stays.
    void Assign(const TArrayBase& source, const void* context);
    TArrayBase& operator=(const TArrayBase& source)
    {
        Assign(source, nullptr);
        return *this;
    }

    // Stores the pointer at index (clamped to 0..count), growing by the expansion size.
    CollectionElement* Insert(CollectionElement* element, int index);
    CollectionElement* Add(CollectionElement* element)
    {
        if (count < numCells) {
            reinterpret_cast<CollectionElement**>(buffer)[count++] = element;
            return element;
        }
        return Insert(element, count);
    }
    CollectionElement* Append(CollectionElement* element) { return Add(element); }
    CollectionElement* Push(CollectionElement* element) { return Add(element); }
    CollectionElement* operator+=(CollectionElement* element) { return Add(element); }
    CollectionElement* Prepend(CollectionElement* element) { return Insert(element, 0); }
    // Behind every element equal to it. A null element goes to the end.
    CollectionElement* InsertInSortedArray(CollectionElement* element);
    // The element already in the array that equals this one, or this one added in sorted
    // place. An owning array deletes a duplicate that it is given.
    CollectionElement* AddUnique(CollectionElement* element);

    // Clones of the source's elements, in order, at index (clamped to 0..count). Inserting an
    // array into itself clones each of its elements once.
    void Insert(const TArrayBase& source, int index, const void* context);
    TArrayBase& operator+=(const TArrayBase& source)
    {
        Insert(source, count, nullptr);
        return *this;
    }
    void Append(const TArrayBase& source, const void* context) { Insert(source, count, context); }
    // Moves the source's pointers in, cloning nothing; the source ends with no buffer.
    void Absorb(TArrayBase& source, int index) { TCellSequence::Absorb(source, index); }
    void AbsorbAndSort(TArrayBase& source);

    // The last element, removed; null on an empty array.
    CollectionElement* Pop();
    // Removes the cell and gives its element; null for an index outside the array.
    CollectionElement* CutDetach(int index);
    // Removes the cell and deletes its element; nothing for an index outside the array.
    void CutDelete(int index);
    // The range is clamped to the array; a number of 0 or below changes nothing.
    void CutRange(int index, int number, int deleteElements);
    // Owning: DeleteAll(1); otherwise the cells go and the elements stay alive.
    void Clear();
    // Deletes every element from the last down, whatever the ownership flag says.
    void DeleteAll(int freeMemory);

    CollectionElement& operator[](int index) const { return *GetCells()[index]; }
    // Null on an empty array.
    CollectionElement* GetFirst() const { return count > 0 ? GetCells()[0] : nullptr; }
    CollectionElement* GetLast() const { return count > 0 ? GetCells()[count - 1] : nullptr; }
    int HasMember(const CollectionElement* element) const;

    int IsSorted() const;
    int IsSortedBackwards() const;
    // Quicksort by the elements' Compare with the array's compare mode; not stable.
    void Sort();
    void Reverse() { TCellSequence::Reverse(); }
    void Shuffle(int seed) { TCellSequence::Shuffle(seed); }

    void SetCompareMode(int compareMode) { this->compareMode = compareMode; }
    int GetCompareMode() const { return compareMode; }

    // The action may not make the array grow.
    void ForEach(void (*action)(CollectionElement&, void*), void* argument) const;
    CollectionElement* FindFirstThat(int (*test)(const CollectionElement&, const void*), const void* argument,
                                     int* index = nullptr) const;
    CollectionElement* FindLastThat(int (*test)(const CollectionElement&, const void*), const void* argument,
                                    int* index = nullptr) const;

    // Every search gives null and -1 in *index (when index is not null) if nothing qualifies.
    // The binary searches need ascending order and call key.Compare(cell, mode).
    CollectionElement* BinaryFindEqual(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* BinaryFindEqualOrGreater(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* BinaryFindClosestGreater(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* BinaryFindClosestSmaller(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* BinaryFindEqualOrSmaller(const CollectionElement& key, int* index = nullptr) const;

    // LinearFindEqual calls key.Compare(cell, mode); the others cell.Compare(key, mode) and
    // cell.Compare(best, mode). Among equal candidates the first in the array wins.
    CollectionElement* LinearFindEqual(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* LinearFindClosestSmaller(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* LinearFindEqualOrSmaller(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* LinearFindClosestGreater(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* LinearFindEqualOrGreater(const CollectionElement& key, int* index = nullptr) const;
    CollectionElement* LinearFindSmallest(int* index = nullptr) const;
    CollectionElement* LinearFindGreatest(int* index = nullptr) const;

private:
    CollectionElement** GetCells() const { return reinterpret_cast<CollectionElement**>(buffer); }
    CollectionElement** GetCellPtr(int index) const { return GetCells() + index; }
    void CloneFrom(const TArrayBase& source, const void* context);
    void QuickSort(CollectionElement** first, CollectionElement** last) const;

    int32_t compareMode;
};

// The same object, or the same count and every pair a[i], b[i] comparing equal. Two null
// cells are equal; a null and a non-null cell are not.
COMMONTARN_API int AreEqual(const TArrayBase& a, const TArrayBase& b, int compareMode);
