#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "NH_Heap.h"
#include "collections/DoubleList.h"
#include "collections/DoubleListOfPtr.h"
#include "collections/StringItem.h"
#include "frame/Frame.h"
#include "numeric/Randomizer.h"

namespace {

int liveItems = 0, throwAfterCompares = -1;  // a Compare throws when this many more have run
long compareCalls = 0;

// Held by both list families: by its links in a TDoubleList, by pointer in a TDoubleListOfPtr.
struct Item : TListElement {
    Item(int v, int i) : value(v), id(i) { ++liveItems; }
    ~Item() override { --liveItems; }
    int Compare(const CollectionElement& other, int mode) const override
    {
        ++compareCalls;
        if (throwAfterCompares >= 0 && throwAfterCompares-- == 0)
            throw std::runtime_error("compare");
        const int o = static_cast<const Item&>(other).value;
        const int c = value < o ? -1 : value > o ? 1 : 0;
        return mode == 1 ? -c : c;  // mode 1 orders backwards
    }
    CollectionElement* CreateClone(const void* context) const override
    {
        return context ? nullptr : new Item(value, id + 1000);
    }
    int value, id;
};

typedef std::vector<Item*> Items;

// The pointer list learns about Items through its three functions.
int CompareItems(const void* a, const void* b)
{
    return static_cast<const Item*>(a)->Compare(*static_cast<const Item*>(b), 0);
}
void DeleteItem(void* p)
{
    delete static_cast<Item*>(p);
}
void* CloneItem(const void* p, const void* context)
{
    return static_cast<const Item*>(p)->CreateClone(context);
}

// What differs between the families, so that one test can drive both.
void Equip(TDoubleList&) {}
void Equip(TDoubleListOfPtr& list)
{
    list.SetComparer(CompareItems);
    list.SetDeleter(DeleteItem);
    list.SetCloner(CloneItem);
}
Item* I(void* p)
{
    return static_cast<Item*>(p);
}
Item* I(TListElement* p)
{
    return static_cast<Item*>(p);
}
const TListElement& Key(const TDoubleList&, const Item& key)
{
    return key;
}
const void* Key(const TDoubleListOfPtr&, const Item& key)
{
    return &key;
}
void SplitAt(TDoubleList& list, TDoubleList& tail, Item* from)
{
    list.Split(tail, *from);
}
void SplitAt(TDoubleListOfPtr& list, TDoubleListOfPtr& tail, Item* from)
{
    list.Split(tail, *list.FindNode(from));
}

// The elements in order, after a check of every invariant of the links: ends, both
// directions and the count.
template <class Node>
Items Walk(const Node* first, const Node* last, int count, Node* (*next)(const Node*), Node* (*prev)(const Node*),
           Item* (*element)(const Node*))
{
    Items items;
    EXPECT_EQ(first == nullptr, last == nullptr);
    EXPECT_EQ(count == 0, first == nullptr);
    if (first && (prev(first) || next(last)))
        ADD_FAILURE() << "open ends";
    for (const Node* n = first; n && static_cast<int>(items.size()) <= count; n = next(n)) {
        items.push_back(element(n));
        if (next(n) ? prev(next(n)) != n : n != last)
            ADD_FAILURE() << "broken link at " << items.size();
    }
    EXPECT_EQ(count, static_cast<int>(items.size()));
    return items;
}
Items Walk(const TDoubleList& l)
{
    return Walk<TListElement>(
        l.GetFirst(), l.GetLast(), l.GetCount(), [](const TListElement* e) { return e->GetNext(); },
        [](const TListElement* e) { return e->GetPrev(); }, [](const TListElement* e) { return I(const_cast<TListElement*>(e)); });
}
Items Walk(const TDoubleListOfPtr& l)
{
    return Walk<TListNode>(
        l.GetFirstNode(), l.GetLastNode(), l.GetCount(), [](const TListNode* n) { return n->next; },
        [](const TListNode* n) { return n->prev; }, [](const TListNode* n) { return I(n->element); });
}

std::vector<int> Ids(const Items& items)
{
    std::vector<int> ids;
    for (const Item* e : items)
        ids.push_back(e->id);
    return ids;
}
template <class L>
std::vector<int> Ids(const L& list)
{
    return Ids(Walk(list));
}

// The list's shuffle as a model: the pointer list exchanges elements along its nodes from
// the last one down; the element list swaps elements and goes on from the one that stood
// before the last one swapped.
void ModelShuffle(Items& m, int seed, bool links)
{
    TRandomizer random(seed);
    const size_t n = m.size();
    Item* w = n > 1 ? m.back() : nullptr;
    for (size_t i = 0; i < n && w; ++i) {
        const size_t r = random.Get(n - i);
        if (!links) {
            std::swap(m[r], m[n - 1 - i]);
            continue;
        }
        const size_t at = std::find(m.begin(), m.end(), w) - m.begin();
        Item* next = at ? m[at - 1] : nullptr;
        std::swap(m[r], m[at]);
        w = next;
    }
}

// Random operations on an owning list of either family against a vector of its elements.
template <class L>
void RunAgainstModel(int seed)
{
    constexpr bool links = std::is_same_v<L, TDoubleList>;
    TRandomizer random(seed);
    L list(1);
    Equip(list);
    Items m;
    bool sortedFlag = false;
    int nextId = 0;
    auto fresh = [&] { return new Item(static_cast<int>(random.Get(12)), nextId++); };
    auto pick = [&] { return m[random.Get(m.size())]; };
    auto at = [&](const Item* e) { return std::find(m.begin(), m.end(), e); };
    auto firstGreater = [&](Items& v, const Item* e) {
        return std::find_if(v.begin(), v.end(), [&](const Item* x) { return e->value < x->value; });
    };
    for (int step = 0; step < 3000; ++step) {
        unsigned long op = m.empty() ? random.Get(3) : m.size() > 40 ? 3 : random.Get(14);
        switch (op) {
        case 0: {
            Item* e = fresh();
            if (random.Get(2)) {
                list.Append(e);
                m.push_back(e);
            } else {
                list.Prepend(e);
                m.insert(m.begin(), e);
            }
            break;
        }
        case 1: {
            Item* e = fresh();
            Item* where = m.empty() || random.TrueEvery(4) ? nullptr : pick();
            if (random.Get(2)) {
                list.InsertAfter(e, where);
                m.insert(where ? at(where) + 1 : m.begin(), e);
            } else {
                list.InsertBefore(e, where);
                m.insert(where ? at(where) : m.end(), e);
            }
            break;
        }
        case 2: {
            Item* e = fresh();
            list.InsertInSortedList(e);
            m.insert(firstGreater(m, e), e);
            break;
        }
        case 3: {
            const unsigned long how = random.Get(5);
            Item* e = how == 0 ? pick() : how % 2 ? m.front() : m.back();
            if (how > 2) {
                how == 3 ? list.DeleteFirst() : list.DeleteLast();  // the owning list deletes it
            } else {
                ASSERT_EQ(e, I(how == 0 ? list.Detach(e) : how == 1 ? list.Pop() : list.DetachLast()));
                delete e;
            }
            m.erase(at(e));
            break;
        }
        case 4: {
            Item *a = pick(), *b = pick();
            list.Swap(a, b);
            std::iter_swap(at(a), at(b));
            break;
        }
        case 5: {
            Item *a = pick(), *b = pick();
            list.Rotate(a, b);
            if (a != b) {
                const bool aFirst = at(a) < at(b);
                m.erase(at(a));
                m.insert(aFirst ? at(b) + 1 : at(b), a);
            }
            break;
        }
        case 6:
            list.Reverse();
            std::reverse(m.begin(), m.end());
            break;
        case 7: {
            Item *old = pick(), *e = fresh();
            ASSERT_EQ(e, I(list.Replace(old, e)));
            *at(old) = e;
            break;
        }
        case 8:
            list.Sort();
            std::stable_sort(m.begin(), m.end(), [](const Item* a, const Item* b) { return a->value < b->value; });
            sortedFlag = true;
            break;
        case 9: {
            L tail(1);
            Equip(tail);
            Item* from = pick();
            SplitAt(list, tail, from);
            Items rest(at(from), m.end());
            m.erase(at(from), m.end());
            ASSERT_EQ(rest, Walk(tail));
            Item* before = m.empty() || random.TrueEvery(3) ? nullptr : pick();
            list.Absorb(tail, before);
            m.insert(before ? at(before) : m.end(), rest.begin(), rest.end());
            ASSERT_TRUE(tail.IsEmpty());
            break;
        }
        case 10: {
            // Both flags set: a merge in which this list's equals stay ahead, whatever the
            // order of either. Otherwise each new element finds its place alone.
            L source(1);
            Equip(source);
            Items added;
            for (int n = static_cast<int>(random.Get(6)); n > 0; --n)
                added.push_back(I(source.Append(fresh())));
            const bool merge = sortedFlag && random.Get(2);
            if (merge) {
                source.Sort();
                added = Walk(source);
                Items merged;
                auto t = m.begin();
                for (Item* s : added) {
                    for (; t != m.end() && (*t)->value <= s->value; ++t)
                        merged.push_back(*t);
                    merged.push_back(s);
                }
                merged.insert(merged.end(), t, m.end());
                m = merged;
            } else {
                for (Item* s : added)
                    m.insert(firstGreater(m, s), s);
            }
            list.AbsorbAndSort(source);
            ASSERT_TRUE(source.IsEmpty() && !source.GetFirst());
            break;
        }
        case 11: {
            Item* e = fresh();
            auto equal = std::find_if(m.begin(), m.end(), [&](const Item* x) { return x->value == e->value; });
            Item* expected = equal == m.end() ? e : *equal;
            ASSERT_EQ(expected, I(list.AddUnique(e)));  // an owning list deletes the duplicate
            if (expected == e)
                m.push_back(e);
            ASSERT_EQ(m.size(), static_cast<size_t>(liveItems));
            break;
        }
        case 12: {
            const int shuffleSeed = static_cast<int>(random.Get(1000)) + 1;
            list.Shuffle(shuffleSeed);
            ModelShuffle(m, shuffleSeed, links);
            break;
        }
        default: {
            const Item key(static_cast<int>(random.Get(13)), -1);
            auto equal = std::find_if(m.begin(), m.end(), [&](const Item* x) { return x->value == key.value; });
            ASSERT_EQ(equal == m.end() ? nullptr : *equal, I(list.FindEqual(Key(list, key))));
            ASSERT_EQ(equal == m.end() ? -1 : equal - m.begin(), list.FindIndexOfEqual(Key(list, key)));
            if constexpr (links) {
                // The nearest values, the first in list order among equals.
                const Item *smaller = nullptr, *greater = nullptr, *least = m[0], *most = m[0];
                for (const Item* x : m) {
                    if (x->value < key.value && (!smaller || x->value > smaller->value))
                        smaller = x;
                    if (x->value > key.value && (!greater || x->value < greater->value))
                        greater = x;
                    least = x->value < least->value ? x : least;
                    most = x->value > most->value ? x : most;
                }
                const Item* exact = equal == m.end() ? nullptr : *equal;
                ASSERT_EQ(smaller, I(list.FindClosestSmaller(key)));
                ASSERT_EQ(exact ? exact : smaller, I(list.FindEqualOrSmaller(key)));
                ASSERT_EQ(greater, I(list.FindClosestGreater(key)));
                ASSERT_EQ(exact ? exact : greater, I(list.FindEqualOrGreater(key)));
                ASSERT_TRUE(least == I(list.FindSmallest()) && most == I(list.FindGreatest()));
            }
            if (equal == m.end()) {
                ASSERT_EQ(0, list.DeleteEqual(Key(list, key)) + list.DetachEqual(Key(list, key)));
            } else if (random.Get(2)) {
                Item* gone = *equal;
                if (random.Get(2)) {
                    ASSERT_EQ(1, list.DeleteEqual(Key(list, key)));
                } else {
                    ASSERT_EQ(1, list.DetachEqual(Key(list, key)));
                    delete gone;
                }
                m.erase(equal);
            }
        }
        }
        ASSERT_EQ(Ids(m), Ids(list)) << "seed " << seed << " step " << step << " op " << op;
        ASSERT_EQ(static_cast<int>(m.size()), liveItems);
        ASSERT_EQ(std::is_sorted(m.begin(), m.end(), [](auto a, auto b) { return a->value < b->value; }),
                  list.IsSorted() != 0);
        ASSERT_EQ(std::is_sorted(m.begin(), m.end(), [](auto a, auto b) { return a->value > b->value; }),
                  list.IsSortedBackwards() != 0);
        if (!m.empty()) {
            ASSERT_EQ(m[m.size() / 2], I(list.Element(static_cast<int>(m.size() / 2))));
            ASSERT_EQ(static_cast<int>(m.size() / 2), list.FindIndexOfMember(Key(list, *m[m.size() / 2])));
        }
    }
}

}  // namespace

