#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "NH_Heap.h"
#include "numeric/Randomizer.h"
#include "text/TextString.h"

namespace {

const unsigned long kWhole = ULONG_MAX;  // Get(kWhole) answers the new state itself

// How many draws `after` has taken since it was a generator seeded with `seed`.
int DrawsSince(const TRandomizer& after, int seed)
{
    TRandomizer twin(seed);
    for (int n = 0; n < 1000; ++n, twin.Get(kWhole)) {
        TRandomizer a = after, b = twin;
        if (a.Get(kWhole) == b.Get(kWhole) && a.Get(kWhole) == b.Get(kWhole))
            return n;
    }
    return -1;
}

}  // namespace

TEST(Randomizer, ParkMillerSequence)
{
    TRandomizer r(1);
    EXPECT_EQ(r.Get(0x7FFFFFFF), 16807ul);
    EXPECT_EQ(r.Get(0xFFFFFFFF), 282475249ul);
    EXPECT_EQ(r(kWhole), 1622650073ul);
    unsigned long state = 0;
    for (int i = 4; i <= 10000; ++i)
        state = r.Get(kWhole);
    EXPECT_EQ(state, 1043618065ul);
    EXPECT_EQ(TRandomizer(1).Get(1000), 807ul);

    // Any seed, negative ones and those above the modulus included, steps to seed * 16807
    // mod 2^31 - 1 (with the modulus standing for 0).
    for (int seed : {2, 12345, 0x7FFFFFFE, -1, -2, INT_MIN, 0x7FFFFFFF}) {
        TRandomizer g(seed);
        uint64_t s = static_cast<uint32_t>(seed);
        for (int i = 0; i < 5; ++i) {
            s = s * 16807 % 0x7FFFFFFF;
            if (s == 0)
                s = 0x7FFFFFFF;
            ASSERT_EQ(g.Get(kWhole), s) << seed;
        }
    }

    TRandomizer a(77), b(5);
    a.Get(10);
    b = a;
    EXPECT_EQ(a.Get(kWhole), b.Get(kWhole));
    b.SetSeed(77);
    EXPECT_EQ(DrawsSince(b, 77), 0);

    // A clock seed never starts at 0, where the generator would stay at the modulus.
    TRandomizer clock;
    const unsigned long first = clock.Get(kWhole);
    EXPECT_FALSE(first == clock.Get(kWhole) && first == clock.Get(kWhole));
}

TEST(Randomizer, DrawsOfEachOperation)
{
    const int seed = 4242;
    TRandomizer r(seed), twin(seed);
    EXPECT_EQ(r.Get(0), 0ul);
    EXPECT_EQ(DrawsSince(r, seed), 0);
    EXPECT_EQ(r.Get(1), 0ul);
    EXPECT_EQ(DrawsSince(r, seed), 1);
    twin.Get(1);

    EXPECT_EQ(r.GetInRange(5, 5), 5ul);
    EXPECT_EQ(DrawsSince(r, seed), 2);
    twin.Get(1);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(r.GetInRange(10, 19), twin.Get(10) + 10);
        const unsigned long range = 1 + i * 37;
        const unsigned long log = r.GetLog(range);
        EXPECT_LT(log, range);
        EXPECT_EQ(log, twin.Get(twin.Get(range) + 1));
        EXPECT_EQ(r.TrueEvery(3), twin.Get(3) == 0);
        EXPECT_EQ(r.TrueEvery(3, 10), twin.Get(10) < 3);
        EXPECT_EQ(r.TrueEvery(2, 2), 1);
        twin.Get(2);
    }

    TRandomizer c(seed);
    EXPECT_EQ(c.TrueEvery(0), 1);
    EXPECT_EQ(DrawsSince(c, seed), 0);
    EXPECT_EQ(c.TrueEvery(1), 1);
    EXPECT_EQ(c.GetLog(0), 0ul);
    EXPECT_EQ(DrawsSince(c, seed), 2);
}

TEST(Randomizer, SetString)
{
    const int seed = 99;
    String s("old text");
    TRandomizer r(seed);
    EXPECT_EQ(r.SetString(s, 3, 3, nullptr).GetLength(), 3ul);
    EXPECT_EQ(DrawsSince(r, seed), 4);
    for (unsigned long i = 0; i < s.GetLength(); ++i)
        EXPECT_TRUE(std::isalnum(static_cast<unsigned char>(s[i])));

    TRandomizer e(seed);
    EXPECT_TRUE(e.SetString(s, 0, 0, nullptr).IsEmpty());
    EXPECT_EQ(DrawsSince(e, seed), 1);
    s = "old text";
    EXPECT_TRUE(e.SetString(s, 5, 2, nullptr).IsEmpty());
    EXPECT_EQ(DrawsSince(e, seed), 1);
    e.SetString(s, 5, 9, "x");
    EXPECT_EQ(std::string(s.c_str()), std::string(s.GetLength(), 'x'));

    // Long strings (past any internal chunk) against the draws made by hand.
    const char* alphabet = "abcdefg";
    TRandomizer g(seed), twin(seed);
    for (int round = 0; round < 20; ++round) {
        g.SetString(s, -3, 700, alphabet);
        long length = static_cast<long>(twin.Get(704)) - 3;
        std::string expected;
        for (long i = 0; i < length; ++i)
            expected += alphabet[twin.Get(7)];
        ASSERT_EQ(std::string(s.c_str(), s.GetLength()), expected);
    }
}

TEST(Randomizer, UniqueUnsortedIndexes)
{
    const int seed = 31;
    TRandomizer r(seed);
    EXPECT_EQ(r.CreateArrayOfUniqueUnsortedIndexes(0, nullptr), nullptr);
    int one = -5;
    EXPECT_EQ(r.CreateArrayOfUniqueUnsortedIndexes(1, &one), &one);
    EXPECT_EQ(one, 0);
    EXPECT_EQ(DrawsSince(r, seed), 0);

    TRandomizer twin(seed);
    for (int size : {2, 3, 10, 257, 5000}) {
        int* p = r.CreateArrayOfUniqueUnsortedIndexes(size, nullptr);
        ASSERT_TRUE(NH_Heap::Default().Owns(p));
        std::vector<int> expected(size);
        for (int i = 0; i < size; ++i)
            expected[i] = i;
        for (int i = 0; i + 1 < size; ++i)
            std::swap(expected[twin.Get(size - i)], expected[size - 1 - i]);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), p)) << size;
        std::vector<bool> seen(size);
        for (int i = 0; i < size; ++i)
            seen.at(p[i]) = true;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), size);
        NH_Heap::FreeMem(p);
    }
}
