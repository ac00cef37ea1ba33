// tests/basutbitvec_test.cpp
#include "basutbitvec.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutsmallmem.h"
#include "bitvec_model.h"
#include "message_capture.h"
#include "msgman.h"
#include "stream_tools.h"

/// What no public operation leads to.
struct ketriope::bitvec_access {
    static UT_BITVEC of_two(const UT_BITVEC& a, const UT_BITVEC& b, int operation)
    {
        return {a, b, static_cast<UT_BITVEC::UT_BITVEC_OPTYPE>(operation)};
    }
    static UT_BITVEC of_one(const UT_BITVEC& a, int operation)
    {
        return {a, static_cast<UT_BITVEC::UT_BITVEC_OPTYPE>(operation)};
    }
    static unsigned long first(const UT_BITVEC& vector)
    {
        EXPECT_EQ(vector.getfirstword(), vector.getfirstword_l());
        return vector.getfirstword_l();
    }
    static std::uint32_t* take(UT_BITVEC& vector, unsigned int words)
    {
        vector.alloc_big_word(words);
        return vector.words();
    }
    static void give(UT_BITVEC& vector) { vector.free_big_word(); }
};

namespace {

using ketriope::bitvec_access;
constexpr unsigned int k_last = ~0U;

std::string shown(const UT_BITVEC& vector)
{
    std::ostringstream out;
    vector.printme(out);
    return out.str();
}

std::string shown(const UT_BITVEC& vector, bool full, bool spaced, int base)
{
    const UT_STROBJ text =
        vector.getAsciiStr(full ? 1 : 0, spaced ? 1 : 0, static_cast<UT_BITVEC::BASE>(base));
    return text.getstring();
}

/// A vector of `bits` bits from its words, the lowest first.
UT_BITVEC of_words(unsigned int bits, const std::vector<std::uint32_t>& words)
{
    UT_BITVEC vector(0UL, bits);
    EXPECT_EQ(vector.getnum_words(), words.size());
    for (std::size_t i = 0; i < 32 * words.size(); ++i)
        if ((words[i / 32] >> i % 32 & 1U) != 0 && i < bits) vector.set(static_cast<unsigned int>(i));
    return vector;
}

/// Keeps what the legacy manager is told to be fatal, and lives on.
class survivor : public UT_MSGMAN {
public:
    survivor() : before_(std::exchange(ut_msgman, this)) {}
    ~survivor() override { ut_msgman = before_; }
    void fatal(const char* text, const char*, const char*, short, const char*, int exit_value, long) override
    {
        texts.emplace_back(text);
        EXPECT_EQ(exit_value, 91);
    }
    std::vector<std::string> texts;

private:
    UT_MSGMAN* before_;
};

/// Expects `work` to break the contract with `text`: thrown, fatal with 91, or survived without harm.
void expect_broken(const std::string& text, const std::function<void()>& work)
{
    message_capture capture;
    EXPECT_THROW(work(), int) << text;
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutbitvec", text}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string err = stderr_of([&] { exit_value = capture.exit_value_of(work); });
    EXPECT_EQ(exit_value, 91);
    EXPECT_NE(err.find("INTERNAL CODE : ut:basutbitvec:"), std::string::npos) << err;
    survivor manager;
    capture.use_legacy_flow();
    work();
    EXPECT_EQ(manager.texts, std::vector<std::string>{text});
}

// ---- the object

TEST(UtBitvec, HoldsItsFieldsInTheirOrder)
{
    struct fields {
        void* slots;
        std::uint32_t bits;
        std::uint32_t words;
        union {
            std::uint32_t word;
            std::uint32_t* array;
        };
    };
    static_assert(sizeof(UT_BITVEC) == sizeof(fields));
    fields seen{};
    const UT_BITVEC scalar(0x12345678UL, 17);
    std::memcpy(&seen, static_cast<const void*>(&scalar), sizeof seen);
    EXPECT_EQ(seen.bits, 17U);
    EXPECT_EQ(seen.words, 1U);
    EXPECT_EQ(seen.word, 0x12345678U);
    const UT_BITVEC vector(7UL, 40);
    std::memcpy(&seen, static_cast<const void*>(&vector), sizeof seen);
    EXPECT_EQ(seen.bits, 40U);
    EXPECT_EQ(seen.words, 2U);
    EXPECT_EQ(seen.array[0], 7U);
}

TEST(UtBitvec, CountsWords)
{
    EXPECT_EQ(UT_BITVEC::compute_num_words(0), 1U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(1), 1U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(32), 1U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(33), 2U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(64), 2U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(65), 3U);
    EXPECT_EQ(UT_BITVEC::compute_num_words(k_last), 1U << 27U);
    EXPECT_EQ(UT_BITVEC::getWordIndex(31), 0U);
    EXPECT_EQ(UT_BITVEC::getWordIndex(32), 1U);
}

TEST(UtBitvec, TheDefaultIsOneClearWord)
{
    const UT_BITVEC vector;
    EXPECT_EQ(vector.getnum_bits(), 32U);
    EXPECT_EQ(vector.getnum_words(), 1U);
    EXPECT_TRUE(vector.isscaler());
    EXPECT_TRUE(vector.iszero());
}

TEST(UtBitvec, TakesANumberIntoItsFirstWord)
{
    const UT_BITVEC vector(0xFFFFFFFFUL, 70);
    EXPECT_EQ(vector.getnum_words(), 3U);
    EXPECT_FALSE(vector.isscaler());
    EXPECT_EQ(shown(vector), "0xffffffff");
    EXPECT_EQ(shown(UT_BITVEC(0xABUL, 4)), "0xab");  // bits above the count stay
    EXPECT_EQ(UT_BITVEC(0xABUL, 4).get(4), 0);
    EXPECT_EQ(UT_BITVEC(1UL, 0).getnum_words(), 1U);
    EXPECT_EQ(bitvec_access::first(vector), 0xFFFFFFFFU);
}

TEST(UtBitvec, CutsNumbersTo32Bits)
{
    if (sizeof(long) == 4) GTEST_SKIP();
    const unsigned long wide = static_cast<unsigned long>(0xABCDEF0100000003ULL);
    UT_BITVEC vector(wide, 64);
    EXPECT_EQ(shown(vector), "0x3");
    vector = wide;
    EXPECT_EQ(shown(vector), "0x3");
    vector |= wide;
    EXPECT_EQ(shown(vector ^ wide), "0x0");
    vector.shift_and_set_n_bits(wide, 32, 0);
    EXPECT_EQ(shown(vector), "0x3");
}

TEST(UtBitvec, CopiesAreDeep)
{
    UT_BITVEC vector(1UL, 100);
    UT_BITVEC copy(vector);
    vector.set(99);
    EXPECT_EQ(copy.get(99), 0);
    EXPECT_EQ(copy.getnum_bits(), 100U);
    copy = vector;
    EXPECT_EQ(copy.get(99), 1);
    const UT_BITVEC small(5UL, 3);
    copy = small;  // takes the size as well
    EXPECT_EQ(copy.getnum_bits(), 3U);
    EXPECT_TRUE(copy.isscaler());
    EXPECT_EQ(shown(copy), "0x5");
    copy = vector;
    const UT_BITVEC& itself = copy;
    copy = itself;
    EXPECT_TRUE(copy == vector);
    EXPECT_EQ(copy.getnum_bits(), 100U);
}

TEST(UtBitvec, AssignsANumberAndKeepsItsSize)
{
    UT_BITVEC vector(0UL, 70);
    vector.set();
    vector = 9UL;
    EXPECT_EQ(shown(vector), "0x9");
    EXPECT_EQ(vector.getnum_bits(), 70U);
    EXPECT_EQ(vector.getnum_words(), 3U);
}

TEST(UtBitvec, NeedsNoHeapUpTo32Bits)
{
    long asked = 0;
    {
        const allocation_faults faults(1'000'000);
        UT_BITVEC a(5UL, 32);
        UT_BITVEC b("0xfffffff1");
        UT_BITVEC c(a & b);
        c |= a ^ b;
        c <<= 3;
        c.setg(31);
        c.grow(32);
        c = a;
        if (c != a || ut_bitvec_and_and_equal(a, b, c) == 2) c.set();
        asked = faults.counted();
    }
    EXPECT_EQ(asked, 0);
}

TEST(UtBitvec, ComesFromTheHeapByItself)
{
    const std::unique_ptr<UT_BITVEC> vector(new UT_BITVEC(3UL, 8));
    EXPECT_EQ(shown(*vector), "0x3");
    long asked = 0;
    {
        const allocation_faults faults(1'000);
        const std::unique_ptr<UT_BITVEC> another(new UT_BITVEC(3UL, 8));
        asked = faults.counted();
    }
    EXPECT_EQ(asked, 1);
    alignas(UT_BITVEC) std::byte place[sizeof(UT_BITVEC)];
    auto* const placed = new (place) UT_BITVEC(3UL, 80);
    EXPECT_TRUE(*placed == *vector);
    placed->~UT_BITVEC();
}

// ---- from texts

TEST(UtBitvec, ReadsTexts)
{
    const struct {
        const char* text;
        unsigned int bits;
        const char* value;
    } rows[] = {
        {"0x1F", 8, "0x1f"},
        {"0x1 F", 8, "0x1f"},
        {"  0xaBc  ", 12, "0xabc"},
        {"b101", 3, "0x5"},
        {"101", 3, "0x5"},
        {"1", 1, "0x1"},
        {"1 0 0", 3, "0x4"},
        {"017", 6, "0xf"},
        {"0 7 7", 6, "0x3f"},
        {"0", 1, "0x0"},
        {"0x", 1, "0x0"},
        {"b", 1, "0x0"},
        {"b ", 1, "0x0"},
        {"b0", 1, "0x0"},
        {"0x123456789", 36, "0x1 23456789"},
        {"0xffffffff", 32, "0xffffffff"},
        {"077777777777", 33, "0x1 ffffffff"},  // the highest digit has a foot in both words
        {"040000000000", 33, "0x1 00000000"},
        {"05252525252525252525252", 66, "0x2 aaaaaaaa aaaaaaaa"},
        {"1 00000000 00000000 00000000 00000000", 33, "0x1 00000000"},
    };
    for (const auto& row : rows) {
        const UT_BITVEC vector(row.text);
        EXPECT_EQ(vector.getnum_bits(), row.bits) << row.text;
        EXPECT_EQ(vector.getnum_words(), UT_BITVEC::compute_num_words(row.bits)) << row.text;
        EXPECT_EQ(shown(vector), row.value) << row.text;
    }
}

TEST(UtBitvec, ATextNeverLowersTheCountOfBits)
{
    UT_BITVEC vector(0UL, 70);
    vector.set();
    vector = "0x5";
    EXPECT_EQ(vector.getnum_bits(), 70U);
    EXPECT_EQ(shown(vector), "0x5");
    UT_BITVEC small(0UL, 4);
    small.set();
    small.init_with_str("b10101");
    EXPECT_EQ(small.getnum_bits(), 5U);
    EXPECT_EQ(shown(small), "0x15");
    small = "0x100000000";
    EXPECT_EQ(small.getnum_bits(), 36U);
    EXPECT_EQ(shown(small), "0x1 00000000");
}

TEST(UtBitvec, ATextThatIsNoNumberBreaksTheContract)
{
    const std::pair<const char*, const char*> rows[] = {
        {"2F", "String constant is invalid in ut_bitvec"},
        {"", "String constant is invalid in ut_bitvec"},
        {"  ", "String constant is invalid in ut_bitvec"},
        {"\t1", "String constant is invalid in ut_bitvec"},
        {"B1", "String constant is invalid in ut_bitvec"},
        {"x1", "String constant is invalid in ut_bitvec"},
        {nullptr, "String constant is invalid in ut_bitvec"},
        {"0X1", "Bad character \"x\"."},
        {"0x1G", "Bad character \"g\"."},
        {"08", "Bad character \"8\"."},
        {"07a", "Bad character \"a\"."},
        {"b102", "Bad character \"2\"."},
        {"12", "Bad character \"2\"."},
        {"1\t0", "Bad character \"\t\"."},
        {"0x\xE9", "Bad character \"\xE9\"."},
        {"0x1%n", "Bad character \"%\"."},
    };
    for (const auto& [text, report] : rows) {
        UT_BITVEC vector(0x77UL, 40);
        expect_broken(report, [&vector, text = text] { vector = text; });
        EXPECT_EQ(shown(vector), "0x77");
        EXPECT_EQ(vector.getnum_bits(), 40U);
        expect_broken(report, [text = text] {
            const UT_BITVEC made(text);
            EXPECT_TRUE(made.iszero());
            EXPECT_EQ(made.getnum_bits(), 1U);
        });
    }
}

// ---- whole vectors

TEST(UtBitvec, CombinesInPlaceAndGrowsToTheLargerCount)
{
    const UT_BITVEC wide("0xF00000000F");  // 40 bits
    UT_BITVEC vector(0x3CUL, 8);
    EXPECT_EQ(&(vector |= wide), &vector);
    EXPECT_EQ(shown(vector), "0xf0 0000003f");
    EXPECT_EQ(vector.getnum_bits(), 40U);
    vector = UT_BITVEC(0x3CUL, 8);
    vector ^= wide;
    EXPECT_EQ(shown(vector), "0xf0 00000033");
    vector = UT_BITVEC(0x3CUL, 8);
    vector &= wide;
    EXPECT_EQ(shown(vector), "0xc");
    EXPECT_EQ(vector.getnum_bits(), 40U);
    EXPECT_EQ(vector.getnum_words(), 2U);
}

TEST(UtBitvec, CombinesInPlaceWithAShorterOne)
{
    const UT_BITVEC small(0x3CUL, 8);
    const UT_BITVEC wide("0xF00000000F");
    UT_BITVEC vector(wide);
    vector |= small;
    EXPECT_EQ(shown(vector), "0xf0 0000003f");
    (vector = wide) ^= small;
    EXPECT_EQ(shown(vector), "0xf0 00000033");
    (vector = wide) &= small;
    EXPECT_EQ(shown(vector), "0xc");
    EXPECT_EQ(vector.getnum_bits(), 40U);
    UT_BITVEC one(0UL, 3);
    one |= small;
    EXPECT_EQ(one.getnum_bits(), 8U);
    one ^= UT_BITVEC(0UL, 9);
    EXPECT_EQ(one.getnum_bits(), 9U);
    one &= UT_BITVEC(0UL, 10);
    EXPECT_EQ(one.getnum_bits(), 10U);
}

TEST(UtBitvec, CombinesWithItself)
{
    for (const unsigned int bits : {20U, 100U}) {
        const UT_BITVEC value(0x5A5AUL, bits);
        UT_BITVEC vector(value);
        const UT_BITVEC& itself = vector;
        vector |= itself;
        EXPECT_TRUE(vector == value);
        vector &= itself;
        EXPECT_TRUE(vector == value);
        vector ^= itself;
        EXPECT_TRUE(vector.iszero());
    }
}

TEST(UtBitvec, CombinesANumberWithTheFirstWordOnly)
{
    const UT_BITVEC wide("0xF00000000F");
    UT_BITVEC vector(wide);
    vector |= 0x30;
    EXPECT_EQ(shown(vector), "0xf0 0000003f");
    vector &= 0x3C;
    EXPECT_EQ(shown(vector), "0xf0 0000003c");
    vector ^= 0xFF;
    EXPECT_EQ(shown(vector), "0xf0 000000c3");
    EXPECT_EQ(shown(wide | 0x30), "0xf0 0000003f");
    EXPECT_EQ(shown(wide & 0x3C), "0xf0 0000000c");
    EXPECT_EQ(shown(wide ^ 0xFF), "0xf0 000000f0");
    EXPECT_EQ(shown(wide), "0xf0 0000000f");
    EXPECT_EQ((wide & 1).getnum_bits(), 40U);
    EXPECT_EQ(shown(UT_BITVEC(0UL, 2) | 0xFF), "0xff");
}

TEST(UtBitvec, AResultHasTheSizeOfTheOperandWithMoreWords)
{
    const UT_BITVEC small(0x3CUL, 8);
    const UT_BITVEC wide("0xF00000000F");
    EXPECT_EQ(shown(small | wide), "0xf0 0000003f");
    EXPECT_EQ(shown(wide | small), "0xf0 0000003f");
    EXPECT_EQ(shown(small & wide), "0xc");
    EXPECT_EQ(shown(wide & small), "0xc");
    EXPECT_EQ(shown(small ^ wide), "0xf0 00000033");
    EXPECT_EQ(shown(wide ^ small), "0xf0 00000033");
    EXPECT_EQ((small & wide).getnum_bits(), 40U);
    EXPECT_EQ((wide & small).getnum_bits(), 40U);
    EXPECT_EQ((wide & small).getnum_words(), 2U);
}

TEST(UtBitvec, AResultOfEqualWordCountsHasTheBitsOfTheSecond)
{
    EXPECT_EQ((UT_BITVEC(0xFUL, 30) | UT_BITVEC(0UL, 3)).getnum_bits(), 3U);
    EXPECT_EQ(shown(UT_BITVEC(0xFUL, 30) | UT_BITVEC(0UL, 3)), "0xf");
    EXPECT_EQ((UT_BITVEC(0UL, 33) ^ UT_BITVEC(0UL, 64)).getnum_bits(), 64U);
    EXPECT_EQ((UT_BITVEC(0UL, 64) & UT_BITVEC(0UL, 33)).getnum_bits(), 33U);
}

TEST(UtBitvec, ComplementInvertsWholeWords)
{
    UT_BITVEC vector(0x5UL, 40);
    const UT_BITVEC inverted = ~vector;
    EXPECT_EQ(shown(inverted), "0xffffffff fffffffa");
    EXPECT_EQ(inverted.getnum_bits(), 40U);
    EXPECT_EQ(&vector.complement(), &vector);
    EXPECT_TRUE(vector == inverted);
    EXPECT_EQ(shown(~UT_BITVEC(0UL, 1)), "0xffffffff");
}

TEST(UtBitvec, AnUnknownOperationBreaksTheContract)
{
    const UT_BITVEC a(1UL, 40);
    EXPECT_EQ(shown(bitvec_access::of_two(a, a, 0)), "0x1");
    EXPECT_EQ(shown(bitvec_access::of_two(a, a, 1)), "0x1");
    EXPECT_EQ(shown(bitvec_access::of_two(a, a, 2)), "0x0");
    for (const int operation : {3, 4, 7}) {
        expect_broken("Bad opertion code.", [&] {
            const UT_BITVEC made = bitvec_access::of_two(a, a, operation);
            EXPECT_TRUE(made.iszero());
        });
    }
    for (const int operation : {0, 1, 2, 7}) {
        expect_broken("Bad opertion code.", [&] {
            const UT_BITVEC made = bitvec_access::of_one(a, operation);
            EXPECT_TRUE(made.iszero());
        });
    }
}

TEST(UtBitvec, ShiftsAWordByTheCountModulo32)
{
    UT_BITVEC vector(0x80000001UL, 4);
    vector <<= 32;
    EXPECT_EQ(shown(vector), "0x80000001");
    vector >>= 64;
    EXPECT_EQ(shown(vector), "0x80000001");
    vector <<= 33;
    EXPECT_EQ(shown(vector), "0x2");
    EXPECT_EQ(&(vector <<= 4), &vector);
    EXPECT_EQ(shown(vector), "0x20");  // above the count, and still there
    EXPECT_EQ(vector.getnum_bits(), 4U);
    EXPECT_EQ(&(vector >>= 37), &vector);
    EXPECT_EQ(shown(vector), "0x1");
}

TEST(UtBitvec, ShiftsManyWordsAsOneNumber)
{
    const UT_BITVEC value = of_words(96, {0x89ABCDEF, 0x01234567, 0xFEDCBA98});
    const std::tuple<unsigned int, const char*, const char*> rows[] = {
        {0, "0xfedcba98 01234567 89abcdef", "0xfedcba98 01234567 89abcdef"},
        {4, "0xedcba980 12345678 9abcdef0", "0xfedcba9 80123456 789abcde"},
        {32, "0x1234567 89abcdef 00000000", "0xfedcba98 01234567"},
        {36, "0x12345678 9abcdef0 00000000", "0xfedcba9 80123456"},
        {64, "0x89abcdef 00000000 00000000", "0xfedcba98"},
        {95, "0x80000000 00000000 00000000", "0x1"},
        {96, "0x0", "0x0"},
        {97, "0x0", "0x0"},
        {k_last, "0x0", "0x0"},
    };
    for (const auto& [count, up, down] : rows) {
        UT_BITVEC vector(value);
        vector <<= count;
        EXPECT_EQ(shown(vector), up) << count;
        vector = value;
        vector >>= count;
        EXPECT_EQ(shown(vector), down) << count;
        EXPECT_EQ(vector.getnum_bits(), 96U);
        EXPECT_EQ(vector.getnum_words(), 3U);
    }
}

TEST(UtBitvec, ComparesWordsWhateverTheCountsOfBits)
{
    const UT_BITVEC a(0x123UL, 40);
    const UT_BITVEC b(0x123UL, 33);
    const UT_BITVEC c(0x123UL, 9);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a == c);
    EXPECT_TRUE(c == a);
    EXPECT_FALSE(a != c);
    UT_BITVEC d(a);
    d.set(39);
    EXPECT_FALSE(d == c);
    EXPECT_TRUE(c != d);
    EXPECT_TRUE(a != d);
    EXPECT_TRUE(UT_BITVEC(0x13UL, 4) != UT_BITVEC(3UL, 4));  // a bit above the count
}

TEST(UtBitvec, ComparesEveryWordOfLongVectors)
{
    for (const unsigned int words : {2U, 63U, 64U, 65U, 79U, 80U, 313U, 1024U, 2047U, 2048U, 2049U, 3100U}) {
        UT_BITVEC a(0UL, 32 * words);
        for (unsigned int bit = 0; bit < 32 * words; bit += 7) a.set(bit);
        UT_BITVEC b(a);
        for (unsigned int word = 0; word < words; ++word) {
            ASSERT_TRUE(a == b) << words << ' ' << word;
            const unsigned int bit = 32 * word + word % 32;
            const bool was_set = b.get(bit) != 0;
            b.set(bit, was_set ? 0 : 1);
            ASSERT_FALSE(a == b) << words << ' ' << word;
            b.set(bit, was_set ? 1 : 0);
        }
    }
}

TEST(UtBitvec, SetsAndClearsWholeWords)
{
    for (const unsigned int bits : {1U, 40U}) {
        UT_BITVEC vector(0UL, bits);
        EXPECT_TRUE(vector.iszero());
        EXPECT_TRUE(vector.set());
        EXPECT_FALSE(vector.iszero());
        EXPECT_TRUE(vector == of_words(32 * vector.getnum_words(),
                                       std::vector<std::uint32_t>(vector.getnum_words(), 0xFFFFFFFF)));
        EXPECT_TRUE(vector.reset());
        EXPECT_TRUE(vector.iszero());
    }
    UT_BITVEC high(0UL, 70);
    high.set(69);
    EXPECT_FALSE(high.iszero());
}

TEST(UtBitvec, BitsAboveTheCountAreSeenByAllButTheBitsAndTheirDigits)
{
    UT_BITVEC vector(0UL, 3);
    vector = 0x28UL;
    EXPECT_EQ(vector[3], 0);
    EXPECT_EQ(shown(vector, false, false, 1), "b");
    EXPECT_EQ(shown(vector, false, false, 3), "0");
    EXPECT_EQ(shown(vector, false, false, 4), "0x28");
    EXPECT_FALSE(vector.iszero());
    vector.grow(6);
    EXPECT_EQ(vector[3], 1);
    EXPECT_EQ(vector[5], 1);
}

// ---- bits

TEST(UtBitvec, ReadsZeroAtAndPastTheCount)
{
    UT_BITVEC vector(0x5UL, 3);
    EXPECT_EQ(vector[0], 1);
    EXPECT_EQ(vector[1], 0);
    EXPECT_EQ(vector.get(2), 1);
    EXPECT_EQ(vector[3], 0);
    EXPECT_EQ(vector[1'000], 0);
    EXPECT_EQ(vector[k_last], 0);
    const UT_BITVEC wide = of_words(64, {1, 0x80000000});
    EXPECT_EQ(wide[63U], 1);
    EXPECT_EQ(wide[64U], 0);
}

TEST(UtBitvec, SetsSingleBits)
{
    UT_BITVEC vector(0UL, 70);
    EXPECT_TRUE(vector.set(0));
    EXPECT_TRUE(vector.set(69));
    EXPECT_TRUE(vector.set(40, 1));
    EXPECT_TRUE(vector.set(41, -1));
    EXPECT_EQ(shown(vector), "0x20 00000300 00000001");
    EXPECT_TRUE(vector.reset(69));
    EXPECT_TRUE(vector.set(40, 0));
    EXPECT_EQ(shown(vector), "0x200 00000001");
}

TEST(UtBitvec, AnIndexPastTheEndIsReportedAndFalse)
{
    message_capture capture;
    UT_BITVEC vector(0x5UL, 3);
    EXPECT_FALSE(vector.set(1'000));
    EXPECT_EQ(capture.last(), (post{"", "1009990", "", "Set-val:Index Out of range: 1000 Max=3"}));
    EXPECT_FALSE(vector.reset(3));
    EXPECT_EQ(capture.last().text, "Set-val:Index Out of range: 3 Max=3");
    EXPECT_FALSE(vector.set(4, 0));
    EXPECT_FALSE(vector.set(static_cast<unsigned int>(-1), 1));
    EXPECT_EQ(capture.last().text, "Set-val:Index Out of range: -1 Max=3");
    EXPECT_EQ(capture.posts().size(), 4U);
    capture.use_legacy_flow();
    const std::string err = stderr_of([&] { EXPECT_FALSE(vector.set(3)); });
    EXPECT_EQ(err, "ERROR - Set-val:Index Out of range: 3 Max=3\n");
    EXPECT_EQ(shown(vector), "0x5");
}

TEST(UtBitvec, SetsBitsPastTheEndAfterGrowing)
{
    UT_BITVEC vector(0x5UL, 3);
    EXPECT_TRUE(vector.setg(1'000));
    EXPECT_EQ(vector.getnum_bits(), 1'001U);
    EXPECT_EQ(vector.getnum_words(), 32U);
    EXPECT_EQ(vector[1'000], 1);
    EXPECT_EQ(vector.shift_and_get_n_bits(32, 0), 5U);
    EXPECT_TRUE(vector.resetg(2));
    EXPECT_TRUE(vector.resetg(1'001));
    EXPECT_EQ(vector.getnum_bits(), 1'002U);
    EXPECT_TRUE(vector.setg(1));
    EXPECT_EQ(vector.getnum_bits(), 1'002U);
}

TEST(UtBitvec, CannotGrowToTheLastIndex)
{
    message_capture capture;
    UT_BITVEC vector(0x5UL, 3);
    EXPECT_FALSE(vector.setg(k_last));
    EXPECT_FALSE(vector.resetg(k_last));
    EXPECT_EQ(capture.posts().size(), 2U);
    EXPECT_EQ(vector.getnum_bits(), 3U);
}

TEST(UtBitvec, GrowsAndNeverShrinks)
{
    UT_BITVEC vector(0x5UL, 3);
    EXPECT_TRUE(vector.grow(2));
    EXPECT_EQ(vector.getnum_bits(), 3U);
    EXPECT_TRUE(vector.grow(32));
    EXPECT_EQ(vector.getnum_bits(), 32U);
    EXPECT_TRUE(vector.isscaler());
    EXPECT_TRUE(vector.grow(100));
    EXPECT_EQ(vector.getnum_bits(), 100U);
    EXPECT_EQ(vector.getnum_words(), 4U);
    EXPECT_EQ(shown(vector), "0x5");
    EXPECT_TRUE(vector.grow(33));
    EXPECT_EQ(vector.getnum_bits(), 100U);
    EXPECT_TRUE(vector.grow(0));
    EXPECT_EQ(vector.getnum_words(), 4U);
}

TEST(UtBitvec, WorksOnLongVectorsAsOnShortOnes)
{
    for (const unsigned int bits : {2'016U, 2'017U, 2'048U, 2'049U, 10'000U}) {
        UT_BITVEC vector(0x5UL, 100);
        bitvec_model model(0x5, 100);
        UT_BITVEC other(0UL, bits);
        bitvec_model other_model(0, bits);
        for (unsigned int i = 0; i < bits; i += i % 37 + 1) {
            other.set(i);
            other_model.bits[i] = true;
        }
        vector |= other;
        model.combine(other_model, std::bit_or<>());
        EXPECT_TRUE(same(vector, model)) << bits;
        vector ^= other;
        model.combine(other_model, std::bit_xor<>());
        EXPECT_TRUE(same(vector, model)) << bits;
        vector.complement();
        vector &= other;
        model.bits.flip();
        model.combine(other_model, std::bit_and<>());
        EXPECT_TRUE(same(vector, model)) << bits;
        vector.grow(2 * bits);
        vector = UT_BITVEC(7UL, 40);
        EXPECT_EQ(shown(vector), "0x7");
    }
}

TEST(UtBitvec, SetsTheFirstBitsAndClearsTheOthers)
{
    UT_BITVEC vector(0UL, 70);
    const std::pair<unsigned int, const char*> rows[] = {
        {1, "0x1"},
        {31, "0x7fffffff"},
        {32, "0xffffffff"},
        {33, "0x1 ffffffff"},
        {70, "0x3f ffffffff ffffffff"},
        {71, "0x3f ffffffff ffffffff"},
        {k_last, "0x3f ffffffff ffffffff"},
        {0, "0x0"},
    };
    for (const auto& [count, value] : rows) {
        vector.set();
        vector.set_n_bits(count);
        EXPECT_EQ(shown(vector), value) << count;
    }
    UT_BITVEC whole(0UL, 64);
    whole.set_n_bits(64);
    EXPECT_EQ(shown(whole), "0xffffffff ffffffff");
    UT_BITVEC none(7UL, 0);
    none.set_n_bits(5);
    EXPECT_TRUE(none.iszero());
}

TEST(UtBitvec, PutsAFieldIntoOneWord)
{
    UT_BITVEC vector(0UL, 64);
    vector.set();
    vector.shift_and_set_n_bits(0xF5, 4, 8);  // the low four
    EXPECT_EQ(shown(vector), "0xffffffff fffff5ff");
    vector.shift_and_set_n_bits(0, 32, 0);
    EXPECT_EQ(shown(vector), "0xffffffff 00000000");
    vector.shift_and_set_n_bits(0x12345678, 32, 32);
    EXPECT_EQ(shown(vector), "0x12345678 00000000");
    vector.shift_and_set_n_bits(1, 1, 63);
    EXPECT_EQ(shown(vector), "0x92345678 00000000");
    vector.shift_and_set_n_bits(~0UL, 0, k_last);
    EXPECT_EQ(shown(vector), "0x92345678 00000000");
}

TEST(UtBitvec, TheBitsOfAFieldThatSpillAreOnes)
{
    UT_BITVEC vector(0UL, 64);
    vector.shift_and_set_n_bits(5, 3, 30);
    EXPECT_EQ(shown(vector), "0x1 40000000");
    vector.reset();
    vector.shift_and_set_n_bits(0, 3, 30);
    EXPECT_EQ(shown(vector), "0x1 00000000");
    vector.reset();
    vector.shift_and_set_n_bits(0, 32, 31);
    EXPECT_EQ(shown(vector), "0x7fffffff 00000000");
    vector = of_words(64, {0xFFFFFFFF, 0xF0});
    vector.shift_and_set_n_bits(0x2, 8, 28);
    EXPECT_EQ(shown(vector), "0xff 2fffffff");
}

TEST(UtBitvec, ReadsAFieldAcrossWords)
{
    const UT_BITVEC vector = of_words(96, {0x89ABCDEF, 0x01234567, 0xFEDCBA98});
    EXPECT_EQ(vector.shift_and_get_n_bits(32, 0), 0x89ABCDEFU);
    EXPECT_EQ(vector.shift_and_get_n_bits(32, 16), 0x456789ABU);
    EXPECT_EQ(vector.shift_and_get_n_bits(8, 28), 0x78U);
    EXPECT_EQ(vector.shift_and_get_n_bits(1, 95), 1U);
    EXPECT_EQ(vector.shift_and_get_n_bits(32, 64), 0xFEDCBA98U);
    EXPECT_EQ(vector.shift_and_get_n_bits(0, k_last), 0U);
    EXPECT_EQ(UT_BITVEC(0xFFUL, 8).shift_and_get_n_bits(3, 5), 7U);
}

TEST(UtBitvec, AFieldThatIsTooWideOrTooHighBreaksTheContract)
{
    UT_BITVEC vector(0x5UL, 40);
    const std::tuple<unsigned int, unsigned int, const char*> rows[] = {
        {33, 0, "<33> is larger than maximum <32>"},
        {33, k_last, "<33> is larger than maximum <32>"},
        // The shift stands in the place of the maximum, and the count of bits in that of the shift.
        {6, 35, "Effective shift bits <41> is larger than maximum numbits <35>. shift=<40>"},
        {32, 9, "Effective shift bits <41> is larger than maximum numbits <9>. shift=<40>"},
        // All three have 32 bits and a sign, as every %d.
        {32, 0x7FFFFFF0,
         "Effective shift bits <-2147483632> is larger than maximum numbits <2147483632>. shift=<40>"},
        {1, k_last, "Effective shift bits <0> is larger than maximum numbits <-1>. shift=<40>"},
    };
    for (const auto& row : rows) {
        const auto [count, shift, text] = row;
        expect_broken(text, [&vector, n = count, at = shift] { vector.shift_and_set_n_bits(~0UL, n, at); });
        expect_broken(
            text, [&vector, n = count, at = shift] { EXPECT_EQ(vector.shift_and_get_n_bits(n, at), 0U); });
        EXPECT_EQ(shown(vector), "0x5");
    }
    vector.shift_and_set_n_bits(1, 8, 32);
    EXPECT_EQ(shown(vector), "0x1 00000005");
}

TEST(UtBitvec, ComparesAMaskedValueWithoutAllocating)
{
    const UT_BITVEC a = of_words(64, {0xF0F0, 0xFF00FF00});
    const UT_BITVEC b = of_words(64, {0xFF00, 0x0000FFFF});
    UT_BITVEC eq = of_words(64, {0xF000, 0x0000FF00});
    long asked = 0;
    int results[2]{};
    {
        const allocation_faults faults(1'000);
        results[0] = ut_bitvec_and_and_equal(a, b, eq);
        eq.set(63);
        results[1] = ut_bitvec_and_and_equal(a, b, eq);
        asked = faults.counted();
    }
    EXPECT_EQ(results[0], 1);
    EXPECT_EQ(results[1], 0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(ut_bitvec_and_and_equal(UT_BITVEC(6UL, 3), UT_BITVEC(3UL, 9), UT_BITVEC(2UL, 30)), 1);
    EXPECT_EQ(ut_bitvec_and_and_equal(UT_BITVEC(6UL, 3), UT_BITVEC(3UL, 9), UT_BITVEC(6UL, 30)), 0);
}

TEST(UtBitvec, MaskedComparisonNeedsEqualCountsOfWords)
{
    const UT_BITVEC one(0UL, 32);
    const UT_BITVEC three(0UL, 96);
    expect_broken("Number words must match. op1=1 op2=3",
                  [&] { EXPECT_EQ(ut_bitvec_and_and_equal(one, three, one), 0); });
    expect_broken("Number words must match. op1=3 op2=1",
                  [&] { EXPECT_EQ(ut_bitvec_and_and_equal(three, one, three), 0); });
    expect_broken("Number words must match. op?=1 eq=3",
                  [&] { EXPECT_EQ(ut_bitvec_and_and_equal(one, one, three), 0); });
}

// ---- texts

TEST(UtBitvec, ShowsItsValue)
{
    const std::pair<UT_BITVEC, const char*> rows[] = {
        {UT_BITVEC(0UL, 1), "0x0"},
        {UT_BITVEC(0x1FUL, 8), "0x1f"},
        {UT_BITVEC(0xFFFFFFFFUL, 32), "0xffffffff"},
        {UT_BITVEC(0UL, 40), "0x0"},
        {of_words(96, {0x5, 0, 0}), "0x5"},
        {of_words(96, {0x5, 0x1F, 0}), "0x1f 00000005"},
        {of_words(96, {0xABCDEF01, 0, 0x1F}), "0x1f 00000000 abcdef01"},
    };
    for (const auto& [value, text] : rows) {
        UT_BITVEC vector(value);
        EXPECT_EQ(shown(vector), text);
        std::ostringstream out;
        out << std::hex << std::setw(30) << std::setfill('*') << vector;
        EXPECT_EQ(out.str(), text);
        const std::unique_ptr<char, decltype(&std::free)> made(vector, &std::free);
        EXPECT_STREQ(made.get(), text);
    }
}

TEST(UtBitvec, ShowsItsValueToTheMessageManager)
{
    UT_BITVEC vector = of_words(64, {0x5, 0x1F});
    for (const bool legacy : {false, true}) {
        message_capture capture;
        if (legacy) capture.use_legacy_flow();
        UT_MSGMAN* returned = nullptr;
        const std::string out = stdout_of([&] {
            returned = &(*ut_msgman << vector);
            ut_msgman->flush();
        });
        EXPECT_EQ(out, "0x1f 00000005");
        EXPECT_EQ(returned, ut_msgman);
    }
}

TEST(UtBitvec, WritesBinaryDigits)
{
    const UT_BITVEC vector(0x15UL, 11);
    EXPECT_EQ(shown(vector, true, false, 1), "b00000010101");
    EXPECT_EQ(shown(vector, true, true, 1), "b000 0001 0101");
    EXPECT_EQ(shown(vector, false, false, 1), "b10101");
    EXPECT_EQ(shown(vector, false, true, 1), "b 0001 0101");  // only zeros are dropped, not the blank
    EXPECT_EQ(shown(UT_BITVEC(5UL, 8), true, true, 1), "b0000 0101");
    EXPECT_EQ(shown(UT_BITVEC(5UL, 8), false, true, 1), "b 0101");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 8), false, false, 1), "b");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 8), false, true, 1), "b 0000");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 3), false, true, 1), "b");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 0), true, true, 1), "b");
    EXPECT_EQ(shown(of_words(34, {1, 2}), false, false, 1), "b10" + std::string(31, '0') + "1");
}

TEST(UtBitvec, AnyOtherBaseActsAsBinary)
{
    for (const int base : {-1, 0, 2, 5, 16}) EXPECT_EQ(shown(UT_BITVEC(5UL, 4), true, false, base), "b0101");
}

TEST(UtBitvec, WritesOctalDigits)
{
    const UT_BITVEC vector(01234UL, 16);
    EXPECT_EQ(shown(vector, true, false, 3), "001234");  // six digits, and no other 0 in front
    EXPECT_EQ(shown(vector, true, true, 3), "001 234");
    EXPECT_EQ(shown(vector, false, false, 3), "01234");
    EXPECT_EQ(shown(vector, false, true, 3), "01 234");
    EXPECT_EQ(shown(UT_BITVEC(5UL, 12), false, true, 3), "0 005");
    EXPECT_EQ(shown(UT_BITVEC(0xFFFFUL, 16), true, false, 3), "0177777");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 7), false, false, 3), "0");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 7), true, false, 3), "000");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 0), true, false, 3), "0");
    EXPECT_EQ(shown(UT_BITVEC(0777UL, 9), false, true, 3), "0777");
    EXPECT_EQ(shown(of_words(34, {0, 3}), false, false, 3), "0140000000000");
}

