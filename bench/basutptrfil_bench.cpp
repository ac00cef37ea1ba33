// bench/basutptrfil_bench.cpp: a graph of objects through a pointer file, beside a binary archive of Boost.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/vector.hpp>
#include <unistd.h>

#include "basutfile.h"
#include "basutptrfil.h"

namespace {

constexpr std::uint32_t k_nodes = 1'000'000;  ///< each of which points at one of all, before or behind it

struct node {
    std::uint32_t number = 0;
    node* target = nullptr;

    template <class Archive>
    void serialize(Archive& archive, unsigned)
    {
        archive& number& target;
    }
};

/// Nodes on the heap, in the order of the file; both contenders read into one of these.
class graph {
public:
    graph() = default;
    graph(const graph&) = delete;
    graph& operator=(const graph&) = delete;
    ~graph()
    {
        for (const node* each : nodes) delete each;
    }

    std::vector<node*> nodes;
};

const graph& wired()
{
    static const std::unique_ptr<graph> made = [] {
        auto result = std::make_unique<graph>();
        for (std::uint32_t i = 0; i < k_nodes; ++i) result->nodes.push_back(new node{i, nullptr});
        std::mt19937 random(44);
        for (node* each : result->nodes) each->target = result->nodes[random() % k_nodes];
        return result;
    }();
    return *made;
}

void demand(bool holds)
{
    if (!holds) throw std::runtime_error("the work was not done");
}

void demand_same(const graph& read)
{
    demand(read.nodes.size() == k_nodes);
    for (std::uint32_t i = 0; i < k_nodes; ++i) {
        demand(read.nodes[i]->number == i);
        demand(read.nodes[i]->target == read.nodes[wired().nodes[i]->target->number]);
    }
}

struct pointer_file {
    static void write(const char* path, const graph& from)
    {
        UT_PTRFILE out(UT_ACCESS_WRITE);
        demand(ut_file.open(path, &out, 1) != nullptr);
        out.write(static_cast<std::uint32_t>(from.nodes.size()));
        for (node* each : from.nodes) {
            out.writeptr(each);
            out.write(each->number);
            out.writeptr(each->target);
        }
        demand(ut_file.close(&out) != 0);
    }
    static void read(const char* path, graph& to)
    {
        UT_PTRFILE in(UT_ACCESS_READ);
        demand(ut_file.open(path, &in, 0) != nullptr);
        to.nodes.resize(in.readuint());
        for (node*& each : to.nodes) {
            each = new node;
            void* old_address = nullptr;
            in.readptr(old_address);
            in.registerptr(old_address, each);
            in.read(each->number);
            void* target = nullptr;
            in.readptr(target);
            each->target = static_cast<node*>(target);
            in.fixptr(reinterpret_cast<void**>(&each->target));
        }
        demand(in.checkptrs() == nullptr);
        in.flush_fixtable();
        demand(ut_file.close(&in) != 0);
    }
};

struct boost_archive {
    static void write(const char* path, const graph& from)
    {
        std::ofstream out(path, std::ios::binary);
        boost::archive::binary_oarchive(out) << from.nodes;
        demand(out.good());
    }
    static void read(const char* path, graph& to)
    {
        std::ifstream in(path, std::ios::binary);
        boost::archive::binary_iarchive(in) >> to.nodes;
    }
};

template <class Contender>
void write_and_fix_up(benchmark::State& state)
{
    const std::string path =
        std::filesystem::path(std::getenv("TEMP")) / (std::to_string(::getpid()) + "graph");
    wired();
    for (auto _ : state) {
        auto read = std::make_unique<graph>();
        Contender::write(path.c_str(), wired());
        Contender::read(path.c_str(), *read);
        state.PauseTiming();
        demand_same(*read);
        read.reset();
        state.ResumeTiming();
    }
    std::filesystem::remove(path);
    state.SetItemsProcessed(state.iterations() * k_nodes);
}
BENCHMARK(write_and_fix_up<pointer_file>)
    ->Name("pointers/UT_PTRFILE")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(write_and_fix_up<boost_archive>)
    ->Name("pointers/boost::serialization")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
