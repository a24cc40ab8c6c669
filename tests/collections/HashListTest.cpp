#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "collections/HashList.h"
#include "numeric/Randomizer.h"

namespace {

int liveEntries = 0;

// Equal when the keys are; the hash is a field of its own so that tests can force
// collisions, change it in place, or make clones hash unlike their originals.
struct Entry : THashListElement {
    Entry(int k, unsigned int h, int i = 0) : key(k), hash(h), id(i) { ++liveEntries; }
    Entry(const Entry& o) : Entry(o.key, cloneHashModulo ? o.hash % cloneHashModulo : o.hash, o.id + 1000) {}
    ~Entry() override { --liveEntries; }
    int Compare(const CollectionElement& other, int) const override { return key - static_cast<const Entry&>(other).key; }
    unsigned int GetHashedValue() const override { return hash; }
    CollectionElement* CreateClone(const void*) const override { return new Entry(*this); }
    int key;
    unsigned int hash;
    int id;
    static inline unsigned int cloneHashModulo = 0;  // non-zero: clones hash unlike their originals
};

Entry* E(const TListElement* e) { return static_cast<Entry*>(const_cast<TListElement*>(e)); }

// The bucket-run invariant: every element carries its own bucket, the elements of one
// bucket are consecutive, and the table names the first of each run and nothing else.
bool RunsAreContiguous(const THashListImp& list)
{
    std::map<uint32_t, const TListElement*> runStart;
    int n = 0;
    for (const TListElement* e = list.GetFirst(); e; e = e->GetNext(), ++n) {
        const uint32_t b = E(e)->GetBucket();
        const bool starts = !e->GetPrev() || E(e->GetPrev())->GetBucket() != b;
        if (b != list.GetBucketOf(*E(e)) || (starts && !runStart.emplace(b, e).second))
            return false;
    }
    for (uint32_t b = 0; b < list.GetNumBuckets(); ++b)
        if (list.GetBucketFirst(b) != (runStart.count(b) ? runStart[b] : nullptr))
            return false;
    return n == list.GetCount();
}

}  // namespace

TEST(HashList, BucketCounts)
{
    EXPECT_EQ(509u, THashListImp(500).GetNumBuckets());
    const std::pair<int, uint32_t> sizes[] = {{509, 1021}, {0, 3}, {3, 7}, {-5, 3}, {100000, 131071},
                                              {536870909, 1073741789}, {2147483647, 1073741789}};  // none above: the largest
    for (auto [size, buckets] : sizes)
        EXPECT_EQ(buckets, THashListImp::ChooseNumBuckets(size)) << size;
    EXPECT_EQ(nullptr, THashListImp(10).GetBucketFirst(13)) << "out of range: null";
}

// A long random mix of Add, AddUnique, Detach and Delete on small tables, with the runs
// checked after each step and FindEqual checked against a model of keys and buckets.
TEST(HashList, RandomMixKeepsRunsAndAgreesWithModel)
{
    TRandomizer random(31337);
    for (int size : {0, 12, 200}) {
        THashListImp list(size);
        std::multimap<int, Entry*> model;
        auto holds = [&](int key, uint32_t bucket) {
            auto range = model.equal_range(key);
            for (auto it = range.first; it != range.second; ++it)
                if (it->second->GetBucket() == bucket)
                    return true;
            return false;
        };
        for (int step = 0; step < 4000; ++step) {
            const int key = static_cast<int>(random.Get(150));
            const unsigned int hash = random.TrueEvery(4) ? 0u : static_cast<unsigned int>(key) * 2654435761u;
            const unsigned long action = random.Get(10);
            if (action < 5) {
                // A new element goes behind its bucket's first, or to the end as a new first.
                Entry* e = new Entry(key, hash);
                const uint32_t bucket = list.GetBucketOf(*e);
                THashListElement* first = list.GetBucketFirst(bucket);
                const bool duplicate = action == 4 && holds(key, bucket);
                Entry* got = E(action < 4 ? list.Add(e) : list.AddUnique(e));
                if (duplicate) {
                    ASSERT_TRUE(got != e && got->key == key && got->GetBucket() == bucket) << "the element there";
                } else {
                    ASSERT_EQ(e, got);
                    ASSERT_TRUE(first ? e->GetPrev() == first : list.GetLast() == e && list.GetBucketFirst(bucket) == e);
                    model.emplace(key, e);
                }
            } else if (!model.empty()) {
                Entry* victim = E(list.Element(static_cast<int>(random.Get(list.GetCount()))));
                auto it = model.lower_bound(victim->key);
                while (it->second != victim)
                    ++it;
                model.erase(it);
                if (action < 8) {
                    list.Delete(victim);
                } else {
                    ASSERT_EQ(victim, list.Detach(victim));
                    delete victim;
                }
            }
            ASSERT_TRUE(RunsAreContiguous(list)) << "size " << size << " step " << step;
            ASSERT_EQ(static_cast<int>(model.size()), list.GetCount());
            for (int probe = 0; probe < 3; ++probe) {
                const int k = static_cast<int>(random.Get(160));
                for (unsigned int h : {0u, static_cast<unsigned int>(k) * 2654435761u}) {
                    Entry* found = E(list.FindEqual(Entry(k, h)));
                    ASSERT_EQ(holds(k, h % list.GetNumBuckets()), found != nullptr) << k << " " << h;
                    ASSERT_TRUE(!found || (found->key == k && found->GetBucket() == h % list.GetNumBuckets()));
                }
            }
        }
        EXPECT_EQ(static_cast<int>(model.size()), liveEntries);
    }
    EXPECT_EQ(0, liveEntries) << "an owning hash list deletes what it holds";
}

