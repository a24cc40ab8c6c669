// TTextPattern: construction, the operator table and compiling; the searches are in
// PatternSearch.cpp, the compiler and the engines in the Pattern*.cpp sources.
#include "patterns/TextPattern.h"

#include <cstdlib>
#include <cstring>

#include "patterns/PatternInternals.h"

using namespace TarnPattern;

namespace {

const char _defaultSpecialChars[] = "|*+()[]-^/.?^${}~";

}  // namespace

TTextPattern::TTextPattern() : nodes(nullptr), caseSensitive(1), valid(0)
{
    memcpy(specialChars, _defaultSpecialChars, kNumSpecialChars);
}

TTextPattern::TTextPattern(char const* text, int caseSensitive) : TTextPattern()
{
    Set(text, caseSensitive);
}

TTextPattern::~TTextPattern()
{
    free(nodes);
}

int TTextPattern::Set(char const* text, int caseSensitive)
{
    this->caseSensitive = caseSensitive;
    free(nodes);
    nodes = nullptr;
    valid = text ? Parse(text) : 0;
    return valid;
}

int TTextPattern::Parse(char const* text)
{
    nodes = CompilePattern(text, specialChars, caseSensitive);
    return nodes != nullptr;
}

void TTextPattern::SetNoSpecialChar()
{
    memset(specialChars, 1, kNumSpecialChars);
}

void TTextPattern::SetSpecialChar(int position, char c)
{
    if (position >= 0 && position < kNumSpecialChars)
        specialChars[position] = c;
}

void TTextPattern::SetDosMode()
{
    SetNoSpecialChar();
    specialChars[eAnyChar] = '.';
    specialChars[eStar] = '*';
    specialChars[eOptional] = '?';
}
