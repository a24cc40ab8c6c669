#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <vector>

#include "NH_Heap.h"
#include "collections/ArrayBase.h"
#include "numeric/Randomizer.h"

namespace {

// A value to order by and an id to tell equal values apart; compare mode 1 orders backwards.
// The log records whether each Compare had the key on its left.
struct Item : CollectionElement {
    explicit Item(int value, int id = 0) : value(value), id(id) { ++live; }
    ~Item() override { --live, deaths.push_back(id); }
    int Compare(const CollectionElement& other, int mode) const override
    {
        const int b = static_cast<const Item&>(other).value, c = value < b ? -1 : value > b ? 1 : 0;
        return keyOnLeft.push_back(this == key), mode == 1 ? -c : c;
    }
    CollectionElement* CreateClone(const void* context) const override
    {
        if (lastContext = context, clonesBeforeFailure-- == 0)
            throw std::runtime_error("clone failed");
        return new Item(value, id + 1000);
    }
    int value, id;
    static inline int live = 0, clonesBeforeFailure = -1;  // negative: never fail
    static inline const void* lastContext = nullptr;
    static inline const Item* key = nullptr;
    static inline std::vector<int> deaths, keyOnLeft;
};

// Every test ends with no element alive and no heap block left behind.
class ArrayTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(Item::live == 0 && NH_Heap::Default().GetBlocksInUse() == blocksBefore); }
    unsigned long blocksBefore = NH_Heap::Default().GetBlocksInUse();
};

void AddValues(TArrayBase& array, std::initializer_list<int> values)
{
    for (int v : values)
        array.Add(new Item(v, array.GetCount()));
}

std::vector<int> Values(const TArrayBase& array, bool ids = false)
{
    std::vector<int> values;
    for (int i = 0; i < array.GetCount(); ++i)
        values.push_back(ids ? static_cast<Item&>(array[i]).id : static_cast<Item&>(array[i]).value);
    return values;
}

}  // namespace

TEST_F(ArrayTest, EdgeCasesAndOwnership)
{
    TArrayBase array;  // (20, 20, owning): growth in steps of 20
    EXPECT_TRUE(array.ShouldDeleteElements() && !array.GetFirst() && !array.Pop() && !array.CutDetach(0));
    Item key(1);
    int index = 7;
    EXPECT_TRUE(!array.BinaryFindEqual(key, &index) && index == -1 && !array.LinearFindSmallest(&index));
    AddValues(array, {4});
    EXPECT_TRUE(array.LinearFindGreatest(&index) == &array[0] && index == 0);
    AddValues(array, {1, 3, 5, 9, 7});
    EXPECT_TRUE(array.LinearFindGreatest(&index) == &array[4] && array.LinearFindEqualOrSmaller(Item(7)) == &array[5]);
    for (int i = 0; i < 15; ++i)
        array.Add(nullptr);
    EXPECT_EQ(array.GetNumCells(), 40);
    array.CutRange(6, 15, 1);

    // The sorted mark says only what the caller last said; the mode goes to every Compare.
    array.MarkAsSorted(1);
    array.Shuffle(3);
    EXPECT_TRUE(array.IsMarkedAsSorted());
    array.MarkAsSorted(0);
    array.Sort();
    EXPECT_EQ(Values(array), (std::vector<int>{1, 3, 4, 5, 7, 9}));
    EXPECT_TRUE(!array.IsMarkedAsSorted() && !array.BinaryFindClosestSmaller(Item(0), &index) && index == -1);
    array.Reverse();
    EXPECT_TRUE(array.IsSortedBackwards() && !array.IsSorted());
    array.SetCompareMode(1);
    EXPECT_TRUE(array.IsSorted());
    array.Reverse();
    array.SetCompareMode(0);
    // Equal values go behind their equals; ranges are clamped.
    for (int id : {50, 51, 52})
        array.InsertInSortedArray(new Item(id < 52 ? 5 : 10, id));
    EXPECT_EQ(Values(array, true), (std::vector<int>{1, 2, 0, 3, 50, 51, 5, 4, 52}));
    Item::deaths.clear();
    const std::pair<int, int> cuts[] = {{1, 0}, {1, -3}, {-1, 2}, {7, 100}};
    for (auto [at, number] : cuts)
        array.CutRange(at, number, 1);
    EXPECT_EQ(Item::deaths, (std::vector<int>{4, 52}));  // from low index to high

    // DeleteAll deletes from the last index down whatever the flag says and passes over null;
    // with 0 the buffer stays. CutDelete deletes, CutDetach does not.
    array.ShouldDeleteElements(0);
    array.Add(nullptr);
    Item::deaths.clear();
    array.CutDelete(0);
    CollectionElement* detached = array.CutDetach(0);
    array.DeleteAll(0);
    delete detached;
    EXPECT_EQ(Item::deaths, (std::vector<int>{1, 5, 51, 50, 3, 0, 2}));
    EXPECT_EQ(array.GetNumCells(), 40);
    // Clear on a non-owning array frees the cells and leaves the elements.
    Item a(1, 0), b(2, 1);
    array.Add(&a);
    array.Clear();
    EXPECT_FALSE(array.HasAllocatedMemory());

    // AddUnique: the first equal element comes back; an owning array deletes the duplicate,
    // never an element it already holds; a non-owning one deletes nothing.
    TArrayBase unique, notOwning(4, 4, 0);
    AddValues(unique, {3, 1, 3});
    EXPECT_EQ(unique.AddUnique(new Item(3, 9)), &unique[0]);
    EXPECT_EQ(unique.AddUnique(&unique[2]), &unique[0]);
    unique.Sort();
    unique.MarkAsSorted(1);
    EXPECT_EQ(unique.AddUnique(new Item(3, 7)), &unique[1]);
    unique.AddUnique(new Item(2, 6));
    EXPECT_EQ(Values(unique), (std::vector<int>{1, 2, 3, 3}));
    EXPECT_EQ(Item::live, 3 + 4);
    notOwning.Add(&a);
    Item same(1, 20);
    EXPECT_TRUE(notOwning.AddUnique(&same) == &a && !notOwning.AddUnique(nullptr));  // null goes in once, uncompared
    notOwning.AddUnique(nullptr);
    EXPECT_EQ(notOwning.GetCount(), 2);
}

