// TDoubleList: an intrusive doubly linked list of TListElement objects, whose links live in
// the elements themselves, so linking allocates nothing. TList<T> is its typed face.
//
// An element is in at most one list at a time. Elements leaving a list keep their old links.
// The list owns its elements when ShouldDeleteElements says so: it then deletes them on
// Clear and at its destruction.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/Collection.h"
#include "collections/CollectionElement.h"

class TDoubleList;
template <class Node>
class TLinkedChain;

class COMMONTARN_API TListElement : public CollectionElement {
public:
    // The links are null until the element enters a list.
    TListElement() : next(nullptr), prev(nullptr) {}
    // Copies take the source's links: a copied element must enter a list before its links
    // mean anything, and assigning to an element that sits in a list breaks that list.
    TListElement(const TListElement& source) : CollectionElement(source), next(source.next), prev(source.prev) {}
    TListElement& operator=(const TListElement& source)
    {
        next = source.next;
        prev = source.prev;
        return *this;
    }
    ~TListElement() override;

    TListElement* GetNext() const { return next; }
    TListElement* GetPrev() const { return prev; }

private:
    friend class TDoubleList;
    template <class Node>
    friend class TLinkedChain;
    TListElement* next;
    TListElement* prev;
};

class COMMONTARN_API TDoubleList : public TCollection {
public:
    explicit TDoubleList(int shouldDelete = 1);
    // Takes flags and compare mode of the source and clones every element.
    TDoubleList(const TDoubleList& source);
    // Owning: deletes the elements; otherwise lets them go.
    virtual ~TDoubleList();

    // Linking. These give back the element; a null element is not linked and gives null.
    TListElement* Append(TListElement* element);
    TListElement* Add(TListElement* element) { return Append(element); }
    TListElement* Prepend(TListElement* element);
    TListElement* Push(TListElement* element) { return Prepend(element); }
    // A null after means Prepend; a null before means Append.
    TListElement* InsertAfter(TListElement* element, TListElement* after);
    TListElement* InsertBefore(TListElement* element, TListElement* before);
    // Before the first element that the new one compares below, so after all its equals.
    TListElement* InsertInSortedList(TListElement* element);
    // The equal element already in the list, or the new one appended. An owning list deletes
    // a rejected new element, unless it is that very element.
    TListElement* AddUnique(TListElement* element);

    // Unlinking. Detach and Delete accept null and then do nothing.
    TListElement* Detach(TListElement* element);
    TListElement* Pop() { return Detach(first); }
    TListElement* DetachFirst() { return Detach(first); }
    TListElement* DetachLast() { return Detach(last); }
    void Delete(TListElement* element);
    void DeleteFirst() { Delete(first); }
    void DeleteLast() { Delete(last); }
    // Forgets every element without visiting any.
    void DetachAll();
    // Deletes from the front until the list is empty, whatever the ownership flag says.
    void DeleteAll();
    void Clear();
    // The first element equal to the key goes; 1 if there was one.
    int DetachEqual(const TListElement& key);
    int DeleteEqual(const TListElement& key);
    // The new element takes the place of old, which is deleted by an owning list and
    // detached otherwise. A null element only removes old; a null old appends the element.
    TListElement* Replace(TListElement* old, TListElement* element);

    // Reordering.
    void Swap(TListElement* a, TListElement* b);
    // element jumps over everything between it and pivot, and over pivot itself.
    void Rotate(TListElement* element, TListElement* pivot);
    void Reverse();
    // Stable merge sort on the links; allocates nothing. Sets the list sorted flag.
    void Sort();
    void Shuffle(int seed);

    // Splicing. Split moves from and everything after it to tail (which is cleared first);
    // Absorb moves the whole of source before `before` (at the end for null); AbsorbAndSort
    // merges two sorted lists, or inserts each source element in sorted place otherwise.
    void Split(TDoubleList& tail, const TListElement& from);
    void Absorb(TDoubleList& source, TListElement* before);
    void AbsorbAndSort(TDoubleList& source);

    // Copies through CreateClone. A clone that comes back null is left out.
    void Assign(const TDoubleList& source, const void* context);
    TDoubleList& operator=(const TDoubleList& source);
    void Add(const TDoubleList& source, const void* context) { Insert(source, nullptr, context); }
    void Insert(const TDoubleList& source, TListElement* before, const void* context);
    TDoubleList& operator+=(const TDoubleList& source)
    {
        Insert(source, nullptr, nullptr);
        return *this;
    }
    void Append(const TDoubleList& source, const void* context) { Insert(source, nullptr, context); }

    // Access. operator[] and Element walk from first: below 1 gives first, and an index at
    // or past the count gives null.
    TListElement* GetFirst() const { return first; }
    TListElement* GetLast() const { return last; }
    TListElement* GetNext(const TListElement* element) const { return element->next; }
    TListElement* GetPrev(const TListElement* element) const { return element->prev; }
    TListElement* operator[](int index) const { return Element(index); }
    TListElement* Element(int index) const;
    int HasMember(const TListElement* element) const;
    int FindIndexOfMember(const TListElement& element) const;

