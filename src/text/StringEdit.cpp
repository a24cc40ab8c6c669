// String editing and searching. Every edit that changes the text unshares the buffer first
// and works in place; edits that change nothing leave a shared buffer shared.
#include <cctype>
#include <cstring>
#include <functional>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "text/StringInternals.h"
#include "text/TextString.h"

namespace {

const unsigned long kToEnd = static_cast<unsigned long>(-1);

// Membership table of a set of characters; the zero byte is never a member.
struct CharacterSet {
    explicit CharacterSet(const char* set)
    {
        for (; *set; ++set)
            member[static_cast<unsigned char>(*set)] = true;
    }
    bool Has(char c) const { return member[static_cast<unsigned char>(c)]; }
    bool member[256] = {};
};

long IndexOf(const char* found, const char* text)
{
    return found ? static_cast<long>(found - text) : -1;
}

}  // namespace

// ---- insertion ---------------------------------------------------------------------

char* String::OpenGap(unsigned long pos, unsigned long n)
{
    StringRef* r = GetStringRef();
    if (r->refCount >= 2)
        r = Clone(0);
    const unsigned long length = r->length;
    if (n > kMaxLength - length)
        RaiseStringTooLong();
    if (pos > length)
        pos = length;
    const unsigned long newLength = length + n;
    if (r->bufferSize <= newLength) {
        // Exactly the new length and a terminator: no rounding, no reserve.
        if (!r->heap) {
            r = Clone(static_cast<long>(newLength + 1));
        } else {
            r = static_cast<StringRef*>(r->heap->Realloc(r, sizeof(StringRef) + newLength + 1, 0));
            text = reinterpret_cast<char*>(r + 1);
        }
        r->bufferSize = static_cast<uint32_t>(newLength + 1);
    }
    std::memmove(text + pos + n, text + pos, length - pos + 1);
    r->length = static_cast<uint32_t>(newLength);
    return text + pos;
}

String& String::InsertMemory(unsigned long pos, const void* data, unsigned long n)
{
    if (n == 0)
        return *this;
    const char* bytes = static_cast<const char*>(data);
    const std::less<const char*> before;
    if (!before(bytes, text) && before(bytes, text + GetStringRef()->bufferSize)) {
        // The bytes lie in this very buffer, which may move: insert a copy of them.
        String copy(bytes, 0, 0, n);
        std::memcpy(OpenGap(pos, n), copy.text, n);
        return *this;
    }
    std::memcpy(OpenGap(pos, n), bytes, n);
    return *this;
}

String& String::Insert(unsigned long pos, const char* s, unsigned long n)
{
    return InsertMemory(pos, s, static_cast<unsigned long>(strnlen(s, n)));
}

String& String::Insert(unsigned long pos, const String& s, unsigned long n)
{
    const unsigned long length = s.length();
    const unsigned long count = n < length ? n : length;
    if (&s == this) {
        const String copy(s.text, 0, 0, length);
        return InsertMemory(pos, copy.text, count);
    }
    return InsertMemory(pos, s.text, count);
}

String& String::Insert(unsigned long pos, char c, unsigned long n)
{
    if (n == 0)
        return *this;
    std::memset(OpenGap(pos, n), c, n);
    return *this;
}

// ---- removal and replacement ---------------------------------------------------------

String& String::Remove(unsigned long pos, unsigned long n)
{
    const unsigned long length = this->length();
    if (pos >= length || n == 0)
        return *this;
    CopyBeforeWrite();
    const unsigned long count = n < length - pos ? n : length - pos;
    std::memmove(text + pos, text + pos + count, length - pos - count + 1);
    GetStringRef()->length = static_cast<uint32_t>(length - count);
    return *this;
}

String& String::KeepLeft(unsigned long n)
{
    if (n > length())
        return *this;
    return Remove(n, kToEnd);
}

String& String::KeepRight(unsigned long n)
{
    if (n >= length())
        return *this;
    return Remove(0, length() - n);
}

String& String::KeepMid(unsigned long pos, unsigned long n)
{
    Remove(0, pos);
    return KeepLeft(n);
}

String& String::RemoveRight(unsigned long n)
{
    if (n < length())
        return KeepLeft(length() - n);
    Clear();
    return *this;
}

String& String::RemoveAll(char c)
{
    const unsigned long length = this->length();
    if (!std::memchr(text, c, length))
        return *this;
    CopyBeforeWrite();
    unsigned long kept = 0;
    for (unsigned long i = 0; i < length; ++i)
        if (text[i] != c)
            text[kept++] = text[i];
    text[kept] = 0;
    GetStringRef()->length = static_cast<uint32_t>(kept);
    return *this;
}

String& String::Replace(unsigned long pos, unsigned long n, const char* s)
{
    const std::less<const char*> before;
    if (!before(s, text) && before(s, text + GetStringRef()->bufferSize)) {
        const String copy(s);
        return Replace(pos, n, copy);
    }
    Remove(pos, n);
    return Insert(pos, s, kToEnd);
}