TEST(Lists, BothFamiliesAgreeWithAModel)
{
    for (int seed : {1, 2, 3, 4}) {
        RunAgainstModel<TDoubleList>(seed);
        RunAgainstModel<TDoubleListOfPtr>(seed);
    }
    EXPECT_EQ(0, liveItems);
}

namespace {

struct ProbeList : TList<Item> {
    explicit ProbeList(int shouldDelete = 1) : TList<Item>(shouldDelete) {}
    int SortedFlag() const { return HasListSortedFlag(); }
};

template <class L>
Items Fill(L& list, std::initializer_list<int> values)
{
    for (int v : values)
        list.Append(new Item(v, list.GetCount()));
    return Walk(list);
}

template <class L>
std::vector<int> Values(const L& list)
{
    std::vector<int> values;
    for (const Item* e : Walk(list))
        values.push_back(e->value);
    return values;
}

}  // namespace

TEST(DoubleList, EdgeCasesCopiesAndOwnership)
{
    ProbeList list, copy;
    EXPECT_TRUE(!list.Pop() && !list.DetachLast() && !list.Detach(nullptr) && !list.Element(0) && list.IsSorted());
    EXPECT_EQ(nullptr, list.AddUnique(nullptr));
    list.Shuffle(1);
    list.DeleteFirst();
    list.DeleteLast();
    list.Delete(nullptr);
    list.Sort();
    EXPECT_EQ(1, list.SortedFlag()) << "Sort of an empty list sets the flag";
    Items it = Fill(list, {3, 1, 2});
    EXPECT_TRUE(!list.Element(3) && list.Element(-4) == it[0] && !list.Append(nullptr) && list.GetCount() == 3);
    EXPECT_EQ(it[1], list.Replace(it[1], it[1]));
    list.SetCompareMode(1);
    {
        ProbeList clone(list);  // flags, compare mode and clones
        EXPECT_TRUE(clone.SortedFlag() && clone.GetCompareMode() == 1);
        EXPECT_EQ((std::vector<int>{1000, 1001, 1002}), Ids(clone));
    }
    // Assign deletes the old owned elements and keeps the compare mode; operator= takes it.
    Fill(copy, {7, 7});
    copy.Assign(list, nullptr);
    EXPECT_TRUE(liveItems == 6 && copy.GetCompareMode() == 0);
    copy = list;
    copy = copy;
    EXPECT_TRUE(liveItems == 6 && copy.GetCompareMode() == 1);
    // Copies of itself, before an element of itself; a clone that gives null is left out.
    copy.Insert(copy, copy.GetLast(), nullptr);
    copy += list;
    copy.Append(list, &liveItems);
    EXPECT_EQ((std::vector<int>{3, 1, 3, 1, 2, 2, 3, 1, 2}), Values(copy));
    EXPECT_TRUE(AreEqual(list, list, 0) && !AreEqual(list, copy, 0));
    copy.Assign(list, nullptr);
    EXPECT_TRUE(AreEqual(list, copy, 0));
    copy.DeleteLast();
    copy.Append(new Item(4, 9));
    EXPECT_FALSE(AreEqual(list, copy, 0));
    copy.Append(new Item(1, 8));
    copy.Sort();
    EXPECT_EQ((std::vector<int>{9, 1000, 1001, 8}), Ids(copy)) << "backwards, equals in order";
    // A Compare that throws leaves every element in a valid list.
    for (int after : {0, 1, 7, 50, 400}) {
        TList<Item> victim;
        TRandomizer random(after + 1);
        for (int i = 0; i < 100; ++i)
            victim.Append(new Item(static_cast<int>(random.Get(30)), i));
        throwAfterCompares = after;
        EXPECT_THROW(victim.Sort(), std::runtime_error);
        throwAfterCompares = -1;
        std::vector<int> ids = Ids(victim), all(100);
        std::sort(ids.begin(), ids.end());
        for (int i = 0; i < 100; ++i)
            all[i] = i;
        EXPECT_EQ(all, ids);
    }
    // Into an empty sorted list from a sorted list: no comparison at all.
    ProbeList empty;
    empty.Sort();
    copy.Sort();
    const long before = compareCalls;
    empty.AbsorbAndSort(copy);
    EXPECT_TRUE(before == compareCalls && empty.GetCount() == 4 && copy.IsEmpty());

    // A non-owning list deletes nothing: not on Replace, Clear, Assign or at its end.
    Item a(1, 0), b(2, 1), c(3, 2);
    {
        TList<Item> borrowing(0);
        borrowing.Append(&a);
        borrowing.Append(&b);
        borrowing.Replace(&a, &c);
        EXPECT_EQ((std::vector<int>{2, 1}), Ids(borrowing));
        EXPECT_EQ(1, borrowing.DetachEqual(Item(3, 0)));
        borrowing.Clear();
        borrowing.Append(&a);
        borrowing.Assign(list, nullptr);
        EXPECT_EQ(liveItems, 3 + 4 + 3 + 3);
        borrowing.DeleteAll();  // whatever the flag says
        borrowing.Append(&b);
    }
    EXPECT_EQ(liveItems, 3 + 4 + 3);
    // A walk that deletes the element it was given still visits all.
    auto isOne = [](const CollectionElement& e, const void*) { return static_cast<const Item&>(e).value == 1 ? 1 : 0; };
    Fill(list, {1, 5});
    EXPECT_EQ(it[1], list.FindFirstThat(isOne, nullptr));
    EXPECT_EQ(3, list.FindLastThat(isOne, nullptr)->id);
    list.ForEach([](CollectionElement& e, void* l) { static_cast<TList<Item>*>(l)->Delete(&static_cast<Item&>(e)); }, &list);
    empty.Clear();
    EXPECT_TRUE(list.IsEmpty() && liveItems == 3);
}

