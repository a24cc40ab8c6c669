#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <vector>

#include "collections/DoubleListOfPtr.h"
#include "numeric/Randomizer.h"

namespace {

struct Value {
    int v;
    int id;
};

int deleted = 0;
int cloned = 0;
int comparedByFirst = 0;
int comparedBySecond = 0;

void DeleteValue(void* p)
{
    ++deleted;
    delete static_cast<Value*>(p);
}

int CompareValues(const void* a, const void* b)
{
    ++comparedByFirst;
    return static_cast<const Value*>(a)->v - static_cast<const Value*>(b)->v;
}

int CompareValuesToo(const void* a, const void* b)
{
    ++comparedBySecond;
    return static_cast<const Value*>(a)->v - static_cast<const Value*>(b)->v;
}

void* CloneValue(const void* p, const void*)
{
    ++cloned;
    const Value* value = static_cast<const Value*>(p);
    return new Value{value->v, value->id + 1000};
}

void Reset()
{
    deleted = cloned = comparedByFirst = comparedBySecond = 0;
}

// An owning list of new values with ids 0..n-1, with deleter, comparer and cloner.
struct OwnedList : TDoubleListOfPtr {
    explicit OwnedList(const std::vector<int>& values = {}, int shouldDelete = 1) : TDoubleListOfPtr(shouldDelete)
    {
        SetDeleter(DeleteValue);
        SetComparer(CompareValues);
        SetCloner(CloneValue);
        for (size_t i = 0; i < values.size(); ++i)
            Append(new Value{values[i], static_cast<int>(i)});
    }
};

std::vector<int> Ids(const TDoubleListOfPtr& list)
{
    std::vector<int> ids;
    for (TListPtrIterator it(list.GetFirstNode()); it.IsValid(); ++it)
        ids.push_back(static_cast<const Value*>(list.Get(it))->id);
    return ids;
}

void ExpectValid(const TDoubleListOfPtr& list)
{
    const TListNode* first = list.GetFirstNode();
    const TListNode* last = list.GetLastNode();
    ASSERT_EQ(list.GetCount() == 0, first == nullptr);
    ASSERT_EQ(first == nullptr, last == nullptr);
    if (!first)
        return;
    ASSERT_EQ(nullptr, first->prev);
    ASSERT_EQ(nullptr, last->next);
    int n = 1;
    const TListNode* node = first;
    for (; node->next; node = node->next, ++n) {
        ASSERT_LE(n, list.GetCount());
        ASSERT_EQ(node, node->next->prev);
    }
    ASSERT_EQ(last, node);
    ASSERT_EQ(list.GetCount(), n);
}

Value* At(const TDoubleListOfPtr& list, int i)
{
    return static_cast<Value*>(list.Element(i));
}

}  // namespace

TEST(DoubleListOfPtr, EmptyNullAndDuplicates)
{
    Reset();
    {
        OwnedList list;
        EXPECT_EQ(nullptr, list.Pop());
        EXPECT_EQ(nullptr, list.DetachLast());
        EXPECT_EQ(nullptr, list.GetFirst());
        EXPECT_EQ(nullptr, list.Detach(nullptr));
        list.Delete(nullptr);
        list.DeleteFirst();
        EXPECT_EQ(0, deleted);
        list.Sort();
        EXPECT_EQ(1, list.IsSorted());
        EXPECT_EQ(nullptr, list.Get(TListPtrIterator(list.GetFirstNode())));

        Value* a = new Value{1, 0};
        Value* b = new Value{2, 1};
        list.Append(a);
        list.Append(b);
        list.Append(a);  // the same pointer twice
        EXPECT_EQ(3, list.GetCount());
        TListNode* firstNode = list.GetFirstNode();
        TListNode* lastNode = list.GetLastNode();
        EXPECT_EQ(a, list.Detach(a));
        EXPECT_EQ(lastNode, list.GetLastNode()) << "Detach removes the first node holding the pointer";
        EXPECT_NE(firstNode, list.GetFirstNode());
        list.Prepend(a);
        EXPECT_EQ(a, list.DetachLast()) << "by the last node's pointer";
        EXPECT_EQ(a, list.GetLast()) << "with a duplicate, the earlier node goes";
        EXPECT_EQ(b, list.GetFirst());

        Value stranger{9, 9};
        EXPECT_EQ(nullptr, list.Detach(&stranger)) << "a pointer not held changes nothing";
        list.Delete(&stranger);
        EXPECT_EQ(0, deleted);
        EXPECT_EQ(nullptr, list.GetNext(&stranger));
        EXPECT_EQ(nullptr, list.Element(2));
        ExpectValid(list);

        list.Append(nullptr);  // a held null is popped like any other element
        list.Prepend(nullptr);
        EXPECT_EQ(nullptr, list.Pop());
        EXPECT_EQ(3, list.GetCount());
        EXPECT_EQ(nullptr, list.DetachLast());
        EXPECT_EQ(2, list.GetCount());
    }
    EXPECT_EQ(2, deleted) << "the owning list deleted a and b at its end";
}

