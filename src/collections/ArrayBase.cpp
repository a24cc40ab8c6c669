#include "collections/ArrayBase.h"

#include <cstring>
#include <utility>

CollectionElement::~CollectionElement() = default;

int CollectionElement::Compare(const CollectionElement&, int) const
{
    return -1;
}

CollectionElement* CollectionElement::CreateClone(const void*) const
{
    return nullptr;
}

unsigned int CollectionElement::GetHashedValue() const
{
    return 0;
}

namespace {

// The result of a search: the element at position, or null and -1 for none.
CollectionElement* Found(CollectionElement* const* cells, int position, int* index)
{
    if (index)
        *index = position;
    return position >= 0 ? cells[position] : nullptr;
}

}  // namespace

TArrayBase::TArrayBase(int initialNumCells, int expansionSize, int shouldDelete)
    : TCellSequence(static_cast<int>(sizeof(CollectionElement*)), initialNumCells, expansionSize, shouldDelete, nullptr),
      compareMode(0)
{
}

TArrayBase::TArrayBase(const TArrayBase& source) : TCellSequence(source, 0), compareMode(source.compareMode)
{
    try {
        CloneFrom(source, nullptr);
    } catch (...) {
        // Nobody else can reach the clones made so far, whatever the ownership flag says.
        DeleteAll(1);
        throw;
    }
}

TArrayBase::~TArrayBase()
{
    Clear();
}

void TArrayBase::CloneFrom(const TArrayBase& source, const void* context)
{
    const int number = source.count;
    EnsureNumCells(number, 0);
    // The count rises with each clone, so an exception leaves a valid array of the clones
    // made so far.
    for (int i = 0; i < number; ++i) {
        const CollectionElement* element = source.GetCells()[i];
        GetCells()[i] = element ? element->CreateClone(context) : nullptr;
        ++count;
    }
}

void TArrayBase::Assign(const TArrayBase& source, const void* context)
{
    if (&source == this)
        return;
    Clear();
    TCellSequence::Assign(source, 0);
    CloneFrom(source, context);
}

CollectionElement* TArrayBase::Insert(CollectionElement* element, int index)
{
    void* cell = InsertCell(nullptr, index);
    std::memcpy(cell, &element, sizeof element);
    return element;
}

CollectionElement* TArrayBase::InsertInSortedArray(CollectionElement* element)
{
    if (!element)
        return Insert(element, count);
    int index;
    BinaryFindClosestGreater(*element, &index);
    return Insert(element, index >= 0 ? index : count);
}

CollectionElement* TArrayBase::AddUnique(CollectionElement* element)
{
    if (!element)
        return HasMember(nullptr) ? nullptr : Insert(element, count);
    int index = -1;
    if (IsMarkedAsSorted()) {
        BinaryFindEqual(*element, &index);
        if (index < 0)
            return InsertInSortedArray(element);
    }
    // Also after a binary find, so that the first equal element is the one returned.
    CollectionElement* existing = LinearFindEqual(*element, &index);
    if (index < 0)
        return InsertInSortedArray(element);
    // An element that the array already holds is never deleted out from under it.
    if (ShouldDeleteElements() && element != existing && !HasMember(element))
        delete element;
    return existing;
}

void TArrayBase::Insert(const TArrayBase& source, int index, const void* context)
{
    const int number = source.count;
    if (number <= 0)
        return;
    if (index < 0)
        index = 0;
    else if (index > count)
        index = count;
    const int oldCount = count;
    const bool self = &source == this;
    TCellSequence::Insert(source, index, 1);
    int done = 0;
    try {
        for (; done < number; ++done) {
            // Inserting into itself, the source's tail now sits behind the gap.
            const int from = self && done >= index ? done + number : done;
            const CollectionElement* element = source.GetCells()[from];
            GetCells()[index + done] = element ? element->CreateClone(context) : nullptr;
            ++count;
        }
    } catch (...) {
        // Close the part of the gap that no clone reached, so every busy cell is valid.
        std::memmove(GetCellPtr(index + done), GetCellPtr(index + number),
                     static_cast<size_t>(oldCount - index) * sizeof(CollectionElement*));
        throw;
    }
}

void TArrayBase::AbsorbAndSort(TArrayBase& source)
{
    Absorb(source, count);
    Sort();
}

CollectionElement* TArrayBase::Pop()
{
    if (count <= 0)
        return nullptr;
    return GetCells()[--count];
}

