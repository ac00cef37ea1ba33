// bench/basutbtree_bench.cpp: a million names in order. Both contenders keep copies of their own.
#include "basutbtree.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bytes_in_use.h"

namespace {

constexpr std::size_t k_names = 1'000'000;
constexpr std::size_t k_some = 100'000;  // of them, for what is done to a few

class ours final : public UT_BTR_TREE {
public:
    ours()
        : UT_BTR_TREE([](void* data, const char* key) { return std::strcmp(static_cast<char*>(data), key); })
    {
    }
    ours(const ours&) = delete;
    ours& operator=(const ours&) = delete;
    ~ours() override
    {
        flush([](void** slot, void*) { std::free(*slot); });
    }
    void put(const std::string& name) { *add(name.c_str()) = ::strdup(name.c_str()); }
    bool has(const std::string& name) { return find(name.c_str()) != nullptr; }
    void take(const std::string& name) { std::free(remove(name.c_str())); }
};

class standard {
public:
    void put(const std::string& name) { names_.emplace(name, nullptr); }
    bool has(const std::string& name) const { return names_.find(name) != names_.end(); }
    void take(const std::string& name) { names_.erase(name); }

private:
    std::map<std::string, void*> names_;
};

/// The names, in no order.
const std::vector<std::string>& names()
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> made;
        made.reserve(k_names);
        for (std::size_t i = 0; i < k_names; ++i)
            made.push_back("top/core" + std::to_string(i % 64) + "/alu/carry[" + std::to_string(i) + "]");
        std::shuffle(made.begin(), made.end(), std::mt19937(1'396));
        return made;
    }();
    return all;
}

/// A tree of all names, one per contender.
template <class Tree>
Tree& full_tree()
{
    static Tree tree;
    static const bool filled = [] {
        for (const std::string& name : names()) tree.put(name);
        return true;
    }();
    (void)filled;
    return tree;
}

template <class Tree>
void tree_add(benchmark::State& state)
{
    const std::vector<std::string>& all = names();
    for (auto _ : state) {
        auto tree = std::make_unique<Tree>();
        for (const std::string& name : all) tree->put(name);
        state.PauseTiming();  // its end is not measured
        tree.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_names));
}

template <class Tree>
void tree_find(benchmark::State& state)
{
    Tree& tree = full_tree<Tree>();
    std::vector<std::string> searched = names();
    std::shuffle(searched.begin(), searched.end(), std::mt19937(1'563));
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.has(searched[next]));
        if (++next == searched.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Tree>
void tree_remove(benchmark::State& state)
{
    Tree& tree = full_tree<Tree>();
    std::vector<std::string> some = names();
    std::shuffle(some.begin(), some.end(), std::mt19937(1'605));
    some.resize(k_some);
    for (auto _ : state) {
        for (const std::string& name : some) tree.take(name);
        state.PauseTiming();  // all are there again for the next one
        for (const std::string& name : some) tree.put(name);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_some));
}

template <class Tree>
void tree_memory(benchmark::State& state)
{
    const std::span some = std::span(names()).first(k_some);
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t before = bytes_in_use();
        Tree tree;
        for (const std::string& name : some) tree.put(name);
        bytes = bytes_in_use() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes) / static_cast<double>(k_some);
}

BENCHMARK(tree_add<ours>)->Name("tree_add/UT_BTR_TREE")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(tree_add<standard>)->Name("tree_add/std::map")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(tree_find<ours>)->Name("tree_find/UT_BTR_TREE")->Iterations(200'000);
BENCHMARK(tree_find<standard>)->Name("tree_find/std::map")->Iterations(200'000);
BENCHMARK(tree_remove<ours>)->Name("tree_remove/UT_BTR_TREE")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(tree_remove<standard>)->Name("tree_remove/std::map")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(tree_memory<ours>)->Name("tree_memory/UT_BTR_TREE")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(tree_memory<standard>)->Name("tree_memory/std::map")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    // In a heap that nothing has been freed in, whichever benchmark comes first: with a million nodes it
    // matters how they lie.
    full_tree<ours>();
    full_tree<standard>();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
