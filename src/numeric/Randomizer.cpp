#include "numeric/Randomizer.h"

#include <cstring>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "text/TextString.h"

void TRandomizer::SetSeed(int seed)
{
    // The lowest bit keeps a clock seed away from 0, the one state the generator never leaves.
    state = seed != 0 ? static_cast<uint32_t>(seed) : static_cast<uint32_t>(GetTickCount()) | 1u;
}

String& TRandomizer::SetString(String& target, int shortest, int longest, const char* alphabet)
{
    static const char lettersAndDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    if (!alphabet)
        alphabet = lettersAndDigits;
    target.Clear();
    if (longest < shortest)
        return target;
    // The span is computed in 32 bits so that it does not depend on the width of long.
    const uint32_t span = static_cast<uint32_t>(longest) - static_cast<uint32_t>(shortest) + 1u;
    const int64_t length = static_cast<int64_t>(Get(span)) + shortest;
    if (length <= 0)
        return target;

    const unsigned long alphabetSize = static_cast<unsigned long>(std::strlen(alphabet));
    // Characters are appended in chunks to spare a call into String per character.
    char chunk[256];
    int64_t left = length;
    while (left > 0) {
        const int count = left < static_cast<int64_t>(sizeof chunk) ? static_cast<int>(left) : static_cast<int>(sizeof chunk);
        for (int i = 0; i < count; ++i)
            chunk[i] = alphabet[Get(alphabetSize)];
        target.InsertMemory(static_cast<unsigned long>(-1), chunk, static_cast<unsigned long>(count));
        left -= count;
    }
    return target;
}

int* TRandomizer::CreateArrayOfUniqueUnsortedIndexes(int size, int* target)
{
    if (!target) {
        // An empty permutation needs no block: the caller gets null and has nothing to free.
        if (size <= 0)
            return nullptr;
        target = static_cast<int*>(NH_Heap::Default().Alloc(static_cast<unsigned long>(size) * sizeof(int), 0));
    }
    for (int i = 0; i < size; ++i)
        target[i] = i;
    // The same walk as TCellSequence::Shuffle, so one seed gives one permutation for both.
    for (int i = 0; i + 1 < size; ++i) {
        const int last = size - 1 - i;
        const int r = static_cast<int>(Get(static_cast<unsigned long>(size - i)));
        const int kept = target[r];
        target[r] = target[last];
        target[last] = kept;
    }
    return target;
}
