#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "NH_Heap.h"
#include "collections/ArrayBase.h"
#include "numeric/Randomizer.h"

namespace {

using Call = std::pair<const CollectionElement*, const CollectionElement*>;

// A value to order by and an id to tell equal values apart. Compare mode 1 orders backwards.
// Every Compare can be logged as (left operand, right operand).
struct Item : CollectionElement {
    explicit Item(int value, int id = 0) : value(value), id(id) { ++live; }
    ~Item() override
    {
        --live;
        if (deaths)
            deaths->push_back(id);
    }
    int Compare(const CollectionElement& other, int mode) const override
    {
        if (log)
            log->emplace_back(this, &other);
        const int b = static_cast<const Item&>(other).value;
        const int c = value < b ? -1 : value > b ? 1 : 0;
        return mode == 1 ? -c : c;
    }
    CollectionElement* CreateClone(const void* context) const override
    {
        lastContext = context;
        if (clonesBeforeFailure-- == 0)
            throw std::runtime_error("clone failed");
        return new Item(value, id + 1000);
    }

    int value;
    int id;
    static inline int live = 0;
    static inline int clonesBeforeFailure = -1;  // negative: never fail
    static inline const void* lastContext = nullptr;
    static inline std::vector<Call>* log = nullptr;
    static inline std::vector<int>* deaths = nullptr;
};

// Every test ends with no element alive and no heap block left behind.
class ArrayTest : public ::testing::Test {
protected:
    void SetUp() override { blocksBefore = NH_Heap::Default().GetBlocksInUse(); }
    void TearDown() override
    {
        EXPECT_EQ(Item::live, 0);
        EXPECT_EQ(NH_Heap::Default().GetBlocksInUse(), blocksBefore);
        Item::clonesBeforeFailure = -1;
        Item::log = nullptr;
        Item::deaths = nullptr;
    }
    unsigned long blocksBefore = 0;
};

void AddValues(TArrayBase& array, std::initializer_list<int> values)
{
    int id = array.GetCount();
    for (int v : values)
        array.Add(new Item(v, id++));
}

int ValueOf(const CollectionElement* element)
{
    return element ? static_cast<const Item*>(element)->value : -12345;
}

std::vector<int> Values(const TArrayBase& array, bool ids = false)
{
    std::vector<int> values;
    for (int i = 0; i < array.GetCount(); ++i)
        values.push_back(ids ? static_cast<const Item&>(array[i]).id : ValueOf(&array[i]));
    return values;
}

}  // namespace

TEST_F(ArrayTest, NamedEdgeCases)
{
    TArrayBase array;  // (20, 20, owning)
    EXPECT_TRUE(array.ShouldDeleteElements());
    EXPECT_EQ(array.GetFirst(), nullptr);
    EXPECT_EQ(array.Pop(), nullptr);
    EXPECT_EQ(array.CutDetach(0), nullptr);
    Item key(1);
    int index = 7;
    EXPECT_EQ(array.BinaryFindEqual(key, &index), nullptr);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(array.LinearFindSmallest(&index), nullptr);

    AddValues(array, {4});
    EXPECT_EQ(ValueOf(array.LinearFindGreatest(&index)), 4);
    EXPECT_EQ(index, 0);
    array.DeleteAll(1);
    AddValues(array, {1, 3, 2});
    array.LinearFindGreatest(&index);
    EXPECT_EQ(index, 1);
    array.DeleteAll(1);
    AddValues(array, {5, 9, 7});
    EXPECT_EQ(ValueOf(array.LinearFindEqualOrSmaller(Item(7), &index)), 7);
    EXPECT_EQ(index, 2);
    array.Sort();
    EXPECT_EQ(array.BinaryFindClosestSmaller(Item(0), &index), nullptr);
    EXPECT_EQ(index, -1);

    // The sorted mark says only what the caller last said; the mode goes to every Compare.
    array.MarkAsSorted(1);
    AddValues(array, {1});
    array.Shuffle(3);
    EXPECT_TRUE(array.IsMarkedAsSorted());
    array.MarkAsSorted(0);
    array.Sort();
    EXPECT_FALSE(array.IsMarkedAsSorted());
    EXPECT_EQ(Values(array), (std::vector<int>{1, 5, 7, 9}));
    array.Reverse();
    EXPECT_TRUE(array.IsSortedBackwards() && !array.IsSorted());
    array.SetCompareMode(1);
    EXPECT_TRUE(array.IsSorted());
    array.SetCompareMode(0);
    array.Sort();

    // Equal values go behind their equals.
    array.InsertInSortedArray(new Item(5, 50));
    array.InsertInSortedArray(new Item(5, 51));
    array.InsertInSortedArray(new Item(10, 52));
    EXPECT_EQ(Values(array), (std::vector<int>{1, 5, 5, 5, 7, 9, 10}));
    EXPECT_EQ(Values(array, true)[2], 50);
    EXPECT_EQ(Values(array, true)[3], 51);

    array.CutRange(1, 0, 1);
    array.CutRange(1, -3, 1);
    array.CutRange(-1, 2, 1);
    EXPECT_EQ(array.GetCount(), 7);
    array.CutRange(5, 100, 1);
    EXPECT_EQ(Values(array), (std::vector<int>{1, 5, 5, 5, 7}));

    TArrayBase steps(20, 20, 0);
    for (int i = 0; i < 21; ++i)
        steps.Add(&key);
    EXPECT_EQ(steps.GetNumCells(), 40);
}

