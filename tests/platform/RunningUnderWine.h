// Whether a Windows test program runs under Wine, whose ntdll exports its version. Some Wine
// answers differ from Windows'; the tests that meet them ask this.
#pragma once

#include "TarnPlatform.h"

inline bool RunningUnderWine()
{
#ifdef _WIN32
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version");
#else
    return false;
#endif
}
