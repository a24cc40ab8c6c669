// TCellSequence: a contiguous, growable buffer of cells of one fixed size, moved around as
// plain bytes. It never builds or destroys what a cell holds.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/Collection.h"

class NH_Heap;

class COMMONTARN_API TCellSequence : public TCollection {
public:
    // Allocates nothing; a null heap means NH_Heap::Default(). A negative cell size or
    // expansion size counts as 0.
    TCellSequence(int cellSize, int initialNumCells, int expansionSize, int shouldDelete, NH_Heap* heap);
    // Flags, sizes and heap of the source; with copyCells, a copy of its whole buffer
    // (capacity, not just the busy cells) and its count.
    TCellSequence(const TCellSequence& source, int copyCells);
    TCellSequence(const TCellSequence& source) : TCellSequence(source, 1) {}
    ~TCellSequence() override;

    // Takes flags, sizes and expansion size of the source but keeps this sequence's heap;
    // with copyCells, also a copy of the whole source buffer and its count.
    void Assign(const TCellSequence& source, int copyCells);
    TCellSequence& operator=(const TCellSequence& source)
    {
        Assign(source, 1);
        return *this;
    }

    // Opens a gap of the source's count of cells at index (clamped to 0..count) and, unless
    // reserveOnly, copies the source's busy cells into it and raises the count. Capacity grows
    // exactly, without the expansion size. A source with another cell size inserts nothing.
    void Insert(const TCellSequence& source, int index, int reserveOnly);
    TCellSequence& operator+=(const TCellSequence& source)
    {
        Insert(source, count, 0);
        return *this;
    }
    void Append(const TCellSequence& source) { Insert(source, count, 0); }
    // Insert, then the source gives up its buffer. Absorbing a sequence into itself does nothing.
    void Absorb(TCellSequence& source, int index);

    // Opens one cell at index (clamped to 0..count), copies cell into it unless null, raises
    // the count and gives the cell's address. The only operation that grows by the expansion size.
    void* InsertCell(const void* cell, int index);
    // Copies one cell's bytes in at index without changing the count. Null, with nothing
    // written, for an index outside the capacity.
    void* FillCell(int index, const void* cell);
    // Removes number cells from index and closes the gap; the range is clamped to the busy
    // cells, and a number of 0 or below removes nothing.
    void CutCells(int index, int number);
    // Zeroes the bytes of the busy cells; the count stays.
    void ClearAll();
    void FreeMemory();

    // Capacity of at least number cells, exactly, with no rounding.
    void EnsureNumCells(int number) { EnsureNumCells(number, 0); }
    // For a positive number, EnsureNumCells(number) and count = number; otherwise nothing.
    void AllocateBusyCells(int number);
    // Shrinks the buffer to exactly count cells; frees it when the count is 0.
    void OptimizeSize();

    void Reverse();
    // The walk of TRandomizer::CreateArrayOfUniqueUnsortedIndexes: one seed, one permutation.
    void Shuffle(int seed);
    void Sort(int (*compare)(const void*, const void*));

    // Takes effect at the next growth; a negative size counts as 0.
    void SetExpansionSize(int expansionSize) { this->expansionSize = expansionSize > 0 ? expansionSize : 0; }

    // Set or step the count with no check and no allocation.
    void SetNumBusyCells(int number) { count = number; }
    void IncNumBusyCells() { ++count; }
    void DecNumBusyCells() { --count; }

    int GetNumBusyCells() const { return count; }
    int GetNumCells() const { return numCells; }
    void* GetFirstCell() const { return buffer; }
    NH_Heap* GetHeap() const { return heap; }
    int GetCellSize() const { return cellSize; }
    int GetExpansionSize() const { return expansionSize; }
    int GetInitialNumCells() const { return initialNumCells; }

    // Unchecked.
    void* GetCellPtr(int index) const { return buffer + static_cast<intptr_t>(index) * cellSize; }
    int GetRangeSize(int number) const { return number * cellSize; }
    int IsFull() const { return count == numCells; }
    int HasAllocatedMemory() const { return buffer != nullptr; }

protected:
    // Grows only when number exceeds the capacity; useExpansion rounds the growth up to a
    // multiple of the expansion size.
    void EnsureNumCells(int number, int useExpansion)
    {
        if (number > numCells)
            ResizeCellBuffer(number, useExpansion);
    }
    void SwapCells(int a, int b);

    char* buffer;
    int32_t numCells;
    int32_t expansionSize;
    int32_t initialNumCells;
    int32_t cellSize;
    NH_Heap* heap;

private:
    void ResizeCellBuffer(int number, int useExpansion);
};

// Counts agree and the busy cells agree byte for byte, over the left side's cell size.
COMMONTARN_API int operator==(const TCellSequence& a, const TCellSequence& b);
