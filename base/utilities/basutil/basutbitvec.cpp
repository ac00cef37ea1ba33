// basutbitvec.cpp
#include "basutbitvec.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ascii.h"
#include "basutform.h"
#include "basutsmallmem.h"
#include "basutstream.h"
#include "contract.h"
#include "heap_text.h"
#include "msgman.h"

namespace {

constexpr ketriope::site k_site{.module = "basutbitvec", .exit_value = 91};
constexpr const char* k_bad_operation = "Bad opertion code.";  // known under this spelling
constexpr const char* k_bad_text = "String constant is invalid in ut_bitvec";
constexpr unsigned int k_bits = 32;  // of a word
constexpr unsigned int k_pooled_words = 4;
constexpr std::uint32_t k_ones = std::numeric_limits<std::uint32_t>::max();

/// How many words a file may name without holding them.
constexpr std::uint64_t k_believed = std::uint64_t{1} << 20;

/// The low `count` bits, 0 to 32.
constexpr std::uint32_t low_mask(unsigned int count)
{
    return count < k_bits ? (std::uint32_t{1} << count) - 1 : k_ones;
}

constexpr std::uint64_t joined(std::uint32_t high, std::uint32_t low)
{
    return std::uint64_t{high} << k_bits | low;
}

// Arrays of so many words begin at a line of the cache, where wide blocks are read fastest.
constexpr std::uint32_t k_lined_words = 64;
constexpr std::align_val_t k_line{64};

/// An array of `count` undefined words, from the heap.
std::uint32_t* new_words(std::uint32_t count)
{
    const std::size_t bytes = count * sizeof(std::uint32_t);
    void* const block = count < k_lined_words ? ::operator new(bytes) : ::operator new(bytes, k_line);
    return static_cast<std::uint32_t*>(block);
}

// What is done to words, and in the same way to blocks of them.
constexpr auto k_or = [](auto& into, const auto& with) { into |= with; };
constexpr auto k_and = [](auto& into, const auto& with) { into &= with; };
constexpr auto k_xor = [](auto& into, const auto& with) { into ^= with; };

#if defined(__GNUC__)
using block = std::uint64_t __attribute__((vector_size(16)));
#else
using block = std::uint64_t;
#endif

/// Combines block by block. A block is read whole before it is written, so the two may be the same.
template <class Block, class Operation>
void combine_blocks(std::uint32_t* into, const std::uint32_t* with, std::uint32_t count, Operation operation)
{
    constexpr std::uint32_t k_words = sizeof(Block) / sizeof(std::uint32_t);
    for (; count >= k_words; count -= k_words, into += k_words, with += k_words) {
        Block a;
        Block b;
        std::memcpy(&a, into, sizeof a);
        std::memcpy(&b, with, sizeof b);
        operation(a, b);
        std::memcpy(into, &a, sizeof a);
    }
    for (; count > 0; --count, ++into, ++with) operation(*into, *with);
}

/// Adds the bits in which a block of `a` and one of `b` differ.
template <class Block>
void add_difference(Block& differing, const std::uint32_t* a, const std::uint32_t* b)
{
    Block x;
    Block y;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    differing |= x ^ y;
}

#if defined(__GNUC__) && defined(__x86_64__)
using block_of_32 = std::uint64_t __attribute__((vector_size(32)));
using block_of_64 = std::uint64_t __attribute__((vector_size(64)));

// For processors whose registers are that wide.
template <class Operation>
__attribute__((target("avx2"))) void combine_by_32(std::uint32_t* into, const std::uint32_t* with,
                                                   std::uint32_t count, Operation operation)
{
    combine_blocks<block_of_32>(into, with, count, operation);
}
template <class Operation>
__attribute__((target("avx512f"))) void combine_by_64(std::uint32_t* into, const std::uint32_t* with,
                                                      std::uint32_t count, Operation operation)
{
    combine_blocks<block_of_64>(into, with, count, operation);
}
/// Whether the words, of which there is at least a block, are the same. All of them are read.
__attribute__((target("avx512f"))) bool are_same_by_64(const std::uint32_t* a, const std::uint32_t* b,
                                                       std::uint32_t count)
{
    constexpr std::uint32_t k_words = sizeof(block_of_64) / sizeof(std::uint32_t);
    const std::uint32_t* const last = a + (count - k_words);
    block_of_64 differing{};
    for (; a < last; a += k_words, b += k_words) add_difference(differing, a, b);
    add_difference(differing, last, b - (a - last));  // may have words of the one before
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < sizeof differing / sizeof any; ++i) any |= differing[i];
    return any == 0;
}
#endif