TEST_F(ArrayTest, OwnershipDeletesExactlyWhatIsOwned)
{
    std::vector<int> deaths;
    Item::deaths = &deaths;
    {
        TArrayBase owning;
        AddValues(owning, {1, 2, 3, 4});
    }
    EXPECT_EQ(deaths, (std::vector<int>{3, 2, 1, 0}));  // from the last index down

    Item a(1, 0), b(2, 1);
    {
        TArrayBase borrowing(4, 4, 0);
        borrowing.Add(&a);
        borrowing.Add(nullptr);
        borrowing.Clear();  // the cells go, the elements stay
        EXPECT_FALSE(borrowing.HasAllocatedMemory());
        borrowing.Add(&b);
    }
    EXPECT_EQ(Item::live, 2);

    // DeleteAll deletes whatever the flag says and passes over null; with 0 the buffer stays.
    deaths.clear();
    TArrayBase array(4, 4, 0);
    AddValues(array, {10, 11});
    array.Add(nullptr);
    array.DeleteAll(0);
    EXPECT_EQ(array.GetNumCells(), 4);
    EXPECT_EQ(deaths, (std::vector<int>{1, 0}));

    // CutDelete and CutRange delete, CutRange from low to high; CutDetach deletes nothing.
    deaths.clear();
    AddValues(array, {0, 1, 2, 3, 4, 5});
    array.CutDelete(0);
    array.CutRange(1, 3, 1);
    delete array.CutDetach(0);
    EXPECT_EQ(deaths, (std::vector<int>{0, 2, 3, 4, 1}));
    CollectionElement* kept = &array[0];
    array.CutRange(0, 1, 0);
    EXPECT_EQ(Item::live, 3);
    delete kept;

    // AddUnique: the first equal element comes back; an owning array deletes the duplicate,
    // never an element it already holds.
    TArrayBase unique;
    AddValues(unique, {3, 1, 3});
    CollectionElement* firstThree = &unique[0];
    CollectionElement* secondThree = &unique[2];
    EXPECT_EQ(unique.AddUnique(new Item(3, 9)), firstThree);
    EXPECT_EQ(unique.AddUnique(secondThree), firstThree);
    EXPECT_EQ(Item::live, 2 + 3);
    unique.Sort();
    unique.MarkAsSorted(1);
    EXPECT_EQ(unique.AddUnique(new Item(3, 7)), &unique[1]);
    unique.AddUnique(new Item(2, 6));
    EXPECT_EQ(Values(unique), (std::vector<int>{1, 2, 3, 3}));

    TArrayBase notOwning(4, 4, 0);
    notOwning.Add(&a);
    Item same(1, 20);
    EXPECT_EQ(notOwning.AddUnique(&same), &a);
    EXPECT_EQ(Item::live, 3 + 4);
    EXPECT_EQ(notOwning.AddUnique(nullptr), nullptr);  // null goes in once, uncompared
    notOwning.AddUnique(nullptr);
    EXPECT_EQ(notOwning.GetCount(), 2);
    Item::deaths = nullptr;
}

