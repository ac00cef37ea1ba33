// bench/basutsmallmem_bench.cpp: the allocators of small objects, of 24 bytes here, beside others.
#include "basutsmallmem.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/pool/pool.hpp>

#include "basutfstmem.h"

namespace {

constexpr std::size_t k_bytes = 24;
constexpr std::size_t k_per_block = 1000;  ///< elements in a block of UT_FASTMEM

struct block_allocator {
    void* get() { return memory.getnewptr(); }
    void release(void* element) { memory.free(element); }
    UT_FASTMEM memory{k_bytes, k_per_block};
};
struct small_pool {
    void* get() { return memory.getmem(); }
    void release(void* element) { memory.relmem(element); }
    UT_SM_SMALLMEM memory{k_bytes, 1};
};
struct heap {
    void* get() { return std::malloc(k_bytes); }
    void release(void* element) { std::free(element); }
};
struct boost_pool {
    void* get() { return memory.malloc(); }
    void release(void* element) { memory.free(element); }
    boost::pool<> memory{k_bytes};
};

enum class released : bool { in_turn, in_no_order };

/// `count` objects are made and filled, and then released.
template <class Allocator>
void get_and_release(benchmark::State& state, std::size_t count, released how)
{
    Allocator from;
    benchmark::DoNotOptimize(&from);  // a tool's allocator is no local variable
    std::vector<void*> in_use(count);
    std::vector<std::uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0U);
    if (how == released::in_no_order) std::shuffle(order.begin(), order.end(), std::mt19937(1));
    for (auto _ : state) {
        for (void*& element : in_use) {
            element = from.get();
            *static_cast<std::size_t*>(element) = 1;
        }
        benchmark::ClobberMemory();
        for (const std::uint32_t number : order) from.release(in_use[number]);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

/// A working set as a tool has it, whose objects go as they come.
template <class Allocator>
void many(benchmark::State& state)
{
    get_and_release<Allocator>(state, 16'000, released::in_no_order);
}

/// What stays in the nearest cache, and goes in the order of its making: the best case of any allocator.
///
/// No call waits for the memory here, so what counts is how many words one reads and writes. The peer's list
/// has one head, which the compiler keeps in a register all the time: it writes one word for an element that
/// comes back. Behind UT_SM_SMALLMEM stand counts that a call out of line may change, at a full bucket: they
/// are read and written each time, and the way to them leads by pool, table and bucket.
template <class Allocator>
void few(benchmark::State& state)
{
    get_and_release<Allocator>(state, 1000, released::in_turn);
}

BENCHMARK(few<block_allocator>)->Name("block_get_release/UT_FASTMEM");
BENCHMARK(few<heap>)->Name("block_get_release/malloc");
BENCHMARK(many<small_pool>)->Name("pool_get_release/UT_SM_SMALLMEM");
BENCHMARK(many<boost_pool>)->Name("pool_get_release/boost::pool");
BENCHMARK(few<small_pool>)->Name("pool_few_in_turn/UT_SM_SMALLMEM");
BENCHMARK(few<boost_pool>)->Name("pool_few_in_turn/boost::pool");

}  // namespace

BENCHMARK_MAIN();
