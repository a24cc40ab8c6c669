// TDoubleListOfPtr: a doubly linked list of bare pointers held in nodes that the list
// allocates itself, for objects that cannot carry links. How the pointers are compared,
// deleted and cloned comes from three function pointers of CollectionOfPtr.
//
// The same pointer may stand in the list more than once; every operation that names an
// element by pointer acts on the first node (from the front) that holds it.
#pragma once

#include "CommonTarnExport.h"
#include "collections/Collection.h"

class COMMONTARN_API CollectionOfPtr : public TCollection {
public:
    typedef void (*Deleter)(void* element);
    // Negative, 0 or positive.
    typedef int (*Comparer)(const void* a, const void* b);
    typedef void* (*Cloner)(const void* element, const void* context);

    ~CollectionOfPtr() override;

    void SetDeleter(Deleter d) { deleter = d; }
    void SetComparer(Comparer c) { comparer = c; }
    void SetCloner(Cloner c) { cloner = c; }
    Deleter GetDeleter() const { return deleter; }
    Comparer GetComparer() const { return comparer; }
    Cloner GetCloner() const { return cloner; }

    // Takes flags and the three function pointers; the count becomes 0.
    CollectionOfPtr& operator=(const CollectionOfPtr& source);

protected:
    explicit CollectionOfPtr(int shouldDelete) : TCollection(shouldDelete), deleter(nullptr), comparer(nullptr), cloner(nullptr) {}
    CollectionOfPtr(const CollectionOfPtr& source)
        : TCollection(source), deleter(source.deleter), comparer(source.comparer), cloner(source.cloner)
    {
    }

    // Without a deleter nothing is deleted: the element is let go instead.
    void DeleteElement(void* element) const
    {
        if (deleter)
            deleter(element);
    }
    // Without a comparer, elements compare by address: equal only to themselves.
    int CompareElements(const void* a, const void* b) const
    {
        if (comparer)
            return comparer(a, b);
        return a < b ? -1 : b < a ? 1 : 0;
    }

    Deleter deleter;
    Comparer comparer;
    Cloner cloner;
};

template <class Node>
class TLinkedChain;

struct TListNode {
    TListNode* next;
    TListNode* prev;
    void* element;
};

// A position in a TDoubleListOfPtr: one node, or none.
class TListPtrIterator {
public:
    explicit TListPtrIterator(TListNode* node = nullptr) : node(node) {}
    TListNode* GetNode() const { return node; }
    int IsValid() const { return node != nullptr; }
    TListPtrIterator& operator++()
    {
        node = node->next;
        return *this;
    }
    TListPtrIterator& operator--()
    {
        node = node->prev;
        return *this;
    }

private:
    TListNode* node;
};

class COMMONTARN_API TDoubleListOfPtr : public CollectionOfPtr {
public:
    explicit TDoubleListOfPtr(int shouldDelete = 1);
    // Flags and function pointers of the source, and clones of its elements.
    TDoubleListOfPtr(const TDoubleListOfPtr& source);
    // Frees every node; an owning list deletes the elements first.
    ~TDoubleListOfPtr() override;

    // Insertion allocates a node with new, whose failure passes on. Where an after or before
    // pointer is not in the list, it is taken as null: after means Prepend, before Append.
    void* Append(void* element);
    void* Add(void* element) { return Append(element); }
    void* Prepend(void* element);
    void* Push(void* element) { return Prepend(element); }
    void* InsertAfter(void* element, const void* after);
    void* InsertBefore(void* element, const void* before);
    void* InsertInSortedList(void* element);
    // The equal element already held, or the new one appended. An owning list deletes a
    // rejected new element, unless it is the very pointer already held.
    void* AddUnique(void* element);

