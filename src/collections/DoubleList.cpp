#include "collections/DoubleList.h"

#include <cstring>

#include "TarnPlatform.h"
#include "collections/StringItem.h"
#include "numeric/Randomizer.h"

TListElement::~TListElement() = default;

namespace {

// Clones are cast back to list elements: CreateClone of a list element gives a list element.
TListElement* AsListElement(CollectionElement* clone)
{
    return static_cast<TListElement*>(clone);
}

}  // namespace

// ---- construction -----------------------------------------------------------------------

TDoubleList::TDoubleList(int shouldDelete)
    : TCollection(shouldDelete), compareMode(0), first(nullptr), last(nullptr)
{
}

TDoubleList::TDoubleList(const TDoubleList& source)
    : TCollection(source), compareMode(source.compareMode), first(nullptr), last(nullptr)
{
    try {
        Add(source, nullptr);
    } catch (...) {
        // The destructor will not run: an owning copy deletes the clones it made so far.
        if (ShouldDeleteElements())
            DeleteAll();
        throw;
    }
}

TDoubleList::~TDoubleList()
{
    if (ShouldDeleteElements() && count != 0)
        DeleteAll();
}

// ---- linking ----------------------------------------------------------------------------

void TDoubleList::LinkBefore(TListElement* element, TListElement* before)
{
    element->next = before;
    element->prev = before->prev;
    if (before->prev)
        before->prev->next = element;
    else
        first = element;
    before->prev = element;
    ++count;
}

void TDoubleList::LinkAfter(TListElement* element, TListElement* after)
{
    element->prev = after;
    element->next = after->next;
    if (after->next)
        after->next->prev = element;
    else
        last = element;
    after->next = element;
    ++count;
}

void TDoubleList::Unlink(TListElement* element)
{
    if (element->prev)
        element->prev->next = element->next;
    else
        first = element->next;
    if (element->next)
        element->next->prev = element->prev;
    else
        last = element->prev;
    --count;
}

TListElement* TDoubleList::Append(TListElement* element)
{
    if (!element)
        return nullptr;
    if (last) {
        LinkAfter(element, last);
    } else {
        element->next = element->prev = nullptr;
        first = last = element;
        count = 1;
    }
    return element;
}

TListElement* TDoubleList::Prepend(TListElement* element)
{
    if (!element)
        return nullptr;
    if (first) {
        LinkBefore(element, first);
    } else {
        element->next = element->prev = nullptr;
        first = last = element;
        count = 1;
    }
    return element;
}

TListElement* TDoubleList::InsertAfter(TListElement* element, TListElement* after)
{
    if (!after)
        return Prepend(element);
    if (!element)
        return nullptr;
    LinkAfter(element, after);
    return element;
}

TListElement* TDoubleList::InsertBefore(TListElement* element, TListElement* before)
{
    if (!before)
        return Append(element);
    if (!element)
        return nullptr;
    LinkBefore(element, before);
    return element;
}

TListElement* TDoubleList::InsertInSortedList(TListElement* element)
{
    if (!element)
        return nullptr;
    TListElement* e = first;
    while (e && element->Compare(*e, compareMode) >= 0)
        e = e->next;
    return InsertBefore(element, e);
}

TListElement* TDoubleList::AddUnique(TListElement* element)
{
    if (!element)
        return nullptr;
    TListElement* existing = FindEqual(*element);
    if (!existing)
        return Append(element);
    // The element may already be the one in the list; it is then not deleted.
    if (existing != element && ShouldDeleteElements())
        delete element;
    return existing;
}

// ---- unlinking --------------------------------------------------------------------------

TListElement* TDoubleList::Detach(TListElement* element)
{
    if (element)
        Unlink(element);
    return element;
}

void TDoubleList::Delete(TListElement* element)
{
    if (!element)
        return;
    Unlink(element);
    delete element;
}

void TDoubleList::DetachAll()
{
    first = last = nullptr;
    count = 0;
}

void TDoubleList::DeleteAll()
{
    while (first)
        Delete(first);
}

void TDoubleList::Clear()
{
    if (ShouldDeleteElements())
        DeleteAll();
    else
        DetachAll();
}

int TDoubleList::DetachEqual(const TListElement& key)
{
    TListElement* e = FindEqual(key);
    if (!e)
        return 0;
    Unlink(e);
    return 1;
}

int TDoubleList::DeleteEqual(const TListElement& key)
{
    TListElement* e = FindEqual(key);
    if (!e)
        return 0;
    Delete(e);
    return 1;
}

