#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "NH_Heap.h"
#include "collections/ArrayInPlace.h"
#include "collections/CellSequence.h"
#include "frame/Frame.h"
#include "numeric/Randomizer.h"
#include "text/TextString.h"

namespace {

// Cells of three ints, so that byte moves of more than one word are exercised.
struct Triple {
    int a, b, c;
};

Triple T3(int v)
{
    return Triple{v, v * 10, -v};
}

int ValueAt(const TCellSequence& s, int index)
{
    return static_cast<const Triple*>(s.GetCellPtr(index))->a;
}

std::vector<int> Values(const TCellSequence& s)
{
    std::vector<int> values;
    for (int i = 0; i < s.GetCount(); ++i)
        values.push_back(ValueAt(s, i));
    return values;
}

void Fill(TCellSequence& s, std::initializer_list<int> values)
{
    for (int v : values) {
        const Triple t = T3(v);
        s.InsertCell(&t, s.GetCount());
    }
}

// A private heap per test, so that the counters show exactly what the sequences left behind.
class CellSequenceTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(heap.GetBlocksInUse(), 0ul); }
    TCellSequence Make(int expansion = 0) { return TCellSequence(sizeof(Triple), 5, expansion, 0, &heap); }
    NH_Heap heap{0, "cells"};
};

}  // namespace

TEST_F(CellSequenceTest, NewSequenceAndGrowthSteps)
{
    TCellSequence s = Make(20);
    EXPECT_EQ(s.GetFirstCell(), nullptr);
    EXPECT_EQ(s.GetNumCells(), 0);
    EXPECT_EQ(s.GetCount(), 0);
    EXPECT_EQ(s.GetLastIndex(), -1);
    EXPECT_TRUE(s.IsFull());
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_FALSE(s.HasAllocatedMemory());
    EXPECT_EQ(s.GetHeap(), &heap);
    EXPECT_EQ(s.GetInitialNumCells(), 5);  // read by nothing: the first growth is sized by the request

    // Single-cell insertion grows in exact steps of the expansion size.
    std::vector<int> capacities;
    for (int i = 0; i < 61; ++i) {
        const Triple t = T3(i);
        s.InsertCell(&t, s.GetCount());
        if (capacities.empty() || capacities.back() != s.GetNumCells())
            capacities.push_back(s.GetNumCells());
    }
    EXPECT_EQ(capacities, (std::vector<int>{20, 40, 60, 80}));
    EXPECT_EQ(s.GetCount(), 61);
    EXPECT_EQ(ValueAt(s, 60), 60);

    // What is missing is rounded, not the total: exactly 7, then an eighth cell gives 27.
    TCellSequence t = Make(20);
    t.EnsureNumCells(7);
    EXPECT_EQ(t.GetNumCells(), 7);
    t.AllocateBusyCells(7);
    t.InsertCell(nullptr, 7);
    EXPECT_EQ(t.GetNumCells(), 27);
    EXPECT_EQ(t.GetCount(), 8);  // a null cell still raises the count

    // Expansion size 0: one cell at a time. Insert, EnsureNumCells and AllocateBusyCells are exact.
    TCellSequence u = Make(0);
    for (int i = 1; i <= 3; ++i) {
        u.InsertCell(nullptr, 0);
        EXPECT_EQ(u.GetNumCells(), i);
    }
    TCellSequence v = Make(20);
    Fill(v, {1, 2, 3});
    EXPECT_EQ(v.GetNumCells(), 20);
    TCellSequence w = Make(20);
    w.Insert(v, 0, 0);
    EXPECT_EQ(w.GetNumCells(), 3);
    w.AllocateBusyCells(5);
    EXPECT_EQ(w.GetNumCells(), 5);
    EXPECT_EQ(w.GetCount(), 5);
    w.EnsureNumCells(2);  // never shrinks
    EXPECT_EQ(w.GetNumCells(), 5);

    // A negative expansion size counts as 0.
    v.SetExpansionSize(-4);
    EXPECT_EQ(v.GetExpansionSize(), 0);
}

