#include <gtest/gtest.h>

#include <map>
#include <unordered_map>
#include <vector>

#include "collections/HashList.h"
#include "numeric/Randomizer.h"

namespace {

int liveEntries = 0;

// Equal when the keys are; the hash is a field of its own so that tests can force
// collisions, change it in place, or make clones hash unlike their originals.
struct Entry : THashListElement {
    Entry(int k, unsigned int h, int i = 0) : key(k), hash(h), id(i) { ++liveEntries; }
    Entry(const Entry& other)
        : THashListElement(other), key(other.key), hash(cloneHashModulo ? other.hash % cloneHashModulo : other.hash),
          id(other.id + 1000)
    {
        ++liveEntries;
    }
    ~Entry() override { --liveEntries; }
    int Compare(const CollectionElement& other, int) const override
    {
        const int o = static_cast<const Entry&>(other).key;
        return key < o ? -1 : key > o ? 1 : 0;
    }
    unsigned int GetHashedValue() const override { return hash; }
    CollectionElement* CreateClone(const void*) const override { return new Entry(*this); }

    int key;
    unsigned int hash;
    int id;
    static unsigned int cloneHashModulo;  // non-zero: clones hash unlike their originals
};
unsigned int Entry::cloneHashModulo = 0;

Entry* AsEntry(const TListElement* e)
{
    return static_cast<Entry*>(const_cast<TListElement*>(e));
}

// The bucket-run invariant: every element carries its own bucket, the elements of one
// bucket are consecutive, and the table names the first of each run and nothing else.
::testing::AssertionResult RunsAreContiguous(const THashListImp& list)
{
    std::map<uint32_t, const THashListElement*> runStart;
    std::map<uint32_t, bool> closed;
    uint32_t previous = 0xFFFFFFFFu;
    int n = 0;
    for (const TListElement* e = list.GetFirst(); e; e = e->GetNext(), ++n) {
        const THashListElement* h = static_cast<const THashListElement*>(e);
        const uint32_t b = h->GetBucket();
        if (b != list.GetBucketOf(*h))
            return ::testing::AssertionFailure() << "element " << n << " carries bucket " << b;
        if (b != previous) {
            if (runStart.count(b))
                return ::testing::AssertionFailure() << "bucket " << b << " has two runs";
            runStart[b] = h;
            previous = b;
        }
    }
    if (n != list.GetCount())
        return ::testing::AssertionFailure() << "count " << list.GetCount() << " but " << n << " elements";
    for (uint32_t b = 0; b < list.GetNumBuckets(); ++b) {
        auto it = runStart.find(b);
        const THashListElement* expected = it == runStart.end() ? nullptr : it->second;
        if (list.GetBucketFirst(b) != expected)
            return ::testing::AssertionFailure() << "table entry of bucket " << b << " is wrong";
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

TEST(HashList, BucketCounts)
{
    EXPECT_EQ(509u, THashListImp(500).GetNumBuckets());
    EXPECT_EQ(1021u, THashListImp::ChooseNumBuckets(509));
    EXPECT_EQ(3u, THashListImp::ChooseNumBuckets(0));
    EXPECT_EQ(7u, THashListImp::ChooseNumBuckets(3));
    EXPECT_EQ(3u, THashListImp::ChooseNumBuckets(-5));
    EXPECT_EQ(131071u, THashListImp::ChooseNumBuckets(100000));
    EXPECT_EQ(1073741789u, THashListImp::ChooseNumBuckets(536870909));
    EXPECT_EQ(1073741789u, THashListImp::ChooseNumBuckets(2147483647)) << "no prime above: the largest";
    EXPECT_EQ(nullptr, THashListImp(10).GetBucketFirst(13)) << "out of range: null";
}

TEST(HashList, RunsFirstsAndNeighbours)
{
    THashListImp list(10);  // 13 buckets
    Entry* a = new Entry(1, 5);
    Entry* b = new Entry(2, 5);  // same hash, different key
    Entry* c = new Entry(3, 5);
    Entry* other = new Entry(4, 6);
    list.Add(a);
    list.Add(other);
    list.Add(b);
    list.Add(c);
    EXPECT_EQ(a, list.GetFirst()) << "adding to a known bucket keeps the list's first";
    EXPECT_EQ(a, list.GetBucketFirst(5));
    EXPECT_EQ(c, a->GetNext()) << "the newest stands right behind the bucket's first";
    EXPECT_EQ(b, c->GetNext());
    EXPECT_EQ(other, b->GetNext());
    EXPECT_TRUE(RunsAreContiguous(list));
    EXPECT_EQ(b, list.FindEqual(Entry(2, 5)));
    EXPECT_EQ(a, list.FindEqual(Entry(1, 5)));
    EXPECT_EQ(nullptr, list.FindEqual(Entry(9, 5)));
    EXPECT_EQ(nullptr, list.FindEqual(Entry(1, 7))) << "an empty bucket";
    EXPECT_EQ(nullptr, list.FindEqual(Entry(4, 5))) << "the walk stops at the next bucket";

    // An element whose hash changed in place is not found from its new bucket.
    Entry* moved = new Entry(7, 8);
    list.Add(moved);
    moved->hash = 6;
    EXPECT_EQ(nullptr, list.FindEqual(Entry(7, 6)));
    list.Detach(moved);  // by its stored bucket, not its hash
    moved->hash = 8;
    EXPECT_EQ(nullptr, list.GetBucketFirst(8));
    delete moved;

    list.Detach(a);
    EXPECT_EQ(c, list.GetBucketFirst(5)) << "the second becomes the bucket's first";
    EXPECT_TRUE(RunsAreContiguous(list));
    list.Delete(other);
    EXPECT_EQ(nullptr, list.GetBucketFirst(6)) << "the only one gone: the entry is cleared";
    EXPECT_EQ(nullptr, list.Detach(nullptr));
    EXPECT_EQ(nullptr, list.Add(nullptr));
    EXPECT_TRUE(RunsAreContiguous(list));
    delete a;

    // AddUnique deletes a rejected duplicate in an owning list, never the element itself.
    EXPECT_EQ(c, list.AddUnique(new Entry(3, 5)));
    EXPECT_EQ(c, list.AddUnique(c));
    EXPECT_EQ(2, list.GetCount());
    EXPECT_EQ(2, liveEntries);

    // DetachAll forgets without deleting, and zeroes the table.
    std::vector<Entry*> kept = {b, c};
    list.DetachAll();
    EXPECT_EQ(0, list.GetCount());
    EXPECT_EQ(nullptr, list.GetBucketFirst(5));
    EXPECT_EQ(2, liveEntries);
    for (Entry* e : kept)
        delete e;
}

// A long random mix of Add, AddUnique, Detach and Delete on a small table, with the runs
// checked after each step and FindEqual checked against a std::unordered_multimap.
TEST(HashList, RandomMixKeepsRunsAndAgreesWithModel)
{
    TRandomizer random(31337);
    for (int size : {0, 12, 200}) {
        THashListImp list(size);
        std::unordered_multimap<int, Entry*> model;
        for (int step = 0; step < 4000; ++step) {
            const int key = static_cast<int>(random.Get(150));
            const unsigned int hash = random.TrueEvery(4) ? 0u : static_cast<unsigned int>(key) * 2654435761u;
            const unsigned int action = random.Get(10);
            if (action < 4) {
                Entry* e = new Entry(key, hash);
                list.Add(e);
                model.emplace(key, e);
            } else if (action < 5) {
                Entry* e = new Entry(key, hash);
                const uint32_t bucket = list.GetBucketOf(*e);
                Entry* got = static_cast<Entry*>(list.AddUnique(e));
                auto range = model.equal_range(key);
                bool inBucket = false;
                for (auto it = range.first; it != range.second; ++it)
                    inBucket |= it->second != e && list.GetBucketOf(*it->second) == bucket;
                if (!inBucket) {
                    ASSERT_EQ(e, got);
                    model.emplace(key, e);
                } else {
                    ASSERT_EQ(key, got->key);
                    ASSERT_EQ(bucket, got->GetBucket());
                }
            } else if (!model.empty()) {
                // Some element of the list, by position.
                Entry* victim = AsEntry(list.Element(static_cast<int>(random.Get(list.GetCount()))));
                auto range = model.equal_range(victim->key);
                for (auto it = range.first; it != range.second; ++it)
                    if (it->second == victim) {
                        model.erase(it);
                        break;
                    }
                if (action < 8) {
                    list.Delete(victim);
                } else {
                    ASSERT_EQ(victim, list.Detach(victim));
                    delete victim;
                }
            }
            ASSERT_TRUE(RunsAreContiguous(list)) << "size " << size << " step " << step;
            ASSERT_EQ(static_cast<int>(model.size()), list.GetCount());
            // A few lookups by key with either hash.
            for (int probe = 0; probe < 3; ++probe) {
                const int k = static_cast<int>(random.Get(160));
                for (unsigned int h : {0u, static_cast<unsigned int>(k) * 2654435761u}) {
                    Entry* found = static_cast<Entry*>(list.FindEqual(Entry(k, h)));
                    bool inModel = false;
                    auto range = model.equal_range(k);
                    for (auto it = range.first; it != range.second; ++it)
                        inModel |= list.GetBucketOf(*it->second) == h % list.GetNumBuckets();
                    ASSERT_EQ(inModel, found != nullptr) << "key " << k << " hash " << h;
                    if (found) {
                        ASSERT_EQ(k, found->key);
                        ASSERT_EQ(h % list.GetNumBuckets(), found->GetBucket());
                    }
                }
            }
        }
        EXPECT_EQ(static_cast<int>(model.size()), liveEntries);
    }
    EXPECT_EQ(0, liveEntries) << "an owning hash list deletes what it holds";
}

TEST(HashList, CopyBuildsItsOwnTable)
{
    THashListImp source(20);
    source.SetCompareMode(3);
    for (int i = 0; i < 60; ++i)
        source.Add(new Entry(i, static_cast<unsigned int>(i % 9), i));
    ASSERT_TRUE(RunsAreContiguous(source));
    {
        THashListImp copy(source);
        EXPECT_EQ(source.GetNumBuckets(), copy.GetNumBuckets());
        EXPECT_EQ(3, copy.GetCompareMode());
        EXPECT_EQ(60, copy.GetCount());
        EXPECT_TRUE(RunsAreContiguous(copy));
        // Same order, each a clone, each table entry the clone of the source's entry.
        for (const TListElement *s = source.GetFirst(), *c = copy.GetFirst(); s; s = s->GetNext(), c = c->GetNext())
            ASSERT_EQ(AsEntry(s)->id + 1000, AsEntry(c)->id);
        for (uint32_t b = 0; b < copy.GetNumBuckets(); ++b) {
            const Entry* s = static_cast<const Entry*>(source.GetBucketFirst(b));
            const Entry* c = static_cast<const Entry*>(copy.GetBucketFirst(b));
            ASSERT_EQ(s == nullptr, c == nullptr);
            if (s) {
                EXPECT_EQ(s->id + 1000, c->id);
            }
        }
        Entry* found = static_cast<Entry*>(copy.FindEqual(Entry(17, 17 % 9)));
        ASSERT_NE(nullptr, found);
        EXPECT_EQ(1017, found->id) << "the copy finds its own elements";
        copy.Delete(found);
        EXPECT_TRUE(RunsAreContiguous(copy));
        EXPECT_EQ(17, static_cast<Entry*>(source.FindEqual(Entry(17, 17 % 9)))->id);
        EXPECT_EQ(119, liveEntries);

        // Clones that hash unlike their originals (nine source buckets fold into three) still
        // get a table that matches, and the elements of one bucket keep the source's order.
        Entry::cloneHashModulo = 3;
        THashListImp folded(source);
        Entry::cloneHashModulo = 0;
        EXPECT_TRUE(RunsAreContiguous(folded));
        EXPECT_EQ(60, folded.GetCount());
        for (int i = 0; i < 60; ++i) {
            ASSERT_NE(nullptr, folded.FindEqual(Entry(i, i % 3))) << i;
        }
        std::map<int, int> sourceIndex;  // id to position in the source
        int index = 0;
        for (const TListElement* e = source.GetFirst(); e; e = e->GetNext())
            sourceIndex[AsEntry(e)->id] = index++;
        for (const TListElement* e = folded.GetFirst(); e && e->GetNext(); e = e->GetNext()) {
            const Entry* x = AsEntry(e);
            const Entry* y = AsEntry(e->GetNext());
            if (x->GetBucket() == y->GetBucket()) {
                EXPECT_LT(sourceIndex[x->id - 1000], sourceIndex[y->id - 1000]);
            }
        }

        // Assignment: the old elements go by ownership, the table follows the new ones.
        THashListImp assigned(5);
        assigned.Add(new Entry(100, 100));
        assigned = source;
        EXPECT_EQ(7u, assigned.GetNumBuckets()) << "the number of buckets stays";
        EXPECT_EQ(60, assigned.GetCount());
        EXPECT_TRUE(RunsAreContiguous(assigned));
        for (int i = 0; i < 60; ++i) {
            ASSERT_NE(nullptr, assigned.FindEqual(Entry(i, i % 9))) << i;
        }
        assigned = assigned;
        EXPECT_EQ(60, assigned.GetCount());
        assigned.Clear();
        EXPECT_EQ(nullptr, assigned.GetBucketFirst(0));
        EXPECT_TRUE(RunsAreContiguous(assigned));
    }
    EXPECT_EQ(60, liveEntries);
    source.DeleteAll();
    EXPECT_EQ(0, liveEntries);
    EXPECT_TRUE(RunsAreContiguous(source));
}