TEST_F(ArrayTest, CopiesCloneAndMovesDoNot)
{
    TArrayBase borrowed(10, 5, 0);
    Item a(1, 0), b(2, 1);
    borrowed.Add(&a);
    borrowed.Add(&b);
    borrowed.SetCompareMode(1);
    {
        TArrayBase copy(borrowed);  // flags and compare mode, and clones
        EXPECT_FALSE(copy.ShouldDeleteElements());
        EXPECT_EQ(copy.GetCompareMode(), 1);
        EXPECT_EQ(Values(copy, true), (std::vector<int>{1000, 1001}));
        EXPECT_TRUE(AreEqual(copy, borrowed, 0));
        copy.ShouldDeleteElements(1);
    }

    // operator= keeps the compare mode; Assign hands its context to every clone.
    TArrayBase owning;
    AddValues(owning, {7, 8, 9});
    const int context = 0;
    owning.Assign(borrowed, &context);
    EXPECT_EQ(Item::lastContext, &context);
    EXPECT_EQ(owning.GetCompareMode(), 0);
    owning.ShouldDeleteElements(1);
    owning = borrowed;
    owning.ShouldDeleteElements(1);
    EXPECT_EQ(Item::live, 4);

    // Insert clones into a gap; an array inserted into itself clones its old elements once.
    owning.Insert(borrowed, 1, nullptr);
    owning.Insert(owning, 2, nullptr);
    EXPECT_EQ(Values(owning), (std::vector<int>{1, 1, 1, 1, 2, 2, 2, 2}));
    owning += borrowed;
    EXPECT_EQ(Item::live, 2 + 10);

    // Absorb moves pointers and clones nothing.
    TArrayBase donor;
    AddValues(donor, {0, 5});
    CollectionElement* zero = &donor[0];
    owning.AbsorbAndSort(donor);
    EXPECT_FALSE(donor.HasAllocatedMemory());
    EXPECT_EQ(&owning[0], zero);
    EXPECT_EQ(Item::live, 2 + 12);

    // AreEqual: counts, then pairwise Compare; null cells equal only null cells.
    TArrayBase left, right;
    AddValues(left, {1, 2});
    AddValues(right, {1, 2});
    left.Add(nullptr);
    EXPECT_FALSE(AreEqual(left, right, 0));
    right.Add(nullptr);
    EXPECT_TRUE(AreEqual(left, right, 0));
    AddValues(left, {3});
    AddValues(right, {4});
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

    // A clone that gives null is stored, and visits pass over it.
    TArrayBase plain;
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
    std::vector<Call> log;
    auto expectKeyOnLeft = [&](const Item& key, bool onLeft) {
        for (const Call& call : log)
            ASSERT_EQ(call.first == &key, onLeft);
        log.clear();
    };
    for (int round = 0; round < 300; ++round) {
        TRandomizer random(round + 1);
        const int mode = round % 3 == 2 ? 1 : 0;
        const int n = static_cast<int>(random.Get(round < 20 ? 4 : 80));
        const int range = static_cast<int>(random.Get(30)) + 1;
        auto rank = [mode](int v) { return mode ? -v : v; };

        TArrayBase array(0, 7, 1);
        array.SetCompareMode(mode);
        std::vector<int> values, ranks;
        for (int i = 0; i < n; ++i) {
            values.push_back(static_cast<int>(random.Get(static_cast<unsigned long>(range))));
            ranks.push_back(rank(values.back()));
            array.Add(new Item(values.back(), i));
        }

        // Linear searches need no order; the first of equal candidates wins.
        for (int k = -1; k <= range; ++k) {
            const Item key(k, -1);
            int smaller = -1, greater = -1;
            for (int i = 0; i < n; ++i) {
                const int r = ranks[static_cast<size_t>(i)];
                if (r < rank(k) && (smaller < 0 || r > ranks[static_cast<size_t>(smaller)]))
                    smaller = i;
                if (r > rank(k) && (greater < 0 || r < ranks[static_cast<size_t>(greater)]))
                    greater = i;
            }
            const int first = static_cast<int>(std::find(values.begin(), values.end(), k) - values.begin());
            const int exact = first < n ? first : -1;
            int index = -2;
            Item::log = &log;
            array.LinearFindEqual(key, &index);
            EXPECT_EQ(index, exact);
            expectKeyOnLeft(key, true);
            array.LinearFindClosestSmaller(key, &index);
            EXPECT_EQ(index, smaller);
            array.LinearFindClosestGreater(key, &index);
            EXPECT_EQ(index, greater);
            array.LinearFindEqualOrSmaller(key, &index);
            EXPECT_EQ(index, exact >= 0 ? exact : smaller);
            array.LinearFindEqualOrGreater(key, &index);
            EXPECT_EQ(index, exact >= 0 ? exact : greater);
            expectKeyOnLeft(key, false);
            Item::log = nullptr;
        }
        if (n > 0) {
            int index;
            array.LinearFindSmallest(&index);
            EXPECT_EQ(index, std::min_element(ranks.begin(), ranks.end()) - ranks.begin());
            array.LinearFindGreatest(&index);
            EXPECT_EQ(index, std::max_element(ranks.begin(), ranks.end()) - ranks.begin());
        }

        // The sort gives the values of a stable sort, each element exactly once.
        std::vector<int> sorted = values;
        std::stable_sort(sorted.begin(), sorted.end(), [&](int x, int y) { return rank(x) < rank(y); });
        array.Sort();
        ASSERT_EQ(Values(array), sorted);
        const std::vector<int> ids = Values(array, true);
        EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), static_cast<size_t>(n));

        // Binary searches: key.Compare(cell) throughout, and the ends of the equal range.
        std::vector<int> sortedRanks;
        for (int v : sorted)
            sortedRanks.push_back(rank(v));
        for (int k = -1; k <= range; ++k) {
            const Item key(k, -1);
            const int lower = static_cast<int>(std::lower_bound(sortedRanks.begin(), sortedRanks.end(), rank(k)) - sortedRanks.begin());
            const int upper = static_cast<int>(std::upper_bound(sortedRanks.begin(), sortedRanks.end(), rank(k)) - sortedRanks.begin());
            const bool present = lower < upper;
            int equal = -2, index = -2;
            Item::log = &log;
            CollectionElement* found = array.BinaryFindEqual(key, &equal);
            if (present) {
                EXPECT_TRUE(equal >= lower && equal < upper);
                EXPECT_EQ(found, &array[equal]);
            } else {
                EXPECT_EQ(equal, -1);
                EXPECT_EQ(found, nullptr);
            }
            // Among duplicates the halving decides, so the "or equal" searches land where
            // BinaryFindEqual does.
            array.BinaryFindEqualOrGreater(key, &index);
            EXPECT_EQ(index, present ? equal : (lower < n ? lower : -1));
            array.BinaryFindEqualOrSmaller(key, &index);
            EXPECT_EQ(index, present ? equal : lower - 1);
            found = array.BinaryFindClosestGreater(key, &index);
            EXPECT_EQ(index, upper < n ? upper : -1);
            EXPECT_EQ(found, upper < n ? &array[upper] : nullptr);
            array.BinaryFindClosestSmaller(key, &index);
            EXPECT_EQ(index, lower - 1);
            expectKeyOnLeft(key, true);
            Item::log = nullptr;
        }

        // Shuffle gives the permutation of CreateArrayOfUniqueUnsortedIndexes for the seed.
        std::vector<int> permutation(static_cast<size_t>(n));
        TRandomizer(round + 7).CreateArrayOfUniqueUnsortedIndexes(n, permutation.data());
        array.Shuffle(round + 7);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(Values(array, true)[static_cast<size_t>(i)], ids[static_cast<size_t>(permutation[static_cast<size_t>(i)])]);
    }
}

TEST_F(ArrayTest, SortSurvivesLargeAndDegenerateInputs)
{
    // Sorted, reversed and all-equal inputs; then elements whose Compare always says "less"
    // (the default), which the sort keeps inside the array without losing a pointer.
    const int n = 100000;
    TArrayBase array(n, 0, 1);
    for (int i = 0; i < n; ++i)
        array.Add(new Item(i % 3 == 0 ? 5 : i, i));
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.Reverse();
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.DeleteAll(1);

    std::vector<CollectionElement*> plain, after;
    for (int i = 0; i < 10000; ++i)
        plain.push_back(array.Add(new CollectionElement));
    array.Sort();
    for (int i = 0; i < array.GetCount(); ++i)
        after.push_back(&array[i]);
    std::sort(plain.begin(), plain.end());
    std::sort(after.begin(), after.end());
    EXPECT_EQ(plain, after);
}