CollectionElement* TArrayBase::CutDetach(int index)
{
    if (index < 0 || index >= count)
        return nullptr;
    CollectionElement* element = GetCells()[index];
    CutCells(index, 1);
    return element;
}

void TArrayBase::CutDelete(int index)
{
    delete CutDetach(index);
}

void TArrayBase::CutRange(int index, int number, int deleteElements)
{
    if (number <= 0 || index < 0 || index >= count)
        return;
    if (number > count - index)
        number = count - index;
    if (deleteElements) {
        // Each cell is cleared before its element goes, so a destructor never meets a
        // pointer to a deleted element in this array.
        for (int i = index; i < index + number; ++i) {
            CollectionElement* element = GetCells()[i];
            GetCells()[i] = nullptr;
            delete element;
        }
    }
    CutCells(index, number);
}

void TArrayBase::Clear()
{
    if (ShouldDeleteElements())
        DeleteAll(1);
    else
        FreeMemory();
}

void TArrayBase::DeleteAll(int freeMemory)
{
    // The count drops before each deletion, so the array stays valid throughout.
    while (count > 0) {
        CollectionElement* element = GetCells()[count - 1];
        --count;
        delete element;
    }
    count = 0;
    if (freeMemory)
        FreeMemory();
}

int TArrayBase::HasMember(const CollectionElement* element) const
{
    for (int i = 0; i < count; ++i)
        if (GetCells()[i] == element)
            return 1;
    return 0;
}

int TArrayBase::IsSorted() const
{
    CollectionElement* const* cells = GetCells();
    for (int i = 1; i < count; ++i)
        if (cells[i - 1]->Compare(*cells[i], compareMode) > 0)
            return 0;
    return 1;
}

int TArrayBase::IsSortedBackwards() const
{
    CollectionElement* const* cells = GetCells();
    for (int i = 1; i < count; ++i)
        if (cells[i - 1]->Compare(*cells[i], compareMode) < 0)
            return 0;
    return 1;
}

void TArrayBase::Sort()
{
    if (count < 2)
        return;
    QuickSort(GetCells(), GetCells() + count - 1);
}

// Hoare partitioning around the middle element, held by pointer so that it stays the same
// element while cells swap. The scans stop at the ends of the range, which a consistent
// Compare never needs but keeps an inconsistent one inside the array. Recursing into the
// smaller part and looping on the larger one gives the same partitions in another order,
// and bounds the depth of the stack.
void TArrayBase::QuickSort(CollectionElement** first, CollectionElement** last) const
{
    const int mode = compareMode;
    while (first < last) {
        CollectionElement** i = first;
        CollectionElement** j = last;
        const CollectionElement& pivot = *first[(last - first) / 2];
        do {
            while (i < last && (*i)->Compare(pivot, mode) < 0)
                ++i;
            while (j > first && (*j)->Compare(pivot, mode) > 0)
                --j;
            if (i > j)
                break;
            if (i != j)
                std::swap(*i, *j);
            ++i;
            --j;
        } while (i <= j);
        if (j - first < last - i) {
            if (first < j)
                QuickSort(first, j);
            first = i;
        } else {
            if (i < last)
                QuickSort(i, last);
            last = j;
        }
    }
}

void TArrayBase::ForEach(void (*action)(CollectionElement&, void*), void* argument) const
{
    CollectionElement* const* cells = GetCells();
    for (int i = 0; i < count; ++i)
        if (cells[i])
            action(*cells[i], argument);
}

CollectionElement* TArrayBase::FindFirstThat(int (*test)(const CollectionElement&, const void*),
                                             const void* argument, int* index) const
{
    CollectionElement* const* cells = GetCells();
    for (int i = 0; i < count; ++i)
        if (cells[i] && test(*cells[i], argument))
            return Found(cells, i, index);
    return Found(cells, -1, index);
}

CollectionElement* TArrayBase::FindLastThat(int (*test)(const CollectionElement&, const void*),
                                            const void* argument, int* index) const
{
    CollectionElement* const* cells = GetCells();
    for (int i = count - 1; i >= 0; --i)
        if (cells[i] && test(*cells[i], argument))
            return Found(cells, i, index);
    return Found(cells, -1, index);
}

