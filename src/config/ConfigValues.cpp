// Typed values of a TConfig: each is a text in the tree, made and read here.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/Config.h"
#include "config/ConfigInternals.h"
#include "text/TextHelpers.h"

namespace {

// The sign and magnitude of the decimal number at the start of text, as strtol finds them
// (white space, a sign, digits); the magnitude stops growing once it passes 2^32.
unsigned long long ScanDecimal(const char* text, bool* negative)
{
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r'))
        ++p;
    *negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    unsigned long long magnitude = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        if (magnitude <= 0xFFFFFFFFull)
            magnitude = magnitude * 10 + static_cast<unsigned long long>(*p - '0');
    return magnitude;
}

// strtol and strtoul as they read with a long of 32 bits: out of range, the nearest limit.
// Types of 32 bits or less read through these give one number on every target.
int32_t ReadSigned32(const String& text)
{
    bool negative;
    const unsigned long long magnitude = ScanDecimal(text.c_str(), &negative);
    if (negative)
        return magnitude >= 0x80000000ull ? INT32_MIN : -static_cast<int32_t>(magnitude);
    return magnitude > 0x7FFFFFFFull ? INT32_MAX : static_cast<int32_t>(magnitude);
}

uint32_t ReadUnsigned32(const String& text)
{
    bool negative;
    const unsigned long long magnitude = ScanDecimal(text.c_str(), &negative);
    if (magnitude > 0xFFFFFFFFull)
        return 0xFFFFFFFFu;
    const uint32_t value = static_cast<uint32_t>(magnitude);
    return negative ? 0u - value : value;
}

// The printf form of a number without trailing zeros. 512 bytes hold "%.9f" of any double.
String FormatTrimmed(const char* format, double v)
{
    char buffer[512];
    int n = std::snprintf(buffer, sizeof buffer, format, v);
    if (n < 0)
        n = 0;
    else if (n >= static_cast<int>(sizeof buffer))
        n = sizeof buffer - 1;
    return String(buffer, 0, 0, TrimTrailingZeros(buffer, static_cast<size_t>(n)));
}

template <class T>
T Limit(T v, const T& smallest, const T& greatest)
{
    if (!(v >= smallest))  // also a value that is not a number
        return smallest;
    if (v > greatest)
        return greatest;
    return v;
}

// A hexadecimal digit's value: a decimal digit counts its own, any other character its ASCII
// upper-case form minus 55, so 'A' to 'F' and 'a' to 'f' count 10 to 15.
int DigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const int upper = (c >= 'a' && c <= 'z') ? c - 32 : static_cast<unsigned char>(c);
    return upper - 55;
}

const char kHexDigits[] = "0123456789ABCDEF";

}  // namespace

// ---- storing and fetching texts ---------------------------------------------------------

void TConfig::SetTheValue(const String& text, const char* keyName)
{
    if (!current->children)
        return;
    TConfigKey* key = FindValue(keyName);
    if (!key) {
        key = new TConfigKey(*this, String(keyName), current, 0);
        current->children->Link(key, SortsKeys());
    }
    key->value = text;
}

String TConfig::GetTheValue(const String& defaultText, const char* keyName) const
{
    const TConfigKey* key = FindValue(keyName);
    return key ? key->value : defaultText;
}

void TConfig::SetTheValue(const String& text, const char* name, int index)
{
    const TKeyName key(name, index);
    SetTheValue(text, key.c_str());
}

String TConfig::GetTheValue(const String& defaultText, const char* name, int index) const
{
    const TKeyName key(name, index);
    return GetTheValue(defaultText, key.c_str());
}

// ---- numbers and texts ------------------------------------------------------------------

void TConfig::SetValue(char v, const char* name, int index)
{
    SetTheValue(String(static_cast<long>(v)), name, index);
}

void TConfig::SetValue(signed char v, const char* name, int index)
{
    SetTheValue(String(static_cast<long>(v)), name, index);
}

void TConfig::SetValue(unsigned char v, const char* name, int index)
{
    SetTheValue(String(static_cast<unsigned long>(v)), name, index);
}

void TConfig::SetValue(short v, const char* name, int index)
{
    SetTheValue(String(static_cast<long>(v)), name, index);
}

void TConfig::SetValue(unsigned short v, const char* name, int index)
{
    SetTheValue(String(static_cast<unsigned long>(v)), name, index);
}

void TConfig::SetValue(int v, const char* name, int index)
{
    SetTheValue(String(static_cast<long>(v)), name, index);
}

void TConfig::SetValue(unsigned int v, const char* name, int index)
{
    SetTheValue(String(static_cast<unsigned long>(v)), name, index);
}

void TConfig::SetValue(long v, const char* name, int index)
{
    SetTheValue(String(v), name, index);
}

void TConfig::SetValue(unsigned long v, const char* name, int index)
{
    SetTheValue(String(v), name, index);
}

void TConfig::SetValue(float v, const char* name, int index)
{
    SetTheValue(FormatTrimmed("%.8f", static_cast<double>(v)), name, index);
}

void TConfig::SetValue(const double& v, const char* name, int index)
{
    SetTheValue(FormatTrimmed("%.9f", v), name, index);
}

void TConfig::SetValue(const String& v, const char* name, int index)
{
    SetTheValue(v, name, index);
}

void TConfig::SetValue(const char* v, const char* name, int index)
{
    SetTheValue(v ? String(v) : String(), name, index);
}