TEST(UtBitvec, WritesHexadecimalDigits)
{
    const UT_BITVEC vector = of_words(40, {0xABC, 0x1});
    EXPECT_EQ(shown(vector, true, false, 4), "0x0100000abc");
    EXPECT_EQ(shown(vector, true, true, 4), "0x01 00000abc");
    EXPECT_EQ(shown(vector, false, false, 4), "0x100000abc");
    EXPECT_EQ(shown(vector, false, true, 4), "0x1 00000abc");
    EXPECT_EQ(shown(UT_BITVEC(0xABCUL, 40), false, true, 4), "0xabc");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 40), false, true, 4), "0x0");
    EXPECT_EQ(shown(UT_BITVEC(0UL, 40), true, true, 4), "0x00 00000000");
    const std::pair<unsigned int, const char*> widths[] = {
        {1, "0x1"},         {4, "0x1"},         {5, "0x01"},      {28, "0x0000001"},
        {29, "0x00000001"}, {32, "0x00000001"}, {0, "0x00000001"}};
    for (const auto& [bits, text] : widths)
        EXPECT_EQ(shown(UT_BITVEC(1UL, bits), true, false, 4), text) << bits;
    EXPECT_EQ(shown(UT_BITVEC(0x1234UL, 5), true, false, 4), "0x1234");  // wider than its bits, not cut
}

