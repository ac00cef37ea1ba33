// bench/growth_bench.cpp: what one operation costs in a container of 100 to 10,000,000 elements. It takes
// minutes, so scripts/bench runs it only to draw its plots.
//
// A benchmark is called plot:panel/contender/size. Each measurement repeats its work until a small container
// takes as long as one of a million elements.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "basutbarray.h"
#include "basutbtree.h"
#include "basutdarray.h"
#include "basuthash.h"
#include "uthashtable.h"

namespace {

constexpr std::size_t k_largest = 10'000'000;
constexpr std::size_t k_operations = 1'000'000;  // in a measurement, at least

// ---- the keyed stores: numbered items

struct item {
    std::uint64_t number;
};

std::uint32_t hash_of(std::uint64_t number) noexcept
{
    return static_cast<std::uint32_t>((number * 0x9E37'79B9'7F4A'7C15) >> 32);
}

/// In no order of their numbers.
std::vector<item>& items()
{
    static std::vector<item> all = [] {
        std::vector<item> made(k_largest);
        std::mt19937_64 random(1'396);
        for (item& each : made) each.number = random();
        return made;
    }();
    return all;
}

/// With one bucket for each item.
class hash_table final : public UT_HASH {
public:
    explicit hash_table(std::size_t size) : UT_HASH(size, 0) {}
    hash_table(const hash_table&) = delete;
    hash_table& operator=(const hash_table&) = delete;
    ~hash_table() override = default;

    std::uint32_t hash_func(const void* key) override
    {
        return hash_of(static_cast<const item*>(key)->number);
    }
    int comp_func(const void* key, void* data) override
    {
        return static_cast<const item*>(key)->number == static_cast<item*>(data)->number ? 0 : 1;
    }
    void put(item& each) { add(&each, &each); }
    const void* look_up(const item& each) { return find(&each); }
};

class tree final : public UT_BTR_TREE {
public:
    explicit tree(std::size_t) : UT_BTR_TREE(by_number) {}
    tree(const tree&) = delete;
    tree& operator=(const tree&) = delete;
    ~tree() override = default;

    void put(item& each) { *add(as_key(each)) = &each; }
    const void* look_up(const item& each) { return find(as_key(each)); }

private:
    static const char* as_key(const item& each) { return reinterpret_cast<const char*>(&each); }
    static int by_number(void* data, const char* key)
    {
        const std::uint64_t a = static_cast<item*>(data)->number;
        const std::uint64_t b = reinterpret_cast<const item*>(key)->number;
        return static_cast<int>(a > b) - static_cast<int>(a < b);
    }
};

class pointer_set final {
public:
    explicit pointer_set(std::size_t)
    {
        set_.setHashFun([](void* data) -> unsigned { return hash_of(static_cast<item*>(data)->number); });
    }
    void put(item& each) { set_.insert(&each); }
    const void* look_up(item& each) { return set_.find(static_cast<void*>(&each)); }

private:
    utHashTable set_;
};

template <class Map>
class standard_map {
public:
    explicit standard_map(std::size_t) {}
    void put(item& each) { map_.emplace(each.number, &each); }
    const void* look_up(const item& each) const { return map_.find(each.number)->second; }

private:
    Map map_;
};

struct same_hash {
    std::size_t operator()(std::uint64_t number) const noexcept { return hash_of(number); }
};
using ordered_map = standard_map<std::map<std::uint64_t, item*>>;
using unordered_map = standard_map<std::unordered_map<std::uint64_t, item*, same_hash>>;

/// Gives back what earlier containers have left in pieces, so that each measurement finds the same heap.
void tidy_heap()
{
    ::malloc_trim(0);
}

/// Fills and ends containers of `size`, one after the other, as many as make up a measurement. `fill` makes
/// one.
template <class Fill>
void fill_many(benchmark::State& state, std::size_t size, Fill fill)
{
    const std::size_t containers = std::max<std::size_t>(1, k_operations / size);
    tidy_heap();
    for (auto _ : state)
        for (std::size_t i = 0; i < containers; ++i) benchmark::DoNotOptimize(fill());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(containers * size));
}

template <class Store>
std::unique_ptr<Store> filled_store(std::size_t size)
{
    auto store = std::make_unique<Store>(size);
    for (std::size_t i = 0; i < size; ++i) store->put(items()[i]);
    return store;
}

template <class Store>
void add(benchmark::State& state, std::size_t size)
{
    items();
    fill_many(state, size, [&] { return filled_store<Store>(size); });
}

template <class Store>
void find(benchmark::State& state, std::size_t size)
{
    items();
    tidy_heap();
    const auto store = filled_store<Store>(size);
    const std::size_t stride = size / 5 * 3 + 1;  // all over the items, and each of them
    for (auto _ : state)
        for (std::size_t i = 0, at = 0; i < k_operations; ++i) {
            benchmark::DoNotOptimize(store->look_up(items()[at]));
            at += stride;
            if (at >= size) at -= size;
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_operations));
}

// ---- the arrays: numbers

class array_by_getaddr {
public:
    void append(int number) { *static_cast<int*>(array_.getaddr(array_.getnumelements())) = number; }
    int operator[](std::size_t i) const { return elements_[i]; }

private:
    int* elements_ = nullptr;
    UT_DARRAY array_{reinterpret_cast<void**>(&elements_), sizeof(int), 0, 0};
};

class typed_array {
public:
    void append(int number) { array_.append(number); }
    int operator[](std::size_t i) const { return array_[static_cast<long>(i)]; }

private:
    UT_DARRAY_T<int> array_;
};

class array_in_blocks {
public:
    void append(int number) { *static_cast<int*>(array_.getaddr(array_.getnumelements())) = number; }
    int operator[](std::size_t i) const { return blocks_[i / k_block][i % k_block]; }

private:
    static constexpr std::size_t k_block = 1'024;
    int** blocks_ = nullptr;
    UT_BARRAY array_{reinterpret_cast<void***>(&blocks_), sizeof(int), k_block, 0};
};

template <class Sequence>
class standard_array {
public:
    void append(int number) { numbers_.push_back(number); }
    int operator[](std::size_t i) const { return numbers_[i]; }

private:
    Sequence numbers_;
};

template <class Array>
std::unique_ptr<Array> filled_array(std::size_t size)
{
    auto array = std::make_unique<Array>();
    for (std::size_t i = 0; i < size; ++i) array->append(static_cast<int>(i % 1'000));
    return array;
}

template <class Array>
void append(benchmark::State& state, std::size_t size)
{
    fill_many(state, size, [&] { return filled_array<Array>(size); });
}

template <class Array>
void read(benchmark::State& state, std::size_t size)
{
    tidy_heap();
    const auto array = filled_array<Array>(size);
    const std::size_t passes = std::max<std::size_t>(1, k_operations / size);
    for (auto _ : state)
        for (std::size_t pass = 0; pass < passes; ++pass) {
            unsigned sum = 0;
            for (std::size_t i = 0; i < size; ++i) sum += static_cast<unsigned>((*array)[i]);
            benchmark::DoNotOptimize(sum);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(passes * size));
}

// ---- all of them at all sizes

using measured = void (*)(benchmark::State&, std::size_t);

void at_all_sizes(const std::string& panel, const std::string& contender, measured work)
{
    for (std::size_t decade = 100; decade <= k_largest; decade *= 10)
        for (const std::size_t size : {decade, 3 * decade}) {
            if (size > k_largest) break;
            const std::string name = panel + "/" + contender + "/" + std::to_string(size);
            const auto run = [work, size](benchmark::State& state) { work(state, size); };
            benchmark::RegisterBenchmark(name.c_str(), run)
                ->Iterations(1)
                ->Repetitions(size <= 100'000 ? 3 : 1);
        }
}

template <class Store>
void store_at_all_sizes(const std::string& contender)
{
    at_all_sizes("growth_keyed_stores:add and release", contender, add<Store>);
    at_all_sizes("growth_keyed_stores:find", contender, find<Store>);
}

template <class Array>
void array_at_all_sizes(const std::string& contender)
{
    at_all_sizes("growth_arrays:append and release", contender, append<Array>);
    at_all_sizes("growth_arrays:read", contender, read<Array>);
}

}  // namespace

int main(int argc, char** argv)
{
    store_at_all_sizes<hash_table>("UT_HASH");
    store_at_all_sizes<pointer_set>("utHashTable");
    store_at_all_sizes<unordered_map>("std::unordered_map");
    store_at_all_sizes<tree>("UT_BTR_TREE");
    store_at_all_sizes<ordered_map>("std::map");
    array_at_all_sizes<array_by_getaddr>("UT_DARRAY");
    array_at_all_sizes<typed_array>("UT_DARRAY_T");
    array_at_all_sizes<array_in_blocks>("UT_BARRAY");
    array_at_all_sizes<standard_array<std::vector<int>>>("std::vector");
    array_at_all_sizes<standard_array<std::deque<int>>>("std::deque");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