TEST(DoubleListOfPtr, OwnershipDeleterCalls)
{
    Reset();
    std::vector<Value> storage(4, Value{0, 0});
    {
        TDoubleListOfPtr borrowing(0);
        borrowing.SetDeleter(DeleteValue);
        for (Value& v : storage)
            borrowing.Append(&v);
    }
    EXPECT_EQ(0, deleted) << "a non-owning list frees its nodes and leaves the elements";

    {
        OwnedList list({5, 6, 7});
        Value* old = At(list, 1);
        Value* fresh = new Value{8, 8};
        TListNode* node = list.FindNode(1);
        EXPECT_EQ(fresh, list.Replace(old, fresh));
        EXPECT_EQ(1, deleted) << "Replace deletes old exactly once";
        EXPECT_EQ(node, list.FindNode(1)) << "the node stays";
        EXPECT_EQ(fresh, list.Replace(fresh, fresh));
        EXPECT_EQ(1, deleted);
        Value other{1, 1};
        EXPECT_EQ(nullptr, list.Replace(&other, fresh)) << "old not held: nothing happens";

        Value key{7, 0};
        Value* seven = At(list, 2);
        EXPECT_EQ(seven, list.AddUnique(new Value{7, 20}));
        EXPECT_EQ(2, deleted) << "the rejected duplicate is deleted";
        EXPECT_EQ(seven, list.AddUnique(seven)) << "the pointer already held is not deleted";
        EXPECT_EQ(3, list.GetCount());
        EXPECT_EQ(1, list.DeleteEqual(&key));
        EXPECT_EQ(3, deleted);
        EXPECT_EQ(0, list.DetachEqual(&key));
        list.DeleteFirst();
        list.DeleteLast();
        EXPECT_EQ(5, deleted);
        EXPECT_TRUE(list.IsEmpty());

        list.Append(new Value{1, 1});
        list.Append(new Value{2, 2});
        OwnedList source({3, 4, 5});
        Reset();
        list.Assign(source, nullptr);
        EXPECT_EQ(2, deleted) << "Assign deletes each old element";
        EXPECT_EQ(3, cloned) << "and clones each source element";
        EXPECT_EQ((std::vector<int>{1000, 1001, 1002}), Ids(list));
    }
    EXPECT_EQ(8, deleted);

    // No deleter: nothing can be deleted, so nothing is.
    Reset();
    Value kept{1, 1};
    {
        TDoubleListOfPtr list(1);
        list.Append(&kept);
        list.Delete(&kept);
        list.Append(&kept);
    }
    EXPECT_EQ(0, deleted);
}

