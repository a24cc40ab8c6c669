#include "collections/CellSequence.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "NH_Heap.h"
#include "numeric/Randomizer.h"

TCollection::~TCollection() = default;

namespace {

// Bytes of a number of cells as the heap takes them; a size the heap cannot express is
// exhaustion, not a silently truncated block.
unsigned long ByteCount(int64_t cells, int cellSize)
{
    const uint64_t bytes = static_cast<uint64_t>(cells) * static_cast<uint64_t>(cellSize);
    if (bytes > ULONG_MAX)
        throw std::bad_alloc();
    return static_cast<unsigned long>(bytes);
}

// number rounded up to a multiple of step.
int64_t RoundUp(int64_t number, int64_t step)
{
    const int64_t n = number + step - 1;
    return n - n % step;
}

}  // namespace

TCellSequence::TCellSequence(int cellSize, int initialNumCells, int expansionSize, int shouldDelete, NH_Heap* heap)
    : TCollection(shouldDelete),
      buffer(nullptr),
      numCells(0),
      expansionSize(expansionSize > 0 ? expansionSize : 0),
      initialNumCells(initialNumCells),
      cellSize(cellSize > 0 ? cellSize : 0),
      heap(heap ? heap : &NH_Heap::Default())
{
}

TCellSequence::TCellSequence(const TCellSequence& source, int copyCells)
    : TCollection(source),
      buffer(nullptr),
      numCells(0),
      expansionSize(source.expansionSize),
      initialNumCells(source.initialNumCells),
      cellSize(source.cellSize),
      heap(source.heap)
{
    if (copyCells && source.buffer) {
        buffer = static_cast<char*>(heap->Alloc(ByteCount(source.numCells, cellSize), 0));
        std::memcpy(buffer, source.buffer, ByteCount(source.numCells, cellSize));
        numCells = source.numCells;
        count = source.count;
    }
}

TCellSequence::~TCellSequence()
{
    FreeMemory();
}

void TCellSequence::Assign(const TCellSequence& source, int copyCells)
{
    if (&source == this)
        return;
    try {
        TCollection::operator=(source);
        initialNumCells = source.initialNumCells;
        expansionSize = source.expansionSize;
        cellSize = source.cellSize;
        if (buffer)
            NH_Heap::FreeMem(buffer);
        buffer = nullptr;
        numCells = 0;
        if (!copyCells || !source.buffer)
            return;
        const unsigned long bytes = ByteCount(source.numCells, cellSize);
        buffer = static_cast<char*>(heap->Alloc(bytes, 0));
        std::memcpy(buffer, source.buffer, bytes);
        numCells = source.numCells;
        count = source.count;
    } catch (...) {
        // No freed pointer may survive: the sequence is left with no buffer.
        buffer = nullptr;
        numCells = 0;
        count = 0;
        throw;
    }
}

void TCellSequence::ResizeCellBuffer(int number, int useExpansion)
{
    if (!buffer) {
        int64_t capacity = number;
        if (useExpansion && number != 0 && expansionSize != 0)
            capacity = RoundUp(number, expansionSize);
        // Rounding past what a 32-bit count can hold falls back to the exact request.
        if (capacity > INT32_MAX)
            capacity = number;
        buffer = static_cast<char*>(heap->Alloc(ByteCount(capacity, cellSize), 0));
        numCells = static_cast<int32_t>(capacity);
        return;
    }
    // The missing part is what gets rounded, so the capacity grows by whole steps.
    int64_t missing = static_cast<int64_t>(number) - numCells;
    if (useExpansion && expansionSize != 0)
        missing = RoundUp(missing, expansionSize);
    if (numCells + missing > INT32_MAX)
        missing = static_cast<int64_t>(number) - numCells;
    buffer = static_cast<char*>(heap->ExpandBy(buffer, ByteCount(missing, cellSize), 0));
    numCells += static_cast<int32_t>(missing);
}

void TCellSequence::Insert(const TCellSequence& source, int index, int reserveOnly)
{
    if (source.cellSize != cellSize)
        return;
    const int added = source.count;
    if (added <= 0 || (!reserveOnly && !source.buffer))
        return;
    if (index < 0)
        index = 0;
    else if (index > count)
        index = count;
    const int oldCount = count;
    EnsureNumCells(oldCount + added, 0);
    if (oldCount - index > 0)
        std::memmove(GetCellPtr(index + added), GetCellPtr(index), ByteCount(oldCount - index, cellSize));
    if (reserveOnly)
        return;
    if (&source == this) {
        // The source's cells have just moved: the head is still in place, the tail now sits
        // behind the gap.
        std::memcpy(GetCellPtr(index), GetCellPtr(0), ByteCount(index, cellSize));
        std::memcpy(GetCellPtr(2 * index), GetCellPtr(index + added), ByteCount(oldCount - index, cellSize));
    } else {
        std::memcpy(GetCellPtr(index), source.buffer, ByteCount(added, cellSize));
    }
    count = oldCount + added;
}

