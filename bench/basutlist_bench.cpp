// bench/basutlist_bench.cpp: a list of pointers is filled at its end and walked.
#include "basutlist.h"

#include <cstddef>
#include <forward_list>
#include <vector>

#include <benchmark/benchmark.h>

#include "bytes_in_use.h"

namespace {

class ours final : public UT_LIST {
public:
    ours() = default;
    ours(const ours&) = delete;
    ours& operator=(const ours&) = delete;
    ~ours() override = default;
    void add(void* data) { append(data); }
    std::size_t walk()
    {
        std::size_t sum = 0;
        reset();
        while (const void* data = getnext()) sum += *static_cast<const std::size_t*>(data);
        return sum;
    }
};

class standard {
public:
    void add(void* data) { last_ = list_.insert_after(last_, data); }
    std::size_t walk() const
    {
        std::size_t sum = 0;
        for (const void* data : list_) sum += *static_cast<const std::size_t*>(data);
        return sum;
    }

private:
    std::forward_list<void*> list_;
    std::forward_list<void*>::iterator last_ = list_.before_begin();
};

template <class List>
void list_append(benchmark::State& state)
{
    std::vector<std::size_t> data(static_cast<std::size_t>(state.range(0)), 1);
    for (auto _ : state) {
        List list;
        for (std::size_t& each : data) list.add(&each);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class List>
void list_walk(benchmark::State& state)
{
    std::vector<std::size_t> data(static_cast<std::size_t>(state.range(0)), 1);
    List list;
    for (std::size_t& each : data) list.add(&each);
    for (auto _ : state) {
        std::size_t sum = list.walk();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class List>
void list_memory(benchmark::State& state)
{
    constexpr std::size_t k_elements = 1'000'000;
    std::size_t datum = 1;
    std::size_t bytes = 0;
    for (auto _ : state) {
        List list;
        const std::size_t before = bytes_in_use();
        for (std::size_t i = 0; i < k_elements; ++i) list.add(&datum);
        bytes = bytes_in_use() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes) / k_elements;
}

constexpr double k_seconds = 0.1;

BENCHMARK(list_append<ours>)->Name("list_append/UT_LIST")->Arg(1'000)->Arg(1'000'000)->MinTime(k_seconds);
BENCHMARK(list_append<standard>)
    ->Name("list_append/std::forward_list")
    ->Arg(1'000)
    ->Arg(1'000'000)
    ->MinTime(k_seconds);
BENCHMARK(list_walk<ours>)->Name("list_walk/UT_LIST")->Arg(1'000)->Arg(1'000'000)->MinTime(k_seconds);
BENCHMARK(list_walk<standard>)
    ->Name("list_walk/std::forward_list")
    ->Arg(1'000)
    ->Arg(1'000'000)
    ->MinTime(k_seconds);
BENCHMARK(list_memory<ours>)->Name("list_memory/UT_LIST")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(list_memory<standard>)
    ->Name("list_memory/std::forward_list")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
