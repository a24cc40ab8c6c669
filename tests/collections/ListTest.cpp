#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <stdexcept>
#include <vector>

#include "NH_Heap.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "frame/Frame.h"
#include "numeric/Randomizer.h"

namespace {

int liveItems = 0;
long compareCalls = 0;
int throwAfterCompares = -1;  // a Compare throws when this many more have run; -1: never

struct Item : TListElement {
    explicit Item(int v, int i = 0) : value(v), id(i) { ++liveItems; }
    Item(const Item& other) : TListElement(other), value(other.value), id(other.id + 1000) { ++liveItems; }
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
        return context ? nullptr : new Item(*this);
    }
    int value;
    int id;
};

struct ProbeList : TList<Item> {
    explicit ProbeList(int shouldDelete = 1) : TList<Item>(shouldDelete) {}
    int SortedFlag() const { return HasListSortedFlag(); }
};

// Every invariant of the links: ends, both directions and the count.
void ExpectValid(const TDoubleList& list)
{
    const TListElement* first = list.GetFirst();
    const TListElement* last = list.GetLast();
    ASSERT_EQ(first == nullptr, last == nullptr);
    ASSERT_EQ(list.GetCount() == 0, first == nullptr);
    if (!first)
        return;
    ASSERT_EQ(nullptr, first->GetPrev());
    ASSERT_EQ(nullptr, last->GetNext());
    int n = 1;
    const TListElement* e = first;
    for (; e->GetNext(); e = e->GetNext(), ++n) {
        ASSERT_LE(n, list.GetCount());
        ASSERT_EQ(e, e->GetNext()->GetPrev());
    }
    ASSERT_EQ(last, e);
    ASSERT_EQ(list.GetCount(), n);
}

std::vector<int> Ids(const TList<Item>& list)
{
    std::vector<int> ids;
    for (Item* e = list.GetFirst(); e; e = list.GetNext(e))
        ids.push_back(e->id);
    return ids;
}

std::vector<int> Values(const TList<Item>& list)
{
    std::vector<int> values;
    for (Item* e = list.GetFirst(); e; e = list.GetNext(e))
        values.push_back(e->value);
    return values;
}

// Items with ids 0..n-1 and the given values.
std::vector<Item*> Fill(TList<Item>& list, const std::vector<int>& values)
{
    std::vector<Item*> items;
    for (size_t i = 0; i < values.size(); ++i)
        items.push_back(list.Append(new Item(values[i], static_cast<int>(i))));
    return items;
}

}  // namespace

TEST(DoubleList, EmptyListAndNullArguments)
{
    ProbeList list;
    EXPECT_EQ(nullptr, list.Pop());
    EXPECT_EQ(nullptr, list.DetachLast());
    list.DeleteFirst();
    list.DeleteLast();
    EXPECT_EQ(nullptr, list.Detach(nullptr));
    list.Delete(nullptr);
    EXPECT_EQ(nullptr, list.Element(0));
    EXPECT_EQ(nullptr, list.FindSmallest());
    EXPECT_EQ(1, list.IsSorted());
    EXPECT_EQ(0, list.SortedFlag());
    list.Sort();
    EXPECT_EQ(1, list.SortedFlag()) << "Sort of an empty list sets the flag";
    ExpectValid(list);

    Fill(list, {1, 2, 3});
    EXPECT_EQ(nullptr, list.Element(3)) << "an index past the end gives null";
    EXPECT_EQ(0, list.Element(-4)->id) << "below 1 gives first";
    EXPECT_EQ(2, list[2]->id);
    EXPECT_EQ(nullptr, list.Append(nullptr));
    EXPECT_EQ(3, list.GetCount());
    list.Append(new Item(0));  // out of order after a sort: the flag stays
    EXPECT_EQ(1, list.SortedFlag());
    ProbeList copy(list);
    EXPECT_EQ(1, copy.SortedFlag()) << "the copy takes the flags";
}

