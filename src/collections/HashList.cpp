#include "collections/HashList.h"

#include <algorithm>
#include <cstring>
#include <iterator>

THashListElement::~THashListElement() = default;

namespace {

const uint32_t kBucketCounts[] = {
    3,        7,        13,       31,        61,        127,       251,       509,
    1021,     2017,     4093,     5987,      9551,      15683,     19609,     31397,
    65521,    131071,   262139,   524287,    1048573,   2097143,   4194301,   8388593,
    16777213, 33554393, 67108859, 134217689, 268435399, 536870909, 1073741789,
};

}  // namespace

uint32_t THashListImp::ChooseNumBuckets(int size)
{
    const uint32_t wanted = size < 0 ? 0u : static_cast<uint32_t>(size);
    const uint32_t* p = std::upper_bound(std::begin(kBucketCounts), std::end(kBucketCounts), wanted);
    return p == std::end(kBucketCounts) ? kBucketCounts[std::size(kBucketCounts) - 1] : *p;
}

THashListImp::THashListImp(int size, int shouldDelete)
    : TDoubleList(shouldDelete), numBuckets(ChooseNumBuckets(size)), table(new THashListElement*[numBuckets]())
{
}

THashListImp::THashListImp(const THashListImp& source)
    : TDoubleList(source), numBuckets(source.numBuckets), table(new THashListElement*[numBuckets]())
{
    BuildTable();
}

THashListImp& THashListImp::operator=(const THashListImp& source)
{
    if (&source == this)
        return *this;
    Clear();
    compareMode = source.compareMode;
    try {
        TDoubleList::Add(source, nullptr);
    } catch (...) {
        BuildTable();
        throw;
    }
    BuildTable();
    return *this;
}

THashListImp::~THashListImp()
{
    delete[] table;
}

THashListElement* THashListImp::Add(THashListElement* element)
{
    if (!element)
        return nullptr;
    const uint32_t b = element->GetHashedValue() % numBuckets;
    element->bucket = b;
    if (THashListElement* head = table[b]) {
        TDoubleList::InsertAfter(element, head);
    } else {
        TDoubleList::Append(element);
        table[b] = element;
    }
    return element;
}

THashListElement* THashListImp::AddUnique(THashListElement* element)
{
    if (!element)
        return nullptr;
    THashListElement* existing = FindEqual(*element);
    if (!existing)
        return Add(element);
    if (existing != element && ShouldDeleteElements())
        delete element;
    return existing;
}

THashListElement* THashListImp::Detach(THashListElement* element)
{
    if (!element)
        return nullptr;
    THashListElement* next = static_cast<THashListElement*>(element->GetNext());
    TDoubleList::Detach(element);
    const uint32_t b = element->bucket;
    if (b < numBuckets && table[b] == element)
        table[b] = next && next->bucket == b ? next : nullptr;
    return element;
}

void THashListImp::Delete(THashListElement* element)
{
    if (element)
        delete Detach(element);
}

void THashListImp::DetachAll()
{
    TDoubleList::DetachAll();
    std::memset(table, 0, sizeof(*table) * numBuckets);
}

void THashListImp::DeleteAll()
{
    while (first)
        Delete(static_cast<THashListElement*>(first));
}

void THashListImp::Clear()
{
    if (ShouldDeleteElements())
        DeleteAll();
    else
        DetachAll();
}

void THashListImp::BuildTable()
{
    std::memset(table, 0, sizeof(*table) * numBuckets);
    for (THashListElement* e = static_cast<THashListElement*>(first); e;) {
        THashListElement* next = static_cast<THashListElement*>(e->GetNext());
        const uint32_t b = e->GetHashedValue() % numBuckets;
        e->bucket = b;
        const THashListElement* prev = static_cast<THashListElement*>(e->GetPrev());
        if (!table[b]) {
            table[b] = e;
        } else if (!prev || prev->bucket != b) {
            // The run of b was closed by another bucket: only clones that hash unlike their
            // originals get here. The element goes to the end of its run.
            THashListElement* end = table[b];
            while (end->GetNext() && static_cast<THashListElement*>(end->GetNext())->bucket == b)
                end = static_cast<THashListElement*>(end->GetNext());
            TDoubleList::Detach(e);
            TDoubleList::InsertAfter(e, end);
        }
        e = next;
    }
}
