// Storage for a static object that a step of the load list builds and the matching unload
// step destroys, so that the order is the list's and not the compiler's.
#pragma once

#include <new>
#include <utility>

template <class T>
class FrameObject {
public:
    template <class... Args>
    void Build(Args&&... args)
    {
        ::new (static_cast<void*>(storage)) T(std::forward<Args>(args)...);
    }
    void Destroy() { Get().~T(); }
    T& Get() { return *std::launder(reinterpret_cast<T*>(storage)); }

private:
    alignas(T) unsigned char storage[sizeof(T)];
};