TEST_F(ArrayTest, CopiesCloneAndMovesDoNot)
{
    TArrayBase borrowed(10, 5, 0), owning, donor, left, right, plain;
    Item a(1, 0), b(2, 1);
    borrowed.Add(&a);
    borrowed.Add(&b);
    borrowed.SetCompareMode(1);
    {
        TArrayBase copy(borrowed);  // flags and compare mode, and clones
        EXPECT_TRUE(!copy.ShouldDeleteElements() && copy.GetCompareMode() == 1);
        EXPECT_EQ(Values(copy, true), (std::vector<int>{1000, 1001}));
        EXPECT_TRUE(AreEqual(copy, borrowed, 0));
        copy.ShouldDeleteElements(1);
    }
    // operator= keeps the compare mode; Assign hands its context to every clone.
    AddValues(owning, {7, 8, 9});
    const int context = 0;
    owning.Assign(borrowed, &context);
    EXPECT_TRUE(Item::lastContext == &context && owning.GetCompareMode() == 0);
    owning.ShouldDeleteElements(1);
    owning = borrowed;
    owning.ShouldDeleteElements(1);
    // Insert clones into a gap; an array inserted into itself clones its old elements once.
    owning.Insert(borrowed, 1, nullptr);
    owning.Insert(owning, 2, nullptr);
    owning += borrowed;
    EXPECT_EQ(Values(owning), (std::vector<int>{1, 1, 1, 1, 2, 2, 2, 2, 1, 2}));
    // Absorb moves pointers and clones nothing.
    AddValues(donor, {0, 5});
    CollectionElement* zero = &donor[0];
    owning.AbsorbAndSort(donor);
    EXPECT_TRUE(!donor.HasAllocatedMemory() && &owning[0] == zero && Item::live == 2 + 12);

    // AreEqual: counts, then pairwise Compare; null cells equal only null cells.
    AddValues(left, {1, 2});
    AddValues(right, {1, 2});
    left.Add(nullptr);
    EXPECT_FALSE(AreEqual(left, right, 0));
    right.Add(nullptr);
    EXPECT_TRUE(AreEqual(left, right, 0));
    AddValues(left, {3}), AddValues(right, {4});
    EXPECT_FALSE(AreEqual(left, right, 0));

    // Failed clones leave valid arrays: Assign keeps what was cloned, Insert closes the
    // unreached part of its gap, the copy constructor deletes its clones.
    Item::clonesBeforeFailure = 1;
    EXPECT_THROW(left.Assign(right, nullptr), std::runtime_error);
    EXPECT_EQ(Values(left), (std::vector<int>{1}));
    Item::clonesBeforeFailure = 1;
    EXPECT_THROW(left.Insert(right, 0, nullptr), std::runtime_error);
    EXPECT_EQ(Values(left), (std::vector<int>{1, 1}));
    Item::clonesBeforeFailure = 1;
    EXPECT_THROW(TArrayBase failed(right), std::runtime_error);
    Item::clonesBeforeFailure = -1;

    // A clone that gives null is stored, and visits pass over it.
    plain.Add(new CollectionElement);
    TArrayBase nulls(plain);
    EXPECT_EQ(nulls.GetCount(), 1);
    nulls.ForEach([](CollectionElement&, void*) { ADD_FAILURE(); }, nullptr);
    EXPECT_EQ(nulls.FindFirstThat([](const CollectionElement&, const void*) { return 1; }, nullptr), nullptr);
}

