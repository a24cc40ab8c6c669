// TLinkedChain<Node>: the link handling, splicing, merge sort and walks of a doubly linked
// list, shared by TDoubleList (whose nodes are the elements) and TDoubleListOfPtr (whose
// nodes hold the elements). It works on the first, last and count fields of one list, for
// any node type with next and prev links, and allocates nothing. AssignCopies is the Assign
// of both. Not part of the interface.
#pragma once

#include <cstdint>

#include "numeric/Randomizer.h"

template <class Node>
class TLinkedChain {
public:
    // A view of one list's fields: copies act on the same list.
    TLinkedChain(Node*& first, Node*& last, int32_t& count) : first(first), last(last), count(count) {}

    // Links node directly before `before`, or at the end when before is null.
    void LinkBefore(Node* node, Node* before) { Splice(node, node, 1, before); }

    // Links node directly after `after`, or at the front when after is null.
    void LinkAfter(Node* node, Node* after) { LinkBefore(node, after ? after->next : first); }

    // The node keeps its own links.
    void Unlink(Node* node)
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

    // Forgets every node without visiting any.
    void Forget()
    {
        first = last = nullptr;
        count = 0;
    }

    // Moves the whole of source before `before` (to the end for null) by fixing four links;
    // source ends empty.
    void Absorb(TLinkedChain source, Node* before)
    {
        if (!source.first)
            return;
        Splice(source.first, source.last, source.count, before);
        source.Forget();
    }

    // Moves from, a node of this chain, and everything behind it to the empty tail; this
    // chain's part is counted by a walk.
    void Split(TLinkedChain tail, Node* from)
    {
        tail.first = from;
        tail.last = last;
        last = from->prev;
        if (last)
            last->next = nullptr;
        else
            first = nullptr;
        from->prev = nullptr;
        int32_t n = 0;
        for (Node* node = first; node; node = node->next)
            ++n;
        tail.count = count - n;
        count = n;
    }

    void Reverse()
    {
        for (Node* node = first; node;) {
            Node* next = node->next;
            node->next = node->prev;
            node->prev = next;
            node = next;
        }
        Node* oldFirst = first;
        first = last;
        last = oldFirst;
    }

    // Stable merge sort on the links by compare(a, b), negative, 0 or positive. Halves by
    // count in the recursion, which gives the same halves and comparisons as splitting at
    // count / 2 and merging, without the walks to the middle. If compare throws, every node
    // is put back into one chain, so the list stays whole (in some order) with its count.
    template <class Compare>
    void Sort(Compare compare)
    {
        if (count < 2)
            return;
        Node* rest = first;
        last->next = nullptr;
        Node* sorted;
        try {
            sorted = SortRun(&rest, count, compare);
        } catch (...) {
            Relink(rest);
            throw;
        }
        Relink(sorted);
    }

    // With 2 nodes or more: for i from 0 to count - 1, exchange(the node at Get(count - i) of
    // a TRandomizer of seed, w), where w starts at last and then goes on to the node that
    // stood in front of it before the exchange.
    template <class Exchange>
    void Shuffle(int seed, Exchange exchange)
    {
        if (count < 2)
            return;
        TRandomizer randomizer(seed);
        const int32_t n = count;
        Node* w = last;
        for (int32_t i = 0; i < n && w; ++i) {
            Node* node = At(static_cast<int>(randomizer.Get(static_cast<unsigned long>(n - i))));
            Node* next = w->prev;
            exchange(node, w);
            w = next;
        }
    }

    // Merges the sorted source into this sorted chain: a node of source goes before the first
    // node here that compares above it, so equal nodes of this chain stay ahead. An empty
    // chain takes the source whole, without a comparison.
    template <class Compare>
    void Merge(TLinkedChain source, Compare compare)
    {
        Node* here = first;
        Node* there = source.first;
        while (here && there) {
            if (compare(here, there) <= 0) {
                here = here->next;
            } else {
                Node* next = there->next;
                source.Unlink(there);
                LinkBefore(there, here);
                there = next;
            }
        }
        Absorb(source, nullptr);
    }

