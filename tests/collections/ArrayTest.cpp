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

// An element with a value to order by and an id to tell equal values apart. Compare mode 1
// orders backwards. Every Compare can be logged as (left operand, right operand).
struct Item : CollectionElement {
    explicit Item(int value, int id = 0) : value(value), id(id) { ++live; }
    Item(const Item& other) : CollectionElement(other), value(other.value), id(other.id) { ++live; }
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
        const int a = value;
        const int b = static_cast<const Item&>(other).value;
        const int c = a < b ? -1 : a > b ? 1 : 0;
        return mode == 1 ? -c : c;
    }
    CollectionElement* CreateClone(const void* context) const override
    {
        lastContext = context;
        if (clonesBeforeFailure == 0)
            throw std::runtime_error("clone failed");
        if (clonesBeforeFailure > 0)
            --clonesBeforeFailure;
        return new Item(value, id + 1000);
    }

    int value;
    int id;
    static int live;
    static int clonesBeforeFailure;  // -1: never fail
    static const void* lastContext;
    static std::vector<std::pair<const CollectionElement*, const CollectionElement*>>* log;
    static std::vector<int>* deaths;
};

int Item::live = 0;
int Item::clonesBeforeFailure = -1;
const void* Item::lastContext = nullptr;
std::vector<std::pair<const CollectionElement*, const CollectionElement*>>* Item::log = nullptr;
std::vector<int>* Item::deaths = nullptr;

