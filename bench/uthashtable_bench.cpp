// bench/uthashtable_bench.cpp: a million objects are collected, and looked up in another order.
#include "uthashtable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr std::size_t k_objects = 1'000'000;

/// What the pointers lead to; nobody looks at it.
struct net {
    std::array<char, 16> content;
};

/// Every bit of the address has a part in every bit of the value.
unsigned hash_of(std::uintptr_t address) noexcept
{
    std::uint64_t hash = address;
    hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDU;
    hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53U;
    return static_cast<unsigned>(hash ^ (hash >> 33));
}

/// A table with a hash function of the tool's, or with the one that it has by itself.
template <bool Mixing>
class ours {
public:
    ours()
    {
        if (Mixing)
            table_.setHashFun([](void* data) { return hash_of(reinterpret_cast<std::uintptr_t>(data)); });
    }
    void put(net* each) { table_.insert(each); }
    bool has(net* each) { return table_.find(each) != nullptr; }

private:
    utHashTable table_;
};

template <bool Mixing>
class standard {
public:
    void put(net* each) { set_.insert(each); }
    bool has(net* each) const { return set_.find(each) != set_.end(); }

private:
    struct mixing_hash {
        std::size_t operator()(const void* data) const noexcept
        {
            return hash_of(reinterpret_cast<std::uintptr_t>(data));
        }
    };
    std::unordered_set<void*, std::conditional_t<Mixing, mixing_hash, std::hash<void*>>> set_;
};

/// All objects, in an order of its own for each `seed`.
std::vector<net*> shuffled(std::uint_fast32_t seed)
{
    static std::vector<net> nets(k_objects);
    std::vector<net*> order(k_objects);
    for (std::size_t i = 0; i < k_objects; ++i) order[i] = &nets[i];
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    return order;
}

template <class Set>
std::unique_ptr<Set> filled(const std::vector<net*>& order)
{
    auto set = std::make_unique<Set>();
    for (net* each : order) set->put(each);
    return set;
}

template <class Set>
void insert(benchmark::State& state)
{
    const std::vector<net*> order = shuffled(1'396);
    for (auto _ : state) {
        std::unique_ptr<Set> set = filled<Set>(order);
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_objects));
}

template <class Set>
void find(benchmark::State& state)
{
    const std::unique_ptr<Set> set = filled<Set>(shuffled(1'396));
    const std::vector<net*> order = shuffled(1'563);
    std::size_t found = 0;
    for (auto _ : state)
        for (net* each : order) found += static_cast<std::size_t>(set->has(each));
    if (found != k_objects * static_cast<std::size_t>(state.iterations()))
        state.SkipWithError("not all were found");
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_objects));
}

/// Both kinds of work on one kind of table, with the tool's function or without.
template <template <bool> class Table, bool Hashed>
void register_both(const std::string& contender)
{
    const auto name = [&](const char* work) {
        return work + std::string(Hashed ? "/" : "_plain/") + contender;
    };
    benchmark::RegisterBenchmark(name("set_insert").c_str(), insert<Table<Hashed>>)
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(name("set_find").c_str(), find<Table<Hashed>>)
        ->Iterations(5)
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv)
{
    register_both<ours, true>("utHashTable");
    register_both<standard, true>("std::unordered_set");
    // Without a function of the tool's the low bits of an address are the hash, of which objects leave most
    // buckets empty; that of the standard library reduces by a prime number.
    register_both<ours, false>("utHashTable");
    register_both<standard, false>("std::unordered_set");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
