// Microsoft C run-time extensions: case-blind comparison, case conversion, integer texts.
#include "WinRuntime.h"

#include <errno.h>

namespace {

// Case is folded as in the "C" locale, the one a Windows program runs in until it
// calls setlocale: only A to Z and a to z change.
inline unsigned char LowerAscii(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

inline unsigned char UpperAscii(unsigned char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
}

// Writes the digits of magnitude, after a minus sign when negative. An invalid radix
// leaves an empty text and sets errno, as the Microsoft run-time does once its invalid
// parameter handler returns.
char* FormatInteger(unsigned long long magnitude, bool negative, char* buffer, int radix)
{
    if (radix < 2 || radix > 36) {
        buffer[0] = '\0';
        errno = EINVAL;
        return buffer;
    }
    char digits[8 * sizeof(unsigned long long)];
    int count = 0;
    do {
        unsigned digit = unsigned(magnitude % unsigned(radix));
        digits[count++] = char(digit < 10 ? '0' + digit : 'a' + (digit - 10));
        magnitude /= unsigned(radix);
    } while (magnitude != 0);
    char* out = buffer;
    if (negative)
        *out++ = '-';
    while (count > 0)
        *out++ = digits[--count];
    *out = '\0';
    return buffer;
}

}

extern "C" {

int _stricmp(const char* string1, const char* string2)
{
    const unsigned char* a = reinterpret_cast<const unsigned char*>(string1);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(string2);
    unsigned char ca, cb;
    do {
        ca = LowerAscii(*a++);
        cb = LowerAscii(*b++);
    } while (ca == cb && ca != '\0');
    return int(ca) - int(cb);
}

int _strnicmp(const char* string1, const char* string2, size_t count)
{
    const unsigned char* a = reinterpret_cast<const unsigned char*>(string1);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(string2);
    for (; count != 0; --count) {
        unsigned char ca = LowerAscii(*a++);
        unsigned char cb = LowerAscii(*b++);
        if (ca != cb || ca == '\0')
            return int(ca) - int(cb);
    }
    return 0;
}

char* _strupr(char* str)
{
    for (char* p = str; *p != '\0'; ++p)
        *p = char(UpperAscii(static_cast<unsigned char>(*p)));
    return str;
}

char* _strlwr(char* str)
{
    for (char* p = str; *p != '\0'; ++p)
        *p = char(LowerAscii(static_cast<unsigned char>(*p)));
    return str;
}

char* _itoa(int value, char* buffer, int radix)
{
    bool negative = radix == 10 && value < 0;
    unsigned int bits = static_cast<unsigned int>(value);
    return FormatInteger(negative ? 0u - bits : bits, negative, buffer, radix);
}

char* _ltoa(long value, char* buffer, int radix)
{
    bool negative = radix == 10 && value < 0;
    unsigned long bits = static_cast<unsigned long>(value);
    return FormatInteger(negative ? 0ul - bits : bits, negative, buffer, radix);
}

char* _ultoa(unsigned long value, char* buffer, int radix)
{
    return FormatInteger(value, false, buffer, radix);
}

}
