#include "collections/DoubleListOfPtr.h"

#include <utility>

#include "collections/LinkedChain.h"

CollectionOfPtr::~CollectionOfPtr() = default;

namespace {

// Two nodes in the order of their elements, by a list's comparer or, without one, by
// address, as CollectionOfPtr::CompareElements. The comparer is held by value, so that the
// loops of the sort do not read it from the list at each step.
struct TByElement {
    CollectionOfPtr::Comparer comparer;

    int operator()(const TListNode* a, const TListNode* b) const
    {
        if (comparer)
            return comparer(a->element, b->element);
        return a->element < b->element ? -1 : b->element < a->element ? 1 : 0;
    }
};

}  // namespace

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

TLinkedChain<TListNode> TDoubleListOfPtr::Chain() const
{
    TDoubleListOfPtr* self = const_cast<TDoubleListOfPtr*>(this);
    return TLinkedChain<TListNode>(self->first, self->last, self->count);
}

TListNode* TDoubleListOfPtr::NewNode(void* element)
{
    TListNode* node = new TListNode;
    node->next = node->prev = nullptr;
    node->element = element;
    return node;
}

void TDoubleListOfPtr::DetachNode(TListNode* node)
{
    Chain().Unlink(node);
}

TListNode* TDoubleListOfPtr::FindNode(int index) const
{
    return Chain().At(index);
}

TListNode* TDoubleListOfPtr::FindNode(const void* element) const
{
    return Chain().FindFirst([element](const TListNode* node) { return node->element == element; });
}

TListNode* TDoubleListOfPtr::FindEqualNode(const void* key) const
{
    return Chain().FindFirst(
        [this, key](const TListNode* node) { return CompareElements(node->element, key) == 0; });
}

// ---- insertion --------------------------------------------------------------------------

void* TDoubleListOfPtr::Append(void* element)
{
    Chain().LinkBefore(NewNode(element), nullptr);
    return element;
}

void* TDoubleListOfPtr::Prepend(void* element)
{
    Chain().LinkAfter(NewNode(element), nullptr);
    return element;
}

void* TDoubleListOfPtr::InsertAfter(void* element, const void* after)
{
    TListNode* place = after ? FindNode(after) : nullptr;
    Chain().LinkAfter(NewNode(element), place);
    return element;
}

void* TDoubleListOfPtr::InsertBefore(void* element, const void* before)
{
    TListNode* place = before ? FindNode(before) : nullptr;
    Chain().LinkBefore(NewNode(element), place);
    return element;
}

void TDoubleListOfPtr::InsertNodeInSortedList(TListNode* node)
{
    TListNode* place = first;
    while (place && CompareElements(node->element, place->element) >= 0)
        place = place->next;
    // The place is named by its pointer, so an earlier node holding the same pointer draws
    // the insertion to itself.
    Chain().LinkBefore(node, place ? FindNode(place->element) : nullptr);
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
    Chain().Forget();
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
    if (node)
        TakeNode(node);
    return node != nullptr;
}

int TDoubleListOfPtr::DeleteEqual(const void* key)
{
    TListNode* node = FindEqualNode(key);
    if (node)
        DeleteElement(TakeNode(node));
    return node != nullptr;
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
    TListNode* met = Chain().FindFirst(
        [element, pivot](const TListNode* node) { return node->element == element || node->element == pivot; });
    if (!met)
        return;
    const bool elementFirst = met->element == element;
    TListNode* from = elementFirst ? met : FindNode(element);
    TListNode* to = elementFirst ? FindNode(pivot) : met;
    if (!from || !to)
        return;
    // The new node is made before the old one goes, so a failed allocation changes nothing.
    TListNode* node = NewNode(from->element);
    TakeNode(from);
    if (elementFirst)
        Chain().LinkAfter(node, to);
    else
        Chain().LinkBefore(node, to);
}

void TDoubleListOfPtr::Reverse()
{
    Chain().Reverse();
}

