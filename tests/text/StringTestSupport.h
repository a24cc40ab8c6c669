// Helpers of the String tests: a look at a buffer's header, and the string heap's counters.
#pragma once

#include <gtest/gtest.h>

#include <CommonTarn.h>

inline const StringRef* RefOf(const String& s)
{
    return reinterpret_cast<const StringRef*>(s.c_str()) - 1;
}

inline unsigned long StringBlocks()
{
    return _stringHeap->GetBlocksInUse();
}

// Checks at the end of a scope that the string heap holds as many blocks as at its start.
class NoLeak {
public:
    NoLeak() : blocks(StringBlocks()) {}
    ~NoLeak() { EXPECT_EQ(blocks, StringBlocks()) << "string heap blocks leaked or lost"; }

private:
    unsigned long blocks;
};