/// Applies `operation` to each word of `into` and its partner.
template <class Operation>
void combine(std::uint32_t* into, const std::uint32_t* with, std::uint32_t count, Operation operation)
{
#if defined(__GNUC__) && defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f")) return combine_by_64(into, with, count, operation);
    if (__builtin_cpu_supports("avx2")) return combine_by_32(into, with, count, operation);
#endif
    combine_blocks<block>(into, with, count, operation);
}

/// Whether the words are the same.
bool are_same(const std::uint32_t* a, const std::uint32_t* b, std::uint32_t count)
{
#if defined(__GNUC__) && defined(__x86_64__)
    constexpr std::uint32_t k_stretch = 1024;  // a difference is looked for behind each
    if (count >= k_lined_words && __builtin_cpu_supports("avx512f")) {
        for (; count >= 2 * k_stretch; count -= k_stretch, a += k_stretch, b += k_stretch)
            if (!are_same_by_64(a, b, k_stretch)) return false;
        return are_same_by_64(a, b, count);
    }
#endif
    return std::equal(a, a + count, b);
}

bool all_zero(const std::uint32_t* words, std::uint32_t count)
{
    return std::all_of(words, words + count, [](std::uint32_t word) { return word == 0; });
}

// ---- texts

/// The digits of a text, of which each has `width` bits; 0 for a text that is no number.
struct numeral {
    unsigned int width;
    std::string_view digits;
};

numeral numeral_of(const char* text)
{
    std::string_view rest(text != nullptr ? text : "");
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (rest.substr(0, 2) == "0x") return {4, rest.substr(2)};
    if (rest.substr(0, 1) == "0") return {3, rest.substr(1)};
    if (rest.substr(0, 1) == "b") return {1, rest.substr(1)};
    return {rest.substr(0, 1) == "1" ? 1U : 0U, rest};
}

/// The value of a digit in lower case; one that no base has for any other character.
constexpr unsigned int digit_value(char c)
{
    if (ketriope::is_digit(c)) return static_cast<unsigned int>(c - '0');
    return c >= 'a' && c <= 'f' ? static_cast<unsigned int>(c - 'a') + 10 : k_ones;
}

void append_hexadecimal(std::string& text, std::uint32_t word, std::size_t least_digits)
{
    char digits[8];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), word, 16).ptr;
    const auto count = static_cast<std::size_t>(end - digits);
    text.append(least_digits - std::min(least_digits, count), '0').append(digits, count);
}

/// The words from the highest down. `top_width` is the width of the first one; without it leading zero
/// words are left out.
std::string hexadecimal(std::span<const std::uint32_t> words, bool spaced, std::size_t top_width = 0)
{
    std::size_t left = words.size();
    if (top_width == 0)
        while (left > 1 && words[left - 1] == 0) --left;
    std::string text = "0x";
    append_hexadecimal(text, words[--left], top_width);
    while (left-- > 0) {
        if (spaced) text += ' ';
        append_hexadecimal(text, words[left], 8);
    }
    return text;
}

/// Digits of `width` bits each for all bits below the count, from the highest down.
std::string digits_of(const UT_BITVEC& vector, unsigned int width, unsigned int in_group)
{
    const std::uint64_t bits = vector.getnum_bits();
    std::string text;
    for (std::uint64_t digit = (bits + width - 1) / width; digit-- > 0;) {
        int value = 0;
        for (std::uint64_t i = std::min(bits, (digit + 1) * width); i-- > digit * width;)
            value = 2 * value + vector.get(static_cast<unsigned int>(i));
        text += static_cast<char>('0' + value);
        if (in_group != 0 && digit != 0 && digit % in_group == 0) text += ' ';
    }
    return text;
}

