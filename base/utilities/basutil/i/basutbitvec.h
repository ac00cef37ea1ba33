/// \file i/basutbitvec.h
/// Bit vectors of any length. One of up to 32 bits lies in the object itself and needs no heap.
///
/// Shape: bit i is bit i % 32, counted from the least significant one, of word i / 32; a word has 32 bits.
/// A vector has a count of bits and a count of words, of which there is always at least one, and enough
/// for the bits. Words may hold bits at and above the count: `get` gives 0 for them and the binary and
/// octal texts leave them out, but comparison, `iszero` and the other texts see them, and `grow` brings
/// them to light. They are cleared by `reset()`, `set_n_bits`, assigned text and new words, by nothing else.
/// Units: a number given or returned as `long` has 32 bits on every host; higher ones are cut off.
/// Ownership: a copy is deep.
/// Lifetime: all texts that are said to be new are released by `free`.
/// Threads: no locks; a vector belongs to one thread at a time.
/// Errors: broken contracts are those of module "basutbitvec" with the exit value 91; what is checked is
/// checked before anything changes. Exhausted memory throws `std::bad_alloc` and leaves the vector as it was,
/// unless a new-handler ends the process first.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>

#include "basutstrobj.h"
#include "uttypes.h"

class UT_MSGMAN;
class UT_SM_SMALLMEM;
class UT_STREAM;

namespace ketriope {

struct bitvec_access;
void build_bit_vector_pool();  // when the library is loaded

}  // namespace ketriope

class UT_EXPORT UT_BITVEC {
public:
    /// The base of a text: bits per digit. Any other value acts as binary.
    enum BASE : int { BIN = 1, OCT = 3, HEX = 4 };
    /// What a result of two vectors, or of one, is made by.
    enum UT_BITVEC_OPTYPE : int {
        UT_BITVEC_OR = 0,
        UT_BITVEC_AND = 1,
        UT_BITVEC_XOR = 2,
        UT_BITVEC_COMPLEMENT = 3  ///< of one vector, and of it alone
    };

    /// A vector of `bits` bits with `value` in its first word, uncut, and zeros in all others.
    ///
    /// A bare 0 is both a number and a text to the compiler: write 0UL.
    UT_BITVEC(unsigned long value = 0, unsigned int bits = k_word_bits) : num_bits_(bits), word_(cut(value))
    {
        if (bits > k_word_bits) enlarge(compute_num_words(bits));
    }
    /// One clear bit, to which `init_with_str` is then applied.
    UT_BITVEC(const char* text);
    UT_BITVEC(const UT_BITVEC& other) : num_bits_(other.num_bits_) { *this = other; }
    virtual ~UT_BITVEC()
    {
        if (!isscaler()) delete_words();
    }

    /// Takes value and size of `other`.
    UT_BITVEC& operator=(const UT_BITVEC& other)
    {
        if (both_scalar(other)) {
            word_ = other.word_;
            num_bits_ = other.num_bits_;
        } else {
            copy(other);
        }
        return *this;
    }
    /// Sets the first word and clears all others; the size stays.
    UT_BITVEC& operator=(unsigned long value);
    /// As `init_with_str`.
    UT_BITVEC& operator=(const char* text)
    {
        init_with_str(text);
        return *this;
    }
    /// Takes the value of a text: "0x" and hexadecimal digits, "0" and octal ones, "b" and binary ones, or
    /// binary ones that begin with 1. Blanks in front and between digits are skipped.
    ///
    /// Shape: the count of bits becomes that of the digits times 4, 3 or 1 unless it is larger already.
    /// Errors: another beginning, null and the empty text, and a character that is no such digit break the
    /// contract; so does a text of more than 2^32 - 1 bits.
    void init_with_str(const char* text);

