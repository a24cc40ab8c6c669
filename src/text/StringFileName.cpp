// The file name operations of String: a drive letter and a colon, then directories separated
// by backslashes. Only the current directory's operations ask the system anything.
#include <cctype>
#include <cstring>
#include <string>

#include "TarnPlatform.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "patterns/SearchFunctions.h"
#include "text/TextHelpers.h"
#include "text/TextString.h"

namespace {

const unsigned long kToEnd = static_cast<unsigned long>(-1);
const DWORD kPathBufferSize = 260;

typedef TList<StringItem<TListElement>> Parts;

// Whether part begins with prefix, without regard to case; both may hold zero bytes.
bool BeginsWithNoCase(const String& part, const String& prefix)
{
    const unsigned long n = prefix.length();
    if (part.length() < n)
        return false;
    for (unsigned long i = 0; i < n; ++i)
        if (std::toupper(static_cast<unsigned char>(part.c_str()[i])) !=
            std::toupper(static_cast<unsigned char>(prefix.c_str()[i])))
            return false;
    return true;
}

}  // namespace

int String::ContainsDrive() const
{
    return length() >= 2 && std::isalpha(static_cast<unsigned char>(text[0])) && text[1] == DriveSeparator();
}

int String::ContainsPath() const
{
    return FindFirst(PathSeparator()) >= 0;
}

int String::GetDriveIndex() const
{
    return ContainsDrive() ? std::toupper(static_cast<unsigned char>(text[0])) - 'A' : -1;
}

SubString String::GetDrive(int* index) const
{
    if (index)
        *index = GetDriveIndex();
    if (!ContainsDrive())
        return SubString::CreateNull();
    const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return SubString::Create(&letter, 1);
}

SubString String::GetPath() const
{
    const long b = FindLast(PathSeparator());
    return SubString::Create(text, b < 0 ? length() : static_cast<unsigned long>(b));
}

SubString String::GetTitle(int withExtension) const
{
    const unsigned long start = static_cast<unsigned long>(FindLast(PathSeparator()) + 1);
    unsigned long n = length() - start;
    if (!withExtension) {
        for (unsigned long i = n; i > 0; --i)
            if (text[start + i - 1] == '.') {
                n = i - 1;
                break;
            }
    }
    return SubString::Create(text + start, n);
}

SubString String::GetExtension(int withPoint) const
{
    const long d = FindLast('.');
    if (d < 0 || d <= FindLast(PathSeparator()))
        return SubString::CreateNull();
    const unsigned long from = static_cast<unsigned long>(withPoint ? d : d + 1);
    return SubString::Create(text + from, length() - from);
}

SubString String::GetPathBelow(String* top) const
{
    const char separators[] = {PathSeparator(), 0};
    String copy(*this);
    copy.Trim(separators, 3);
    const long i = copy.FindFirst(PathSeparator());
    if (i < 0) {
        if (top)
            *top = copy;
        return SubString::Create(text, 0);
    }
    if (top)
        *top = copy.Left(static_cast<unsigned long>(i));
    return copy.Mid(static_cast<unsigned long>(i) + 1, kToEnd);
}

SubString String::GetSummary(unsigned long maxLength) const
{
    if (!ContainsDrive())
        return SubString::Create(text, 0);
    if (length() <= maxLength)
        return SubString::Create(text, length());
    const String path(GetPath());
    const String above(path.GetPath());
    const String title(GetTitle(1));
    String result;
    if (Compare(path, above) == 0) {
        result = *this;
    } else {
        result = above + "\\...\\";
        result += title;
    }
    if (maxLength == 0)
        return SubString::TransformToSubString(result);
    if (result.length() > maxLength) {
        const String drive(GetDrive());
        result = drive + ":\\...\\";
        result += title;
    }
    if (result.length() > maxLength)
        result = "...\\" + title;
    if (result.length() > maxLength) {
        if (maxLength < 3) {
            result.KeepLeft(maxLength);
        } else {
            result.KeepLeft(maxLength - 3);
            result += "...";
        }
    }
    return SubString::TransformToSubString(result);
}

int String::IsValidFileName() const
{
    long foundAt = -1;
    const long n = FindPattern(text, "[a-z]:(/\\[^<>:\"//|\\]+)+", 0, &foundAt);
    return foundAt == 0 && n >= 0 && static_cast<unsigned long>(n) == length();
}

SubString String::GetCurrentDrive()
{
    const String path(GetCurrentPath());
    if (path.IsEmpty())
        return SubString::CreateNull();
    const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(path[0])));
    return SubString::Create(&letter, 1);
}

SubString String::GetCurrentPath()
{
    // A failure leaves the text empty. A directory longer than the buffer (Windows with long
    // names enabled) is read again whole rather than cut to name another directory.
    char buffer[kPathBufferSize] = "";
    DWORD n = GetCurrentDirectoryA(kPathBufferSize, buffer);
    if (n < kPathBufferSize)
        return SubString::Create(buffer, n);
    for (int attempt = 0; attempt < 4; ++attempt) {
        std::string large(n, '\0');
        const DWORD size = n;
        n = GetCurrentDirectoryA(size, &large[0]);
        if (n < size)
            return SubString::Create(large.data(), n);
    }
    return SubString::Create(buffer, 0);
}