TEST(UtBitvec, CopiesItsTextWhereItIsTold)
{
    const UT_BITVEC vector(0x15UL, 11);
    char buffer[16];
    std::memset(buffer, '*', sizeof buffer);
    EXPECT_EQ(vector.get_ascii(buffer, 0, 0, UT_BITVEC::BIN), buffer);
    EXPECT_STREQ(buffer, "b10101");
    EXPECT_EQ(buffer[7], '*');
    const std::unique_ptr<char, decltype(&std::free)> made(vector.get_ascii(nullptr, 1, 1, UT_BITVEC::HEX),
                                                           &std::free);
    EXPECT_STREQ(made.get(), "0x015");
}

TEST(UtBitvec, ReadsItsOwnFullTexts)
{
    const UT_BITVEC vector = of_words(75, {0x89ABCDEF, 0x01234567, 0x5A5});
    for (const int base : {1, 3, 4}) {
        for (const bool spaced : {false, true}) {
            UT_BITVEC read(0UL, 1);
            read = shown(vector, true, spaced, base).c_str();
            EXPECT_TRUE(read == vector) << base;
        }
    }
}

// ---- files

class UtBitvecFile : public stream_file_test {};

TEST_F(UtBitvecFile, WritesBitsWordsAndTheWordsFromTheLowest)
{
    using namespace std::string_literals;
    const UT_BITVEC vector = of_words(40, {0x01020304, 0xA5});
    EXPECT_EQ(written([&](UT_STREAM& stream) { EXPECT_TRUE(vector.writeme(&stream)); }),
              "\0\0\0\x28\0\0\0\2\1\2\3\4\0\0\0\xA5"s);
    EXPECT_EQ(written([&](UT_STREAM& stream) { UT_BITVEC(7UL, 3).writeme(&stream); }),
              "\0\0\0\3\0\0\0\1\0\0\0\7"s);
    EXPECT_FALSE(vector.writeme(nullptr));
}

