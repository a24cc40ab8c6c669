#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "NH_Heap.h"
#include "collections/ArrayInPlace.h"
#include "collections/CellSequence.h"
#include "errors/Exception.h"
#include "numeric/Randomizer.h"

namespace {

// Cells of three ints, so that moves of more than one word are exercised.
struct Triple {
    int a, b, c;
};

std::vector<int> Values(const TCellSequence& s)
{
    std::vector<int> values;
    for (int i = 0; i < s.GetCount(); ++i)
        values.push_back(static_cast<const Triple*>(s.GetCellPtr(i))->a);
    return values;
}

void Fill(TCellSequence& s, std::initializer_list<int> values)
{
    for (int v : values) {
        const Triple t{v, v * 10, -v};
        s.InsertCell(&t, s.GetCount());
    }
}

// A private heap per test: its counters show exactly what the sequences left behind.
class CellSequenceTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(heap.GetBlocksInUse(), 0ul); }
    TCellSequence Make(int expansion = 0) { return TCellSequence(sizeof(Triple), 5, expansion, 0, &heap); }
    NH_Heap heap{0, "cells"};
};

}  // namespace

TEST_F(CellSequenceTest, GrowthCountsAndClamps)
{
    // Single cells grow the capacity by exact steps of the expansion size, from nothing.
    TCellSequence s = Make(20), t = Make(20), u = Make(0), c = Make(4);
    EXPECT_TRUE(s.GetFirstCell() == nullptr && s.GetNumCells() == 0 && s.IsFull());
    std::vector<int> capacities;
    for (int i = 0; i < 61; ++i) {
        Fill(s, {i});
        if (capacities.empty() || capacities.back() != s.GetNumCells())
            capacities.push_back(s.GetNumCells());
    }
    EXPECT_EQ(capacities, (std::vector<int>{20, 40, 60, 80}));
    // The missing part is rounded, not the total: exactly 7, then an eighth cell gives 27.
    // Zero and negative counts change nothing.
    t.AllocateBusyCells(7);
    EXPECT_EQ(t.GetNumCells(), 7);
    t.InsertCell(nullptr, 7);
    t.AllocateBusyCells(0);
    t.AllocateBusyCells(-3);
    t.EnsureNumCells(-1);
    EXPECT_EQ(std::pair(t.GetCount(), t.GetNumCells()), std::pair(8, 27));  // a null cell still counts
    // Expansion size 0 grows one cell at a time; Insert grows exactly.
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ((u.InsertCell(nullptr, 0), u.GetNumCells()), i);
    s.FreeMemory();
    s.Insert(u, 0, 0);
    EXPECT_EQ(s.GetNumCells(), 3);

    // Ranges and indexes are clamped.
    Fill(c, {1, 2, 3});
    const std::pair<int, int> cuts[] = {{1, 0}, {1, -2}, {-1, 1}, {3, 1}, {1, 100}};
    for (auto [index, number] : cuts)
        c.CutCells(index, number);
    const Triple nine{9, 90, -9};
    EXPECT_EQ(c.FillCell(4, &nine), nullptr);
    EXPECT_EQ(c.FillCell(3, &nine), c.GetCellPtr(3));  // past the count, inside the capacity
    c.InsertCell(&nine, 50);
    c.InsertCell(&nine, -7);
    EXPECT_EQ(Values(c), (std::vector<int>{9, 1, 9}));
    c.Sort([](const void* x, const void* y) { return static_cast<const Triple*>(x)->a - static_cast<const Triple*>(y)->a; });
    c.EnsureNumCells(50);
    c.OptimizeSize();
    EXPECT_EQ(c.GetNumCells(), 3);
    EXPECT_EQ(Values(c), (std::vector<int>{1, 9, 9}));
    c.ClearAll();
    EXPECT_EQ(Values(c), (std::vector<int>{0, 0, 0}));
    c.SetNumBusyCells(0);
    c.OptimizeSize();
    EXPECT_FALSE(c.HasAllocatedMemory());
    c.SetNumBusyCells(4);
    c.FreeMemory();  // without a buffer: the forced count stays
    EXPECT_EQ(c.GetCount(), 4);
}