    // Searches; all hand this list's compare mode to Compare, called on the list element
    // with the key (or the best so far) as argument. Among equals the first wins.
    TListElement* FindEqual(const TListElement& key) const;
    int FindIndexOfEqual(const TListElement& key) const;
    TListElement* FindSmallest() const;
    TListElement* FindGreatest() const;
    TListElement* FindClosestSmaller(const TListElement& key) const;
    TListElement* FindEqualOrSmaller(const TListElement& key) const;
    TListElement* FindClosestGreater(const TListElement& key) const;
    TListElement* FindEqualOrGreater(const TListElement& key) const;

    // The next link is read before the action runs: the action may delete or detach the
    // element it was given.
    void ForEach(void (*action)(CollectionElement&, void*), void* argument);
    TListElement* FindFirstThat(int (*test)(const CollectionElement&, const void*), const void* argument) const;
    TListElement* FindLastThat(int (*test)(const CollectionElement&, const void*), const void* argument) const;
    int IsSorted() const;
    int IsSortedBackwards() const;

    int GetCompareMode() const { return compareMode; }
    void SetCompareMode(int mode) { compareMode = mode; }

protected:
    int32_t compareMode;
    TListElement* first;
    TListElement* last;

private:
    enum SearchKind { eClosestSmaller, eEqualOrSmaller, eClosestGreater, eEqualOrGreater };
    TListElement* FindNearest(const TListElement& key, SearchKind kind) const;
    // The links of this list, for the operations shared with TDoubleListOfPtr.
    TLinkedChain<TListElement> Chain() const;
};

COMMONTARN_API int AreEqual(const TDoubleList& a, const TDoubleList& b, int compareMode);

// The same list with T* in place of TListElement*; T derives from TListElement.
template <class T>
class TList : public TDoubleList {
public:
    explicit TList(int shouldDelete = 1) : TDoubleList(shouldDelete) {}

    T* Append(T* element) { return Cast(TDoubleList::Append(element)); }
    T* Add(T* element) { return Cast(TDoubleList::Append(element)); }
    T* Prepend(T* element) { return Cast(TDoubleList::Prepend(element)); }
    T* Push(T* element) { return Cast(TDoubleList::Prepend(element)); }
    T* InsertAfter(T* element, T* after) { return Cast(TDoubleList::InsertAfter(element, after)); }
    T* InsertBefore(T* element, T* before) { return Cast(TDoubleList::InsertBefore(element, before)); }
    T* InsertInSortedList(T* element) { return Cast(TDoubleList::InsertInSortedList(element)); }
    T* AddUnique(T* element) { return Cast(TDoubleList::AddUnique(element)); }
    T* Detach(T* element) { return Cast(TDoubleList::Detach(element)); }
    T* Pop() { return Cast(TDoubleList::Pop()); }
    T* DetachFirst() { return Cast(TDoubleList::DetachFirst()); }
    T* DetachLast() { return Cast(TDoubleList::DetachLast()); }
    void Delete(T* element) { TDoubleList::Delete(element); }
    T* Replace(T* old, T* element) { return Cast(TDoubleList::Replace(old, element)); }
    void Swap(T* a, T* b) { TDoubleList::Swap(a, b); }
    void Rotate(T* element, T* pivot) { TDoubleList::Rotate(element, pivot); }
    void Absorb(TList& source, T* before) { TDoubleList::Absorb(source, before); }
    void Split(TList& tail, const T& from) { TDoubleList::Split(tail, from); }

    void Add(const TDoubleList& source, const void* context) { TDoubleList::Add(source, context); }
    void Append(const TDoubleList& source, const void* context) { TDoubleList::Append(source, context); }

    T* GetFirst() const { return Cast(first); }
    T* GetLast() const { return Cast(last); }
    T* GetNext(const T* element) const { return Cast(TDoubleList::GetNext(element)); }
    T* GetPrev(const T* element) const { return Cast(TDoubleList::GetPrev(element)); }
    T* operator[](int index) const { return Cast(TDoubleList::Element(index)); }
    T* Element(int index) const { return Cast(TDoubleList::Element(index)); }
    T* FindEqual(const T& key) const { return Cast(TDoubleList::FindEqual(key)); }
    T* FindSmallest() const { return Cast(TDoubleList::FindSmallest()); }
    T* FindGreatest() const { return Cast(TDoubleList::FindGreatest()); }
    T* FindClosestSmaller(const T& key) const { return Cast(TDoubleList::FindClosestSmaller(key)); }
    T* FindEqualOrSmaller(const T& key) const { return Cast(TDoubleList::FindEqualOrSmaller(key)); }
    T* FindClosestGreater(const T& key) const { return Cast(TDoubleList::FindClosestGreater(key)); }
    T* FindEqualOrGreater(const T& key) const { return Cast(TDoubleList::FindEqualOrGreater(key)); }
    T* FindFirstThat(int (*test)(const CollectionElement&, const void*), const void* argument) const
    {
        return Cast(TDoubleList::FindFirstThat(test, argument));
    }
    T* FindLastThat(int (*test)(const CollectionElement&, const void*), const void* argument) const
    {
        return Cast(TDoubleList::FindLastThat(test, argument));
    }

private:
    static T* Cast(TListElement* element) { return static_cast<T*>(element); }
};