TEST(DoubleList, SortSplitAbsorbAllocateNothingAndStringItems)
{
    typedef StringItem<TListElement> Text;
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    {
        TList<Text> list, other;
        TRandomizer random(3);
        for (int i = 0; i < 2000; ++i) {
            String s;
            random.SetString(s, 0, 6, "abcXYZ");
            (i % 2 ? list : other).Append(new Text(s));
        }
        const unsigned long stringBytes = _stringHeap->GetBytesInUse(), used = NH_Heap::Default().GetBlocksInUse();
        list.Sort();
        other.Sort();
        list.AbsorbAndSort(other);
        list.Split(other, *list.Element(777));
        list.Absorb(other, list.Element(10));
        list.SetCompareMode(1);
        list.Shuffle(4);
        list.Sort();
        EXPECT_TRUE(list.IsSorted() && list.GetCount() == 2000);
        EXPECT_EQ(stringBytes, _stringHeap->GetBytesInUse());
        EXPECT_EQ(used, NH_Heap::Default().GetBlocksInUse());

        // Mode 0 compares unsigned bytes, zero bytes included; any other mode ignores case.
        list.DeleteAll();
        for (const char* text : {"beta", "Alpha", "alpha", "\xE9t\xE9", "alp"})
            list.Append(new Text(text));
        list.SetCompareMode(0);
        list.Sort();
        std::string order;
        for (Text* t = list.GetFirst(); t; t = list.GetNext(t))
            order += std::string(t->c_str()) + " ";
        EXPECT_EQ("Alpha alp alpha beta \xE9t\xE9 ", order);
        Text key("ALPHA");
        EXPECT_EQ(nullptr, list.FindEqual(key));
        list.SetCompareMode(1);
        EXPECT_STREQ("Alpha", list.FindEqual(key)->c_str());
        EXPECT_EQ(1, Text("b").Compare(Text("a"), 0));
        EXPECT_EQ(-1, Text(String("a\0b", 0, 0, 3)).Compare(Text(String("a\0c", 0, 0, 3)), 0));
        // Clones share the text; with no memory for an item, null goes on.
        Text* clone = static_cast<Text*>(list.GetFirst()->CreateClone(nullptr));
        EXPECT_TRUE(clone->c_str() == list.GetFirst()->c_str() && _stringHeap->Owns(clone));
        delete clone;
        _stringHeap->FailAllocation(1);
        EXPECT_EQ(nullptr, new Text("none"));
    }
    EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse());
}