void drop_leading_zeros(std::string& text)
{
    text.erase(0, std::min(text.find_first_not_of('0'), text.size()));
}

/// Digits that the highest word of so many bits has in a full hexadecimal text.
constexpr std::size_t top_digits(unsigned int bits)
{
    return bits % k_bits == 0 ? 8 : (bits % k_bits + 3) / 4;
}
static_assert(top_digits(33) == 1 && top_digits(32) == 8 && top_digits(31) == 8 && top_digits(28) == 7);

}  // namespace

// ---- making and unmaking

UT_BITVEC::UT_BITVEC(const char* text) : num_bits_(1)
{
    init_with_str(text);
}

void UT_BITVEC::copy(const UT_BITVEC& other)
{
    if (this == &other) return;
    renew_words(other.num_words_);
    std::copy_n(other.words(), num_words_, words());
    num_bits_ = other.num_bits_;
}

UT_BITVEC& UT_BITVEC::operator=(unsigned long value)
{
    reset();
    set_first(cut(value));
    return *this;
}

void* UT_BITVEC::operator new(std::size_t size)
{
    return ::operator new(size);
}

void UT_BITVEC::operator delete(void* object) noexcept
{
    ::operator delete(object);
}

void UT_BITVEC::delete_words() noexcept
{
    if (num_words_ < k_lined_words)
        ::operator delete(words_);
    else
        ::operator delete(words_, k_line);
}

/// Takes `count` words in place of the present ones. New ones are undefined but for a single one.
void UT_BITVEC::renew_words(std::uint32_t count)
{
    if (count != num_words_) adopt(count > 1 ? new_words(count) : nullptr, count);
}

/// Makes `count` words of fewer. New ones are zero.
void UT_BITVEC::enlarge(std::uint32_t count)
{
    std::uint32_t* const block = new_words(count);
    std::fill(std::copy_n(words(), num_words_, block), block + count, 0U);
    adopt(block, count);
}

/// Takes an array in place of the present words, or null for a single word.
void UT_BITVEC::adopt(std::uint32_t* block, std::uint32_t count) noexcept
{
    if (!isscaler()) delete_words();
    num_words_ = count;
    if (block != nullptr)
        words_ = block;
    else
        word_ = 0;
}

UT_SM_SMALLMEM& UT_BITVEC::ut_bitvecmem()
{
    // Never destroyed: a late destructor of a tool may still give an array back.
    alignas(UT_SM_SMALLMEM) static std::byte memory[sizeof(UT_SM_SMALLMEM)];
    static auto* const pool = new (memory) UT_SM_SMALLMEM(k_pooled_words * sizeof(std::uint32_t), 0);
    return *pool;
}

void ketriope::build_bit_vector_pool()
{
    UT_BITVEC::ut_bitvecmem();
}

/// Gives a vector of one word an array of two or more, with undefined words.
void UT_BITVEC::alloc_big_word(unsigned int words)
{
    void* const block =
        words <= k_pooled_words ? ut_bitvecmem().getmem() : ::operator new(words * sizeof(std::uint32_t));
    words_ = static_cast<std::uint32_t*>(block);
    num_words_ = words;
}

/// Releases such an array, and leaves one word of zeros.
void UT_BITVEC::free_big_word()
{
    if (num_words_ <= k_pooled_words)
        ut_bitvecmem().relmem(words_);
    else
        ::operator delete(words_);
    num_words_ = 1;
    word_ = 0;
}

bool UT_BITVEC::grow(unsigned int bits)
{
    const std::uint32_t needed = compute_num_words(bits);
    if (needed > num_words_) enlarge(needed);
    num_bits_ = std::max(num_bits_, bits);
    return true;
}

/// Grows to the size of `other`, whose words may be more than its bits need.
void UT_BITVEC::match(const UT_BITVEC& other)
{
    if (other.num_words_ > num_words_) enlarge(other.num_words_);
    take_bits(other);
}

// ---- whole vectors

