// String: a one-pointer text value sharing a counted, copy-on-write buffer, and SubString,
// the buffer in transit that slicing and joining operations hand over without count traffic.
//
// Positions and counts are unsigned long and clamped to the text; -1 means "to the end".
// Searches answer a long index, -1 for no find. A String and every holder of its buffer
// belong to one thread at a time: the counts are plain words.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CommonTarnExport.h"
#include "NH_Heap.h"

class NH_Heap;
class String;
class TRegularExp;

// Header of every text buffer; the text starts right behind it in the same heap block.
struct StringRef {
    uint32_t length;      // characters, without the terminator
    uint32_t bufferSize;  // bytes for text and terminator
    uint32_t refCount;    // holders: String objects and SubString values in transit
    NH_Heap* heap;        // the block's heap; null for a record laid in its owner's storage
};

// The default set of Trim: space and tab.
extern COMMONTARN_API const char _defaultTrimSet[];

// A buffer in transit. It owns exactly one count and is received exactly once, by a String
// constructor or assignment; it has no destructor, so a SubString that is never received
// keeps its buffer for ever; the operations that make one are marked nodiscard.
class COMMONTARN_API SubString {
public:
    explicit SubString(char* p = nullptr) : text(p) {}
    SubString& operator=(const SubString& s)
    {
        text = s.text;
        return *this;
    }

    // n bytes of s in a new buffer.
    [[nodiscard]] static SubString Create(const char* s, unsigned long n);
    // Shares the empty buffer kept for this function.
    [[nodiscard]] static SubString CreateNull();
    // Moves the buffer out of s, leaving s holding nothing (it may then only be destroyed).
    [[nodiscard]] static SubString TransformToSubString(String& s);

private:
    friend class String;
    char* text;
};

class COMMONTARN_API String {
public:
    // The longest text, the same on every target: length, terminator and rounding fit 31 bits.
    static constexpr unsigned long kMaxLength = 0x7FFFFFF0ul;
    // Count of the pinned empty buffers, shared by all threads: never taken up or down, so
    // no race can free them, and every writer finds them shared.
    static constexpr uint32_t kSharedForEver = 0xFFFFFFFFu;

    // Construction: every constructor that makes text makes a new buffer.
    String();
    String(const char* s);
    // isText not 0: the piece of the zero-terminated s from pos, at most n characters.
    // isText 0: exactly n bytes from s + pos, zero bytes included.
    String(const char* s, int isText, unsigned long pos, unsigned long n);
    String(const String& s) : text(s.text) { AddReference(GetStringRef()); }
    String(const String& s, unsigned long pos, unsigned long n);
    String(const SubString& s);
    String(char c, unsigned long n);
    // Numbers: decimal text for a null format, otherwise the printf format with the value.
    explicit String(short v, const char* fmt = nullptr);
    explicit String(int v, const char* fmt = nullptr);
    explicit String(long v, const char* fmt = nullptr);
    explicit String(unsigned short v, const char* fmt = nullptr);
    explicit String(unsigned int v, const char* fmt = nullptr);
    explicit String(unsigned long v, const char* fmt = nullptr);
    explicit String(float v, const char* fmt = nullptr);
    explicit String(double v, const char* fmt = nullptr);
    ~String() { Release(); }

    String& operator=(const String& s);
    String& operator=(const char* s);
    String& operator=(const SubString& s);
    void Clear();

    // Access.
    unsigned long length() const { return GetStringRef()->length; }
    unsigned long GetLength() const { return GetStringRef()->length; }
    operator const char*() const { return text; }
    const char* c_str() const { return text; }
    char* GetBuffer() { return text; }
    int IsEmpty() const { return text[0] == 0; }
    int operator!() const { return text[0] == 0; }
    char operator[](int i) const { return text[i]; }
    char GetChar(int i) const { return text[i]; }
    // Raw access: no private copy is made, call CopyBeforeWrite first on a shared buffer.
    char& operator[](int i) { return text[i]; }
    void SetChar(int i, char c) { text[i] = c; }

    void CopyBeforeWrite();
    void EnsureBufferSize(unsigned long n);
    void SetSize(int n);
    void FreeExtraBufferSize();

    static void* operator new(size_t size) noexcept;
    static void* operator new(size_t size, NH_Heap& heap) noexcept;
    static void operator delete(void* p);
    static void operator delete(void* p, NH_Heap& heap);

