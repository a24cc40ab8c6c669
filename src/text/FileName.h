// TFileName: a file name that lives in the library's lists and compares as the system
// compares names, without regard to case. The path operations are those of String.
#pragma once

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "text/TextString.h"

// Marks the classes that stand for files; it holds nothing.
class TFileId {};

class COMMONTARN_API TFileName : public String, public TFileId, public TListElement {
public:
    TFileName() {}
    TFileName(const char* s) : String(s) {}
    TFileName(const String& s) : String(s) {}
    TFileName(const SubString& s) : String(s) {}
    // A copy shares the text and is in no list.
    TFileName(const TFileName& s) : String(s), TFileId(), TListElement() {}
    // The directory path joined with title by exactly one backslash; a path without a drive
    // gets the current drive.
    TFileName(const char* path, const char* title);
    TFileName(const char* path, const String& title);
    TFileName(const String& path, const char* title);
    TFileName(const String& path, const String& title);
    ~TFileName() override;

    // Assignments change the text only; the links stay.
    TFileName& operator=(const TFileName& s)
    {
        String::operator=(s);
        return *this;
    }
    TFileName& operator=(const String& s)
    {
        String::operator=(s);
        return *this;
    }
    TFileName& operator=(const SubString& s)
    {
        String::operator=(s);
        return *this;
    }
    TFileName& operator=(const char* s)
    {
        String::operator=(s);
        return *this;
    }

    // lstrcmpiA of the texts, whatever compareMode and the thread's CaseSensitive mode say.
    // other is another TFileName.
    int Compare(const CollectionElement& other, int compareMode) const override;
    // A new TFileName sharing the text, on the string heap; null when that has no memory.
    CollectionElement* CreateClone(const void* context) const override;

    // The directory of the process's executable, without a trailing backslash.
    static TFileName GetApplicationPath();
    // name joined to that directory.
    static TFileName CreateApplicationRelative(const String& name);
    static TFileName CreateApplicationRelative(const char* name);
};