TEST(DoubleList, LinkingReplaceAndOwnership)
{
    {
        TList<Item> list;
        std::vector<Item*> it = Fill(list, {0, 1, 2});
        list.Prepend(new Item(9, 9));
        list.InsertAfter(new Item(8, 8), nullptr);   // null after: front
        list.InsertBefore(new Item(7, 7), nullptr);  // null before: end
        list.InsertAfter(new Item(6, 6), it[1]);
        list.InsertBefore(new Item(5, 5), it[0]);
        EXPECT_EQ((std::vector<int>{8, 9, 5, 0, 1, 6, 2, 7}), Ids(list));
        ExpectValid(list);

        Item* replacement = new Item(4, 4);
        EXPECT_EQ(replacement, list.Replace(list.GetFirst(), replacement));
        EXPECT_EQ(replacement, list.GetFirst());
        EXPECT_EQ(replacement, list.Replace(replacement, replacement));
        list.Replace(list.GetLast(), new Item(3, 3));
        EXPECT_EQ((std::vector<int>{4, 9, 5, 0, 1, 6, 2, 3}), Ids(list));
        EXPECT_EQ(8, liveItems) << "an owning list deletes what it replaces";
        ExpectValid(list);

        EXPECT_EQ(it[1], list.Detach(it[1]));
        delete it[1];
        list.Delete(list.GetLast());
        EXPECT_EQ(it[2], list.GetLast());
        Item key(6);
        EXPECT_EQ(1, list.DeleteEqual(key));
        EXPECT_EQ(0, list.DeleteEqual(key));
        EXPECT_EQ((std::vector<int>{4, 9, 5, 0, 2}), Ids(list));
        ExpectValid(list);
    }
    EXPECT_EQ(0, liveItems) << "an owning list deletes all it holds";

    std::vector<Item> storage;
    storage.reserve(5);
    for (int i = 0; i < 5; ++i)
        storage.emplace_back(i, i);
    {
        TList<Item> list(0);
        for (Item& item : storage)
            list.Append(&item);
        Item stranger(2, 99);
        list.Replace(&storage[0], &stranger);
        list.Detach(&stranger);
        EXPECT_EQ(1, list.DetachEqual(Item(3)));
        list.Clear();
        EXPECT_EQ(0, list.GetCount());
        for (Item& item : storage)
            list.Append(&item);
    }
    EXPECT_EQ(5, liveItems) << "a non-owning list deletes nothing, also at its end";
}

TEST(DoubleList, AddUniqueOwnsOrLeaves)
{
    TList<Item> owning;
    Item* a = owning.Append(new Item(1, 1));
    EXPECT_EQ(a, owning.AddUnique(new Item(1, 2)));
    EXPECT_EQ(1, liveItems) << "the rejected duplicate is deleted";
    EXPECT_EQ(a, owning.AddUnique(a)) << "adding the element itself deletes nothing";
    EXPECT_EQ(1, owning.GetCount());
    Item* b = new Item(2, 2);
    EXPECT_EQ(b, owning.AddUnique(b));
    EXPECT_EQ(nullptr, owning.AddUnique(nullptr));

    Item held(1, 3), outside(1, 4);
    TList<Item> borrowing(0);
    borrowing.Append(&held);
    EXPECT_EQ(&held, borrowing.AddUnique(&outside));
    EXPECT_EQ(4, liveItems) << "a non-owning list leaves the duplicate alone";
    EXPECT_EQ(1, borrowing.GetCount());
}

