// The calls of TarnNames.h on Windows, where names are the system's own: the conversions
// make a name full and swap its separators, and drive letters cannot be mapped.
#include "TarnPlatform.h"

#include <string>

namespace {

DWORD FullName(LPCSTR name, char from, char to, LPSTR buffer, DWORD size)
{
    if (!name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (!*name) {
        SetLastError(ERROR_INVALID_NAME);
        return 0;
    }
    std::string text(name);
    for (char& c : text)
        if (c == '/')
            c = '\\';
    DWORD n = GetFullPathNameA(text.c_str(), 0, nullptr, nullptr);
    std::string full;
    while (n) {
        full.assign(n, '\0');
        const DWORD got = GetFullPathNameA(text.c_str(), n, &full[0], nullptr);
        // It fails when the current directory changed meanwhile to one too long for the
        // name; the system's error stands.
        if (got == 0)
            return 0;
        if (got < n) {
            full.resize(got);
            break;
        }
        n = got;  // the current directory changed in between: try again
    }
    if (!n)
        return 0;
    for (char& c : full)
        if (c == from)
            c = to;
    if (full.size() >= size)
        return DWORD(full.size() + 1);
    memcpy(buffer, full.c_str(), full.size() + 1);
    return DWORD(full.size());
}

}

extern "C" {

BOOL MapDriveToDirectory(CHAR drive, LPCSTR)
{
    const bool letter = (drive >= 'A' && drive <= 'Z') || (drive >= 'a' && drive <= 'z');
    SetLastError(letter ? ERROR_NOT_SUPPORTED : ERROR_INVALID_PARAMETER);
    return FALSE;
}

DWORD ConvertPosixToWindowsName(LPCSTR posixName, LPSTR buffer, DWORD size)
{
    return FullName(posixName, '/', '\\', buffer, size);
}

DWORD ConvertWindowsToPosixName(LPCSTR windowsName, LPSTR buffer, DWORD size)
{
    return FullName(windowsName, '\\', '/', buffer, size);
}

}
