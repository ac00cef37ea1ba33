// bench/basutpak_bench.cpp: the packer beside zlib, in memory; and a seek backwards beside reading anew.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>
#include <zlib.h>

#include "basutfile.h"
#include "basutstream.h"
#include "data_mix.h"
#include "memory_file.h"

namespace {

constexpr std::size_t k_content = std::size_t{4} << 20;

const std::string& content()
{
    static const std::string mix = data_mix::all(k_content);
    return mix;
}

void demand(bool holds)
{
    if (!holds) throw std::runtime_error("a benchmark does not do its work");
}

// ---- ours

std::string unpacked(const std::string& from)
{
    memory_file file(from);
    std::string out;
    std::string piece(k_piece, '\0');
    for (;;) {
        const long got = file.get_data(bytes_of(piece), k_piece);
        if (got < 1) return out;
        out.append(piece, 0, static_cast<std::size_t>(got));
    }
}

// ---- zlib

constexpr int k_level = 6;

/// Runs a stream of zlib over `from`, with `step` for each piece until it ends.
template <class Step>
std::string through(z_stream& stream, const std::string& from, Step step)
{
    std::string out;
    std::string piece(k_piece, '\0');
    int status = Z_OK;
    for (std::size_t at = 0; status != Z_STREAM_END;) {
        if (stream.avail_in == 0) {
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from.data())) + at;
            stream.avail_in = static_cast<uInt>(std::min(k_piece, from.size() - at));
            at += stream.avail_in;
        }
        stream.next_out = bytes_of(piece);
        stream.avail_out = k_piece;
        status = step(stream, at == from.size() ? Z_FINISH : Z_NO_FLUSH);
        out.append(piece, 0, k_piece - stream.avail_out);
    }
    return out;
}

std::string deflated(const std::string& from)
{
    z_stream stream{};
    demand(deflateInit(&stream, k_level) == Z_OK);
    std::string out = through(stream, from, [](z_stream& s, int flush) { return deflate(&s, flush); });
    deflateEnd(&stream);
    return out;
}

std::string inflated(const std::string& from)
{
    z_stream stream{};
    demand(inflateInit(&stream) == Z_OK);
    std::string out = through(stream, from, [](z_stream& s, int) { return inflate(&s, Z_NO_FLUSH); });
    inflateEnd(&stream);
    return out;
}

// ---- in memory

using coder = std::string (*)(const std::string&);

std::string pack_by_device(const std::string& from)
{
    return packed(from);
}

void compress(benchmark::State& state, coder work)
{
    std::size_t size = 0;
    for (auto _ : state) size = work(content()).size();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content().size()));
    benchmark::DoNotOptimize(size);
}

void size_of(benchmark::State& state, coder work)
{
    std::size_t size = 0;
    for (auto _ : state) size = work(content()).size();
    state.counters["bytes"] = static_cast<double>(size);
}

void expand(benchmark::State& state, coder pack_with, coder work)
{
    const std::string small = pack_with(content());
    demand(work(small) == content());
    for (auto _ : state) benchmark::DoNotOptimize(work(small));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content().size()));
}

BENCHMARK_CAPTURE(compress, ours, pack_by_device)->Name("pack/UT_IO_DEVICE");
BENCHMARK_CAPTURE(compress, zlib, deflated)->Name("pack/zlib");
BENCHMARK_CAPTURE(expand, ours, pack_by_device, unpacked)->Name("unpack/UT_IO_DEVICE");
BENCHMARK_CAPTURE(expand, zlib, deflated, inflated)->Name("unpack/zlib");
BENCHMARK_CAPTURE(size_of, ours, pack_by_device)->Name("packed size/UT_IO_DEVICE")->Iterations(1);
BENCHMARK_CAPTURE(size_of, zlib, deflated)->Name("packed size/zlib")->Iterations(1);

// ---- through a stream

/// A packed file of the content, for the length of a benchmark.
class packed_file {
public:
    packed_file()
        : path_(std::filesystem::path(std::getenv("TEMP")) /
                ("packed" + std::to_string(reinterpret_cast<std::uintptr_t>(this))))
    {
        UT_STREAM* const out = ut_file.open(path_.c_str(), UT_ACCESS_WRITE | UT_ACCESS_PACKED, 1);
        demand(out != nullptr);
        std::string bytes = content();
        out->write(bytes_of(bytes), static_cast<int>(bytes.size()));
        ut_file.close(out);
        stream_ = ut_file.open(path_.c_str(), UT_ACCESS_READ, 0);
        demand(stream_ != nullptr);
        stream_->skip(static_cast<long>(content().size()));
    }
    packed_file(const packed_file&) = delete;
    packed_file& operator=(const packed_file&) = delete;
    ~packed_file()
    {
        ut_file.close(stream_);
        std::filesystem::remove(path_);
    }
    UT_STREAM& stream() const { return *stream_; }

private:
    std::filesystem::path path_;
    UT_STREAM* stream_;
};

/// Goes back from the end of the content to three quarters of it, and reads a byte.
constexpr long k_place = k_content / 4 * 3;

void seek_back(benchmark::State& state)
{
    const packed_file file;
    for (auto _ : state) {
        demand(file.stream().setfoffset(k_place) != 0);
        demand(file.stream().readchar() == content()[k_place]);
    }
}

void read_again(benchmark::State& state)
{
    const packed_file file;
    std::string piece(k_piece, '\0');
    for (auto _ : state) {
        demand(file.stream().seekstart() != 0);
        for (long left = k_place; left > 0; left -= static_cast<long>(k_piece))
            file.stream().read(bytes_of(piece), static_cast<int>(std::min<long>(left, k_piece)));
        demand(file.stream().readchar() == content()[k_place]);
    }
}

BENCHMARK(seek_back)->Name("seek back/UT_STREAM");
BENCHMARK(read_again)->Name("seek back/from_start");

}  // namespace

BENCHMARK_MAIN();