// Every test ends with no element alive and no heap block left behind.
class ArrayTest : public ::testing::Test {
protected:
    void SetUp() override { blocksBefore = NH_Heap::Default().GetBlocksInUse(); }
    void TearDown() override
    {
        EXPECT_EQ(Item::live, 0);
        EXPECT_EQ(NH_Heap::Default().GetBlocksInUse(), blocksBefore);
        Item::live = 0;
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

const Item& At(const TArrayBase& array, int index)
{
    return static_cast<const Item&>(array[index]);
}

std::vector<int> Values(const TArrayBase& array)
{
    std::vector<int> values;
    for (int i = 0; i < array.GetCount(); ++i)
        values.push_back(At(array, i).value);
    return values;
}

std::vector<int> Ids(const TArrayBase& array)
{
    std::vector<int> ids;
    for (int i = 0; i < array.GetCount(); ++i)
        ids.push_back(At(array, i).id);
    return ids;
}

int ValueOf(const CollectionElement* element)
{
    return element ? static_cast<const Item*>(element)->value : -12345;
}

}  // namespace

TEST_F(ArrayTest, NamedEdgeCases)
{
    TArrayBase array;  // (20, 20, owning)
    EXPECT_TRUE(array.ShouldDeleteElements());
    EXPECT_EQ(array.GetCompareMode(), 0);
    EXPECT_EQ(array.GetFirst(), nullptr);
    EXPECT_EQ(array.GetLast(), nullptr);
    EXPECT_EQ(array.Pop(), nullptr);
    EXPECT_EQ(array.CutDetach(0), nullptr);
    array.CutDelete(3);
    EXPECT_TRUE(array.IsSorted());
    EXPECT_TRUE(array.IsSortedBackwards());

    // Searches of an empty array give null and -1.
    Item key(1);
    int index = 7;
    EXPECT_EQ(array.BinaryFindEqual(key, &index), nullptr);
    EXPECT_EQ(index, -1);
    index = 7;
    EXPECT_EQ(array.LinearFindSmallest(&index), nullptr);
    EXPECT_EQ(index, -1);
    index = 7;
    EXPECT_EQ(array.LinearFindEqualOrGreater(key, &index), nullptr);
    EXPECT_EQ(index, -1);

    // One element is its own greatest; of 1, 3, 2 the greatest is at 1.
    AddValues(array, {4});
    EXPECT_EQ(ValueOf(array.LinearFindGreatest(&index)), 4);
    EXPECT_EQ(index, 0);
    array.DeleteAll(1);
    AddValues(array, {1, 3, 2});
    EXPECT_EQ(ValueOf(array.LinearFindGreatest(&index)), 3);
    EXPECT_EQ(index, 1);

    // An exact match ends LinearFindEqualOrSmaller, whatever was found before it.
    array.DeleteAll(1);
    AddValues(array, {5, 9, 7});
    Item seven(7);
    EXPECT_EQ(ValueOf(array.LinearFindEqualOrSmaller(seven, &index)), 7);
    EXPECT_EQ(index, 2);

    // Below every element there is no smaller one.
    array.Sort();
    Item low(0);
    index = 5;
    EXPECT_EQ(array.BinaryFindClosestSmaller(low, &index), nullptr);
    EXPECT_EQ(index, -1);

    // The sorted mark says only what the caller last said.
    array.MarkAsSorted(1);
    AddValues(array, {1});
    EXPECT_TRUE(array.IsMarkedAsSorted());
    EXPECT_FALSE(array.IsSorted());
    array.Sort();
    array.Shuffle(3);
    array.Reverse();
    EXPECT_TRUE(array.IsMarkedAsSorted());
    array.MarkAsSorted(0);
    array.Sort();
    EXPECT_FALSE(array.IsMarkedAsSorted());
    EXPECT_EQ(Values(array), (std::vector<int>{1, 5, 7, 9}));
    EXPECT_FALSE(array.IsSortedBackwards());
    array.Reverse();
    EXPECT_TRUE(array.IsSortedBackwards());
    array.SetCompareMode(1);
    EXPECT_TRUE(array.IsSorted());  // the mode goes to every Compare

    // Equal values go behind their equals.
    array.SetCompareMode(0);
    array.Sort();
    array.InsertInSortedArray(new Item(5, 50));
    array.InsertInSortedArray(new Item(5, 51));
    array.InsertInSortedArray(new Item(0, 52));
    array.InsertInSortedArray(new Item(10, 53));
    EXPECT_EQ(Values(array), (std::vector<int>{0, 1, 5, 5, 5, 7, 9, 10}));
    EXPECT_EQ(At(array, 3).id, 50);
    EXPECT_EQ(At(array, 4).id, 51);

    // CutRange of 0 or of a negative number changes nothing; a range past the end is clamped.
    array.CutRange(1, 0, 1);
    array.CutRange(1, -3, 1);
    array.CutRange(-1, 2, 1);
    EXPECT_EQ(array.GetCount(), 8);
    array.CutRange(6, 100, 1);
    EXPECT_EQ(Values(array), (std::vector<int>{0, 1, 5, 5, 5, 7}));

    // Growth of the default array: steps of 20.
    TArrayBase steps(20, 20, 0);
    Item dummy(0);
    for (int i = 0; i < 21; ++i)
        steps.Add(&dummy);
    EXPECT_EQ(steps.GetNumCells(), 40);
    steps.Prepend(&key);
    EXPECT_EQ(steps.GetFirst(), &key);
    EXPECT_EQ(steps.Pop(), &dummy);
    EXPECT_EQ(steps.GetCount(), 21);
    steps.Insert(&seven, 99);  // clamped to the end
    EXPECT_EQ(steps.GetLast(), &seven);
}

TEST_F(ArrayTest, OwnershipDeletesExactlyWhatIsOwned)
{
    std::vector<int> deaths;
    Item::deaths = &deaths;
    {
        TArrayBase owning;
        AddValues(owning, {1, 2, 3, 4});
        EXPECT_EQ(Item::live, 4);
    }
    EXPECT_EQ(Item::live, 0);
    EXPECT_EQ(deaths, (std::vector<int>{3, 2, 1, 0}));  // from the last index down

    // A non-owning array lets its elements live, also through Clear, which drops the cells.
    Item a(1, 0), b(2, 1);
    {
        TArrayBase borrowing(4, 4, 0);
        borrowing.Add(&a);
        borrowing.Add(&b);
        borrowing.Clear();
        EXPECT_EQ(borrowing.GetCount(), 0);
        EXPECT_FALSE(borrowing.HasAllocatedMemory());
        borrowing.Add(&a);
        borrowing.Add(nullptr);
    }
    EXPECT_EQ(Item::live, 2);

    // DeleteAll deletes whatever the flag says and passes over null cells; with 0 the buffer stays.
    deaths.clear();
    TArrayBase array(4, 4, 0);
    AddValues(array, {10, 11});
    array.Add(nullptr);
    AddValues(array, {12});
    const int capacity = array.GetNumCells();
    array.DeleteAll(0);
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetNumCells(), capacity);
    EXPECT_TRUE(array.HasAllocatedMemory());
    EXPECT_EQ(deaths, (std::vector<int>{3, 1, 0}));

