// Text helper functions: lists, integer arrays, bounded copies, counting, sizes and dates.
#include "text/TextHelpers.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "files/MemoryStream.h"
#include "frame/Frame.h"

namespace {

const char kBlanks[] = " \t";

// Membership in set; the terminator of set is no member.
inline bool InSet(const char* set, char c)
{
    return c != 0 && std::strchr(set, c) != nullptr;
}

// Items are made as operator new makes objects: on exhaustion the new handler runs and the
// allocation is tried again.
StringItem<TListElement>* NewItem(const String& text)
{
    for (;;) {
        if (StringItem<TListElement>* item = new StringItem<TListElement>(text))
            return item;
        _stringHeap->ExecuteStandardNewHandler();
    }
}

void AddPiece(TList<StringItem<TListElement>>& list, const char* piece, unsigned long length, int trim)
{
    String text(piece, 0, 0, length);
    if (trim && Trim(text) == 0)
        return;
    list.Append(NewItem(text));
}

void FormatFileSize(unsigned long size, char* buffer, unsigned long bufferSize)
{
    char text[48];
    if (size < 1000)
        std::snprintf(text, sizeof text, "%lu B", size);
    else if (size < 1000000)
        std::snprintf(text, sizeof text, "%lu kB", size / 1000);
    else
        std::snprintf(text, sizeof text, "%lu.%lu MB", size / 1000000, (size % 1000000) / 100000);
    strcpy_n(buffer, text, bufferSize);
}

}

char* strcpy_n(char* dest, const char* src, unsigned long size)
{
    if (size == 0)
        return dest;
    unsigned long n = 0;
    while (n < size - 1 && src[n])
        ++n;
    std::memcpy(dest, src, n);
    dest[n] = 0;
    return dest;
}

void CopyMax(char* dest, const char* src, unsigned int size)
{
    if (size != 0)
        strcpy_n(dest, src, size);
}

void MakeString(char* dest, unsigned int destSize, const char* src, unsigned int srcLength)
{
    if (destSize == 0)
        return;
    const unsigned int n = srcLength < destSize ? srcLength : destSize - 1;
    std::memcpy(dest, src, n);
    dest[n] = 0;
}

unsigned int FindNumOccurences(const char* needle, const char* text, int textLength)
{
    const size_t needleLength = std::strlen(needle);
    if (needleLength == 0)
        return 0;
    const size_t length = textLength < 0 ? std::strlen(text) : static_cast<size_t>(textLength);
    if (length < needleLength)
        return 0;
    const size_t lastStart = length - needleLength;
    unsigned int found = 0;
    for (size_t i = 0; i <= lastStart;) {
        if (text[i] == needle[0] && std::memcmp(text + i, needle, needleLength) == 0) {
            ++found;
            i += needleLength;
        } else {
            ++i;
        }
    }
    return found;
}

int CountChar(const char* text, char c)
{
    int count = 0;
    for (; *text; ++text)
        count += *text == c;
    return count;
}

const char* FindTrimmedSubString(const char* text, int* length, const char* set, int mode)
{
    if (mode & 1)
        while (InSet(set, *text))
            ++text;
    *length = static_cast<int>(std::strlen(text));
    if (mode & 2)
        while (*length > 0 && InSet(set, text[*length - 1]))
            --*length;
    return text;
}

const char* FindTrimmedSubString(const char* text, int textLength, int* length, const char* set, int mode)
{
    if (textLength < 0)
        return FindTrimmedSubString(text, length, set, mode);
    int skipped = 0;
    if (mode & 1)
        while (skipped < textLength && InSet(set, text[skipped]))
            ++skipped;
    text += skipped;
    *length = textLength - skipped;
    if (mode & 2)
        while (*length > 0 && InSet(set, text[*length - 1]))
            --*length;
    return text;
}

unsigned long GetHashValue(const String& s)
{
    uint32_t h = 0;
    const char* text = s.c_str();
    for (unsigned long i = 0, n = s.length(); i < n; ++i)
        h = (h << 2) ^ static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(text[i])));
    return h;
}

unsigned int ReplaceChar(char* text, char oldChar, char newChar)
{
    unsigned int count = 0;
    for (; *text; ++text)
        if (*text == oldChar) {
            *text = newChar;
            ++count;
        }
    return count;
}

unsigned int ReplaceChar(String& s, char oldChar, char newChar)
{
    const unsigned long length = s.length();
    const char* text = s.c_str();
    unsigned long i = 0;
    while (i < length && text[i] != oldChar)
        ++i;
    if (i == length)
        return 0;
    s.CopyBeforeWrite();
    char* buffer = s.GetBuffer();
    unsigned int count = 0;
    for (; i < length; ++i)
        if (buffer[i] == oldChar) {
            buffer[i] = newChar;
            ++count;
        }
    return count;
}