TEST(DoubleList, SwapRotateReverseAgainstModel)
{
    TList<Item> two;
    std::vector<Item*> p = Fill(two, {0, 1});
    two.Swap(p[0], p[1]);
    EXPECT_EQ((std::vector<int>{1, 0}), Ids(two));
    EXPECT_EQ(p[1], two.GetFirst());
    EXPECT_EQ(p[0], two.GetLast());
    EXPECT_EQ(p[0], p[1]->GetNext());
    EXPECT_EQ(p[1], p[0]->GetPrev());
    ExpectValid(two);

    TList<Item> three;
    std::vector<Item*> abx = Fill(three, {0, 1, 2});  // a, x, b
    three.Rotate(abx[0], abx[2]);
    EXPECT_EQ((std::vector<int>{1, 2, 0}), Ids(three));
    three.Rotate(abx[0], abx[1]);  // pivot x comes first: a goes before it
    EXPECT_EQ((std::vector<int>{0, 1, 2}), Ids(three));
    three.Rotate(abx[2], abx[0]);
    EXPECT_EQ((std::vector<int>{2, 0, 1}), Ids(three));
    Item stranger(5);
    three.Rotate(&stranger, &stranger);
    EXPECT_EQ((std::vector<int>{2, 0, 1}), Ids(three));

    // Random swaps, rotations and reversals against a vector of ids.
    TRandomizer random(77);
    TList<Item> list;
    std::vector<Item*> items;
    std::vector<int> model;
    for (int i = 0; i < 9; ++i) {
        items.push_back(list.Append(new Item(i, i)));
        model.push_back(i);
    }
    for (int step = 0; step < 3000; ++step) {
        Item* a = items[random.Get(9)];
        Item* b = items[random.Get(9)];
        auto ia = std::find(model.begin(), model.end(), a->id);
        auto ib = std::find(model.begin(), model.end(), b->id);
        switch (random.Get(3)) {
        case 0:
            list.Swap(a, b);
            std::iter_swap(ia, ib);
            break;
        case 1:
            list.Rotate(a, b);
            if (a != b) {
                const bool aFirst = ia < ib;
                model.erase(ia);
                auto pivot = std::find(model.begin(), model.end(), b->id);
                model.insert(aFirst ? pivot + 1 : pivot, a->id);
            }
            break;
        default:
            list.Reverse();
            std::reverse(model.begin(), model.end());
        }
        ASSERT_EQ(model, Ids(list)) << "step " << step;
        ExpectValid(list);
    }
}

// Every order search, on the list as built and after Sort, and Sort itself, on random lists
// against std::stable_sort, std::lower_bound and std::upper_bound.
TEST(DoubleList, SortAndSearchesMatchStandardOracles)
{
    TRandomizer random(20240601);
    auto idOf = [](const Item* e) { return e ? e->id : -1; };
    for (int round = 0; round < 300; ++round) {
        const int n = round < 40 ? round : static_cast<int>(random.Get(300));
        const int range = 1 + static_cast<int>(random.Get(round % 2 ? 10 : 1000));
        std::vector<int> values;
        for (int i = 0; i < n; ++i)
            values.push_back(static_cast<int>(random.Get(range)));
        ProbeList list;
        Fill(list, values);
        std::vector<int> sortedValues = values;
        std::stable_sort(sortedValues.begin(), sortedValues.end());

        for (int pass = 0; pass < 2; ++pass) {
            // Among equal values the first in list order wins.
            std::map<int, int> firstId;
            for (Item* e = list.GetFirst(); e; e = list.GetNext(e))
                firstId.emplace(e->value, e->id);
            if (n > 0) {
                EXPECT_EQ(firstId[sortedValues.front()], idOf(list.FindSmallest()));
                EXPECT_EQ(firstId[sortedValues.back()], idOf(list.FindGreatest()));
            }
            std::vector<int> keys = {-1, 0, range - 1, range};
            for (int k = 0; k < 30; ++k)
                keys.push_back(static_cast<int>(random.Get(range + 1)));
            for (int key : keys) {
                Item k(key);
                auto lo = std::lower_bound(sortedValues.begin(), sortedValues.end(), key);
                auto hi = std::upper_bound(sortedValues.begin(), sortedValues.end(), key);
                const bool found = lo != hi;
                const int equal = found ? firstId[key] : -1;
                const int smaller = lo == sortedValues.begin() ? -1 : firstId[*(lo - 1)];
                const int greater = hi == sortedValues.end() ? -1 : firstId[*hi];
                ASSERT_EQ(equal, idOf(list.FindEqual(k))) << "round " << round << " key " << key;
                ASSERT_EQ(found ? list.FindIndexOfMember(*list.FindEqual(k)) : -1, list.FindIndexOfEqual(k));
                ASSERT_EQ(smaller, idOf(list.FindClosestSmaller(k))) << "round " << round << " key " << key;
                ASSERT_EQ(found ? equal : smaller, idOf(list.FindEqualOrSmaller(k)));
                ASSERT_EQ(greater, idOf(list.FindClosestGreater(k))) << "round " << round << " key " << key;
                ASSERT_EQ(found ? equal : greater, idOf(list.FindEqualOrGreater(k)));
            }
            if (pass == 0) {
                std::vector<Item*> expected;
                for (Item* e = list.GetFirst(); e; e = list.GetNext(e))
                    expected.push_back(e);
                std::stable_sort(expected.begin(), expected.end(),
                                 [](const Item* a, const Item* b) { return a->value < b->value; });
                list.Sort();
                std::vector<Item*> got;
                for (Item* e = list.GetFirst(); e; e = list.GetNext(e))
                    got.push_back(e);
                ASSERT_EQ(expected, got) << "round " << round;
                ExpectValid(list);
                EXPECT_TRUE(list.IsSorted());
                EXPECT_EQ(1, list.SortedFlag());
                EXPECT_EQ(n < 2 || sortedValues.front() == sortedValues.back(), list.IsSortedBackwards() != 0);
            }
        }
    }
    EXPECT_EQ(0, liveItems);
}

