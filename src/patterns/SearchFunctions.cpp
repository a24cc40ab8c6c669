#include "patterns/SearchFunctions.h"

#include <new>

namespace {

// The working record of ReplaceAll.
struct TReplaceRecord {
    String result;
    const char* replacement;
    long copied;
    int count;
};

// A report that starts before what has been copied, as the group around an inner group that
// has already been replaced does, is ignored: each character of the source is taken over or
// replaced at most once, in order.
int ReplaceOnMatch(int, long start, long end, char const* text, void* userData)
{
    TReplaceRecord& record = *static_cast<TReplaceRecord*>(userData);
    if (start < record.copied || end < start)
        return 0;
    if (start > record.copied)
        record.result.InsertMemory(static_cast<unsigned long>(-1), text + record.copied,
                                   static_cast<unsigned long>(start - record.copied));
    record.result.Append(record.replacement);
    ++record.count;
    record.copied = end + 1;
    return 0;
}

}  // namespace

long FindPattern(char const* text, char const* pattern, int caseSensitive, long* foundAt)
{
    const TTextPattern compiled(pattern, caseSensitive);
    return compiled.Find(foundAt, text, 0, eMatchForward, nullptr, nullptr);
}

long FindWithDosWildcards(char const* text, char const* wildcard, long* foundAt)
{
    String pattern(wildcard);
    ReplaceAll(pattern, "/*", ".*", 1);
    ReplaceAll(pattern, "/?", ".?", 1);
    TTextPattern compiled;
    compiled.SetDosMode();
    compiled.Set(pattern, 0);
    return compiled.Find(foundAt, text, 0, eMatchForward, nullptr, nullptr);
}

int ReplaceAll(String& target, char const* pattern, char const* replacement, int caseSensitive)
{
    const TTextPattern compiled(pattern, caseSensitive);
    TReplaceRecord record{String(), replacement, 0, 0};
    compiled.Find(nullptr, target.c_str(), 0, eMatchAll, ReplaceOnMatch, &record);
    if (record.count == 0)
        return 0;
    const long length = static_cast<long>(target.length());
    if (record.copied < length) {
        record.result.InsertMemory(static_cast<unsigned long>(-1), target.c_str() + record.copied,
                                   static_cast<unsigned long>(length - record.copied));
        record.copied = length;
    }
    target = record.result;
    return record.count;
}

int CB_OnMatchStoreInStringArray(int, long start, long end, char const* text, void* array)
{
    auto& strings = *static_cast<TArrayInPlace<String>*>(array);
    // The String is made first, so that a failure leaves the array as it was; the cell then
    // shares its buffer.
    const String piece(text, 1, static_cast<unsigned long>(start),
                       end >= start ? static_cast<unsigned long>(end - start + 1) : 0ul);
    if (void* cell = strings.InsertCell(nullptr, strings.GetCount()))
        ::new (cell) String(piece);
    return 0;
}

int CB_OnMatchStoreInMatchLocationArray(int captureIndex, long start, long end, char const*, void* array)
{
    auto& locations = *static_cast<TArrayInPlace<MatchLocation>*>(array);
    const MatchLocation location{captureIndex, static_cast<int32_t>(start), static_cast<int32_t>(end - start + 1)};
    locations.InsertCell(&location, locations.GetCount());
    return 0;
}
