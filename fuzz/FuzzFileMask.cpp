// The scanner's mask test and the pattern match of FindFirstFileA on arbitrary bytes. The input
// splits at its first zero byte into a mask and a name, each copied into a block of exactly
// its size, so that a read past either end is caught. Beyond that: answers are 0 or 1, case
// does not count, and the matches that hold for every name hold.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "TarnPlatform.h"
#include "scan/FileScanner.h"

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

std::unique_ptr<char[]> Exact(const std::string& text)
{
    std::unique_ptr<char[]> block(new char[text.size() + 1]);
    std::memcpy(block.get(), text.c_str(), text.size() + 1);
    return block;
}

std::string Upper(std::string text)
{
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = char(c - 32);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t zero = input.find('\0');
    const std::string mask = input.substr(0, zero);
    const std::string name = zero == std::string::npos ? std::string() : input.substr(zero + 1).c_str();
    const auto m = Exact(mask), n = Exact(name), upper = Exact(Upper(name));

    const int fits = MatchFileMask(m.get(), n.get());
    Check(fits == 0 || fits == 1);
    Check(fits == MatchFileMask(m.get(), upper.get()));
    if (name.find('.') == std::string::npos)
        Check(MatchFileMask("*.*", n.get()) == 1);
    Check(MatchFileMask(("<*" + mask).c_str(), n.get()) == MatchFileMask(("*" + mask).c_str(), n.get()));

    const int matches = MatchWindowsPattern(m.get(), n.get());
    Check(matches == 0 || matches == 1);
    Check(matches == MatchWindowsPattern(m.get(), upper.get()));
    Check(MatchWindowsPattern("*", n.get()) == 1 && MatchWindowsPattern("*.*", n.get()) == 1);
    // A name fits itself, unless its end holds the dots and spaces that a pattern loses.
    if (!name.empty() && name.size() < MAX_PATH && name.find_first_of("*?") == std::string::npos &&
        name.back() != '.' && name.back() != ' ')
        Check(MatchWindowsPattern(n.get(), n.get()) == 1);
    return 0;
}
