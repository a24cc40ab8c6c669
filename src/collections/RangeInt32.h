// TRangeInt32: a closed interval of signed 32-bit numbers, both bounds included.
//
// A range is valid when left is not above right; any other pair is invalid, and Invalidate
// makes (1, 0). Unless a function says otherwise, invalid ranges go through the same
// arithmetic as valid ones. The bounds are 32-bit on every target: values given as long are
// taken modulo 2^32, and sums and differences of bounds wrap as 32-bit two's complement.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

class COMMONTARN_API TRangeInt32 {
public:
    // Leaves both bounds unset.
    TRangeInt32() {}
    TRangeInt32(long l, long r) : left(static_cast<int32_t>(l)), right(static_cast<int32_t>(r)) {}
    TRangeInt32(const TRangeInt32& other) = default;
    TRangeInt32& operator=(const TRangeInt32& other) = default;

    void Set(long l, long r)
    {
        left = static_cast<int32_t>(l);
        right = static_cast<int32_t>(r);
    }
    void SetLeft(long l) { left = static_cast<int32_t>(l); }
    void SetRight(long r) { right = static_cast<int32_t>(r); }
    long GetLeft() const { return left; }
    long GetRight() const { return right; }

    void Invalidate()
    {
        left = 1;
        right = 0;
    }
    int IsValid() const { return left <= right; }
    // right - left + 1 in 32-bit arithmetic: 0 for (1, 0); a span of more than 2^31 - 1
    // numbers wraps.
    long GetSize() const { return Wrap(static_cast<uint32_t>(right) - static_cast<uint32_t>(left) + 1u); }

    int operator==(const TRangeInt32& other) const { return left == other.left && right == other.right; }
    int operator!=(const TRangeInt32& other) const { return !(*this == other); }

    // The intersection: the greater left and the smaller right; invalid without overlap.
    TRangeInt32 operator&(const TRangeInt32& other) const;
    TRangeInt32& operator&=(const TRangeInt32& other);
    // The hull: the smaller left and the greater right, covering any gap between the two.
    TRangeInt32 operator|(const TRangeInt32& other) const;
    TRangeInt32& operator|=(const TRangeInt32& other);

    // Shift both bounds, wrapping in 32 bits.
    TRangeInt32& operator+=(long delta);
    TRangeInt32& operator-=(long delta);

    int ContainsPoint(long point) const { return left <= point && point <= right; }
    int ContainsEntirely(const TRangeInt32& other) const { return left <= other.left && other.right <= right; }
    int OverlapsWith(const TRangeInt32& other) const { return right >= other.left && left <= other.right; }

    // Forces value into the range: below left becomes left, else above right becomes right.
    void Validate(long& value) const;
    // Swaps the bounds when left is above right.
    void Normalize();

    int32_t left;
    int32_t right;

private:
    static long Wrap(uint32_t v) { return static_cast<int32_t>(v); }
};

COMMONTARN_API TRangeInt32 GetIntersection(const TRangeInt32& a, const TRangeInt32& b);

// When a and b overlap, they become the parts of their union outside the intersection: a the
// part on its left, b the part on its right; an empty part comes out invalid. Ranges that do
// not overlap stay as they are.
COMMONTARN_API void ExcludeIntersection(TRangeInt32& a, TRangeInt32& b);
