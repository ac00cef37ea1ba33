// bench/basutstream_bench.cpp: numbers and lines through files, beside the streams of C++ and C.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "basutfile.h"
#include "basutstream.h"

namespace {

constexpr std::uint32_t k_numbers = 10'000'000;
constexpr std::size_t k_log_bytes = std::size_t{64} << 20;
constexpr std::size_t k_usual_buffer = 4096;  ///< of a stream that the file manager makes
constexpr int k_longest_line = 4096;

/// A file below TEMP, gone with its owner.
class scratch_file {
public:
    explicit scratch_file(const char* name)
        : path_(std::filesystem::path(std::getenv("TEMP")) / (std::to_string(::getpid()) + name))
    {
    }
    ~scratch_file() { std::filesystem::remove(path_); }
    scratch_file(const scratch_file&) = delete;
    scratch_file& operator=(const scratch_file&) = delete;

    const char* path() const { return path_.c_str(); }

private:
    std::filesystem::path path_;
};

/// Numbers without a pattern that a disk or a branch could like.
constexpr std::uint32_t number(std::uint32_t i)
{
    return i * 2'654'435'761u;
}

void demand(bool holds)
{
    if (!holds) throw std::runtime_error("the work was not done");
}

// ---- three contenders, each a writer and a reader of big-endian numbers

struct ut_stream {
    static void write(const char* path)
    {
        UT_STREAM* const out = ut_file.open(path, UT_ACCESS_WRITE, 0);
        demand(out != nullptr);
        for (std::uint32_t i = 0; i < k_numbers; ++i) out->write(number(i));
        demand(ut_file.close(out) != 0);
    }
    static std::uint32_t read(const char* path)
    {
        UT_STREAM* const in = ut_file.open(path, UT_ACCESS_READ, 0);
        demand(in != nullptr);
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < k_numbers; ++i) sum += in->readuint();
        ut_file.close(in);
        return sum;
    }
};

struct cpp_stream {
    static void write(const char* path)
    {
        std::fstream out(path, std::ios::in | std::ios::out | std::ios::binary);
        for (std::uint32_t i = 0; i < k_numbers; ++i) {
            const std::uint32_t swapped = __builtin_bswap32(number(i));
            out.write(reinterpret_cast<const char*>(&swapped), sizeof swapped);
        }
        out.flush();
        demand(out.good());
    }
    static std::uint32_t read(const char* path)
    {
        std::fstream in(path, std::ios::in | std::ios::binary);
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < k_numbers; ++i) {
            std::uint32_t swapped = 0;
            in.read(reinterpret_cast<char*>(&swapped), sizeof swapped);
            sum += __builtin_bswap32(swapped);
        }
        return sum;
    }
};

struct c_stream {
    static void write(const char* path)
    {
        std::FILE* const out = std::fopen(path, "r+b");
        demand(out != nullptr);
        for (std::uint32_t i = 0; i < k_numbers; ++i) {
            const std::uint32_t swapped = __builtin_bswap32(number(i));
            ::fwrite_unlocked(&swapped, sizeof swapped, 1, out);
        }
        demand(std::fclose(out) == 0);
    }
    static std::uint32_t read(const char* path)
    {
        std::FILE* const in = std::fopen(path, "rb");
        demand(in != nullptr);
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < k_numbers; ++i) {
            std::uint32_t swapped = 0;
            demand(::fread_unlocked(&swapped, sizeof swapped, 1, in) == 1);
            sum += __builtin_bswap32(swapped);
        }
        std::fclose(in);
        return sum;
    }
};

/// The file is written over and over in place, so that making its pages is not part of the work.
template <class Contender>
void typed_write(benchmark::State& state)
{
    const scratch_file file(".numbers");
    std::ofstream(file.path());
    Contender::write(file.path());
    for (auto _ : state) Contender::write(file.path());
    state.SetItemsProcessed(state.iterations() * k_numbers);
}

template <class Contender>
void typed_read(benchmark::State& state)
{
    const scratch_file file(".numbers");
    std::ofstream(file.path());
    ut_stream::write(file.path());
    std::uint32_t expected = 0;
    for (std::uint32_t i = 0; i < k_numbers; ++i) expected += number(i);
    for (auto _ : state) demand(Contender::read(file.path()) == expected);
    state.SetItemsProcessed(state.iterations() * k_numbers);
}

