// TFileObject: the common base of what the file cache can serve, open files and mapped
// files. It holds the object's registration with a cache.
#pragma once

#include "CommonTarnExport.h"

class TFileCacheBuffers;
class TFileCacheManager;

class COMMONTARN_API TFileObject {
public:
    // Registers with manager when one is given; the registration may come out null, and the
    // object is then not cached.
    explicit TFileObject(TFileCacheManager* manager = nullptr);
    // A copy shares the registration; only one of the objects may go on to end it.
    TFileObject(const TFileObject& other) = default;
    TFileObject& operator=(const TFileObject& other) = default;
    virtual ~TFileObject();

    virtual long GetFileSize() const = 0;

    // The registration with a cache, null when the object is not cached.
    TFileCacheBuffers* GetCache() const { return cache; }

protected:
    TFileCacheBuffers* cache;
};