UT_BITVEC& UT_BITVEC::or_with(const UT_BITVEC& other)
{
    match(other);
    combine(words(), other.words(), other.num_words_, k_or);
    return *this;
}

UT_BITVEC& UT_BITVEC::and_with(const UT_BITVEC& other)
{
    match(other);
    combine(words(), other.words(), other.num_words_, k_and);
    if (num_words_ > other.num_words_) std::fill(words() + other.num_words_, words() + num_words_, 0U);
    return *this;
}

UT_BITVEC& UT_BITVEC::xor_with(const UT_BITVEC& other)
{
    match(other);
    combine(words(), other.words(), other.num_words_, k_xor);
    return *this;
}

UT_BITVEC::UT_BITVEC(const UT_BITVEC& a, const UT_BITVEC& b, UT_BITVEC_OPTYPE operation) : UT_BITVEC(0UL, 1)
{
    switch (operation) {
    case UT_BITVEC_OR: make_and_or(a, b); break;
    case UT_BITVEC_AND: make_and_and(a, b); break;
    case UT_BITVEC_XOR: make_and_xor(a, b); break;
    default: ketriope::contract_failed(k_site, k_bad_operation);
    }
}

UT_BITVEC::UT_BITVEC(const UT_BITVEC& a, UT_BITVEC_OPTYPE operation) : UT_BITVEC(0UL, 1)
{
    if (operation == UT_BITVEC_COMPLEMENT)
        make_and_complement(a);
    else
        ketriope::contract_failed(k_site, k_bad_operation);
}

/// Becomes the result, of the size of the operand with more words.
template <class Operation>
void UT_BITVEC::make(const UT_BITVEC& a, const UT_BITVEC& b, Operation operation)
{
    const bool a_is_larger = a.num_words_ > b.num_words_;
    const UT_BITVEC& larger = a_is_larger ? a : b;
    const UT_BITVEC& smaller = a_is_larger ? b : a;
    *this = larger;
    combine(words(), smaller.words(), smaller.num_words_, operation);
    for (std::uint32_t i = smaller.num_words_; i < num_words_; ++i) operation(words_[i], 0U);
}

void UT_BITVEC::make_and_or(const UT_BITVEC& a, const UT_BITVEC& b)
{
    make(a, b, k_or);
}

void UT_BITVEC::make_and_and(const UT_BITVEC& a, const UT_BITVEC& b)
{
    make(a, b, k_and);
}

void UT_BITVEC::make_and_xor(const UT_BITVEC& a, const UT_BITVEC& b)
{
    make(a, b, k_xor);
}

void UT_BITVEC::make_and_complement(const UT_BITVEC& a)
{
    *this = a;
    complement();
}

UT_BITVEC& UT_BITVEC::operator<<=(unsigned int count)
{
    if (isscaler()) return set_first(word_ << count % k_bits);
    const std::uint32_t whole = std::min(getWordIndex(count), num_words_);
    for (std::uint32_t i = num_words_; i-- > whole;) {
        const std::uint32_t below = i > whole ? words_[i - whole - 1] : 0;
        words_[i] = static_cast<std::uint32_t>(joined(words_[i - whole], below) << count % k_bits >> k_bits);
    }
    std::fill_n(words_, whole, 0U);
    return *this;
}

UT_BITVEC& UT_BITVEC::operator>>=(unsigned int count)
{
    if (isscaler()) return set_first(word_ >> count % k_bits);
    const std::uint32_t left = num_words_ - std::min(getWordIndex(count), num_words_);
    const std::uint32_t* const from = words_ + (num_words_ - left);
    for (std::uint32_t i = 0; i < left; ++i) {
        const std::uint32_t above = i + 1 < left ? from[i + 1] : 0;
        words_[i] = static_cast<std::uint32_t>(joined(above, from[i]) >> count % k_bits);
    }
    std::fill(words_ + left, words_ + num_words_, 0U);
    return *this;
}

bool UT_BITVEC::equals(const UT_BITVEC& other) const
{
    const UT_BITVEC& larger = num_words_ > other.num_words_ ? *this : other;
    const std::uint32_t both = std::min(num_words_, other.num_words_);
    return are_same(words(), other.words(), both) &&
           all_zero(larger.words() + both, larger.num_words_ - both);
}