BENCHMARK(typed_write<ut_stream>)->Name("typed write/UT_STREAM")->Unit(benchmark::kMillisecond);
BENCHMARK(typed_write<cpp_stream>)->Name("typed write/std::fstream")->Unit(benchmark::kMillisecond);
BENCHMARK(typed_write<c_stream>)->Name("typed write/fwrite_unlocked")->Unit(benchmark::kMillisecond);
BENCHMARK(typed_read<ut_stream>)->Name("typed read/UT_STREAM")->Unit(benchmark::kMillisecond);
BENCHMARK(typed_read<cpp_stream>)->Name("typed read/std::fstream")->Unit(benchmark::kMillisecond);
BENCHMARK(typed_read<c_stream>)->Name("typed read/fread_unlocked")->Unit(benchmark::kMillisecond);

// ---- the lines of a log

/// Lines as a place-and-route run writes them, 20 to 140 bytes.
void make_log(const char* path)
{
    std::ofstream out(path, std::ios::binary);
    std::string line;
    std::size_t bytes = 0;
    for (std::uint32_t i = 0; bytes < k_log_bytes; ++i) {
        char head[64];
        std::snprintf(head, sizeof head, "[%05u] INFO route: net top/u%u ", number(i) % 100'000, i % 977);
        line = head;
        line.append(number(i) % 97, 'x') += '\n';
        out << line;
        bytes += line.size();
    }
    demand(out.flush().good());
}

/// `buffer` is a size in bytes; 0 stands for what each of the three has by itself.
std::size_t lines_by_readline(const char* path, std::size_t buffer)
{
    UT_STREAM in(UT_ACCESS_READ, buffer != 0 ? buffer : k_usual_buffer, nullptr);
    demand(ut_file.open(path, &in, 0) != nullptr);
    char line[k_longest_line];
    std::size_t bytes = 0;
    while (const int count = in.readline(line, k_longest_line)) bytes += static_cast<std::size_t>(count);
    ut_file.close(&in);
    return bytes;
}

std::size_t lines_by_getline(const char* path, std::size_t buffer)
{
    std::vector<char> memory(buffer);
    std::ifstream in;
    if (buffer != 0) in.rdbuf()->pubsetbuf(memory.data(), static_cast<std::streamsize>(buffer));
    in.open(path, std::ios::binary);
    std::string line;
    std::size_t bytes = 0;
    while (std::getline(in, line)) bytes += line.size() + 1;
    return bytes;
}

/// With the length and without the line end, as the other two deliver a line.
std::size_t lines_by_fgets(const char* path, std::size_t buffer)
{
    std::vector<char> memory(buffer);
    std::FILE* const in = std::fopen(path, "rb");
    demand(in != nullptr);
    if (buffer != 0) demand(std::setvbuf(in, memory.data(), _IOFBF, buffer) == 0);
    char line[k_longest_line];
    std::size_t bytes = 0;
    while (std::fgets(line, k_longest_line, in) != nullptr) {
        const std::size_t length = std::strlen(line);
        line[length - 1] = '\0';
        bytes += length;
    }
    std::fclose(in);
    return bytes;
}

using line_reader = std::size_t (*)(const char* path, std::size_t buffer);

void lines(benchmark::State& state, line_reader read, std::size_t buffer)
{
    const scratch_file file(".log");
    make_log(file.path());
    const std::size_t size = std::filesystem::file_size(file.path());
    for (auto _ : state) demand(read(file.path(), buffer) == size);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

/// A stream's buffer is its caller's choice, the other two are used as they come: that is the first work.
/// The second gives all three the same buffer, the third gives each its own.
constexpr std::size_t k_large_buffer = 65'536;
BENCHMARK_CAPTURE(lines, ours, lines_by_readline, k_large_buffer)->Name("readline/UT_STREAM");
BENCHMARK_CAPTURE(lines, cpp, lines_by_getline, 0)->Name("readline/std::getline");
BENCHMARK_CAPTURE(lines, c, lines_by_fgets, 0)->Name("readline/fgets");
BENCHMARK_CAPTURE(lines, ours, lines_by_readline, k_large_buffer)->Name("readline 64 KiB/UT_STREAM");
BENCHMARK_CAPTURE(lines, cpp, lines_by_getline, k_large_buffer)->Name("readline 64 KiB/std::getline");
BENCHMARK_CAPTURE(lines, c, lines_by_fgets, k_large_buffer)->Name("readline 64 KiB/fgets");
BENCHMARK_CAPTURE(lines, ours, lines_by_readline, 0)->Name("readline 4 KiB/UT_STREAM");
BENCHMARK_CAPTURE(lines, cpp, lines_by_getline, 0)->Name("readline 4 KiB/std::getline");
BENCHMARK_CAPTURE(lines, c, lines_by_fgets, 0)->Name("readline 4 KiB/fgets");

}  // namespace

BENCHMARK_MAIN();
