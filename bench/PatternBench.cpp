// The two pattern engines over 16 MiB of text, finding every match: TTextPattern in
// eMatchAll mode and TRegularExp through String::Find, against std::regex_search iterated
// over the same text and, where it is installed, RE2.
#include "BenchRatio.h"

#include <CommonTarn.h>

#include <cstring>
#include <random>
#include <regex>
#include <string>

#if HAVE_RE2
#include <re2/re2.h>
#endif

namespace {

// Words of lower-case letters, some ending in "ing", with the five words of the alternation
// sprinkled in, numbers now and then, separated by blanks, punctuation and line feeds.
const std::string& Text()
{
    static const std::string text = [] {
        static const char* const words[] = {"the", "pattern", "of", "singing", "walking", "and", "a",
            "text", "needle", "in", "haystack", "alpha", "bravo", "charlie", "delta", "echo",
            "morning", "river", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "string"};
        std::mt19937 random(20261123);
        std::string s;
        s.reserve(16u << 20);
        while (s.size() < (16u << 20) - 64) {
            const unsigned pick = random() % 100;
            if (pick < 3)
                s += std::to_string(random() % 100000);
            else
                s += words[random() % (sizeof words / sizeof *words)];
            const unsigned gap = random() % 20;
            s += gap == 0 ? "\n" : gap == 1 ? ", " : gap == 2 ? ". " : " ";
        }
        return s;
    }();
    return text;
}

struct PatternCase {
    const char* ours;     // TTextPattern's language
    const char* regex;    // ECMAScript, RE2 and TRegularExp
};

const PatternCase kLiteral = {"needle", "needle"};
const PatternCase kClosure = {"[a-z]+ing", "[a-z]+ing"};
const PatternCase kAlternation = {"alpha|bravo|charlie|delta|echo", "alpha|bravo|charlie|delta|echo"};

int CountMatch(int, long, long, const char*, void* count)
{
    ++*static_cast<long*>(count);
    return 0;
}

void BM_TextPattern(benchmark::State& state, PatternCase pattern)
{
    const std::string& text = Text();
    TTextPattern compiled(pattern.ours, 1);
    long matches = 0;
    for (auto _ : state) {
        matches = 0;
        long at = 0;
        benchmark::DoNotOptimize(compiled.Find(&at, text.c_str(), 0, eMatchAll, CountMatch, &matches));
    }
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_RegularExp(benchmark::State& state, PatternCase pattern)
{
    const String text(Text().c_str());
    const TRegularExp compiled(pattern.regex);
    long matches = 0;
    for (auto _ : state) {
        matches = 0;
        unsigned int start = 0, length = 0;
        for (long at; (at = text.Find(compiled, start, &length)) >= 0; ++matches)
            start = static_cast<unsigned int>(at) + (length ? length : 1);
    }
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}

void BM_StdRegex(benchmark::State& state, PatternCase pattern)
{
    const std::string& text = Text();
    const std::regex compiled(pattern.regex, std::regex::ECMAScript);
    long matches = 0;
    for (auto _ : state) {
        matches = std::distance(std::cregex_iterator(text.c_str(), text.c_str() + text.size(), compiled),
                                std::cregex_iterator());
    }
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

#if HAVE_RE2
void BM_Re2(benchmark::State& state, PatternCase pattern)
{
    const std::string& text = Text();
    const RE2 compiled(pattern.regex);
    long matches = 0;
    for (auto _ : state) {
        matches = 0;
        re2::StringPiece input(text);
        while (RE2::FindAndConsume(&input, compiled))
            ++matches;
    }
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(BM_Re2, literal, kLiteral)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Re2, closure, kClosure)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Re2, alternation, kAlternation)->Unit(benchmark::kMillisecond);
#endif

BENCHMARK_CAPTURE(BM_TextPattern, literal, kLiteral)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextPattern, closure, kClosure)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextPattern, alternation, kAlternation)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_RegularExp, literal, kLiteral)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_RegularExp, closure, kClosure)->Unit(benchmark::kMillisecond);
// std::regex takes seconds per pass over the text: a few passes are enough.
BENCHMARK_CAPTURE(BM_StdRegex, literal, kLiteral)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK_CAPTURE(BM_StdRegex, closure, kClosure)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK_CAPTURE(BM_StdRegex, alternation, kAlternation)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace

int main(int argc, char** argv)
{
    const char* const atLeastThree = "at least 3 times faster (ratio >= 3)";
    return RunWithRatios(argc, argv,
                         {
                             {"TTextPattern literal vs std::regex", "BM_TextPattern/literal", "BM_StdRegex/literal/iterations:2", atLeastThree},
                             {"TTextPattern class closure vs std::regex", "BM_TextPattern/closure", "BM_StdRegex/closure/iterations:2", atLeastThree},
                             {"TTextPattern alternation vs std::regex", "BM_TextPattern/alternation", "BM_StdRegex/alternation/iterations:2", atLeastThree},
                             {"TTextPattern literal vs RE2", "BM_TextPattern/literal", "BM_Re2/literal", "report"},
                             {"TTextPattern class closure vs RE2", "BM_TextPattern/closure", "BM_Re2/closure", "report"},
                             {"TTextPattern alternation vs RE2", "BM_TextPattern/alternation", "BM_Re2/alternation", "report"},
                             {"TRegularExp literal vs std::regex", "BM_RegularExp/literal", "BM_StdRegex/literal/iterations:2", atLeastThree},
                             {"TRegularExp class closure vs std::regex", "BM_RegularExp/closure", "BM_StdRegex/closure/iterations:2", atLeastThree},
                         });
}