UT_BITVEC& UT_BITVEC::complement()
{
    std::transform(words(), words() + num_words_, words(), std::bit_not<>());
    return *this;
}

bool UT_BITVEC::set()
{
    std::fill_n(words(), num_words_, k_ones);
    return true;
}

bool UT_BITVEC::reset()
{
    std::fill_n(words(), num_words_, 0U);
    return true;
}

bool UT_BITVEC::iszero() const
{
    return all_zero(words(), num_words_);
}

int ut_bitvec_and_and_equal(const UT_BITVEC& a, const UT_BITVEC& b, const UT_BITVEC& eq)
{
    const auto differ = [&a](const UT_BITVEC& other, const char* name_a, const char* name) {
        if (a.num_words_ == other.num_words_) return false;
        const char* const text =
            zeoform("Number words must match. %s=%d %s=%d", name_a, static_cast<int>(a.num_words_), name,
                    static_cast<int>(other.num_words_));
        ketriope::contract_failed(k_site, text);
        return true;
    };
    if (differ(b, "op1", "op2") || differ(eq, "op?", "eq")) return 0;
    const std::uint32_t* const in_a = a.words();
    const std::uint32_t* const in_b = b.words();
    const std::uint32_t* const wanted = eq.words();
    for (std::uint32_t i = 0; i < a.num_words_; ++i)
        if ((in_a[i] & in_b[i]) != wanted[i]) return 0;
    return 1;
}

// ---- bits

/// For an index past the end: a person may have caused it, so the caller goes on.
bool UT_BITVEC::refuse(unsigned int index) const
{
    ut_error(zeoform("Set-val:Index Out of range: %d Max=%d", static_cast<int>(index),
                     static_cast<int>(num_bits_)));
    return false;
}

void UT_BITVEC::set_n_bits(unsigned int count)
{
    count = std::min(count, num_bits_);
    reset();
    std::fill_n(words(), getWordIndex(count), k_ones);
    if (count % k_bits != 0) words()[getWordIndex(count)] = low_mask(count % k_bits);
}

/// False, after a report, for bits that no single word or not the whole vector could hold.
bool UT_BITVEC::may_shift(unsigned int count, unsigned int shift) const
{
    const std::uint64_t end = std::uint64_t{shift} + count;
    if (count <= k_bits && end <= num_bits_) return true;
    const char* const text =
        count > k_bits
            ? zeoform("<%d> is larger than maximum <%d>", static_cast<int>(count), static_cast<int>(k_bits))
            : zeoform("Effective shift bits <%d> is larger than maximum numbits <%d>. shift=<%d>",
                      static_cast<int>(end), static_cast<int>(shift), static_cast<int>(num_bits_));
    ketriope::contract_failed(k_site, text);
    return false;
}

void UT_BITVEC::shift_and_set_n_bits(unsigned long value, unsigned int count, unsigned int shift)
{
    if (count == 0 || !may_shift(count, shift)) return;
    std::uint32_t* const word = words() + getWordIndex(shift);
    const unsigned int bit = shift % k_bits;
    const std::uint32_t mask = low_mask(count);
    *word = (*word & ~(mask << bit)) | (cut(value) & mask) << bit;
    // The spilled bits are or-ed over ones, and so are lost: the suite's files were made that way.
    if (bit + count > k_bits) word[1] |= low_mask(bit + count - k_bits);
}

unsigned long UT_BITVEC::shift_and_get_n_bits(unsigned int count, unsigned int shift) const
{
    if (count == 0 || !may_shift(count, shift)) return 0;
    const std::uint32_t* const word = words() + getWordIndex(shift);
    const unsigned int bit = shift % k_bits;
    const std::uint32_t above = bit + count > k_bits ? word[1] : 0;
    return static_cast<std::uint32_t>(joined(above, *word) >> bit) & low_mask(count);
}

// ---- texts