char TConfig::GetValue(char defaultValue, const char* name, int index) const
{
    return static_cast<char>(ReadSigned32(GetTheValue(String(static_cast<long>(defaultValue)), name, index)));
}

signed char TConfig::GetValue(signed char defaultValue, const char* name, int index) const
{
    return static_cast<signed char>(ReadSigned32(GetTheValue(String(static_cast<long>(defaultValue)), name, index)));
}

unsigned char TConfig::GetValue(unsigned char defaultValue, const char* name, int index) const
{
    return static_cast<unsigned char>(
        ReadUnsigned32(GetTheValue(String(static_cast<unsigned long>(defaultValue)), name, index)));
}

short TConfig::GetValue(short defaultValue, const char* name, int index) const
{
    return static_cast<short>(ReadSigned32(GetTheValue(String(static_cast<long>(defaultValue)), name, index)));
}

unsigned short TConfig::GetValue(unsigned short defaultValue, const char* name, int index) const
{
    return static_cast<unsigned short>(
        ReadUnsigned32(GetTheValue(String(static_cast<unsigned long>(defaultValue)), name, index)));
}

int TConfig::GetValue(int defaultValue, const char* name, int index) const
{
    return static_cast<int>(ReadSigned32(GetTheValue(String(static_cast<long>(defaultValue)), name, index)));
}

unsigned int TConfig::GetValue(unsigned int defaultValue, const char* name, int index) const
{
    return static_cast<unsigned int>(
        ReadUnsigned32(GetTheValue(String(static_cast<unsigned long>(defaultValue)), name, index)));
}

long TConfig::GetValue(long defaultValue, const char* name, int index) const
{
    return std::strtol(GetTheValue(String(defaultValue), name, index).c_str(), nullptr, 10);
}

unsigned long TConfig::GetValue(unsigned long defaultValue, const char* name, int index) const
{
    return std::strtoul(GetTheValue(String(defaultValue), name, index).c_str(), nullptr, 10);
}

float TConfig::GetValue(float defaultValue, const char* name, int index) const
{
    return static_cast<float>(std::strtod(GetTheValue(String(defaultValue), name, index).c_str(), nullptr));
}

double TConfig::GetValue(const double& defaultValue, const char* name, int index) const
{
    return std::strtod(GetTheValue(String(defaultValue), name, index).c_str(), nullptr);
}

String TConfig::GetValue(const String& defaultValue, const char* name, int index) const
{
    return GetTheValue(defaultValue, name, index);
}

String TConfig::GetValue(const char* defaultValue, const char* name, int index) const
{
    return GetTheValue(defaultValue ? String(defaultValue) : String(), name, index);
}

#define CONFIG_GET_SURE(T, P)                                                                   \
    T TConfig::GetSure(P defaultValue, P smallest, P greatest, const char* name, int index) const \
    {                                                                                            \
        return Limit<T>(GetValue(defaultValue, name, index), smallest, greatest);               \
    }
CONFIG_GET_SURE(char, char)
CONFIG_GET_SURE(signed char, signed char)
CONFIG_GET_SURE(unsigned char, unsigned char)
CONFIG_GET_SURE(short, short)
CONFIG_GET_SURE(unsigned short, unsigned short)
CONFIG_GET_SURE(int, int)
CONFIG_GET_SURE(unsigned int, unsigned int)
CONFIG_GET_SURE(long, long)
CONFIG_GET_SURE(unsigned long, unsigned long)
CONFIG_GET_SURE(float, float)
CONFIG_GET_SURE(double, const double&)
#undef CONFIG_GET_SURE

// ---- binary data ------------------------------------------------------------------------

void TConfig::SetBinary(const void* data, int size, const char* name, int index)
{
    String text;
    if (size > 0) {
        const unsigned long count = static_cast<unsigned long>(size);
        text = String('0', count * 2);
        char* out = text.GetBuffer();
        const unsigned char* bytes = static_cast<const unsigned char*>(data);
        for (unsigned long i = 0; i < count; ++i) {
            out[2 * i] = kHexDigits[bytes[i] >> 4];
            out[2 * i + 1] = kHexDigits[bytes[i] & 15];
        }
    }
    SetTheValue(text, name, index);
}

long TConfig::GetBinarySize(const char* name, int index) const
{
    const String text = GetTheValue(String(), name, index);
    int length = 0;
    FindTrimmedSubString(text.c_str(), &length, " \t", 3);
    return length / 2;
}

long TConfig::GetBinary(void* target, const void* defaultData, int size, const char* name, int index) const
{
    const String text = GetTheValue(String(), name, index);
    unsigned char* out = static_cast<unsigned char*>(target);
    const long count = size > 0 ? size : 0;
    if (text.IsEmpty()) {
        if (!defaultData) {
            std::memset(out, 0, static_cast<size_t>(count));
            return 0;
        }
        std::memcpy(out, defaultData, static_cast<size_t>(count));
        return count;
    }
    std::memset(out, 0, static_cast<size_t>(count));
    int length = 0;
    const char* digits = FindTrimmedSubString(text.c_str(), &length, " \t", 3);
    long done = 0;
    for (; done < count && 2 * done + 1 < length; ++done) {
        const int high = DigitValue(digits[2 * done]) & 0xFF;
        const int low = DigitValue(digits[2 * done + 1]) & 0x0F;
        out[done] = static_cast<unsigned char>((high << 4) | low);
    }
    return done;
}
