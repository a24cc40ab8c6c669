#include "collections/RangeInt32.h"

#include <algorithm>
#include <limits>

TRangeInt32 TRangeInt32::operator&(const TRangeInt32& other) const
{
    return GetIntersection(*this, other);
}

TRangeInt32& TRangeInt32::operator&=(const TRangeInt32& other)
{
    return *this = GetIntersection(*this, other);
}

TRangeInt32 TRangeInt32::operator|(const TRangeInt32& other) const
{
    return TRangeInt32(std::min(left, other.left), std::max(right, other.right));
}

TRangeInt32& TRangeInt32::operator|=(const TRangeInt32& other)
{
    return *this = *this | other;
}

TRangeInt32& TRangeInt32::operator+=(long delta)
{
    const uint32_t d = static_cast<uint32_t>(delta);
    left = static_cast<int32_t>(static_cast<uint32_t>(left) + d);
    right = static_cast<int32_t>(static_cast<uint32_t>(right) + d);
    return *this;
}

TRangeInt32& TRangeInt32::operator-=(long delta)
{
    const uint32_t d = static_cast<uint32_t>(delta);
    left = static_cast<int32_t>(static_cast<uint32_t>(left) - d);
    right = static_cast<int32_t>(static_cast<uint32_t>(right) - d);
    return *this;
}

void TRangeInt32::Validate(long& value) const
{
    if (value < left)
        value = left;
    else if (value > right)
        value = right;
}

void TRangeInt32::Normalize()
{
    if (left > right)
        std::swap(left, right);
}

TRangeInt32 GetIntersection(const TRangeInt32& a, const TRangeInt32& b)
{
    return TRangeInt32(std::max(a.left, b.left), std::min(a.right, b.right));
}

void ExcludeIntersection(TRangeInt32& a, TRangeInt32& b)
{
    if (!a.OverlapsWith(b))
        return;
    const int32_t lowLeft = std::min(a.left, b.left);
    const int32_t highLeft = std::max(a.left, b.left);
    const int32_t lowRight = std::min(a.right, b.right);
    const int32_t highRight = std::max(a.right, b.right);
    // An empty part is (left, left - 1) or (right + 1, right); where that bound cannot be
    // written in 32 bits, the empty part is (1, 0) instead of a wrapped, valid-looking pair.
    if (highLeft == std::numeric_limits<int32_t>::min())
        a.Invalidate();
    else
        a.Set(lowLeft, highLeft - 1);
    if (lowRight == std::numeric_limits<int32_t>::max())
        b.Invalidate();
    else
        b.Set(lowRight + 1, highRight);
}