    /// Combine with `other`, after growing to its count of bits if that is larger. Words that `other`
    /// lacks count as zero.
    UT_BITVEC& operator|=(const UT_BITVEC& other)
    {
        if (!ketriope::usually(both_scalar(other))) return or_with(other);
        word_ |= other.word_;
        return take_bits(other);
    }
    UT_BITVEC& operator&=(const UT_BITVEC& other)
    {
        if (!ketriope::usually(both_scalar(other))) return and_with(other);
        word_ &= other.word_;
        return take_bits(other);
    }
    UT_BITVEC& operator^=(const UT_BITVEC& other)
    {
        if (!ketriope::usually(both_scalar(other))) return xor_with(other);
        word_ ^= other.word_;
        return take_bits(other);
    }
    /// Combine the first word with `value`; other words stay, also under `&=`.
    UT_BITVEC& operator|=(unsigned long value) { return set_first(getfirstword() | cut(value)); }
    UT_BITVEC& operator&=(unsigned long value) { return set_first(getfirstword() & cut(value)); }
    UT_BITVEC& operator^=(unsigned long value) { return set_first(getfirstword() ^ cut(value)); }

    /// Results of two vectors; words that one lacks count as zero.
    ///
    /// Shape: bits and words of the operand with more words, of the second one where both have as many.
    UT_BITVEC operator|(const UT_BITVEC& other) const { return {*this, other, UT_BITVEC_OR}; }
    UT_BITVEC operator&(const UT_BITVEC& other) const { return {*this, other, UT_BITVEC_AND}; }
    UT_BITVEC operator^(const UT_BITVEC& other) const { return {*this, other, UT_BITVEC_XOR}; }
    /// A copy with all its words inverted, as `complement`.
    UT_BITVEC operator~() const { return {*this, UT_BITVEC_COMPLEMENT}; }
    /// Copies with only the first word combined.
    UT_BITVEC operator|(unsigned long value) const { return with_first(getfirstword() | cut(value)); }
    UT_BITVEC operator&(unsigned long value) const { return with_first(getfirstword() & cut(value)); }
    UT_BITVEC operator^(unsigned long value) const { return with_first(getfirstword() ^ cut(value)); }

    /// Shift all words as one number, `<<=` towards higher bits; the size stays.
    ///
    /// Edges: of one word the count is taken modulo 32, so that 32 changes nothing; of more words a count
    /// at or above all their bits leaves zero.
    UT_BITVEC& operator<<=(unsigned int count);
    UT_BITVEC& operator>>=(unsigned int count);

    /// Compare the words, those that one lacks counting as zero; the counts of bits do not matter.
    bool operator==(const UT_BITVEC& other) const
    {
        return ketriope::usually(both_scalar(other)) ? word_ == other.word_ : equals(other);
    }
    bool operator!=(const UT_BITVEC& other) const { return !(*this == other); }

    /// Inverts all words, and so the bits above the count, too.
    UT_BITVEC& complement();
    bool set();           ///< makes all words all ones; true
    bool reset();         ///< makes all words zero; true
    bool iszero() const;  ///< true when all words are zero

    /// Bit `index`, 0 or 1; 0 at and past the count of bits.
    int get(unsigned int index) const { return index < num_bits_ ? bit_at(index) : 0; }
    /// As `get`. The index must be an `int` or `unsigned int`: a `long` may also mean the converted text.
    int operator[](unsigned int index) const { return get(index); }
    /// Set bit `index`, clear it, or give it the truth of `value`. True.
    ///
    /// Errors: an index at or past the count of bits is reported by `ut_error` and gives false.
    bool set(unsigned int index)
    {
        if (index >= num_bits_) return refuse(index);
        words()[getWordIndex(index)] |= mask_of(index);
        return true;
    }
    bool reset(unsigned int index)
    {
        if (index >= num_bits_) return refuse(index);
        words()[getWordIndex(index)] &= ~mask_of(index);
        return true;
    }
    bool set(unsigned int index, int value) { return value != 0 ? set(index) : reset(index); }
    /// As `set` and `reset`, after growing to `index` + 1 bits.
    /// Edges: the last `unsigned int` has no such count, and is refused.
    bool setg(unsigned int index)
    {
        if (index >= num_bits_) grow(index + 1);
        return set(index);
    }
    bool resetg(unsigned int index)
    {
        if (index >= num_bits_) grow(index + 1);
        return reset(index);
    }

