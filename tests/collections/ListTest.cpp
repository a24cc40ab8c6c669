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
        if (++compareCalls, throwAfterCompares >= 0 && throwAfterCompares-- == 0)
            throw std::runtime_error("compare");
        const int o = static_cast<const Item&>(other).value, c = value < o ? -1 : value > o ? 1 : 0;
        return mode == 1 ? -c : c;  // mode 1 orders backwards
    }
    CollectionElement* CreateClone(const void* context) const override { return context ? nullptr : new Item(value, id + 1000); }
    int value, id;
};
typedef std::vector<Item*> Items;

// What differs between the families, so that one test can drive both.
int CompareItems(const void* a, const void* b) { return static_cast<const Item*>(a)->Compare(*static_cast<const Item*>(b), 0); }
void DeleteItem(void* p) { delete static_cast<Item*>(p); }
void* CloneItem(const void* p, const void* context) { return static_cast<const Item*>(p)->CreateClone(context); }
void Equip(TDoubleList&) {}
void Equip(TDoubleListOfPtr& list) { list.SetComparer(CompareItems), list.SetDeleter(DeleteItem), list.SetCloner(CloneItem); }
Item* I(const void* p) { return static_cast<Item*>(const_cast<void*>(p)); }
Item* I(const TListElement* p) { return static_cast<Item*>(const_cast<TListElement*>(p)); }
Item* I(const TListNode* n) { return I(n->element); }
const TListElement& Key(const TDoubleList&, const Item& key) { return key; }
const void* Key(const TDoubleListOfPtr&, const Item& key) { return &key; }
void SplitAt(TDoubleList& list, TDoubleList& tail, Item* from) { list.Split(tail, *from); }
void SplitAt(TDoubleListOfPtr& list, TDoubleListOfPtr& tail, Item* from) { list.Split(tail, *list.FindNode(from)); }
const TListElement* Next(const TListElement* e) { return e->GetNext(); }
const TListElement* Prev(const TListElement* e) { return e->GetPrev(); }
const TListNode* Next(const TListNode* n) { return n->next; }
const TListNode* Prev(const TListNode* n) { return n->prev; }

// The elements in order, after a check of every invariant of the links: ends, both
// directions and the count.
template <class Node>
Items Walk(const Node* first, const Node* last, int count)
{
    Items items;
    EXPECT_TRUE(count ? first && !Prev(first) && !Next(last) : !first && !last) << "ends";
    for (const Node* n = first; n && static_cast<int>(items.size()) <= count; n = Next(n)) {
        items.push_back(I(n));
        EXPECT_TRUE(Next(n) ? Prev(Next(n)) == n : n == last) << "link at " << items.size();
    }
    EXPECT_EQ(count, static_cast<int>(items.size()));
    return items;
}
Items Walk(const TDoubleList& l) { return Walk(l.GetFirst(), l.GetLast(), l.GetCount()); }
Items Walk(const TDoubleListOfPtr& l) { return Walk<TListNode>(l.GetFirstNode(), l.GetLastNode(), l.GetCount()); }

template <class L>
std::vector<int> Ids(const L& list, bool values = false)
{
    std::vector<int> ids;
    for (const Item* e : Walk(list))
        ids.push_back(values ? e->value : e->id);
    return ids;
}

template <class L>
Items Fill(L& list, std::initializer_list<int> values)
{
    for (int v : values)
        list.Append(new Item(v, list.GetCount()));
    return Walk(list);
}

