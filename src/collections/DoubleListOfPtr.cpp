#include "collections/DoubleListOfPtr.h"

#include "numeric/Randomizer.h"

CollectionOfPtr::~CollectionOfPtr() = default;

CollectionOfPtr& CollectionOfPtr::operator=(const CollectionOfPtr& source)
{
    TCollection::operator=(source);
    deleter = source.deleter;
    comparer = source.comparer;
    cloner = source.cloner;
    return *this;
}

// ---- construction -----------------------------------------------------------------------

TDoubleListOfPtr::TDoubleListOfPtr(int shouldDelete) : CollectionOfPtr(shouldDelete), first(nullptr), last(nullptr) {}

TDoubleListOfPtr::TDoubleListOfPtr(const TDoubleListOfPtr& source)
    : CollectionOfPtr(source), first(nullptr), last(nullptr)
{
    try {
        Add(source, nullptr);
    } catch (...) {
        Clear();
        throw;
    }
}

TDoubleListOfPtr::~TDoubleListOfPtr()
{
    if (count != 0)
        Clear();
}

// ---- nodes ------------------------------------------------------------------------------

TListNode* TDoubleListOfPtr::NewNode(void* element)
{
    TListNode* node = new TListNode;
    node->next = node->prev = nullptr;
    node->element = element;
    return node;
}

void TDoubleListOfPtr::LinkBefore(TListNode* node, TListNode* before)
{
    if (!before) {
        node->prev = last;
        node->next = nullptr;
        if (last)
            last->next = node;
        else
            first = node;
        last = node;
    } else {
        node->next = before;
        node->prev = before->prev;
        if (before->prev)
            before->prev->next = node;
        else
            first = node;
        before->prev = node;
    }
    ++count;
}

void TDoubleListOfPtr::LinkAfter(TListNode* node, TListNode* after)
{
    if (!after) {
        node->prev = nullptr;
        node->next = first;
        if (first)
            first->prev = node;
        else
            last = node;
        first = node;
    } else {
        node->prev = after;
        node->next = after->next;
        if (after->next)
            after->next->prev = node;
        else
            last = node;
        after->next = node;
    }
    ++count;
}

void TDoubleListOfPtr::DetachNode(TListNode* node)
{
    if (node->prev)
        node->prev->next = node->next;
    else
        first = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        last = node->prev;
    --count;
}

TListNode* TDoubleListOfPtr::FindNode(int index) const
{
    TListNode* node = first;
    for (int i = 1; i <= index && node; ++i)
        node = node->next;
    return node;
}

TListNode* TDoubleListOfPtr::FindNode(const void* element) const
{
    for (TListNode* node = first; node; node = node->next)
        if (node->element == element)
            return node;
    return nullptr;
}

TListNode* TDoubleListOfPtr::FindEqualNode(const void* key) const
{
    for (TListNode* node = first; node; node = node->next)
        if (CompareElements(node->element, key) == 0)
            return node;
    return nullptr;
}

// ---- insertion --------------------------------------------------------------------------

void* TDoubleListOfPtr::Append(void* element)
{
    LinkBefore(NewNode(element), nullptr);
    return element;
}

void* TDoubleListOfPtr::Prepend(void* element)
{
    LinkAfter(NewNode(element), nullptr);
    return element;
}

void* TDoubleListOfPtr::InsertAfter(void* element, const void* after)
{
    TListNode* place = after ? FindNode(after) : nullptr;
    LinkAfter(NewNode(element), place);
    return element;
}

void* TDoubleListOfPtr::InsertBefore(void* element, const void* before)
{
    TListNode* place = before ? FindNode(before) : nullptr;
    LinkBefore(NewNode(element), place);
    return element;
}

void TDoubleListOfPtr::InsertNodeInSortedList(TListNode* node)
{
    TListNode* place = first;
    while (place && CompareElements(node->element, place->element) >= 0)
        place = place->next;
    // The place is named by its pointer, so an earlier node holding the same pointer draws
    // the insertion to itself.
    LinkBefore(node, place ? FindNode(place->element) : nullptr);
}

void* TDoubleListOfPtr::InsertInSortedList(void* element)
{
    InsertNodeInSortedList(NewNode(element));
    return element;
}