TEST_F(UtBitvecFile, ReadsWhatItWrote)
{
    for (const unsigned int bits : {0U, 1U, 32U, 33U, 1'000U}) {
        UT_BITVEC vector(0x5A5A5A5AUL, bits);
        if (bits != 0) vector.set(bits - 1);
        const std::string bytes = written([&](UT_STREAM& stream) { vector.writeme(&stream); });
        for (const unsigned int before : {3U, 64U, 2'000U}) {
            read_back(bytes, [&](UT_STREAM& stream) {
                UT_BITVEC read(0xFFFFUL, before);
                EXPECT_TRUE(read.readme(&stream));
                EXPECT_TRUE(read == vector);
                EXPECT_EQ(read.getnum_bits(), bits);
                EXPECT_EQ(read.getnum_words(), vector.getnum_words());
            });
        }
    }
    EXPECT_FALSE(UT_BITVEC().readme(nullptr));
}

/// The bytes of these numbers, each most significant byte first.
std::string big(const std::vector<std::uint32_t>& numbers)
{
    std::string bytes;
    for (const std::uint32_t number : numbers)
        for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift);
    return bytes;
}

TEST_F(UtBitvecFile, SurvivesCountsThatDoNotFit)
{
    const struct {
        std::vector<std::uint32_t> numbers;
        bool whole;
        unsigned int bits;
        unsigned int words;
        const char* value;
    } rows[] = {
        {{40, 0}, true, 40, 2, "0x0"},
        {{40, 1, 7}, true, 40, 2, "0x7"},
        {{0, 0}, true, 0, 1, "0x0"},
        {{8, 3, 1, 2, 3}, true, 8, 3, "0x3 00000002 00000001"},
        {{8, 3, 1}, false, 8, 3, "0x1"},
        {{8, 1}, false, 8, 1, "0x0"},
        {{8, 0xFFFFFFFF, 1}, false, 3, 1, "0x77"},
        {{0xFFFFFFFF, 1, 1}, false, 3, 1, "0x77"},
        {{0xFFFFFFFF, 0xFFFFFFFF, 1}, false, 3, 1, "0x77"},
        {{1U << 25U, 1, 9}, true, 1U << 25U, 1U << 20U, "0x9"},
        {{1U << 25U, 0}, true, 1U << 25U, 1U << 20U, "0x0"},  // as many as are believed
        {{(1U << 25U) + 1, 0}, false, 3, 1, "0x77"},          // one more
        {{8}, false, 3, 1, "0x77"},
        {{}, false, 3, 1, "0x77"},
    };
    for (const auto& row : rows) {
        read_back(big(row.numbers), [&](UT_STREAM& stream) {
            UT_BITVEC vector(0x77UL, 3);
            EXPECT_EQ(vector.readme(&stream), row.whole) << row.value;
            EXPECT_EQ(vector.getnum_bits(), row.bits);
            EXPECT_EQ(vector.getnum_words(), row.words);
            EXPECT_EQ(shown(vector), row.value);
        });
    }
    read_back(big({40, 2, 7}) + "\1\2", [](UT_STREAM& stream) {
        UT_BITVEC vector;
        EXPECT_FALSE(vector.readme(&stream));
        EXPECT_EQ(shown(vector), "0x7");
        EXPECT_EQ(vector.getnum_bits(), 40U);
    });
}

TEST_F(UtBitvecFile, ReadsMoreWordsThanItWouldBelieve)
{
    constexpr unsigned int k_words = (1U << 20U) + 100;
    std::string bytes = big({32 * k_words, k_words});
    bytes.resize(bytes.size() + 4 * k_words, '\1');
    read_back(
        bytes,
        [&](UT_STREAM& stream) {
            UT_BITVEC vector;
            EXPECT_TRUE(vector.readme(&stream));
            EXPECT_EQ(vector.getnum_words(), k_words);
            EXPECT_EQ(vector.shift_and_get_n_bits(32, 32 * k_words - 32), 0x01010101U);
        },
        16'384);
}

TEST_F(UtBitvecFile, CombinesAVectorWithMoreWordsThanItsBitsNeed)
{
    UT_BITVEC tall;
    read_back(big({8, 3, 1, 2, 3}), [&](UT_STREAM& stream) { tall.readme(&stream); });
    UT_BITVEC vector(0x10UL, 8);
    vector |= tall;
    EXPECT_EQ(shown(vector), "0x3 00000002 00000011");
    EXPECT_EQ(vector.getnum_bits(), 8U);
    vector = UT_BITVEC(0UL, 40);
    vector ^= tall;
    EXPECT_EQ(shown(vector), "0x3 00000002 00000001");
    EXPECT_EQ(vector.getnum_bits(), 40U);
}

// ---- memory

TEST(UtBitvec, ThePoolOfSmallWordArraysIsMadeAtLoad)
{
    long asked = 0;
    {
        const allocation_faults faults(1'000);
        sm_memmngr->getmemhandler(16);
        asked = faults.counted();
    }
    EXPECT_EQ(asked, 0);
}

TEST(UtBitvec, SmallWordArraysComeFromThePoolOfFourWords)
{
    UT_SM_INT_SMALLMEM& pool = *sm_memmngr->getmemhandler(16);
    for (const unsigned int words : {2U, 3U, 4U}) {
        void* const element = pool.getmem();
        pool.relmem(element);  // the next to go out
        UT_BITVEC vector;
        EXPECT_EQ(bitvec_access::take(vector, words), element) << words;
        bitvec_access::give(vector);
        EXPECT_EQ(pool.getmem(), element) << words;
        pool.relmem(element);
    }
}

TEST(UtBitvec, LargeWordArraysComeFromTheHeap)
{
    UT_BITVEC vector;
    long asked = 0;
    std::uint32_t* large = nullptr;
    {
        const allocation_faults faults(1'000);
        large = bitvec_access::take(vector, 5);
        asked = faults.counted();
    }
    EXPECT_EQ(asked, 1);
    std::memset(large, 1, 20);
    EXPECT_EQ(vector.getnum_words(), 5U);
    bitvec_access::give(vector);
    EXPECT_TRUE(vector.isscaler());
    EXPECT_TRUE(vector.iszero());
}

TEST(UtBitvec, StaysAsItWasWhereMemoryFails)
{
    const UT_BITVEC wide = of_words(70, {1, 2, 3});
    const std::function<void(UT_BITVEC&)> calls[] = {
        [&](UT_BITVEC& v) { v = wide; },
        [&](UT_BITVEC& v) { v |= wide; },
        [&](UT_BITVEC& v) { v &= wide; },
        [&](UT_BITVEC& v) { v ^= wide; },
        [&](UT_BITVEC& v) { v = v | wide; },
        [&](UT_BITVEC& v) { v = ~wide; },
        [&](UT_BITVEC& v) { v = wide & 1UL; },
        [](UT_BITVEC& v) { v.grow(65); },
        [](UT_BITVEC& v) { v.setg(1'000); },
        [](UT_BITVEC& v) { v = "0x123456789ABCDEF0123"; },
        [](UT_BITVEC& v) { v = UT_BITVEC(1UL, 99); },
        [](UT_BITVEC& v) { v = UT_BITVEC("0x123456789ABCDEF0123"); },
        [](UT_BITVEC& v) { std::free(v.get_ascii(nullptr, 1, 1, UT_BITVEC::BIN)); },
        [](UT_BITVEC& v) { std::free(static_cast<char*>(v)); },
        [](UT_BITVEC& v) { delete new UT_BITVEC(v); },
    };
    for (std::size_t call = 0; call < std::size(calls); ++call) {
        for (long n = 0;; ++n) {
            UT_BITVEC vector = of_words(40, {0x77, 0x5});
            bool hit = false;
            bool thrown = false;
            {
                const allocation_faults faults(n, 1);
                try {
                    calls[call](vector);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                hit = faults.hit();
            }
            EXPECT_EQ(thrown, hit) << call << ' ' << n;
            if (!hit) {
                EXPECT_GT(n, 0) << call;
                break;
            }
            EXPECT_EQ(shown(vector), "0x5 00000077") << call;
            EXPECT_EQ(vector.getnum_bits(), 40U) << call;
        }
    }
}

TEST_F(UtBitvecFile, StaysAsItWasWhereMemoryFailsInReading)
{
    for (long n = 0;; ++n) {
        bool hit = false;
        read_back(big({96, 3, 1, 2, 3}), [&](UT_STREAM& stream) {
            UT_BITVEC vector(0x77UL, 3);
            try {
                const allocation_faults faults(n, 1);
                const auto note = [&] { hit = faults.hit(); };
                try {
                    vector.readme(&stream);
                } catch (const std::bad_alloc&) {
                    note();
                    throw;
                }
                note();
            } catch (const std::bad_alloc&) {
            }
            EXPECT_EQ(shown(vector), hit ? "0x77" : "0x3 00000002 00000001");
        });
        if (!hit) break;
        ASSERT_LT(n, 20);
    }
}

// ---- all together

/// Random calls that go to two vectors and their models.
class random_calls {
public:
    explicit random_calls(std::uint32_t seed) : random_(seed) {}

    void step()
    {
        const std::size_t which = below(2);
        UT_BITVEC& vector = vectors_[which];
        bitvec_model& model = models_[which];
        const UT_BITVEC& other = vectors_[below(2)];
        const bitvec_model other_model = models_[&other == vectors_.data() ? 0 : 1];
        const auto value = static_cast<std::uint32_t>(random_());
        switch (below(22)) {
        case 0: vector |= other; return model.combine(other_model, std::bit_or<>());
        case 1: vector &= other; return model.combine(other_model, std::bit_and<>());
        case 2: vector ^= other; return model.combine(other_model, std::bit_xor<>());
        case 3: vector = vector | other; return assign(model, model.combined(other_model, std::bit_or<>()));
        case 4: vector = other & vector; return assign(model, other_model.combined(model, std::bit_and<>()));
        case 5: vector = vector ^ other; return assign(model, model.combined(other_model, std::bit_xor<>()));
        case 6: vector |= value; return model.set_first(model.word(0) | value);
        case 7: vector = vector & value; return model.set_first(model.word(0) & value);
        case 8: vector ^= value; return model.set_first(model.word(0) ^ value);
        case 9: vector.complement(); return model.bits.flip();
        case 10: return shift(vector, model, true);
        case 11: return shift(vector, model, false);
        case 12: return grow(vector, model);
        case 13: return put_bit(vector, model, value);
        case 14: return put_field(vector, model, value);
        case 15: return first_bits(vector, model);
        case 16: vector = other; return assign(model, other_model);
        case 17: return fresh(vector, model, value);
        case 18: return text(vector, model, other_model, value);
        case 19: EXPECT_EQ(vector == other, model.equals(other_model)); return;
        case 20: EXPECT_EQ(vector.iszero(), model.equals(bitvec_model())); return;
        default: EXPECT_EQ(ut_bitvec_and_and_equal(vector, vector, vector), 1); return;
        }
    }
    bool alike() const { return same(vectors_[0], models_[0]) && same(vectors_[1], models_[1]); }

private:
    unsigned int below(unsigned int bound) { return static_cast<unsigned int>(random_() % bound); }
    unsigned int size() { return below(4) == 0 ? 32 * below(7) : below(200); }

    static void assign(bitvec_model& to, const bitvec_model& from) { to = from; }
    void shift(UT_BITVEC& vector, bitvec_model& model, bool up)
    {
        const unsigned int count = size();
        if (up) {
            vector <<= count;
            model.shift_up(count);
        } else {
            vector >>= count;
            model.shift_down(count);
        }
    }
    void grow(UT_BITVEC& vector, bitvec_model& model)
    {
        const unsigned int count = size();
        vector.grow(count);
        model.grow(count);
    }
    void put_bit(UT_BITVEC& vector, bitvec_model& model, std::uint32_t value)
    {
        const unsigned int index = size();
        if (value % 2 != 0)
            vector.setg(index);
        else
            vector.resetg(index);
        model.grow(index + 1);
        model.bits[index] = value % 2 != 0;
    }
    void put_field(UT_BITVEC& vector, bitvec_model& model, std::uint32_t value)
    {
        const unsigned int count = std::min(below(33), vector.getnum_bits());
        const unsigned int shift = below(vector.getnum_bits() - count + 1);
        EXPECT_EQ(vector.shift_and_get_n_bits(count, shift), model.field(count, shift));
        vector.shift_and_set_n_bits(value, count, shift);
        model.put(value, count, shift);
    }
    void first_bits(UT_BITVEC& vector, bitvec_model& model)
    {
        const unsigned int count = size();
        vector.set_n_bits(count);
        model.set_first_bits(count);
    }
    void fresh(UT_BITVEC& vector, bitvec_model& model, std::uint32_t value)
    {
        const unsigned int bits = size();
        vector = UT_BITVEC(value, bits);
        model = bitvec_model(value, bits);
    }
    static void text(UT_BITVEC& vector, bitvec_model& model, const bitvec_model& other, std::uint32_t value)
    {
        const bool full = value % 2 != 0;
        const bool spaced = value % 4 > 1;
        const std::string text = value % 3 == 0   ? other.binary(full, spaced)
                                 : value % 3 == 1 ? other.octal(full, spaced)
                                                  : other.hexadecimal(full, spaced);
        EXPECT_TRUE(model.read(text));
        vector = text.c_str();
    }

    std::mt19937 random_;
    std::array<UT_BITVEC, 2> vectors_;
    std::array<bitvec_model, 2> models_;
};

TEST(UtBitvec, DoesWhatTheModelDoes)
{
    random_calls calls(20'042);
    for (int step = 0; step < 100'000; ++step) {
        calls.step();
        ASSERT_TRUE(step % 10 != 0 || calls.alike()) << step;
    }
    ASSERT_TRUE(calls.alike());
}

}  // namespace
