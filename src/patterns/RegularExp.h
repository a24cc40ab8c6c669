// TRegularExp: a small regular expression compiled into a fixed 128-byte form, searched by
// String::Find. Literals, `.`, classes, `^` and `$` anchors and the closures `*`, `+`, `?` on
// one element; no alternation, no groups, no case folding. A bad pattern is reported by
// GetStatus, never by an exception, and then finds nothing.
#pragma once

#include "CommonTarnExport.h"

class String;

class COMMONTARN_API TRegularExp {
public:
    enum Status : int {
        StatusOk = 0,
        StatusIllegal = 1,   // empty, or starting with a line feed, `*`, `+` or `?`
        StatusNoBuffer = 2,  // the 128-byte buffer could not be had
        StatusTooLong = 3    // does not fit, or a closure behind `^`, `$` or another closure
    };

    // The size of the compiled form, terminator included.
    static constexpr unsigned int kCompiledSize = 128;

    // The pattern ends at its terminator or at its first line feed.
    TRegularExp(const char* text);
    TRegularExp(const TRegularExp& other);
    TRegularExp& operator=(const TRegularExp&) = delete;
    ~TRegularExp();

    Status GetStatus() const { return status; }

    // The index of the first match in s at start or later, or -1. *length (may be null) gets
    // the match's length, 0 when there is none. `^` matches at start, not at index 0. An
    // empty match at start itself has length 1, one further on has length 0. The text ends
    // at its first zero byte; start behind the end of s finds nothing.
    long Find(const String& s, unsigned int* length, unsigned int start) const;

private:
    void GeneratePattern(const char* text);
    void CopyPattern(const TRegularExp& other);

    unsigned char* pattern;
    Status status;
};