void* TDoubleListOfPtr::AddUnique(void* element)
{
    TListNode* existing = FindEqualNode(element);
    if (!existing)
        return Append(element);
    if (existing->element != element && ShouldDeleteElements())
        DeleteElement(element);
    return existing->element;
}

// ---- removal ----------------------------------------------------------------------------

void* TDoubleListOfPtr::TakeNode(TListNode* node)
{
    DetachNode(node);
    void* element = node->element;
    delete node;
    return element;
}

void* TDoubleListOfPtr::Detach(const void* element)
{
    TListNode* node = element ? FindNode(element) : nullptr;
    return node ? TakeNode(node) : nullptr;
}

void* TDoubleListOfPtr::Pop()
{
    return first ? TakeNode(first) : nullptr;
}

// By the last node's pointer: with a duplicate, the earlier node goes.
void* TDoubleListOfPtr::DetachLast()
{
    return last ? TakeNode(FindNode(last->element)) : nullptr;
}

void TDoubleListOfPtr::Delete(const void* element)
{
    TListNode* node = element ? FindNode(element) : nullptr;
    if (node)
        DeleteElement(TakeNode(node));
}

void TDoubleListOfPtr::DeleteFirst()
{
    if (first)
        DeleteElement(TakeNode(first));
}

void TDoubleListOfPtr::DeleteLast()
{
    if (last)
        DeleteElement(TakeNode(FindNode(last->element)));
}

void TDoubleListOfPtr::DetachAll()
{
    TListNode* node = first;
    first = last = nullptr;
    count = 0;
    while (node) {
        TListNode* next = node->next;
        delete node;
        node = next;
    }
}

void TDoubleListOfPtr::DeleteAll()
{
    while (first)
        DeleteElement(TakeNode(first));
}

void TDoubleListOfPtr::Clear()
{
    if (ShouldDeleteElements())
        DeleteAll();
    else
        DetachAll();
}

int TDoubleListOfPtr::DetachEqual(const void* key)
{
    TListNode* node = FindEqualNode(key);
    if (!node)
        return 0;
    TakeNode(node);
    return 1;
}

int TDoubleListOfPtr::DeleteEqual(const void* key)
{
    TListNode* node = FindEqualNode(key);
    if (!node)
        return 0;
    DeleteElement(TakeNode(node));
    return 1;
}

void* TDoubleListOfPtr::Replace(const void* old, void* element)
{
    if (old == element)
        return element;
    TListNode* node = FindNode(old);
    if (!node)
        return nullptr;
    if (ShouldDeleteElements())
        DeleteElement(node->element);
    node->element = element;
    return element;
}

// ---- reordering -------------------------------------------------------------------------

void TDoubleListOfPtr::Swap(const void* a, const void* b)
{
    if (a == b)
        return;
    TListNode* nodeA = FindNode(a);
    TListNode* nodeB = FindNode(b);
    if (!nodeA || !nodeB)
        return;
    nodeA->element = const_cast<void*>(b);
    nodeB->element = const_cast<void*>(a);
}

void TDoubleListOfPtr::Rotate(const void* element, const void* pivot)
{
    if (element == pivot)
        return;
    TListNode* met = first;
    while (met && met->element != element && met->element != pivot)
        met = met->next;
    if (!met)
        return;
    const bool elementFirst = met->element == element;
    TListNode* from = elementFirst ? met : FindNode(element);
    TListNode* to = elementFirst ? FindNode(pivot) : met;
    if (!from || !to)
        return;
    // The new node is made before the old one goes, so a failed allocation changes nothing.
    TListNode* node = NewNode(from->element);
    DetachNode(from);
    delete from;
    if (elementFirst)
        LinkAfter(node, to);
    else
        LinkBefore(node, to);
}

void TDoubleListOfPtr::Reverse()
{
    for (TListNode* node = first; node;) {
        TListNode* next = node->next;
        node->next = node->prev;
        node->prev = next;
        node = next;
    }
    TListNode* oldFirst = first;
    first = last;
    last = oldFirst;
}

namespace {

// The merge sort of TDoubleList on nodes: chains linked by next, halves by count, a stable
// merge, and on an exception from the comparer every node back in one chain.
class TNodeSorter {
public:
    explicit TNodeSorter(const CollectionOfPtr::Comparer comparer) : comparer(comparer) {}