TEST(HashList, NeighboursMovedHashesAndDetachAll)
{
    THashListImp list(10);  // 13 buckets
    Entry *a = new Entry(1, 5), *b = new Entry(2, 5), *other = new Entry(4, 6), *moved = new Entry(7, 8);
    for (Entry* e : {a, other, b, moved})
        list.Add(e);
    EXPECT_EQ(nullptr, list.FindEqual(Entry(4, 5))) << "the walk stops at the next bucket";
    // An element whose hash changed in place is not found from its new bucket, and it
    // leaves by its stored bucket.
    moved->hash = 6;
    EXPECT_EQ(nullptr, list.FindEqual(Entry(7, 6)));
    list.Detach(moved);
    EXPECT_TRUE(list.GetBucketFirst(8) == nullptr && list.GetBucketFirst(6) == other);
    delete moved;
    EXPECT_TRUE(!list.Detach(nullptr) && !list.Add(nullptr) && !list.AddUnique(nullptr));
    // AddUnique deletes a rejected duplicate in an owning list, never the element itself.
    EXPECT_TRUE(list.AddUnique(new Entry(2, 5)) == b && list.AddUnique(b) == b && liveEntries == 3);
    // DetachAll forgets without deleting, and zeroes the table.
    list.DetachAll();
    EXPECT_TRUE(list.GetCount() == 0 && !list.GetBucketFirst(5) && liveEntries == 3);
    for (Entry* e : {a, b, other})
        delete e;
}

TEST(HashList, CopiesBuildTablesOfTheirOwn)
{
    THashListImp source(20);
    source.SetCompareMode(3);
    for (int i = 0; i < 60; ++i)
        source.Add(new Entry(i, static_cast<unsigned int>(i % 9), i));
    {
        // Same order, each a clone, with a table of its own that matches its runs.
        THashListImp copy(source);
        EXPECT_TRUE(copy.GetNumBuckets() == source.GetNumBuckets() && copy.GetCompareMode() == 3 && RunsAreContiguous(copy));
        for (const TListElement *s = source.GetFirst(), *c = copy.GetFirst(); s || c; s = s->GetNext(), c = c->GetNext())
            ASSERT_TRUE(s && c && E(s)->id + 1000 == E(c)->id);
        Entry* found = E(copy.FindEqual(Entry(17, 17 % 9)));
        ASSERT_TRUE(found && found->id == 1017) << "the copy finds its own elements";
        copy.Delete(found);
        EXPECT_TRUE(RunsAreContiguous(copy) && E(source.FindEqual(Entry(17, 17 % 9)))->id == 17);

        // Clones that hash unlike their originals (nine source buckets fold into three) still
        // get a table that matches, and the elements of one bucket keep the source's order.
        Entry::cloneHashModulo = 3;
        THashListImp folded(source);
        Entry::cloneHashModulo = 0;
        EXPECT_TRUE(RunsAreContiguous(folded) && folded.GetCount() == 60);
        for (int i = 0; i < 60; ++i)
            ASSERT_NE(nullptr, folded.FindEqual(Entry(i, i % 3))) << i;
        std::map<int, int> sourceIndex;  // id to position in the source
        int position = 0;
        for (const TListElement* e = source.GetFirst(); e; e = e->GetNext())
            sourceIndex[E(e)->id] = position++;
        for (const TListElement* e = folded.GetFirst(); e->GetNext(); e = e->GetNext())
            EXPECT_TRUE(E(e)->GetBucket() != E(e->GetNext())->GetBucket() ||
                        sourceIndex[E(e)->id - 1000] < sourceIndex[E(e->GetNext())->id - 1000]);

        // Assignment: the old elements go by ownership, the table follows the new ones, the
        // number of buckets stays.
        THashListImp assigned(5);
        assigned.Add(new Entry(100, 100));
        assigned = source;
        assigned = assigned;
        EXPECT_TRUE(assigned.GetNumBuckets() == 7 && assigned.GetCount() == 60 && RunsAreContiguous(assigned));
        for (int i = 0; i < 60; ++i)
            ASSERT_NE(nullptr, assigned.FindEqual(Entry(i, i % 9))) << i;
        assigned.Clear();
        EXPECT_TRUE(assigned.GetBucketFirst(0) == nullptr && RunsAreContiguous(assigned));
    }
    EXPECT_EQ(60, liveEntries);
    source.DeleteAll();
    EXPECT_TRUE(liveEntries == 0 && RunsAreContiguous(source));
}