    // Slices and joins, each in a new buffer.
    [[nodiscard]] SubString Left(unsigned long n) const;
    [[nodiscard]] SubString Right(unsigned long n) const;
    [[nodiscard]] SubString Mid(unsigned long pos, unsigned long n) const;

    // Conversions through strtol, strtoul and atof; what does not parse gives 0.
    char to_char(int base = 10) const { return static_cast<char>(StringToString(base)); }
    signed char to_schar(int base = 10) const { return static_cast<signed char>(StringToString(base)); }
    short to_short(int base = 10) const { return static_cast<short>(StringToString(base)); }
    int16_t to_int16(int base = 10) const { return static_cast<int16_t>(StringToString(base)); }
    int to_int(int base = 10) const { return static_cast<int>(StringToString(base)); }
    int32_t to_int32(int base = 10) const { return static_cast<int32_t>(StringToString(base)); }
    long to_long(int base = 10) const { return StringToString(base); }
    unsigned char to_uchar(int base = 10) const { return static_cast<unsigned char>(StringToULong(base)); }
    unsigned short to_ushort(int base = 10) const { return static_cast<unsigned short>(StringToULong(base)); }
    uint16_t to_uint16(int base = 10) const { return static_cast<uint16_t>(StringToULong(base)); }
    unsigned int to_uint(int base = 10) const { return static_cast<unsigned int>(StringToULong(base)); }
    uint32_t to_uint32(int base = 10) const { return static_cast<uint32_t>(StringToULong(base)); }
    unsigned long to_ulong(int base = 10) const { return StringToULong(base); }
    float to_float() const;
    double to_double() const;

    // Insertion; pos is clamped to the length, a count of 0 changes nothing.
    String& InsertMemory(unsigned long pos, const void* data, unsigned long n);
    String& Insert(unsigned long pos, const char* s, unsigned long n = static_cast<unsigned long>(-1));
    String& Insert(unsigned long pos, const String& s, unsigned long n = static_cast<unsigned long>(-1));
    String& Insert(unsigned long pos, char c, unsigned long n);
    String& operator+=(const char* s) { return Insert(static_cast<unsigned long>(-1), s); }
    String& operator+=(const String& s) { return Insert(static_cast<unsigned long>(-1), s); }
    String& operator+=(char c);
    String& Append(const char* s) { return Insert(static_cast<unsigned long>(-1), s); }
    String& Append(const String& s) { return Insert(static_cast<unsigned long>(-1), s); }
    String& Append(char c, unsigned long n = 1) { return Insert(static_cast<unsigned long>(-1), c, n); }
    String& Prepend(const char* s) { return Insert(0, s); }
    String& Prepend(const String& s) { return Insert(0, s); }
    String& Prepend(char c, unsigned long n = 1) { return Insert(0, c, n); }

    // Removal and replacement.
    String& Remove(unsigned long pos, unsigned long n = static_cast<unsigned long>(-1));
    String& KeepLeft(unsigned long n);
    String& KeepRight(unsigned long n);
    String& KeepMid(unsigned long pos, unsigned long n);
    String& RemoveRight(unsigned long n);
    String& RemoveAll(char c);
    String& Replace(unsigned long pos, unsigned long n, const char* s);
    String& Replace(unsigned long pos, unsigned long n, const String& s);

    // Case and order.
    void MakeUpper();
    void MakeLower();
    void MakeCapital();
    void Reverse();

    // Trimming: bit 0 of mode trims the left end, bit 1 the right end.
    String& Trim(const char* set, int mode = 3);
    String& Trim() { return Trim(_defaultTrimSet, 3); }
    String& TrimLeft() { return Trim(_defaultTrimSet, 1); }
    String& TrimRight() { return Trim(_defaultTrimSet, 2); }

    // Reading characters.
    char GetFirstChar() const { return text[0]; }
    char GetLastChar() const;
    unsigned long GetNumberOf(char c) const;

