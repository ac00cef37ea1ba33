// bench/basutdarray_bench.cpp: arrays beside the standard vector and the C library's sorting and searching.
#include "basutdarray.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr int k_appended = 10'000'000;
constexpr std::size_t k_sorted = 1'000'000;

// Ten million numbers at the end of an empty array.
void append_by_getaddr(benchmark::State& state)
{
    for (auto _ : state) {
        int* numbers = nullptr;
        UT_DARRAY array(reinterpret_cast<void**>(&numbers), sizeof(int), 0, 0);
        for (int i = 0; i < k_appended; ++i) *static_cast<int*>(array.getaddr(i)) = i;
        benchmark::DoNotOptimize(numbers);
    }
    state.SetItemsProcessed(state.iterations() * k_appended);
}
void append_typed(benchmark::State& state)
{
    for (auto _ : state) {
        UT_DARRAY_T<int> array;
        for (int i = 0; i < k_appended; ++i) array.append(i);
        benchmark::DoNotOptimize(array.begin());
    }
    state.SetItemsProcessed(state.iterations() * k_appended);
}
void append_to_vector(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<int> array;
        for (int i = 0; i < k_appended; ++i) array.push_back(i);
        benchmark::DoNotOptimize(array.data());
    }
    state.SetItemsProcessed(state.iterations() * k_appended);
}
BENCHMARK(append_by_getaddr)->Name("array_append/UT_DARRAY");
BENCHMARK(append_to_vector)->Name("array_append/std::vector");
BENCHMARK(append_typed)->Name("array_append_typed/UT_DARRAY_T");
BENCHMARK(append_to_vector)->Name("array_append_typed/std::vector");

// Their sum, by the caller's pointer.
void read_ours(benchmark::State& state)
{
    int* numbers = nullptr;
    UT_DARRAY array(reinterpret_cast<void**>(&numbers), sizeof(int), 0, 0);
    for (int i = 0; i < k_appended; ++i) *static_cast<int*>(array.getaddr(i)) = i;
    const long count = array.getnumelements();
    for (auto _ : state) {
        std::int64_t sum = 0;
        for (long i = 0; i < count; ++i) sum += numbers[i];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * k_appended);
}
void read_vector(benchmark::State& state)
{
    std::vector<int> numbers;
    for (int i = 0; i < k_appended; ++i) numbers.push_back(i);
    for (auto _ : state) {
        std::int64_t sum = 0;
        for (const int number : numbers) sum += number;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * k_appended);
}
BENCHMARK(read_ours)->Name("array_read/UT_DARRAY");
BENCHMARK(read_vector)->Name("array_read/std::vector");

/// What is sorted: a key, and what else makes up the size.
template <class Key, std::size_t Size>
struct record {
    Key key;
    std::byte rest[Size - sizeof(Key)];
};
template <class Key>
struct record<Key, sizeof(Key)> {
    Key key;
};
using record_4 = record<std::int32_t, 4>;
using record_8 = record<std::int64_t, 8>;
using record_32 = record<std::int64_t, 32>;

template <class Record>
int compare(const void* a, const void* b)
{
    const auto x = static_cast<const Record*>(a)->key;
    const auto y = static_cast<const Record*>(b)->key;
    return (x > y) - (x < y);
}

template <class Record>
std::vector<Record> random_records()
{
    std::mt19937_64 random(1);
    std::vector<Record> result(k_sorted);
    for (Record& each : result) each.key = static_cast<decltype(each.key)>(random());
    return result;
}

// A million random records put in order, and each time in disorder again.
template <class Record>
void sort_ours(benchmark::State& state)
{
    const std::vector<Record> unsorted = random_records<Record>();
    UT_DARRAY_T<Record> array;
    array.setnumelements(k_sorted);
    for (auto _ : state) {
        std::memcpy(array.begin(), unsorted.data(), k_sorted * sizeof(Record));
        array.a_sort(compare<Record>);
        benchmark::DoNotOptimize(array.begin());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_sorted));
}
template <class Record>
void sort_peer(benchmark::State& state)
{
    const std::vector<Record> unsorted = random_records<Record>();
    std::vector<Record> array(k_sorted);
    for (auto _ : state) {
        std::memcpy(array.data(), unsorted.data(), k_sorted * sizeof(Record));
        std::qsort(array.data(), k_sorted, sizeof(Record), compare<Record>);
        benchmark::DoNotOptimize(array.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_sorted));
}
BENCHMARK(sort_ours<record_4>)->Name("array_sort_4/UT_DARRAY")->Iterations(3);
BENCHMARK(sort_peer<record_4>)->Name("array_sort_4/qsort")->Iterations(3);
BENCHMARK(sort_ours<record_8>)->Name("array_sort_8/UT_DARRAY")->Iterations(3);
BENCHMARK(sort_peer<record_8>)->Name("array_sort_8/qsort")->Iterations(3);
BENCHMARK(sort_ours<record_32>)->Name("array_sort_32/UT_DARRAY")->Iterations(3);
BENCHMARK(sort_peer<record_32>)->Name("array_sort_32/qsort")->Iterations(3);

// Each of a million keys looked up among them, in random order.
using search_function = void* (*)(const void*, const void*, std::size_t, std::size_t,
                                  int (*)(const void*, const void*));

template <class Search>
void look_up(benchmark::State& state, const Search& search)
{
    const std::vector<record_4> keys = random_records<record_4>();
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(search(keys[next]));
        if (++next == keys.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
void search_ours(benchmark::State& state)
{
    UT_DARRAY_T<record_4> array;
    for (const record_4& each : random_records<record_4>()) array.append(each);
    array.a_sort(compare<record_4>);
    look_up(state, [&](const record_4& key) { return array.a_bsearch(&key, compare<record_4>); });
}
void search_peer(benchmark::State& state)
{
    std::vector<record_4> array = random_records<record_4>();
    std::qsort(array.data(), array.size(), sizeof(record_4), compare<record_4>);
    search_function function = std::bsearch;  // as a library's function is called, and not taken apart
    benchmark::DoNotOptimize(function);
    look_up(state, [&](const record_4& key) {
        return function(&key, array.data(), array.size(), sizeof(record_4), compare<record_4>);
    });
}
BENCHMARK(search_ours)->Name("array_search/UT_DARRAY")->Iterations(k_sorted);
BENCHMARK(search_peer)->Name("array_search/bsearch")->Iterations(k_sorted);

}  // namespace

BENCHMARK_MAIN();
