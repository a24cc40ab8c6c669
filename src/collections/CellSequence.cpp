#include "collections/Collection.h"

TCollection::~TCollection() = default;