    TListNode* SortRun(TListNode** rest, int n)
    {
        if (n == 1) {
            TListNode* node = *rest;
            *rest = node->next;
            node->next = nullptr;
            return node;
        }
        TListNode* left = SortRun(rest, n / 2);
        TListNode* right;
        try {
            right = SortRun(rest, n - n / 2);
        } catch (...) {
            *rest = Join(left, *rest);
            throw;
        }
        return Merge(left, right, rest);
    }

private:
    int Compare(const void* a, const void* b) const
    {
        if (comparer)
            return comparer(a, b);
        return a < b ? -1 : b < a ? 1 : 0;
    }

    TListNode* Merge(TListNode* a, TListNode* b, TListNode** rest)
    {
        TListNode* out = nullptr;
        TListNode** link = &out;
        try {
            while (a && b) {
                if (Compare(a->element, b->element) <= 0) {
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

    static TListNode* Join(TListNode* a, TListNode* b)
    {
        if (!a)
            return b;
        TListNode* tail = a;
        while (tail->next)
            tail = tail->next;
        tail->next = b;
        return a;
    }

    CollectionOfPtr::Comparer comparer;
};

}  // namespace

void TDoubleListOfPtr::RelinkChain(TListNode* chain)
{
    first = chain;
    TListNode* prev = nullptr;
    for (TListNode* node = chain; node; node = node->next) {
        node->prev = prev;
        prev = node;
    }
    last = prev;
}

void TDoubleListOfPtr::Sort()
{
    if (count >= 2) {
        TListNode* rest = first;
        TListNode* sorted;
        try {
            sorted = TNodeSorter(comparer).SortRun(&rest, count);
        } catch (...) {
            RelinkChain(rest);
            throw;
        }
        RelinkChain(sorted);
    }
    SetListSortedFlag(1);
}

void TDoubleListOfPtr::Shuffle(int seed)
{
    if (count < 2)
        return;
    TRandomizer randomizer(seed);
    TListNode* w = last;
    const int n = count;
    for (int i = 0; i < n && w; ++i, w = w->prev) {
        TListNode* node = FindNode(static_cast<int>(randomizer.Get(static_cast<unsigned long>(n - i))));
        void* element = node->element;
        node->element = w->element;
        w->element = element;
    }
}

// ---- splicing ---------------------------------------------------------------------------

void TDoubleListOfPtr::Split(TDoubleListOfPtr& tail, TListNode& from)
{
    if (&tail == this)
        return;
    tail.Clear();
    tail.first = &from;
    tail.last = last;
    last = from.prev;
    if (last)
        last->next = nullptr;
    else
        first = nullptr;
    from.prev = nullptr;
    int n = 0;
    for (TListNode* node = first; node; node = node->next)
        ++n;
    tail.count = count - n;
    count = n;
}

void TDoubleListOfPtr::Absorb(TDoubleListOfPtr& source, const void* before)
{
    if (&source == this || !source.first)
        return;
    TListNode* place = before ? FindNode(before) : nullptr;
    TListNode* head = source.first;
    TListNode* tail = source.last;
    if (place) {
        tail->next = place;
        head->prev = place->prev;
        if (place->prev)
            place->prev->next = head;
        else
            first = head;
        place->prev = tail;
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

void TDoubleListOfPtr::AbsorbAndSort(TDoubleListOfPtr& source)
{
    if (&source == this)
        return;
    if (HasListSortedFlag() && source.HasListSortedFlag()) {
        if (!first) {
            Absorb(source, nullptr);
            return;
        }
        TListNode* t = first;
        TListNode* s = source.first;
        while (s) {
            if (CompareElements(t->element, s->element) <= 0) {
                t = t->next;
                if (!t) {
                    Absorb(source, nullptr);
                    return;
                }
            } else {
                TListNode* next = s->next;
                source.DetachNode(s);
                LinkBefore(s, t);
                s = next;
            }
        }
        return;
    }
    // Each source node moves to its sorted place here; the place is the one that a new node
    // from InsertInSortedList would take.
    while (TListNode* s = source.first) {
        source.DetachNode(s);
        InsertNodeInSortedList(s);
    }
}

// ---- copies -----------------------------------------------------------------------------

void TDoubleListOfPtr::Assign(const TDoubleListOfPtr& source, const void* context)
{
    if (&source == this)
        return;
    Clear();
    Add(source, context);
}

TDoubleListOfPtr& TDoubleListOfPtr::operator=(const TDoubleListOfPtr& source)
{
    Assign(source, nullptr);
    return *this;
}

void TDoubleListOfPtr::Add(const TDoubleListOfPtr& source, const void* context)
{
    Insert(source, nullptr, context);
}

void TDoubleListOfPtr::Insert(const TDoubleListOfPtr& source, const void* before, const void* context)
{
    if (!source.cloner && ShouldDeleteElements())
        return;
    // Clones gather in a side list that is spliced in at the end, so a list may take copies
    // of itself; if a clone throws, those made so far are still spliced in.
    TDoubleListOfPtr clones(0);
    try {
        for (const TListNode* node = source.first; node; node = node->next)
            clones.Append(source.cloner ? source.cloner(node->element, context) : node->element);
    } catch (...) {
        Absorb(clones, before);
        throw;
    }
    Absorb(clones, before);
}

TDoubleListOfPtr& TDoubleListOfPtr::operator+=(const TDoubleListOfPtr& source)
{
    Insert(source, nullptr, nullptr);
    return *this;
}

void TDoubleListOfPtr::Append(const TDoubleListOfPtr& source, const void* context)
{
    Insert(source, nullptr, context);
}

// ---- access and searches ----------------------------------------------------------------

void* TDoubleListOfPtr::GetNext(const void* element) const
{
    TListNode* node = FindNode(element);
    return node && node->next ? node->next->element : nullptr;
}

void* TDoubleListOfPtr::GetPrev(const void* element) const
{
    TListNode* node = FindNode(element);
    return node && node->prev ? node->prev->element : nullptr;
}

void* TDoubleListOfPtr::Element(int index) const
{
    TListNode* node = FindNode(index);
    return node ? node->element : nullptr;
}

int TDoubleListOfPtr::FindIndexOfMember(const void* element) const
{
    int i = 0;
    for (const TListNode* node = first; node; node = node->next, ++i)
        if (node->element == element)
            return i;
    return -1;
}

void* TDoubleListOfPtr::FindEqual(const void* key) const
{
    TListNode* node = FindEqualNode(key);
    return node ? node->element : nullptr;
}

int TDoubleListOfPtr::FindIndexOfEqual(const void* key) const
{
    int i = 0;
    for (const TListNode* node = first; node; node = node->next, ++i)
        if (CompareElements(node->element, key) == 0)
            return i;
    return -1;
}

void TDoubleListOfPtr::ForEach(void (*action)(void*, void*), void* argument)
{
    for (TListNode* node = first; node;) {
        TListNode* next = node->next;
        action(node->element, argument);
        node = next;
    }
}

void* TDoubleListOfPtr::FindFirstThat(int (*test)(const void*, const void*), const void* argument) const
{
    for (TListNode* node = first; node; node = node->next)
        if (test(node->element, argument))
            return node->element;
    return nullptr;
}

void* TDoubleListOfPtr::FindLastThat(int (*test)(const void*, const void*), const void* argument) const
{
    for (TListNode* node = last; node; node = node->prev)
        if (test(node->element, argument))
            return node->element;
    return nullptr;
}

int TDoubleListOfPtr::IsSorted() const
{
    for (const TListNode* node = first; node && node->next; node = node->next)
        if (CompareElements(node->element, node->next->element) > 0)
            return 0;
    return 1;
}

int TDoubleListOfPtr::IsSortedBackwards() const
{
    for (const TListNode* node = first; node && node->next; node = node->next)
        if (CompareElements(node->element, node->next->element) < 0)
            return 0;
    return 1;
}

int AreEqual(const TDoubleListOfPtr& a, const TDoubleListOfPtr& b)
{
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    const CollectionOfPtr::Comparer comparer = a.GetComparer();
    for (TListNode *x = a.GetFirstNode(), *y = b.GetFirstNode(); x && y; x = x->next, y = y->next) {
        const int c = comparer ? comparer(x->element, y->element)
                               : (x->element < y->element ? -1 : y->element < x->element ? 1 : 0);
        if (c != 0)
            return 0;
    }
    return 1;
}