// The binary searches share one halving over lo..hi with c = key.Compare(cell[mid], mode):
// below 0 goes left, above 0 goes right, and an equal cell ends the search or goes on to
// the side that onEqual names. A search keeps the last mid from which it went to the side
// that markLeft or markRight names, -1 at the start, and answers it, or the equal cell.
namespace {

enum EOnEqual { eStopAtEqual, eGoRightOfEqual, eGoLeftOfEqual };

template <bool markLeft, bool markRight, EOnEqual onEqual>
int BinaryFind(CollectionElement* const* cells, int count, const CollectionElement& key, int mode)
{
    int lo = 0;
    int hi = count - 1;
    int candidate = -1;
    while (lo <= hi) {
        const int mid = lo + (hi - lo) / 2;
        const int c = key.Compare(*cells[mid], mode);
        if (c == 0 && onEqual == eStopAtEqual)
            return mid;
        if (c < 0 || (c == 0 && onEqual == eGoLeftOfEqual)) {
            if (markLeft && c < 0)
                candidate = mid;
            hi = mid - 1;
        } else {
            if (markRight && c > 0)
                candidate = mid;
            lo = mid + 1;
        }
    }
    return candidate;
}

}  // namespace

CollectionElement* TArrayBase::BinaryFindEqual(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), BinaryFind<false, false, eStopAtEqual>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::BinaryFindEqualOrGreater(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), BinaryFind<true, false, eStopAtEqual>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::BinaryFindClosestGreater(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), BinaryFind<true, false, eGoRightOfEqual>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::BinaryFindClosestSmaller(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), BinaryFind<false, true, eGoLeftOfEqual>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::BinaryFindEqualOrSmaller(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), BinaryFind<false, true, eStopAtEqual>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::LinearFindEqual(const CollectionElement& key, int* index) const
{
    CollectionElement* const* cells = GetCells();
    for (int i = 0; i < count; ++i)
        if (cells[i] && key.Compare(*cells[i], compareMode) == 0)
            return Found(cells, i, index);
    return Found(cells, -1, index);
}

// The four linear order searches differ in the side of the key they accept (below or above)
// and in whether an equal cell ends the search at once.
namespace {

template <bool below, bool acceptEqual>
int LinearFindClosest(CollectionElement* const* cells, int count, const CollectionElement& key, int mode)
{
    int best = -1;
    for (int i = 0; i < count; ++i) {
        const CollectionElement* cell = cells[i];
        if (!cell)
            continue;
        const int c = cell->Compare(key, mode);
        if (c == 0) {
            if (acceptEqual)
                return i;
            continue;
        }
        if (below ? c > 0 : c < 0)
            continue;
        if (best < 0)
            best = i;
        else if (below ? cell->Compare(*cells[best], mode) >= 1 : cell->Compare(*cells[best], mode) < 0)
            best = i;
    }
    return best;
}

}  // namespace

CollectionElement* TArrayBase::LinearFindClosestSmaller(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), LinearFindClosest<true, false>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::LinearFindEqualOrSmaller(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), LinearFindClosest<true, true>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::LinearFindClosestGreater(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), LinearFindClosest<false, false>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::LinearFindEqualOrGreater(const CollectionElement& key, int* index) const
{
    return Found(GetCells(), LinearFindClosest<false, true>(GetCells(), count, key, compareMode), index);
}

CollectionElement* TArrayBase::LinearFindSmallest(int* index) const
{
    CollectionElement* const* cells = GetCells();
    int best = -1;
    for (int i = 0; i < count; ++i)
        if (cells[i] && (best < 0 || cells[i]->Compare(*cells[best], compareMode) < 0))
            best = i;
    return Found(cells, best, index);
}

CollectionElement* TArrayBase::LinearFindGreatest(int* index) const
{
    CollectionElement* const* cells = GetCells();
    int best = -1;
    for (int i = 0; i < count; ++i)
        if (cells[i] && (best < 0 || cells[i]->Compare(*cells[best], compareMode) > 0))
            best = i;
    return Found(cells, best, index);
}

int AreEqual(const TArrayBase& a, const TArrayBase& b, int compareMode)
{
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    for (int i = 0; i < a.GetCount(); ++i) {
        const CollectionElement* x = static_cast<CollectionElement* const*>(a.GetFirstCell())[i];
        const CollectionElement* y = static_cast<CollectionElement* const*>(b.GetFirstCell())[i];
        if (!x || !y) {
            if (x != y)
                return 0;
            continue;
        }
        if (x->Compare(*y, compareMode) != 0)
            return 0;
    }
    return 1;
}
