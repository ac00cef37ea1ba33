// bench/basutgcomp_bench.cpp: files in blocks beside the same calls of zlib and bzip2 on the same blocks.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <bzlib.h>
#include <unistd.h>
#include <zlib.h>

#include "basutfile.h"
#include "basutstream.h"
#include "data_mix.h"

namespace {

constexpr std::size_t k_content = std::size_t{2} << 20;
constexpr std::size_t k_block = 16'384;    ///< of content in a block of the library's
constexpr std::size_t k_largest = 32'768;  ///< of compressed bytes

const std::string& content()
{
    static const std::string mix = data_mix::all(k_content);
    return mix;
}

void demand(bool holds)
{
    if (!holds) throw std::runtime_error("a benchmark does not do its work");
}

// ---- the peers: a block at a time, from memory to memory

struct zlib {
    static constexpr UT_ACCESS k_bit = UT_ACCESS_GCA;
    static std::size_t pack(const std::string& from, std::string& to)
    {
        uLongf size = to.size();
        demand(compress(reinterpret_cast<Bytef*>(to.data()), &size,
                        reinterpret_cast<const Bytef*>(from.data()), from.size()) == Z_OK);
        return size;
    }
    static std::size_t unpack(const std::string& from, std::string& to)
    {
        uLongf size = to.size();
        demand(uncompress(reinterpret_cast<Bytef*>(to.data()), &size,
                          reinterpret_cast<const Bytef*>(from.data()), from.size()) == Z_OK);
        return size;
    }
};

struct bzip2 {
    static constexpr UT_ACCESS k_bit = UT_ACCESS_GCB;
    static std::size_t pack(std::string& from, std::string& to)
    {
        auto size = static_cast<unsigned int>(to.size());
        demand(BZ2_bzBuffToBuffCompress(to.data(), &size, from.data(), static_cast<unsigned int>(from.size()),
                                        6, 0, 30) == BZ_OK);
        return size;
    }
    static std::size_t unpack(std::string& from, std::string& to)
    {
        auto size = static_cast<unsigned int>(to.size());
        demand(BZ2_bzBuffToBuffDecompress(to.data(), &size, from.data(),
                                          static_cast<unsigned int>(from.size()), 0, 0) == BZ_OK);
        return size;
    }
};

std::vector<std::string> blocks_of_content()
{
    std::vector<std::string> blocks;
    for (std::size_t at = 0; at < content().size(); at += k_block)
        blocks.push_back(content().substr(at, k_block));
    return blocks;
}

template <class Peer>
void write_peer(benchmark::State& state)
{
    std::vector<std::string> blocks = blocks_of_content();
    std::string out(k_largest, '\0');
    for (auto _ : state)
        for (std::string& block : blocks) benchmark::DoNotOptimize(Peer::pack(block, out));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * k_content));
}

template <class Peer>
void read_peer(benchmark::State& state)
{
    std::vector<std::string> packed;
    std::string out(k_largest, '\0');
    for (std::string& block : blocks_of_content()) {
        const std::size_t size = Peer::pack(block, out);
        packed.push_back(out.substr(0, size));
    }
    for (auto _ : state)
        for (std::string& block : packed) benchmark::DoNotOptimize(Peer::unpack(block, out));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * k_content));
}

// ---- ours: files below TEMP

std::string path()
{
    return (std::filesystem::path(std::getenv("TEMP")) / ("gcomp" + std::to_string(::getpid()))).string();
}

template <class Peer>
void write_file()
{
    UT_STREAM* const out = ut_file.open(path().c_str(), UT_ACCESS_WRITE | Peer::k_bit, 1);
    demand(out != nullptr);
    out->write(reinterpret_cast<const unsigned char*>(content().data()), static_cast<int>(content().size()));
    demand(ut_file.close(out) != 0);
}

template <class Peer>
void write_ours(benchmark::State& state)
{
    for (auto _ : state) write_file<Peer>();
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * k_content));
    std::filesystem::remove(path());
}

template <class Peer>
void read_ours(benchmark::State& state)
{
    write_file<Peer>();
    std::string all(k_content, '\0');
    for (auto _ : state) {
        UT_STREAM* const in = ut_file.open(path().c_str(), UT_ACCESS_READ, 0);
        demand(in != nullptr);
        demand(in->read(reinterpret_cast<unsigned char*>(all.data()), static_cast<int>(k_content)) ==
               static_cast<int>(k_content));
        ut_file.close(in);
    }
    demand(all == content());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * k_content));
    std::filesystem::remove(path());
}

BENCHMARK(write_ours<zlib>)->Name("gca write/UT_GCA")->Unit(benchmark::kMillisecond);
BENCHMARK(write_peer<zlib>)->Name("gca write/zlib")->Unit(benchmark::kMillisecond);
BENCHMARK(read_ours<zlib>)->Name("gca read/UT_GCA")->Unit(benchmark::kMillisecond);
BENCHMARK(read_peer<zlib>)->Name("gca read/zlib")->Unit(benchmark::kMillisecond);
BENCHMARK(write_ours<bzip2>)->Name("gcb write/UT_GCB")->Unit(benchmark::kMillisecond);
BENCHMARK(write_peer<bzip2>)->Name("gcb write/bzip2")->Unit(benchmark::kMillisecond);
BENCHMARK(read_ours<bzip2>)->Name("gcb read/UT_GCB")->Unit(benchmark::kMillisecond);
BENCHMARK(read_peer<bzip2>)->Name("gcb read/bzip2")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