unsigned int ReplaceChars(char* text, const char* set, char newChar)
{
    unsigned int count = 0;
    for (; *set; ++set)
        count += ReplaceChar(text, *set, newChar);
    return count;
}

unsigned int ReplaceChars(String& s, const char* set, char newChar)
{
    unsigned int count = 0;
    for (; *set && s.length() != 0; ++set)
        count += ReplaceChar(s, *set, newChar);
    return count;
}

void Inverse(char* text)
{
    size_t j = std::strlen(text);
    for (size_t i = 0; j > i + 1; ++i) {
        --j;
        const char c = text[i];
        text[i] = text[j];
        text[j] = c;
    }
}

void Inverse(String& s)
{
    s.Reverse();
}

unsigned int Trim(String& s)
{
    return static_cast<unsigned int>(s.Trim(kBlanks, 3).length());
}

unsigned int TrimStart(String& s)
{
    return static_cast<unsigned int>(s.Trim(kBlanks, 1).length());
}

unsigned int TrimEnd(String& s)
{
    return static_cast<unsigned int>(s.Trim(kBlanks, 2).length());
}

void ExplodeString(TList<StringItem<TListElement>>& list, const char* text, const char* separators, int trim)
{
    list.DeleteAll();
    if (*separators) {
        const char* p = text;
        for (;;) {
            while (*p && InSet(separators, *p))
                ++p;
            if (!*p)
                return;
            const char* piece = p;
            while (*p && !InSet(separators, *p))
                ++p;
            AddPiece(list, piece, static_cast<unsigned long>(p - piece), trim);
        }
    }
    // Zero-separated texts, ended by the first of two zero bytes in a row.
    for (const char* p = text; *p;) {
        const size_t length = std::strlen(p);
        AddPiece(list, p, static_cast<unsigned long>(length), trim);
        p += length + 1;
    }
}

int* StringToIntArray(const char* text, int* count)
{
    *count = 0;
    TMemoryStream stream(80, 0);
    try {
        const char* p = text;
        while (*p) {
            char digits[100];
            int n = 0;
            while (*p >= '0' && *p <= '9' && n < 99)
                digits[n++] = *p++;
            while (*p >= '0' && *p <= '9')
                ++p;
            if (n) {
                // Saturates as the run-time's atoi does on overflow, the same on every target.
                long long value = 0;
                for (int i = 0; i < n && value <= INT_MAX; ++i)
                    value = value * 10 + (digits[i] - '0');
                stream.Put(static_cast<int>(value > INT_MAX ? INT_MAX : value));
                ++*count;
            } else {
                ++p;
            }
        }
    } catch (...) {
        NH_Heap::FreeMem(stream.GetStart());
        *count = 0;
        throw;
    }
    return reinterpret_cast<int*>(stream.GetStart());
}

String IntArrayToString(const int* values, int count, char separator)
{
    String result;
    for (int i = 0; i < count; ++i) {
        char digits[8 * sizeof(int) + 2];
        if (i)
            result += separator;
        result += _itoa(values[i], digits, 10);
    }
    return result;
}

void GetStringFileSize(unsigned long size, char* buffer)
{
    FormatFileSize(size, buffer, kFileSizeBufferSize);
}

String GetStringFileSize(unsigned long size)
{
    char buffer[100];
    FormatFileSize(size, buffer, sizeof buffer);
    return String(buffer);
}

String ByteSizeToString(double size)
{
    const char* unit = "B";
    if (size >= 1073741824.0) {
        size /= 1073741824.0;
        unit = "GB";
    } else if (size >= 1048576.0) {
        size /= 1048576.0;
        unit = "MB";
    } else if (size >= 1024.0) {
        size /= 1024.0;
        unit = "KB";
    }
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.2f %s", size, unit);
    return String(buffer);
}

char* GetDateString(unsigned short date, char* buffer, int bufferSize)
{
    FILETIME fileTime;
    SYSTEMTIME systemTime;
    if (!DosDateTimeToFileTime(date, 0, &fileTime) || !FileTimeToSystemTime(&fileTime, &systemTime) ||
        GetDateFormatA(0, 0, &systemTime, "dd/MM/yyyy", buffer, bufferSize) == 0) {
        if (bufferSize > 0)
            buffer[0] = 0;
    }
    return buffer;
}

String GetDateString(unsigned short date)
{
    char buffer[100];
    return String(GetDateString(date, buffer, sizeof buffer));
}