TEST(DoubleListOfPtr, SwapRotateAndSortRelinkNodes)
{
    Reset();
    OwnedList list({0, 1, 2, 3});
    std::vector<TListNode*> nodes;
    for (int i = 0; i < 4; ++i)
        nodes.push_back(list.FindNode(i));
    Value* a = At(list, 0);
    Value* d = At(list, 3);
    list.Swap(a, d);
    EXPECT_EQ((std::vector<int>{3, 1, 2, 0}), Ids(list));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(nodes[i], list.FindNode(i)) << "Swap exchanges elements, not nodes";

    OwnedList axb({0, 1, 2});
    Value* pa = At(axb, 0);
    Value* px = At(axb, 1);
    Value* pb = At(axb, 2);
    TListNode* oldNode = axb.FindNode(pa);
    axb.Rotate(pa, pb);
    EXPECT_EQ((std::vector<int>{1, 2, 0}), Ids(axb));
    EXPECT_NE(oldNode, axb.FindNode(pa)) << "the moved element gets a new node";
    axb.Rotate(pa, px);  // pivot first: a goes before x
    EXPECT_EQ((std::vector<int>{0, 1, 2}), Ids(axb));
    axb.Rotate(pb, pa);
    EXPECT_EQ((std::vector<int>{2, 0, 1}), Ids(axb));
    ExpectValid(axb);
    axb.Reverse();
    EXPECT_EQ((std::vector<int>{1, 0, 2}), Ids(axb));
    ExpectValid(axb);

    // Sort against std::stable_sort; the nodes are relinked, not reallocated.
    TRandomizer random(11);
    for (int round = 0; round < 60; ++round) {
        std::vector<int> values;
        for (int i = static_cast<int>(random.Get(200)); i > 0; --i)
            values.push_back(static_cast<int>(random.Get(15)));
        OwnedList l(values);
        std::vector<std::pair<int, TListNode*>> expected;
        for (int i = 0; i < l.GetCount(); ++i)
            expected.emplace_back(values[i], l.FindNode(i));
        std::stable_sort(expected.begin(), expected.end(),
                         [](const std::pair<int, TListNode*>& x, const std::pair<int, TListNode*>& y) {
                             return x.first < y.first;
                         });
        l.Sort();
        ExpectValid(l);
        for (int i = 0; i < l.GetCount(); ++i)
            ASSERT_EQ(expected[i].second, l.FindNode(i)) << "round " << round;
        EXPECT_TRUE(l.IsSorted());
    }
}

TEST(DoubleListOfPtr, SplitAbsorbMergeAndInsertInSortedList)
{
    Reset();
    OwnedList list({0, 1, 2, 3, 4}), tail({9});
    list.Split(tail, *list.FindNode(3));
    EXPECT_EQ(1, deleted) << "the tail was cleared by its own rule";
    EXPECT_EQ((std::vector<int>{0, 1, 2}), Ids(list));
    EXPECT_EQ((std::vector<int>{3, 4}), Ids(tail));
    list.Absorb(tail, At(list, 1));
    EXPECT_EQ((std::vector<int>{0, 3, 4, 1, 2}), Ids(list));
    EXPECT_TRUE(tail.IsEmpty());
    ExpectValid(list);

    OwnedList x({1, 3, 5, 5}), y({0, 3, 5, 9});
    x.Sort();
    y.Sort();
    Value* xThree = At(x, 1);
    x.AbsorbAndSort(y);
    std::vector<int> values;
    for (int i = 0; i < x.GetCount(); ++i)
        values.push_back(At(x, i)->v);
    EXPECT_EQ((std::vector<int>{0, 1, 3, 3, 5, 5, 5, 9}), values);
    EXPECT_EQ(xThree, At(x, 2)) << "equals of this list stay ahead";
    EXPECT_TRUE(y.IsEmpty());
    ExpectValid(x);

    // Unsorted target: each source element is inserted before the first greater element,
    // named by its pointer, so an earlier node holding the same pointer draws it there.
    TDoubleListOfPtr unsorted(0);
    unsorted.SetComparer(CompareValues);
    Value v1{1, 0}, v8{8, 1}, v3{3, 2}, v5{5, 3};
    unsorted.Append(&v8);
    unsorted.Append(&v1);
    unsorted.Append(&v8);
    unsorted.Append(&v3);
    TDoubleListOfPtr source(0);
    source.SetComparer(CompareValues);
    source.Append(&v5);
    unsorted.AbsorbAndSort(source);
    EXPECT_EQ((std::vector<int>{3, 1, 0, 1, 2}), Ids(unsorted));
    EXPECT_TRUE(source.IsEmpty());
    ExpectValid(unsorted);
}

