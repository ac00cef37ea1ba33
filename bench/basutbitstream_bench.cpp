// bench/basutbitstream_bench.cpp: numbers of mixed widths into a bit stream and out of it.
#include "basutbitstream.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

struct number {
    std::uint32_t value;
    int width;  ///< 1 to 32
};

std::vector<number> mixed_numbers()
{
    std::mt19937 random(1);
    std::vector<number> numbers(10'000);
    for (number& one : numbers) {
        one.width = static_cast<int>(random() % 32) + 1;
        one.value = static_cast<std::uint32_t>(random()) >> (32 - one.width);
    }
    return numbers;
}

/// The stream as one would write it in a minute: bit by bit.
class bit_by_bit {
public:
    explicit bit_by_bit(std::size_t bytes) : bytes_(bytes) {}
    void rewind() { at_ = 0; }
    void putubits(unsigned long value, int count)
    {
        for (int i = 0; i < count; ++i, ++at_) {
            const auto mask = static_cast<unsigned char>(1U << at_ % 8);
            if ((value >> i & 1U) != 0)
                bytes_[at_ / 8] |= mask;
            else
                bytes_[at_ / 8] &= static_cast<unsigned char>(~mask);
        }
    }
    unsigned long getubits(int count)
    {
        unsigned long value = 0;
        for (int i = 0; i < count; ++i, ++at_)
            value |= static_cast<unsigned long>(bytes_[at_ / 8] >> at_ % 8 & 1) << i;
        return value;
    }

private:
    std::vector<unsigned char> bytes_;
    std::size_t at_ = 0;
};

template <class Stream>
void write_all(Stream& stream, const std::vector<number>& numbers)
{
    for (const number& one : numbers) stream.putubits(one.value, one.width);
}
template <class Stream>
void read_all(Stream& stream, const std::vector<number>& numbers)
{
    unsigned long sum = 0;
    for (const number& one : numbers) sum += stream.getubits(one.width);
    benchmark::DoNotOptimize(sum);
}
std::int64_t items(const benchmark::State& state, const std::vector<number>& numbers)
{
    return static_cast<std::int64_t>(state.iterations() * numbers.size());
}

// Ours grows while it is written; the peer's room is there from the start.
void put_ours(benchmark::State& state)
{
    const std::vector<number> numbers = mixed_numbers();
    for (auto _ : state) {
        UT_BITSTREAM stream;
        write_all(stream, numbers);
        benchmark::DoNotOptimize(stream.getdata());
    }
    state.SetItemsProcessed(items(state, numbers));
}
void put_peer(benchmark::State& state)
{
    const std::vector<number> numbers = mixed_numbers();
    bit_by_bit stream(4 * numbers.size());
    for (auto _ : state) {
        stream.rewind();
        write_all(stream, numbers);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(items(state, numbers));
}
BENCHMARK(put_ours)->Name("bits_put/UT_BITSTREAM")->MinTime(0.2);
BENCHMARK(put_peer)->Name("bits_put/bit_by_bit")->MinTime(0.2);

void get_ours(benchmark::State& state)
{
    const std::vector<number> numbers = mixed_numbers();
    UT_BITSTREAM stream;
    write_all(stream, numbers);
    for (auto _ : state) {
        stream.setstate({});
        read_all(stream, numbers);
    }
    state.SetItemsProcessed(items(state, numbers));
}
void get_peer(benchmark::State& state)
{
    const std::vector<number> numbers = mixed_numbers();
    bit_by_bit stream(4 * numbers.size());
    write_all(stream, numbers);
    for (auto _ : state) {
        stream.rewind();
        read_all(stream, numbers);
    }
    state.SetItemsProcessed(items(state, numbers));
}
BENCHMARK(get_ours)->Name("bits_get/UT_BITSTREAM")->MinTime(0.2);
BENCHMARK(get_peer)->Name("bits_get/bit_by_bit")->MinTime(0.2);

}  // namespace

BENCHMARK_MAIN();
