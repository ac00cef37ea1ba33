// bench/basutbitvec_bench.cpp: bit vectors, long ones and those of one word.
#include "basutbitvec.h"

#include <cstdint>
#include <initializer_list>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <boost/dynamic_bitset.hpp>

#include <benchmark/benchmark.h>

namespace {

using peer = boost::dynamic_bitset<>;

constexpr std::int64_t k_long = 10'000;  // bits
constexpr std::int64_t k_word = 32;
constexpr std::size_t k_near = 256;      // short vectors that stay in the nearest cache
constexpr std::size_t k_many = 1 << 18;  // and more than any cache of one core holds

template <class Bits>
Bits random_bits(std::size_t count, std::mt19937& random);

template <>
UT_BITVEC random_bits(std::size_t count, std::mt19937& random)
{
    UT_BITVEC bits(0UL, static_cast<unsigned int>(count));
    for (unsigned int i = 0; i < count; ++i) bits.set(i, static_cast<int>(random() % 2));
    return bits;
}
template <>
peer random_bits(std::size_t count, std::mt19937& random)
{
    peer bits(count);
    for (std::size_t i = 0; i < count; ++i) bits.set(i, random() % 2 != 0);
    return bits;
}

/// Vectors as a tool keeps them: side by side.
template <class Bits>
std::vector<Bits> vectors(std::size_t count, std::size_t bits, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<Bits> all;
    for (std::size_t i = 0; i < count; ++i) all.push_back(random_bits<Bits>(bits, random));
    return all;
}

struct or_into {
    static constexpr std::uint32_t k_other_seed = 2;
    template <class Bits>
    static void run(Bits& a, const Bits& b)
    {
        a |= b;
    }
};
struct and_into {
    static constexpr std::uint32_t k_other_seed = 2;
    template <class Bits>
    static void run(Bits& a, const Bits& b)
    {
        a &= b;
    }
};
struct equal {
    static constexpr std::uint32_t k_other_seed = 1;  // equal to the last bit
    template <class Bits>
    static void run(const Bits& a, const Bits& b)
    {
        benchmark::DoNotOptimize(a == b);
    }
};

/// All of `a` change in place: one long vector, or short ones.
template <class Work, class Bits, std::size_t Short>
void in_place(benchmark::State& state)
{
    const auto bits = static_cast<std::size_t>(state.range(0));
    const std::size_t count = bits == static_cast<std::size_t>(k_long) ? 1 : Short;
    std::vector<Bits> changed = vectors<Bits>(count, bits, 1);
    const std::vector<Bits> others = vectors<Bits>(count, bits, Work::k_other_seed);
    const std::span a = changed;  // which no call can change
    const std::span b = others;
    for (auto _ : state) {
        for (std::size_t i = 0; i < a.size(); ++i) Work::run(a[i], b[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

/// All of `a` stay: a copy of each changes, as where a result is needed for a moment.
template <class Work, class Bits>
void in_copy(benchmark::State& state)
{
    const auto bits = static_cast<std::size_t>(state.range(0));
    const std::vector<Bits> copied = vectors<Bits>(k_near, bits, 1);
    const std::vector<Bits> others = vectors<Bits>(k_near, bits, Work::k_other_seed);
    const std::span a = copied;
    const std::span b = others;
    for (auto _ : state) {
        for (std::size_t i = 0; i < a.size(); ++i) {
            Bits made(a[i]);
            Work::run(made, b[i]);
            benchmark::DoNotOptimize(made);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(k_near));
}

template <class Work>
void both(const std::string& name)
{
    const auto add = [](const std::string& full, auto* function, std::initializer_list<std::int64_t> sizes) {
        auto* const added = benchmark::RegisterBenchmark(full.c_str(), function);
        for (const std::int64_t bits : sizes) added->Arg(bits);
        added->MinTime(0.1);
    };
    add(name + "/UT_BITVEC", in_place<Work, UT_BITVEC, k_near>, {k_long, k_word});
    add(name + "/boost::dynamic_bitset", in_place<Work, peer, k_near>, {k_long, k_word});
    add(name + "_many/UT_BITVEC", in_place<Work, UT_BITVEC, k_many>, {k_word});
    add(name + "_many/boost::dynamic_bitset", in_place<Work, peer, k_many>, {k_word});
    add(name + "_copy/UT_BITVEC", in_copy<Work, UT_BITVEC>, {k_word});
    add(name + "_copy/boost::dynamic_bitset", in_copy<Work, peer>, {k_word});
}

}  // namespace

int main(int argc, char** argv)
{
    both<or_into>("bits_or");
    both<and_into>("bits_and");
    both<equal>("bits_equal");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