TListElement* TDoubleList::Replace(TListElement* old, TListElement* element)
{
    if (old == element)
        return element;
    if (!old)
        return Append(element);
    if (element)
        LinkAfter(element, old);
    if (ShouldDeleteElements())
        Delete(old);
    else
        Unlink(old);
    return element;
}

// ---- reordering -------------------------------------------------------------------------

void TDoubleList::Swap(TListElement* a, TListElement* b)
{
    if (a == b || !a || !b)
        return;
    if (a->next == b || b->next == a) {
        // Adjacent: make x the one in front, then move it behind y.
        TListElement* x = a->next == b ? a : b;
        TListElement* y = x->next;
        TListElement* before = x->prev;
        TListElement* after = y->next;
        if (before)
            before->next = y;
        else
            first = y;
        if (after)
            after->prev = x;
        else
            last = x;
        y->prev = before;
        y->next = x;
        x->prev = y;
        x->next = after;
        return;
    }
    TListElement* aPrev = a->prev;
    TListElement* aNext = a->next;
    TListElement* bPrev = b->prev;
    TListElement* bNext = b->next;
    if (aPrev)
        aPrev->next = b;
    else
        first = b;
    if (aNext)
        aNext->prev = b;
    else
        last = b;
    if (bPrev)
        bPrev->next = a;
    else
        first = a;
    if (bNext)
        bNext->prev = a;
    else
        last = a;
    a->prev = bPrev;
    a->next = bNext;
    b->prev = aPrev;
    b->next = aNext;
}

void TDoubleList::Rotate(TListElement* element, TListElement* pivot)
{
    if (element == pivot || !element || !pivot)
        return;
    TListElement* e = first;
    while (e && e != element && e != pivot)
        e = e->next;
    if (!e)
        return;
    Unlink(element);
    if (e == element)
        LinkAfter(element, pivot);
    else
        LinkBefore(element, pivot);
}

void TDoubleList::Reverse()
{
    for (TListElement* e = first; e;) {
        TListElement* next = e->next;
        e->next = e->prev;
        e->prev = next;
        e = next;
    }
    TListElement* oldFirst = first;
    first = last;
    last = oldFirst;
}

// The merge sort works on chains linked by next only; prev links are rebuilt at the end.
// Splitting by counts in the recursion gives the same halves and the same comparisons as
// splitting the list at count / 2 and merging the halves with AbsorbAndSort, without the
// walks to the middle. If a Compare throws, every element is put back into one chain, so
// the list stays whole (in some order) and keeps its count.
class TListSorter {
public:
    explicit TListSorter(int mode) : mode(mode) {}

    // Sorts the first n (at least 1) elements of the chain *rest, leaves the remainder in
    // *rest and gives the sorted chain.
    TListElement* SortRun(TListElement** rest, int n)
    {
        if (n == 1) {
            TListElement* e = *rest;
            *rest = e->next;
            e->next = nullptr;
            return e;
        }
        TListElement* left = SortRun(rest, n / 2);
        TListElement* right;
        try {
            right = SortRun(rest, n - n / 2);
        } catch (...) {
            *rest = Join(left, *rest);
            throw;
        }
        return Merge(left, right, rest);
    }

private:
    // Stable merge: an element of a goes first unless it compares above the one of b.
    TListElement* Merge(TListElement* a, TListElement* b, TListElement** rest)
    {
        TListElement* out = nullptr;
        TListElement** link = &out;
        try {
            while (a && b) {
                if (a->Compare(*b, mode) <= 0) {
                    *link = a;
                    link = &a->next;
                    a = a->next;
                } else {
                    *link = b;
                    link = &b->next;
                    b = b->next;
                }
            }
        } catch (...) {
            *link = nullptr;
            *rest = Join(out, Join(a, Join(b, *rest)));
            throw;
        }
        *link = a ? a : b;
        return out;
    }

    // Chain a (null-terminated) in front of chain b.
    static TListElement* Join(TListElement* a, TListElement* b)
    {
        if (!a)
            return b;
        TListElement* tail = a;
        while (tail->next)
            tail = tail->next;
        tail->next = b;
        return a;
    }

    int mode;
};

void TDoubleList::Sort()
{
    if (count >= 2) {
        TListElement* rest = first;
        last->next = nullptr;
        TListElement* sorted;
        try {
            sorted = TListSorter(compareMode).SortRun(&rest, count);
        } catch (...) {
            sorted = rest;
            RelinkChain(sorted);
            throw;
        }
        RelinkChain(sorted);
    }
    SetListSortedFlag(1);
}

