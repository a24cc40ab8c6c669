// TFile's static operations on names: existence, attributes, deletion, temporary names.
#include "files/File.h"

#include "TarnPlatform.h"
#include "errors/Exception.h"

int TFile::Exist(const TFileName& name, EType type)
{
    if (name.IsEmpty())
        return 0;
    const DWORD attributes = GetFileAttributesA(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return GetLastError() == ERROR_ACCESS_DENIED;  // there, though out of reach
    const int isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    switch (type) {
    case eFile:
        return !isDirectory;
    case eDirectory:
        return isDirectory;
    default:
        return 1;
    }
}

unsigned long TFile::GetAttributes(const TFileName& name)
{
    const DWORD attributes = GetFileAttributesA(name.c_str());
    return attributes == INVALID_FILE_ATTRIBUTES ? kAttrFailure : TranslateOSAttributeFlags(attributes);
}

int TFile::SetAttributes(const TFileName& name, unsigned long attributes, int throwOnError)
{
    if (SetFileAttributesA(name.c_str(), TranslateAttributeFlags(attributes)))
        return 1;
    if (throwOnError)
        TExceptionThrower(0).SetAndThrow(ResMess(18017), GetLastError());
    return 0;
}

int TFile::IsWriteProtected(const TFileName& name)
{
    const unsigned long attributes = GetAttributes(name);
    return attributes != kAttrFailure && (attributes & eAttrReadOnly) != 0;
}

// DeleteFileA is the call that the Windows run-time's remove makes, so a read-only file is
// refused alike on every target.
int TFile::Delete(const TFileName& name, int throwOnError, int force)
{
    if (!Exist(name, eFile))
        return 1;
    if (DeleteFileA(name.c_str()))
        return 1;
    DWORD code = GetLastError();
    if (force) {
        const unsigned long attributes = GetAttributes(name);
        if (attributes != kAttrFailure && (attributes & eAttrReadOnly) &&
            SetAttributes(name, attributes & ~eAttrReadOnly, throwOnError)) {
            if (DeleteFileA(name.c_str()))
                return 1;
            code = GetLastError();
        }
    }
    if (throwOnError)
        TExceptionThrower(0).SetAndThrow(ResMess(18001), code);
    return 0;
}

TFileName TFile::GetTempName(const TFileName& directory)
{
    TFileName path(directory);
    path.Trim("\\", 2);
    if (!Exist(path, eDirectory))
        TExceptionThrower(0).SetAndThrow(ResMess(18008));
    for (unsigned long n = 0;; ++n) {
        TFileName candidate(path + "\\XX");
        candidate += String(n);
        candidate += ".$$$";
        // Anything of the name, a directory too, takes it. A name that may not be looked at
        // would count as taken, and so would every name after it: such a directory cannot
        // be searched.
        if (GetFileAttributesA(candidate.c_str()) != INVALID_FILE_ATTRIBUTES)
            continue;
        if (GetLastError() == ERROR_ACCESS_DENIED)
            TExceptionThrower(0).SetAndThrow(ResMess(18008));
        return candidate;
    }
}
