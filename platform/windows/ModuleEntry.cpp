// Module entry point on Windows: the system's process attach runs the library's load list,
// its process detach the reverse. The C++ run-time builds the DLL's other static objects
// before this attach and destroys them after this detach, so none of them may use the
// objects of the load list.
#include "TarnPlatform.h"
#include "frame/FrameEntry.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    (void)reserved;
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        FrameLoad();
        // Nothing in the library depends on threads starting or ending.
        DisableThreadLibraryCalls(instance);
        break;
    case DLL_PROCESS_DETACH:
        FrameUnload();
        break;
    default:
        break;
    }
    return TRUE;
}