    // Links, before `before`, what make gives for each node from source on, in order; a null
    // result is left out. The copies gather in a chain of their own that is spliced in at the
    // end, so a list may take copies of itself; if make throws, those made so far are still
    // spliced in.
    template <class Make>
    void InsertCopies(const Node* source, Node* before, Make make)
    {
        Node* copiesFirst = nullptr;
        Node* copiesLast = nullptr;
        int32_t copiesCount = 0;
        TLinkedChain copies(copiesFirst, copiesLast, copiesCount);
        try {
            for (; source; source = source->next)
                if (Node* copy = make(source))
                    copies.LinkBefore(copy, nullptr);
        } catch (...) {
            Absorb(copies, before);
            throw;
        }
        Absorb(copies, before);
    }

    // The node at index from first; below 1 gives first, at or past the count null.
    Node* At(int index) const
    {
        Node* node = first;
        for (int i = 1; i <= index && node; ++i)
            node = node->next;
        return node;
    }

    // The first node, from first on, for which test is true, and its index; null and -1 for
    // none.
    template <class Test>
    Node* FindFirst(Test test, int* index = nullptr) const
    {
        int i = 0;
        for (Node* node = first; node; node = node->next, ++i)
            if (test(node)) {
                if (index)
                    *index = i;
                return node;
            }
        if (index)
            *index = -1;
        return nullptr;
    }

    // The first node, from last back, for which test is true.
    template <class Test>
    Node* FindLast(Test test) const
    {
        for (Node* node = last; node; node = node->prev)
            if (test(node))
                return node;
        return nullptr;
    }

    // The next link is read before the action runs, so the action may unlink or free the
    // node it is given.
    template <class Action>
    void ForEach(Action action) const
    {
        for (Node* node = first; node;) {
            Node* next = node->next;
            action(node);
            node = next;
        }
    }

    // Whether no neighbouring pair compares with the sign given: 1 for ascending order, -1
    // for descending.
    template <class Compare>
    int IsOrdered(Compare compare, int sign) const
    {
        for (const Node* node = first; node && node->next; node = node->next) {
            const int c = compare(node, node->next);
            if (sign > 0 ? c > 0 : c < 0)
                return 0;
        }
        return 1;
    }

    // Two chains of equal count whose nodes compare equal pair by pair.
    template <class Compare>
    static int AreEqual(const Node* a, const Node* b, Compare compare)
    {
        for (; a && b; a = a->next, b = b->next)
            if (compare(a, b) != 0)
                return 0;
        return 1;
    }

private:
    // Links the run of n nodes from head to tail, linked by next among themselves, before
    // `before`, or at the end when before is null.
    void Splice(Node* head, Node* tail, int32_t n, Node* before)
    {
        tail->next = before;
        head->prev = before ? before->prev : last;
        if (head->prev)
            head->prev->next = head;
        else
            first = head;
        if (before)
            before->prev = tail;
        else
            last = tail;
        count += n;
    }

    // Sorts the first n (at least 1) nodes of the chain *rest, linked by next only, leaves the
    // remainder in *rest and gives the sorted chain.
    template <class Compare>
    static Node* SortRun(Node** rest, int32_t n, Compare& compare)
    {
        if (n == 1) {
            Node* node = *rest;
            *rest = node->next;
            node->next = nullptr;
            return node;
        }
        Node* left = SortRun(rest, n / 2, compare);
        Node* right;
        try {
            right = SortRun(rest, n - n / 2, compare);
        } catch (...) {
            *rest = Join(left, *rest);
            throw;
        }
        return MergeRuns(left, right, rest, compare);
    }

    // Stable: a node of a goes first unless it compares above the one of b.
    template <class Compare>
    static Node* MergeRuns(Node* a, Node* b, Node** rest, Compare& compare)
    {
        Node* out = nullptr;
        Node** link = &out;
        try {
            while (a && b) {
                if (compare(a, b) <= 0) {
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

    // Chain a (ended by null) in front of chain b.
    static Node* Join(Node* a, Node* b)
    {
        if (!a)
            return b;
        Node* tail = a;
        while (tail->next)
            tail = tail->next;
        tail->next = b;
        return a;
    }

    // Makes a chain linked by next the whole list: sets the prev links, first and last.
    void Relink(Node* chain)
    {
        first = chain;
        Node* prev = nullptr;
        for (Node* node = chain; node; node = node->next) {
            node->prev = prev;
            prev = node;
        }
        last = prev;
    }

    Node*& first;
    Node*& last;
    int32_t& count;
};

// Assign of both list families: a list assigned to itself stays as it is; any other empties
// by its own Clear and takes copies of the source's elements through its own Add.
template <class List>
void AssignCopies(List& list, const List& source, const void* context)
{
    if (&source == &list)
        return;
    list.Clear();
    list.Add(source, context);
}