TEST(DoubleListOfPtr, CopiesAndComparers)
{
    Reset();
    OwnedList source({4, 2, 6});
    TDoubleListOfPtr copy(source);
    EXPECT_EQ(3, cloned);
    EXPECT_EQ(1, copy.ShouldDeleteElements());
    EXPECT_EQ(source.GetDeleter(), copy.GetDeleter()) << "the copy takes the function pointers";

    TDoubleListOfPtr other(1);
    other.SetComparer(CompareValuesToo);
    other.SetDeleter(DeleteValue);
    other = source;
    EXPECT_EQ(CompareValuesToo, other.GetComparer()) << "operator= keeps the destination's pointers";
    EXPECT_EQ(nullptr, other.GetCloner());
    other = other;
    EXPECT_EQ(3, other.GetCount());

    comparedByFirst = comparedBySecond = 0;
    EXPECT_TRUE(AreEqual(other, source));
    EXPECT_EQ(0, comparedByFirst) << "only the first list's comparer is used";
    EXPECT_EQ(3, comparedBySecond);
    EXPECT_TRUE(AreEqual(source, source));
    other.DeleteLast();
    EXPECT_FALSE(AreEqual(other, source));

    // Copies of itself, before one of its own elements.
    copy.Insert(copy, At(copy, 1), nullptr);
    std::vector<int> values;
    for (int i = 0; i < copy.GetCount(); ++i)
        values.push_back(At(copy, i)->v);
    EXPECT_EQ((std::vector<int>{4, 4, 2, 6, 2, 6}), values);
    copy += source;
    EXPECT_EQ(9, copy.GetCount());
    ExpectValid(copy);

    // Without a cloner a non-owning list takes the pointers; an owning one takes nothing.
    TDoubleListOfPtr plain(0);
    Value v{1, 1};
    plain.Append(&v);
    TDoubleListOfPtr shared(0), ownerCopy(1);
    shared.Add(plain, nullptr);
    ownerCopy.Add(plain, nullptr);
    EXPECT_EQ(&v, shared.GetFirst());
    EXPECT_TRUE(ownerCopy.IsEmpty());

    // Without a comparer, elements are equal only to themselves.
    Value w{1, 2};
    plain.Append(&w);
    EXPECT_EQ(&w, plain.FindEqual(&w));
    EXPECT_EQ(&v, plain.AddUnique(&v));
    EXPECT_EQ(2, plain.GetCount());
    plain.Sort();
    EXPECT_EQ(2, plain.GetCount());
}

TEST(DoubleListOfPtr, WalksAndShuffle)
{
    Reset();
    OwnedList list({0, 1, 2, 3});
    list.ForEach([](void* e, void* l) { static_cast<TDoubleListOfPtr*>(l)->Delete(e); }, &list);
    EXPECT_EQ(4, deleted) << "an action that deletes its element still visits all";
    EXPECT_TRUE(list.IsEmpty());

    OwnedList tests({3, 8, 3});
    auto isThree = [](const void* e, const void*) { return static_cast<const Value*>(e)->v == 3 ? 1 : 0; };
    EXPECT_EQ(0, static_cast<Value*>(tests.FindFirstThat(isThree, nullptr))->id);
    EXPECT_EQ(2, static_cast<Value*>(tests.FindLastThat(isThree, nullptr))->id);
    Value key{8, 0};
    EXPECT_EQ(1, tests.FindIndexOfEqual(&key));

    std::vector<int> first;
    for (int run = 0; run < 2; ++run) {
        OwnedList l({0, 1, 2, 3, 4, 5, 6, 7});
        std::vector<TListNode*> nodes;
        for (int i = 0; i < 8; ++i)
            nodes.push_back(l.FindNode(i));
        l.Shuffle(42);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(nodes[i], l.FindNode(i)) << "nodes stay in place";
        if (run == 0)
            first = Ids(l);
        else
            EXPECT_EQ(first, Ids(l)) << "one seed, one permutation";
        std::vector<int> ids = Ids(l);
        std::sort(ids.begin(), ids.end());
        EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}), ids);
    }
}