String& String::Replace(unsigned long pos, unsigned long n, const String& s)
{
    if (&s == this) {
        const String copy(s.text, 0, 0, s.length());
        return Replace(pos, n, copy);
    }
    Remove(pos, n);
    return Insert(pos, s, kToEnd);
}

// ---- case and order ------------------------------------------------------------------

void String::MakeUpper()
{
    if (!text[0])
        return;
    CopyBeforeWrite();
    _strupr(text);
}

void String::MakeLower()
{
    if (!text[0])
        return;
    CopyBeforeWrite();
    _strlwr(text);
}

void String::MakeCapital()
{
    if (!text[0])
        return;
    CopyBeforeWrite();
    _strlwr(text);
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
}

void String::Reverse()
{
    const unsigned long length = this->length();
    if (length < 2)
        return;
    CopyBeforeWrite();
    for (unsigned long i = 0, j = length - 1; i < j; ++i, --j) {
        const char c = text[i];
        text[i] = text[j];
        text[j] = c;
    }
}

// ---- trimming and reading ------------------------------------------------------------

String& String::Trim(const char* set, int mode)
{
    const CharacterSet members(set);
    if (mode & 1) {
        unsigned long skip = 0;
        while (text[skip] && members.Has(text[skip]))
            ++skip;
        if (skip) {
            CopyBeforeWrite();
            const unsigned long length = this->length();
            std::memmove(text, text + skip, length - skip + 1);
            GetStringRef()->length = static_cast<uint32_t>(length - skip);
        }
    }
    if (mode & 2) {
        unsigned long length = this->length();
        if (length == 0 || !members.Has(text[length - 1]))
            return *this;
        CopyBeforeWrite();
        while (length > 0 && members.Has(text[length - 1]))
            --length;
        text[length] = 0;
        GetStringRef()->length = static_cast<uint32_t>(length);
    }
    return *this;
}

char String::GetLastChar() const
{
    return text[0] ? text[length() - 1] : 0;
}

unsigned long String::GetNumberOf(char c) const
{
    const unsigned long length = this->length();
    unsigned long count = 0;
    for (unsigned long i = 0; i < length; ++i)
        count += text[i] == c;
    return count;
}

// ---- searching -----------------------------------------------------------------------

long String::FindFirst(char c, int caseSensitive) const
{
    if (caseSensitive)
        return IndexOf(std::strchr(text, c), text);
    const char needle[2] = {c, 0};
    return IndexOf(stristr(text, needle), text);
}

long String::FindFirst(const char* s, int caseSensitive) const
{
    return IndexOf(caseSensitive ? std::strstr(text, s) : stristr(text, s), text);
}

long String::FindLast(char c, int caseSensitive) const
{
    if (caseSensitive)
        return IndexOf(std::strrchr(text, c), text);
    const char needle[2] = {c, 0};
    return IndexOf(strristr(text, needle), text);
}

long String::FindLast(const char* s, int caseSensitive) const
{
    if (!caseSensitive)
        return IndexOf(strristr(text, s), text);
    // An empty needle matches last at the very end of the text.
    if (!*s)
        return static_cast<long>(std::strlen(text));
    const char* last = nullptr;
    for (const char* p = std::strstr(text, s); p; p = std::strstr(p + 1, s))
        last = p;
    return IndexOf(last, text);
}

long String::FindOneOf(const char* set) const
{
    return IndexOf(std::strpbrk(text, set), text);
}

long String::FindFirstNotOf(const char* set, unsigned long start) const
{
    const unsigned long length = this->length();
    const CharacterSet members(set);
    for (unsigned long i = start; i < length; ++i)
        if (!members.Has(text[i]))
            return static_cast<long>(i);
    return -1;
}

long String::FindLastNotOf(const char* set) const
{
    const CharacterSet members(set);
    for (unsigned long i = length(); i-- > 0;)
        if (!members.Has(text[i]))
            return static_cast<long>(i);
    return -1;
}

char* stristr(const char* text, const char* needle)
{
    if (!*needle)
        return const_cast<char*>(text);
    const int first = std::toupper(static_cast<unsigned char>(*needle));
    for (; *text; ++text) {
        if (std::toupper(static_cast<unsigned char>(*text)) != first)
            continue;
        const char* t = text + 1;
        const char* n = needle + 1;
        while (*n && std::toupper(static_cast<unsigned char>(*t)) == std::toupper(static_cast<unsigned char>(*n))) {
            ++t;
            ++n;
        }
        if (!*n)
            return const_cast<char*>(text);
    }
    return nullptr;
}

char* strristr(const char* text, const char* needle)
{
    // An empty needle matches last at the very end; searching on would never end.
    if (!*needle)
        return const_cast<char*>(text + std::strlen(text));
    char* last = nullptr;
    for (char* p = stristr(text, needle); p; p = stristr(p + 1, needle))
        last = p;
    return last;
}