TEST_F(CellSequenceTest, CountsThatAreZeroOrNegativeChangeNothing)
{
    TCellSequence s = Make(4);
    Fill(s, {1, 2, 3});
    s.AllocateBusyCells(0);
    s.AllocateBusyCells(-3);
    EXPECT_EQ(s.GetCount(), 3);
    s.EnsureNumCells(-1);
    EXPECT_EQ(s.GetNumCells(), 4);
    s.CutCells(1, 0);
    s.CutCells(1, -2);
    s.CutCells(-1, 1);
    s.CutCells(3, 1);
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 3}));
    s.CutCells(1, 100);  // clamped to the busy cells
    EXPECT_EQ(Values(s), (std::vector<int>{1}));
    EXPECT_EQ(s.FillCell(-1, nullptr), nullptr);
    EXPECT_EQ(s.FillCell(4, nullptr), nullptr);
    const Triple t = T3(9);
    EXPECT_EQ(s.FillCell(3, &t), s.GetCellPtr(3));  // past the count, inside the capacity
    EXPECT_EQ(s.GetCount(), 1);
    EXPECT_EQ(static_cast<Triple*>(s.GetCellPtr(3))->b, 90);

    // Out-of-range insertion indexes are clamped to the ends.
    s.InsertCell(&t, 50);
    const Triple z = T3(0);
    s.InsertCell(&z, -7);
    EXPECT_EQ(Values(s), (std::vector<int>{0, 1, 9}));

    // FreeMemory without a buffer leaves a forced count alone.
    TCellSequence e = Make();
    e.SetNumBusyCells(4);
    e.FreeMemory();
    EXPECT_EQ(e.GetCount(), 4);
    e.SetNumBusyCells(0);
    s.FreeMemory();
    EXPECT_EQ(s.GetCount(), 0);
    EXPECT_EQ(s.GetNumCells(), 0);
}

TEST_F(CellSequenceTest, InsertReserveAbsorbAndCut)
{
    TCellSequence s = Make();
    Fill(s, {1, 2, 3, 4});
    TCellSequence src = Make();
    Fill(src, {7, 8});

    s.Insert(src, 2, 0);
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 7, 8, 3, 4}));
    EXPECT_EQ(static_cast<Triple*>(s.GetCellPtr(3))->c, -8);

    // Reserving opens the gap behind the busy region without raising the count.
    s.Insert(src, 1, 1);
    EXPECT_EQ(s.GetCount(), 6);
    EXPECT_GE(s.GetNumCells(), 8);
    EXPECT_EQ(ValueAt(s, 3), 2);  // the tail moved up by two cells
    s.SetNumBusyCells(8);
    EXPECT_EQ(ValueAt(s, 7), 4);

    // A sequence inserted into itself: its old contents, once more, at the index.
    TCellSequence self = Make();
    Fill(self, {1, 2, 3});
    self.Insert(self, 1, 0);
    EXPECT_EQ(Values(self), (std::vector<int>{1, 1, 2, 3, 2, 3}));
    self += self;
    EXPECT_EQ(self.GetCount(), 12);
    EXPECT_EQ(ValueAt(self, 11), 3);
    self.Absorb(self, 0);  // nothing
    EXPECT_EQ(self.GetCount(), 12);

    // Cells of another size are not taken.
    TCellSequence bytes(1, 0, 0, 0, &heap);
    const char c = 'x';
    bytes.InsertCell(&c, 0);
    self.Append(bytes);
    EXPECT_EQ(self.GetCount(), 12);

    TCellSequence target = Make();
    Fill(target, {5});
    target.Absorb(src, 0);
    EXPECT_EQ(Values(target), (std::vector<int>{7, 8, 5}));
    EXPECT_EQ(src.GetCount(), 0);
    EXPECT_EQ(src.GetNumCells(), 0);
    EXPECT_EQ(src.GetFirstCell(), nullptr);

    target.CutCells(0, 2);
    EXPECT_EQ(Values(target), (std::vector<int>{5}));
    target.ClearAll();
    EXPECT_EQ(target.GetCount(), 1);
    EXPECT_EQ(static_cast<Triple*>(target.GetCellPtr(0))->b, 0);

    // OptimizeSize shrinks to the count, and an empty sequence loses its buffer.
    Fill(target, {1, 2});
    target.EnsureNumCells(50);
    target.OptimizeSize();
    EXPECT_EQ(target.GetNumCells(), 3);
    EXPECT_EQ(ValueAt(target, 2), 2);
    target.SetNumBusyCells(0);
    target.OptimizeSize();
    EXPECT_FALSE(target.HasAllocatedMemory());
    EXPECT_EQ(target.GetNumCells(), 0);
}