void TDoubleListOfPtr::Sort()
{
    Chain().Sort(TByElement{comparer});
    SetListSortedFlag(1);
}

// The nodes stay where they are and exchange their elements.
void TDoubleListOfPtr::Shuffle(int seed)
{
    Chain().Shuffle(seed, [](TListNode* node, TListNode* w) { std::swap(node->element, w->element); });
}

// ---- splicing ---------------------------------------------------------------------------

void TDoubleListOfPtr::Split(TDoubleListOfPtr& tail, TListNode& from)
{
    if (&tail == this)
        return;
    tail.Clear();
    Chain().Split(tail.Chain(), &from);
}

void TDoubleListOfPtr::Absorb(TDoubleListOfPtr& source, const void* before)
{
    if (&source != this && source.first)
        Chain().Absorb(source.Chain(), before ? FindNode(before) : nullptr);
}

void TDoubleListOfPtr::AbsorbAndSort(TDoubleListOfPtr& source)
{
    if (&source == this)
        return;
    if (HasListSortedFlag() && source.HasListSortedFlag()) {
        Chain().Merge(source.Chain(), TByElement{comparer});
        return;
    }
    // Each source node moves to its sorted place here; the place is the one that a new node
    // from InsertInSortedList would take.
    source.Chain().ForEach([this, &source](TListNode* s) {
        source.DetachNode(s);
        InsertNodeInSortedList(s);
    });
}

// ---- copies -----------------------------------------------------------------------------

void TDoubleListOfPtr::Assign(const TDoubleListOfPtr& source, const void* context)
{
    AssignCopies(*this, source, context);
}

TDoubleListOfPtr& TDoubleListOfPtr::operator=(const TDoubleListOfPtr& source)
{
    Assign(source, nullptr);
    return *this;
}

void TDoubleListOfPtr::Insert(const TDoubleListOfPtr& source, const void* before, const void* context)
{
    if (!source.cloner && ShouldDeleteElements())
        return;
    const Cloner cloner = source.cloner;
    Chain().InsertCopies(source.first, before ? FindNode(before) : nullptr,
                         [this, cloner, context](const TListNode* node) {
                             return NewNode(cloner ? cloner(node->element, context) : node->element);
                         });
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
    int index;
    Chain().FindFirst([element](const TListNode* node) { return node->element == element; }, &index);
    return index;
}

void* TDoubleListOfPtr::FindEqual(const void* key) const
{
    TListNode* node = FindEqualNode(key);
    return node ? node->element : nullptr;
}

int TDoubleListOfPtr::FindIndexOfEqual(const void* key) const
{
    int index;
    Chain().FindFirst([this, key](const TListNode* node) { return CompareElements(node->element, key) == 0; },
                      &index);
    return index;
}

void TDoubleListOfPtr::ForEach(void (*action)(void*, void*), void* argument)
{
    Chain().ForEach([action, argument](TListNode* node) { action(node->element, argument); });
}

void* TDoubleListOfPtr::FindFirstThat(int (*test)(const void*, const void*), const void* argument) const
{
    TListNode* node =
        Chain().FindFirst([test, argument](const TListNode* n) { return test(n->element, argument) != 0; });
    return node ? node->element : nullptr;
}

void* TDoubleListOfPtr::FindLastThat(int (*test)(const void*, const void*), const void* argument) const
{
    TListNode* node =
        Chain().FindLast([test, argument](const TListNode* n) { return test(n->element, argument) != 0; });
    return node ? node->element : nullptr;
}

int TDoubleListOfPtr::IsSorted() const
{
    return Chain().IsOrdered(TByElement{comparer}, 1);
}

int TDoubleListOfPtr::IsSortedBackwards() const
{
    return Chain().IsOrdered(TByElement{comparer}, -1);
}

// The first list's comparer decides.
int AreEqual(const TDoubleListOfPtr& a, const TDoubleListOfPtr& b)
{
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    return TLinkedChain<TListNode>::AreEqual(a.GetFirstNode(), b.GetFirstNode(), TByElement{a.GetComparer()});
}
