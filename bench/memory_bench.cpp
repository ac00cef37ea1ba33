// bench/memory_bench.cpp: the memory of a million short strings, the objects and their blocks.
#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "basutstrobj.h"
#include "bytes_in_use.h"

namespace {

constexpr std::size_t k_strings = 1'000'000;
constexpr const char* k_text = "top/core0/alu/carry[0:7]";
static_assert(std::char_traits<char>::length(k_text) == 24);

template <class Text>
void memory(benchmark::State& state)
{
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t before = bytes_in_use();
        std::vector<Text> texts;
        texts.reserve(k_strings);
        for (std::size_t i = 0; i < k_strings; ++i) texts.emplace_back(k_text);
        bytes = bytes_in_use() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes) / k_strings;
}

BENCHMARK(memory<UT_STROBJ>)->Name("memory/UT_STROBJ")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory<std::string>)->Name("memory/std::string")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