TEST(DoubleList, SortUsesCompareModeAndSurvivesAThrowingCompare)
{
    TList<Item> list;
    Fill(list, {3, 1, 2, 1});
    list.SetCompareMode(1);
    list.Sort();
    EXPECT_EQ((std::vector<int>{0, 2, 1, 3}), Ids(list)) << "backwards, equals in order";

    TRandomizer random(5);
    for (int at : {0, 1, 7, 50, 400}) {
        TList<Item> victim;
        std::vector<int> values;
        for (int i = 0; i < 100; ++i)
            values.push_back(static_cast<int>(random.Get(30)));
        Fill(victim, values);
        throwAfterCompares = at;
        EXPECT_THROW(victim.Sort(), std::runtime_error);
        throwAfterCompares = -1;
        ExpectValid(victim);
        std::vector<int> ids = Ids(victim);
        std::sort(ids.begin(), ids.end());
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(i, ids[i]) << "every element is still in the list";
    }
    EXPECT_EQ(4, liveItems);
}

TEST(DoubleList, AbsorbAndSortMergesOrInserts)
{
    TRandomizer random(99);
    for (int round = 0; round < 100; ++round) {
        std::vector<int> a, b;
        for (int i = static_cast<int>(random.Get(40)); i > 0; --i)
            a.push_back(static_cast<int>(random.Get(12)));
        for (int i = static_cast<int>(random.Get(40)); i > 0; --i)
            b.push_back(static_cast<int>(random.Get(12)));
        ProbeList target, source;
        Fill(target, a);
        for (size_t i = 0; i < b.size(); ++i)
            source.Append(new Item(b[i], 100 + static_cast<int>(i)));
        // Sorted target and source: a stable merge, target's equals first.
        target.Sort();
        source.Sort();
        std::vector<std::pair<int, int>> model;
        for (Item* e = target.GetFirst(); e; e = target.GetNext(e))
            model.emplace_back(e->value, e->id);
        for (Item* e = source.GetFirst(); e; e = source.GetNext(e))
            model.emplace_back(e->value, e->id);
        std::stable_sort(model.begin(), model.end(),
                         [](const std::pair<int, int>& x, const std::pair<int, int>& y) { return x.first < y.first; });
        target.AbsorbAndSort(source);
        std::vector<int> expected;
        for (auto& p : model)
            expected.push_back(p.second);
        ASSERT_EQ(expected, Ids(target));
        EXPECT_EQ(0, source.GetCount());
        ExpectValid(target);
        ExpectValid(source);
    }

    // Into an empty sorted list from a sorted list: no comparison at all.
    ProbeList empty, sorted;
    Fill(sorted, {1, 2, 3, 4});
    sorted.Sort();
    empty.Sort();
    const long before = compareCalls;
    empty.AbsorbAndSort(sorted);
    EXPECT_EQ(before, compareCalls);
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4}), Values(empty));

    // An unsorted target keeps its order; each source element lands before the first
    // element greater than it.
    ProbeList unsorted, extra;
    Fill(unsorted, {5, 1, 9, 3});
    for (int v : {4, 9, 0, 10})
        extra.Append(new Item(v, 50 + v));
    extra.Sort();
    unsorted.AbsorbAndSort(extra);
    EXPECT_EQ((std::vector<int>{0, 4, 5, 1, 9, 3, 9, 10}), Values(unsorted));
    EXPECT_EQ(0, unsorted.SortedFlag()) << "no flag changes";
    EXPECT_EQ(0, extra.GetCount());
    EXPECT_EQ(nullptr, extra.GetFirst());
    ExpectValid(unsorted);
}

