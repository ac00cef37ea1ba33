// bench/basuthash_bench.cpp: names are looked up in a table with one bucket for each.
#include "basuthash.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "bytes_in_use.h"

namespace {

// As many nets as buckets, and numbers of buckets that the peer takes as they are: it likes primes.
constexpr std::size_t k_cached = 1'031;
constexpr std::size_t k_large = 1'056'323;
constexpr std::size_t k_counted = 107'897;
constexpr double k_seconds = 0.15;

/// What both tables find: its name stands in it.
struct net {
    char name[32];
};

std::uint32_t hash_of(const char* name) noexcept
{
    std::uint32_t hash = 2'166'136'261;
    for (; *name != '\0'; ++name) hash = (hash ^ static_cast<unsigned char>(*name)) * 16'777'619;
    return hash;
}

class ours final : public UT_HASH {
public:
    explicit ours(std::size_t buckets) : UT_HASH(buckets, 0) {}
    ours(const ours&) = delete;
    ours& operator=(const ours&) = delete;
    ~ours() override = default;

    std::uint32_t hash_func(const void* key) override { return hash_of(static_cast<const char*>(key)); }
    int comp_func(const void* key, void* data) override
    {
        return std::strcmp(static_cast<const char*>(key), static_cast<const net*>(data)->name);
    }
    void put(net& each) { add(each.name, &each); }
    const void* look_up(const char* name) { return find(name); }
};

/// It keeps the hash beside each name, so that it compares few names.
class standard {
public:
    explicit standard(std::size_t buckets) : nets_(buckets) {}
    void put(net& each) { nets_.emplace(each.name, &each); }
    const void* look_up(const char* name) const
    {
        const auto found = nets_.find(name);
        return found != nets_.end() ? found->second : nullptr;
    }

private:
    struct same_hash {
        std::size_t operator()(const char* name) const { return hash_of(name); }
    };
    struct same_text {
        bool operator()(const char* a, const char* b) const { return std::strcmp(a, b) == 0; }
    };
    std::unordered_map<const char*, net*, same_hash, same_text> nets_;
};

/// Nets of one block of the design, in no order.
std::vector<net> make_nets(std::size_t count, const char* block, std::uint_fast32_t seed)
{
    std::vector<net> nets(count);
    for (std::size_t i = 0; i < count; ++i)
        std::snprintf(nets[i].name, sizeof nets[i].name, "top/%s/carry[%zu]", block, i);
    std::shuffle(nets.begin(), nets.end(), std::mt19937(seed));
    return nets;
}

/// A table of as many nets as buckets, and the names that are looked up: the same in another order, or
/// those of another block.
template <class Table>
struct job {
    explicit job(std::size_t count)
        : nets(make_nets(count, "alu", 1'396)), present(make_nets(count, "alu", 1'563)),
          absent(make_nets(count, "fpu", 1'563)), table(count)
    {
        for (net& each : nets) table.put(each);
    }

    std::vector<net> nets;
    std::vector<net> present;
    std::vector<net> absent;
    Table table;
};

/// Made once for all repetitions.
template <class Table, std::size_t Count>
job<Table>& shared_job()
{
    static job<Table> made(Count);
    return made;
}

template <class Table, std::size_t Count>
void hash_find(benchmark::State& state, std::vector<net> job<Table>::*names)
{
    job<Table>& work = shared_job<Table, Count>();
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(work.table.look_up((work.*names)[next].name));
        if (++next == Count) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Table>
void hash_memory(benchmark::State& state)
{
    std::vector<net> nets = make_nets(k_counted, "alu", 1'396);
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t before = bytes_in_use();
        Table table(nets.size());
        for (net& each : nets) table.put(each);
        bytes = bytes_in_use() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes) / static_cast<double>(k_counted);
}

template <class Table, std::size_t Count>
void register_finds(const std::string& contender)
{
    const auto named = [&](const char* work) {
        return work + ("/" + contender) + "/" + std::to_string(Count);
    };
    const auto hit = [](benchmark::State& state) { hash_find<Table, Count>(state, &job<Table>::present); };
    const auto miss = [](benchmark::State& state) { hash_find<Table, Count>(state, &job<Table>::absent); };
    benchmark::RegisterBenchmark(named("hash_find_hit").c_str(), hit)->MinTime(k_seconds);
    benchmark::RegisterBenchmark(named("hash_find_miss").c_str(), miss)->MinTime(k_seconds);
}

BENCHMARK(hash_memory<ours>)->Name("hash_memory/UT_HASH")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(hash_memory<standard>)
    ->Name("hash_memory/std::unordered_map")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    register_finds<ours, k_cached>("UT_HASH");
    register_finds<standard, k_cached>("std::unordered_map");
    register_finds<ours, k_large>("UT_HASH");
    register_finds<standard, k_large>("std::unordered_map");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
