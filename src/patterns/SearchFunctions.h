// Free functions around TTextPattern for the common cases: a search with a pattern text, a
// search with a DOS wildcard, replacing every match in a String, and two match callbacks that
// collect matches in a TArrayInPlace. Each builds its pattern on the stack: no state survives.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/ArrayInPlace.h"
#include "patterns/TextPattern.h"
#include "text/TextString.h"

// What CB_OnMatchStoreInMatchLocationArray stores.
struct MatchLocation {
    int32_t captureIndex;
    int32_t start;   // index of the first character
    int32_t length;
};

// The first match at index 0 or later: its length, or -1 (also for an invalid pattern).
COMMONTARN_API long FindPattern(char const* text, char const* pattern, int caseSensitive, long* foundAt);
// The same with a DOS wildcard, without regard to case: '*' is any run of characters, '?' one
// character or none, '.' any one character. The match need not start or end with the text.
COMMONTARN_API long FindWithDosWildcards(char const* text, char const* wildcard, long* foundAt);
// Replaces every match of pattern in target by the plain text replacement and answers the
// number of replacements. With capture groups, the groups are replaced instead of the whole
// match. An invalid pattern leaves target as it is and answers 0.
COMMONTARN_API int ReplaceAll(String& target, char const* pattern, char const* replacement, int caseSensitive);

// Match callbacks for TTextPattern::Find, usually in eMatchAll mode. array is a
// TArrayInPlace<String>, or a TArrayInPlace<MatchLocation>; each report is appended, and
// nothing is stored when the array cannot grow.
COMMONTARN_API int CB_OnMatchStoreInStringArray(int captureIndex, long start, long end, char const* text,
                                                void* array);
COMMONTARN_API int CB_OnMatchStoreInMatchLocationArray(int captureIndex, long start, long end, char const* text,
                                                       void* array);