    // Removal frees the node. A pointer that is not in the list (null among them) changes
    // nothing: Detach gives null, Delete deletes nothing.
    void* Detach(const void* element);
    // Pop takes the first node, whatever it holds; DetachLast and DeleteLast go by the last
    // node's pointer, so with a duplicate the earlier node goes.
    void* Pop();
    void* DetachFirst() { return Pop(); }
    void* DetachLast();
    void Delete(const void* element);
    void DeleteFirst();
    void DeleteLast();
    void DetachAll();
    void DeleteAll();
    void Clear();
    int DetachEqual(const void* key);
    int DeleteEqual(const void* key);
    // The node of old takes the new pointer; an owning list deletes old. Gives the new
    // pointer, or null when old is not in the list.
    void* Replace(const void* old, void* element);

    // Reordering. Swap exchanges the elements of two nodes; Rotate moves element over
    // everything between it and pivot, and over pivot, in a new node.
    void Swap(const void* a, const void* b);
    void Rotate(const void* element, const void* pivot);
    void Reverse();
    // Stable merge sort that relinks nodes and allocates nothing.
    void Sort();
    void Shuffle(int seed);

    void Split(TDoubleListOfPtr& tail, TListNode& from);
    void Absorb(TDoubleListOfPtr& source, const void* before);
    void AbsorbAndSort(TDoubleListOfPtr& source);

    // Copies call the cloner of the source list. Without a cloner, the pointers themselves
    // are taken by a non-owning list and nothing is taken by an owning one.
    void Assign(const TDoubleListOfPtr& source, const void* context);
    TDoubleListOfPtr& operator=(const TDoubleListOfPtr& source);
    void Add(const TDoubleListOfPtr& source, const void* context) { Insert(source, nullptr, context); }
    void Insert(const TDoubleListOfPtr& source, const void* before, const void* context);
    TDoubleListOfPtr& operator+=(const TDoubleListOfPtr& source)
    {
        Insert(source, nullptr, nullptr);
        return *this;
    }
    void Append(const TDoubleListOfPtr& source, const void* context) { Insert(source, nullptr, context); }

    // Access; element results are null on an empty list and for pointers not held.
    void* GetFirst() const { return first ? first->element : nullptr; }
    void* GetLast() const { return last ? last->element : nullptr; }
    void* GetNext(const void* element) const;
    void* GetPrev(const void* element) const;
    // Walks from first: below 1 gives first, at or past the count gives null.
    void* operator[](int index) const { return Element(index); }
    void* Element(int index) const;
    TListNode* FindNode(int index) const;
    TListNode* FindNode(const void* element) const;
    TListNode* GetFirstNode() const { return first; }
    TListNode* GetLastNode() const { return last; }
    // The element of the iterator's node; null for an iterator without a node.
    void* Get(const TListPtrIterator& position) const { return position.IsValid() ? position.GetNode()->element : nullptr; }
    int HasMember(const void* element) const { return FindNode(element) != nullptr; }
    int FindIndexOfMember(const void* element) const;
    void* FindEqual(const void* key) const;
    int FindIndexOfEqual(const void* key) const;

    void ForEach(void (*action)(void* element, void* argument), void* argument);
    void* FindFirstThat(int (*test)(const void* element, const void* argument), const void* argument) const;
    void* FindLastThat(int (*test)(const void* element, const void* argument), const void* argument) const;
    int IsSorted() const;
    int IsSortedBackwards() const;

private:
    TListNode* NewNode(void* element);
    TListNode* FindEqualNode(const void* key) const;
    // Unlinks a node and lowers the count, without freeing it.
    void DetachNode(TListNode* node);
    // DetachNode, then frees the node and gives its element.
    void* TakeNode(TListNode* node);
    void InsertNodeInSortedList(TListNode* node);
    // The links of this list, for the operations shared with TDoubleList.
    TLinkedChain<TListNode> Chain() const;

    TListNode* first;
    TListNode* last;
};

// Lists of equal length are compared with the first list's comparer.
COMMONTARN_API int AreEqual(const TDoubleListOfPtr& a, const TDoubleListOfPtr& b);
