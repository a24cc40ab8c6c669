#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>

#include "collections/RangeInt32.h"

namespace {

const long kLow = std::numeric_limits<int32_t>::min(), kHigh = std::numeric_limits<int32_t>::max();

std::pair<long, long> P(const TRangeInt32& r)
{
    return {r.GetLeft(), r.GetRight()};
}

}  // namespace

TEST(RangeInt32, ArithmeticOnValidAndInvalidRanges)
{
    TRangeInt32 r(3, 7);
    EXPECT_TRUE(r.IsValid() && r.GetSize() == 5 && TRangeInt32(4, 4).GetSize() == 1);
    r.Invalidate();
    EXPECT_TRUE(P(r) == std::pair(1L, 0L) && !r.IsValid() && r.GetSize() == 0);
    r.Normalize();
    EXPECT_TRUE(P(r) == std::pair(0L, 1L) && r.IsValid() && r.GetSize() == 2);
    // Invalid ranges go through the same tests: below left wins over above right.
    const std::pair<long, long> clamps[] = {{3, 5}, {1, 5}, {6, 2}};
    for (auto [value, expected] : clamps) {
        TRangeInt32(5, 2).Validate(value);
        EXPECT_EQ(expected, value);
    }

    const TRangeInt32 a(1, 2), b(4, 5);
    EXPECT_TRUE(P(a & b) == std::pair(4L, 2L) && !(a & b).IsValid() && P(a | b) == std::pair(1L, 5L));
    EXPECT_EQ(P(GetIntersection(TRangeInt32(1, 5), TRangeInt32(3, 8))), std::pair(3L, 5L));
    TRangeInt32 c(1, 5);
    c &= TRangeInt32(3, 8);
    c |= TRangeInt32(-2, 0);
    EXPECT_EQ(P(c), std::pair(-2L, 5L));
    // Shared end points count as overlap; a range contains itself.
    const std::pair<TRangeInt32, TRangeInt32> overlapping[] = {{{1, 3}, {3, 5}}, {{3, 5}, {1, 3}}, {{1, 9}, {3, 5}}};
    for (const auto& [x, y] : overlapping)
        EXPECT_TRUE(x.OverlapsWith(y));
    EXPECT_FALSE(TRangeInt32(1, 2).OverlapsWith(TRangeInt32(3, 5)));
    EXPECT_TRUE(c.ContainsEntirely(c) && c.ContainsEntirely(TRangeInt32(0, 5)));
    EXPECT_FALSE(c.ContainsEntirely(TRangeInt32(0, 6)) || c.ContainsEntirely(TRangeInt32(-3, 0)));
    EXPECT_TRUE(c.ContainsPoint(-2) && c.ContainsPoint(5) && !c.ContainsPoint(6) && !TRangeInt32(1, 0).ContainsPoint(0));
    c += 10;
    EXPECT_EQ(P(c), std::pair(8L, 15L));
    c -= 20;
    EXPECT_EQ(P(c), std::pair(-12L, -5L));

    // The bounds are 32-bit on every target: shifts and sizes wrap there, not at the width of long.
    TRangeInt32 w(kHigh - 1, kHigh);
    w += 2;
    EXPECT_EQ(P(w), std::pair(kLow, kLow + 1));
    w -= 1;
    EXPECT_EQ(P(w), std::pair(kHigh, kLow)) << "wrapped back across the end";
    EXPECT_EQ(0, TRangeInt32(kLow, kHigh).GetSize()) << "2^32 numbers wrap to 0";
    EXPECT_EQ(kHigh, TRangeInt32(0, kHigh - 1).GetSize());
    EXPECT_TRUE(TRangeInt32(kLow, kHigh).ContainsPoint(kLow) && TRangeInt32(kLow, kHigh).ContainsPoint(kHigh));
}

TEST(RangeInt32, ExcludeIntersection)
{
    // Arguments, then results; an empty part at the ends of the 32-bit range cannot be
    // (left, left - 1) or (right + 1, right): it comes out as (1, 0) rather than wrapped.
    const long cases[][8] = {
        {1, 5, 3, 8, 1, 2, 6, 8},
        {3, 8, 1, 5, 1, 2, 6, 8},  // whichever was passed first
        {2, 9, 4, 5, 2, 3, 6, 9},
        {4, 5, 2, 9, 2, 3, 6, 9},
        {1, 5, 6, 8, 1, 5, 6, 8},  // no overlap: unchanged
        {1, 5, 1, 5, 1, 0, 6, 5},  // both parts empty
        {1, 5, 1, 8, 1, 0, 6, 8},  // equal lefts
        {1, 8, 4, 8, 1, 3, 9, 8},  // equal rights
        {1, 3, 3, 5, 1, 2, 4, 5},  // touching in one point
        {kLow, 0, kLow, kHigh, 1, 0, 1, kHigh},
        {0, kHigh, 5, kHigh, 0, 4, 1, 0},
    };
    for (const auto& c : cases) {
        TRangeInt32 a(c[0], c[1]), b(c[2], c[3]);
        ExcludeIntersection(a, b);
        EXPECT_EQ(P(a), std::pair(c[4], c[5])) << c[0] << ".." << c[1] << " with " << c[2] << ".." << c[3];
        EXPECT_EQ(P(b), std::pair(c[6], c[7])) << c[0] << ".." << c[1] << " with " << c[2] << ".." << c[3];
    }
}