    // Searching; caseSensitive 0 compares without regard to case.
    long FindFirst(char c, int caseSensitive = 1) const;
    long FindFirst(const char* s, int caseSensitive = 1) const;
    long FindFirst(const String& s, int caseSensitive = 1) const { return FindFirst(s.text, caseSensitive); }
    long FindLast(char c, int caseSensitive = 1) const;
    long FindLast(const char* s, int caseSensitive = 1) const;
    long FindLast(const String& s, int caseSensitive = 1) const { return FindLast(s.text, caseSensitive); }
    int Contains(char c, int caseSensitive = 1) const { return FindFirst(c, caseSensitive) >= 0; }
    int Contains(const char* s, int caseSensitive = 1) const { return FindFirst(s, caseSensitive) >= 0; }
    int Contains(const String& s, int caseSensitive = 1) const { return FindFirst(s.text, caseSensitive) >= 0; }
    long FindOneOf(const char* set) const;
    long FindOneOf(const String& set) const { return FindOneOf(set.text); }
    long FindFirstNotOf(const char* set, unsigned long start = 0) const;
    long FindFirstNotOf(const String& set, unsigned long start = 0) const { return FindFirstNotOf(set.text, start); }
    long FindLastNotOf(const char* set) const;
    long FindLastNotOf(const String& set) const { return FindLastNotOf(set.text); }

    // Joins of every mix of String and text.
    friend SubString operator+(const String& a, const String& b);
    friend SubString operator+(const String& a, const char* b);
    friend SubString operator+(const char* a, const String& b);

    // Comparisons through Compare, so they follow the thread's CaseSensitive mode.
    friend int operator==(const String& a, const String& b) { return Compare(a.text, b.text) == 0; }
    friend int operator==(const String& a, const char* b) { return Compare(a.text, b) == 0; }
    friend int operator==(const char* a, const String& b) { return Compare(a, b.text) == 0; }
    friend int operator!=(const String& a, const String& b) { return Compare(a.text, b.text) != 0; }
    friend int operator!=(const String& a, const char* b) { return Compare(a.text, b) != 0; }
    friend int operator!=(const char* a, const String& b) { return Compare(a, b.text) != 0; }
    friend int operator<(const String& a, const String& b) { return Compare(a.text, b.text) < 0; }
    friend int operator<(const String& a, const char* b) { return Compare(a.text, b) < 0; }
    friend int operator<(const char* a, const String& b) { return Compare(a, b.text) < 0; }
    friend int operator>(const String& a, const String& b) { return Compare(a.text, b.text) > 0; }
    friend int operator>(const String& a, const char* b) { return Compare(a.text, b) > 0; }
    friend int operator>(const char* a, const String& b) { return Compare(a, b.text) > 0; }
    friend int operator<=(const String& a, const String& b) { return Compare(a.text, b.text) <= 0; }
    friend int operator<=(const String& a, const char* b) { return Compare(a.text, b) <= 0; }
    friend int operator<=(const char* a, const String& b) { return Compare(a, b.text) <= 0; }
    friend int operator>=(const String& a, const String& b) { return Compare(a.text, b.text) >= 0; }
    friend int operator>=(const String& a, const char* b) { return Compare(a.text, b) >= 0; }
    friend int operator>=(const char* a, const String& b) { return Compare(a, b.text) >= 0; }

    // Regular expression search: the index of the first match at start or later, or -1;
    // the second form also gives the match's length.
    long Find(const TRegularExp& re, unsigned long start = 0) const;
    long Find(const TRegularExp& re, unsigned int start, unsigned int* length) const;

    // File names: a drive letter and a colon, then directories separated by backslashes.
    // These work on the text alone; only GetCurrentDrive, GetCurrentPath and the
    // operations that complete a name read the current directory.
    int ContainsDrive() const;
    int ContainsPath() const;
    int GetDriveIndex() const;
    [[nodiscard]] SubString GetDrive(int* index = nullptr) const;
    [[nodiscard]] SubString GetPath() const;
    [[nodiscard]] SubString GetTitle(int withExtension = 1) const;
    [[nodiscard]] SubString GetExtension(int withPoint = 0) const;
    [[nodiscard]] SubString GetPathBelow(String* top = nullptr) const;
    [[nodiscard]] SubString GetSummary(unsigned long maxLength) const;
    int IsValidFileName() const;
    [[nodiscard]] static SubString GetCurrentDrive();
    [[nodiscard]] static SubString GetCurrentPath();
    String& SetDrive(const String& drive);
    String& SetDrive(int index);
    String& PrependVolumeName(const String& name);
    void EnsureFullFileName();
    void AppendTitleAndMakeFullFileName(const String& title);
    String& RemoveExtension(const char* list);
    String& RemoveExtension(const String& list);
    String& SetExtension(const String& extension, const char* list);
    String& SetExtension(const char* extension, const char* list);
    static String GetRelativeFileName(const String& directory, const String& fileName);
    static String GetAbsoluteFileName(const String& directory, const String& relative);

protected:
    explicit String(StringRef* r);
    StringRef* GetStringRef() const { return reinterpret_cast<StringRef*>(text) - 1; }
    StringRef* Clone(long size);
    void LongToString(long v, const char* fmt);
    void LongToString(unsigned long v, const char* fmt);
    long StringToString(int base) const;
    unsigned long StringToULong(int base) const;
    // By the calling thread's CaseSensitive mode: 0 compares without regard to case.
    static int Compare(const char* a, const char* b);
    static char PathSeparator() { return '\\'; }
    static char DriveSeparator() { return ':'; }
    void AddCurrentDrive();
    void AddCurrentPath();

private:
    friend class SubString;
    friend class CaseSensitive;
    friend void BuildSharedEmptyBuffers();
    friend void ReleaseSharedEmptyBuffers();