    // CutDelete and CutRange delete too; CutRange from low index to high. CutDetach gives the
    // element back alive.
    deaths.clear();
    AddValues(array, {0, 1, 2, 3, 4, 5});
    array.CutDelete(0);
    array.CutRange(1, 3, 1);
    EXPECT_EQ(deaths, (std::vector<int>{0, 2, 3, 4}));
    CollectionElement* detached = array.CutDetach(0);
    EXPECT_EQ(ValueOf(detached), 1);
    delete detached;
    CollectionElement* kept = &array[0];
    array.CutRange(0, 1, 0);  // without deleting
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(Item::live, 3);  // a, b and the element cut without deleting
    EXPECT_EQ(deaths.size(), 5u);
    delete kept;
    Item::deaths = nullptr;

    // AddUnique: a duplicate goes if the array owns its elements, and the first equal comes back.
    TArrayBase unique;
    AddValues(unique, {3, 1, 3});
    CollectionElement* firstThree = &unique[0];
    CollectionElement* secondThree = &unique[2];
    Item* duplicate = new Item(3, 9);
    EXPECT_EQ(unique.AddUnique(duplicate), firstThree);
    EXPECT_EQ(unique.GetCount(), 3);
    EXPECT_EQ(Item::live, 2 + 3);
    CollectionElement* fresh = unique.AddUnique(new Item(2, 8));
    EXPECT_EQ(ValueOf(fresh), 2);
    EXPECT_EQ(unique.GetCount(), 4);
    // An element the array already holds is never deleted.
    EXPECT_EQ(unique.AddUnique(secondThree), firstThree);
    EXPECT_EQ(unique.GetCount(), 4);
    // Sorted and marked: the binary search decides, the linear one picks the first equal.
    unique.Sort();
    unique.MarkAsSorted(1);
    EXPECT_EQ(unique.AddUnique(new Item(3, 7)), &unique[2]);
    EXPECT_EQ(unique.GetCount(), 4);
    unique.AddUnique(new Item(0, 6));
    EXPECT_EQ(Values(unique), (std::vector<int>{0, 1, 2, 3, 3}));

    TArrayBase notOwning(4, 4, 0);
    notOwning.Add(&a);
    Item same(1, 20);
    EXPECT_EQ(notOwning.AddUnique(&same), &a);
    EXPECT_EQ(Item::live, 3 + 5);  // a, b, same, and unique's five
    // A null element is added once, without comparing.
    EXPECT_EQ(notOwning.AddUnique(nullptr), nullptr);
    EXPECT_EQ(notOwning.AddUnique(nullptr), nullptr);
    EXPECT_EQ(notOwning.GetCount(), 2);
    notOwning.InsertInSortedArray(nullptr);
    EXPECT_EQ(notOwning.GetCount(), 3);
    EXPECT_EQ(notOwning.GetLast(), nullptr);
}

