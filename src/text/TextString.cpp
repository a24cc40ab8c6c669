// String core: buffers, counting, construction, assignment, slices, joins, conversions and
// comparison.
#include "text/TextString.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "frame/Frame.h"
#include "text/StringInternals.h"

const char _defaultTrimSet[] = " \t";

namespace {

// The empty buffers of String(), Clear() and SubString::CreateNull(), their counts pinned
// at String::kSharedForEver.
enum { eDefaultEmpty, eClearEmpty, eNullEmpty, eEmptyCount };
char* sharedEmpty[eEmptyCount];

// The comparison mode of String::Compare, per thread; CaseSensitive changes it.
thread_local int _caseSensitive = 1;

// Formats one number with a caller's printf format. Only a format with exactly one
// conversion of the right kind is used; anything else (no conversion, two, %s, %n, *)
// would read arguments that are not there, so the default text is made instead.
enum FormatArgument { eNoFormat, eAsInt, eAsLong, eAsLongLong, eAsDouble };

FormatArgument ClassifyFormat(const char* fmt, int floating)
{
    FormatArgument found = eNoFormat;
    for (const char* p = fmt; *p; ++p) {
        if (*p != '%')
            continue;
        if (*++p == '%')
            continue;
        if (found != eNoFormat)
            return eNoFormat;
        while (*p && std::strchr("-+ #0", *p))
            ++p;
        while (*p >= '0' && *p <= '9')
            ++p;
        if (*p == '.')
            for (++p; *p >= '0' && *p <= '9'; ++p) {
            }
        int longs = 0;
        if (*p == 'h') {
            ++p;
            if (*p == 'h')
                ++p;
        } else {
            while (*p == 'l' && longs < 2) {
                ++longs;
                ++p;
            }
        }
        if (!*p)
            return eNoFormat;
        if (floating) {
            if (longs > 1 || !std::strchr("fFeEgGaA", *p))
                return eNoFormat;
            found = eAsDouble;
        } else {
            if (!std::strchr("diouxXc", *p))
                return eNoFormat;
            found = longs == 0 ? eAsInt : longs == 1 ? eAsLong : eAsLongLong;
        }
    }
    return found;
}

}  // namespace

// The texts of the number constructors are formatted into a buffer of this size.
static const int kNumberBufferSize = 80;

// ---- the shared empty buffers, built and released by the load list -----------------------

void BuildSharedEmptyBuffers()
{
    for (char*& empty : sharedEmpty) {
        String s("");
        s.GetStringRef()->refCount = String::kSharedForEver;
        empty = s.text;
        s.text = nullptr;
    }
}

void ReleaseSharedEmptyBuffers()
{
    for (char*& empty : sharedEmpty) {
        if (empty)
            NH_Heap::FreeMem(reinterpret_cast<StringRef*>(empty) - 1);
        empty = nullptr;
    }
}

// ---- buffers --------------------------------------------------------------------------

long String::RoundBufferSize(long size)
{
    if (size == 0)
        return 8;
    return (size + 7) & ~7L;
}

char* NewStringBuffer(const char* s, unsigned long length)
{
    if (length > String::kMaxLength)
        RaiseStringTooLong();
    const uint32_t bufferSize = static_cast<uint32_t>((length + 1 + 7) & ~7UL);
    NH_Heap* heap = _stringHeap;
    StringRef* r = static_cast<StringRef*>(heap->Alloc(sizeof(StringRef) + bufferSize, 0));
    r->length = static_cast<uint32_t>(length);
    r->bufferSize = bufferSize;
    r->refCount = 1;
    r->heap = heap;
    char* text = reinterpret_cast<char*>(r + 1);
    if (s)
        std::memcpy(text, s, length);
    text[length] = 0;
    return text;
}

void RaiseStringTooLong()
{
    // A text that cannot have a 32-bit length is a failed allocation: the new handler gets
    // its say, and if it returns the failure still stands.
    _stringHeap->ExecuteStandardNewHandler();
    throw std::bad_alloc();
}

void String::Allocate(const char* s, unsigned long len)
{
    text = NewStringBuffer(s, len);
}

StringRef* String::Clone(long size)
{
    StringRef* old = GetStringRef();
    uint32_t newSize = static_cast<uint32_t>(size);
    if (size <= 0 || newSize < old->bufferSize)
        newSize = old->bufferSize;
    NH_Heap* heap = old->heap ? old->heap : _stringHeap;
    const int soleHolder = old->refCount == 1;
    if (!soleHolder) {
        // Give up the count first: if the allocation raises, this String holds nothing
        // and the other holders keep a correct count.
        if (old->refCount != kSharedForEver)
            --old->refCount;
        text = nullptr;
    }
    StringRef* r = static_cast<StringRef*>(heap->Alloc(sizeof(StringRef) + newSize, 0));
    std::memcpy(r, old, sizeof(StringRef) + old->bufferSize);
    r->refCount = 1;
    r->bufferSize = newSize;
    r->heap = heap;
    text = reinterpret_cast<char*>(r + 1);
    if (soleHolder && old->heap)
        NH_Heap::FreeMem(old);
    return r;
}