TEST_F(CellSequenceTest, CopyAssignAndEquality)
{
    TCellSequence s = Make(20);
    s.ShouldDeleteElements(1);
    s.MarkAsSorted(1);
    Fill(s, {1, 2, 3});
    ASSERT_EQ(s.GetNumCells(), 20);
    s.EnsureNumCells(40);

    NH_Heap other(0, "other");
    {
        TCellSequence a(sizeof(Triple), 0, 0, 0, &other);
        a = s;
        EXPECT_EQ(a.GetNumCells(), 40);
        EXPECT_EQ(a.GetCount(), 3);
        EXPECT_TRUE(a == s);
        EXPECT_EQ(a.GetHeap(), &other);  // the heap is not copied
        EXPECT_EQ(other.GetBlocksInUse(), 1ul);
        EXPECT_TRUE(a.ShouldDeleteElements());
        EXPECT_TRUE(a.IsMarkedAsSorted());
        EXPECT_EQ(a.GetExpansionSize(), 20);

        // Without copying cells: empty, no buffer, and the source's cell layout.
        TCellSequence bytes(1, 3, 0, 0, &other);
        const char c = 'q';
        bytes.InsertCell(&c, 0);
        bytes.Assign(s, 0);
        EXPECT_EQ(bytes.GetCount(), 0);
        EXPECT_FALSE(bytes.HasAllocatedMemory());
        EXPECT_EQ(bytes.GetCellSize(), static_cast<int>(sizeof(Triple)));
        EXPECT_EQ(bytes.GetInitialNumCells(), 5);

        // The copying constructor takes the source's heap; one argument means copy the cells.
        TCellSequence b(a);
        EXPECT_EQ(b.GetHeap(), &other);
        EXPECT_EQ(b.GetNumCells(), 40);
        EXPECT_TRUE(b == s);
        TCellSequence c2(a, 0);
        EXPECT_EQ(c2.GetCount(), 0);
        EXPECT_FALSE(c2.HasAllocatedMemory());
        EXPECT_TRUE(c2.ShouldDeleteElements());

        // Equality: counts, then busy bytes over the left side's cell size.
        static_cast<Triple*>(b.GetCellPtr(2))->c = 0;
        EXPECT_FALSE(b == s);
        b.SetNumBusyCells(2);
        EXPECT_FALSE(b == s);
        EXPECT_TRUE(c2 == bytes);  // no busy bytes on either side
        TCellSequence wide(sizeof(Triple) * 2, 0, 0, 0, &other);
        wide.InsertCell(nullptr, 0);
        TCellSequence narrow(1, 0, 0, 0, &other);
        narrow.InsertCell("a", 0);
        EXPECT_FALSE(wide == narrow);  // never reads past the right side's busy bytes
        const TCellSequence& sameA = a;
        a = sameA;
        EXPECT_EQ(a.GetCount(), 3);
    }
    EXPECT_EQ(other.GetBlocksInUse(), 0ul);

    // An allocation failure inside Assign leaves no buffer and passes the exception on.
    TCellSequence victim(sizeof(Triple), 0, 0, 0, &other);
    Fill(victim, {4});
    other.FailAllocation(1);
    EXPECT_THROW(victim = s, std::bad_alloc);
    EXPECT_FALSE(victim.HasAllocatedMemory());
    EXPECT_EQ(victim.GetNumCells(), 0);
    EXPECT_EQ(victim.GetCount(), 0);
    EXPECT_EQ(other.GetBlocksInUse(), 0ul);
    victim = s;
    EXPECT_TRUE(victim == s);
}

