#include "collections/DoubleList.h"

#include <cstring>
#include <utility>

#include "TarnPlatform.h"
#include "collections/LinkedChain.h"
#include "collections/StringItem.h"

TListElement::~TListElement() = default;

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

TLinkedChain<TListElement> TDoubleList::Chain() const
{
    TDoubleList* self = const_cast<TDoubleList*>(this);
    return TLinkedChain<TListElement>(self->first, self->last, self->count);
}

// ---- linking ----------------------------------------------------------------------------

TListElement* TDoubleList::Append(TListElement* element)
{
    if (element)
        Chain().LinkBefore(element, nullptr);
    return element;
}

TListElement* TDoubleList::Prepend(TListElement* element)
{
    if (element)
        Chain().LinkAfter(element, nullptr);
    return element;
}

TListElement* TDoubleList::InsertAfter(TListElement* element, TListElement* after)
{
    if (element)
        Chain().LinkAfter(element, after);
    return element;
}

TListElement* TDoubleList::InsertBefore(TListElement* element, TListElement* before)
{
    if (element)
        Chain().LinkBefore(element, before);
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
        Chain().Unlink(element);
    return element;
}

void TDoubleList::Delete(TListElement* element)
{
    delete Detach(element);
}

void TDoubleList::DetachAll()
{
    Chain().Forget();
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
    return Detach(FindEqual(key)) != nullptr;
}

int TDoubleList::DeleteEqual(const TListElement& key)
{
    TListElement* e = FindEqual(key);
    Delete(e);
    return e != nullptr;
}

TListElement* TDoubleList::Replace(TListElement* old, TListElement* element)
{
    if (old == element)
        return element;
    if (!old)
        return Append(element);
    InsertAfter(element, old);
    if (ShouldDeleteElements())
        Delete(old);
    else
        Detach(old);
    return element;
}

// ---- reordering -------------------------------------------------------------------------

void TDoubleList::Swap(TListElement* a, TListElement* b)
{
    if (a == b || !a || !b)
        return;
    // b takes a's place, then a takes b's old place in front of b's old successor. That
    // successor must not be a itself, so neighbours are taken in their order.
    if (b->next == a)
        std::swap(a, b);
    TListElement* afterB = b->next;
    TLinkedChain<TListElement> chain = Chain();
    chain.Unlink(b);
    chain.LinkBefore(b, a);
    chain.Unlink(a);
    chain.LinkBefore(a, afterB);
}

void TDoubleList::Rotate(TListElement* element, TListElement* pivot)
{
    if (element == pivot || !element || !pivot)
        return;
    TListElement* met = Chain().FindFirst([&](const TListElement* e) { return e == element || e == pivot; });
    if (!met)
        return;
    TLinkedChain<TListElement> chain = Chain();
    chain.Unlink(element);
    if (met == element)
        chain.LinkAfter(element, pivot);
    else
        chain.LinkBefore(element, pivot);
}

void TDoubleList::Reverse()
{
    Chain().Reverse();
}

void TDoubleList::Sort()
{
    const int mode = compareMode;
    Chain().Sort([mode](const TListElement* a, const TListElement* b) { return a->Compare(*b, mode); });
    SetListSortedFlag(1);
}

void TDoubleList::Shuffle(int seed)
{
    Chain().Shuffle(seed, [this](TListElement* e, TListElement* w) { Swap(e, w); });
}

// ---- splicing ---------------------------------------------------------------------------

void TDoubleList::Split(TDoubleList& tail, const TListElement& from)
{
    if (&tail == this)
        return;
    tail.Clear();
    Chain().Split(tail.Chain(), const_cast<TListElement*>(&from));
}

void TDoubleList::Absorb(TDoubleList& source, TListElement* before)
{
    if (&source != this)
        Chain().Absorb(source.Chain(), before);
}

void TDoubleList::AbsorbAndSort(TDoubleList& source)
{
    if (&source == this)
        return;
    if (HasListSortedFlag() && source.HasListSortedFlag()) {
        const int mode = compareMode;
        Chain().Merge(source.Chain(),
                      [mode](const TListElement* a, const TListElement* b) { return a->Compare(*b, mode); });
        return;
    }
    source.Chain().ForEach([this, &source](TListElement* s) { InsertInSortedList(source.Detach(s)); });
}

// ---- copies -----------------------------------------------------------------------------

void TDoubleList::Assign(const TDoubleList& source, const void* context)
{
    AssignCopies(*this, source, context);
}

TDoubleList& TDoubleList::operator=(const TDoubleList& source)
{
    compareMode = source.compareMode;
    Assign(source, nullptr);
    return *this;
}

void TDoubleList::Insert(const TDoubleList& source, TListElement* before, const void* context)
{
    // CreateClone of a list element gives a list element.
    Chain().InsertCopies(source.first, before, [context](const TListElement* e) {
        return static_cast<TListElement*>(e->CreateClone(context));
    });
}

// ---- access and searches ----------------------------------------------------------------

TListElement* TDoubleList::Element(int index) const
{
    return Chain().At(index);
}

int TDoubleList::HasMember(const TListElement* element) const
{
    return Chain().FindFirst([element](const TListElement* e) { return e == element; }) != nullptr;
}

int TDoubleList::FindIndexOfMember(const TListElement& element) const
{
    int index;
    Chain().FindFirst([&element](const TListElement* e) { return e == &element; }, &index);
    return index;
}

TListElement* TDoubleList::FindEqual(const TListElement& key) const
{
    const int mode = compareMode;
    return Chain().FindFirst([&key, mode](const TListElement* e) { return e->Compare(key, mode) == 0; });
}

int TDoubleList::FindIndexOfEqual(const TListElement& key) const
{
    const int mode = compareMode;
    int index;
    Chain().FindFirst([&key, mode](const TListElement* e) { return e->Compare(key, mode) == 0; }, &index);
    return index;
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
    Chain().ForEach([action, argument](TListElement* e) { action(*e, argument); });
}

TListElement* TDoubleList::FindFirstThat(int (*test)(const CollectionElement&, const void*),
                                         const void* argument) const
{
    return Chain().FindFirst([test, argument](const TListElement* e) { return test(*e, argument) != 0; });
}

TListElement* TDoubleList::FindLastThat(int (*test)(const CollectionElement&, const void*),
                                        const void* argument) const
{
    return Chain().FindLast([test, argument](const TListElement* e) { return test(*e, argument) != 0; });
}

int TDoubleList::IsSorted() const
{
    const int mode = compareMode;
    return Chain().IsOrdered([mode](const TListElement* a, const TListElement* b) { return a->Compare(*b, mode); }, 1);
}

int TDoubleList::IsSortedBackwards() const
{
    const int mode = compareMode;
    return Chain().IsOrdered([mode](const TListElement* a, const TListElement* b) { return a->Compare(*b, mode); }, -1);
}

int AreEqual(const TDoubleList& a, const TDoubleList& b, int compareMode)
{
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    return TLinkedChain<TListElement>::AreEqual(
        a.GetFirst(), b.GetFirst(),
        [compareMode](const TListElement* x, const TListElement* y) { return x->Compare(*y, compareMode); });
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
