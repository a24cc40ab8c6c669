// TRegularExp: the compiler into the 128-byte form, the backtracking matcher, and the two
// String::Find overloads that use it.
#include "patterns/RegularExp.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "text/TextString.h"

namespace {

using Pos = const unsigned char*;

// Element codes of the compiled form: the source character with the top bit set.
constexpr unsigned char kEndOfLine = '$' | 0x80;
constexpr unsigned char kStar = '*' | 0x80;
constexpr unsigned char kPlus = '+' | 0x80;
constexpr unsigned char kAny = '.' | 0x80;
constexpr unsigned char kOptional = '?' | 0x80;
constexpr unsigned char kClass = '[' | 0x80;
constexpr unsigned char kStartOfText = '^' | 0x80;
// A literal that no text character equals: a literal 0 (the text ends at its first zero
// byte) or one at or above 128 (such text bytes never equal a literal). Folding them into one
// code keeps them from being read as element codes or as the terminator.
constexpr unsigned char kNoMatch = 0x80;

const unsigned int kClassSize = 17;  // the code and 16 bytes of bits

inline unsigned int ElementSize(unsigned char code)
{
    return code == kClass ? kClassSize : 1;
}

inline bool IsClosure(unsigned char code)
{
    return code == kStar || code == kPlus || code == kOptional;
}

inline bool AtPatternEnd(unsigned char c)
{
    return c == 0 || c == '\n';
}

inline unsigned char LiteralCode(unsigned char c)
{
    return c == 0 || c >= 0x80 ? kNoMatch : c;
}

inline void AddMember(unsigned char* bits, unsigned int c)
{
    bits[(c >> 3) & 15] |= static_cast<unsigned char>(1u << (c & 7));
}

inline bool HasMember(const unsigned char* bits, unsigned char c)
{
    return (bits[(c >> 3) & 15] >> (c & 7)) & 1;
}

int HexDigit(unsigned char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The byte of the escape whose backslash lies just before src; src moves behind it. A
// backslash that ends the pattern stands for itself and consumes nothing, so nothing behind
// the end is read.
unsigned char ReadEscape(Pos& src)
{
    const unsigned char c = *src;
    if (AtPatternEnd(c))
        return '\\';
    ++src;
    switch (c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c) {
    case 'f':
        return 12;
    case 'n':
        return 10;
    case 'r':
        return 13;
    case 's':
        return ' ';
    case 't':
        return 9;
    case 'x': {
        unsigned int value = 0;
        for (int i = 0; i < 2 && HexDigit(*src) >= 0; ++i)
            value = value * 16 + static_cast<unsigned int>(HexDigit(*src++));
        return static_cast<unsigned char>(value);
    }
    default:
        return c;
    }
}

// Reads a class from src (just behind its `[`) into 16 bytes of bits; src moves behind its
// `]`, or to the end of the pattern when there is none.
void CompileClass(Pos& src, unsigned char* bits)
{
    std::memset(bits, 0, 16);
    const bool negate = *src == '^';
    if (negate)
        ++src;
    for (bool first = true; !AtPatternEnd(*src) && *src != ']'; first = false) {
        const unsigned char c = *src;
        if (c == '-' && !first && !AtPatternEnd(src[1])) {
            // A range between the raw bytes on both sides of the dash; the one in front is a
            // member already. The byte behind is stepped over even when it is `]`.
            unsigned int a = src[-1], b = src[1];
            if (a > b) {
                const unsigned int t = a;
                a = b;
                b = t;
            }
            for (unsigned int m = a + 1; m <= b; ++m)
                AddMember(bits, m);
            src += 2;
        } else if (c == '\\') {
            ++src;
            AddMember(bits, ReadEscape(src));
        } else {
            // A dash that is first, or that ends the pattern, is a member.
            AddMember(bits, c);
            ++src;
        }
    }
    if (*src == ']')
        ++src;
    if (negate)
        for (int i = 0; i < 16; ++i)
            bits[i] = static_cast<unsigned char>(~bits[i]);
}

// Compiles src into out (kCompiledSize bytes, or null when none could be had).
TRegularExp::Status Compile(Pos src, unsigned char* out)
{
    const unsigned char first = src ? src[0] : 0;  // a null pattern counts as an empty one
    if (AtPatternEnd(first) || first == '*' || first == '+' || first == '?')
        return TRegularExp::StatusIllegal;
    if (!out)
        return TRegularExp::StatusNoBuffer;

    const unsigned int limit = TRegularExp::kCompiledSize - 1;  // room for the terminator
    unsigned int pos = 0;
    unsigned int last = 0;  // start of the last element; the first character is no closure
    for (Pos s = src; !AtPatternEnd(*s);) {
        if (pos >= limit)
            return TRegularExp::StatusTooLong;
        const unsigned char c = *s++;
        switch (c) {
        case '*':
        case '+':
        case '?':
            // The closure goes in front of its operand; `last` stays on it, so a second
            // closure in a row finds a closure there.
            if (out[last] == kEndOfLine || out[last] == kStartOfText || IsClosure(out[last]))
                return TRegularExp::StatusTooLong;
            std::memmove(out + last + 1, out + last, pos - last);
            out[last] = static_cast<unsigned char>(c | 0x80);
            ++pos;
            continue;
        case '[':
            if (pos + kClassSize > limit)
                return TRegularExp::StatusTooLong;
            out[pos] = kClass;
            CompileClass(s, out + pos + 1);
            last = pos;
            pos += kClassSize;
            continue;
        case '^':
            out[pos] = s - 1 == src ? kStartOfText : '^';
            break;
        case '$':
            out[pos] = AtPatternEnd(*s) ? kEndOfLine : '$';
            break;
        case '.':
            out[pos] = kAny;
            break;
        case '\\':
            out[pos] = LiteralCode(ReadEscape(s));
            break;
        default:
            out[pos] = LiteralCode(c);
            break;
        }
        last = pos++;
    }
    out[pos] = 0;
    return TRegularExp::StatusOk;
}

// Whether a one-character element (literal, any character, class) takes the text character
// c; c is 0 at the end of the text.
inline bool Takes(const unsigned char* element, unsigned char c)
{
    switch (*element) {
    case kAny:
        return c != 0 && c != '\n';
    case kClass:
        return c != 0 && HasMember(element + 1, c);
    case kNoMatch:
        return false;
    default:
        return c == *element;
    }
}

// One search: the text from its start (the reference of `^`) to its first zero byte, and
// what the repetitions have learnt so far. The end of the text is found by its terminator as
// the matcher meets it, never measured in advance, so that a search costs nothing beyond
// where it stops. Every result of Match depends only on the pattern position and the text
// position, so what one start position learns holds for all others.
class TMatcher {
public:
    TMatcher(const unsigned char* pattern, Pos text) : pattern(pattern), text(text)
    {
        for (unsigned int i = 0; pattern[i]; i += ElementSize(pattern[i]))
            if (pattern[i] == kStar || pattern[i] == kPlus)
                memo[i] = TMemo{nullptr, nullptr, nullptr, nullptr};
    }

    // The end of a match of the pattern from p on at `at` (behind its last character), or null.
    Pos Match(const unsigned char* p, Pos at);

    // After Match of a pattern that starts with `*` or `+`: the end of the run its operand
    // took. A match from a later start within that run would try only what has failed.
    Pos LeadingRunEnd() const { return memo[0].runEnd; }

private:
    // Per repetition: the run [runFrom, runEnd) of operand matches seen last, and the range
    // [failFrom, failTo] of positions from which the rest of the pattern is known to fail.
    // They turn repeated scans and step-backs over the same stretch into one. Only the
    // entries of repetitions are set, by the constructor: a search does not clear them all.
    struct TMemo {
        Pos runFrom;
        Pos runEnd;
        Pos failFrom;
        Pos failTo;
    };

    Pos Repeat(const unsigned char* p, Pos at);

    const unsigned char* pattern;
    Pos text;
    TMemo memo[TRegularExp::kCompiledSize];
};

// The first position from `at` on at which operand does not match, looking no further than
// limit when it is not null.
Pos Span(const unsigned char* operand, Pos at, Pos limit)
{
    switch (*operand) {
    case kAny:
        if (!limit)
            return at + std::strcspn(reinterpret_cast<const char*>(at), "\n");
        while (at != limit && *at && *at != '\n')
            ++at;
        return at;
    case kClass:
        while (at != limit && *at && HasMember(operand + 1, *at))
            ++at;
        return at;
    case kNoMatch:
        return at;
    default:
        while (at != limit && *at == *operand)
            ++at;
        return at;
    }
}

// `*` or `+` at p: take the operand as often as it matches, then try the rest of the pattern
// from the furthest position back to the first allowed one. The step-back is a loop; the
// recursion only goes on into the rest of the pattern, so its depth is bounded by the number
// of repetitions in the 127 bytes of the compiled form.
Pos TMatcher::Repeat(const unsigned char* p, Pos at)
{
    const unsigned char* operand = p + 1;
    const unsigned char* rest = operand + ElementSize(*operand);
    TMemo& m = memo[p - pattern];

    Pos high;
    if (m.runFrom && m.runFrom <= at && at <= m.runEnd) {
        high = m.runEnd;
    } else if (m.runFrom && at < m.runFrom && Span(operand, at, m.runFrom) == m.runFrom) {
        high = m.runEnd;
        m.runFrom = at;
    } else {
        high = Span(operand, at, nullptr);
        m.runFrom = at;
        m.runEnd = high;
    }

    Pos low = at;
    if (*p == kPlus) {
        if (high == at)
            return nullptr;
        low = at + 1;
    }
    if (*rest == 0)
        return high;

    for (Pos q = high;;) {
        if (m.failFrom && m.failFrom <= q && q <= m.failTo) {
            if (m.failFrom <= low)
                break;
            q = m.failFrom - 1;
            continue;
        }
        if (Pos found = Match(rest, q))
            return found;
        if (q == low)
            break;
        --q;
    }

    // Everything from low to high fails: join that to the known range if they touch.
    if (m.failFrom && m.failFrom - high <= 1 && low - m.failTo <= 1) {
        if (low < m.failFrom)
            m.failFrom = low;
        if (high > m.failTo)
            m.failTo = high;
    } else {
        m.failFrom = low;
        m.failTo = high;
    }
    return nullptr;
}

Pos TMatcher::Match(const unsigned char* p, Pos at)
{
    for (;;) {
        switch (*p) {
        case 0:
            return at;
        case kEndOfLine:
            if (*at != 0 && *at != '\n')
                return nullptr;
            ++p;
            break;
        case kStartOfText:
            if (at != text)
                return nullptr;
            ++p;
            break;
        case kStar:
        case kPlus:
            return Repeat(p, at);
        case kOptional:
            // What the operand takes here is never given back.
            if (Takes(p + 1, *at))
                ++at;
            p += 1 + ElementSize(p[1]);
            break;
        default:
            if (!Takes(p, *at))
                return nullptr;
            ++at;
            p += ElementSize(*p);
            break;
        }
    }
}

// The next position from `at` on where the one-character element `first` matches, or the
// end of the text.
Pos NextCandidate(const unsigned char* first, Pos at)
{
    switch (*first) {
    case kAny:
        while (*at == '\n')
            ++at;
        return at;
    case kClass:
        while (*at && !HasMember(first + 1, *at))
            ++at;
        return at;
    case kNoMatch:
        return at + std::strlen(reinterpret_cast<const char*>(at));
    default: {
        const char* hit = std::strchr(reinterpret_cast<const char*>(at), *first);
        return hit ? reinterpret_cast<Pos>(hit) : at + std::strlen(reinterpret_cast<const char*>(at));
    }
    }
}

}  // namespace

TRegularExp::TRegularExp(const char* text) : pattern(nullptr), status(StatusNoBuffer)
{
    GeneratePattern(text);
}

TRegularExp::TRegularExp(const TRegularExp& other) : pattern(nullptr), status(StatusNoBuffer)
{
    CopyPattern(other);
}

TRegularExp::~TRegularExp()
{
    ::operator delete(pattern);
}

void TRegularExp::GeneratePattern(const char* text)
{
    // nothrow: an exhausted heap becomes StatusNoBuffer rather than an exception.
    pattern = static_cast<unsigned char*>(::operator new(kCompiledSize, std::nothrow));
    if (pattern)
        std::memset(pattern, 0, kCompiledSize);
    status = Compile(reinterpret_cast<Pos>(text), pattern);
}

void TRegularExp::CopyPattern(const TRegularExp& other)
{
    // A source without a buffer (its status says why) gives a copy without one. A copy that
    // gets no buffer of its own is StatusNoBuffer, whatever the source's status.
    if (!other.pattern) {
        status = other.status;
        return;
    }
    pattern = static_cast<unsigned char*>(::operator new(kCompiledSize, std::nothrow));
    if (!pattern) {
        status = StatusNoBuffer;
        return;
    }
    std::memcpy(pattern, other.pattern, kCompiledSize);
    status = other.status;
}

long TRegularExp::Find(const String& s, unsigned int* length, unsigned int start) const
{
    if (length)
        *length = 0;
    // A start behind the end of s finds nothing.
    if (status != StatusOk || start > s.length())
        return -1;

    const Pos base = reinterpret_cast<Pos>(s.c_str());
    const Pos text = base + start;
    const unsigned char* p = pattern;

    if (*text == 0) {
        // An empty text matches only `^`, `$` and `^$`, with the length of 1 that an empty
        // match at the start of the search has.
        const unsigned char* q = p[0] == kStartOfText ? p + 1 : p;
        if (q[0] == kEndOfLine)
            ++q;
        if (q == p || q[0] != 0)
            return -1;
        if (length)
            *length = 1;
        return static_cast<long>(start);
    }

    // A first element that must take a character lets the search skip to where it can.
    const unsigned char* first = nullptr;
    if (p[0] == kPlus)
        first = p + 1;
    else if (p[0] != kStar && p[0] != kOptional && p[0] != kEndOfLine && p[0] != kStartOfText)
        first = p;
    const bool leadingRepeat = p[0] == kStar || p[0] == kPlus;

    TMatcher matcher(p, text);
    for (Pos at = text; *at;) {
        if (first && *(at = NextCandidate(first, at)) == 0)
            break;
        if (Pos matchEnd = matcher.Match(p, at)) {
            // The last character matched, never taken to lie before the text: an empty match
            // at the start of the text has length 1.
            if (length)
                *length = matchEnd == text ? 1 : static_cast<unsigned int>(matchEnd - at);
            return static_cast<long>(at - base);
        }
        if (p[0] == kStartOfText)
            break;  // no other position is the start of the text
        const Pos runEnd = leadingRepeat ? matcher.LeadingRunEnd() : nullptr;
        at = runEnd && runEnd > at ? runEnd : at + 1;
    }
    return -1;
}

long String::Find(const TRegularExp& re, unsigned long start) const
{
    // Checked here as well, so that a start beyond the range of unsigned int cannot wrap.
    if (start > length())
        return -1;
    return re.Find(*this, nullptr, static_cast<unsigned int>(start));
}

long String::Find(const TRegularExp& re, unsigned int start, unsigned int* length) const
{
    return re.Find(*this, length, start);
}