TEST_F(ArrayTest, CopiesCloneAndMovesDoNot)
{
    TArrayBase borrowed(10, 5, 0);
    Item a(1, 0), b(2, 1);
    borrowed.Add(&a);
    borrowed.Add(&b);
    borrowed.SetCompareMode(1);
    {
        // The copy constructor takes flags and compare mode and holds clones.
        TArrayBase copy(borrowed);
        EXPECT_FALSE(copy.ShouldDeleteElements());
        EXPECT_EQ(copy.GetCompareMode(), 1);
        EXPECT_EQ(Ids(copy), (std::vector<int>{1000, 1001}));
        EXPECT_NE(&copy[0], &a);
        EXPECT_TRUE(AreEqual(copy, borrowed, 0));
        copy.ShouldDeleteElements(1);
    }
    EXPECT_EQ(Item::live, 2);

    // operator= keeps this array's compare mode; Assign hands its context to every clone and
    // deletes what an owning array held.
    TArrayBase owning;
    AddValues(owning, {7, 8, 9});
    owning = borrowed;
    EXPECT_EQ(owning.GetCompareMode(), 0);
    EXPECT_FALSE(owning.ShouldDeleteElements());  // the flags come from the source
    owning.ShouldDeleteElements(1);
    EXPECT_EQ(Item::live, 4);
    const int context = 0;
    owning.Assign(borrowed, &context);
    EXPECT_EQ(Item::lastContext, &context);
    owning.ShouldDeleteElements(1);
    EXPECT_EQ(Item::live, 4);
    const TArrayBase& same = owning;
    owning = same;
    EXPECT_EQ(owning.GetCount(), 2);

    // Insert clones into a gap; an array inserted into itself clones its old elements once.
    owning.Insert(borrowed, 1, &context);
    EXPECT_EQ(Values(owning), (std::vector<int>{1, 1, 2, 2}));
    owning.Insert(owning, 2, nullptr);
    EXPECT_EQ(Values(owning), (std::vector<int>{1, 1, 1, 1, 2, 2, 2, 2}));
    owning += borrowed;
    owning.Append(borrowed, nullptr);
    EXPECT_EQ(owning.GetCount(), 12);
    EXPECT_EQ(Item::live, 2 + 12);

    // Absorb moves pointers and clones nothing; AbsorbAndSort sorts the whole result.
    TArrayBase donor;
    AddValues(donor, {0, 5});
    CollectionElement* first = &donor[0];
    owning.AbsorbAndSort(donor);
    EXPECT_EQ(donor.GetCount(), 0);
    EXPECT_FALSE(donor.HasAllocatedMemory());
    EXPECT_EQ(Item::live, 2 + 14);
    EXPECT_EQ(&owning[0], first);
    EXPECT_EQ(owning.GetLast()->Compare(Item(5), 0), 0);
    owning.Absorb(owning, 0);
    EXPECT_EQ(owning.GetCount(), 14);

    // AreEqual: the same object, counts, then pairwise Compare in the given mode; null cells
    // equal only null cells.
    TArrayBase left(4, 4, 1), right(4, 4, 1);
    AddValues(left, {1, 2});
    AddValues(right, {1, 2});
    EXPECT_TRUE(AreEqual(left, left, 0));
    EXPECT_TRUE(AreEqual(left, right, 0));
    AddValues(right, {3});
    EXPECT_FALSE(AreEqual(left, right, 0));
    left.Add(nullptr);
    EXPECT_FALSE(AreEqual(left, right, 0));
    right.CutDelete(2);
    right.Add(nullptr);
    EXPECT_TRUE(AreEqual(left, right, 0));
    AddValues(right, {4});
    AddValues(left, {5});
    EXPECT_FALSE(AreEqual(left, right, 0));
}

TEST_F(ArrayTest, FailingClonesLeaveValidArrays)
{
    TArrayBase source;
    AddValues(source, {1, 2, 3, 4});

    // Assign keeps what was cloned before the failure.
    TArrayBase target;
    AddValues(target, {9});
    Item::clonesBeforeFailure = 2;
    EXPECT_THROW(target.Assign(source, nullptr), std::runtime_error);
    EXPECT_EQ(Values(target), (std::vector<int>{1, 2}));

    // Insert closes the part of the gap that no clone reached.
    Item::clonesBeforeFailure = 1;
    EXPECT_THROW(target.Insert(source, 1, nullptr), std::runtime_error);
    EXPECT_EQ(Values(target), (std::vector<int>{1, 1, 2}));
    Item::clonesBeforeFailure = 0;
    EXPECT_THROW(target.Insert(source, 3, nullptr), std::runtime_error);
    EXPECT_EQ(Values(target), (std::vector<int>{1, 1, 2}));

    // The copy constructor deletes its clones before passing the exception on.
    Item::clonesBeforeFailure = 3;
    EXPECT_THROW(TArrayBase copy(source), std::runtime_error);
    EXPECT_EQ(Item::live, 4 + 3);

    // A clone that gives null is stored as null and never deleted or visited.
    TArrayBase nulls;
    nulls.Add(new CollectionElement);
    TArrayBase copy(nulls);
    EXPECT_EQ(copy.GetCount(), 1);
    EXPECT_EQ(copy.GetFirst(), nullptr);
    copy.ForEach([](CollectionElement&, void*) { FAIL(); }, nullptr);
    EXPECT_EQ(copy.LinearFindSmallest(), nullptr);
}