StringRef* String::ReallocBuffer(long size)
{
    const long rounded = RoundBufferSize(size);
    StringRef* r = GetStringRef();
    if (r->refCount >= 2 || !r->heap)
        return Clone(rounded);
    r = static_cast<StringRef*>(r->heap->Realloc(r, sizeof(StringRef) + rounded, 0));
    r->bufferSize = static_cast<uint32_t>(rounded);
    text = reinterpret_cast<char*>(r + 1);
    return r;
}

void String::CopyBeforeWrite()
{
    if (GetStringRef()->refCount >= 2)
        Clone(0);
}

void String::EnsureBufferSize(unsigned long n)
{
    if (n > kMaxLength)
        RaiseStringTooLong();
    if (GetStringRef()->bufferSize < n + 1)
        ReallocBuffer(static_cast<long>(n + 1));
}

void String::SetSize(int n)
{
    StringRef* r = GetStringRef();
    // A negative size would write in front of the text, and the pinned empty buffers are
    // never written: both are left alone.
    if (n < 0 || r->refCount == kSharedForEver || static_cast<uint32_t>(n) >= r->bufferSize)
        return;
    text[n] = 0;
    r->length = static_cast<uint32_t>(n);
}

void String::FreeExtraBufferSize()
{
    StringRef* r = GetStringRef();
    // Shrinking a shared buffer would pull it from under the other holders.
    if (r->refCount >= 2 || !r->heap || r->bufferSize <= r->length + 1)
        return;
    const long size = RoundBufferSize(r->length + 1);
    r = static_cast<StringRef*>(r->heap->Realloc(r, sizeof(StringRef) + size, 0));
    r->bufferSize = static_cast<uint32_t>(size);
    text = reinterpret_cast<char*>(r + 1);
}

void* String::operator new(size_t size) noexcept
{
    return _stringHeap->AllocMem(static_cast<unsigned long>(size));
}

void* String::operator new(size_t size, NH_Heap& heap) noexcept
{
    return heap.AllocMem(static_cast<unsigned long>(size));
}

void String::operator delete(void* p)
{
    NH_Heap::FreeMem(p);
}

void String::operator delete(void* p, NH_Heap&)
{
    NH_Heap::FreeMem(p);
}

// ---- construction and assignment --------------------------------------------------------

String::String() : text(sharedEmpty[eDefaultEmpty]) {}

String::String(const char* s)
{
    Allocate(s, std::strlen(s));
}

String::String(const char* s, int isText, unsigned long pos, unsigned long n)
{
    if (!isText) {
        Allocate(s + pos, n);
        return;
    }
    const unsigned long length = std::strlen(s);
    if (pos >= length)
        Allocate(nullptr, 0);
    else
        Allocate(s + pos, n < length - pos ? n : length - pos);
}

String::String(const String& s, unsigned long pos, unsigned long n)
{
    const unsigned long length = s.length();
    if (pos >= length)
        Allocate(nullptr, 0);
    else
        Allocate(s.text + pos, n < length - pos ? n : length - pos);
}

String::String(const SubString& s) : text(s.text) {}

String::String(StringRef* r) : text(reinterpret_cast<char*>(r + 1)) {}

String::String(char c, unsigned long n)
{
    Allocate(nullptr, n);
    std::memset(text, c, n);
}

String::String(short v, const char* fmt)
{
    LongToString(static_cast<long>(v), fmt);
}

String::String(int v, const char* fmt)
{
    LongToString(static_cast<long>(v), fmt);
}

String::String(long v, const char* fmt)
{
    LongToString(v, fmt);
}

String::String(unsigned short v, const char* fmt)
{
    LongToString(static_cast<unsigned long>(v), fmt);
}

String::String(unsigned int v, const char* fmt)
{
    LongToString(static_cast<unsigned long>(v), fmt);
}

String::String(unsigned long v, const char* fmt)
{
    LongToString(v, fmt);
}

String::String(float v, const char* fmt) : String(static_cast<double>(v), fmt ? fmt : "%.2f") {}

String::String(double v, const char* fmt)
{
    char buffer[kNumberBufferSize];
    if (!fmt || ClassifyFormat(fmt, 1) != eAsDouble)
        fmt = "%.2lf";
    std::snprintf(buffer, sizeof buffer, fmt, v);
    BuildFromFormat(buffer);
}

void String::LongToString(long v, const char* fmt)
{
    char buffer[kNumberBufferSize];
    switch (fmt ? ClassifyFormat(fmt, 0) : eNoFormat) {
    case eAsInt:
        std::snprintf(buffer, sizeof buffer, fmt, static_cast<int>(v));
        break;
    case eAsLong:
        std::snprintf(buffer, sizeof buffer, fmt, v);
        break;
    case eAsLongLong:
        std::snprintf(buffer, sizeof buffer, fmt, static_cast<long long>(v));
        break;
    default:
        _ltoa(v, buffer, 10);
        break;
    }
    BuildFromFormat(buffer);
}

