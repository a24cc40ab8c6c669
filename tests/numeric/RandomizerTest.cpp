#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
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
    TRandomizer r(1), a(77), b(5), clock;
    EXPECT_TRUE(r.Get(0x7FFFFFFF) == 16807 && r.Get(0xFFFFFFFF) == 282475249 && r(kWhole) == 1622650073);
    for (int i = 4; i < 10000; ++i)
        r.Get(kWhole);
    EXPECT_EQ(r.Get(kWhole), 1043618065ul);  // the minimal standard's 10000th state
    EXPECT_EQ(TRandomizer(1).Get(1000), 807ul);
    // Any seed, negative ones and those above the modulus included, steps to seed * 16807
    // mod 2^31 - 1, with the modulus standing for 0.
    for (int seed : {2, 12345, 0x7FFFFFFE, -1, -2, INT_MIN, 0x7FFFFFFF}) {
        TRandomizer g(seed);
        uint64_t s = static_cast<uint32_t>(seed);
        for (int i = 0; i < 5; ++i) {
            s = s * 16807 % 0x7FFFFFFF;
            ASSERT_EQ(g.Get(kWhole), s = s ? s : 0x7FFFFFFF) << seed;
        }
    }
    a.Get(10);
    b = a;
    EXPECT_EQ(a.Get(kWhole), b.Get(kWhole));
    b.SetSeed(77);
    EXPECT_EQ(DrawsSince(b, 77), 0);
    // A clock seed never starts at 0, where the generator would stay at the modulus.
    const unsigned long first = clock.Get(kWhole);
    EXPECT_FALSE(first == clock.Get(kWhole) && first == clock.Get(kWhole));
}

// Each operation's result and the number of draws it takes, against a twin drawn by hand.
TEST(Randomizer, DrawsOfEachOperation)
{
    const int seed = 4242;
    TRandomizer r(seed), twin(seed), c(seed), d(seed), e(seed);
    EXPECT_TRUE(r.Get(0) == 0 && DrawsSince(r, seed) == 0);
    EXPECT_TRUE(r.Get(1) == 0 && r.GetInRange(5, 5) == 5 && DrawsSince(r, seed) == 2);
    twin.Get(1), twin.Get(1);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(r.GetInRange(10, 19), twin.Get(10) + 10);
        const unsigned long range = 1 + i * 37, log = r.GetLog(range);
        EXPECT_TRUE(log < range && log == twin.Get(twin.Get(range) + 1));
        EXPECT_EQ(r.TrueEvery(3), twin.Get(3) == 0);
        EXPECT_EQ(r.TrueEvery(3, 10), twin.Get(10) < 3);
        EXPECT_EQ(r.TrueEvery(2, 2), (twin.Get(2), 1));
    }
    EXPECT_TRUE(c.TrueEvery(0) && c.TrueEvery(1) && c.GetLog(0) == 0 && DrawsSince(c, seed) == 2);

    // SetString: one draw for the length, one per character; none for reversed bounds.
    String s("old text");
    EXPECT_TRUE(d.SetString(s, 3, 3, nullptr).GetLength() == 3 && DrawsSince(d, seed) == 4);
    EXPECT_TRUE(std::all_of(s.c_str(), s.c_str() + 3, [](char ch) { return std::isalnum(ch & 0xFF); }));
    EXPECT_TRUE(e.SetString(s, 0, 0, nullptr).IsEmpty());
    s = "old text";
    EXPECT_TRUE(e.SetString(s, 5, 2, nullptr).IsEmpty() && DrawsSince(e, seed) == 1);
    // Long strings, past any internal chunk; a one-letter alphabet gives a run of it.
    TRandomizer mirror = e;
    for (int round = 0; round < 20; ++round) {
        e.SetString(s, -3, 700, round ? "abcdefg" : "x");
        std::string expected;
        for (long length = static_cast<long>(mirror.Get(704)) - 3; length > 0; --length)
            expected += round ? "abcdefg"[mirror.Get(7)] : "x"[mirror.Get(1)];
        ASSERT_EQ(std::string(s.c_str(), s.GetLength()), expected);
    }
    EXPECT_EQ(e.Get(kWhole), mirror.Get(kWhole));

    // Index permutations: the walk of Shuffle, on the default heap or in the caller's array.
    int one = -5;
    EXPECT_TRUE(!r.CreateArrayOfUniqueUnsortedIndexes(0, nullptr) && r.CreateArrayOfUniqueUnsortedIndexes(1, &one) == &one);
    EXPECT_EQ(one, 0);
    for (int size : {2, 3, 10, 257, 5000}) {
        int* p = r.CreateArrayOfUniqueUnsortedIndexes(size, nullptr);
        ASSERT_TRUE(NH_Heap::Default().Owns(p));
        std::vector<int> expected(size);
        for (int i = 0; i < size; ++i)
            expected[i] = i;
        for (int i = 0; i + 1 < size; ++i)
            std::swap(expected[twin.Get(size - i)], expected[size - 1 - i]);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), p)) << size;
        NH_Heap::FreeMem(p);
    }
}