TEST_F(ArrayTest, VisitsAndPredicates)
{
    TArrayBase array;
    AddValues(array, {4, 1, 4, 2});
    array.Insert(nullptr, 2);
    int sum = 0;
    array.ForEach([](CollectionElement& e, void* total) { *static_cast<int*>(total) += ValueOf(&e); }, &sum);
    EXPECT_EQ(sum, 11);

    const int four = 4;
    auto isValue = [](const CollectionElement& e, const void* v) {
        return static_cast<int>(ValueOf(&e) == *static_cast<const int*>(v));
    };
    int index = 9;
    EXPECT_EQ(array.FindFirstThat(isValue, &four, &index), &array[0]);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(array.FindLastThat(isValue, &four, &index), &array[3]);
    EXPECT_EQ(index, 3);
    const int five = 5;
    EXPECT_EQ(array.FindLastThat(isValue, &five, &index), nullptr);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(array.FindFirstThat(isValue, &five), nullptr);
    EXPECT_TRUE(array.HasMember(&array[4]));
    EXPECT_TRUE(array.HasMember(nullptr));
    Item stranger(4);
    EXPECT_FALSE(array.HasMember(&stranger));
}

// Random arrays, sorted and searched, against the standard algorithms as oracles. Compare
// mode 1 orders backwards, so the oracle works on ranks: the value, or its negation.
TEST_F(ArrayTest, SortAndSearchesAgreeWithOracles)
{
    std::vector<std::pair<const CollectionElement*, const CollectionElement*>> log;
    for (int round = 0; round < 300; ++round) {
        TRandomizer random(round + 1);
        const int mode = round % 3 == 2 ? 1 : 0;
        const int n = static_cast<int>(random.Get(round < 20 ? 4 : 80));
        const int range = static_cast<int>(random.Get(30)) + 1;
        auto rank = [mode](int v) { return mode ? -v : v; };

        TArrayBase array(0, 7, 1);
        array.SetCompareMode(mode);
        std::vector<int> values;
        for (int i = 0; i < n; ++i) {
            values.push_back(static_cast<int>(random.Get(static_cast<unsigned long>(range))));
            array.Add(new Item(values.back(), i));
        }

        // Linear searches on the unsorted array: the first of equal candidates wins.
        auto firstIndexOf = [&](int v) {
            return static_cast<int>(std::find(values.begin(), values.end(), v) - values.begin());
        };
        for (int k = -1; k <= range; ++k) {
            Item key(k, -1);
            int expectSmaller = -1, expectGreater = -1;
            for (int v : values) {
                if (rank(v) < rank(k) && (expectSmaller < 0 || rank(v) > rank(values[static_cast<size_t>(expectSmaller)])))
                    expectSmaller = firstIndexOf(v);
                if (rank(v) > rank(k) && (expectGreater < 0 || rank(v) < rank(values[static_cast<size_t>(expectGreater)])))
                    expectGreater = firstIndexOf(v);
            }
            const int exact = firstIndexOf(k) < n ? firstIndexOf(k) : -1;
            int index = -2;

            log.clear();
            Item::log = &log;
            array.LinearFindEqual(key, &index);
            EXPECT_EQ(index, exact);
            for (auto& call : log)
                ASSERT_EQ(call.first, &key);  // key.Compare(cell)
            log.clear();
            array.LinearFindClosestSmaller(key, &index);
            EXPECT_EQ(index, expectSmaller);
            array.LinearFindClosestGreater(key, &index);
            EXPECT_EQ(index, expectGreater);
            array.LinearFindEqualOrSmaller(key, &index);
            EXPECT_EQ(index, exact >= 0 ? exact : expectSmaller);
            array.LinearFindEqualOrGreater(key, &index);
            EXPECT_EQ(index, exact >= 0 ? exact : expectGreater);
            for (auto& call : log)
                ASSERT_NE(call.first, &key);  // cell.Compare(key) and cell.Compare(best)
            Item::log = nullptr;
        }
        if (n > 0) {
            std::vector<int> ranks;
            for (int v : values)
                ranks.push_back(rank(v));
            int index = -2;
            array.LinearFindSmallest(&index);
            EXPECT_EQ(index, std::min_element(ranks.begin(), ranks.end()) - ranks.begin());
            array.LinearFindGreatest(&index);
            // max_element gives the first of equal maxima as well.
            EXPECT_EQ(index, std::max_element(ranks.begin(), ranks.end()) - ranks.begin());
        }

        // Sort: the same values as a stable sort, each element exactly once.
        std::vector<int> sorted = values;
        std::stable_sort(sorted.begin(), sorted.end(), [&](int x, int y) { return rank(x) < rank(y); });
        array.Sort();
        ASSERT_EQ(Values(array), sorted);
        std::vector<int> ids = Ids(array);
        EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), static_cast<size_t>(n));
        EXPECT_TRUE(array.IsSorted());

        // Binary searches: key.Compare(cell) throughout, and the bounds of the equal range.
        std::vector<int> sortedRanks;
        for (int v : sorted)
            sortedRanks.push_back(rank(v));
        for (int k = -1; k <= range; ++k) {
            Item key(k, -1);
            const int lower = static_cast<int>(std::lower_bound(sortedRanks.begin(), sortedRanks.end(), rank(k)) - sortedRanks.begin());
            const int upper = static_cast<int>(std::upper_bound(sortedRanks.begin(), sortedRanks.end(), rank(k)) - sortedRanks.begin());
            const bool present = lower < upper;
            int equal = -2, index = -2;

            log.clear();
            Item::log = &log;
            CollectionElement* found = array.BinaryFindEqual(key, &equal);
            if (present) {
                EXPECT_GE(equal, lower);
                EXPECT_LT(equal, upper);
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
            EXPECT_EQ(ValueOf(array.BinaryFindClosestSmaller(key)), lower > 0 ? sorted[static_cast<size_t>(lower - 1)] : -12345);
            for (auto& call : log)
                ASSERT_EQ(call.first, &key);
            Item::log = nullptr;

            // InsertInSortedArray lands behind every equal element.
            if (k == range / 2) {
                Item* extra = new Item(k, 999);
                array.InsertInSortedArray(extra);
                EXPECT_EQ(&array[upper], extra);
                EXPECT_TRUE(array.IsSorted());
                array.CutDelete(upper);
            }
        }

        // Shuffle gives the permutation of CreateArrayOfUniqueUnsortedIndexes for the seed.
        if (n > 1) {
            std::vector<int> before = Ids(array);
            std::vector<int> permutation(static_cast<size_t>(n));
            TRandomizer(round + 7).CreateArrayOfUniqueUnsortedIndexes(n, permutation.data());
            array.Shuffle(round + 7);
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(At(array, i).id, before[static_cast<size_t>(permutation[static_cast<size_t>(i)])]);
        }
    }
}

TEST_F(ArrayTest, SortSurvivesLargeAndDegenerateInputs)
{
    // Sorted, reversed and all-equal inputs of some size, and elements whose Compare always
    // says "less" (the default): the sort stays inside the array and keeps every pointer.
    const int n = 100000;
    TArrayBase array(n, 0, 1);
    for (int i = 0; i < n; ++i)
        array.Add(new Item(i, i));
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.Reverse();
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.DeleteAll(0);
    for (int i = 0; i < n; ++i)
        array.Add(new Item(5, i));
    array.Sort();
    EXPECT_TRUE(array.IsSorted());
    array.DeleteAll(1);

    // Always "less" costs quadratic time: a smaller array does.
    const int m = 10000;
    std::vector<CollectionElement*> plain;
    for (int i = 0; i < m; ++i) {
        plain.push_back(new CollectionElement);
        array.Add(plain.back());
    }
    array.Sort();
    std::vector<CollectionElement*> after;
    for (int i = 0; i < m; ++i)
        after.push_back(&array[i]);
    std::sort(plain.begin(), plain.end());
    std::sort(after.begin(), after.end());
    EXPECT_EQ(plain, after);
}
