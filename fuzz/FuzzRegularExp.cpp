// TRegularExp on arbitrary patterns and texts: the input up to its first zero byte is the
// pattern, the rest the text (the whole input is both when there is no zero byte). Every
// search must end, and its answer must be -1 with length 0 or lie within the text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "patterns/RegularExp.h"
#include "text/TextString.h"

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const uint8_t* zero = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t patternSize = zero ? static_cast<size_t>(zero - data) : size;
    const uint8_t* textData = zero ? zero + 1 : data;
    const size_t textSize = zero ? size - patternSize - 1 : size;

    // An exactly sized copy, so that a read behind the terminator is caught.
    std::unique_ptr<char[]> pattern(new char[patternSize + 1]);
    std::memcpy(pattern.get(), data, patternSize);
    pattern[patternSize] = 0;

    const String text(reinterpret_cast<const char*>(textData), 0, 0, textSize);
    const TRegularExp re(pattern.get());
    const TRegularExp copy(re);
    Check(re.GetStatus() >= TRegularExp::StatusOk && re.GetStatus() <= TRegularExp::StatusTooLong);
    Check(copy.GetStatus() == re.GetStatus());

    const unsigned int starts = static_cast<unsigned int>(textSize) + 1;
    const unsigned int step = starts > 64 ? starts / 64 : 1;
    for (unsigned int start = 0; start <= starts; start += step) {
        unsigned int length = 12345;
        const long index = text.Find(re, start, &length);
        unsigned int copyLength = 12345;
        Check(copy.Find(text, &copyLength, start) == index && copyLength == length);
        Check(text.Find(re, static_cast<unsigned long>(start)) == index);
        if (index < 0) {
            Check(index == -1 && length == 0);
            continue;
        }
        Check(re.GetStatus() == TRegularExp::StatusOk && start <= textSize);
        const size_t at = static_cast<size_t>(index);
        // The text a search sees ends at its first zero byte. An empty match at the start
        // has length 1, even where the text is empty.
        const size_t textEnd = start + std::strlen(text.c_str() + start);
        Check(at >= start && (at + length <= textEnd || (at == start && length == 1 && at == textEnd)));
    }
    return 0;
}