// Random arrays, sorted and searched, against the standard algorithms. Compare mode 1 orders
// backwards, so the oracles work on ranks: the value, or its negation.
TEST_F(ArrayTest, SortAndSearchesAgreeWithOracles)
{
    for (int round = 0; round < 300; ++round) {
        TRandomizer random(round + 1);
        const int mode = round % 3 == 2, n = static_cast<int>(random.Get(round < 20 ? 4 : 80));
        const int range = static_cast<int>(random.Get(30)) + 1;
        auto rank = [mode](int v) { return mode ? -v : v; };
        TArrayBase array(0, 7, 1);
        array.SetCompareMode(mode);
        std::vector<int> values, ranks;
        for (int i = 0; i < n; ++i) {
            values.push_back(static_cast<int>(random.Get(range)));
            ranks.push_back(rank(values.back()));
            array.Add(new Item(values.back(), i));
        }
        // Searches: (what it gives, whether the key is the left operand of Compare).
        auto check = [&](const Item& key, auto search, int expected, bool onLeft) {
            int index = -2;
            Item::key = &key, Item::keyOnLeft.clear();
            CollectionElement* found = (array.*search)(key, &index);
            EXPECT_EQ(index, expected);
            EXPECT_EQ(found, expected < 0 ? nullptr : &array[expected]);
            EXPECT_EQ(std::count(Item::keyOnLeft.begin(), Item::keyOnLeft.end(), !onLeft), 0);
        };
        // Linear searches need no order; the first of equal candidates wins.
        for (int k = -1; k <= range; ++k) {
            const Item key(k, -1);
            int smaller = -1, greater = -1;
            for (int i = 0; i < n; ++i) {
                smaller = ranks[i] < rank(k) && (smaller < 0 || ranks[i] > ranks[smaller]) ? i : smaller;
                greater = ranks[i] > rank(k) && (greater < 0 || ranks[i] < ranks[greater]) ? i : greater;
            }
            const int first = static_cast<int>(std::find(values.begin(), values.end(), k) - values.begin());
            const int exact = first < n ? first : -1;
            check(key, &TArrayBase::LinearFindEqual, exact, true);
            check(key, &TArrayBase::LinearFindClosestSmaller, smaller, false);
            check(key, &TArrayBase::LinearFindClosestGreater, greater, false);
            check(key, &TArrayBase::LinearFindEqualOrSmaller, exact >= 0 ? exact : smaller, false);
            check(key, &TArrayBase::LinearFindEqualOrGreater, exact >= 0 ? exact : greater, false);
        }
        int least = -1, most = -1;
        array.LinearFindSmallest(&least), array.LinearFindGreatest(&most);
        EXPECT_EQ(least, n ? std::min_element(ranks.begin(), ranks.end()) - ranks.begin() : -1);
        EXPECT_EQ(most, n ? std::max_element(ranks.begin(), ranks.end()) - ranks.begin() : -1);
        // The sort gives the values of a stable sort, each element exactly once.
        std::stable_sort(ranks.begin(), ranks.end());
        array.Sort();
        std::vector<int> sortedRanks, ids = Values(array, true);
        for (int v : Values(array))
            sortedRanks.push_back(rank(v));
        ASSERT_EQ(sortedRanks, ranks);
        EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), static_cast<size_t>(n));
        // Binary searches: the ends of the equal range; among duplicates the halving decides,
        // so the "or equal" searches land where BinaryFindEqual does.
        for (int k = -1; k <= range; ++k) {
            const Item key(k, -1);
            const int lower = static_cast<int>(std::lower_bound(ranks.begin(), ranks.end(), rank(k)) - ranks.begin());
            const int upper = static_cast<int>(std::upper_bound(ranks.begin(), ranks.end(), rank(k)) - ranks.begin());
            int equal = -2;
            array.BinaryFindEqual(key, &equal);
            EXPECT_TRUE(lower < upper ? equal >= lower && equal < upper : equal == -1);
            check(key, &TArrayBase::BinaryFindEqual, equal, true);
            check(key, &TArrayBase::BinaryFindEqualOrGreater, lower < upper ? equal : lower < n ? lower : -1, true);
            check(key, &TArrayBase::BinaryFindEqualOrSmaller, lower < upper ? equal : lower - 1, true);
            check(key, &TArrayBase::BinaryFindClosestGreater, upper < n ? upper : -1, true);
            check(key, &TArrayBase::BinaryFindClosestSmaller, lower - 1, true);
        }
        // Shuffle gives the permutation of CreateArrayOfUniqueUnsortedIndexes for the seed.
        std::vector<int> permutation(n);
        TRandomizer(round + 7).CreateArrayOfUniqueUnsortedIndexes(n, permutation.data());
        array.Shuffle(round + 7);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(Values(array, true)[i], ids[permutation[i]]);
    }
    Item::key = nullptr;
}

TEST_F(ArrayTest, SortSurvivesLargeAndDegenerateInputs)
{
    // Sorted, reversed and all-equal inputs; then elements whose Compare always says "less"
    // (the default), which the sort keeps inside the array without losing a pointer.
    TArrayBase array(100000, 0, 1);
    for (int i = 0; i < 100000; ++i)
        array.Add(new Item(i % 3 == 0 ? 5 : i, i));
    array.Sort();
    array.Reverse();
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.DeleteAll(1);
    std::set<CollectionElement*> plain, after;
    for (int i = 0; i < 10000; ++i)
        plain.insert(array.Add(new CollectionElement));
    array.Sort();
    for (int i = 0; i < array.GetCount(); ++i)
        after.insert(&array[i]);
    EXPECT_EQ(plain, after);
}