    /// Raises the count of bits to `bits` if it is smaller; new words are clear. True.
    ///
    /// Cost: bits that the present words have room for are free; else a copy, to exactly as many words as
    /// are needed.
    bool grow(unsigned int bits);
    /// Sets bits 0 to `count` - 1, at most all up to the count of bits, and clears all others.
    void set_n_bits(unsigned int count);
    /// Puts the low `count` bits of `value` to bit `shift` and the ones above it, within one word.
    ///
    /// What would go into the next word makes all its bits up to there ones, whatever `value` has there:
    /// callers depend on it. A `count` of 0 does nothing.
    /// Errors: more than 32 bits, and bits past the count, break the contract. The text of the latter names
    /// the end of the bits, `shift` and the count of bits, in an order that does not fit its words. All
    /// three are shown as 32 bits with a sign.
    void shift_and_set_n_bits(unsigned long value, unsigned int count, unsigned int shift);
    /// The `count` bits from bit `shift` up, across words as well. A `count` of 0 gives 0. Errors: as above.
    unsigned long shift_and_get_n_bits(unsigned int count, unsigned int shift) const;

    /// The value as a new text, such as "0x1f", "0x1 0000001f" and "0x0".
    ///
    /// A `const` or temporary vector that is sent to a stream is converted by this, and the text is lost.
    operator char*() const;
    /// The text of `getAsciiStr`, copied into `buffer`, which has room for it and its NUL, or into a new
    /// block if that is null. Returns where it is.
    char* get_ascii(char* buffer, unsigned char full, unsigned char spaced, BASE base) const;
    /// The value as a text that `init_with_str` reads again.
    ///
    /// Shape: "b" and binary digits, "0" and octal ones, or "0x" and hexadecimal ones. `full` shows leading
    /// zeros as well, by the count of bits; without it zero is "b", "0" and "0x0". `spaced` parts groups of
    /// four bits, three octal digits and eight hexadecimal ones, counted from bit 0, by a blank, which
    /// stays where only the zeros in front of it are dropped: "b 0101". An octal text whose first digit
    /// is "0" gets no other "0" in front.
    UT_STROBJ getAsciiStr(unsigned char full, unsigned char spaced, BASE base) const;
    /// Writes the text of `operator char*`. The stream's field width is not looked at.
    void printme(std::ostream& out) const;

    /// Writes the count of bits, that of words and the words from the lowest on, each in 4 bytes.
    /// True when the stream shows no error afterwards.
    bool writeme(UT_STREAM* stream) const;
    /// Reads what `writeme` wrote.
    ///
    /// Shape: takes the words that are named, and zero words behind them if the bits need more.
    /// Errors: words that the stream lacks are zero, and the result is false. More than 2^20 words in all
    /// that the stream lacks are not believed: false, and the vector stays as it was.
    bool readme(UT_STREAM* stream);

    unsigned int getnum_bits() const { return num_bits_; }
    unsigned int getnum_words() const { return num_words_; }
    bool isscaler() const { return num_words_ == 1; }  ///< true when the bits lie in the object itself
    /// The words that so many bits need; 1 for none.
    static constexpr unsigned int compute_num_words(unsigned int bits)
    {
        return bits <= k_word_bits ? 1 : bits / k_word_bits + (bits % k_word_bits != 0 ? 1 : 0);
    }
    static constexpr unsigned int getWordIndex(unsigned int index) { return index / k_word_bits; }

