#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "collections/RangeInt32.h"

namespace {

::testing::AssertionResult Is(const TRangeInt32& r, long left, long right)
{
    if (r.GetLeft() == left && r.GetRight() == right)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << r.GetLeft() << ", " << r.GetRight() << ") instead of (" << left
                                         << ", " << right << ")";
}

}  // namespace

TEST(RangeInt32, ValidityNormalizeAndValidate)
{
    TRangeInt32 r(3, 7);
    EXPECT_TRUE(r.IsValid());
    EXPECT_EQ(5, r.GetSize());
    r.Invalidate();
    EXPECT_TRUE(Is(r, 1, 0));
    EXPECT_FALSE(r.IsValid());
    EXPECT_EQ(0, r.GetSize());
    r.Normalize();
    EXPECT_TRUE(Is(r, 0, 1));
    EXPECT_TRUE(r.IsValid());
    EXPECT_EQ(2, r.GetSize());
    EXPECT_EQ(1, TRangeInt32(4, 4).GetSize());

    // Invalid ranges go through the same tests: below left wins over above right.
    const TRangeInt32 inverted(5, 2);
    long v = 3;
    inverted.Validate(v);
    EXPECT_EQ(5, v);
    v = 1;
    inverted.Validate(v);
    EXPECT_EQ(5, v);
    v = 6;
    inverted.Validate(v);
    EXPECT_EQ(2, v);
}

TEST(RangeInt32, IntersectionHullAndContainment)
{
    const TRangeInt32 a(1, 2), b(4, 5);
    EXPECT_TRUE(Is(a & b, 4, 2));
    EXPECT_FALSE((a & b).IsValid());
    EXPECT_TRUE(Is(a | b, 1, 5));
    EXPECT_TRUE(Is(GetIntersection(TRangeInt32(1, 5), TRangeInt32(3, 8)), 3, 5));
    TRangeInt32 c(1, 5);
    c &= TRangeInt32(3, 8);
    EXPECT_TRUE(Is(c, 3, 5));
    c |= TRangeInt32(-2, 0);
    EXPECT_TRUE(Is(c, -2, 5));

    EXPECT_TRUE(TRangeInt32(1, 3).OverlapsWith(TRangeInt32(3, 5))) << "shared end points count";
    EXPECT_TRUE(TRangeInt32(3, 5).OverlapsWith(TRangeInt32(1, 3)));
    EXPECT_FALSE(TRangeInt32(1, 2).OverlapsWith(TRangeInt32(3, 5)));
    EXPECT_TRUE(TRangeInt32(1, 9).OverlapsWith(TRangeInt32(3, 5)));
    EXPECT_TRUE(c.ContainsEntirely(c));
    EXPECT_TRUE(c.ContainsEntirely(TRangeInt32(0, 5)));
    EXPECT_FALSE(c.ContainsEntirely(TRangeInt32(0, 6)));
    EXPECT_FALSE(c.ContainsEntirely(TRangeInt32(-3, 0)));
    EXPECT_TRUE(c.ContainsPoint(-2));
    EXPECT_TRUE(c.ContainsPoint(5));
    EXPECT_FALSE(c.ContainsPoint(6));
    EXPECT_FALSE(TRangeInt32(1, 0).ContainsPoint(0));

    c += 10;
    EXPECT_TRUE(Is(c, 8, 15));
    c -= 20;
    EXPECT_TRUE(Is(c, -12, -5));
}

// The bounds are 32-bit on every target: shifts and sizes wrap there, not at the width of long.
TEST(RangeInt32, ThirtyTwoBitArithmetic)
{
    const int32_t lo = std::numeric_limits<int32_t>::min();
    const int32_t hi = std::numeric_limits<int32_t>::max();
    TRangeInt32 r(hi - 1, hi);
    r += 2;
    EXPECT_TRUE(Is(r, lo, lo + 1));
    r -= 1;
    EXPECT_TRUE(Is(r, hi, lo)) << "wrapped back across the end";
    EXPECT_EQ(0, TRangeInt32(lo, hi).GetSize()) << "2^32 numbers wrap to 0";
    EXPECT_EQ(hi, TRangeInt32(0, hi - 1).GetSize());
    EXPECT_TRUE(TRangeInt32(lo, hi).ContainsPoint(lo));
    EXPECT_TRUE(TRangeInt32(lo, hi).ContainsPoint(hi));
}

TEST(RangeInt32, ExcludeIntersection)
{
    struct Case {
        long a1, a2, b1, b2;  // arguments
        long ra1, ra2, rb1, rb2;  // results
    } cases[] = {
        {1, 5, 3, 8, 1, 2, 6, 8},
        {3, 8, 1, 5, 1, 2, 6, 8},   // whichever was passed first
        {2, 9, 4, 5, 2, 3, 6, 9},
        {4, 5, 2, 9, 2, 3, 6, 9},
        {1, 5, 6, 8, 1, 5, 6, 8},   // no overlap: unchanged
        {1, 5, 1, 5, 1, 0, 6, 5},   // both parts empty
        {1, 5, 1, 8, 1, 0, 6, 8},   // equal lefts
        {1, 8, 4, 8, 1, 3, 9, 8},   // equal rights
        {1, 3, 3, 5, 1, 2, 4, 5},   // touching in one point
    };
    for (const Case& c : cases) {
        TRangeInt32 a(c.a1, c.a2), b(c.b1, c.b2);
        ExcludeIntersection(a, b);
        EXPECT_TRUE(Is(a, c.ra1, c.ra2)) << c.a1 << ".." << c.a2 << " with " << c.b1 << ".." << c.b2;
        EXPECT_TRUE(Is(b, c.rb1, c.rb2)) << c.a1 << ".." << c.a2 << " with " << c.b1 << ".." << c.b2;
    }

    // An empty part at the ends of the 32-bit range cannot be (left, left - 1) or
    // (right + 1, right): it comes out as (1, 0) rather than as a wrapped, valid range.
    const int32_t lo = std::numeric_limits<int32_t>::min();
    const int32_t hi = std::numeric_limits<int32_t>::max();
    TRangeInt32 a(lo, 0), b(lo, hi);
    ExcludeIntersection(a, b);
    EXPECT_FALSE(a.IsValid());
    EXPECT_TRUE(Is(a, 1, 0));
    EXPECT_TRUE(Is(b, 1, hi));
    TRangeInt32 c(0, hi), d(5, hi);
    ExcludeIntersection(c, d);
    EXPECT_TRUE(Is(c, 0, 4));
    EXPECT_TRUE(Is(d, 1, 0));
}
