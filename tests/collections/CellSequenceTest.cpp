#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "NH_Heap.h"
#include "collections/ArrayInPlace.h"
#include "collections/CellSequence.h"
#include "errors/Exception.h"
#include "frame/Frame.h"
#include "numeric/Randomizer.h"
#include "text/TextString.h"

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

TEST_F(CellSequenceTest, GrowthAndCounts)
{
    TCellSequence s = Make(20);
    EXPECT_EQ(s.GetFirstCell(), nullptr);
    EXPECT_EQ(s.GetNumCells(), 0);
    EXPECT_TRUE(s.IsFull());

    // Single cells grow the capacity by exact steps of the expansion size.
    std::vector<int> capacities;
    for (int i = 0; i < 61; ++i) {
        Fill(s, {i});
        if (capacities.empty() || capacities.back() != s.GetNumCells())
            capacities.push_back(s.GetNumCells());
    }
    EXPECT_EQ(capacities, (std::vector<int>{20, 40, 60, 80}));

    // The missing part is rounded, not the total: exactly 7, then an eighth cell gives 27.
    TCellSequence t = Make(20);
    t.AllocateBusyCells(7);
    EXPECT_EQ(t.GetNumCells(), 7);
    t.InsertCell(nullptr, 7);
    EXPECT_EQ(t.GetNumCells(), 27);
    EXPECT_EQ(t.GetCount(), 8);  // a null cell still counts

    // Expansion size 0 grows one cell at a time; Insert grows exactly.
    TCellSequence u = Make(0);
    for (int i = 1; i <= 3; ++i) {
        u.InsertCell(nullptr, 0);
        EXPECT_EQ(u.GetNumCells(), i);
    }
    TCellSequence w = Make(20);
    w.Insert(u, 0, 0);
    EXPECT_EQ(w.GetNumCells(), 3);

    // Zero and negative counts change nothing; ranges and indexes are clamped.
    t.AllocateBusyCells(0);
    t.AllocateBusyCells(-3);
    t.EnsureNumCells(-1);
    EXPECT_EQ(t.GetCount(), 8);
    EXPECT_EQ(t.GetNumCells(), 27);
    TCellSequence c = Make(4);
    Fill(c, {1, 2, 3});
    c.CutCells(1, 0);
    c.CutCells(1, -2);
    c.CutCells(-1, 1);
    c.CutCells(3, 1);
    EXPECT_EQ(Values(c), (std::vector<int>{1, 2, 3}));
    c.CutCells(1, 100);
    EXPECT_EQ(Values(c), (std::vector<int>{1}));
    const Triple nine{9, 90, -9};
    EXPECT_EQ(c.FillCell(4, &nine), nullptr);
    EXPECT_EQ(c.FillCell(3, &nine), c.GetCellPtr(3));  // past the count, inside the capacity
    EXPECT_EQ(c.GetCount(), 1);
    c.InsertCell(&nine, 50);
    c.InsertCell(&nine, -7);
    EXPECT_EQ(Values(c), (std::vector<int>{9, 1, 9}));

    // FreeMemory without a buffer leaves a forced count; OptimizeSize shrinks to the count.
    TCellSequence e = Make();
    e.SetNumBusyCells(4);
    e.FreeMemory();
    EXPECT_EQ(e.GetCount(), 4);
    c.EnsureNumCells(50);
    c.OptimizeSize();
    EXPECT_EQ(c.GetNumCells(), 3);
    EXPECT_EQ(Values(c), (std::vector<int>{9, 1, 9}));
    c.SetNumBusyCells(0);
    c.OptimizeSize();
    EXPECT_FALSE(c.HasAllocatedMemory());
}

