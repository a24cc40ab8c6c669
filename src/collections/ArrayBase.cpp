#include "collections/CollectionElement.h"

CollectionElement::~CollectionElement() = default;

int CollectionElement::Compare(const CollectionElement&, int) const
{
    return -1;
}

CollectionElement* CollectionElement::CreateClone(const void*) const
{
    return nullptr;
}

unsigned int CollectionElement::GetHashedValue() const
{
    return 0;
}