void String::LongToString(unsigned long v, const char* fmt)
{
    char buffer[kNumberBufferSize];
    switch (fmt ? ClassifyFormat(fmt, 0) : eNoFormat) {
    case eAsInt:
        std::snprintf(buffer, sizeof buffer, fmt, static_cast<unsigned int>(v));
        break;
    case eAsLong:
        std::snprintf(buffer, sizeof buffer, fmt, v);
        break;
    case eAsLongLong:
        std::snprintf(buffer, sizeof buffer, fmt, static_cast<unsigned long long>(v));
        break;
    default:
        _ultoa(v, buffer, 10);
        break;
    }
    BuildFromFormat(buffer);
}

void String::BuildFromFormat(const char* buffer)
{
    Allocate(buffer, std::strlen(buffer));
}

String& String::operator=(const String& s)
{
    if (this == &s)
        return *this;
    AddReference(s.GetStringRef());
    Release();
    text = s.text;
    return *this;
}

String& String::operator=(const char* s)
{
    if (!*s) {
        Clear();
        return *this;
    }
    // The new buffer is made before the old one goes, so s may even lie in it.
    char* made = NewStringBuffer(s, std::strlen(s));
    Release();
    text = made;
    return *this;
}

String& String::operator=(const SubString& s)
{
    Release();
    text = s.text;
    return *this;
}

void String::Clear()
{
    Release();
    text = sharedEmpty[eClearEmpty];
}

// ---- slices and joins ---------------------------------------------------------------

SubString String::Left(unsigned long n) const
{
    const unsigned long length = this->length();
    return SubString::Create(text, n < length ? n : length);
}

SubString String::Right(unsigned long n) const
{
    const unsigned long length = this->length();
    const unsigned long count = n < length ? n : length;
    return SubString::Create(text + length - count, count);
}

SubString String::Mid(unsigned long pos, unsigned long n) const
{
    const unsigned long length = this->length();
    if (pos >= length)
        return SubString::Create(text, 0);
    return SubString::Create(text + pos, n < length - pos ? n : length - pos);
}

SubString String::Concatenate(const char* a, unsigned long aLen, const char* b, unsigned long bLen)
{
    if (aLen > kMaxLength || bLen > kMaxLength - aLen)
        RaiseStringTooLong();
    char* text = NewStringBuffer(nullptr, aLen + bLen);
    std::memcpy(text, a, aLen);
    std::memcpy(text + aLen, b, bLen);
    return SubString(text);
}

SubString String::Concatenate(const char* a, unsigned long aLen, const char* b)
{
    return Concatenate(a, aLen, b, std::strlen(b));
}

SubString String::Concatenate(const char* a, const char* b, unsigned long bLen)
{
    return Concatenate(a, std::strlen(a), b, bLen);
}

SubString String::Concatenate(const char* a, const char* b)
{
    return Concatenate(a, std::strlen(a), b, std::strlen(b));
}

SubString operator+(const String& a, const String& b)
{
    return String::Concatenate(a.text, a.length(), b.text, b.length());
}

SubString operator+(const String& a, const char* b)
{
    return String::Concatenate(a.text, a.length(), b);
}

SubString operator+(const char* a, const String& b)
{
    return String::Concatenate(a, b.text, b.length());
}

SubString SubString::Create(const char* s, unsigned long n)
{
    return SubString(NewStringBuffer(s, n));
}

SubString SubString::CreateNull()
{
    return SubString(sharedEmpty[eNullEmpty]);
}

SubString SubString::TransformToSubString(String& s)
{
    char* text = s.text;
    s.text = nullptr;
    return SubString(text);
}

// ---- conversions and comparison ------------------------------------------------------

long String::StringToString(int base) const
{
    return std::strtol(text, nullptr, base);
}

unsigned long String::StringToULong(int base) const
{
    return std::strtoul(text, nullptr, base);
}

float String::to_float() const
{
    return static_cast<float>(std::atof(text));
}

double String::to_double() const
{
    return std::atof(text);
}

int String::Compare(const char* a, const char* b)
{
    if (_caseSensitive == 0)
        return _stricmp(a, b);
    const unsigned char* x = reinterpret_cast<const unsigned char*>(a);
    const unsigned char* y = reinterpret_cast<const unsigned char*>(b);
    for (; *x == *y; ++x, ++y)
        if (*x == 0)
            return 0;
    return *x < *y ? -1 : 1;
}

CaseSensitive::CaseSensitive(int mode) : previous(_caseSensitive)
{
    _caseSensitive = mode;
}

CaseSensitive::~CaseSensitive()
{
    _caseSensitive = previous;
}
