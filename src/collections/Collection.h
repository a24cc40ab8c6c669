// TCollection: the root of every container of the library, an element count and three
// one-bit flags.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

class COMMONTARN_API TCollection {
public:
    virtual ~TCollection();

    int GetCount() const { return count; }
    int GetEndIndex() const { return count; }
    int GetLastIndex() const { return count - 1; }
    int IsEmpty() const { return count == 0; }

    // Ownership of the elements, read at the moment a collection deletes or keeps them.
    int ShouldDeleteElements() const { return (flags & eOwnsElements) != 0; }
    void ShouldDeleteElements(int shouldDelete) { SetFlag(eOwnsElements, shouldDelete); }

    // What the caller last said about the order; no operation of a collection changes it.
    int IsMarkedAsSorted() const { return (flags & eMarkedAsSorted) != 0; }
    void MarkAsSorted(int sorted) { SetFlag(eMarkedAsSorted, sorted); }

    // Accepted for compatibility; collections keep no name.
    void SetName(const char*) {}

protected:
    enum : uint32_t {
        eOwnsElements = 1u << 0,
        eMarkedAsSorted = 1u << 1,
        eListSorted = 1u << 2,  // set only by the sort of a list
    };

    explicit TCollection(int shouldDelete) : flags(shouldDelete ? eOwnsElements : 0u), count(0) {}
    // Copies take the flags as a group, never the count.
    TCollection(const TCollection& source) : flags(source.flags), count(0) {}
    TCollection& operator=(const TCollection& source)
    {
        flags = source.flags;
        count = 0;
        return *this;
    }

    // The list sorted flag (bit 2), for the lists' own sort and merge.
    int HasListSortedFlag() const { return (flags & eListSorted) != 0; }
    void SetListSortedFlag(int sorted) { SetFlag(eListSorted, sorted); }

    void SetFlag(uint32_t bit, int on)
    {
        if (on)
            flags |= bit;
        else
            flags &= ~bit;
    }

    uint32_t flags;
    int32_t count;
};