TEST(DoubleList, SplitAndAbsorb)
{
    TList<Item> list, tail;
    std::vector<Item*> it = Fill(list, {0, 1, 2, 3, 4});
    tail.Append(new Item(99, 99));
    list.Split(tail, *it[2]);
    EXPECT_EQ((std::vector<int>{0, 1}), Ids(list));
    EXPECT_EQ((std::vector<int>{2, 3, 4}), Ids(tail));
    EXPECT_EQ(5, liveItems) << "the tail's own element went by its ownership";
    ExpectValid(list);
    ExpectValid(tail);

    list.Absorb(tail, it[1]);
    EXPECT_EQ((std::vector<int>{0, 2, 3, 4, 1}), Ids(list));
    EXPECT_EQ(0, tail.GetCount());
    EXPECT_EQ(nullptr, tail.GetFirst());
    list.Absorb(tail, nullptr);  // empty source: nothing
    list.Absorb(list, nullptr);  // itself: nothing
    EXPECT_EQ(5, list.GetCount());

    list.Split(tail, *list.GetFirst());
    EXPECT_EQ(0, list.GetCount());
    EXPECT_EQ(nullptr, list.GetFirst());
    EXPECT_EQ(nullptr, list.GetLast());
    EXPECT_EQ(5, tail.GetCount());
    list.Absorb(tail, nullptr);
    ExpectValid(list);
    list.Split(tail, *list.GetLast());
    EXPECT_EQ((std::vector<int>{1}), Ids(tail));
    EXPECT_EQ(4, list.GetCount());
    list.Absorb(tail, list.GetFirst());
    EXPECT_EQ((std::vector<int>{1, 0, 2, 3, 4}), Ids(list));
    ExpectValid(list);
}

TEST(DoubleList, SortSplitAbsorbAllocateNothing)
{
    typedef StringItem<TListElement> Text;
    TList<Text> list, other;
    TRandomizer random(3);
    for (int i = 0; i < 2000; ++i) {
        String s;
        random.SetString(s, 0, 6, "abcXYZ");
        (i % 2 ? list : other).Append(new Text(s));
    }
    const unsigned long stringBlocks = _stringHeap->GetBlocksInUse();
    const unsigned long defaultBlocks = NH_Heap::Default().GetBlocksInUse();
    const unsigned long stringBytes = _stringHeap->GetBytesInUse();
    list.Sort();
    other.Sort();
    list.AbsorbAndSort(other);
    EXPECT_TRUE(list.IsSorted());
    list.Split(other, *list.Element(777));
    list.Absorb(other, list.Element(10));
    list.SetCompareMode(1);
    list.Sort();
    list.Shuffle(4);
    list.Sort();
    EXPECT_TRUE(list.IsSorted());
    EXPECT_EQ(2000, list.GetCount());
    EXPECT_EQ(stringBlocks, _stringHeap->GetBlocksInUse());
    EXPECT_EQ(stringBytes, _stringHeap->GetBytesInUse());
    EXPECT_EQ(defaultBlocks, NH_Heap::Default().GetBlocksInUse());
}

