// TRandomizer: the Park-Miller minimal standard generator (a = 16807, m = 2^31 - 1) with a
// 32-bit state, so that one seed gives the same numbers on every target.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

class String;

class COMMONTARN_API TRandomizer {
public:
    // Seed 0 takes a seed from the clock; any other seed is used as it is.
    TRandomizer(int seed = 0) { SetSeed(seed); }
    TRandomizer(const TRandomizer& other) = default;
    TRandomizer& operator=(const TRandomizer& other) = default;

    void SetSeed(int seed);

    // A number from 0 to range - 1. Range 0 gives 0 and leaves the state as it was.
    inline unsigned long Get(unsigned long range);
    unsigned long operator()(unsigned long range) { return Get(range); }

    // low to high, both included; high must not be below low.
    unsigned long GetInRange(unsigned long low, unsigned long high) { return Get(high - low + 1) + low; }
    // Two draws: a number below range, small numbers far likelier than large ones.
    unsigned long GetLog(unsigned long range) { return Get(Get(range) + 1); }
    // 1 on average once in range calls; range 0 and 1 always give 1.
    int TrueEvery(unsigned long range) { return Get(range) == 0; }
    // 1 on average times in range calls.
    int TrueEvery(unsigned long times, unsigned long range) { return Get(range) < times; }

    // Clears target and fills it with a random length from shortest to longest of characters
    // drawn from alphabet (null: letters and digits). A length of L costs L + 1 draws.
    String& SetString(String& target, int shortest, int longest, const char* alphabet = nullptr);

    // A random permutation of 0 to size - 1, written into target, or into a new block of
    // NH_Heap::Default() when target is null (freed with NH_Heap::FreeMem).
    int* CreateArrayOfUniqueUnsortedIndexes(int size, int* target = nullptr);

private:
    uint32_t state;
};

// Schrage's form of s * 16807 mod (2^31 - 1): the product never needs more than 32 bits, and
// the divisions are by constants, so the compiler turns them into multiplications.
inline unsigned long TRandomizer::Get(unsigned long range)
{
    if (range == 0)
        return 0;
    const uint32_t s = state;
    const uint32_t h = s / 127773u;
    int32_t t = static_cast<int32_t>(s * 16807u - h * 0x7FFFFFFFu);
    if (t <= 0)
        t += 0x7FFFFFFF;
    state = static_cast<uint32_t>(t);
    // A 32-bit division is much cheaper than a 64-bit one where unsigned long is 64 bits.
    if (range <= 0xFFFFFFFFul)
        return static_cast<uint32_t>(t) % static_cast<uint32_t>(range);
    return static_cast<unsigned long>(static_cast<uint32_t>(t)) % range;
}