void TDoubleList::RelinkChain(TListElement* chain)
{
    first = chain;
    TListElement* prev = nullptr;
    for (TListElement* e = chain; e; e = e->next) {
        e->prev = prev;
        prev = e;
    }
    last = prev;
}

void TDoubleList::Shuffle(int seed)
{
    if (count < 2)
        return;
    TRandomizer randomizer(seed);
    TListElement* w = last;
    const int n = count;
    for (int i = 0; i < n && w; ++i) {
        TListElement* e = Element(static_cast<int>(randomizer.Get(static_cast<unsigned long>(n - i))));
        TListElement* next = w->prev;
        Swap(e, w);
        w = next;
    }
}

// ---- splicing ---------------------------------------------------------------------------

void TDoubleList::Split(TDoubleList& tail, const TListElement& from)
{
    if (&tail == this)
        return;
    tail.Clear();
    TListElement* cut = const_cast<TListElement*>(&from);
    tail.first = cut;
    tail.last = last;
    last = cut->prev;
    if (last)
        last->next = nullptr;
    else
        first = nullptr;
    cut->prev = nullptr;
    int n = 0;
    for (TListElement* e = first; e; e = e->next)
        ++n;
    tail.count = count - n;
    count = n;
}

void TDoubleList::Absorb(TDoubleList& source, TListElement* before)
{
    if (&source == this || !source.first)
        return;
    TListElement* head = source.first;
    TListElement* tail = source.last;
    if (before) {
        tail->next = before;
        head->prev = before->prev;
        if (before->prev)
            before->prev->next = head;
        else
            first = head;
        before->prev = tail;
    } else {
        head->prev = last;
        tail->next = nullptr;
        if (last)
            last->next = head;
        else
            first = head;
        last = tail;
    }
    count += source.count;
    source.first = source.last = nullptr;
    source.count = 0;
}

void TDoubleList::AbsorbAndSort(TDoubleList& source)
{
    if (&source == this)
        return;
    if (HasListSortedFlag() && source.HasListSortedFlag()) {
        if (!first) {
            Absorb(source, nullptr);
            return;
        }
        TListElement* t = first;
        TListElement* s = source.first;
        while (s) {
            if (t->Compare(*s, compareMode) <= 0) {
                t = t->next;
                if (!t) {
                    Absorb(source, nullptr);
                    return;
                }
            } else {
                TListElement* next = s->next;
                source.Unlink(s);
                LinkBefore(s, t);
                s = next;
            }
        }
        return;
    }
    while (TListElement* s = source.first) {
        source.Unlink(s);
        InsertInSortedList(s);
    }
}

// ---- copies -----------------------------------------------------------------------------

void TDoubleList::Assign(const TDoubleList& source, const void* context)
{
    if (&source == this)
        return;
    Clear();
    Add(source, context);
}

TDoubleList& TDoubleList::operator=(const TDoubleList& source)
{
    compareMode = source.compareMode;
    Assign(source, nullptr);
    return *this;
}

void TDoubleList::Add(const TDoubleList& source, const void* context)
{
    Insert(source, nullptr, context);
}

void TDoubleList::Insert(const TDoubleList& source, TListElement* before, const void* context)
{
    // The clones gather in a side list and are spliced in at the end, so a list may insert
    // copies of itself; if a clone throws, those made so far are still spliced in.
    TDoubleList clones(0);
    try {
        for (const TListElement* e = source.first; e; e = e->next)
            clones.Append(AsListElement(e->CreateClone(context)));
    } catch (...) {
        Absorb(clones, before);
        throw;
    }
    Absorb(clones, before);
}

TDoubleList& TDoubleList::operator+=(const TDoubleList& source)
{
    Insert(source, nullptr, nullptr);
    return *this;
}

void TDoubleList::Append(const TDoubleList& source, const void* context)
{
    Insert(source, nullptr, context);
}

// ---- access and searches ----------------------------------------------------------------

TListElement* TDoubleList::Element(int index) const
{
    TListElement* e = first;
    for (int i = 1; i <= index && e; ++i)
        e = e->next;
    return e;
}

int TDoubleList::HasMember(const TListElement* element) const
{
    for (const TListElement* e = first; e; e = e->next)
        if (e == element)
            return 1;
    return 0;
}

int TDoubleList::FindIndexOfMember(const TListElement& element) const
{
    int i = 0;
    for (const TListElement* e = first; e; e = e->next, ++i)
        if (e == &element)
            return i;
    return -1;
}