TEST_F(CellSequenceTest, InsertReserveAbsorbAndShuffle)
{
    TCellSequence s = Make(), src = Make(), self = Make(), bytes(1, 0, 0, 0, &heap);
    Fill(s, {1, 2, 3, 4});
    Fill(src, {7, 8});
    s.Insert(src, 2, 0);
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 7, 8, 3, 4}));
    s.Insert(src, 1, 1);  // reserving opens the gap without raising the count
    EXPECT_EQ(s.GetCount(), 6);
    s.SetNumBusyCells(8);
    s.CutCells(1, 2);  // the gap was at 1, the tail moved up by two cells
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 7, 8, 3, 4}));
    // A sequence inserted into itself gets its old contents once more; absorbing itself, or
    // cells of another size, changes nothing.
    Fill(self, {1, 2, 3});
    self.Insert(self, 1, 0);
    self.Absorb(self, 0);
    bytes.InsertCell("x", 0);
    self.Append(bytes);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 1, 2, 3, 2, 3}));
    s.Absorb(src, 0);
    EXPECT_EQ(Values(s), (std::vector<int>{7, 8, 1, 2, 7, 8, 3, 4}));
    EXPECT_TRUE(src.GetCount() == 0 && src.GetNumCells() == 0 && src.GetFirstCell() == nullptr);

    // Shuffle is the permutation of CreateArrayOfUniqueUnsortedIndexes, swapping whole cells.
    std::vector<int> expected(8);
    TRandomizer(77).CreateArrayOfUniqueUnsortedIndexes(8, expected.data());
    for (int& i : expected)
        i = Values(s)[i];
    s.Shuffle(77);
    EXPECT_EQ(Values(s), expected);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(static_cast<Triple*>(s.GetCellPtr(i))->c, -expected[i]);
}

TEST_F(CellSequenceTest, CopyAssignAndEquality)
{
    TCellSequence s = Make(20);
    s.ShouldDeleteElements(1);
    s.MarkAsSorted(1);
    Fill(s, {1, 2, 3});
    s.EnsureNumCells(40);
    NH_Heap other(0, "other");
    {
        TCellSequence a(sizeof(Triple), 0, 0, 0, &other), bytes(1, 3, 0, 0, &other);
        a = s;
        EXPECT_TRUE(a.GetNumCells() == 40 && a.GetCount() == 3 && a == s);
        EXPECT_TRUE(a.GetHeap() == &other && a.ShouldDeleteElements() && a.IsMarkedAsSorted());
        bytes.InsertCell("q", 0);
        bytes.Assign(s, 0);
        EXPECT_TRUE(bytes.GetCount() == 0 && !bytes.HasAllocatedMemory() && bytes.GetCellSize() == 12);

        TCellSequence b(a);  // the copying constructor takes the source's heap
        EXPECT_TRUE(b.GetHeap() == &other && b == s);
        static_cast<Triple*>(b.GetCellPtr(2))->c = 0;
        EXPECT_FALSE(b == s);
        TCellSequence narrow(1, 0, 0, 0, &other), wide(8, 0, 0, 0, &other);
        narrow.InsertCell("abc", 0);
        wide.InsertCell("abcdefg", 0);
        EXPECT_FALSE(wide == narrow);  // never reads past the right side's busy bytes
        EXPECT_TRUE(narrow == wide);   // the left side's cell size sets the length
    }
    // A failed allocation inside Assign leaves no buffer behind and passes on.
    TCellSequence victim(sizeof(Triple), 0, 0, 0, &other);
    Fill(victim, {4});
    other.FailAllocation(1);
    EXPECT_THROW(victim = s, TException);
    EXPECT_TRUE(!victim.HasAllocatedMemory() && victim.GetNumCells() == 0);
    EXPECT_EQ(other.GetBlocksInUse(), 0ul);
}

namespace {

// A value that counts its live copies, so that a destructor run on a cell past the count shows.
struct Counted {
    explicit Counted(int v) : v(v) { ++live; }
    Counted(const Counted& o) : v(o.v) { ++live; }
    ~Counted() { --live; }
    int v;
    static inline int live = 0;
};

}  // namespace

TEST(ArrayInPlaceTest, ValuesAreBuiltAndDestroyedOnce)
{
    const unsigned long defaultBefore = NH_Heap::Default().GetBlocksInUse();
    {
        TArrayInPlace<Counted> values(0, 3);
        for (int i = 0; i < 10; ++i)
            EXPECT_NE(values.Add(Counted(i)), nullptr);
        TArrayInPlace<Counted> copy(values);
        EXPECT_EQ(Counted::live, 20);
        // Ranges are clamped to the busy cells, also one that runs past the end.
        const std::pair<int, int> cuts[] = {{8, 3}, {1, 2}, {-1, 3}, {6, 1}, {0, 0}, {4, 100}};
        for (auto [index, number] : cuts)
            values.CutCells(index, number);
        EXPECT_EQ(Counted::live, 14);
        EXPECT_EQ(std::vector<int>({0, 3, 4, 5}), std::vector<int>({values[0].v, values[1].v, values[2].v, values[3].v}));
        copy = values;
        EXPECT_TRUE(Counted::live == 8 && copy[3].v == 5);
    }
    EXPECT_EQ(Counted::live, 0);
    EXPECT_EQ(NH_Heap::Default().GetBlocksInUse(), defaultBefore);
}