    /// Objects come from the general heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    friend struct ketriope::bitvec_access;  // tests try what no public operation leads to
    friend void ketriope::build_bit_vector_pool();
    friend UT_EXPORT int ut_bitvec_and_and_equal(const UT_BITVEC& a, const UT_BITVEC& b, const UT_BITVEC& eq);

    static constexpr unsigned int k_word_bits = 32;

    UT_BITVEC(const UT_BITVEC& a, const UT_BITVEC& b, UT_BITVEC_OPTYPE operation);
    UT_BITVEC(const UT_BITVEC& a, UT_BITVEC_OPTYPE operation);
    void make_and_or(const UT_BITVEC& a, const UT_BITVEC& b);
    void make_and_and(const UT_BITVEC& a, const UT_BITVEC& b);
    void make_and_xor(const UT_BITVEC& a, const UT_BITVEC& b);
    void make_and_complement(const UT_BITVEC& a);
    template <class Operation>
    void make(const UT_BITVEC& a, const UT_BITVEC& b, Operation operation);

    // Arrays of up to four words from a pool, larger ones from the heap: a pair for itself. No other
    // member uses it, and an array of one kind must never be released as one of the other.
    static UT_SM_SMALLMEM& ut_bitvecmem();
    void alloc_big_word(unsigned int words);
    void free_big_word();

    static constexpr std::uint32_t cut(unsigned long value) { return static_cast<std::uint32_t>(value); }
    static constexpr std::uint32_t mask_of(unsigned int index)
    {
        return std::uint32_t{1} << index % k_word_bits;
    }
    std::uint32_t* words() { return isscaler() ? &word_ : words_; }
    const std::uint32_t* words() const { return isscaler() ? &word_ : words_; }
    std::uint32_t getfirstword() const { return *words(); }
    unsigned long getfirstword_l() const { return *words(); }
    UT_BITVEC& set_first(std::uint32_t word)
    {
        *words() = word;
        return *this;
    }
    UT_BITVEC with_first(std::uint32_t word) const
    {
        UT_BITVEC result(*this);
        result.set_first(word);
        return result;
    }
    int bit_at(unsigned int index) const
    {
        return static_cast<int>(words()[getWordIndex(index)] >> index % k_word_bits & 1U);
    }
    bool both_scalar(const UT_BITVEC& other) const { return (num_words_ | other.num_words_) == 1; }
    UT_BITVEC& take_bits(const UT_BITVEC& other)
    {
        if (!ketriope::usually(num_bits_ >= other.num_bits_)) num_bits_ = other.num_bits_;
        return *this;
    }
    void copy(const UT_BITVEC& other);
    UT_BITVEC& or_with(const UT_BITVEC& other);
    UT_BITVEC& and_with(const UT_BITVEC& other);
    UT_BITVEC& xor_with(const UT_BITVEC& other);
    bool equals(const UT_BITVEC& other) const;
    bool refuse(unsigned int index) const;
    bool may_shift(unsigned int count, unsigned int shift) const;
    void renew_words(std::uint32_t count);
    void enlarge(std::uint32_t count);
    void match(const UT_BITVEC& other);
    void adopt(std::uint32_t* block, std::uint32_t count) noexcept;
    void delete_words() noexcept;

    std::uint32_t num_bits_;
    std::uint32_t num_words_ = 1;
    union {
        std::uint32_t word_ = 0;  ///< of a vector with one word
        std::uint32_t* words_;    ///< of any other, from the heap
    };
};

/// Writes the text of `printme`.
UT_EXPORT std::ostream& operator<<(std::ostream& out, UT_BITVEC& vector);
UT_EXPORT UT_MSGMAN& operator<<(UT_MSGMAN& out, UT_BITVEC& vector);

/// 1 when `a` AND `b` equals `eq` in all words, else 0. Cost: no allocation.
///
/// Errors: counts of words that differ break the contract.
UT_EXPORT int ut_bitvec_and_and_equal(const UT_BITVEC& a, const UT_BITVEC& b, const UT_BITVEC& eq);
