// Helpers of the configuration tests: trees to and from their file form as std::string.
#pragma once

#include <CommonTarn.h>
#include <gtest/gtest.h>

#include <string>

namespace ConfigTest {

// The file form of the tree; leaves the cursor at the root.
inline std::string Block(TConfig& config)
{
    unsigned int size = 0;
    char* block = config.GetAsBlock(&size);
    std::string text(block, size);
    NH_Heap::FreeMem(block);
    return text;
}

inline void Read(TConfig& config, const std::string& text)
{
    config.BuildFromBlock(text.data(), static_cast<unsigned int>(text.size()));
}

// Each LF becomes CR LF, so that expected blocks read as lines.
inline std::string Crlf(const std::string& lines)
{
    std::string text;
    for (char c : lines) {
        if (c == '\n')
            text += '\r';
        text += c;
    }
    return text;
}

}  // namespace ConfigTest
