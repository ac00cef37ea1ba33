/// \file data_mix.h
/// Content for the benchmarks of compressors: what a tool's files hold, the same on every host.
///
/// Text in words of uneven frequency, a netlist, tables of binary records, and noise.
#pragma once
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace data_mix {

/// Numbers from a seed: a linear congruential generator, of which the high bits are used.
class numbers {
public:
    explicit numbers(std::uint64_t seed) : state_(seed) {}
    std::uint32_t next()
    {
        state_ = state_ * 6'364'136'223'846'793'005u + 1'442'695'040'888'963'407u;
        return static_cast<std::uint32_t>(state_ >> 32);
    }
    std::uint32_t below(std::uint32_t limit)
    {
        return static_cast<std::uint32_t>(std::uint64_t{next()} * limit >> 32);
    }

private:
    std::uint64_t state_;
};

/// Runs `add` until there are `size` bytes, and cuts off what is too much.
inline std::string filled(std::size_t size, const std::function<void(std::string&)>& add)
{
    std::string out;
    while (out.size() < size) add(out);
    out.resize(size);
    return out;
}

/// Sentences over a few thousand words; the n-th is used about 1/n as often as the first.
inline std::string text(std::size_t size, std::uint64_t seed)
{
    constexpr std::uint32_t k_words = 6'000;
    constexpr const char* k_syllables[] = {
        "a",  "the", "in", "er", "to",  "and", "re",  "con", "ti",  "on",  "es",  "ment", "al", "ver", "si",
        "de", "no",  "ra", "li", "per", "com", "ate", "un",  "ing", "sta", "ble", "pro",  "ma", "ity", "ous"};
    numbers random(seed);
    std::vector<std::string> words(k_words);
    for (std::uint32_t i = 0; i < k_words; ++i)
        for (std::uint32_t syllables = 1 + random.below(1 + (i > 30 ? 2 : 0) + (i > 500 ? 1 : 0));
             syllables > 0; --syllables)
            words[i] += k_syllables[random.below(std::size(k_syllables))];
    const auto frequent_first = [&] {
        const double place = random.next() / 4'294'967'296.0;
        return static_cast<std::uint32_t>(std::exp(place * std::log(double{k_words}))) - 1;
    };
    return filled(size, [&](std::string& out) {
        const std::uint32_t length = 4 + random.below(18);
        for (std::uint32_t i = 0; i < length; ++i) {
            out += words[frequent_first()];
            out += i + 1 == length ? '.' : random.below(11) == 0 ? ',' : ' ';
            if (out.back() == ',') out += ' ';
        }
        out += random.below(6) == 0 ? '\n' : ' ';
    });
}

/// Instances of cells with their pins on numbered nets, most of them nets used a short while before.
inline std::string netlist(std::size_t size, std::uint64_t seed)
{
    constexpr const char* k_cells[] = {"NAND2_X1", "NOR3_X2", "DFFR_X1", "INV_X4",
                                       "BUF_X8",   "MUX2_X1", "AOI21_X1"};
    constexpr const char* k_pins[] = {"A", "B", "S", "CK", "RN"};
    numbers random(seed);
    std::uint32_t instance = 0;
    std::uint32_t net = 100;
    return filled(size, [&](std::string& out) {
        out += "  " + std::string(k_cells[random.below(std::size(k_cells))]) + " u_core/u_blk" +
               std::to_string(instance / 500) + "/U" + std::to_string(1'000 + instance) + " (";
        const std::uint32_t pins = 1 + random.below(4);
        for (std::uint32_t i = 0; i < pins; ++i)
            out += " ." + std::string(k_pins[i]) + "(n" + std::to_string(net - random.below(100)) + "),";
        out += " .Y(n" + std::to_string(++net) + ") );\n";
        ++instance;
    });
}

/// Records of 24 bytes, numbers most significant byte first: an ascending key, two coordinates on a grid, a
/// real number of few values, flags and a reserve of zeros.
inline std::string tables(std::size_t size, std::uint64_t seed)
{
    numbers random(seed);
    std::uint32_t key = 0x10000;
    std::uint32_t x = 4'000;
    std::uint32_t y = 4'000;
    const auto put = [](std::string& out, std::uint64_t value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            out += static_cast<char>(value >> shift & 255);
    };
    return filled(size, [&](std::string& out) {
        put(out, key += 1 + random.below(3), 4);
        put(out, x += 20 * random.below(5), 4);
        put(out, random.below(10) == 0 ? y += 400 : y, 4);
        put(out, 0x3FF0'0000'0000 + (std::uint64_t{random.below(300)} << 20), 6);
        put(out, random.below(4) == 0 ? random.below(65'536) : 3, 2);
        put(out, 0, 4);
    });
}

inline std::string noise(std::size_t size, std::uint64_t seed)
{
    numbers random(seed);
    return filled(size, [&](std::string& out) { out += static_cast<char>(random.next() >> 24); });
}

/// All four in turn, in stretches of 256 KiB: of 16 of them six are text, five netlist, four tables, one
/// noise.
inline std::string all(std::size_t size, std::uint64_t seed = 1)
{
    constexpr std::size_t k_stretch = 1 << 18;
    using maker = std::string (*)(std::size_t, std::uint64_t);
    constexpr std::array<maker, 16> k_turns{text, netlist, tables, text,    netlist, text, tables,  netlist,
                                            text, noise,   text,   netlist, tables,  text, netlist, tables};
    std::size_t turn = 0;
    return filled(size, [&](std::string& out) {
        out += k_turns[turn % k_turns.size()](k_stretch, seed + turn);
        ++turn;
    });
}

}  // namespace data_mix
