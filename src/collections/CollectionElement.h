// CollectionElement: the root of what collections hold, order, copy and hash.
#pragma once

#include "CommonTarnExport.h"

class COMMONTARN_API CollectionElement {
public:
    CollectionElement() = default;
    CollectionElement(const CollectionElement&) {}
    CollectionElement& operator=(const CollectionElement&) { return *this; }

    // The virtual operations, in this slot order.
    virtual ~CollectionElement();
    // Negative, 0 or positive for less than, equal to and greater than other. compareMode
    // means whatever the element type decides; collections only hand it through.
    // The default answers -1 whatever it is given.
    virtual int Compare(const CollectionElement& other, int compareMode) const;
    // A new element that the caller owns; context comes untouched from the collection
    // operation that asked for the clone. The default gives null.
    virtual CollectionElement* CreateClone(const void* context) const;
    // The default gives 0.
    virtual unsigned int GetHashedValue() const;
};