void TCellSequence::Absorb(TCellSequence& source, int index)
{
    if (&source == this)
        return;
    Insert(source, index, 0);
    source.FreeMemory();
}

void* TCellSequence::InsertCell(const void* cell, int index)
{
    EnsureNumCells(count + 1, 1);
    if (index < 0)
        index = 0;
    else if (index > count)
        index = count;
    char* target = buffer + static_cast<intptr_t>(index) * cellSize;
    if (index < count)
        std::memmove(target + cellSize, target, ByteCount(count - index, cellSize));
    if (cell)
        std::memcpy(target, cell, static_cast<size_t>(cellSize));
    ++count;
    return target;
}

void* TCellSequence::FillCell(int index, const void* cell)
{
    if (index < 0 || index >= numCells)
        return nullptr;
    void* target = GetCellPtr(index);
    std::memcpy(target, cell, static_cast<size_t>(cellSize));
    return target;
}

void TCellSequence::CutCells(int index, int number)
{
    if (number <= 0 || index < 0 || index >= count)
        return;
    if (number > count - index)
        number = count - index;
    const int tail = count - index - number;
    if (tail > 0)
        std::memmove(GetCellPtr(index), GetCellPtr(index + number), ByteCount(tail, cellSize));
    count -= number;
}

void TCellSequence::ClearAll()
{
    if (buffer && count > 0)
        std::memset(buffer, 0, ByteCount(count, cellSize));
}

void TCellSequence::FreeMemory()
{
    if (!buffer)
        return;
    NH_Heap::FreeMem(buffer);
    buffer = nullptr;
    numCells = 0;
    count = 0;
}

void TCellSequence::AllocateBusyCells(int number)
{
    if (number <= 0)
        return;
    EnsureNumCells(number, 0);
    count = number;
}

void TCellSequence::OptimizeSize()
{
    if (!buffer)
        return;
    if (count <= 0) {
        FreeMemory();
        return;
    }
    buffer = static_cast<char*>(heap->Realloc(buffer, ByteCount(count, cellSize), 0));
    numCells = count;
}

void TCellSequence::SwapCells(int a, int b)
{
    char* p = buffer + static_cast<intptr_t>(a) * cellSize;
    char* q = buffer + static_cast<intptr_t>(b) * cellSize;
    if (cellSize == static_cast<int>(sizeof(void*))) {
        // The common case of a pointer cell, as one exchange of words.
        void* x;
        void* y;
        std::memcpy(&x, p, sizeof x);
        std::memcpy(&y, q, sizeof y);
        std::memcpy(p, &y, sizeof y);
        std::memcpy(q, &x, sizeof x);
        return;
    }
    for (int i = 0; i < cellSize; ++i) {
        const char t = p[i];
        p[i] = q[i];
        q[i] = t;
    }
}

void TCellSequence::Reverse()
{
    for (int i = 0; i < count / 2; ++i)
        SwapCells(i, count - 1 - i);
}

void TCellSequence::Shuffle(int seed)
{
    if (count < 2)
        return;
    TRandomizer randomizer(seed);
    for (int i = 0; i + 1 < count; ++i) {
        const int r = static_cast<int>(randomizer.Get(static_cast<unsigned long>(count - i)));
        SwapCells(r, count - 1 - i);
    }
}

void TCellSequence::Sort(int (*compare)(const void*, const void*))
{
    if (buffer && count > 1)
        std::qsort(buffer, static_cast<size_t>(count), static_cast<size_t>(cellSize), compare);
}

int operator==(const TCellSequence& a, const TCellSequence& b)
{
    if (a.GetCount() != b.GetCount())
        return 0;
    const int64_t bytes = static_cast<int64_t>(a.GetCount()) * a.GetCellSize();
    if (bytes <= 0)
        return 1;
    // The right side must hold as many busy bytes as the left compares.
    if (static_cast<int64_t>(b.GetCount()) * b.GetCellSize() < bytes)
        return 0;
    return std::memcmp(a.GetFirstCell(), b.GetFirstCell(), static_cast<size_t>(bytes)) == 0;
}