    explicit String(int* p) : text(reinterpret_cast<char*>(p)) {}
    StringRef* ReallocBuffer(long size);
    static long RoundBufferSize(long size);
    static SubString Concatenate(const char* a, unsigned long aLen, const char* b, unsigned long bLen);
    static SubString Concatenate(const char* a, unsigned long aLen, const char* b);
    static SubString Concatenate(const char* a, const char* b, unsigned long bLen);
    static SubString Concatenate(const char* a, const char* b);
    // Makes this String hold a new buffer of len characters, copied from s when s is not null.
    void Allocate(const char* s, unsigned long len);
    static void AddReference(StringRef* r)
    {
        if (r->refCount != kSharedForEver)
            ++r->refCount;
    }
    void Release()
    {
        if (!text)
            return;
        StringRef* r = GetStringRef();
        if (r->refCount != kSharedForEver && --r->refCount == 0 && r->heap)
            NH_Heap::FreeMem(r);
    }
    void BuildFromFormat(const char* buffer);
    // Opens a gap of n bytes at pos (clamped) and answers where it starts.
    char* OpenGap(unsigned long pos, unsigned long n);

    char* text;
};

// Joins of every mix of String and text, each in a new buffer. Declared after the class,
// whose friend declarations come first, so that the export attribute holds on Windows.
[[nodiscard]] COMMONTARN_API SubString operator+(const String& a, const String& b);
[[nodiscard]] COMMONTARN_API SubString operator+(const String& a, const char* b);
[[nodiscard]] COMMONTARN_API SubString operator+(const char* a, const String& b);

// Scope object for the calling thread's comparison mode: mode 0 makes String comparisons
// ignore case until the scope ends. Scopes nest.
class COMMONTARN_API CaseSensitive {
public:
    explicit CaseSensitive(int mode);
    ~CaseSensitive();
    CaseSensitive& operator=(const CaseSensitive& other)
    {
        previous = other.previous;
        return *this;
    }

private:
    int previous;
};

// A text with a long value behind it.
class COMMONTARN_API StringAndValue {
public:
    StringAndValue() : value(0) {}
    StringAndValue(const String& s, long v) : text(s), value(v) {}
    StringAndValue(const StringAndValue& other) = default;
    StringAndValue& operator=(const StringAndValue& other)
    {
        if (this != &other) {
            text = other.text;
            value = other.value;
        }
        return *this;
    }

    String text;
    long value;
};

// Case-insensitive searches comparing toupper of both sides: the first occurrence of needle,
// and the last one (occurrences may overlap). Null when there is none.
COMMONTARN_API char* stristr(const char* text, const char* needle);
COMMONTARN_API char* strristr(const char* text, const char* needle);

// Appending one character grows the buffer to exactly the new length, as every insert does;
// this inline path saves the call into the library while the heap block has room to spare.
inline String& String::operator+=(char c)
{
    StringRef* r = GetStringRef();
    const uint32_t length = r->length;
    if (r->refCount != 1 || !r->heap || length >= kMaxLength)
        return Insert(static_cast<unsigned long>(-1), c, 1);
    if (r->bufferSize <= length + 1) {
        r = static_cast<StringRef*>(r->heap->Realloc(r, sizeof(StringRef) + length + 2, 0));
        r->bufferSize = length + 2;
        text = reinterpret_cast<char*>(r + 1);
    }
    text[length] = c;
    text[length + 1] = 0;
    r->length = length + 1;
    return *this;
}