String& String::SetDrive(const String& drive)
{
    const String letter(drive);
    if (ContainsDrive())
        KeepMid(2, kToEnd);
    if (GetFirstChar() != PathSeparator())
        Prepend(PathSeparator());
    Prepend(DriveSeparator());
    return Prepend(letter);
}

String& String::SetDrive(int index)
{
    // An index that names no letter A to Z leaves the text as it is.
    if (index < 0 || index > 25)
        return *this;
    return SetDrive(String(static_cast<char>('A' + index), 1));
}

String& String::PrependVolumeName(const String& name)
{
    const String rest(Mid(2, kToEnd));
    *this = name + rest;
    return *this;
}

void String::EnsureFullFileName()
{
    if (ContainsDrive())
        return;
    if (ContainsPath())
        AddCurrentDrive();
    else
        AddCurrentPath();
}

void String::AppendTitleAndMakeFullFileName(const String& title)
{
    const String name(title);
    if (!ContainsDrive())
        AddCurrentDrive();
    if (GetLastChar() != PathSeparator())
        Append(PathSeparator());
    if (name.GetFirstChar() == PathSeparator())
        Append(String(name, 1, kToEnd));
    else
        Append(name);
}

void String::AddCurrentDrive()
{
    if (GetFirstChar() != PathSeparator())
        Prepend(PathSeparator());
    Prepend(DriveSeparator());
    Prepend(String(GetCurrentDrive()));
}

void String::AddCurrentPath()
{
    if (GetFirstChar() != PathSeparator())
        Prepend(PathSeparator());
    Prepend(String(GetCurrentPath()));
}

String& String::RemoveExtension(const char* list)
{
    const long d = FindLast('.');
    const long b = FindLast(PathSeparator());
    if (d < 1 || (b >= 0 && d < b))
        return *this;
    if (!list || std::strchr(list, '*'))
        return KeepLeft(static_cast<unsigned long>(d));
    const String extension(*this, static_cast<unsigned long>(d) + 1, kToEnd);
    Parts parts;
    ExplodeString(parts, list, "|", 1);
    for (StringItem<TListElement>* part = parts.GetFirst(); part; part = parts.GetNext(part))
        if (BeginsWithNoCase(*part, extension))
            return KeepLeft(static_cast<unsigned long>(d));
    return *this;
}

String& String::RemoveExtension(const String& list)
{
    const String copy(list);
    return RemoveExtension(copy.c_str());
}

String& String::SetExtension(const String& extension, const char* list)
{
    const String added(extension);
    if (!list) {
        if (GetLastChar() != '.')
            Append('.');
        return Append(added);
    }
    String working(list);
    if (!added.IsEmpty()) {
        working += '|';
        working += added;
    }
    RemoveExtension(working.c_str());
    if (!added.IsEmpty()) {
        Append('.');
        Append(added);
    }
    return *this;
}

String& String::SetExtension(const char* extension, const char* list)
{
    if (!extension)
        return RemoveExtension(static_cast<const char*>(nullptr));
    return SetExtension(String(extension), list);
}

String String::GetRelativeFileName(const String& directory, const String& fileName)
{
    String result;
    if (directory.GetDriveIndex() != fileName.GetDriveIndex())
        return result;
    Parts from, to;
    ExplodeString(from, directory.c_str(), "\\/:", 1);
    ExplodeString(to, fileName.c_str(), "\\/:", 1);
    from.DeleteFirst();
    to.DeleteFirst();
    // The file's title never goes, so the way always ends in it.
    while (from.GetFirst() && to.GetFirst() != to.GetLast() &&
           _stricmp(from.GetFirst()->c_str(), to.GetFirst()->c_str()) == 0) {
        from.DeleteFirst();
        to.DeleteFirst();
    }
    for (StringItem<TListElement>* part = from.GetFirst(); part; part = from.GetNext(part)) {
        if (!result.IsEmpty())
            result += PathSeparator();
        result += "..";
    }
    for (StringItem<TListElement>* part = to.GetFirst(); part; part = to.GetNext(part)) {
        if (!result.IsEmpty())
            result += PathSeparator();
        result += *part;
    }
    return result;
}

String String::GetAbsoluteFileName(const String& directory, const String& relative)
{
    Parts parts, steps;
    ExplodeString(parts, directory.c_str(), "\\/:", 1);
    ExplodeString(steps, relative.c_str(), "\\/:", 1);
    String tail;
    for (StringItem<TListElement>* step = steps.GetFirst(); step; step = steps.GetNext(step)) {
        if (Compare(step->c_str(), "..") == 0) {
            // At the drive's root ".." stays there, as Windows resolves C:\.. to C:\; the
            // drive itself never goes.
            if (parts.GetCount() >= 2)
                parts.DeleteLast();
        } else {
            tail += PathSeparator();
            tail += *step;
        }
    }
    // A directory without any part has no drive to begin with: the result is the tail alone.
    String result;
    for (StringItem<TListElement>* part = parts.GetFirst(); part; part = parts.GetNext(part)) {
        if (part == parts.GetFirst()) {
            result = *part;
            result += DriveSeparator();
        } else {
            result += PathSeparator();
            result += *part;
        }
    }
    result += tail;
    return result;
}