// Random operations on an owning list of either family against a vector of its elements.
template <class L>
void RunAgainstModel(int seed)
{
    constexpr bool links = std::is_same_v<L, TDoubleList>;
    TRandomizer random(seed);
    L list(1), other(1);
    Equip(list), Equip(other);
    Items m;
    bool sortedFlag = false;
    int nextId = 0;
    auto fresh = [&] { return new Item(static_cast<int>(random.Get(12)), nextId++); };
    auto pick = [&] { return m[random.Get(m.size())]; };
    auto at = [&](const Item* e) { return std::find(m.begin(), m.end(), e); };
    auto firstGreater = [&](const Item* e) { return std::find_if(m.begin(), m.end(), [&](auto x) { return e->value < x->value; }); };
    auto firstEqual = [&](int v) { return std::find_if(m.begin(), m.end(), [&](auto x) { return x->value == v; }); };
    for (int step = 0; step < 3000; ++step) {
        const unsigned long blocks = NH_Heap::Default().GetBlocksInUse() + _stringHeap->GetBlocksInUse();
        const unsigned long op = m.empty() ? 0 : m.size() > 40 ? 1 : random.Get(12), how = random.Get(5);
        switch (op) {
        case 0: {  // beside an element (null: at the other end), at an end, or in order
            Item *e = fresh(), *where = m.empty() || random.TrueEvery(4) ? nullptr : pick();
            const auto place = how == 0   ? (where ? at(where) + 1 : m.begin())
                               : how == 1 ? m.begin()
                               : how == 2 ? (where ? at(where) : m.end())
                               : how == 3 ? m.end()
                                          : firstGreater(e);
            how == 0   ? list.InsertAfter(e, where)
            : how == 1 ? list.Prepend(e)
            : how == 2 ? list.InsertBefore(e, where)
            : how == 3 ? list.Append(e)
                       : list.InsertInSortedList(e);
            m.insert(place, e);
            break;
        }
        case 1: {
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
        case 2: {
            Item *a = pick(), *b = pick();
            if (how % 2) {
                list.Swap(a, b);
                std::iter_swap(at(a), at(b));
            } else if (list.Rotate(a, b), a != b) {
                const bool aFirst = at(a) < at(b);
                m.erase(at(a));
                m.insert(aFirst ? at(b) + 1 : at(b), a);
            }
            break;
        }
        case 3: {
            Item *old = pick(), *e = fresh();
            ASSERT_EQ(e, I(list.Replace(old, e)));
            *at(old) = e;
            list.Reverse();
            std::reverse(m.begin(), m.end());
            break;
        }
        case 4:
            list.Sort();
            std::stable_sort(m.begin(), m.end(), [](auto a, auto b) { return a->value < b->value; });
            sortedFlag = true;
            break;
        case 5: {
            Item* from = pick();
            SplitAt(list, other, from);
            const Items rest(at(from), m.end());
            m.erase(at(from), m.end());
            ASSERT_EQ(rest, Walk(other));
            Item* before = m.empty() || how == 4 ? nullptr : pick();
            list.Absorb(other, before);
            m.insert(before ? at(before) : m.end(), rest.begin(), rest.end());
            break;
        }
        case 6: {
            // Both flags set: a merge in which this list's equals stay ahead, whatever the
            // order of either. Otherwise each new element finds its place alone.
            L source(1);
            Equip(source);
            for (int n = static_cast<int>(how); n > 0; --n)
                source.Append(fresh());
            const bool merge = sortedFlag && how % 2;
            if (merge)
                source.Sort();
            Items merged;
            auto t = m.begin();
            for (Item* s : Walk(source)) {
                if (!merge) {
                    m.insert(firstGreater(s), s);
                    continue;
                }
                for (; t != m.end() && (*t)->value <= s->value; ++t)
                    merged.push_back(*t);
                merged.push_back(s);
            }
            if (merge)
                merged.insert(merged.end(), t, m.end()), m = merged;
            list.AbsorbAndSort(source);
            ASSERT_TRUE(source.IsEmpty());
            break;
        }
        case 7: {
            Item* e = fresh();
            Item* expected = firstEqual(e->value) == m.end() ? e : *firstEqual(e->value);
            ASSERT_EQ(expected, I(list.AddUnique(e)));  // an owning list deletes the duplicate
            if (expected == e)
                m.push_back(e);
            break;
        }
        case 8: {
            // The element list swaps elements and goes on from the one that stood before the
            // last one swapped; the pointer list exchanges elements along its nodes.
            const int shuffleSeed = static_cast<int>(how) + step;
            list.Shuffle(shuffleSeed);
            TRandomizer r(shuffleSeed);
            for (size_t i = 0, n = m.size(), w = n - 1; n > 1 && i < n && w != size_t(-1); ++i) {
                const size_t k = r.Get(n - i), before = w - 1;
                std::swap(m[k], m[w]);
                w = links ? (k == before ? w : before) : n - 2 - i;
            }
            break;
        }
        default: {
            const Item key(static_cast<int>(random.Get(13)), -1);
            auto equal = firstEqual(key.value);
            ASSERT_EQ(equal == m.end() ? nullptr : *equal, I(list.FindEqual(Key(list, key))));
            ASSERT_EQ(equal == m.end() ? -1 : equal - m.begin(), list.FindIndexOfEqual(Key(list, key)));
            if constexpr (links) {
                // The nearest values, the first in list order among equals.
                const Item *smaller = nullptr, *greater = nullptr, *least = m[0], *most = m[0];
                for (const Item* x : m) {
                    smaller = x->value < key.value && (!smaller || x->value > smaller->value) ? x : smaller;
                    greater = x->value > key.value && (!greater || x->value < greater->value) ? x : greater;
                    least = x->value < least->value ? x : least;
                    most = x->value > most->value ? x : most;
                }
                const Item* exact = equal == m.end() ? nullptr : *equal;
                ASSERT_TRUE(smaller == I(list.FindClosestSmaller(key)) && greater == I(list.FindClosestGreater(key)));
                ASSERT_EQ(exact ? exact : smaller, I(list.FindEqualOrSmaller(key)));
                ASSERT_EQ(exact ? exact : greater, I(list.FindEqualOrGreater(key)));
                ASSERT_TRUE(least == I(list.FindSmallest()) && most == I(list.FindGreatest()));
            }
            if (equal == m.end()) {
                ASSERT_EQ(0, list.DeleteEqual(Key(list, key)) + list.DetachEqual(Key(list, key)));
            } else if (how < 2) {
                Item* gone = *equal;
                ASSERT_EQ(1, how ? list.DeleteEqual(Key(list, key)) : list.DetachEqual(Key(list, key)));
                m.erase(equal);
                if (!how)
                    delete gone;
            }
        }
        }
        ASSERT_EQ(m, Walk(list)) << "seed " << seed << " step " << step << " op " << op;
        ASSERT_TRUE(other.IsEmpty() && static_cast<int>(m.size()) == liveItems);
        ASSERT_EQ(blocks, NH_Heap::Default().GetBlocksInUse() + _stringHeap->GetBlocksInUse()) << "lists take no heap";
        ASSERT_EQ(std::is_sorted(m.begin(), m.end(), [](auto a, auto b) { return a->value < b->value; }), !!list.IsSorted());
        ASSERT_EQ(std::is_sorted(m.begin(), m.end(), [](auto a, auto b) { return a->value > b->value; }),
                  !!list.IsSortedBackwards());
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
    int SortedFlag() const { return HasListSortedFlag(); }
};
}  // namespace

TEST(DoubleList, EdgeCasesCopiesAndOwnership)
{
    ProbeList list, copy, empty;
    EXPECT_TRUE(!list.Pop() && !list.DetachLast() && !list.Detach(nullptr) && !list.Element(0) && !list.AddUnique(nullptr));
    list.Shuffle(1);
    list.DeleteFirst();
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
    EXPECT_EQ((std::vector<int>{3, 1, 3, 1, 2, 2, 3, 1, 2}), Ids(copy, true));
    EXPECT_TRUE(AreEqual(list, list, 0) && !AreEqual(list, copy, 0));
    copy.Assign(list, nullptr);
    EXPECT_TRUE(AreEqual(list, copy, 0));
    copy.DeleteLast();
    copy.Append(new Item(4, 9));
    EXPECT_FALSE(AreEqual(list, copy, 0));
    copy.Append(new Item(1, 8));
    copy.Sort();
    EXPECT_EQ((std::vector<int>{9, 1000, 1001, 8}), Ids(copy)) << "backwards, equals in order";
    // Into an empty sorted list from a sorted list: no comparison at all.
    empty.Sort();
    const long before = compareCalls;
    empty.AbsorbAndSort(copy);
    EXPECT_TRUE(before == compareCalls && empty.GetCount() == 4 && copy.IsEmpty());
    // A Compare that throws leaves every element in a valid list.
    for (int after : {0, 1, 7, 50, 400}) {
        TRandomizer random(after + 1);
        for (int i = 0; i < 100; ++i)
            copy.Append(new Item(static_cast<int>(random.Get(30)), i));
        throwAfterCompares = after;
        EXPECT_THROW(copy.Sort(), std::runtime_error);
        throwAfterCompares = -1;
        std::vector<int> ids = Ids(copy);
        std::sort(ids.begin(), ids.end());
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(i, ids[i]);
        copy.DeleteAll();
    }

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
    EXPECT_TRUE(list.FindFirstThat(isOne, nullptr) == it[1] && list.FindLastThat(isOne, nullptr)->id == 3);
    list.ForEach([](CollectionElement& e, void* l) { static_cast<TList<Item>*>(l)->Delete(&static_cast<Item&>(e)); }, &list);
    empty.Clear();
    EXPECT_TRUE(list.IsEmpty() && liveItems == 3);
}

TEST(DoubleList, StringItems)
{
    typedef StringItem<TListElement> Text;
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    {
        // Mode 0 compares unsigned bytes, zero bytes included; any other mode ignores case.
        TList<Text> list;
        for (const char* text : {"beta", "Alpha", "alpha", "\xE9t\xE9", "alp"})
            list.Append(new Text(text));
        list.SetCompareMode(0);
        list.Sort();
        std::string order;
        for (Text* t = list.GetFirst(); t; t = list.GetNext(t))
            order += std::string(t->c_str()) + " ";
        EXPECT_EQ("Alpha alp alpha beta \xE9t\xE9 ", order);
        const Text key("ALPHA");
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
    Item stranger(9, 9), twin(9, 10);
    EXPECT_TRUE(!list.Detach(&stranger) && !list.GetNext(&stranger) && !list.Replace(&stranger, it[0]));
    list.Delete(&stranger);
    EXPECT_EQ(4, liveItems);

    // Swap, Replace and Shuffle keep the nodes and exchange elements; Rotate moves an element
    // to a new node.
    Fill(list, {0, 3});
    const TListNode* nodes[] = {list.FindNode(0), list.FindNode(1), list.FindNode(2), list.FindNode(3)};
    list.Swap(list.Element(0), list.Element(3));
    list.Shuffle(42);
    Item* fresh = new Item(5, 5);
    list.Replace(it[1], fresh);
    EXPECT_EQ(liveItems, 4 + 2);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(nodes[i], list.FindNode(i));
    list.Rotate(fresh, list.GetFirst() == fresh ? list.GetLast() : list.GetFirst());
    EXPECT_EQ(nodes + 4, std::find(nodes, nodes + 4, list.FindNode(fresh))) << "the moved element gets a new node";

    // Copies take the function pointers; operator= keeps the destination's; AreEqual asks
    // the first list's comparer only.
    list.Sort();
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
    EXPECT_EQ(std::vector<int>({0, 0, 1, 3, 5, 1, 3, 5, 0, 1, 3, 5}), Ids(copy, true));

    // Without a cloner a non-owning list takes the pointers and an owning one takes nothing;
    // without a comparer elements equal only themselves; without a deleter nothing is deleted.
    plain.Append(&stranger);
    borrowing.Add(plain, nullptr);
    other.Clear();
    other.Add(plain, nullptr);
    EXPECT_TRUE(borrowing.GetFirst() == &stranger && other.IsEmpty());
    plain.Append(&twin);
    EXPECT_TRUE(plain.FindEqual(&twin) == &twin && plain.AddUnique(&stranger) == &stranger);
    plain.Sort();
    plain.ShouldDeleteElements(1);
    plain.DeleteAll();
    EXPECT_EQ(2 + 4 + 12, liveItems);
    // A non-owning list destroyed with elements frees its nodes and leaves the elements; a
    // walk that deletes the element it was given still visits all.
    borrowing.Append(copy.GetFirst());
    auto isOne = [](const void* e, const void*) { return I(e)->value == 1 ? 1 : 0; };
    EXPECT_TRUE(copy.FindFirstThat(isOne, nullptr) == copy.Element(2) && copy.FindLastThat(isOne, nullptr) == copy.Element(9));
    copy.ForEach([](void* e, void* l) { static_cast<TDoubleListOfPtr*>(l)->Delete(e); }, &copy);
    EXPECT_TRUE(copy.IsEmpty() && liveItems == 2 + 4);
}
