// Helpers of the String tests: a look at a buffer's header, the string heap's counters, and
// a text as a std::string, zero bytes included.
#pragma once

#include <gtest/gtest.h>

#include <CommonTarn.h>

#include <string>

const unsigned long kEnd = static_cast<unsigned long>(-1);

inline const StringRef* RefOf(const String& s)
{
    return reinterpret_cast<const StringRef*>(s.c_str()) - 1;
}

inline unsigned long StringBlocks()
{
    return _stringHeap->GetBlocksInUse();
}

inline std::string Text(const String& s)
{
    return std::string(s.c_str(), s.length());
}

// Checks at the end of a scope that the string heap holds as many blocks as at its start.
class NoLeak {
public:
    NoLeak() : blocks(StringBlocks()) {}
    ~NoLeak() { EXPECT_EQ(blocks, StringBlocks()) << "string heap blocks leaked or lost"; }

private:
    unsigned long blocks;
};