TEST_F(CellSequenceTest, InsertReserveAndAbsorb)
{
    TCellSequence s = Make();
    Fill(s, {1, 2, 3, 4});
    TCellSequence src = Make();
    Fill(src, {7, 8});
    s.Insert(src, 2, 0);
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 7, 8, 3, 4}));

    // Reserving opens the gap without raising the count.
    s.Insert(src, 1, 1);
    EXPECT_EQ(s.GetCount(), 6);
    s.SetNumBusyCells(8);
    EXPECT_EQ(Values(s)[3], 2);
    EXPECT_EQ(Values(s)[7], 4);

    // A sequence inserted into itself gets its old contents once more.
    TCellSequence self = Make();
    Fill(self, {1, 2, 3});
    self.Insert(self, 1, 0);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 1, 2, 3, 2, 3}));
    self.Absorb(self, 0);
    EXPECT_EQ(self.GetCount(), 6);
    TCellSequence bytes(1, 0, 0, 0, &heap);  // cells of another size are not taken
    bytes.InsertCell("x", 0);
    self.Append(bytes);
    EXPECT_EQ(self.GetCount(), 6);

    TCellSequence target = Make();
    Fill(target, {5});
    target.Absorb(src, 0);
    EXPECT_EQ(Values(target), (std::vector<int>{7, 8, 5}));
    EXPECT_EQ(src.GetCount(), 0);
    EXPECT_EQ(src.GetNumCells(), 0);
    EXPECT_EQ(src.GetFirstCell(), nullptr);
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
        TCellSequence a(sizeof(Triple), 0, 0, 0, &other);
        a = s;
        EXPECT_EQ(a.GetNumCells(), 40);
        EXPECT_EQ(a.GetCount(), 3);
        EXPECT_TRUE(a == s);
        EXPECT_EQ(a.GetHeap(), &other);  // Assign keeps its own heap
        EXPECT_TRUE(a.ShouldDeleteElements() && a.IsMarkedAsSorted());

        TCellSequence bytes(1, 3, 0, 0, &other);
        bytes.InsertCell("q", 0);
        bytes.Assign(s, 0);
        EXPECT_EQ(bytes.GetCount(), 0);
        EXPECT_FALSE(bytes.HasAllocatedMemory());
        EXPECT_EQ(bytes.GetCellSize(), static_cast<int>(sizeof(Triple)));

        TCellSequence b(a);  // the copying constructor takes the source's heap
        EXPECT_EQ(b.GetHeap(), &other);
        EXPECT_TRUE(b == s);
        static_cast<Triple*>(b.GetCellPtr(2))->c = 0;
        EXPECT_FALSE(b == s);
        TCellSequence narrow(1, 0, 0, 0, &other);
        narrow.InsertCell("abc", 0);
        TCellSequence wide(8, 0, 0, 0, &other);
        wide.InsertCell("abcdefg", 0);
        EXPECT_FALSE(wide == narrow);  // never reads past the right side's busy bytes
        EXPECT_TRUE(narrow == wide);   // the left side's cell size sets the length
    }
    EXPECT_EQ(other.GetBlocksInUse(), 0ul);

    // A failed allocation inside Assign leaves no buffer behind and passes on.
    TCellSequence victim(sizeof(Triple), 0, 0, 0, &other);
    Fill(victim, {4});
    other.FailAllocation(1);
    EXPECT_THROW(victim = s, TException);
    EXPECT_FALSE(victim.HasAllocatedMemory());
    EXPECT_EQ(victim.GetNumCells(), 0);
    EXPECT_EQ(other.GetBlocksInUse(), 0ul);
}

TEST_F(CellSequenceTest, ShuffleIsTheIndexPermutation)
{
    for (int size : {0, 1, 2, 3, 17, 100}) {
        for (int seed : {1, 7, 123456}) {
            TCellSequence t = Make(8);
            TCellSequence bytes(1, 0, 0, 0, &heap);
            for (int i = 0; i < size; ++i) {
                Fill(t, {i});
                const char c = static_cast<char>(i);
                bytes.InsertCell(&c, i);
            }
            t.Shuffle(seed);
            bytes.Shuffle(seed);
            std::vector<int> expected(static_cast<size_t>(size));
            TRandomizer(seed).CreateArrayOfUniqueUnsortedIndexes(size, expected.data());
            EXPECT_EQ(Values(t), expected) << size << " " << seed;
            for (int i = 0; i < size; ++i) {
                EXPECT_EQ(static_cast<Triple*>(t.GetCellPtr(i))->c, -expected[static_cast<size_t>(i)]);
                EXPECT_EQ(*static_cast<char*>(bytes.GetCellPtr(i)), static_cast<char>(expected[static_cast<size_t>(i)]));
            }
            t.Reverse();
            std::reverse(expected.begin(), expected.end());
            EXPECT_EQ(Values(t), expected);
        }
    }
}

TEST(ArrayInPlaceTest, ValuesAreBuiltAndDestroyedOnce)
{
    const unsigned long before = _stringHeap->GetBlocksInUse();
    const unsigned long defaultBefore = NH_Heap::Default().GetBlocksInUse();
    {
        TArrayInPlace<String> texts(0, 3);
        for (int i = 0; i < 50; ++i)
            EXPECT_NE(texts.Add(String(("value " + std::to_string(i)).c_str())), nullptr);
        TArrayInPlace<String> copy(texts);
        copy[0] = "changed";
        EXPECT_STREQ(texts[0].c_str(), "value 0");
        texts.CutCells(1, 48);
        EXPECT_STREQ(texts[1].c_str(), "value 49");
        copy = texts;
        EXPECT_EQ(copy.GetCount(), 2);
    }
    EXPECT_EQ(_stringHeap->GetBlocksInUse(), before);
    EXPECT_EQ(NH_Heap::Default().GetBlocksInUse(), defaultBefore);
}