TEST(DoubleList, CopiesCloneAndObeyOwnership)
{
    TList<Item> source;
    Fill(source, {3, 1, 2});
    source.SetCompareMode(1);
    {
        TList<Item> copy(source);
        EXPECT_EQ(1, copy.GetCompareMode());
        EXPECT_EQ((std::vector<int>{1000, 1001, 1002}), Ids(copy));
        EXPECT_EQ(6, liveItems);

        TList<Item> assigned;
        Fill(assigned, {7, 7});
        assigned.Assign(source, nullptr);
        EXPECT_EQ(0, assigned.GetCompareMode()) << "Assign keeps the compare mode";
        EXPECT_EQ(9, liveItems) << "the old owned elements were deleted";
        assigned = source;
        EXPECT_EQ(1, assigned.GetCompareMode());
        assigned = assigned;
        EXPECT_EQ(3, assigned.GetCount());

        // Copies of itself, before an element of itself.
        assigned.Insert(assigned, assigned.GetLast(), nullptr);
        EXPECT_EQ((std::vector<int>{3, 1, 3, 1, 2, 2}), Values(assigned));
        assigned += source;
        EXPECT_EQ(9, assigned.GetCount());
        source.Add(source, &liveItems);  // a clone that gives null is left out
        EXPECT_EQ(3, source.GetCount());
        EXPECT_TRUE(AreEqual(source, source, 0));
        EXPECT_TRUE(AreEqual(source, copy, 0));
        EXPECT_FALSE(AreEqual(source, assigned, 0));
        ExpectValid(assigned);
    }
    EXPECT_EQ(3, liveItems);

    Item a(1), b(2);
    TList<Item> borrowing(0);
    borrowing.Append(&a);
    borrowing.Append(&b);
    borrowing.Assign(source, nullptr);
    EXPECT_EQ(8, liveItems) << "a non-owning list only forgets what it held";
    borrowing.DeleteAll();
    EXPECT_EQ(5, liveItems) << "DeleteAll deletes whatever the flag says";
}

TEST(DoubleList, WalksAndShuffle)
{
    TList<Item> list;
    Fill(list, {0, 1, 2, 3, 4, 5});
    list.ForEach([](CollectionElement& e, void* l) { static_cast<TList<Item>*>(l)->Delete(&static_cast<Item&>(e)); },
                 &list);
    EXPECT_EQ(0, list.GetCount());
    EXPECT_EQ(0, liveItems) << "an action that deletes its element still visits all";

    Fill(list, {4, 7, 4, 1});
    auto isFour = [](const CollectionElement& e, const void*) { return static_cast<const Item&>(e).value == 4 ? 1 : 0; };
    EXPECT_EQ(0, list.FindFirstThat(isFour, nullptr)->id);
    EXPECT_EQ(2, list.FindLastThat(isFour, nullptr)->id);

    std::vector<int> shuffled;
    for (int run = 0; run < 2; ++run) {
        TList<Item> l;
        Fill(l, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
        l.Shuffle(1234);
        ExpectValid(l);
        if (run == 0)
            shuffled = Ids(l);
        else
            EXPECT_EQ(shuffled, Ids(l)) << "one seed, one order";
        std::vector<int> ids = Ids(l);
        std::sort(ids.begin(), ids.end());
        EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), ids);
    }
    TList<Item> one;
    Fill(one, {1});
    one.Shuffle(5);
    EXPECT_EQ(1, one.GetCount());
}

TEST(StringItem, ComparesClonesAndLivesOnTheStringHeap)
{
    typedef StringItem<TListElement> Text;
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    {
        TList<Text> list;
        list.Append(new Text("beta"));
        list.Append(new Text("Alpha"));
        list.Append(new Text("alpha"));
        list.Append(new Text("\xE9t\xE9"));
        list.Append(new Text("alp"));
        list.Sort();
        std::vector<std::string> order;
        for (Text* t = list.GetFirst(); t; t = list.GetNext(t))
            order.push_back(t->c_str());
        EXPECT_EQ((std::vector<std::string>{"Alpha", "alp", "alpha", "beta", "\xE9t\xE9"}), order)
            << "mode 0 compares unsigned bytes";
        Text key("ALPHA");
        EXPECT_EQ(nullptr, list.FindEqual(key));
        list.SetCompareMode(1);
        EXPECT_STREQ("Alpha", list.FindEqual(key)->c_str());
        EXPECT_EQ(1, Text("b").Compare(Text("a"), 0));
        EXPECT_EQ(-1, Text(String("a\0b", 0, 0, 3)).Compare(Text(String("a\0c", 0, 0, 3)), 0));

        Text* clone = static_cast<Text*>(list.GetFirst()->CreateClone(nullptr));
        EXPECT_EQ(list.GetFirst()->c_str(), clone->c_str()) << "the clone shares the text";
        delete clone;

        _stringHeap->FailAllocation(1);
        Text* failed = new Text("none");
        EXPECT_EQ(nullptr, failed) << "no memory: no item, and null goes on";
        _stringHeap->FailAllocation(0);
    }
    EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse());
}