TListElement* TDoubleList::FindEqual(const TListElement& key) const
{
    for (TListElement* e = first; e; e = e->next)
        if (e->Compare(key, compareMode) == 0)
            return e;
    return nullptr;
}

int TDoubleList::FindIndexOfEqual(const TListElement& key) const
{
    int i = 0;
    for (const TListElement* e = first; e; e = e->next, ++i)
        if (e->Compare(key, compareMode) == 0)
            return i;
    return -1;
}

TListElement* TDoubleList::FindSmallest() const
{
    TListElement* best = first;
    if (best)
        for (TListElement* e = best->next; e; e = e->next)
            if (e->Compare(*best, compareMode) < 0)
                best = e;
    return best;
}

TListElement* TDoubleList::FindGreatest() const
{
    TListElement* best = first;
    if (best)
        for (TListElement* e = best->next; e; e = e->next)
            if (e->Compare(*best, compareMode) > 0)
                best = e;
    return best;
}

TListElement* TDoubleList::FindNearest(const TListElement& key, SearchKind kind) const
{
    const bool smaller = kind == eClosestSmaller || kind == eEqualOrSmaller;
    const bool exactEnds = kind == eEqualOrSmaller || kind == eEqualOrGreater;
    TListElement* best = nullptr;
    for (TListElement* e = first; e; e = e->next) {
        const int c = e->Compare(key, compareMode);
        if (c == 0) {
            if (exactEnds)
                return e;
            continue;
        }
        if ((c < 0) != smaller)
            continue;
        if (!best) {
            best = e;
            continue;
        }
        const int toBest = e->Compare(*best, compareMode);
        if (smaller ? toBest > 0 : toBest < 0)
            best = e;
    }
    return best;
}

TListElement* TDoubleList::FindClosestSmaller(const TListElement& key) const
{
    return FindNearest(key, eClosestSmaller);
}

TListElement* TDoubleList::FindEqualOrSmaller(const TListElement& key) const
{
    return FindNearest(key, eEqualOrSmaller);
}

TListElement* TDoubleList::FindClosestGreater(const TListElement& key) const
{
    return FindNearest(key, eClosestGreater);
}

TListElement* TDoubleList::FindEqualOrGreater(const TListElement& key) const
{
    return FindNearest(key, eEqualOrGreater);
}

void TDoubleList::ForEach(void (*action)(CollectionElement&, void*), void* argument)
{
    for (TListElement* e = first; e;) {
        TListElement* next = e->next;
        action(*e, argument);
        e = next;
    }
}

TListElement* TDoubleList::FindFirstThat(int (*test)(const CollectionElement&, const void*),
                                         const void* argument) const
{
    for (TListElement* e = first; e; e = e->next)
        if (test(*e, argument))
            return e;
    return nullptr;
}

TListElement* TDoubleList::FindLastThat(int (*test)(const CollectionElement&, const void*),
                                        const void* argument) const
{
    for (TListElement* e = last; e; e = e->prev)
        if (test(*e, argument))
            return e;
    return nullptr;
}

int TDoubleList::IsSorted() const
{
    for (const TListElement* e = first; e && e->next; e = e->next)
        if (e->Compare(*e->next, compareMode) > 0)
            return 0;
    return 1;
}

int TDoubleList::IsSortedBackwards() const
{
    for (const TListElement* e = first; e && e->next; e = e->next)
        if (e->Compare(*e->next, compareMode) < 0)
            return 0;
    return 1;
}

int AreEqual(const TDoubleList& a, const TDoubleList& b, int compareMode)
{
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    for (const TListElement *x = a.GetFirst(), *y = b.GetFirst(); x && y; x = x->GetNext(), y = y->GetNext())
        if (x->Compare(*y, compareMode) != 0)
            return 0;
    return 1;
}

int CompareItemTexts(const String& a, const String& b, int compareMode)
{
    if (compareMode != 0)
        return _stricmp(a.c_str(), b.c_str());
    const unsigned long lengthA = a.length();
    const unsigned long lengthB = b.length();
    // Comparing the terminator too orders a text before its extensions.
    const int c = std::memcmp(a.c_str(), b.c_str(), (lengthA < lengthB ? lengthA : lengthB) + 1);
    if (c != 0)
        return c < 0 ? -1 : 1;
    // Equal up to an embedded zero byte of the longer text.
    return lengthA < lengthB ? -1 : lengthA > lengthB ? 1 : 0;
}
