// THashListImp: a hash table laid over a TDoubleList. All elements stand in the one list, so
// it walks and counts like any list, and a table of buckets points into it: the elements of
// one bucket are consecutive in the list, the table names the first of them, and the run
// ends at the first element of another bucket or at the end of the list.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"

class THashListImp;

// A derived class overrides GetHashedValue and Compare. The hash must not change while the
// element is in a list; with the default hash of 0 everything lands in bucket 0.
class COMMONTARN_API THashListElement : public TListElement {
public:
    THashListElement() : bucket(0) {}
    THashListElement(const THashListElement& source) = default;
    THashListElement& operator=(const THashListElement& source) = default;
    ~THashListElement() override;

    // The bucket written by the last THashListImp::Add.
    uint32_t GetBucket() const { return bucket; }

private:
    friend class THashListImp;
    uint32_t bucket;
};

// The operations below hide their TDoubleList namesakes. Other TDoubleList operations that
// add, remove or reorder elements bypass the table and are not for use on a hash list;
// walking ones (GetFirst, ForEach, GetCount, ...) are.
class COMMONTARN_API THashListImp : public TDoubleList {
public:
    // The number of buckets is the first prime of a fixed table above size (3 for size 0 or
    // below, the largest, 1073741789, for sizes at or above it); it never changes.
    explicit THashListImp(int size, int shouldDelete = 1);
    // A copy has the source's number of buckets and compare mode, clones of the source's
    // elements in the source's order, and a table of its own built over them.
    THashListImp(const THashListImp& source);
    // Empties this list by its ownership rule, takes the source's compare mode and clones
    // its elements; the number of buckets stays.
    THashListImp& operator=(const THashListImp& source);
    ~THashListImp() override;

    // A new bucket goes to the end of the list; a known one gets the element directly
    // behind its first element. Null is not added and gives null.
    THashListElement* Add(THashListElement* element);
    // The equal element already in the list, or the new one added. An owning list deletes
    // a rejected new element, unless it is that very element.
    THashListElement* AddUnique(THashListElement* element);
    // The first element of the key's bucket run that compares equal to the key, or null.
    THashListElement* FindEqual(const THashListElement& key) const
    {
        const uint32_t b = key.GetHashedValue() % numBuckets;
        for (THashListElement* e = table[b]; e && e->bucket == b; e = static_cast<THashListElement*>(e->GetNext()))
            if (e->Compare(key, compareMode) == 0)
                return e;
        return nullptr;
    }
    // Null gives null.
    THashListElement* Detach(THashListElement* element);
    void Delete(THashListElement* element);
    void DetachAll();
    void DeleteAll();
    // Owning: DeleteAll; otherwise DetachAll. Both keep the table in step.
    void Clear();

    uint32_t GetNumBuckets() const { return numBuckets; }
    // The first element of a bucket, or null (also for a bucket number out of range).
    THashListElement* GetBucketFirst(uint32_t bucket) const { return bucket < numBuckets ? table[bucket] : nullptr; }
    uint32_t GetBucketOf(const THashListElement& element) const { return element.GetHashedValue() % numBuckets; }

    static uint32_t ChooseNumBuckets(int size);

private:
    // Builds the table over the elements of the list as they stand, computing each bucket
    // afresh and moving an element whose bucket run was already closed to the end of that
    // run, so the elements of one bucket keep their relative order.
    void BuildTable();

    uint32_t numBuckets;
    THashListElement** table;
};