void UT_BITVEC::init_with_str(const char* text)
{
    const numeral number = numeral_of(text);
    if (number.width == 0) return ketriope::contract_failed(k_site, k_bad_text);
    std::uint64_t bits = 0;
    for (const char c : number.digits) {
        if (c == ' ') continue;
        const char digit = ketriope::to_lower(c);
        if (digit_value(digit) > low_mask(number.width))
            return ketriope::contract_failed(k_site, zeoform("Bad character \"%c\".", digit));
        bits += number.width;
    }
    if (bits > k_ones) return ketriope::contract_failed(k_site, k_bad_text);

    const std::uint32_t needed = compute_num_words(static_cast<unsigned int>(bits));
    if (needed > num_words_) renew_words(needed);
    num_bits_ = std::max(num_bits_, static_cast<std::uint32_t>(bits));
    reset();
    std::uint32_t* word = words();
    unsigned int bit = 0;
    for (auto c = number.digits.rbegin(); c != number.digits.rend(); ++c) {
        if (*c == ' ') continue;
        const std::uint64_t placed = std::uint64_t{digit_value(ketriope::to_lower(*c))} << bit;
        *word |= static_cast<std::uint32_t>(placed);
        bit += number.width;
        if (bit < k_bits) continue;
        bit -= k_bits;
        ++word;
        if (bit != 0) *word |= static_cast<std::uint32_t>(placed >> k_bits);
    }
}

UT_BITVEC::operator char*() const
{
    return ketriope::heap_copy(hexadecimal({words(), num_words_}, true)).release();
}

char* UT_BITVEC::get_ascii(char* buffer, unsigned char full, unsigned char spaced, BASE base) const
{
    const UT_STROBJ text = getAsciiStr(full, spaced, base);
    if (buffer == nullptr) return ketriope::heap_copy(text.getstring()).release();
    std::memcpy(buffer, text.getstring(), text.length() + 1);
    return buffer;
}

UT_STROBJ UT_BITVEC::getAsciiStr(unsigned char full, unsigned char spaced, BASE base) const
{
    if (base == HEX) {
        const std::size_t top_width = full != 0 ? top_digits(num_bits_) : 0;
        return hexadecimal({words(), num_words_}, spaced != 0, top_width).c_str();
    }
    const bool octal = base == OCT;
    std::string text = digits_of(*this, octal ? 3 : 1, spaced == 0 ? 0 : octal ? 3 : 4);
    if (full == 0) drop_leading_zeros(text);
    if (!octal)
        text.insert(0, 1, 'b');
    else if (text.empty() || text.front() != '0')
        text.insert(0, 1, '0');
    return text.c_str();
}

void UT_BITVEC::printme(std::ostream& out) const
{
    const std::string text = hexadecimal({words(), num_words_}, true);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::ostream& operator<<(std::ostream& out, UT_BITVEC& vector)
{
    vector.printme(out);
    return out;
}

UT_MSGMAN& operator<<(UT_MSGMAN& out, UT_BITVEC& vector)
{
    const ketriope::heap_text text(vector);
    return out << static_cast<const char*>(text.get());
}

// ---- files

bool UT_BITVEC::writeme(UT_STREAM* stream) const
{
    if (stream == nullptr) return false;
    stream->write(num_bits_);
    stream->write(num_words_);
    for (const std::uint32_t word : std::span(words(), num_words_)) stream->write(word);
    return stream->geterror() == 0;
}

bool UT_BITVEC::readme(UT_STREAM* stream)
{
    const auto next = [stream](std::uint32_t& word) { return stream->read(word) == sizeof word; };
    std::uint32_t bits = 0;
    std::uint32_t named = 0;
    if (stream == nullptr || !next(bits) || !next(named)) return false;

    std::vector<std::uint32_t> arrived;  // it grows with what comes, so a forged count takes no memory
    for (std::uint32_t word = 0; arrived.size() < named && next(word);) arrived.push_back(word);
    const std::uint32_t count = std::max(named, compute_num_words(bits));
    if (count - arrived.size() > k_believed) return false;

    renew_words(count);
    std::fill(std::copy(arrived.begin(), arrived.end(), words()), words() + count, 0U);
    num_bits_ = bits;
    return arrived.size() >= named && stream->geterror() == 0;
}