TEST(DoubleListOfPtr, NodesDuplicatesAndFunctions)
{
    TDoubleListOfPtr list, other, borrowing(0), plain(0);
    Equip(list);
    EXPECT_TRUE(!list.Pop() && !list.DetachLast() && !list.Detach(nullptr) && !list.Get(TListPtrIterator()));
    list.Shuffle(1);
    list.Delete(nullptr);
    list.DeleteFirst();
    // The same pointer twice: operations by pointer act on its first node, DetachLast on the
    // last node's pointer, so the earlier node goes; a held null is an element like any other.
    Items it = Fill(list, {1, 2});
    list.Append(it[0]);
    TListNode* lastNode = list.GetLastNode();
    EXPECT_TRUE(list.Detach(it[0]) == it[0] && list.GetLastNode() == lastNode);
    EXPECT_TRUE(list.Get(TListPtrIterator(lastNode)) == it[0] && list.Replace(it[0], it[0]) == it[0]);
    list.Prepend(it[0]);
    EXPECT_TRUE(list.DetachLast() == it[0] && list.GetLast() == it[0] && list.GetFirst() == it[1]);
    list.Append(nullptr);
    list.Prepend(nullptr);
    EXPECT_TRUE(list.Pop() == nullptr && list.DetachLast() == nullptr && list.GetCount() == 2);
    Item stranger(9, 9);
    EXPECT_TRUE(!list.Detach(&stranger) && !list.GetNext(&stranger) && !list.Replace(&stranger, it[0]));
    list.Delete(&stranger);
    EXPECT_EQ(3, liveItems);

    // Swap, Replace and Shuffle keep the nodes and exchange elements; Rotate moves an element
    // to a new node; Sort relinks the nodes.
    Fill(list, {0, 3});
    std::vector<TListNode*> nodes;
    for (int i = 0; i < 4; ++i)
        nodes.push_back(list.FindNode(i));
    list.Swap(list.Element(0), list.Element(3));
    list.Shuffle(42);
    Item* fresh = new Item(5, 5);
    list.Replace(it[1], fresh);
    EXPECT_EQ(liveItems, 4 + 1);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(nodes[i], list.FindNode(i));
    TListNode* moved = list.FindNode(fresh);
    list.Rotate(fresh, list.GetFirst() == fresh ? list.GetLast() : list.GetFirst());
    EXPECT_NE(moved, list.FindNode(fresh));
    Items order = Walk(list);
    std::stable_sort(order.begin(), order.end(), [](const Item* a, const Item* b) { return a->value < b->value; });
    nodes.clear();
    for (Item* e : order)
        nodes.push_back(list.FindNode(e));
    list.Sort();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(nodes[i], list.FindNode(i));
    EXPECT_EQ(std::vector<int>({0, 1, 3, 5}), Values(list));

    // Copies take the function pointers; operator= keeps the destination's; AreEqual asks
    // the first list's comparer only.
    TDoubleListOfPtr copy(list);
    EXPECT_TRUE(copy.GetDeleter() == DeleteItem && copy.GetCloner() == CloneItem && AreEqual(copy, list));
    static int secondComparer = 0;
    other.SetComparer([](const void* a, const void* b) { return ++secondComparer, CompareItems(a, b); });
    other.SetDeleter(DeleteItem);
    other = list;
    other = other;
    EXPECT_TRUE(other.GetCloner() == nullptr && other.GetCount() == 4);
    EXPECT_TRUE(AreEqual(other, list) && secondComparer == 4 && AreEqual(list, list));
    other.DeleteLast();
    EXPECT_FALSE(AreEqual(other, list));
    // Copies of itself, before one of its own elements.
    copy.Insert(copy, copy.Element(1), nullptr);
    copy += list;
    EXPECT_EQ(std::vector<int>({0, 0, 1, 3, 5, 1, 3, 5, 0, 1, 3, 5}), Values(copy));

    // Without a cloner a non-owning list takes the pointers and an owning one takes nothing;
    // without a comparer elements equal only themselves; without a deleter nothing is deleted.
    plain.Append(&stranger);
    borrowing.Add(plain, nullptr);
    other.Clear();
    other.Add(plain, nullptr);
    EXPECT_TRUE(borrowing.GetFirst() == &stranger && other.IsEmpty());
    Item twin(9, 10);
    plain.Append(&twin);
    EXPECT_TRUE(plain.FindEqual(&twin) == &twin && plain.AddUnique(&stranger) == &stranger);
    plain.Sort();
    plain.ShouldDeleteElements(1);
    plain.DeleteAll();
    EXPECT_EQ(2 + 4 + 12, liveItems);
    // A non-owning list destroyed with elements frees its nodes and leaves the elements.
    for (void* e : {copy.GetFirst(), copy.GetLast()})
        borrowing.Append(e);
    // A walk that deletes the element it was given still visits all.
    auto isOne = [](const void* e, const void*) { return static_cast<const Item*>(e)->value == 1 ? 1 : 0; };
    EXPECT_EQ(copy.Element(2), copy.FindFirstThat(isOne, nullptr));
    EXPECT_EQ(copy.Element(9), copy.FindLastThat(isOne, nullptr));
    copy.ForEach([](void* e, void* l) { static_cast<TDoubleListOfPtr*>(l)->Delete(e); }, &copy);
    EXPECT_TRUE(copy.IsEmpty() && liveItems == 2 + 4);
}