TEST_F(CellSequenceTest, ReverseShuffleAndSort)
{
    TCellSequence s = Make();
    Fill(s, {1, 2, 3, 4, 5});
    s.Reverse();
    EXPECT_EQ(Values(s), (std::vector<int>{5, 4, 3, 2, 1}));
    s.CutCells(0, 1);
    s.Reverse();
    EXPECT_EQ(Values(s), (std::vector<int>{1, 2, 3, 4}));

    // Shuffle is the walk of CreateArrayOfUniqueUnsortedIndexes: one seed, one permutation,
    // for any cell size.
    for (int size : {2, 3, 17, 100}) {
        for (int seed : {1, 7, 123456}) {
            TCellSequence t = Make(8);
            TCellSequence bytes(1, 0, 0, 0, &heap);
            for (int i = 0; i < size; ++i) {
                const Triple v = T3(i);
                t.InsertCell(&v, i);
                const char c = static_cast<char>(i);
                bytes.InsertCell(&c, i);
            }
            t.Shuffle(seed);
            bytes.Shuffle(seed);
            std::vector<int> expected(static_cast<size_t>(size));
            TRandomizer(seed).CreateArrayOfUniqueUnsortedIndexes(size, expected.data());
            EXPECT_EQ(Values(t), expected) << size << " " << seed;
            for (int i = 0; i < size; ++i) {
                EXPECT_EQ(static_cast<Triple*>(t.GetCellPtr(i))->b, expected[static_cast<size_t>(i)] * 10);
                EXPECT_EQ(*static_cast<char*>(bytes.GetCellPtr(i)), static_cast<char>(expected[static_cast<size_t>(i)]));
            }
        }
    }
    TCellSequence one = Make();
    one.Shuffle(5);
    Fill(one, {42});
    one.Shuffle(0);
    EXPECT_EQ(Values(one), (std::vector<int>{42}));

    TCellSequence q = Make();
    Fill(q, {3, 1, 2, 1});
    q.MarkAsSorted(0);
    q.Sort([](const void* a, const void* b) {
        return static_cast<const Triple*>(a)->a - static_cast<const Triple*>(b)->a;
    });
    EXPECT_EQ(Values(q), (std::vector<int>{1, 1, 2, 3}));
    EXPECT_FALSE(q.IsMarkedAsSorted());
}

TEST(ArrayInPlaceTest, ValuesAreBuiltAndDestroyedOnce)
{
    const unsigned long before = _stringHeap->GetBlocksInUse();
    const unsigned long defaultBefore = NH_Heap::Default().GetBlocksInUse();
    {
        TArrayInPlace<String> texts(0, 3);
        for (int i = 0; i < 50; ++i) {
            String text("value ");
            text += std::to_string(i).c_str();
            EXPECT_NE(texts.Add(text), nullptr);
        }
        EXPECT_EQ(texts.GetCount(), 50);
        EXPECT_STREQ(texts[49].c_str(), "value 49");

        TArrayInPlace<String> copy(texts);
        copy[0] = "changed";
        EXPECT_STREQ(texts[0].c_str(), "value 0");
        texts.CutCells(1, 48);
        EXPECT_EQ(texts.GetCount(), 2);
        EXPECT_STREQ(texts[1].c_str(), "value 49");
        copy = texts;
        EXPECT_EQ(copy.GetCount(), 2);
        const TArrayInPlace<String>& sameCopy = copy;
        copy = sameCopy;
        EXPECT_STREQ(copy[1].c_str(), "value 49");
        copy.Clear();
        EXPECT_FALSE(copy.HasAllocatedMemory());
    }
    EXPECT_EQ(_stringHeap->GetBlocksInUse(), before);
    EXPECT_EQ(NH_Heap::Default().GetBlocksInUse(), defaultBefore);
}
