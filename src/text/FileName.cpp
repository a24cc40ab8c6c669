// TFileName: construction, comparison and the application's own directory.
#include "text/FileName.h"

#include <string>

#include "TarnPlatform.h"

TFileName::TFileName(const char* path, const char* title) : String(path)
{
    AppendTitleAndMakeFullFileName(String(title));
}

TFileName::TFileName(const char* path, const String& title) : String(path)
{
    AppendTitleAndMakeFullFileName(title);
}

TFileName::TFileName(const String& path, const char* title) : String(path)
{
    AppendTitleAndMakeFullFileName(String(title));
}

TFileName::TFileName(const String& path, const String& title) : String(path)
{
    AppendTitleAndMakeFullFileName(title);
}

TFileName::~TFileName() {}

int TFileName::Compare(const CollectionElement& other, int) const
{
    return lstrcmpiA(c_str(), static_cast<const TFileName&>(other).c_str());
}

CollectionElement* TFileName::CreateClone(const void*) const
{
    return new TFileName(*this);
}

TFileName TFileName::GetApplicationPath()
{
    // A name that the first buffer cuts is read again with larger ones, so the directory is
    // never a cut one; a failure gives an empty text.
    std::string buffer(260, '\0');
    for (;;) {
        const DWORD size = static_cast<DWORD>(buffer.size());
        const DWORD n = GetModuleFileNameA(0, &buffer[0], size);
        if (n < size) {
            buffer.resize(n);
            break;
        }
        if (size >= 32768) {
            buffer.clear();
            break;
        }
        buffer.assign(size * 2, '\0');
    }
    const String name(buffer.c_str(), 0, 0, static_cast<unsigned long>(buffer.size()));
    return TFileName(name.GetPath());
}

TFileName TFileName::CreateApplicationRelative(const String& name)
{
    TFileName result(GetApplicationPath());
    result.AppendTitleAndMakeFullFileName(name);
    return result;
}

TFileName TFileName::CreateApplicationRelative(const char* name)
{
    return CreateApplicationRelative(String(name));
}
