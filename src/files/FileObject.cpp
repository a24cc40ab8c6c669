// The registration link of the objects that a file cache can serve.
#include "files/FileObject.h"

// No cache manager hands out registrations yet: every object starts, and stays, uncached.
TFileObject::TFileObject(TFileCacheManager*) : cache(nullptr) {}

// The registration belongs to the object and ends with it; there is none to end until a
// manager has handed one out.
TFileObject::~TFileObject() = default;
