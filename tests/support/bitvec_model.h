// tests/support/bitvec_model.h: what a UT_BITVEC is, told bit by bit.
//
// It shares nothing with the library: one truth value per bit, no words but their count.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "basutbitvec.h"

struct bitvec_model {
    std::vector<bool> bits = std::vector<bool>(32);  ///< of all words
    std::size_t count = 32;

    bitvec_model() = default;
    bitvec_model(std::uint32_t value, std::size_t n)
        : bits(std::max<std::size_t>(1, (n + 31) / 32) * 32), count(n)
    {
        set_first(value);
    }

    std::size_t words() const { return bits.size() / 32; }
    bool at(std::size_t i) const { return i < bits.size() && bits[i]; }
    std::uint32_t word(std::size_t w) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 32; i-- > 0;) value = 2 * value + (at(32 * w + i) ? 1 : 0);
        return value;
    }
    void set_first(std::uint32_t value)
    {
        for (std::size_t i = 0; i < 32; ++i) bits[i] = (value >> i & 1U) != 0;
    }
    void grow(std::size_t n)
    {
        bits.resize(std::max(bits.size(), (n + 31) / 32 * 32));
        count = std::max(count, n);
    }
    /// Every bit becomes what `operation` makes of it and of the other's.
    template <class Operation>
    void combine(const bitvec_model& other, Operation operation)
    {
        grow(other.count);
        bits.resize(std::max(bits.size(), other.bits.size()));
        for (std::size_t i = 0; i < bits.size(); ++i) bits[i] = operation(bits[i], other.at(i));
    }
    template <class Operation>
    bitvec_model combined(const bitvec_model& other, Operation operation) const
    {
        bitvec_model result = words() > other.words() ? *this : other;
        for (std::size_t i = 0; i < result.bits.size(); ++i) result.bits[i] = operation(at(i), other.at(i));
        return result;
    }
    void shift_up(std::size_t n)
    {
        if (words() == 1) n %= 32;
        for (std::size_t i = bits.size(); i-- > 0;) bits[i] = i >= n && bits[i - n];
    }
    void shift_down(std::size_t n)
    {
        if (words() == 1) n %= 32;
        for (std::size_t i = 0; i < bits.size(); ++i) bits[i] = at(i + n);
    }
    void set_first_bits(std::size_t n)
    {
        for (std::size_t i = 0; i < bits.size(); ++i) bits[i] = i < std::min(n, count);
    }
    void put(std::uint32_t value, std::size_t n, std::size_t shift)
    {
        for (std::size_t i = 0; i < n; ++i) {
            const bool same_word = (shift + i) / 32 == shift / 32;
            bits[shift + i] = !same_word || (value >> i & 1U) != 0;
        }
    }
    std::uint32_t field(std::size_t n, std::size_t shift) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < n; ++i) value |= (at(shift + i) ? 1U : 0U) << i;
        return value;
    }
    bool equals(const bitvec_model& other) const
    {
        for (std::size_t i = 0; i < std::max(bits.size(), other.bits.size()); ++i)
            if (at(i) != other.at(i)) return false;
        return true;
    }

    /// Takes the value of a text, or leaves all as it is and returns false.
    bool read(std::string_view text)
    {
        while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
        std::size_t width = 0;
        std::size_t skipped = 1;
        if (text.starts_with("0x")) {
            width = 4;
            skipped = 2;
        } else if (text.starts_with('0')) {
            width = 3;
        } else if (text.starts_with('b')) {
            width = 1;
        } else if (text.starts_with('1')) {
            width = 1;
            skipped = 0;
        }
        if (width == 0) return false;
        std::vector<bool> high_first;
        for (const char c : text.substr(skipped)) {
            if (c == ' ') continue;
            const std::size_t digit = std::string_view("0123456789abcdefABCDEF").find(c);
            const std::size_t value = digit > 15 && digit < 22 ? digit - 6 : digit;
            if (value >= std::size_t{1} << width) return false;
            for (std::size_t i = width; i-- > 0;) high_first.push_back((value >> i & 1U) != 0);
        }
        grow(high_first.size());
        std::fill(bits.begin(), bits.end(), false);
        std::copy(high_first.rbegin(), high_first.rend(), bits.begin());
        return true;
    }

    /// Digits of `width` bits for the bits from 0 to `n`, with a blank between groups.
    std::string digits(std::size_t width, std::size_t group, std::size_t n) const
    {
        std::string low_first;
        for (std::size_t i = 0; i < n; i += width) {
            if (group != 0 && i != 0 && i % (group * width) == 0) low_first += ' ';
            low_first += "0123456789abcdef"[field(std::min(width, n - i), i)];
        }
        return {low_first.rbegin(), low_first.rend()};
    }
    static std::string trimmed(const std::string& text)
    {
        return text.substr(std::min(text.size(), text.find_first_not_of('0')));
    }
    std::string binary(bool full, bool spaced) const
    {
        const std::string text = digits(1, spaced ? 4 : 0, count);
        return 'b' + (full ? text : trimmed(text));
    }
    std::string octal(bool full, bool spaced) const
    {
        const std::string all = digits(3, spaced ? 3 : 0, count);
        const std::string text = full ? all : trimmed(all);
        return text.starts_with('0') ? text : '0' + text;
    }
    std::string hexadecimal(bool full, bool spaced) const
    {
        std::size_t shown = words();
        while (!full && shown > 1 && word(shown - 1) == 0) --shown;
        std::string text = digits(4, spaced ? 8 : 0, 32 * shown);
        const std::size_t least = !full ? 1 : count % 32 == 0 ? 8 : (count % 32 + 3) / 4;
        std::size_t width = 8;
        while (width > least && text.front() == '0') {
            text.erase(0, 1);
            --width;
        }
        return "0x" + text;
    }
};

/// True when the two are alike in everything that can be seen.
inline bool same(const UT_BITVEC& vector, const bitvec_model& model)
{
    if (vector.getnum_bits() != model.count || vector.getnum_words() != model.words()) return false;
    for (std::size_t i = 0; i < model.count + 40; ++i)
        if (vector.get(static_cast<unsigned int>(i)) != (i < model.count && model.at(i) ? 1 : 0))
            return false;
    const auto text = [&](bool full, bool spaced, UT_BITVEC::BASE base) {
        return std::string(vector.getAsciiStr(full ? 1 : 0, spaced ? 1 : 0, base).getstring());
    };
    for (const bool full : {false, true}) {
        for (const bool spaced : {false, true}) {
            if (text(full, spaced, UT_BITVEC::HEX) != model.hexadecimal(full, spaced) ||
                text(full, spaced, UT_BITVEC::OCT) != model.octal(full, spaced) ||
                text(full, spaced, UT_BITVEC::BIN) != model.binary(full, spaced))
                return false;
        }
    }
    return true;
}
