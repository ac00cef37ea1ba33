// bench/basutstrobj_bench.cpp: the counted string and its formatter.
#include "basutstrobj.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>

#include <benchmark/benchmark.h>

#include "basutform.h"

namespace {

// A copy and its end.
template <class Text>
void copy(benchmark::State& state)
{
    const std::string letters(1024, 'x');
    const Text text(letters.c_str());
    for (auto _ : state) {
        Text made(text);
        benchmark::DoNotOptimize(made);
    }
}
BENCHMARK(copy<UT_STROBJ>)->Name("copy/UT_STROBJ");
BENCHMARK(copy<std::string>)->Name("copy/std::string");

// The second half of a text of 64 KiB.
void suffix_ours(benchmark::State& state)
{
    const UT_STROBJ text(128 * 1024, 'x', 1);
    for (auto _ : state) {
        UT_STROBJ made = text.right_from(text.length() / 2);
        benchmark::DoNotOptimize(made);
    }
}
void suffix_peer(benchmark::State& state)
{
    const std::string text(128 * 1024, 'x');
    for (auto _ : state) {
        std::string made = text.substr(text.size() / 2);
        benchmark::DoNotOptimize(made);
    }
}
BENCHMARK(suffix_ours)->Name("suffix/UT_STROBJ");
BENCHMARK(suffix_peer)->Name("suffix/std::string");

template <class Text>
void construct(benchmark::State& state)
{
    const char* letters = "top/core0/alu/adder/carry[0:31]_";
    benchmark::DoNotOptimize(letters);
    for (auto _ : state) {
        Text made(letters);
        benchmark::DoNotOptimize(made);
    }
}
BENCHMARK(construct<UT_STROBJ>)->Name("construct/UT_STROBJ");
BENCHMARK(construct<std::string>)->Name("construct/std::string");

void format_ours(benchmark::State& state)
{
    int number = 12'345;
    double real = 3.14159;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        benchmark::DoNotOptimize(real);
        benchmark::DoNotOptimize(zeoform("%d %s %5.2f", number, "carry", real));
    }
}
void format_peer(benchmark::State& state)
{
    int number = 12'345;
    double real = 3.14159;
    char buffer[256];
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        benchmark::DoNotOptimize(real);
        std::snprintf(buffer, sizeof buffer, "%d %s %5.2f", number, "carry", real);
        std::string made(buffer);
        benchmark::DoNotOptimize(made);
    }
}
BENCHMARK(format_ours)->Name("format/zeoform");
BENCHMARK(format_peer)->Name("format/snprintf");

/// A mebibyte of lower-case words.
std::string words()
{
    std::mt19937 random(1);
    std::string text;
    while (text.size() < (1U << 20U)) {
        const std::size_t count = 2 + random() % 9;
        for (std::size_t i = 0; i < count; ++i) text += static_cast<char>('a' + random() % 26);
        text += ' ';
    }
    text.resize(1U << 20U);
    return text;
}
constexpr const char* k_absent = "carry_absent";

void find_ours(benchmark::State& state)
{
    const UT_STROBJ text(words().c_str());
    const UT_STROBJ wanted(k_absent);
    for (auto _ : state) benchmark::DoNotOptimize(text.find(wanted));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.length()));
}
void find_peer(benchmark::State& state)
{
    const std::string text = words();
    const std::string wanted = k_absent;
    for (auto _ : state)
        benchmark::DoNotOptimize(std::search(text.begin(), text.end(), wanted.begin(), wanted.end()));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(find_ours)->Name("find/UT_STROBJ");
BENCHMARK(find_peer)->Name("find/std::search");

}  // namespace

BENCHMARK_MAIN();
