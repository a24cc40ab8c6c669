// Module entry points on POSIX: the shared object's constructor and destructor run the
// library's load list and its reverse. The priority puts them ahead of (and, at unload,
// behind) any other static object of the library.
#include "frame/FrameEntry.h"

__attribute__((constructor(101))) static void ModuleLoad()
{
    FrameLoad();
}

__attribute__((destructor(101))) static void ModuleUnload()
{
    FrameUnload();
}
